// The library's frame, shared by every area: source locations, the trace gate
// and the traced-function guard, message printing (catalog messages with the
// quiet flag, shared messages, literal texts), internal errors and
// assertions. Every message of the library is printed through this file and
// pxinfo_frame.cpp. Never installed.
#ifndef PXINFO_FRAME_INTERNAL_H
#define PXINFO_FRAME_INTERNAL_H

#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include "imsg.h"
#include "imsg_shared_internal.h"
#include "pfm.h"
#include "pxinfo_msg.h"
#include "pxinfo_msg_internal.h"
#include "stg.h"
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

// Source locations, as failure traces, internal errors and assertions print
// them: "lib/pxinfo/" and the name of the product's source file of the area.
// An area may span several of our files: every pxinfo_utl_* file is
// "pxinfo_utl", and the packet header mapping is "pxinfo_kv_pkt".
namespace source {
constexpr const char *kChkEv = "lib/pxinfo/pxinfo_chk_ev";
constexpr const char *kFileutl = "lib/pxinfo/pxinfo_fileutl";
constexpr const char *kKvPkt = "lib/pxinfo/pxinfo_kv_pkt";
constexpr const char *kPktutl = "lib/pxinfo/pxinfo_pktutl";
constexpr const char *kSettings = "lib/pxinfo/pxinfo_settings";
constexpr const char *kUtl = "lib/pxinfo/pxinfo_utl";
}  // namespace source

// True when trace lines of this level are wanted: the process's verbosity is
// at least level, then tracing is on for "pxinfo" (tested in that order).
bool trace_gate(int level);

// A detail trace line (a literal format) with severity 8, behind the gate.
void trace_detail(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));
// A detail dump (a literal format) with severity 0, behind the gate.
void trace_dump(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));

// A zero-filled array of count elements in area (STG_AREA_TEMP: a heap block
// released with stg_free); null when storage is exhausted or the size cannot
// be represented. Every counted array of the library is allocated here.
template <typename T>
T *allocate_array(stg_area_t *area, size_t count) {
    if (count > SIZE_MAX / sizeof(T)) { return nullptr; }
    return static_cast<T *>(stg_calloc(area, count * sizeof(T)));
}

// Prints message index of table with the given severity; while quiet is set,
// warnings and errors are not printed. The library calls the typed forms.
void print_msg(bool quiet, int severity, const imsg_msg_table_t &table, int index, ...);

// One printing function per catalog, addressed by the catalog's typed index.
template <typename... Args>
void print_msg(bool quiet, int severity, PxinfoMsg index, Args... args) {
    print_msg(quiet, severity, _pxinfo_pxinfo_msg_table, static_cast<int>(index), args...);
}
template <typename... Args>
void print_msg(bool quiet, int severity, KvPktMsg index, Args... args) {
    print_msg(quiet, severity, _pxinfo_kv_pkt_pxinfo_msg_table, static_cast<int>(index), args...);
}
template <typename... Args>
void print_msg(bool quiet, int severity, ShpOrderMsg index, Args... args) {
    print_msg(quiet, severity, _pxinfo_shp_order_pxinfo_msg_table, static_cast<int>(index), args...);
}

// Prints message index of the base services' shared table on behalf of
// component.
template <typename... Args>
void print_shared(int severity, const char *component, tbs::SharedMsg index, Args... args) {
    imsg_print_shared(severity, component, &_tbs_cmsg_tbs_msg_table, static_cast<int>(index), args...);
}

// Prints a literal text (a printf format and its arguments) with the given
// severity and no component; returns the length of the text, or -1.
int print_text(int severity, const char *format, ...) __attribute__((format(printf, 2, 3)));

// The entry and exit lines of a traced function, for the rare function whose
// exit is traced on some paths only; everything else uses TraceScope.
void trace_entry(const char *function_name);
void trace_exit(const char *function_name);

// The failure location "%s:%d: failed." (shared message 34) of a non-zero
// status, behind the gate; returns status.
tbs_status_t trace_failure(tbs_status_t status, const char *source_path, int line);

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

// Logs the shared internal-error message with function_name for component
// "pxinfo".
void log_int_error(const char *source_path, int line, const char *function_name);

}  // namespace pxinfo

// Declares the traced-function guard scope of the enclosing function, which
// takes the function's name from the compiler: the __func__ of an extern "C"
// function is its exported name.
#define PXINFO_TRACE_SCOPE(scope, source_path) ::pxinfo::TraceScope scope(__func__, (source_path))

// Shorthands that supply the line of the failing statement.
#define PXINFO_FAIL(scope, status) ((scope).fail((status), __LINE__))
#define PXINFO_FAIL_OP(scope, status, op) ((scope).fail_op((status), __LINE__, (op)))
#define PXINFO_ASSERT_FAIL(expr_text, source_path) pfm_assert_fail((expr_text), (source_path), __LINE__)

#endif
