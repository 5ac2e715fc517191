// pxinfo verify: the check an operator runs on a receiving spool. Every file
// named, or found in a directory named, is examined; one line each says
// whether it is good and what it is, or what is wrong with it.
#include "cmd_verify.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "diagnose.h"
#include "report.h"

namespace pxtool {

namespace {

struct Tally {
    long files = 0, ok = 0, damaged = 0, unknown = 0;
};

void verify_file(const std::string &argument, Tally &tally, Node &lines) {
    Operand file(argument);
    Finding finding;
    if (file.ready()) {
        finding = examine(file);
    } else {
        finding = Finding{Finding::State::unreadable, "?", "standard input cannot be read"};
    }
    ++tally.files;
    if (finding.state == Finding::State::good) {
        ++tally.ok;
    } else if (finding.state == Finding::State::unknown) {
        ++tally.unknown;
    } else {
        ++tally.damaged;
    }
    bool known = finding.state != Finding::State::unreadable && finding.state != Finding::State::unknown;
    lines.push(Node::line()
                   .add("file", Node::text(file.name()))
                   .add("result", Node::text(state_name(finding.state)))
                   .add("kind", known ? Node::text(finding.kind) : Node())
                   .add("reason", finding.reason.empty() ? Node() : Node::text(finding.reason)));
}

// The regular files of a directory in name order, and of its subdirectories
// when recursive; false after a message when it cannot be read.
bool verify_directory(const std::string &path, bool recursive, Tally &tally, Node &lines) {
    DIR *dir = ::opendir(path.c_str());
    if (dir == nullptr) {
        fail(path, std::strerror(errno));
        return false;
    }
    std::vector<std::string> names;
    while (const dirent *entry = ::readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
            names.emplace_back(entry->d_name);
        }
    }
    ::closedir(dir);
    std::sort(names.begin(), names.end());
    bool all_read = true;
    for (const std::string &name : names) {
        std::string child = path + (path.back() == '/' ? "" : "/") + name;
        struct stat info;
        if (::lstat(child.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
            if (recursive) { all_read = verify_directory(child, true, tally, lines) && all_read; }
        } else if (::stat(child.c_str(), &info) == 0 && S_ISREG(info.st_mode)) {
            verify_file(child, tally, lines);
        }
    }
    return all_read;
}

int run_verify(const Invocation &call) {
    if (call.operands.empty()) { return call.usage("give files or directories"); }
    Tally tally;
    Node lines = Node::list();
    bool all_read = true;
    for (const std::string &argument : call.operands) {
        struct stat info;
        if (argument != "-" && ::stat(argument.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
            all_read = verify_directory(argument, call.flag("--recursive"), tally, lines) && all_read;
        } else {
            verify_file(argument, tally, lines);
        }
    }
    show(Node::object()
             .add("files", std::move(lines))
             .add("count", Node::tally()
                               .add("files", Node::number(tally.files))
                               .add("ok", Node::number(tally.ok))
                               .add("damaged", Node::number(tally.damaged))
                               .add("unknown", Node::number(tally.unknown))),
         call.flag("--json"));
    return all_read && tally.ok == tally.files ? kExitOk : kExitFailed;
}

}  // namespace

const std::vector<Command> &verify_commands() {
    static const std::vector<Command> commands = {
        {"verify",
         "PATH...",
         "check every file of a spool: ok, damaged or unknown",
         "Examines each file named and each regular file in each directory named (and in their\n"
         "subdirectories with --recursive). One line per file: \"ok\" with its kind, \"damaged\" or\n"
         "\"unreadable\" with the reason, or \"unknown\" for a file that is no packet, shipping order\n"
         "or health file; then the counts. Exit status 0 only when every file is ok.",
         {{"--recursive", nullptr, "descend into subdirectories", false, 'r'}, kJsonOption},
         run_verify},
    };
    return commands;
}

}  // namespace pxtool
