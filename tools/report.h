// How pxinfo speaks: the library's lines routed through the tool so that
// every warning and error names the file it is about, messages of the tool
// itself, and the files it reads (standard input included).
#ifndef PXINFO_TOOL_REPORT_H
#define PXINFO_TOOL_REPORT_H

#include <string>
#include <vector>

#include "view.h"

namespace pxtool {

// Installs the tool's sink for the library's lines: plain output to standard
// output, traces to standard error as they are, warnings and errors to
// standard error naming the current subject (or into the current capture).
void route_library_messages();

// "pxinfo: TEXT" on standard error.
void complain(const std::string &text);
// "pxinfo: NAME: TEXT" on standard error; NAME is left out when the text
// names the file already, as the library's messages do.
void fail(const std::string &name, const std::string &text);

// The file the library's messages are about while this lives: its name as
// the user gave it, and the path the library was handed (which messages show
// as the name).
class Subject {
  public:
    Subject(const std::string &name, const std::string &path);
    ~Subject();
    Subject(const Subject &) = delete;
    Subject &operator=(const Subject &) = delete;

  private:
    const Subject *previous_;
    friend struct Sink;
    std::string name_, path_;
};

// Collects the library's warnings and errors (and, when asked, its trace
// lines) while it lives, instead of printing them.
class Capture {
  public:
    explicit Capture(bool traces = false);
    ~Capture();
    Capture(const Capture &) = delete;
    Capture &operator=(const Capture &) = delete;
    // The first collected error or warning (or trace line that is no entry,
    // exit or failure-location line), without its newline; empty when none.
    std::string first() const;
    // True when the component printed an error.
    bool from(const char *component) const;

  private:
    struct Line {
        int severity;
        std::string component, text;
    };
    Capture *previous_;
    bool traces_;
    std::vector<Line> lines_;
    friend struct Sink;
};

// A file operand: a path, or "-" for standard input, which is copied to a
// temporary file first, since the library opens and reopens files by path.
class Operand {
  public:
    explicit Operand(const std::string &argument);
    ~Operand();
    Operand(const Operand &) = delete;
    Operand &operator=(const Operand &) = delete;
    // False (after a message) when standard input could not be copied.
    bool ready() const { return !path_.empty(); }
    const std::string &name() const { return name_; }
    const std::string &path() const { return path_; }

  private:
    std::string name_, path_;
    bool temporary_ = false;
};

// Flushes and closes standard output; a failed write turns status into
// kExitFailed after a message.
int close_output(int status);

}  // namespace pxtool

#endif
