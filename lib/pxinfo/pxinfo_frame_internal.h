// The library's frame, shared by every area: the trace gate and the traced
// function guard, catalog message printing with the quiet flag, internal errors
// and assertions. Never installed.
#ifndef PXINFO_FRAME_INTERNAL_H
#define PXINFO_FRAME_INTERNAL_H

#include <cstdarg>

#include "imsg.h"
#include "pfm.h"
#include "pxinfo_msg.h"
#include "tbs.h"
#include "tbs_types.h"

namespace pxinfo {

// Trace levels.
constexpr int kTraceFailure = 1;
constexpr int kTraceEntryExit = 3;
constexpr int kTraceDetail = 4;
constexpr int kTraceFine = 5;

// The component every trace line of the library is printed for.
constexpr const char *kTraceComponent = "pxinfo";

// True when trace lines of this level are wanted: the process's verbosity is
// at least level, then tracing is on for "pxinfo" (tested in that order).
bool trace_gate(int level);

// A detail trace line (a literal format) with severity 8, behind the gate.
void trace_detail(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));
// A detail dump (a literal format) with severity 0, behind the gate.
void trace_dump(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));

// Prints message index of table with the given severity unless quiet is set.
void print_msg(bool quiet, int severity, const imsg_msg_table_t &table, int index, ...);

// The entry and exit lines of a traced function, for the rare function whose
// exit is traced on some paths only; everything else uses TraceScope.
void trace_entry(const char *function_name);
void trace_exit(const char *function_name);

// The traced-function guard: prints "into NAME.." on construction and
// "exiting NAME.." when it goes out of scope, so no return path can forget
// the exit line. fail() prints the failure location of a non-zero status.
class TraceScope {
  public:
    TraceScope(const char *function_name, const char *source_path);
    ~TraceScope();
    TraceScope(const TraceScope &) = delete;
    TraceScope &operator=(const TraceScope &) = delete;

    // Failure location "%s:%d: failed." (shared message 34) when status is
    // non-zero; returns status.
    tbs_status_t fail(tbs_status_t status, int line) const;
    // Failure of a named operation: "%s:%d: operation '%s' failed: %s.".
    tbs_status_t fail_op(tbs_status_t status, int line, const char *operation) const;

    const char *name() const { return name_; }
    const char *source() const { return source_; }

  private:
    const char *name_;
    const char *source_;
};

// Logs shared message 38 with function_name for component "pxinfo".
void log_int_error(const char *source_path, int line, const char *function_name);

}  // namespace pxinfo

// Shorthands that supply the line of the failing statement.
#define PXINFO_FAIL(scope, status) ((scope).fail((status), __LINE__))
#define PXINFO_FAIL_OP(scope, status, op) ((scope).fail_op((status), __LINE__, (op)))
#define PXINFO_ASSERT_FAIL(expr_text, source_path) pfm_assert_fail((expr_text), (source_path), __LINE__)

#endif
