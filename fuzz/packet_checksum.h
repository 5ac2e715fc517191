// Packet headers end in a checksum over everything before it, which random
// mutations of the header record nearly always break. The packet targets
// write the right checksum into some inputs, so that the readers are fuzzed
// past the check as well.
#ifndef PXINFO_FUZZ_PACKET_CHECKSUM_H
#define PXINFO_FUZZ_PACKET_CHECKSUM_H

#include <cstdint>
#include <vector>

#include "fileutl.h"
#include "pxinfo_kv_pkt.h"
#include "record_routines.h"

namespace pxfuzz {

inline uint32_t word_at(const std::vector<uint8_t> &bytes, size_t offset) {
    return static_cast<uint32_t>(bytes[offset]) << 24 | static_cast<uint32_t>(bytes[offset + 1]) << 16 |
           static_cast<uint32_t>(bytes[offset + 2]) << 8 | bytes[offset + 3];
}

// Writes over the stored checksum the one the reader will compute, when the
// bytes hold a whole record of a layout that has a checksum.
inline void set_checksum(std::vector<uint8_t> *bytes) {
    if (bytes->size() < 8) { return; }
    pxinfo_kv_pkt_header_type_t layout;
    const int major = static_cast<int32_t>(word_at(*bytes, 4));
    if (pxinfo_kv_pkt_major_version_to_header_type(major, 1, &layout) != TBS_ST_OK) { return; }
    RecordRoutine kind{};
    if (layout == PXINFO_KV_PKT_HEADER_TYPE_2) {
        kind = {"", &pxinfo::xdr::untyped<&xdr_pxinfo_kv_pkt_header_2_t>, sizeof(pxinfo_kv_pkt_header_2_t)};
    } else if (layout == PXINFO_KV_PKT_HEADER_TYPE_3) {
        kind = {"", &pxinfo::xdr::untyped<&xdr_pxinfo_kv_pkt_header_t>, sizeof(pxinfo_kv_pkt_header_t)};
    } else {
        return;
    }
    RecordBuffer record(kind.size);
    size_t used = 0;
    const bool whole = decode_record(kind, bytes->data() + 8, bytes->size() - 8, record.get(), &used);
    xdr_ez_free(record.get(), kind.routine, 0);
    const size_t end = 8 + used;
    if (!whole || bytes->size() < end + 4) { return; }
    uint32_t crc = 0;
    fileutl_crc_buffer(bytes->data(), end, &crc);
    for (int i = 0; i < 4; ++i) { (*bytes)[end + i] = static_cast<uint8_t>(crc >> (24 - 8 * i)); }
}

}  // namespace pxfuzz

#endif
