// Packet header reader, through a file stream: the input is the packet file.
// Any bytes give a header or a failure status without a crash or a leak, in
// both the reading form and the import form, which must leave the file at
// its start. A mutated header record would nearly always stop at the
// checksum: for inputs of odd length the right checksum is written after the
// record before reading, so that what the reader does past the check is
// fuzzed too; inputs of even length are read as they are.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fileutl.h"
#include "imsg.h"
#include "pxinfo_kv_pkt.h"
#include "record_routines.h"
#include "stg.h"

namespace {

void discard(void *, int, const char *, const char *) {}

[[noreturn]] void fail(const char *what) {
    std::fprintf(stderr, "packet header: %s\n", what);
    std::abort();
}

uint32_t word_at(const std::vector<uint8_t> &bytes, size_t offset) {
    return static_cast<uint32_t>(bytes[offset]) << 24 | static_cast<uint32_t>(bytes[offset + 1]) << 16 |
           static_cast<uint32_t>(bytes[offset + 2]) << 8 | bytes[offset + 3];
}

// Writes over the stored checksum the one the reader will compute, when the
// bytes hold a whole record of a layout that has a checksum.
void set_checksum(std::vector<uint8_t> *bytes) {
    if (bytes->size() < 8) return;
    pxinfo_kv_pkt_header_type_t layout;
    const int major = static_cast<int32_t>(word_at(*bytes, 4));
    if (pxinfo_kv_pkt_major_version_to_header_type(major, 1, &layout) != TBS_ST_OK) return;
    pxfuzz::RecordRoutine kind{};
    if (layout == PXINFO_KV_PKT_HEADER_TYPE_2)
        kind = {"", &pxfuzz::with_extra<pxinfo_kv_pkt_header_2_t, &xdr_pxinfo_kv_pkt_header_2_t>,
                sizeof(pxinfo_kv_pkt_header_2_t)};
    else if (layout == PXINFO_KV_PKT_HEADER_TYPE_3)
        kind = {"", &pxfuzz::with_extra<pxinfo_kv_pkt_header_t, &xdr_pxinfo_kv_pkt_header_t>,
                sizeof(pxinfo_kv_pkt_header_t)};
    else
        return;
    pxfuzz::RecordBuffer record(kind.size);
    size_t used = 0;
    const bool whole = pxfuzz::decode_record(kind, bytes->data() + 8, bytes->size() - 8, record.get(), &used);
    xdr_ez_free(record.get(), kind.routine, 0);
    const size_t end = 8 + used;
    if (!whole || bytes->size() < end + 4) return;
    uint32_t crc = 0;
    fileutl_crc_buffer(bytes->data(), end, &crc);
    for (int i = 0; i < 4; ++i) (*bytes)[end + i] = static_cast<uint8_t>(crc >> (24 - 8 * i));
}

FILE *stream_of(std::vector<uint8_t> &bytes) {
    return bytes.empty() ? std::fopen("/dev/null", "r") : fmemopen(bytes.data(), bytes.size(), "r");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    imsg_set_sink(discard, nullptr);
    std::vector<uint8_t> bytes(data, data + size);
    if (size % 2 == 1) set_checksum(&bytes);
    const unsigned long live_before = stg_live_block_count();

    FILE *file = stream_of(bytes);
    if (file == nullptr) return 0;
    XDR xdrs;
    int major = -1;
    pxinfo_kv_pkt_header_t header;
    std::memset(&header, 0x5a, sizeof header);
    tbs_status_t status = pxinfo_kv_pkt_read_header(file, &xdrs, 0, &major, &header);
    xdr_destroy(&xdrs);
    if (status != TBS_ST_OK && (header.targets != nullptr || header.replicas != nullptr ||
                                header.aux_string != nullptr || header.target_count != 0 ||
                                header.replica_count != 0))
        fail("a failed read leaves parts of a header behind");
    pxinfo_free_kv_pkt_hdr(&header);

    std::rewind(file);
    pxinfo_kv_pkt_header_t imported;
    tbs_status_t import_status = pxinfo_kv_pkt_read_import_header_no_xdr(file, 1, &major, &imported);
    if (import_status != status) fail("the import form and the reading form disagree");
    if (std::ftell(file) != 0) fail("the import form does not rewind the file");
    if (import_status == TBS_ST_OK) pxinfo_kv_pkt_finish_import_header_no_xdr(file, &imported);
    std::fclose(file);

    if (stg_live_block_count() != live_before) fail("blocks left after releasing the header");
    imsg_set_sink(nullptr, nullptr);
    return 0;
}
