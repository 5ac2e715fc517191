// The frame every area of the library prints through: the trace gate, the
// traced-function guard, catalog messages with the quiet flag, literal texts,
// failure locations and internal errors.
#include "pxinfo_frame_internal.h"

namespace pxinfo {

bool trace_gate(int level) {
    return imsg_get_desired_verbosity() >= level && imsg_should_trace(kTraceComponent, level) != 0;
}

void trace_detail(int level, const char *format, ...) {
    if (!trace_gate(level)) { return; }
    va_list args;
    va_start(args, format);
    imsg_vprint(IMSG_SEV_TRACE, format, -1, args);
    va_end(args);
}

void trace_dump(int level, const char *format, ...) {
    if (!trace_gate(level)) { return; }
    va_list args;
    va_start(args, format);
    imsg_vprint(IMSG_SEV_OUTPUT, format, -1, args);
    va_end(args);
}

void print_msg(bool quiet, int severity, const imsg_msg_table_t &table, int index, ...) {
    if (quiet && (severity == IMSG_SEV_WARNING || severity == IMSG_SEV_ERROR)) { return; }
    va_list args;
    va_start(args, index);
    imsg_vprint(severity, &table, index, args);
    va_end(args);
}

int print_text(int severity, const char *format, ...) {
    va_list args;
    va_start(args, format);
    const int length = imsg_vprint(severity, format, -1, args);
    va_end(args);
    return length;
}

// The entry line is printed on behalf of the library's component and the exit
// line as a literal text without one: the product's traces look so.
void trace_entry(const char *function_name) {
    if (trace_gate(kTraceEntryExit)) {
        imsg_print_shared(IMSG_SEV_TRACE, kTraceComponent, "into %s..\n", -1, function_name);
    }
}

void trace_exit(const char *function_name) {
    if (trace_gate(kTraceEntryExit)) { imsg_print(IMSG_SEV_TRACE, "exiting %s..\n", -1, function_name); }
}

TraceScope::TraceScope(const char *function_name, const char *source_path)
    : name_(function_name), source_(source_path) {
    trace_entry(name_);
}

TraceScope::~TraceScope() { trace_exit(name_); }

tbs_status_t trace_failure(tbs_status_t status, const char *source_path, int line) {
    if (status != TBS_ST_OK && trace_gate(kTraceFailure)) {
        print_shared(IMSG_SEV_TRACE, kTraceComponent, tbs::SharedMsg::kFailedAt, source_path, line);
    }
    return status;
}

tbs_status_t TraceScope::fail(tbs_status_t status, int line) const { return trace_failure(status, source_, line); }

tbs_status_t TraceScope::fail_op(tbs_status_t status, int line, const char *operation) const {
    if (status != TBS_ST_OK && trace_gate(kTraceFailure)) {
        imsg_print(IMSG_SEV_TRACE, "%s:%d: operation '%s' failed: %s.\n", -1, source_, line, operation,
                   tbs_strerror(status));
    }
    return status;
}

void log_int_error(const char *source_path, int line, const char *function_name) {
    tbs_log_int_error(kTraceComponent, &_tbs_cmsg_tbs_msg_table, static_cast<int>(tbs::SharedMsg::kInternalError),
                      source_path, line, 0, function_name);
}

}  // namespace pxinfo
