// Health files: writing and reading the family epoch and sync status, the
// consistency rules on both sides, damaged and truncated files.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "fixtures.h"
#include "pxinfo_fileutl.h"
#include "pxinfo_fileutl_internal.h"
#include "test_support.h"
#include "xdr_ez.h"

namespace {

using Bytes = std::vector<unsigned char>;

// The encoding of the records by their record routines (checked against
// rpcgen's in the record tests): the golden bytes of a file's parts.
Bytes health_bytes(const pxinfo_family_epoch_status_t &epoch, const pxinfo_family_sync_status_t *sync = nullptr) {
    XDR xdrs;
    EXPECT_EQ(TBS_ST_OK, xdrstg_create(&xdrs, 1 << 16, 0));
    EXPECT_TRUE(xdr_pxinfo_family_epoch_status_t(&xdrs, const_cast<pxinfo_family_epoch_status_t *>(&epoch), 0));
    EXPECT_TRUE(sync == nullptr ||
                xdr_pxinfo_family_sync_status_t(&xdrs, const_cast<pxinfo_family_sync_status_t *>(sync), 0));
    Bytes bytes(xdrs.x_base, xdrs.x_base + xdr_getpos(&xdrs));
    xdrstg_destroy(&xdrs);
    return bytes;
}

// A consistent family of two replicas, decoded from filler: every count 2,
// every string "aa", block-store selectors, attempts naming two replicas.
// Breaking it changes the records and the first epoch entries only; those are
// put back before the records are released.
struct Family {
    Family() {
        pxfix::FillerStream epoch_filler({2}), sync_filler({2});
        EXPECT_TRUE(xdr_pxinfo_family_epoch_status_t(epoch_filler.xdrs(), &epoch, 0));
        EXPECT_TRUE(xdr_pxinfo_family_sync_status_t(sync_filler.xdrs(), &sync, 0));
        kept_epoch = epoch, kept_sync = sync, kept_entry = epoch.replicas[0];
    }
    ~Family() {
        epoch = kept_epoch, sync = kept_sync, epoch.replicas[0] = kept_entry;
        pxinfo_free_family_epoch_status_from_file(&epoch);
        pxinfo_free_family_sync_status_from_file(&sync);
    }
    Bytes golden() const { return health_bytes(epoch, &sync); }

    pxinfo_family_epoch_status_t epoch{}, kept_epoch;
    pxinfo_family_sync_status_t sync{}, kept_sync;
    pxinfo_replica_epoch_status_t kept_entry;
};

// Writes through an in-memory stream; out receives what reached it.
tbs_status_t write_health(const Family &family, Bytes &out) {
    char *buffer = nullptr;
    size_t size = 0;
    FILE *stream = open_memstream(&buffer, &size);
    tbs_status_t status = pxinfo_write_health_file(&family.sync, &family.epoch, stream);
    std::fclose(stream);
    out.assign(buffer, buffer + size);
    std::free(buffer);
    return status;
}

// Records filled with junk, so that a reader that forgets to clear them shows.
struct ReadRecords {
    ReadRecords() {
        std::memset(&epoch, 0x5A, sizeof epoch);
        std::memset(&sync, 0x5A, sizeof sync);
    }
    void release() {
        pxinfo_free_family_epoch_status_from_file(&epoch);
        pxinfo_free_family_sync_status_from_file(&sync);
    }
    bool cleared() const {
        return epoch.timestamp == 0 && epoch.count == 0 && epoch.replicas == nullptr && sync.timestamp == 0 &&
               sync.count == 0 && sync.replicas == nullptr;
    }
    pxinfo_family_epoch_status_t epoch;
    pxinfo_family_sync_status_t sync;
};

tbs_status_t read_health(Bytes bytes, ReadRecords &r, int epoch_only = 0) {
    FILE *f = bytes.empty() ? std::fopen("/dev/null", "rb") : fmemopen(bytes.data(), bytes.size(), "rb");
    tbs_status_t status = pxinfo_read_health_file(&r.sync, &r.epoch, f, epoch_only);
    std::fclose(f);
    return status;
}

// The trace texts of the consistency check among printed lines.
std::vector<std::string> rule_texts(const pxtest::CapturedMessages &m) {
    std::vector<std::string> found;
    for (const auto &line : m.with_severity(IMSG_SEV_TRACE)) {
        if (line.text.find("inconsistent") == 0 || line.text.find("insufficient") == 0) { found.push_back(line.text); }
    }
    return found;
}

class HealthFile : public ::testing::Test {
  protected:
    void TearDown() override { EXPECT_EQ(stg_live_block_count(), live_before_) << "blocks leaked"; }
    unsigned long live_before_ = stg_live_block_count();
};

// Each case breaks the rules named in its description; the first in order is
// the one reported. Reading checks the same rules on the records decoded, the
// epoch part alone only those of the epoch record.
const char *const kInsufficientEpoch = "insufficient replica-level epoch data\n";
const char *const kTimestampsDiffer = "inconsistent timestamps on epoch and sync structs\n";
const char *const kEntryInconsistent = "inconsistent number of replica-level data in epoch and sync structs\n";
const struct {
    const char *what;
    void (*breakage)(Family &);
    const char *text;
    int read;  // 0: cannot be encoded; 1: refused when read whole; 2: also when its epoch part is read alone
} kRuleCases[] = {
    {"empty family", [](Family &f) { f.epoch.count = f.sync.count = 0; }, kInsufficientEpoch, 2},
    {"one replica", [](Family &f) { f.epoch.count = f.sync.count = 1; }, kInsufficientEpoch, 2},
    {"negative count", [](Family &f) { f.epoch.count = f.sync.count = -3; }, kInsufficientEpoch, 0},
    {"no epoch replicas, timestamps differ", [](Family &f) { f.epoch.replicas = nullptr, f.sync.timestamp++; },
     kInsufficientEpoch, 0},
    {"counts and timestamps differ", [](Family &f) { f.sync.count = 1, f.sync.timestamp--; },
     "inconsistent replica data counts in sync and epoch structures\n", 1},
    {"no sync replicas, timestamps differ", [](Family &f) { f.sync.replicas = nullptr, f.sync.timestamp++; },
     "insufficient replica-level sync data\n", 0},
    {"timestamps differ by one, an entry without times",
     [](Family &f) { f.epoch.timestamp++, f.epoch.replicas[0].times = nullptr; }, kTimestampsDiffer, 0},
    {"timestamps differ", [](Family &f) { f.sync.timestamp--; }, kTimestampsDiffer, 1},
    {"entry count differs", [](Family &f) { f.epoch.replicas[0].count = 1; }, kEntryInconsistent, 2},
    {"entry without epochs", [](Family &f) { f.epoch.replicas[0].epochs = nullptr; }, kEntryInconsistent, 0},
};

TEST_F(HealthFile, EveryRuleRefusesWritingAndReadingInOrder) {
    for (const auto &c : kRuleCases) {
        SCOPED_TRACE(c.what);
        Family family;
        c.breakage(family);
        pxtest::CapturedMessages messages(4, "pxinfo");
        Bytes written{1};
        EXPECT_EQ(write_health(family, written), TBS_ST_INVALID_ARG);
        EXPECT_TRUE(written.empty());
        EXPECT_EQ(rule_texts(messages), std::vector<std::string>{c.text}) << messages.dump();
        EXPECT_EQ(messages.problems(), 0u) << messages.dump();
        for (int epoch_only = 0; epoch_only < 2 && c.read > 0; ++epoch_only) {
            messages.clear();
            ReadRecords r;
            const bool refused = epoch_only < c.read;
            EXPECT_EQ(refused ? TBS_ST_INVALID_ARG : TBS_ST_OK, read_health(family.golden(), r, epoch_only));
            EXPECT_EQ(refused ? std::vector<std::string>{c.text} : std::vector<std::string>{}, rule_texts(messages));
            // Left filled as decoded, for the caller.
            EXPECT_EQ(epoch_only ? health_bytes(family.epoch) : family.golden(),
                      epoch_only ? health_bytes(r.epoch) : health_bytes(r.epoch, &r.sync));
            r.release();
        }
    }
}

// Writing gives exactly the two records, and reading gives every field back
// (released twice harmlessly). Every truncation and a damaged sync part make a
// whole read fail (what was decoded has already been released); reading the
// epoch part only succeeds whenever that part is whole, and the sync record
// stays zeroed.
TEST_F(HealthFile, WrittenReadBackTruncatedAndDamagedFiles) {
    Family family;
    const Bytes good = family.golden(), epoch_part = health_bytes(family.epoch);
    Bytes written, damaged = good;
    ASSERT_EQ(write_health(family, written), TBS_ST_OK);
    EXPECT_EQ(written, good);
    damaged[epoch_part.size() + 8] = 0x7F;  // the sync array's count word
    std::vector<Bytes> files = {good, damaged};
    for (size_t n = 0; n < good.size(); ++n) { files.emplace_back(good.begin(), good.begin() + static_cast<long>(n)); }
    for (const Bytes &file : files) {
        SCOPED_TRACE("file of " + std::to_string(file.size()) + " bytes, " + std::to_string(&file - &files[0]));
        ReadRecords r, e;
        pxtest::CapturedMessages messages;
        const bool whole = &file == &files[0], whole_epoch = file.size() >= epoch_part.size();
        ASSERT_EQ(whole ? TBS_ST_OK : TBS_ST_FAILED, read_health(file, r));
        if (whole) {  // every field is on the wire
            EXPECT_EQ(good, health_bytes(r.epoch, &r.sync));
        }
        EXPECT_NE(whole, r.cleared());
        for (int twice = 0; twice < 2; ++twice) { r.release(); }
        EXPECT_TRUE(r.cleared());
        EXPECT_EQ(messages.problems(), 0u) << messages.dump();
        EXPECT_EQ(whole_epoch ? TBS_ST_OK : TBS_ST_FAILED, read_health(file, e, 1));
        if (whole_epoch) { EXPECT_EQ(epoch_part, health_bytes(e.epoch)); }
        EXPECT_TRUE(e.sync.count == 0 && e.sync.replicas == nullptr && e.sync.timestamp == 0);
        e.release();
    }
}

TEST_F(HealthFile, NullArgumentsAndBadStreams) {
    Family family;
    pxtest::CapturedMessages messages;
    FILE *f = std::fopen("/dev/null", "rb");
    ReadRecords r;
    XDR xdrs;
    for (tbs_status_t refused :
         {pxinfo_write_health_file(nullptr, &family.epoch, f), pxinfo_write_health_file(&family.sync, nullptr, f),
          pxinfo_write_health_file(&family.sync, &family.epoch, nullptr),
          pxinfo_read_health_file(nullptr, &r.epoch, f, 0), pxinfo_read_health_file(&r.sync, nullptr, f, 1),
          pxinfo_read_health_file(&r.sync, &r.epoch, nullptr, 0), pxinfo_xdrstdio_create(2, f, &xdrs),
          pxinfo_xdrstdio_create(-1, f, &xdrs), pxinfo_xdrstdio_create(XDR_DECODE, f, nullptr)}) {
        EXPECT_EQ(TBS_ST_INVALID_ARG, refused);
    }
    EXPECT_EQ(r.epoch.count, 0x5A5A5A5A);  // without a stream the records are not touched
    EXPECT_EQ(messages.problems(), 0u) << messages.dump();
    EXPECT_EQ(pxinfo_write_health_file(&family.sync, &family.epoch, f), TBS_ST_FAILED);  // a read-only stream
    std::fclose(f);
    pxinfo_free_family_epoch_status_from_file(nullptr);
    pxinfo_free_family_sync_status_from_file(nullptr);
}

}  // namespace
