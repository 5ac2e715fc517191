// Packet files by path: the input is written to a file whose type is then
// detected and whose packet information is built, without a crash or a leak
// (the information lives in an area deleted afterwards). An update packet's
// information also gives its epoch row, and compared with itself it orders
// neither way. Odd-length inputs get a right header checksum, as in the
// packet-header target.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "imsg.h"
#include "packet_checksum.h"
#include "pxinfo_pktutl.h"
#include "pxinfo_utl_epoch.h"
#include "stg.h"

namespace {

void discard(void *, int, const char *, const char *) {}

[[noreturn]] void fail(const char *what) {
    std::fprintf(stderr, "packet file: %s\n", what);
    std::abort();
}

// One file per process, in memory-backed storage when there is some; it is
// removed after each input, since libFuzzer ends without running exit
// handlers.
const std::string &file_path() {
    static const std::string path = [] {
        const char *dir = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        return std::string(dir) + "/pxinfo-fuzz-" + std::to_string(getpid()) + ".pkt";
    }();
    return path;
}

bool write_input(const std::vector<uint8_t> &bytes) {
    FILE *file = std::fopen(file_path().c_str(), "wb");
    if (file == nullptr) { return false; }
    bool ok = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    return std::fclose(file) == 0 && ok;
}

void check_update_packet(const pxinfo_packet_info_t &info) {
    if (info.status != 0 || info.component_type != PXINFO_COMPONENT_VAULT ||
        info.sources[0].packet_type == PXINFO_PACKET_CREATION) {
        return;
    }
    pxinfo_epoch_row_t row{};
    if (pxinfo_kv_packet_info_to_epoch_row(&info, &row) == TBS_ST_OK) { pxinfo_free_new_epoch_row_entry(&row); }
    if (pxinfo_compare_pkt_dependencies(&info, &info) != 0) { fail("a packet orders before or after itself"); }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    imsg_set_sink(discard, nullptr);
    std::vector<uint8_t> bytes(data, data + size);
    if (size % 2 == 1) { pxfuzz::set_checksum(&bytes); }
    if (!write_input(bytes)) {
        std::remove(file_path().c_str());
        return 0;
    }
    const unsigned long live_before = stg_live_block_count();

    pxinfo_file_type_t type = PXINFO_FILE_OTHER;
    pxinfo_get_file_type(file_path().c_str(), &type);

    stg_area_t *area = stg_create_area(0);
    pxinfo_packet_info_t info;
    if (pxinfo_get_packet_info(file_path().c_str(), area, 7, &info) == TBS_ST_OK) { check_update_packet(info); }
    stg_delete_area(&area);
    std::remove(file_path().c_str());

    if (stg_live_block_count() != live_before) { fail("blocks left after the packet information's area"); }
    imsg_set_sink(nullptr, nullptr);
    return 0;
}
