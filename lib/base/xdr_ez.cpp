// XDR helpers of the base services: bounded strings, counted arrays, optional
// elements, fixed vectors and the scalar and identifier routines the records
// are built from.
//
// Decoding trusts nothing on the wire: a count or length is checked against
// its maximum and against XDR_EZ_MAX_ALLOC before anything is allocated, and
// a decode that fails part way releases what it allocated itself, so the
// record is left in a state that a freeing pass releases completely.

#include "xdr_ez.h"

#include <climits>
#include <cstring>

#include "stg.h"

namespace {

constexpr uint64_t kMaxAlloc = XDR_EZ_MAX_ALLOC;

// Whether count elements of elsize bytes stay within the allocation limit.
bool fits_allocation(uint64_t count, uint64_t elsize) { return elsize == 0 || count <= kMaxAlloc / elsize; }

// Runs routine over element on a freeing stream.
void release_element(xdr_ez_proc_t routine, void *element, int extra) {
    XDR freeing{};
    freeing.x_op = XDR_FREE;
    routine(&freeing, element, extra);
}

// A zero-filled heap block, so that a freeing pass over elements that were
// never decoded finds only null pointers and zero counts.
void *allocate_zeroed(size_t size) {
    void *block = stg_malloc(size);
    if (block != nullptr) { std::memset(block, 0, size); }
    return block;
}

char *element_at(void *base, u_int index, u_int elsize) {
    return static_cast<char *>(base) + static_cast<size_t>(index) * elsize;
}

// Runs elproc over count elements, stopping at the first that fails; *done
// receives the number of elements the routine was called on. With
// clear_first each element is zero-filled just before its turn, so that a
// fresh block is written only as far as the stream delivers: a count that
// the stream cannot satisfy costs an allocation, not a pass over all of it.
bool code_elements(XDR *xdrs, void *base, u_int count, u_int elsize, xdr_ez_proc_t elproc, int extra, u_int *done,
                   bool clear_first = false) {
    for (u_int i = 0; i < count; ++i) {
        *done = i + 1;
        char *element = element_at(base, i, elsize);
        if (clear_first) { std::memset(element, 0, elsize); }
        if (!elproc(xdrs, element, extra)) { return false; }
    }
    *done = count;
    return true;
}

void release_elements(void *base, u_int count, u_int elsize, xdr_ez_proc_t elproc, int extra) {
    for (u_int i = 0; i < count; ++i) { release_element(elproc, element_at(base, i, elsize), extra); }
}

// The bound a string of at most max bytes is measured with: one byte past the
// maximum tells an over-long or unterminated text.
size_t string_probe_length(u_int max) {
    const size_t bound = max;
    return bound == SIZE_MAX ? bound : bound + 1;
}

bool_t encode_string(XDR *xdrs, const char *text, u_int max) {
    if (text == nullptr) { text = ""; }
    size_t length = strnlen(text, string_probe_length(max));
    if (length > max) { return FALSE; }
    u_int wire_length = static_cast<u_int>(length);
    if (!xdr_u_int(xdrs, &wire_length)) { return FALSE; }
    return wire_length == 0 || xdr_opaque(xdrs, const_cast<char *>(text), wire_length);
}

// Reads length bytes and the padding that rounds them to a whole word, as
// xdr_opaque does, but with the padding read into a buffer of this call:
// xdr_opaque reads it into one static buffer that every thread shares.
bool read_opaque(XDR *xdrs, char *buffer, u_int length) {
    char padding[BYTES_PER_XDR_UNIT];
    const u_int rest = length % BYTES_PER_XDR_UNIT;
    return XDR_GETBYTES(xdrs, buffer, length) && (rest == 0 || XDR_GETBYTES(xdrs, padding, BYTES_PER_XDR_UNIT - rest));
}

bool_t decode_string(XDR *xdrs, char **sp, u_int max) {
    u_int length = 0;
    if (!xdr_u_int(xdrs, &length)) { return FALSE; }
    if (length > max || static_cast<uint64_t>(length) + 1 > kMaxAlloc) { return FALSE; }
    char *buffer = *sp;
    const bool owned = buffer == nullptr;
    if (owned) {
        buffer = static_cast<char *>(stg_malloc(static_cast<size_t>(length) + 1));
        if (buffer == nullptr) { return FALSE; }
    }
    if (length > 0 && !read_opaque(xdrs, buffer, length)) {
        if (owned) {
            stg_free(buffer);
        } else {
            buffer[0] = '\0';
        }
        return FALSE;
    }
    buffer[length] = '\0';
    *sp = buffer;
    return TRUE;
}

bool_t decode_array(XDR *xdrs, void **arrp, u_int *countp, u_int elsize, xdr_ez_proc_t elproc, int extra) {
    const u_int count = *countp;
    if (count == 0) { return TRUE; }
    void *block = *arrp;
    const bool owned = block == nullptr;
    if (owned) {
        block = stg_malloc(static_cast<size_t>(count) * elsize);
        if (block == nullptr) { return FALSE; }
    }
    u_int done = 0;
    if (!code_elements(xdrs, block, count, elsize, elproc, extra, &done, owned)) {
        if (owned) {
            release_elements(block, done, elsize, elproc, extra);
            stg_free(block);
            *countp = 0;
        }
        return FALSE;
    }
    *arrp = block;
    return TRUE;
}

bool_t decode_pointer(XDR *xdrs, void **objpp, u_int objsize, xdr_ez_proc_t objproc, int extra) {
    u_int present = 0;
    if (!xdr_u_int(xdrs, &present)) { return FALSE; }
    if (present == 0) {
        *objpp = nullptr;
        return TRUE;
    }
    if (present != 1 || objsize > kMaxAlloc) { return FALSE; }
    void *object = *objpp;
    const bool owned = object == nullptr;
    if (owned) {
        object = allocate_zeroed(objsize);
        if (object == nullptr) { return FALSE; }
    }
    if (!objproc(xdrs, object, extra)) {
        if (owned) {
            release_element(objproc, object, extra);
            stg_free(object);
        }
        return FALSE;
    }
    *objpp = object;
    return TRUE;
}

// Codes a value held in the record itself (a uuid, a number, a string in a
// fixed buffer) with code(xdrs, value): a missing stream or value fails, and
// a freeing stream has nothing to release.
template <typename T, typename Code>
bool_t code_in_place(XDR *xdrs, T *value, Code code) {
    if (xdrs == nullptr) { return FALSE; }
    if (xdrs->x_op == XDR_FREE) { return TRUE; }
    return value != nullptr && code(xdrs, value) ? TRUE : FALSE;
}

// A string held in a fixed buffer of max + 1 bytes (names, host names): the
// buffer is never allocated nor released.
bool_t code_inline_string(XDR *xdrs, char *buffer, u_int max) {
    return code_in_place(xdrs, buffer, [max](XDR *x, char *text) { return xdr_ez_string8(x, &text, max) != 0; });
}

}  // namespace

TBS_EXTERN_C_BEGIN

bool_t xdr_ez_string8(XDR *xdrs, char **sp, u_int max) {
    if (xdrs == nullptr || sp == nullptr) { return FALSE; }
    switch (xdrs->x_op) {
    case XDR_ENCODE: return encode_string(xdrs, *sp, max);
    case XDR_DECODE: return decode_string(xdrs, sp, max);
    case XDR_FREE:
        stg_free(*sp);
        *sp = nullptr;
        return TRUE;
    }
    return FALSE;
}

bool_t xdr_ez_array(XDR *xdrs, void **arrp, u_int *countp, u_int max, u_int elsize, xdr_ez_proc_t elproc, int extra) {
    if (xdrs == nullptr || arrp == nullptr || countp == nullptr || elproc == nullptr) { return FALSE; }
    switch (xdrs->x_op) {
    case XDR_ENCODE: {
        if (*countp > max || (*countp > 0 && *arrp == nullptr)) { return FALSE; }
        u_int done = 0;
        return xdr_u_int(xdrs, countp) && code_elements(xdrs, *arrp, *countp, elsize, elproc, extra, &done);
    }
    case XDR_DECODE:
        if (!xdr_u_int(xdrs, countp)) { return FALSE; }
        if (*countp > max || !fits_allocation(*countp, elsize)) {
            *countp = 0;
            return FALSE;
        }
        return decode_array(xdrs, arrp, countp, elsize, elproc, extra);
    case XDR_FREE:
        if (*arrp != nullptr) {
            release_elements(*arrp, *countp, elsize, elproc, extra);
            stg_free(*arrp);
            *arrp = nullptr;
        }
        return TRUE;
    }
    return FALSE;
}

bool_t xdr_ez_pointer(XDR *xdrs, void **objpp, u_int objsize, xdr_ez_proc_t objproc, int extra) {
    if (xdrs == nullptr || objpp == nullptr || objproc == nullptr) { return FALSE; }
    switch (xdrs->x_op) {
    case XDR_ENCODE: {
        u_int present = *objpp != nullptr ? 1 : 0;
        if (!xdr_u_int(xdrs, &present)) { return FALSE; }
        return present == 0 || objproc(xdrs, *objpp, extra);
    }
    case XDR_DECODE: return decode_pointer(xdrs, objpp, objsize, objproc, extra);
    case XDR_FREE:
        if (*objpp != nullptr) {
            objproc(xdrs, *objpp, extra);
            stg_free(*objpp);
            *objpp = nullptr;
        }
        return TRUE;
    }
    return FALSE;
}

bool_t xdr_ez_vector(XDR *xdrs, void *base, u_int count, u_int elsize, xdr_ez_proc_t elproc, int extra) {
    if (xdrs == nullptr || elproc == nullptr) { return FALSE; }
    if (count == 0) { return TRUE; }
    if (base == nullptr) { return xdrs->x_op == XDR_FREE; }
    u_int done = 0;
    return code_elements(xdrs, base, count, elsize, elproc, extra, &done);
}

void xdr_ez_free(void *record, xdr_ez_proc_t routine, int extra) {
    if (record != nullptr && routine != nullptr) { release_element(routine, record, extra); }
}

bool_t xdr_tbs_uuid_t(XDR *xdrs, tbs_uuid_t *uuid, int /*extra*/) {
    return code_in_place(xdrs, uuid, [](XDR *x, tbs_uuid_t *u) {
        return xdr_opaque(x, reinterpret_cast<char *>(u->bytes), sizeof u->bytes) != 0;
    });
}

bool_t xdr_tbs_name_t(XDR *xdrs, char *name, int /*extra*/) { return code_inline_string(xdrs, name, TBS_NAME_MAX); }

bool_t xdr_tbs_hostname_t(XDR *xdrs, char *hostname, int /*extra*/) {
    return code_inline_string(xdrs, hostname, TBS_HOSTNAME_MAX);
}

bool_t xdr_ks_uint32_t(XDR *xdrs, uint32_t *value, int /*extra*/) {
    return code_in_place(xdrs, value, [](XDR *x, uint32_t *v) { return xdr_u_int32_t(x, v) != 0; });
}

bool_t xdr_ks_off64_t(XDR *xdrs, ks_off64_t *value, int /*extra*/) {
    return code_in_place(xdrs, value, [](XDR *x, ks_off64_t *v) {
        const uint64_t bits = x->x_op == XDR_ENCODE ? static_cast<uint64_t>(*v) : 0;
        uint32_t high = static_cast<uint32_t>(bits >> 32);
        uint32_t low = static_cast<uint32_t>(bits);
        if (!xdr_u_int32_t(x, &high) || !xdr_u_int32_t(x, &low)) { return false; }
        if (x->x_op == XDR_DECODE) { *v = static_cast<ks_off64_t>((static_cast<uint64_t>(high) << 32) | low); }
        return true;
    });
}

bool_t xdr_timeval(XDR *xdrs, struct timeval *tv) {
    return code_in_place(xdrs, tv, [](XDR *x, struct timeval *t) {
        const bool encoding = x->x_op == XDR_ENCODE;
        // The wire holds 32-bit words: a time that does not fit is refused
        // rather than silently cut.
        if (encoding &&
            (t->tv_sec < INT32_MIN || t->tv_sec > INT32_MAX || t->tv_usec < INT32_MIN || t->tv_usec > INT32_MAX)) {
            return false;
        }
        int32_t seconds = encoding ? static_cast<int32_t>(t->tv_sec) : 0;
        int32_t microseconds = encoding ? static_cast<int32_t>(t->tv_usec) : 0;
        if (!xdr_int32_t(x, &seconds) || !xdr_int32_t(x, &microseconds)) { return false; }
        if (x->x_op == XDR_DECODE) {
            t->tv_sec = seconds;
            t->tv_usec = microseconds;
        }
        return true;
    });
}

TBS_EXTERN_C_END
