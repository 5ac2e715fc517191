// Packet files end to end: files made by the library in a temporary directory
// are classified, their information read into the caller's area, and update
// packets ordered for import.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "fixtures.h"
#include "pfm.h"
#include "pxinfo_pktutl.h"
#include "pxinfo_utl_epoch.h"
#include "pxinfo_utl_selector.h"
#include "tbs.h"
#include "test_support.h"
#include "xdr_ez.h"

namespace {

std::string write_bytes(const std::string &name, const std::string &bytes) {
    const std::string path = pxtest::temp_path(name);
    pxtest::write_file(path, std::vector<unsigned char>(bytes.begin(), bytes.end()));
    return path;
}

// Writes the header with the library's writer as a packet file.
std::string write_packet(const std::string &name, const pxinfo_kv_pkt_header_t &header, int major = 7) {
    XDR xdrs;
    EXPECT_EQ(TBS_ST_OK, xdrstg_create(&xdrs, 32768, 0));
    u_int size = 0;
    EXPECT_EQ(TBS_ST_OK, pxinfo_kv_pkt_write_header(&header, major, &xdrs, &size));
    const std::string path = write_bytes(name, std::string(xdrs.x_base, xdrs.x_base + size));
    xdrstg_destroy(&xdrs);
    return path;
}

// The status-change time of a regular file, 0 for anything else.
int32_t file_time_of(const std::string &path) {
    struct stat info;
    return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) ? static_cast<int32_t>(info.st_ctime) : 0;
}

bool same_vault_replica(const pxinfo_selector_t &s, const tbs_uuid_t &replica, const tbs_uuid_t &family) {
    return s.type == PXINFO_COMPONENT_VAULT && tbs_uuid_eq(&s.u.vault.replica_oid, &replica) &&
           tbs_uuid_eq(&s.u.vault.vault_oid, &family);
}

// Everything the header of a creation (sync type 2) or update (1) packet file
// says, as the header reader gives it, is in info.
void expect_info_of(const std::string &path, const pxinfo_packet_info_t &info) {
    FILE *stream = std::fopen(path.c_str(), "r");
    int major = -1;
    pxinfo_kv_pkt_header_t h{};
    EXPECT_EQ(TBS_ST_OK, pxinfo_kv_pkt_read_import_header_no_xdr(stream, 0, &major, &h));
    std::fclose(stream);
    EXPECT_EQ(std::make_tuple(0, PXINFO_COMPONENT_VAULT, major, h.minor_version, 1u, h.aux_int),
              std::make_tuple(info.status, info.component_type, info.major_version, info.minor_version,
                              info.source_count, info.aux_int));
    const pxinfo_packet_source_info_t &source = info.sources[0];
    EXPECT_EQ(h.sync_type == 2 ? PXINFO_PACKET_CREATION : PXINFO_PACKET_UPDATE, source.packet_type);
    EXPECT_TRUE(same_vault_replica(source.source, h.source_replica_uuid, h.family_uuid));
    EXPECT_EQ(std::make_tuple(static_cast<uint32_t>(h.replica_count), 0, static_cast<char *>(nullptr), true),
              std::make_tuple(source.references.count, source.references.ref_int, source.references.ref_str,
                              source.references.refs != nullptr));
    for (int32_t i = 0; i < std::min<int32_t>(h.replica_count, source.references.count); ++i) {
        const pxinfo_replica_reference_t &ref = source.references.refs[i];
        EXPECT_TRUE(same_vault_replica(ref.replica, h.replicas[i].replica_uuid, h.family_uuid)) << i;
        EXPECT_EQ(std::make_tuple(h.replicas[i].start_epoch, h.replicas[i].end_epoch, h.replicas[i].ref_value),
                  std::make_tuple(ref.start_epoch, ref.end_epoch, ref.ref_value));
    }
    EXPECT_EQ(std::make_pair(static_cast<uint32_t>(h.target_count), h.target_count == 0),
              std::make_pair(info.target_count, info.targets == nullptr));
    for (int32_t i = 0; i < std::min<int32_t>(h.target_count, info.target_count); ++i) {
        EXPECT_STREQ(h.targets[i].name, info.targets[i].name) << i;
        EXPECT_TRUE(same_vault_replica(info.targets[i].replica, h.targets[i].replica_uuid, h.family_uuid)) << i;
    }
    EXPECT_STREQ(h.aux_string, info.aux_string);
    EXPECT_EQ(std::make_tuple(h.pkt_seq_num, h.aux_count, h.compress_type, h.aux_value1, h.aux_value2, h.aux_int2),
              std::make_tuple(info.pkt_seq_num, info.aux_count, info.compress_type, info.aux_value1, info.aux_value2,
                              info.aux_int2));
    for (auto uuids : {std::make_pair(&h.log_pkt_uuid, &info.log_pkt_uuid),
                       std::make_pair(&h.aux_uuid1, &info.aux_uuid1), std::make_pair(&h.aux_uuid2, &info.aux_uuid2)}) {
        EXPECT_TRUE(tbs_uuid_eq(uuids.first, uuids.second));
    }
    pxinfo_kv_pkt_finish_import_header_no_xdr(nullptr, &h);
}

// Everything the library allocates for a packet's information lives in the
// caller's area: deleting it leaves no block behind.
class PacketInfo : public ::testing::Test {
  protected:
    void SetUp() override { area_ = stg_create_area(64); }
    void TearDown() override {
        stg_delete_area(&area_);
        EXPECT_EQ(live_before_, stg_live_block_count());
    }
    unsigned long live_before_ = stg_live_block_count();
    stg_area_t *area_ = nullptr;
    pxinfo_packet_info_t info_;
};

// Packets of every major version, creation and update, with targets named,
// empty and unnamed and with none, and extreme epochs. The targets include
// their own replicas, not the source.
TEST_F(PacketInfo, PacketsOfEveryMajorVersionAreClassifiedAndReadWhole) {
    for (int n = 0; n < 16; ++n) {
        const int major = n / 2, sync_type = 1 + n % 2;
        pxfix::SampleHeader sample(major % 3, major < 7 ? major % 2 : 0);
        sample.header.sync_type = sync_type;
        if (major == 3) { sample.header.target_count = sample.header.replica_count = 0; }
        const std::string path = write_packet("v" + std::to_string(n) + ".pkt", sample.header, major);
        SCOPED_TRACE(path);
        pxtest::CapturedMessages captured;
        pxinfo_file_type_t type = PXINFO_FILE_SHORDER;
        EXPECT_EQ(TBS_ST_OK, pxinfo_get_file_type(path.c_str(), &type));
        EXPECT_EQ(sync_type == 1 ? PXINFO_FILE_KVUPDATE : PXINFO_FILE_KVCREATE, type);
        ASSERT_EQ(TBS_ST_OK, pxinfo_get_packet_info(path.c_str(), area_, 77, &info_));
        EXPECT_EQ(std::make_tuple(path, file_time_of(path), 77),
                  std::make_tuple(std::string(info_.pkt_name), info_.file_time, info_.caller_value));
        expect_info_of(path, info_);
        for (uint32_t t = 0; t <= info_.target_count; ++t) {
            int included = -1;
            const pxinfo_selector_t *s = t < info_.target_count ? &info_.targets[t].replica : &info_.sources[0].source;
            EXPECT_EQ(TBS_ST_OK, pxinfo_packet_targets_include_selector(&info_, s, &included));
            EXPECT_EQ(t < info_.target_count, included) << t;
        }
        EXPECT_EQ(0u, captured.problems()) << captured.dump();
    }
}

// Paths that name no packet: their information is the five fields of any path
// (name, status, file time, caller value) and nothing else, and the classifier
// prints the same lines for both calls.
TEST_F(PacketInfo, OrdersFilesOfNoKindAndRefusedPaths) {
    const std::string dir = pxtest::temp_path("a-directory"), missing = pxtest::temp_path("no-such-file");
    ASSERT_EQ(0, ::mkdir(dir.c_str(), 0755));
    pxfix::SampleHeader sync0, damaged;
    sync0.header.sync_type = 0;
    const std::string sync0_path = write_packet("sync0.pkt", sync0.header);
    const std::string damaged_path = write_packet("damaged.pkt", damaged.header);
    std::vector<unsigned char> bytes = pxtest::read_file(damaged_path);
    bytes[20] ^= 0x40;  // inside the record: the checksum no longer matches
    pxtest::write_file(damaged_path, bytes);
    const std::string enoent = tbs_strerror(tbs_errno2status(ENOENT)), einval = tbs_strerror(TBS_ST_INVALID_ARG);
    const struct {
        std::string path;
        tbs_status_t status;
        pxinfo_file_type_t type;
        std::vector<std::string> lines;
    } cases[] = {
        // clang-format off
        {write_bytes("current.ord", "# Korvane Plexion Shipping Order\n# Version 1.0\n"), TBS_ST_OK, PXINFO_FILE_SHORDER, {}},
        {write_bytes("empty", ""), TBS_ST_OK, PXINFO_FILE_OTHER, {}},
        // Major version 8: the quiet header read refuses it, and it is no order.
        {write_bytes("v8.pkt", std::string("\x14\x82\x35\x16\0\0\0\x08\0\0\0\0", 12)), TBS_ST_OK, PXINFO_FILE_OTHER, {}},
        // Detection reads the header quietly: a damaged packet is a file of no known kind.
        {damaged_path, TBS_ST_OK, PXINFO_FILE_OTHER, {}},
        {dir, TBS_ST_NOT_FOUND, PXINFO_FILE_OTHER, {"\"" + dir + "\" is not a file\n"}},
        {missing, tbs_errno2status(ENOENT), PXINFO_FILE_OTHER, {"Unable to access \"" + missing + "\": " + enoent + "\n"}},
        // Sync type 0: a readable header of no packet type.
        {sync0_path, TBS_ST_INVALID_ARG, PXINFO_FILE_OTHER, {sync0_path + ": packet version is too new.\n",
            "pxinfo_sam_pkt_check: check of \"" + sync0_path + "\" failed: " + einval + "\n"}},
    };  // clang-format on
    for (const auto &c : cases) {
        SCOPED_TRACE(c.path);
        pxtest::CapturedMessages captured;
        pxinfo_file_type_t type = PXINFO_FILE_KVCREATE;
        EXPECT_EQ(c.status, pxinfo_get_file_type(c.path.c_str(), &type));
        EXPECT_EQ(c.type, type);
        std::memset(&info_, 0x77, sizeof info_);
        ASSERT_EQ(TBS_ST_OK, pxinfo_get_packet_info(c.path.c_str(), area_, 5, &info_));
        std::vector<std::string> lines, twice = c.lines;
        for (const auto &line : captured.lines()) { lines.push_back(line.text); }
        twice.insert(twice.end(), c.lines.begin(), c.lines.end());
        EXPECT_EQ(twice, lines);
        pxinfo_packet_info_t expected;
        std::memset(&expected, 0, sizeof expected);
        expected.pkt_name = info_.pkt_name;
        expected.status = c.status;
        expected.file_time = file_time_of(c.path);
        expected.caller_value = 5;
        EXPECT_EQ(0, std::memcmp(&expected, &info_, sizeof info_));
        EXPECT_EQ(c.path, info_.pkt_name);
    }
}

TEST_F(PacketInfo, BadArgumentsAreRefusedBeforeTheFileSystem) {
    const char *order = "/nonexistent";
    std::memset(&info_, 0xAB, sizeof info_);
    unsigned char untouched[sizeof info_];  // padding included
    std::memcpy(untouched, &info_, sizeof info_);
    int included = 0;
    pxinfo_file_type_t type = PXINFO_FILE_SHORDER;
    const unsigned long errors = tbs_int_error_count();
    pxtest::CapturedMessages captured;
    for (tbs_status_t refused :
         {pxinfo_get_packet_info(order, STG_AREA_TEMP, 0, &info_), pxinfo_get_packet_info(order, nullptr, 0, &info_),
          pxinfo_get_packet_info("", area_, 0, &info_), pxinfo_get_packet_info(nullptr, area_, 0, &info_),
          pxinfo_get_packet_info(order, area_, 0, nullptr),
          pxinfo_packet_targets_include_selector(&info_, nullptr, &included),
          pxinfo_packet_targets_include_selector(nullptr, &info_.sources[0].source, &included),
          pxinfo_packet_targets_include_selector(&info_, &info_.sources[0].source, nullptr),
          pxinfo_get_file_type(nullptr, &type), pxinfo_get_file_type(order, nullptr)}) {
        EXPECT_EQ(TBS_ST_INVALID_ARG, refused);
    }
    EXPECT_EQ(0, std::memcmp(untouched, &info_, sizeof info_));
    EXPECT_EQ(PXINFO_FILE_SHORDER, type);
    EXPECT_EQ(errors + 1, tbs_int_error_count());  // a missing type is an internal error
}

// Storage that runs out while a header record is decoded fails the decode
// itself (1001); elsewhere it is 1062, or the quiet detection takes the file
// for one of no known kind (0). Nothing is left behind.
TEST(PacketInfoStorage, ExhaustionAtEveryAllocationFailsCleanly) {
    pxfix::SampleHeader sample;
    const std::string path = write_packet("sweep.pkt", sample.header);
    stg_area_t *area = nullptr;
    pxinfo_packet_info_t info;
    pxtest::CapturedMessages quiet;
    EXPECT_GT(pxtest::sweep_allocation_failures(pxtest::SweptOperation{
                  [&] { area = stg_create_area(64); },
                  [&] {
                      const tbs_status_t status = pxinfo_get_packet_info(path.c_str(), area, 0, &info);
                      return status != TBS_ST_OK ? status : static_cast<tbs_status_t>(info.status);
                  },
                  [](tbs_status_t status, unsigned long) {
                      EXPECT_TRUE(status == TBS_ST_NO_MEMORY || status == TBS_ST_FAILED || status == TBS_ST_OK);
                  },
                  [&] { stg_delete_area(&area); }}),
              10u);
}

// A packet that cannot be opened again after it was classified (the sink
// removes it at the trace naming its kind): status 1001 and nothing printed
// but traces.
TEST_F(PacketInfo, APacketThatCannotBeOpenedAgainFailsSilently) {
    pxinfo_kv_pkt_header_t header{};
    header.sync_type = 1;
    static std::string path;
    static std::vector<int> severities;
    path = write_packet("vanishing.pkt", header);
    {
        pxtest::CapturedMessages levels(4, "pxinfo");
        imsg_set_sink(
            [](void *, int severity, const char *, const char *text) {
                severities.push_back(severity);
                if (std::strstr(text, "SAM replica update packet found") != nullptr) { ::unlink(path.c_str()); }
            },
            nullptr);
        ASSERT_EQ(TBS_ST_OK, pxinfo_get_packet_info(path.c_str(), area_, 0, &info_));
    }
    EXPECT_EQ(std::make_pair(static_cast<int32_t>(TBS_ST_FAILED), PXINFO_COMPONENT_VAULT),
              std::make_pair(info_.status, info_.component_type));
    EXPECT_NE(0, ::access(path.c_str(), F_OK)) << "the packet was classified, then removed";
    EXPECT_FALSE(severities.empty());
    EXPECT_EQ(std::vector<int>(severities.size(), IMSG_SEV_TRACE), severities);
}

// ---- dependency order ------------------------------------------------------

// An update packet's information built directly: vault replicas 1..n of one
// family with the given start epochs.
struct MadePacket {
    std::vector<pxinfo_replica_reference_t> refs;
    pxinfo_packet_info_t info{};
    MadePacket(std::vector<pxinfo_epoch_num_t> epochs, uint32_t sequence, uint32_t log,
               pxinfo_packet_type_t type = PXINFO_PACKET_UPDATE) {
        for (size_t i = 0; i < epochs.size(); ++i) {
            refs.push_back({pxfix::vault_selector(static_cast<uint32_t>(i + 1)), 0, epochs[i], 0});
        }
        info.component_type = PXINFO_COMPONENT_VAULT;
        info.source_count = 1;
        info.sources[0].packet_type = type;
        info.sources[0].references.count = static_cast<uint32_t>(refs.size());
        info.sources[0].references.refs = refs.data();
        info.pkt_seq_num = sequence;
        info.log_pkt_uuid = pxfix::numbered_uuid(log, 0x70);
    }
};

// The order of import: only update packets of vaults are ordered. A row of
// epochs all at most the other's and one below is earlier; rows equal or
// mixed leave it to the log uuids, then to the sequence numbers through their
// signed 32-bit difference (numbers that wrapped around order recent after old).
int model_order(const MadePacket &a, const MadePacket &b) {
    for (const MadePacket *p : {&a, &b}) {
        if (p->info.component_type != PXINFO_COMPONENT_VAULT ||
            p->info.sources[0].packet_type != PXINFO_PACKET_UPDATE) {
            return 0;
        }
    }
    bool below = false, above = false;
    for (size_t i = 0; i < a.refs.size(); ++i) {
        below |= a.refs[i].start_epoch < b.refs[i].start_epoch;
        above |= a.refs[i].start_epoch > b.refs[i].start_epoch;
    }
    if (below != above) { return below ? -1 : 1; }
    const int log = tbs_uuid_cmp(&a.info.log_pkt_uuid, &b.info.log_pkt_uuid);
    const int32_t difference = static_cast<int32_t>(a.info.pkt_seq_num - b.info.pkt_seq_num);
    return log != 0 ? log : difference < 0 ? -1 : difference > 0 ? 1 : 0;
}

TEST(Dependencies, PacketsOrderAsTheModel) {
    std::mt19937 random(7);
    auto below = [&](uint32_t n) { return static_cast<uint32_t>(random() % n); };
    const uint32_t sequences[] = {0, 1, 2, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu};
    std::vector<MadePacket> packets;
    for (int i = 0; i < 80; ++i) {
        packets.emplace_back(std::vector<pxinfo_epoch_num_t>{below(3), below(3), below(3)}, sequences[below(6)],
                             1 + below(2), i % 9 == 0 ? PXINFO_PACKET_CREATION : PXINFO_PACKET_UPDATE);
        if (i % 11 == 0) { packets.back().info.component_type = PXINFO_COMPONENT_BB; }
    }
    for (const MadePacket &a : packets) {
        for (const MadePacket &b : packets) {
            ASSERT_EQ(model_order(a, b), pxinfo_compare_pkt_dependencies(&a.info, &b.info))
                << &a - &packets[0] << " " << &b - &packets[0];
        }
    }
    EXPECT_EQ(0, pxinfo_compare_pkt_dependencies(nullptr, &packets[1].info));
    EXPECT_EQ(0, pxinfo_compare_pkt_dependencies(&packets[1].info, nullptr));
}

// ---- epoch rows from packets -------------------------------------------------

TEST(EpochRows, FromPacketInformationAndFromAHeaderNamedAfterTheTarget) {
    MadePacket packet({4, 8}, 1, 1), creation({1}, 1, 1, PXINFO_PACKET_CREATION);
    pxinfo_epoch_row_t row{};
    std::strcpy(row.name, "kept");
    ASSERT_EQ(TBS_ST_OK, pxinfo_kv_packet_info_to_epoch_row(&packet.info, &row));
    ASSERT_EQ(std::make_pair(2, std::string("kept")), std::make_pair(row.count, std::string(row.name)));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(std::make_pair(packet.refs[i].start_epoch, 0),
                  std::make_pair(row.entries[i].epoch, row.entries[i].entry_value));
        EXPECT_TRUE(pxinfo_selector_eq(&packet.refs[i].replica, &row.entries[i].replica));
    }
    pxinfo_free_new_epoch_row_entry(&row);
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_kv_packet_info_to_epoch_row(&creation.info, &row));

    // A header's row is named after the target whose replica is given, empty
    // without one, and keeps its name for a replica of no target (a block-store
    // replica has no replica uuid: an internal error).
    pxfix::SampleHeader sample;
    const pxinfo_kv_pkt_header_t &h = sample.header;
    pxinfo_selector_t fourth, stranger, bb = pxfix::bb_selector("f", "c", "r");
    pxinfo_new_vault_selector(&h.targets[3].replica_uuid, &h.family_uuid, &fourth);
    pxinfo_new_vault_selector(&h.replicas[0].replica_uuid, &h.family_uuid, &stranger);
    pxtest::CapturedMessages captured;
    for (auto c : {std::make_pair(&fourth, "replica-four"), {nullptr, ""}, {&stranger, "old"}, {&bb, "old"}}) {
        std::strcpy(row.name, "old");
        ASSERT_EQ(TBS_ST_OK, pxinfo_kv_pkt_header_to_epoch_row(&h, c.first, &row));
        EXPECT_STREQ(c.second, row.name);
        ASSERT_EQ(2, row.count);
        EXPECT_EQ(std::make_pair(h.replicas[0].start_epoch, h.replicas[1].start_epoch),
                  std::make_pair(row.entries[0].epoch, row.entries[1].epoch));
        EXPECT_TRUE(same_vault_replica(row.entries[1].replica, h.replicas[1].replica_uuid, h.family_uuid));
        pxinfo_free_new_epoch_row_entry(&row);
    }
    std::string long_name(300, 'x');
    sample.targets[3].name = &long_name[0];
    EXPECT_EQ(TBS_ST_FAILED, pxinfo_kv_pkt_header_to_epoch_row(&h, &fourth, &row));
    pxinfo_free_new_epoch_row_entry(&row);
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_kv_pkt_header_to_epoch_row(nullptr, nullptr, &row));
}

// The shared leading fields of both layouts, pointers by address.
template <typename Layout>
auto shared_fields(const Layout &p) {
    return std::make_tuple(static_cast<const void *>(p.pkt_name), p.component_type, p.status, p.file_time,
                           p.caller_value, p.major_version, p.minor_version, p.source_count, p.aux_int, p.target_count,
                           static_cast<const void *>(p.targets), static_cast<const void *>(p.aux_string));
}

// Version 6 lacks the fields after the shared ones: they take their defaults.
// The conversions are shallow: the filler pointers are never followed.
TEST(PacketInfoLayouts, Version6ConversionKeepsTheSharedFieldsAndDefaultsTheRest) {
    pxinfo_packet_info_v6_t v6, back;
    pxinfo_packet_info_t native;
    std::memset(&v6, 0x11, sizeof v6);
    std::memset(&back, 0x5A, sizeof back);
    std::memset(&native, 0x5A, sizeof native);
    pxinfo_packet_info_v6_to_native(&v6, &native);
    pxinfo_packet_info_native_to_v6(&native, &back);
    EXPECT_EQ(std::make_pair(shared_fields(v6), shared_fields(v6)),
              std::make_pair(shared_fields(native), shared_fields(back)));
    for (const void *sources : {static_cast<const void *>(native.sources), static_cast<const void *>(back.sources)}) {
        EXPECT_EQ(0, std::memcmp(v6.sources, sources, sizeof v6.sources));
    }
    EXPECT_EQ(std::make_tuple(1u, 1u, PXINFO_COMPRESS_DEFAULT, 0u, 0u, 0),
              std::make_tuple(native.pkt_seq_num, native.aux_count, native.compress_type, native.aux_value1,
                              native.aux_value2, native.aux_int2));
    for (const tbs_uuid_t *uuid : {&native.log_pkt_uuid, &native.aux_uuid1, &native.aux_uuid2}) {
        EXPECT_TRUE(tbs_uuid_eq(&TBS_UUID_NULL, uuid));
    }
    pxtest::CapturedMessages captured;
    const unsigned long asserts = pfm_assert_fail_count();
    pxinfo_packet_info_v6_to_native(nullptr, &native);
    pxinfo_packet_info_native_to_v6(&native, nullptr);
    EXPECT_EQ(asserts + 2, pfm_assert_fail_count());
}

}  // namespace
