// Health file reader: the first byte's low bit is the epoch_only flag, the
// rest is the file. Any bytes read without a crash or a leak: records that
// read (or fail only their consistency check) are released by the two free
// operations, and after a decoding failure the reader has released them
// itself. A full pair that reads must write back, and what was written must
// read again and write to the same bytes.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "imsg.h"
#include "pxinfo_fileutl.h"
#include "stg.h"

namespace {

void discard(void *, int, const char *, const char *) {}

[[noreturn]] void fail(const char *what) {
    std::fprintf(stderr, "health file: %s\n", what);
    std::abort();
}

// The caller releases the records after a read that decoded them (success
// or a failed consistency check); after a decoding failure the reader has.
struct Records {
    pxinfo_family_sync_status_t sync{};
    pxinfo_family_epoch_status_t epoch{};
    bool decoded = false;
    ~Records() {
        if (!decoded) { return; }
        pxinfo_free_family_sync_status_from_file(&sync);
        pxinfo_free_family_epoch_status_from_file(&epoch);
    }
};

tbs_status_t read_records(const uint8_t *data, size_t size, int epoch_only, Records *records) {
    // fmemopen refuses an empty buffer: an empty file is /dev/null.
    FILE *file = size > 0 ? fmemopen(const_cast<uint8_t *>(data), size, "r") : std::fopen("/dev/null", "r");
    if (file == nullptr) { return TBS_ST_FAILED; }
    tbs_status_t status = pxinfo_read_health_file(&records->sync, &records->epoch, file, epoch_only);
    std::fclose(file);
    records->decoded = status == TBS_ST_OK || status == TBS_ST_INVALID_ARG;
    return status;
}

// The bytes that writing the pair gives; false when writing fails.
bool write_records(const Records &records, std::string *bytes) {
    char *text = nullptr;
    size_t length = 0;
    FILE *file = open_memstream(&text, &length);
    if (file == nullptr) { return false; }
    tbs_status_t status = pxinfo_write_health_file(&records.sync, &records.epoch, file);
    std::fclose(file);
    bytes->assign(text, length);
    std::free(text);
    return status == TBS_ST_OK;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) { return 0; }
    imsg_set_sink(discard, nullptr);
    const unsigned long live_before = stg_live_block_count();
    const int epoch_only = data[0] & 1;
    {
        Records records;
        tbs_status_t status = read_records(data + 1, size - 1, epoch_only, &records);
        if (status == TBS_ST_OK && !epoch_only) {
            std::string written;
            if (!write_records(records, &written)) { fail("a pair that reads does not write"); }
            Records again;
            if (read_records(reinterpret_cast<const uint8_t *>(written.data()), written.size(), 0, &again) !=
                TBS_ST_OK) {
                fail("a written pair does not read");
            }
            std::string rewritten;
            if (!write_records(again, &rewritten) || rewritten != written) {
                fail("a pair read back writes other bytes");
            }
        }
    }
    if (stg_live_block_count() != live_before) { fail("blocks left after releasing the records"); }
    imsg_set_sink(nullptr, nullptr);
    return 0;
}
