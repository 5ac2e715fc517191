// The XDR stream over an open stdio file. Each get and put moves whole 4-byte
// big-endian units; byte runs carry no padding of their own (the XDR routines
// above add it). The stream cannot seek and never hands out an inline buffer,
// so every XDR routine falls back to the get and put operations.
#include "pxinfo_xdr_io.h"

#include <cstdint>
#include <type_traits>

#include "mtutl.h"
#include "pxinfo_kv_pkt.h"

namespace {

constexpr size_t kUnitSize = 4;

FILE *stream_file(XDR *xdrs) { return static_cast<FILE *>(xdrs->x_private); }

uint32_t from_big_endian(const unsigned char *bytes) {
    return (uint32_t{bytes[0]} << 24) | (uint32_t{bytes[1]} << 16) | (uint32_t{bytes[2]} << 8) | uint32_t{bytes[3]};
}

void to_big_endian(uint32_t value, unsigned char *bytes) {
    bytes[0] = static_cast<unsigned char>(value >> 24);
    bytes[1] = static_cast<unsigned char>(value >> 16);
    bytes[2] = static_cast<unsigned char>(value >> 8);
    bytes[3] = static_cast<unsigned char>(value);
}

// One unit from the file; false on a short read, with *value untouched.
bool read_unit(XDR *xdrs, uint32_t *value) {
    unsigned char bytes[kUnitSize];
    if (pxinfo_kv_pkt_fread(bytes, kUnitSize, 1, stream_file(xdrs)) != 1) { return false; }
    *value = from_big_endian(bytes);
    return true;
}

bool write_unit(XDR *xdrs, uint32_t value) {
    unsigned char bytes[kUnitSize];
    to_big_endian(value, bytes);
    return mtutl_fwrite(bytes, kUnitSize, 1, stream_file(xdrs)) == 1;
}

// A unit read into a long is stored zero-extended, as the system's own XDR
// streams do on 64-bit builds, so a record decodes identically from this
// stream and from theirs (xdr_u_long relies on it; on 32-bit builds the two
// extensions are the same).
bool_t xdrio_getlong(XDR *xdrs, long *target) {
    uint32_t value = 0;
    if (!read_unit(xdrs, &value)) { return FALSE; }
    *target = static_cast<long>(value);
    return TRUE;
}

bool_t xdrio_putlong(XDR *xdrs, const long *value) {
    return write_unit(xdrs, static_cast<uint32_t>(*value)) ? TRUE : FALSE;
}

bool_t xdrio_getbytes(XDR *xdrs, char *address, u_int length) {
    if (length == 0) { return TRUE; }
    return pxinfo_kv_pkt_fread(address, length, 1, stream_file(xdrs)) == 1 ? TRUE : FALSE;
}

bool_t xdrio_putbytes(XDR *xdrs, const char *address, u_int length) {
    if (length == 0) { return TRUE; }
    return mtutl_fwrite(address, length, 1, stream_file(xdrs)) == 1 ? TRUE : FALSE;
}

u_int xdrio_getpos(XDR *xdrs) { return static_cast<u_int>(mtutl_ftell(stream_file(xdrs))); }

// Callers that must rewind use the file itself.
bool_t xdrio_setpos(XDR *, u_int) { return FALSE; }

int32_t *xdrio_inline(XDR *, u_int) { return nullptr; }

// The file stays the caller's: flushed, never closed.
void xdrio_destroy(XDR *xdrs) { fflush(stream_file(xdrs)); }

bool_t xdrio_control(XDR *, int, void *) { return FALSE; }

// The 32-bit forms of the get and put operations, for operation tables that
// have those slots.
[[maybe_unused]] bool_t xdrio_getint32(XDR *xdrs, int32_t *target) {
    uint32_t value = 0;
    if (!read_unit(xdrs, &value)) { return FALSE; }
    *target = static_cast<int32_t>(value);
    return TRUE;
}

[[maybe_unused]] bool_t xdrio_putint32(XDR *xdrs, const int32_t *value) {
    return write_unit(xdrs, static_cast<uint32_t>(*value)) ? TRUE : FALSE;
}

// The operation table's slots differ between XDR implementations: some have
// the 32-bit get and put, some a control slot. Fill what this one has.
using XdrOps = std::remove_const_t<std::remove_pointer_t<decltype(XDR::x_ops)>>;

template <typename Ops, typename = void>
struct HasInt32Slots : std::false_type {};
template <typename Ops>
struct HasInt32Slots<Ops, std::void_t<decltype(&Ops::x_getint32), decltype(&Ops::x_putint32)>> : std::true_type {};

template <typename Ops, typename = void>
struct HasControlSlot : std::false_type {};
template <typename Ops>
struct HasControlSlot<Ops, std::void_t<decltype(&Ops::x_control)>> : std::true_type {};

template <typename Ops>
constexpr Ops make_xdrio_ops() {
    Ops ops{};
    ops.x_getlong = xdrio_getlong;
    ops.x_putlong = xdrio_putlong;
    ops.x_getbytes = xdrio_getbytes;
    ops.x_putbytes = xdrio_putbytes;
    ops.x_getpostn = xdrio_getpos;
    ops.x_setpostn = xdrio_setpos;
    ops.x_inline = xdrio_inline;
    ops.x_destroy = xdrio_destroy;
    if constexpr (HasControlSlot<Ops>::value) { ops.x_control = xdrio_control; }
    if constexpr (HasInt32Slots<Ops>::value) {
        ops.x_getint32 = xdrio_getint32;
        ops.x_putint32 = xdrio_putint32;
    }
    return ops;
}

constexpr XdrOps kXdrioOps = make_xdrio_ops<XdrOps>();

}  // namespace

extern "C" void pxinfo_xdrio_create(XDR *xdrs, FILE *file, enum xdr_op op) {
    if (xdrs == nullptr) { return; }
    xdrs->x_op = op;
    xdrs->x_ops = &kXdrioOps;
    xdrs->x_private = file;
    xdrs->x_base = nullptr;
    xdrs->x_handy = 0;
}
