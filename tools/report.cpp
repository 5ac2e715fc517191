#include "report.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "commands.h"
#include "pxinfo/pxinfo.h"

namespace pxtool {

namespace {
const Subject *current_subject = nullptr;
Capture *current_capture = nullptr;

void replace_all(std::string &text, const std::string &from, const std::string &to) {
    if (from.empty() || from == to) { return; }
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
        text.replace(at, from.size(), to);
    }
}

std::string without_newline(std::string text) {
    while (!text.empty() && text.back() == '\n') { text.pop_back(); }
    return text;
}

// True when a message names the file the way the library's messages do:
// "NAME" in quotes, NAME: at the start, or "pkt file NAME :".
bool names_file(const std::string &text, const std::string &name) {
    return text.find('"' + name + '"') != std::string::npos || text.compare(0, name.size() + 1, name + ":") == 0 ||
           text.find(" " + name + " :") != std::string::npos;
}
}  // namespace

void complain(const std::string &text) { std::fprintf(stderr, "pxinfo: %s\n", text.c_str()); }

void fail(const std::string &name, const std::string &text) {
    std::string shown = printable(name);
    complain(names_file(text, shown) ? text : shown + ": " + text);
}

struct Sink {
    static void line(void *, int severity, const char *component, const char *text) {
        std::string line = text != nullptr ? text : "";
        if (severity == 0) {
            std::fputs(line.c_str(), stdout);
            return;
        }
        if (current_subject != nullptr) { replace_all(line, current_subject->path_, current_subject->name_); }
        line = without_newline(line);
        Capture *capture = current_capture;
        if (capture != nullptr && (severity != 8 || capture->traces_)) {
            capture->lines_.push_back(Capture::Line{severity, component != nullptr ? component : "", line});
            return;
        }
        if (severity == 8) {
            std::fprintf(stderr, "%s\n", line.c_str());
        } else if (current_subject == nullptr) {
            complain((severity == 4 ? "warning: " : "") + line);
        } else {
            fail(current_subject->name_, (severity == 4 ? "warning: " : "") + line);
        }
    }
};

void route_library_messages() { imsg_set_sink(Sink::line, nullptr); }

Subject::Subject(const std::string &name, const std::string &path)
    : previous_(current_subject), name_(name), path_(path) {
    current_subject = this;
}

Subject::~Subject() { current_subject = previous_; }

Capture::Capture(bool traces) : previous_(current_capture), traces_(traces) { current_capture = this; }

Capture::~Capture() { current_capture = previous_; }

std::string Capture::first() const {
    for (const Line &line : lines_) {
        if (line.severity != 8) { return line.text; }
        // Detail traces come without a component; entry and exit lines do not count.
        if (line.component.empty() && line.text.compare(0, 8, "exiting ") != 0) { return line.text; }
    }
    return "";
}

bool Capture::from(const char *component) const {
    for (const Line &line : lines_) {
        if (line.severity == 6 && line.component == component) { return true; }
    }
    return false;
}

Operand::Operand(const std::string &argument) : name_(argument), path_(argument) {
    if (argument != "-") { return; }
    name_ = "(standard input)";
    const char *dir = std::getenv("TMPDIR");
    std::string pattern = std::string(dir != nullptr && *dir != '\0' ? dir : "/tmp") + "/pxinfo-stdin-XXXXXX";
    int fd = ::mkstemp(&pattern[0]);
    path_.clear();
    if (fd < 0) {
        complain("cannot copy standard input: " + std::string(std::strerror(errno)));
        return;
    }
    temporary_ = true;
    path_ = pattern;
    char buffer[65536];
    ssize_t got;
    while ((got = ::read(STDIN_FILENO, buffer, sizeof buffer)) > 0) {
        if (::write(fd, buffer, static_cast<size_t>(got)) != got) { got = -1; }
    }
    if (::close(fd) != 0 || got < 0) {
        complain("cannot copy standard input: " + std::string(std::strerror(errno)));
        ::unlink(path_.c_str());
        path_.clear();
    }
}

Operand::~Operand() {
    if (temporary_ && !path_.empty()) { ::unlink(path_.c_str()); }
}

int close_output(int status) {
    bool failed = std::fflush(stdout) != 0 || std::ferror(stdout) != 0;
    int error = errno;
    if (std::fclose(stdout) != 0 && !failed) {
        failed = true;
        error = errno;
    }
    if (!failed) { return status; }
    complain("cannot write to standard output: " + std::string(std::strerror(error)));
    return status == kExitOk ? kExitFailed : status;
}

}  // namespace pxtool
