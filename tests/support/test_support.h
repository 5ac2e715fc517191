// Helpers shared by the tests: capturing printed lines, counting leaks, and
// sweeping an operation over every allocation that can fail.
#ifndef PXINFO_TEST_SUPPORT_H
#define PXINFO_TEST_SUPPORT_H

#include <functional>
#include <string>
#include <vector>

#include "imsg.h"
#include "stg.h"
#include "tbs_types.h"

namespace pxtest {

struct PrintedLine {
    int severity;
    std::string component;  // empty for a literal format
    std::string text;
};

// Captures every line printed through the message service while alive, and
// sets verbosity and trace components as asked (restored on destruction).
class CapturedMessages {
  public:
    explicit CapturedMessages(int verbosity = 0, const char *trace_components = nullptr);
    ~CapturedMessages();
    CapturedMessages(const CapturedMessages &) = delete;
    CapturedMessages &operator=(const CapturedMessages &) = delete;

    const std::vector<PrintedLine> &lines() const { return lines_; }
    // Lines of one severity.
    std::vector<PrintedLine> with_severity(int severity) const;
    // Number of lines of severity 4 or 6.
    size_t problems() const;
    // All texts joined, for failure output.
    std::string dump() const;
    void clear() { lines_.clear(); }

  private:
    static void sink(void *ctx, int severity, const char *component, const char *text);
    std::vector<PrintedLine> lines_;
};

// Runs op with the nth allocation failing for n = 1, 2, ... until op runs
// without reaching its injected failure. op returns its status; check is
// called after each failing run with that status (and should assert the
// documented one and that nothing leaked). Returns the number of injection
// points swept. The live heap block count must be the same after each run.
size_t sweep_allocation_failures(const std::function<tbs_status_t()> &op,
                                 const std::function<void(tbs_status_t, unsigned long nth)> &check);

// The same loop for an operation that needs fresh inputs on every run: setup
// and teardown (either may be empty) run around op with no failure armed, so
// only op's own allocations are swept; check (may be empty) sees each failing
// run before teardown, and the leak check spans setup to teardown.
struct SweptOperation {
    std::function<void()> setup;
    std::function<tbs_status_t()> op;
    std::function<void(tbs_status_t, unsigned long nth)> check;
    std::function<void()> teardown;
};
size_t sweep_allocation_failures(const SweptOperation &operation);

// A path in a fresh temporary directory, removed at exit of the test program.
std::string temp_path(const std::string &name);

// The whole content of a file.
std::vector<unsigned char> read_file(const std::string &path);
void write_file(const std::string &path, const std::vector<unsigned char> &bytes);

// The rows of a table under tests/data: lines of tab-separated fields, lines
// starting with '#' left out. In each field \n, \t, \r, \\ and \xNN are
// escapes and {N*c} stands for N times the character c.
std::vector<std::vector<std::string>> data_rows(const std::string &name);

}  // namespace pxtest

#endif
