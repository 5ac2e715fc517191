// Health files: writing and reading the family epoch and sync status, the
// consistency rules on both sides, damaged and truncated files, storage
// exhaustion.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "pxinfo_fileutl.h"
#include "pxinfo_fileutl_internal.h"
#include "test_support.h"
#include "xdr_ez.h"

namespace {

using Bytes = std::vector<unsigned char>;

// The encoding of a record by its record routine (checked against rpcgen's
// in the record tests): the golden bytes of a file's parts.
template <typename T, bool_t (*Routine)(XDR *, T *, int)>
Bytes encoding(const T &record) {
    XDR xdrs;
    EXPECT_EQ(TBS_ST_OK, xdrstg_create(&xdrs, 1024, 0));
    EXPECT_TRUE(Routine(&xdrs, const_cast<T *>(&record), 0));
    Bytes bytes(xdrs.x_base, xdrs.x_base + xdr_getpos(&xdrs));
    xdrstg_destroy(&xdrs);
    return bytes;
}

Bytes health_bytes(const pxinfo_family_epoch_status_t &epoch, const pxinfo_family_sync_status_t *sync = nullptr) {
    Bytes bytes = encoding<pxinfo_family_epoch_status_t, xdr_pxinfo_family_epoch_status_t>(epoch);
    if (sync == nullptr) return bytes;
    const Bytes more = encoding<pxinfo_family_sync_status_t, xdr_pxinfo_family_sync_status_t>(*sync);
    bytes.insert(bytes.end(), more.begin(), more.end());
    return bytes;
}

// A family of three replicas in the test's own storage, using every field:
// selectors of both kinds, replica i with i attempts, attempt j naming j + 1
// replicas with names (one empty) and extra names.
struct Family {
    static constexpr int32_t kReplicas = 3;

    Family() {
        std::memset(static_cast<void *>(this), 0, sizeof *this);
        epoch = {1700000123, kReplicas, epoch_entries};
        sync = {1700000123, kReplicas, sync_entries};
        for (int32_t i = 0; i < kReplicas; ++i) {
            pxinfo_replica_epoch_status_t &e = epoch_entries[i];
            std::snprintf(e.name, sizeof e.name, "replica_%d", i);
            e.replica = selector(i);
            std::snprintf(e.host, sizeof e.host, "host%d.example", i);
            e.count = kReplicas;
            e.times = times[i];
            e.epochs = epochs[i];
            e.value = -7 - i;
            for (int32_t j = 0; j < kReplicas; ++j) {
                times[i][j] = -1000 * i - j;
                epochs[i][j] = 0x80000000u + static_cast<uint32_t>(10 * i + j);
            }
            pxinfo_replica_sync_status_t &s = sync_entries[i];
            std::snprintf(s.name, sizeof s.name, "replica_%d_of_odd_length", i);
            std::snprintf(s.host, sizeof s.host, "h%d", i);
            s.replica = selector(i + 1);
            s.sync_value = 0xFFFFFFF0u + static_cast<uint32_t>(i);
            s.level = static_cast<pxinfo_settings_level_t>(5 + i);
            s.count = i;
            s.attempts = i == 0 ? nullptr : attempts[i];
            s.last_status = i == 0 ? 1033 : -i;
            s.status_value = static_cast<pxinfo_sync_status_value_t>(2 + i);
            for (int32_t j = 0; j < i; ++j) {
                attempts[i][j] = {1600000000 + j,
                                  j % 2 == 0 ? PXINFO_SYNC_EXPORT : PXINFO_SYNC_IMPORT,
                                  static_cast<pxinfo_sync_transport_t>(3),
                                  1,
                                  j % 2,
                                  static_cast<uint32_t>(j + 1),
                                  infos[i][j]};
                for (int32_t k = 0; k <= j; ++k) {
                    infos[i][j][k].replica = selector(k);
                    infos[i][j][k].name = const_cast<char *>(kInfoNames[k]);
                    infos[i][j][k].extra_name = const_cast<char *>(kExtraNames[k]);
                }
            }
        }
    }
    Family(const Family &) = delete;
    Family &operator=(const Family &) = delete;

    static pxinfo_selector_t selector(int i) {
        pxinfo_selector_t s;
        std::memset(&s, 0, sizeof s);
        if (i % 2 == 0) {
            s.type = PXINFO_COMPONENT_VAULT;
            for (int b = 0; b < 16; ++b) {
                s.u.vault.vault_oid.bytes[b] = static_cast<unsigned char>(0xA0 + b);
                s.u.vault.replica_oid.bytes[b] = static_cast<unsigned char>(i * 16 + b);
            }
        } else {
            s.type = PXINFO_COMPONENT_BB;
            std::snprintf(s.u.bb.family, sizeof s.u.bb.family, "family");
            std::snprintf(s.u.bb.clan, sizeof s.u.bb.clan, "clan-%d", i);
            std::snprintf(s.u.bb.replica_set, sizeof s.u.bb.replica_set, "set%d", i);
            std::snprintf(s.u.bb.replica_set_uuid, sizeof s.u.bb.replica_set_uuid, "0123abcd-0000-4000-8000-%012d", i);
        }
        return s;
    }

    Bytes golden() const { return health_bytes(epoch, &sync); }
    size_t epoch_part_size() const { return health_bytes(epoch).size(); }

    static constexpr const char *kInfoNames[kReplicas] = {"info a", "", "info c"};
    static constexpr const char *kExtraNames[kReplicas] = {"x", "xx", "xxxx"};

    pxinfo_family_epoch_status_t epoch;
    pxinfo_family_sync_status_t sync;
    pxinfo_replica_epoch_status_t epoch_entries[kReplicas];
    int32_t times[kReplicas][kReplicas];
    pxinfo_epoch_num_t epochs[kReplicas][kReplicas];
    pxinfo_replica_sync_status_t sync_entries[kReplicas];
    pxinfo_sync_attempt_data_t attempts[kReplicas][kReplicas];
    pxinfo_replica_info_t infos[kReplicas][kReplicas][kReplicas];
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
    pxinfo_family_epoch_status_t epoch;
    pxinfo_family_sync_status_t sync;
};

tbs_status_t read_health(Bytes bytes, ReadRecords &r, int epoch_only = 0, long *stopped_at = nullptr) {
    FILE *f = bytes.empty() ? std::fopen("/dev/null", "rb") : fmemopen(bytes.data(), bytes.size(), "rb");
    tbs_status_t status = pxinfo_read_health_file(&r.sync, &r.epoch, f, epoch_only);
    if (stopped_at != nullptr) *stopped_at = std::ftell(f);
    std::fclose(f);
    return status;
}

template <typename Record>
bool is_zeroed(const Record &r) {
    return r.timestamp == 0 && r.count == 0 && r.replicas == nullptr;
}

Bytes prefix(const Bytes &b, size_t n) { return Bytes(b.begin(), b.begin() + static_cast<long>(n)); }

// The five texts of the consistency check, and those among printed lines.
const char *const kInsufficientEpoch = "insufficient replica-level epoch data\n";
const char *const kCountsDiffer = "inconsistent replica data counts in sync and epoch structures\n";
const char *const kInsufficientSync = "insufficient replica-level sync data\n";
const char *const kTimestampsDiffer = "inconsistent timestamps on epoch and sync structs\n";
const char *const kEntryInconsistent = "inconsistent number of replica-level data in epoch and sync structs\n";

std::vector<std::string> rule_texts(const pxtest::CapturedMessages &m) {
    std::vector<std::string> found;
    for (const auto &line : m.with_severity(IMSG_SEV_TRACE)) {
        for (const char *text :
             {kInsufficientEpoch, kCountsDiffer, kInsufficientSync, kTimestampsDiffer, kEntryInconsistent}) {
            if (line.text == text) found.push_back(line.text);
        }
    }
    return found;
}

class HealthFile : public ::testing::Test {
  protected:
    void SetUp() override { live_before_ = stg_live_block_count(); }
    void TearDown() override { EXPECT_EQ(stg_live_block_count(), live_before_) << "blocks leaked"; }
    unsigned long live_before_ = 0;
};

TEST_F(HealthFile, WriteGivesExactlyTheTwoRecordsAndReadGivesThemBack) {
    Family family;
    Bytes written;
    ASSERT_EQ(write_health(family, written), TBS_ST_OK);
    // Nothing before, between or after the two records.
    EXPECT_EQ(written, family.golden());

    ReadRecords r;
    ASSERT_EQ(read_health(written, r), TBS_ST_OK);
    // Every field is on the wire, so equal encodings mean equal records.
    EXPECT_EQ(health_bytes(r.epoch, &r.sync), written);
    ASSERT_EQ(r.sync.replicas[2].attempts[1].count, 2u);
    EXPECT_STREQ(r.sync.replicas[2].attempts[1].replicas[1].extra_name, "xx");
    r.release();
    EXPECT_TRUE(is_zeroed(r.epoch));
    EXPECT_TRUE(is_zeroed(r.sync));
}

// Each case breaks the rules named in its description; the first in order is
// the one reported.
struct RuleCase {
    const char *what;
    void (*breakage)(Family &);
    const char *text;
};

const RuleCase kWriteRuleCases[] = {
    {"one replica", [](Family &f) { f.epoch.count = f.sync.count = 1; }, kInsufficientEpoch},
    {"negative count", [](Family &f) { f.epoch.count = f.sync.count = -3; }, kInsufficientEpoch},
    {"no epoch replicas, timestamps differ",
     [](Family &f) {
         f.epoch.replicas = nullptr;
         f.sync.timestamp += 1;
     },
     kInsufficientEpoch},
    {"counts and timestamps differ",
     [](Family &f) {
         f.sync.count = 4;
         f.sync.timestamp -= 1;
     },
     kCountsDiffer},
    {"no sync replicas, timestamps differ",
     [](Family &f) {
         f.sync.replicas = nullptr;
         f.sync.timestamp += 100;
     },
     kInsufficientSync},
    {"timestamps differ by one, an entry without times",
     [](Family &f) {
         f.epoch.timestamp += 1;
         f.epoch.replicas[0].times = nullptr;
     },
     kTimestampsDiffer},
    {"entry count differs with arrays present", [](Family &f) { f.epoch.replicas[2].count = 2; }, kEntryInconsistent},
    {"entry without epochs", [](Family &f) { f.epoch.replicas[1].epochs = nullptr; }, kEntryInconsistent},
};

TEST_F(HealthFile, EveryRuleRefusesWritingInOrderAndNothingIsWritten) {
    for (const RuleCase &c : kWriteRuleCases) {
        SCOPED_TRACE(c.what);
        Family family;
        c.breakage(family);
        pxtest::CapturedMessages messages(4, "pxinfo");
        Bytes written{1};
        EXPECT_EQ(write_health(family, written), TBS_ST_INVALID_ARG);
        EXPECT_TRUE(written.empty());
        EXPECT_EQ(rule_texts(messages), std::vector<std::string>{c.text}) << messages.dump();
        EXPECT_EQ(messages.problems(), 0u) << messages.dump();
    }
}

TEST_F(HealthFile, EveryReachableRuleRefusesReadingAndLeavesRecordsFilled) {
    const RuleCase cases[] = {
        {"empty family", [](Family &f) { f.epoch.count = f.sync.count = 0; }, kInsufficientEpoch},
        {"one replica", [](Family &f) { f.epoch.count = f.sync.count = 1; }, kInsufficientEpoch},
        {"counts and timestamps differ",
         [](Family &f) {
             f.sync.count = 2;
             f.sync.timestamp = 5;
         },
         kCountsDiffer},
        {"timestamps differ", [](Family &f) { f.sync.timestamp -= 1; }, kTimestampsDiffer},
        {"entry count differs", [](Family &f) { f.epoch.replicas[1].count = 4; }, kEntryInconsistent},
    };
    for (const RuleCase &c : cases) {
        SCOPED_TRACE(c.what);
        Family family;
        c.breakage(family);
        pxtest::CapturedMessages messages(4, "pxinfo");
        ReadRecords r;
        EXPECT_EQ(read_health(family.golden(), r), TBS_ST_INVALID_ARG);
        EXPECT_EQ(rule_texts(messages), std::vector<std::string>{c.text}) << messages.dump();
        // Filled as decoded, for the caller to release.
        EXPECT_EQ(r.epoch.count, family.epoch.count);
        EXPECT_EQ(r.sync.count, family.sync.count);
        EXPECT_EQ(r.sync.timestamp, family.sync.timestamp);
        EXPECT_TRUE(family.sync.count == 0 || r.sync.replicas != nullptr);
        r.release();
    }
}

TEST_F(HealthFile, EpochOnlyAcceptsMissingDamagedOrInconsistentSyncPart) {
    Family family;
    Bytes good = family.golden();
    size_t epoch_size = family.epoch_part_size();
    Bytes damaged = good;
    damaged[epoch_size + 8] = 0x7F;  // the sync array's count word
    Family inconsistent;
    inconsistent.sync.count = 2;
    inconsistent.sync.timestamp = 1;

    const std::pair<const char *, Bytes> files[] = {
        {"missing", prefix(good, epoch_size)},
        {"cut short", prefix(good, epoch_size + 10)},
        {"damaged", damaged},
        {"inconsistent", inconsistent.golden()},
    };
    for (const auto &file : files) {
        SCOPED_TRACE(file.first);
        ReadRecords r;
        EXPECT_EQ(read_health(file.second, r, 1), TBS_ST_OK);
        EXPECT_TRUE(is_zeroed(r.sync));
        EXPECT_EQ(r.epoch.count, 3);
        r.release();
        ReadRecords full;
        EXPECT_NE(read_health(file.second, full, 0), TBS_ST_OK);
        full.release();
    }

    // The epoch part is still checked.
    Family bad_entry;
    bad_entry.epoch.replicas[0].count = 2;
    ReadRecords r;
    EXPECT_EQ(read_health(bad_entry.golden(), r, 1), TBS_ST_INVALID_ARG);
    EXPECT_TRUE(is_zeroed(r.sync));
    r.release();
}

TEST_F(HealthFile, EveryTruncationFailsCleanly) {
    Family family;
    Bytes good = family.golden();
    size_t epoch_size = family.epoch_part_size();
    for (size_t n = 0; n < good.size(); ++n) {
        SCOPED_TRACE("length " + std::to_string(n));
        ReadRecords r;
        pxtest::CapturedMessages messages;
        ASSERT_EQ(read_health(prefix(good, n), r), TBS_ST_FAILED);
        // What was decoded has already been released.
        EXPECT_TRUE(is_zeroed(r.epoch));
        EXPECT_TRUE(is_zeroed(r.sync));
        ASSERT_EQ(stg_live_block_count(), live_before_);
        EXPECT_EQ(messages.problems(), 0u) << messages.dump();

        ReadRecords e;
        EXPECT_EQ(read_health(prefix(good, n), e, 1), n < epoch_size ? TBS_ST_FAILED : TBS_ST_OK);
        e.release();
        ASSERT_EQ(stg_live_block_count(), live_before_);
    }
}

TEST_F(HealthFile, ExhaustedStorageWhileReadingFailsWithoutLeak) {
    Family family;
    Bytes good = family.golden();
    size_t points = pxtest::sweep_allocation_failures(
        [&] {
            ReadRecords r;
            tbs_status_t status = read_health(good, r);
            if (status == TBS_ST_OK) r.release();
            return status;
        },
        [&](tbs_status_t status, unsigned long nth) { EXPECT_EQ(status, TBS_ST_FAILED) << "allocation " << nth; });
    EXPECT_GT(points, 20u);
}

TEST_F(HealthFile, NullArgumentsAndBadStreams) {
    Family family;
    pxtest::CapturedMessages messages;
    FILE *f = std::fopen("/dev/null", "rb");
    EXPECT_EQ(pxinfo_write_health_file(nullptr, &family.epoch, f), TBS_ST_INVALID_ARG);
    EXPECT_EQ(pxinfo_write_health_file(&family.sync, nullptr, f), TBS_ST_INVALID_ARG);
    EXPECT_EQ(pxinfo_write_health_file(&family.sync, &family.epoch, nullptr), TBS_ST_INVALID_ARG);
    ReadRecords r;
    EXPECT_EQ(pxinfo_read_health_file(nullptr, &r.epoch, f, 0), TBS_ST_INVALID_ARG);
    EXPECT_EQ(pxinfo_read_health_file(&r.sync, nullptr, f, 1), TBS_ST_INVALID_ARG);
    // Without a stream the records are not touched.
    EXPECT_EQ(pxinfo_read_health_file(&r.sync, &r.epoch, nullptr, 0), TBS_ST_INVALID_ARG);
    EXPECT_EQ(r.epoch.count, 0x5A5A5A5A);

    XDR xdrs;
    EXPECT_EQ(pxinfo_xdrstdio_create(2, f, &xdrs), TBS_ST_INVALID_ARG);
    EXPECT_EQ(pxinfo_xdrstdio_create(-1, f, &xdrs), TBS_ST_INVALID_ARG);
    EXPECT_EQ(pxinfo_xdrstdio_create(XDR_DECODE, f, nullptr), TBS_ST_INVALID_ARG);
    EXPECT_EQ(messages.problems(), 0u) << messages.dump();

    // A stream open only for reading cannot take the records.
    EXPECT_EQ(pxinfo_write_health_file(&family.sync, &family.epoch, f), TBS_ST_FAILED);
    std::fclose(f);

    pxinfo_free_family_epoch_status_from_file(nullptr);
    pxinfo_free_family_sync_status_from_file(nullptr);
}

}  // namespace
