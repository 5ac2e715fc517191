// An in-memory encoding XDR stream whose buffer grows as it fills.
//
// The packet header writer encodes into one of these and checksums the bytes
// from x_base for as many bytes as the position reports, so x_base is kept at
// the start of the current buffer after every growth, and the position is the
// number of bytes encoded so far.

#include <arpa/inet.h>

#include <cstring>

#include "stg.h"
#include "xdr_ez.h"

namespace {

constexpr size_t kMaxCapacity = XDR_EZ_MAX_ALLOC;
// A stream asked for no room at all still starts with some, so that the
// doubling has something to double.
constexpr size_t kMinCapacity = 64;

struct StgStream {
    char *buffer;
    size_t capacity;
    size_t position;
    size_t end;  // bytes written so far; the position may be moved back before it
};

StgStream *stream_of(XDR *xdrs) { return static_cast<StgStream *>(xdrs->x_private); }

// Makes room for length more bytes at the position, doubling the buffer as
// often as needed within kMaxCapacity.
bool make_room(XDR *xdrs, StgStream *stream, size_t length) {
    if (length > kMaxCapacity - stream->position) { return false; }
    const size_t needed = stream->position + length;
    if (needed <= stream->capacity) { return true; }
    size_t capacity = stream->capacity;
    while (capacity < needed) { capacity = capacity > kMaxCapacity / 2 ? kMaxCapacity : capacity * 2; }
    char *buffer = static_cast<char *>(stg_malloc(capacity));
    if (buffer == nullptr) { return false; }
    std::memcpy(buffer, stream->buffer, stream->end);
    stg_free(stream->buffer);
    stream->buffer = buffer;
    stream->capacity = capacity;
    xdrs->x_base = buffer;
    return true;
}

void advance(StgStream *stream, size_t length) {
    stream->position += length;
    if (stream->position > stream->end) { stream->end = stream->position; }
}

bool_t op_putbytes(XDR *xdrs, const char *addr, u_int length) {
    StgStream *stream = stream_of(xdrs);
    if (stream == nullptr || !make_room(xdrs, stream, length)) { return FALSE; }
    if (length > 0) { std::memcpy(stream->buffer + stream->position, addr, length); }
    advance(stream, length);
    return TRUE;
}

bool_t op_putlong(XDR *xdrs, const long *lp) {
    const uint32_t word = htonl(static_cast<uint32_t>(*lp));
    return op_putbytes(xdrs, reinterpret_cast<const char *>(&word), sizeof word);
}

// The stream only encodes.
bool_t op_getlong(XDR *, long *) { return FALSE; }
bool_t op_getbytes(XDR *, char *, u_int) { return FALSE; }

u_int op_getpostn(XDR *xdrs) {
    StgStream *stream = stream_of(xdrs);
    return stream == nullptr ? 0 : static_cast<u_int>(stream->position);
}

// The position may be moved anywhere within what has been written, so that a
// field can be rewritten in place.
bool_t op_setpostn(XDR *xdrs, u_int position) {
    StgStream *stream = stream_of(xdrs);
    if (stream == nullptr || position > stream->end) { return FALSE; }
    stream->position = position;
    return TRUE;
}

// A run of whole words at the position for the inline fast path; null (the
// caller then codes field by field) when the run cannot be given aligned.
int32_t *op_inline(XDR *xdrs, u_int length) {
    StgStream *stream = stream_of(xdrs);
    if (stream == nullptr || xdrs->x_op != XDR_ENCODE || length % BYTES_PER_XDR_UNIT != 0 ||
        !make_room(xdrs, stream, length)) {
        return nullptr;
    }
    char *run = stream->buffer + stream->position;
    if (reinterpret_cast<uintptr_t>(run) % alignof(int32_t) != 0) { return nullptr; }
    advance(stream, length);
    return reinterpret_cast<int32_t *>(run);
}

void op_destroy(XDR *xdrs) {
    StgStream *stream = stream_of(xdrs);
    if (stream != nullptr) {
        stg_free(stream->buffer);
        stg_free(stream);
    }
    xdrs->x_private = nullptr;
    xdrs->x_base = nullptr;
}

bool_t op_control(XDR *, int, void *) { return FALSE; }

// libtirpc declares the operations table inside the stream's structure.
const XDR::xdr_ops kStgOps = {
    op_getlong, op_putlong, op_getbytes, op_putbytes, op_getpostn, op_setpostn, op_inline, op_destroy, op_control,
};

}  // namespace

TBS_EXTERN_C_BEGIN

tbs_status_t xdrstg_create(XDR *xdrs, u_int size, int flags) {
    if (xdrs == nullptr) { return TBS_ST_INVALID_ARG; }
    std::memset(xdrs, 0, sizeof *xdrs);
    xdrs->x_op = XDR_ENCODE;
    xdrs->x_ops = &kStgOps;
    if (flags != 0) { return TBS_ST_INVALID_ARG; }
    if (size > kMaxCapacity) { return TBS_ST_NO_MEMORY; }
    const size_t capacity = size < kMinCapacity ? kMinCapacity : size;
    auto *stream = static_cast<StgStream *>(stg_malloc(sizeof(StgStream)));
    char *buffer = stream == nullptr ? nullptr : static_cast<char *>(stg_malloc(capacity));
    if (buffer == nullptr) {
        stg_free(stream);
        return TBS_ST_NO_MEMORY;
    }
    *stream = StgStream{buffer, capacity, 0, 0};
    xdrs->x_private = stream;
    xdrs->x_base = buffer;
    return TBS_ST_OK;
}

void xdrstg_destroy(XDR *xdrs) {
    if (xdrs != nullptr && xdrs->x_ops == &kStgOps) { op_destroy(xdrs); }
}

TBS_EXTERN_C_END
