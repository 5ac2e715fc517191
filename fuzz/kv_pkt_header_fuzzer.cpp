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

#include "imsg.h"
#include "packet_checksum.h"
#include "pxinfo_kv_pkt.h"
#include "stg.h"

namespace {

void discard(void *, int, const char *, const char *) {}

[[noreturn]] void fail(const char *what) {
    std::fprintf(stderr, "packet header: %s\n", what);
    std::abort();
}

FILE *stream_of(std::vector<uint8_t> &bytes) {
    return bytes.empty() ? std::fopen("/dev/null", "r") : fmemopen(bytes.data(), bytes.size(), "r");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    imsg_set_sink(discard, nullptr);
    std::vector<uint8_t> bytes(data, data + size);
    if (size % 2 == 1) { pxfuzz::set_checksum(&bytes); }
    const unsigned long live_before = stg_live_block_count();

    FILE *file = stream_of(bytes);
    if (file == nullptr) { return 0; }
    XDR xdrs;
    int major = -1;
    pxinfo_kv_pkt_header_t header;
    std::memset(&header, 0x5a, sizeof header);
    tbs_status_t status = pxinfo_kv_pkt_read_header(file, &xdrs, 0, &major, &header);
    xdr_destroy(&xdrs);
    if (status != TBS_ST_OK &&
        (header.targets != nullptr || header.replicas != nullptr || header.aux_string != nullptr ||
         header.target_count != 0 || header.replica_count != 0)) {
        fail("a failed read leaves parts of a header behind");
    }
    pxinfo_free_kv_pkt_hdr(&header);

    std::rewind(file);
    pxinfo_kv_pkt_header_t imported;
    tbs_status_t import_status = pxinfo_kv_pkt_read_import_header_no_xdr(file, 1, &major, &imported);
    if (import_status != status) { fail("the import form and the reading form disagree"); }
    if (std::ftell(file) != 0) { fail("the import form does not rewind the file"); }
    if (import_status == TBS_ST_OK) { pxinfo_kv_pkt_finish_import_header_no_xdr(file, &imported); }
    std::fclose(file);

    if (stg_live_block_count() != live_before) { fail("blocks left after releasing the header"); }
    imsg_set_sink(nullptr, nullptr);
    return 0;
}
