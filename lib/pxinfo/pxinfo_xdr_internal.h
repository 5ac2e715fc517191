// The one mechanism behind every record routine of the library: a field
// coder that turns an inner routine into the list of its fields, the outer
// routine that normalises the inner one's result, counted arrays, optional
// elements, inline vectors and enumerations. Never installed.
#ifndef PXINFO_XDR_INTERNAL_H
#define PXINFO_XDR_INTERNAL_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "pxinfo_xdr.h"
#include "xdr_ez.h"

namespace pxinfo::xdr {

// Unbounded strings are coded with the largest maximum there is.
constexpr u_int kUnbounded = 0xFFFFFFFFu;

inline bool_t as_bool(bool ok) { return ok ? TRUE : FALSE; }

// Calls a coding routine that takes extra, or one that does not (the
// enumeration, scalar and message routines take only the stream and value).
template <auto Routine, typename T>
bool invoke(XDR *xdrs, T *value, [[maybe_unused]] int extra) {
    if constexpr (std::is_invocable_v<decltype(Routine), XDR *, T *, int>) {
        return Routine(xdrs, value, extra) != 0;
    } else {
        return Routine(xdrs, value) != 0;
    }
}

// The outer routine of every record: the inner one, answered exactly 1 or 0.
template <auto Inner, typename T>
bool_t outer(XDR *xdrs, T *record, int extra) {
    return as_bool(invoke<Inner>(xdrs, record, extra));
}

// The record type of a coding routine: what its second parameter points to.
template <typename Routine>
struct RecordOf;
template <typename T>
struct RecordOf<bool_t (*)(XDR *, T *, int)> {
    using type = T;
};
template <typename T>
struct RecordOf<bool_t (*)(XDR *, T *)> {
    using type = T;
};
template <auto Routine>
using record_of_t = typename RecordOf<decltype(Routine)>::type;

// A coding routine with its record untyped: the xdr_ez_proc_t shape that the
// xdr_ez_ helpers and xdr_ez_free take, so that no function pointer is ever
// called through another type. The one typed-to-untyped adapter, used by the
// library, the tests, the fuzzers and the benchmarks.
template <auto Routine>
bool_t untyped(XDR *xdrs, void *record, int extra) {
    return as_bool(invoke<Routine>(xdrs, static_cast<record_of_t<Routine> *>(record), extra));
}

// Codes *value as the word of Routine through a local of the word's type,
// so that the value is never accessed as another type.
template <typename Word, bool_t (*Routine)(XDR *, Word *), typename T>
bool_t code_as(XDR *xdrs, T *value) {
    Word word = static_cast<Word>(*value);
    if (!Routine(xdrs, &word)) { return FALSE; }
    if (xdrs->x_op == XDR_DECODE) { *value = static_cast<T>(word); }
    return TRUE;
}

// An enumeration as one xdr_enum word; any value, member or not, passes.
template <typename E>
bool_t code_enum(XDR *xdrs, E *value) {
    static_assert(sizeof(E) == sizeof(enum_t), "enumerations are 32-bit");
    return code_as<enum_t, xdr_enum>(xdrs, value);
}

// A 32-bit "long" as xdr_long codes it: one signed word, whatever the width
// of long on the platform.
inline bool_t code_long(XDR *xdrs, int32_t *value) { return code_as<long, xdr_long>(xdrs, value); }

// A 32-bit "u_long" as xdr_u_long codes it: one unsigned word.
inline bool_t code_u_long(XDR *xdrs, uint32_t *value) { return code_as<u_long, xdr_u_long>(xdrs, value); }

// Runs the same array routine on a freeing stream: releases what a decode
// allocated, with the number of elements it allocated.
template <typename Elem>
void release_array(XDR *xdrs, Elem **elements, u_int allocated, xdr_ez_proc_t routine, int extra) {
    const enum xdr_op op = xdrs->x_op;
    void *block = *elements;
    u_int n = allocated;
    xdrs->x_op = XDR_FREE;
    (void)xdr_ez_array(xdrs, &block, &n, allocated, sizeof(Elem), routine, extra);
    xdrs->x_op = op;
    *elements = static_cast<Elem *>(block);
}

// Codes the fields of one record in order, the stream and extra held once.
// Each method codes one field and reports success, so that an inner routine
// is the conjunction of its fields and stops at the first that fails.
class Fields {
  public:
    Fields(XDR *xdrs, int extra) : xdrs_(xdrs), extra_(extra) {}

    XDR *stream() const { return xdrs_; }
    int extra() const { return extra_; }

    // A nested record, enumeration or scalar, by its routine.
    template <auto Routine, typename T>
    bool field(T *value) const {
        return invoke<Routine>(xdrs_, value, extra_);
    }

    bool i32(int32_t *value) const { return xdr_int(xdrs_, value) != 0; }
    bool u32(uint32_t *value) const { return xdr_u_int(xdrs_, value) != 0; }
    bool long32(int32_t *value) const { return code_long(xdrs_, value) != 0; }
    bool u_long32(uint32_t *value) const { return code_u_long(xdrs_, value) != 0; }
    bool uuid(tbs_uuid_t *value) const { return xdr_tbs_uuid_t(xdrs_, value, extra_) != 0; }
    bool name(char *buffer) const { return xdr_tbs_name_t(xdrs_, buffer, extra_) != 0; }
    bool hostname(char *buffer) const { return xdr_tbs_hostname_t(xdrs_, buffer, extra_) != 0; }
    bool string(char **text) const { return xdr_ez_string8(xdrs_, text, kUnbounded) != 0; }

    // A counted array whose count field has just been coded: the array's
    // size and its maximum are both that count. A decode that does not end
    // with exactly count elements is refused and releases what it
    // allocated, so the record never claims more elements than it holds.
    // An array the caller supplied (decoding into it, as xdr_array allows)
    // stays the caller's: a refused decode leaves the block where it is,
    // with whatever elements were decoded into it for the caller to release.
    template <auto Routine, typename Count, typename Elem>
    bool array(Count count, Elem **elements) const {
        static_assert(std::is_integral_v<Count> && sizeof(Count) == sizeof(u_int), "counts are 32-bit");
        const u_int limit = static_cast<u_int>(count);
        u_int n = limit;
        void *block = *elements;
        const bool callers_block = block != nullptr;
        static_assert(std::is_same_v<record_of_t<Routine>, Elem>, "the routine codes the element type");
        const xdr_ez_proc_t routine = &untyped<Routine>;
        const bool ok = xdr_ez_array(xdrs_, &block, &n, limit, sizeof(Elem), routine, extra_) != 0;
        *elements = static_cast<Elem *>(block);
        if (xdrs_->x_op == XDR_DECODE && (!ok || n != limit)) {
            if (*elements != nullptr && !callers_block) { release_array(xdrs_, elements, n, routine, extra_); }
            return false;
        }
        return ok;
    }

    // An optional single element: a presence word, then the element.
    template <auto Routine, typename Elem>
    bool pointer(Elem **element) const {
        void *block = *element;
        static_assert(std::is_same_v<record_of_t<Routine>, Elem>, "the routine codes the element type");
        const bool ok = xdr_ez_pointer(xdrs_, &block, sizeof(Elem), &untyped<Routine>, extra_) != 0;
        *element = static_cast<Elem *>(block);
        return ok;
    }

    // A fixed number of inline elements, no count word.
    template <auto Routine, typename Elem, size_t N>
    bool vector(Elem (&elements)[N]) const {
        static_assert(std::is_same_v<record_of_t<Routine>, Elem>, "the routine codes the element type");
        return xdr_ez_vector(xdrs_, elements, static_cast<u_int>(N), sizeof(Elem), &untyped<Routine>, extra_) != 0;
    }

  private:
    XDR *xdrs_;
    int extra_;
};

// The null procedure's filters of a code generator's glue: the argument as
// one int, the result as one long that must decode with a clear low byte.
inline bool_t null_proc_back(XDR *xdrs, int *value) { return as_bool(xdr_int(xdrs, value)); }

inline bool_t null_proc_over(XDR *xdrs, long *value) {
    if (!xdr_long(xdrs, value)) { return FALSE; }
    return as_bool(xdrs->x_op != XDR_DECODE || (*value & 0xFF) == 0);
}

}  // namespace pxinfo::xdr

// Defines the exported outer routine of a record, enumeration or alias: the
// given inner routine's result as exactly 1 or 0.
#define PXINFO_XDR_OUTER(routine, type, inner) \
    bool_t routine(XDR *xdrs, type *record, int extra) { return pxinfo::xdr::outer<inner>(xdrs, record, extra); }

// Defines both routines of an enumeration: the inner one coding one
// xdr_enum word, and the outer one.
#define PXINFO_XDR_ENUM(type, inner, routine)                                            \
    bool_t inner(XDR *xdrs, type *value) { return pxinfo::xdr::code_enum(xdrs, value); } \
    PXINFO_XDR_OUTER(routine, type, inner)

#endif
