// Packet files end to end: files made by the library in a temporary directory
// are classified, their information read into the caller's area, and update
// packets ordered for import.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "pfm.h"
#include "pxinfo_kv_pkt.h"
#include "pxinfo_pktutl.h"
#include "pxinfo_utl_epoch.h"
#include "pxinfo_utl_selector.h"
#include "tbs.h"
#include "tbs_uuid.h"
#include "test_support.h"
#include "xdr_ez.h"

namespace {

tbs_uuid_t uuid_of(unsigned seed) {
    tbs_uuid_t uuid = TBS_UUID_NULL;
    for (int i = 0; i < 16; ++i) uuid.bytes[i] = static_cast<unsigned char>(seed * 31u + static_cast<unsigned>(i));
    return uuid;
}

const tbs_uuid_t kFamily = uuid_of(1);
const tbs_uuid_t kSource = uuid_of(2);

// A header with the given targets (names may be empty) and start epochs.
struct HeaderBuilder {
    std::vector<std::string> target_names;
    std::vector<pxinfo_kv_pkt_tgt_desc_t> targets;
    std::vector<pxinfo_kv_pkt_rep_desc_t> replicas;
    std::string aux = "aux text";
    pxinfo_kv_pkt_header_t header;

    HeaderBuilder(int sync_type, std::vector<std::string> names, std::vector<pxinfo_epoch_num_t> epochs,
                  uint32_t sequence = 1, unsigned log_seed = 9)
        : target_names(std::move(names)) {
        for (size_t i = 0; i < target_names.size(); ++i)
            targets.push_back({uuid_of(100 + static_cast<unsigned>(i)), const_cast<char *>(target_names[i].c_str())});
        for (size_t i = 0; i < epochs.size(); ++i)
            replicas.push_back(
                {uuid_of(100 + static_cast<unsigned>(i)), epochs[i], epochs[i] + 5, static_cast<int32_t>(i) - 1});
        std::memset(&header, 0, sizeof header);
        header.minor_version = 0;
        header.source_replica_uuid = kSource;
        header.family_uuid = kFamily;
        header.target_count = static_cast<int32_t>(targets.size());
        header.sync_type = sync_type;
        header.aux_int = 17;
        header.pkt_seq_num = sequence;
        header.aux_count = 4;
        header.aux_uuid2 = uuid_of(20);
        header.log_pkt_uuid = uuid_of(log_seed);
        header.aux_uuid1 = uuid_of(21);
        header.compress_type = static_cast<pxinfo_compress_type_t>(3);
        header.aux_value1 = 5;
        header.aux_value2 = 6;
        header.targets = targets.empty() ? nullptr : targets.data();
        header.replica_count = static_cast<int32_t>(replicas.size());
        header.replicas = replicas.empty() ? nullptr : replicas.data();
        header.aux_int2 = -3;
        header.aux_string = const_cast<char *>(aux.c_str());
    }
};

// Writes the header with the library's writer as a packet file.
std::string write_packet(const std::string &name, const pxinfo_kv_pkt_header_t &header, int major = 7) {
    XDR xdrs;
    EXPECT_EQ(TBS_ST_OK, xdrstg_create(&xdrs, 32768, 0));
    u_int size = 0;
    EXPECT_EQ(TBS_ST_OK, pxinfo_kv_pkt_write_header(&header, major, &xdrs, &size));
    std::vector<unsigned char> bytes(reinterpret_cast<unsigned char *>(xdrs.x_base),
                                     reinterpret_cast<unsigned char *>(xdrs.x_base) + size);
    xdrstg_destroy(&xdrs);
    std::string path = pxtest::temp_path(name);
    pxtest::write_file(path, bytes);
    return path;
}

std::string write_text(const std::string &name, const std::string &text) {
    std::string path = pxtest::temp_path(name);
    pxtest::write_file(path, std::vector<unsigned char>(text.begin(), text.end()));
    return path;
}

long change_time(const std::string &path) {
    struct stat info;
    EXPECT_EQ(0, ::stat(path.c_str(), &info));
    return static_cast<long>(info.st_ctime);
}

// ---- what a path names ------------------------------------------------------

TEST(FileType, PacketsOfEveryMajorVersionAreCreationOrUpdate) {
    for (int major = 0; major <= 7; ++major) {
        for (int sync_type : {1, 2}) {
            HeaderBuilder built(sync_type, {"dublin", ""}, {5, 6, 7});
            std::string path = write_packet("v" + std::to_string(major) + "-" + std::to_string(sync_type) + ".pkt",
                                            built.header, major);
            pxtest::CapturedMessages captured;
            pxinfo_file_type_t type = PXINFO_FILE_SHORDER;
            EXPECT_EQ(TBS_ST_OK, pxinfo_get_file_type(path.c_str(), &type)) << captured.dump();
            EXPECT_EQ(sync_type == 1 ? PXINFO_FILE_KVUPDATE : PXINFO_FILE_KVCREATE, type) << "major " << major;
            EXPECT_EQ(0u, captured.problems()) << captured.dump();
        }
    }
}

TEST(FileType, NullArgumentsAreRefusedBeforeTheFileSystem) {
    pxtest::CapturedMessages captured;
    pxinfo_file_type_t type = PXINFO_FILE_SHORDER;
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_get_file_type(nullptr, &type));
    EXPECT_EQ(PXINFO_FILE_SHORDER, type);
    unsigned long errors = tbs_int_error_count();
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_get_file_type("/nonexistent", nullptr));
    EXPECT_EQ(errors + 1, tbs_int_error_count());
}

// ---- a packet's information --------------------------------------------------

class PacketInfo : public ::testing::Test {
  protected:
    // Everything the library allocates lives in the caller's area: deleting it
    // leaves no block behind.
    void SetUp() override {
        live_before_ = stg_live_block_count();
        area_ = stg_create_area(4096);
    }
    void TearDown() override {
        stg_delete_area(&area_);
        EXPECT_EQ(live_before_, stg_live_block_count());
    }
    unsigned long live_before_ = 0;
    stg_area_t *area_ = nullptr;
};

TEST_F(PacketInfo, AnUpdatePacketFieldByField) {
    HeaderBuilder built(1, {"dublin", "tokyo"}, {10, 20, 30}, 42);
    std::string path = write_packet("update.pkt", built.header);
    pxinfo_packet_info_t info;
    ASSERT_EQ(TBS_ST_OK, pxinfo_get_packet_info(path.c_str(), area_, 77, &info));
    ASSERT_EQ(0, info.status);
    EXPECT_STREQ(path.c_str(), info.pkt_name);
    EXPECT_EQ(change_time(path), info.file_time);
    EXPECT_EQ(77, info.caller_value);
    EXPECT_EQ(7, info.major_version);
    EXPECT_EQ(1u, info.source_count);
    const pxinfo_packet_source_info_t &source = info.sources[0];
    EXPECT_EQ(PXINFO_PACKET_UPDATE, source.packet_type);
    EXPECT_EQ(PXINFO_COMPONENT_VAULT, source.source.type);
    EXPECT_TRUE(tbs_uuid_eq(&kSource, &source.source.u.vault.replica_oid));
    EXPECT_TRUE(tbs_uuid_eq(&kFamily, &source.source.u.vault.vault_oid));
    ASSERT_EQ(3u, source.references.count);
    for (uint32_t i = 0; i < 3; ++i) {
        const pxinfo_replica_reference_t &ref = source.references.refs[i];
        tbs_uuid_t expected = uuid_of(100 + i);
        EXPECT_TRUE(tbs_uuid_eq(&expected, &ref.replica.u.vault.replica_oid));
        EXPECT_TRUE(tbs_uuid_eq(&kFamily, &ref.replica.u.vault.vault_oid));
        EXPECT_EQ(10 * (i + 1), ref.start_epoch);
        EXPECT_EQ(10 * (i + 1) + 5, ref.end_epoch);
        EXPECT_EQ(static_cast<int32_t>(i) - 1, ref.ref_value);
    }
    EXPECT_EQ(0, source.references.ref_int);
    EXPECT_EQ(nullptr, source.references.ref_str);
    pxinfo_packet_source_info_t zero;
    std::memset(&zero, 0, sizeof zero);
    EXPECT_EQ(0, std::memcmp(&zero, &info.sources[1], sizeof zero));
    ASSERT_EQ(2u, info.target_count);
    EXPECT_STREQ("dublin", info.targets[0].name);
    EXPECT_STREQ("tokyo", info.targets[1].name);
    EXPECT_EQ(nullptr, info.targets[1].extra_name);
    EXPECT_STREQ("aux text", info.aux_string);
    EXPECT_EQ(std::make_tuple(17, 42u, 4u, 3, 5u, 6u, -3),
              std::make_tuple(info.aux_int, info.pkt_seq_num, info.aux_count, static_cast<int>(info.compress_type),
                              info.aux_value1, info.aux_value2, info.aux_int2));
    EXPECT_TRUE(tbs_uuid_eq(&built.header.log_pkt_uuid, &info.log_pkt_uuid));
}

TEST_F(PacketInfo, ADamagedPacketSetsOnlyTheFiveFields) {
    HeaderBuilder built(1, {"dublin"}, {1, 2});
    std::string path = write_packet("damaged.pkt", built.header);
    std::vector<unsigned char> bytes = pxtest::read_file(path);
    bytes[20] ^= 0x40;  // inside the record: the checksum no longer matches
    pxtest::write_file(path, bytes);
    pxtest::CapturedMessages captured;
    pxinfo_packet_info_t info;
    std::memset(&info, 0x77, sizeof info);
    ASSERT_EQ(TBS_ST_OK, pxinfo_get_packet_info(path.c_str(), area_, 5, &info));
    // Detection reads the header quietly: a damaged packet is a file of no
    // known kind, and only the five fields of any file are set.
    pxinfo_packet_info_t expected;
    std::memset(&expected, 0, sizeof expected);
    EXPECT_STREQ(path.c_str(), info.pkt_name);
    EXPECT_EQ(change_time(path), info.file_time);
    expected.pkt_name = info.pkt_name;
    expected.file_time = info.file_time;
    expected.caller_value = 5;
    EXPECT_EQ(0, std::memcmp(&expected, &info, sizeof info));
    EXPECT_EQ(0u, captured.problems()) << captured.dump();
}

TEST_F(PacketInfo, OrdersDirectoriesAndBadArguments) {
    pxinfo_packet_info_t info;
    std::string order = write_text("info.ord", "# Korvane Plexion Shipping Order\n# Version 1.0\n");
    ASSERT_EQ(TBS_ST_OK, pxinfo_get_packet_info(order.c_str(), area_, 0, &info));
    EXPECT_EQ(0, info.status);
    EXPECT_EQ(0, static_cast<int>(info.component_type));
    EXPECT_EQ(change_time(order), info.file_time);

    pxtest::CapturedMessages captured;
    std::string dir = pxtest::temp_path("info-dir");
    ::mkdir(dir.c_str(), 0755);
    ASSERT_EQ(TBS_ST_OK, pxinfo_get_packet_info(dir.c_str(), area_, 0, &info));
    EXPECT_EQ(static_cast<int32_t>(TBS_ST_NOT_FOUND), info.status);

    std::memset(&info, 0xAB, sizeof info);
    unsigned char untouched[sizeof info];
    std::memcpy(untouched, &info, sizeof info);
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_get_packet_info(order.c_str(), STG_AREA_TEMP, 0, &info));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_get_packet_info(order.c_str(), nullptr, 0, &info));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_get_packet_info("", area_, 0, &info));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_get_packet_info(nullptr, area_, 0, &info));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_get_packet_info(order.c_str(), area_, 0, nullptr));
    EXPECT_EQ(0, std::memcmp(untouched, &info, sizeof info));
}

TEST_F(PacketInfo, StorageExhaustionAtEveryAllocation) {
    HeaderBuilder built(1, {"dublin", "tokyo"}, {10, 20, 30});
    std::string path = write_packet("sweep.pkt", built.header);
    size_t points = pxtest::sweep_allocation_failures(
        [&] {
            stg_area_t *area = stg_create_area(64);
            if (area == nullptr) return TBS_ST_NO_MEMORY;
            pxinfo_packet_info_t info;
            pxtest::CapturedMessages quiet;
            tbs_status_t status = pxinfo_get_packet_info(path.c_str(), area, 0, &info);
            tbs_status_t outcome = status != TBS_ST_OK ? status : static_cast<tbs_status_t>(info.status);
            stg_delete_area(&area);
            return outcome;
        },
        [](tbs_status_t status, unsigned long nth) {
            // Storage that runs out while a header record is decoded fails the
            // decode itself (1001); elsewhere it is 1062, or the quiet
            // detection takes the file for one of no known kind (0).
            EXPECT_TRUE(status == TBS_ST_NO_MEMORY || status == TBS_ST_FAILED || status == TBS_ST_OK)
                << "allocation " << nth << ": " << status;
        });
    EXPECT_GT(points, 5u);
}

// ---- dependency order ------------------------------------------------------

// An update packet's information built directly (rows of vault replicas).
struct MadePacket {
    std::vector<pxinfo_replica_reference_t> refs;
    pxinfo_packet_info_t info;
    MadePacket(std::vector<pxinfo_epoch_num_t> epochs, uint32_t sequence, unsigned log_seed,
               pxinfo_packet_type_t type = PXINFO_PACKET_UPDATE) {
        std::memset(&info, 0, sizeof info);
        for (size_t i = 0; i < epochs.size(); ++i) {
            pxinfo_replica_reference_t ref;
            std::memset(&ref, 0, sizeof ref);
            tbs_uuid_t replica = uuid_of(100 + static_cast<unsigned>(i));
            pxinfo_new_vault_selector(&replica, &kFamily, &ref.replica);
            ref.start_epoch = epochs[i];
            refs.push_back(ref);
        }
        info.pkt_name = const_cast<char *>("made");
        info.component_type = PXINFO_COMPONENT_VAULT;
        info.source_count = 1;
        info.sources[0].packet_type = type;
        info.sources[0].references.count = static_cast<uint32_t>(refs.size());
        info.sources[0].references.refs = refs.data();
        info.pkt_seq_num = sequence;
        info.log_pkt_uuid = uuid_of(log_seed);
    }
};

TEST(Dependencies, RowsThenLogUuidThenSequenceNumber) {
    MadePacket older({5, 3}, 9, 1), newer({5, 4}, 1, 1);
    EXPECT_EQ(-1, pxinfo_compare_pkt_dependencies(&older.info, &newer.info));
    EXPECT_EQ(1, pxinfo_compare_pkt_dependencies(&newer.info, &older.info));

    MadePacket log_a({5, 3}, 1, 1), log_b({5, 3}, 1, 2);
    int expected = tbs_uuid_cmp(&log_a.info.log_pkt_uuid, &log_b.info.log_pkt_uuid);
    EXPECT_NE(0, expected);
    EXPECT_EQ(expected, pxinfo_compare_pkt_dependencies(&log_a.info, &log_b.info));

    MadePacket seq7({5, 3}, 7, 1), seq9({5, 3}, 9, 1);
    EXPECT_EQ(-1, pxinfo_compare_pkt_dependencies(&seq7.info, &seq9.info));
    EXPECT_EQ(1, pxinfo_compare_pkt_dependencies(&seq9.info, &seq7.info));
    EXPECT_EQ(0, pxinfo_compare_pkt_dependencies(&seq7.info, &seq7.info));

    MadePacket mixed_a({6, 3}, 7, 1), mixed_b({5, 4}, 9, 1);
    EXPECT_EQ(-1, pxinfo_compare_pkt_dependencies(&mixed_a.info, &mixed_b.info)) << "mixed rows fall through";
}

TEST(Dependencies, SequenceNumbersWrapThroughTheirSigned32BitDifference) {
    MadePacket zero({1}, 0, 1), half({1}, 2147483648u, 1);
    EXPECT_EQ(-1, pxinfo_compare_pkt_dependencies(&zero.info, &half.info));
    EXPECT_EQ(-1, pxinfo_compare_pkt_dependencies(&half.info, &zero.info));
}

TEST(Dependencies, CreationPacketsAndOtherKindsAreNotOrdered) {
    MadePacket update({1}, 1, 1), creation({2}, 2, 1, PXINFO_PACKET_CREATION), bb({1}, 3, 1);
    bb.info.component_type = PXINFO_COMPONENT_BB;
    EXPECT_EQ(0, pxinfo_compare_pkt_dependencies(&creation.info, &update.info));
    EXPECT_EQ(0, pxinfo_compare_pkt_dependencies(&update.info, &creation.info));
    EXPECT_EQ(0, pxinfo_compare_pkt_dependencies(&update.info, &bb.info));
    EXPECT_EQ(0, pxinfo_compare_pkt_dependencies(nullptr, &update.info));
}

TEST(Dependencies, OrderIsAntisymmetricAndAgreesWithTheRowComparison) {
    std::mt19937 random(7);
    std::vector<MadePacket> packets;
    for (int i = 0; i < 60; ++i) {
        std::vector<pxinfo_epoch_num_t> epochs;
        for (int r = 0; r < 3; ++r) epochs.push_back(random() % 3);
        packets.emplace_back(epochs, random() % 4, 1 + random() % 2);
    }
    for (const MadePacket &a : packets) {
        for (const MadePacket &b : packets) {
            int ab = pxinfo_compare_pkt_dependencies(&a.info, &b.info);
            int ba = pxinfo_compare_pkt_dependencies(&b.info, &a.info);
            EXPECT_EQ(ab, -ba);
            int row = 0;
            pxinfo_miscompare_functor_t none = {nullptr, nullptr};
            std::vector<pxinfo_epoch_row_entry_t> ra, rb;
            for (const pxinfo_replica_reference_t &ref : a.refs) ra.push_back({ref.start_epoch, 0, ref.replica});
            for (const pxinfo_replica_reference_t &ref : b.refs) rb.push_back({ref.start_epoch, 0, ref.replica});
            ASSERT_EQ(TBS_ST_OK, pxinfo_epoch_row_compare(3, ra.data(), 3, rb.data(), nullptr, none, &row));
            if (row == PXINFO_EPOCH_CMP_LESS) {
                EXPECT_EQ(-1, ab);
            } else if (row == PXINFO_EPOCH_CMP_GREATER) {
                EXPECT_EQ(1, ab);
            }
        }
    }
}

// ---- epoch rows from packets -------------------------------------------------

TEST(EpochRows, FromPacketInformation) {
    MadePacket packet({4, 8}, 1, 1);
    pxinfo_epoch_row_t row;
    std::memset(&row, 0, sizeof row);
    std::strcpy(row.name, "kept");
    ASSERT_EQ(TBS_ST_OK, pxinfo_kv_packet_info_to_epoch_row(&packet.info, &row));
    ASSERT_EQ(2, row.count);
    EXPECT_EQ(4u, row.entries[0].epoch);
    EXPECT_EQ(8u, row.entries[1].epoch);
    EXPECT_TRUE(pxinfo_selector_eq(&packet.refs[1].replica, &row.entries[1].replica));
    EXPECT_STREQ("kept", row.name);
    pxinfo_free_new_epoch_row_entry(&row);

    MadePacket creation({1}, 1, 1, PXINFO_PACKET_CREATION);
    pxinfo_epoch_row_t untouched;
    std::memset(&untouched, 0x3C, sizeof untouched);
    pxinfo_epoch_row_t copy = untouched;
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_kv_packet_info_to_epoch_row(&creation.info, &copy));
    EXPECT_EQ(0, std::memcmp(&untouched, &copy, sizeof copy));

    stg_fail_allocation(1);
    EXPECT_EQ(TBS_ST_NO_MEMORY, pxinfo_kv_packet_info_to_epoch_row(&packet.info, &row));
    EXPECT_EQ(nullptr, row.entries);
}

TEST(EpochRows, FromAHeaderNamedAfterTheTarget) {
    HeaderBuilder built(1, {"dublin", "tokyo"}, {3, 4, 5});
    pxinfo_epoch_row_t row;
    std::memset(&row, 0, sizeof row);
    std::strcpy(row.name, "old");
    ASSERT_EQ(TBS_ST_OK, pxinfo_kv_pkt_header_to_epoch_row(&built.header, nullptr, &row));
    EXPECT_STREQ("", row.name);
    ASSERT_EQ(3, row.count);
    EXPECT_EQ(5u, row.entries[2].epoch);
    pxinfo_free_new_epoch_row_entry(&row);

    pxinfo_selector_t second;
    pxinfo_new_vault_selector(&built.targets[1].replica_uuid, &kFamily, &second);
    ASSERT_EQ(TBS_ST_OK, pxinfo_kv_pkt_header_to_epoch_row(&built.header, &second, &row));
    EXPECT_STREQ("tokyo", row.name);
    pxinfo_free_new_epoch_row_entry(&row);

    std::strcpy(row.name, "unchanged");
    pxinfo_selector_t stranger;
    tbs_uuid_t other = uuid_of(999);
    pxinfo_new_vault_selector(&other, &kFamily, &stranger);
    ASSERT_EQ(TBS_ST_OK, pxinfo_kv_pkt_header_to_epoch_row(&built.header, &stranger, &row));
    EXPECT_STREQ("unchanged", row.name);
    pxinfo_free_new_epoch_row_entry(&row);

    std::string long_name(300, 'x');
    built.targets[1].name = const_cast<char *>(long_name.c_str());
    EXPECT_EQ(TBS_ST_FAILED, pxinfo_kv_pkt_header_to_epoch_row(&built.header, &second, &row));
    pxinfo_free_new_epoch_row_entry(&row);
}

TEST(Targets, IncludeSelectorFindsTargetsOnly) {
    HeaderBuilder built(1, {"dublin", "tokyo"}, {1});
    stg_area_t *area = stg_create_area(64);
    pxinfo_packet_info_t info;
    ASSERT_EQ(TBS_ST_OK, pxinfo_get_packet_info(write_packet("targets.pkt", built.header).c_str(), area, 0, &info));
    int included = -1;
    EXPECT_EQ(TBS_ST_OK, pxinfo_packet_targets_include_selector(&info, &info.targets[1].replica, &included));
    EXPECT_EQ(1, included);
    EXPECT_EQ(TBS_ST_OK, pxinfo_packet_targets_include_selector(&info, &info.sources[0].source, &included));
    EXPECT_EQ(0, included);
    info.target_count = 0;
    EXPECT_EQ(TBS_ST_OK, pxinfo_packet_targets_include_selector(&info, &info.sources[0].source, &included));
    EXPECT_EQ(0, included);
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_packet_targets_include_selector(&info, nullptr, &included));
    stg_delete_area(&area);
}

TEST(FileType, OrdersFilesOfNoKindAndRefusedPaths) {
    const std::string dir = pxtest::temp_path("a-directory");
    ASSERT_EQ(0, ::mkdir(dir.c_str(), 0755));
    const std::string missing = pxtest::temp_path("no-such-file");
    const std::string sync0 = write_packet("sync0.pkt", HeaderBuilder(0, {}, {1}).header);
    const int kUnchecked = -1;
    struct Case {
        std::string path;
        tbs_status_t status;
        int type;
        std::vector<std::string> lines;
        // clang-format off
    } cases[] = {
        {write_text("current.ord", "# Korvane Plexion Shipping Order\n# Version 1.0\n"), TBS_ST_OK, PXINFO_FILE_SHORDER, {}},
        {write_text("older.ord", "# Quenta Shipping Order\n# Version 1.0\n"), TBS_ST_OK, PXINFO_FILE_SHORDER, {}},
        {write_text("empty", ""), TBS_ST_OK, PXINFO_FILE_OTHER, {}},
        {write_text("notes.txt", "just some text\n"), TBS_ST_OK, PXINFO_FILE_OTHER, {}},
        {write_text("blank.ord", "# Quenta Shipping Order \n# Version 1.0\n"), TBS_ST_OK, PXINFO_FILE_OTHER, {}},
        // Major version 8: the quiet header read refuses it, and it is no order.
        {write_text("v8.pkt", std::string("\x14\x82\x35\x16\0\0\0\x08\0\0\0\0", 12)), TBS_ST_OK, PXINFO_FILE_OTHER, {}},
        {dir, TBS_ST_NOT_FOUND, PXINFO_FILE_OTHER, {"\"" + dir + "\" is not a file\n"}},
        {missing, tbs_errno2status(ENOENT), kUnchecked,
         {"Unable to access \"" + missing + "\": " + tbs_strerror(tbs_errno2status(ENOENT)) + "\n"}},
        // Sync type 0: a readable header of no packet type.
        {sync0, TBS_ST_INVALID_ARG, PXINFO_FILE_OTHER,
         {sync0 + ": packet version is too new.\n",
          "pxinfo_sam_pkt_check: check of \"" + sync0 + "\" failed: " + tbs_strerror(TBS_ST_INVALID_ARG) + "\n"}},
    };
    // clang-format on
    for (const Case &c : cases) {
        SCOPED_TRACE(c.path);
        pxtest::CapturedMessages captured;
        pxinfo_file_type_t type = PXINFO_FILE_KVCREATE;
        EXPECT_EQ(c.status, pxinfo_get_file_type(c.path.c_str(), &type));
        if (c.type != kUnchecked) {
            EXPECT_EQ(c.type, type);
        }
        std::vector<std::string> lines;
        for (const auto &line : captured.lines()) lines.push_back(line.text);
        EXPECT_EQ(c.lines, lines);
    }
}

TEST_F(PacketInfo, CreationPacketsAndPacketsWithoutTargets) {
    HeaderBuilder creation(2, {"dublin"}, {1});
    pxinfo_packet_info_t info;
    ASSERT_EQ(TBS_ST_OK, pxinfo_get_packet_info(write_packet("create.pkt", creation.header).c_str(), area_, 0, &info));
    EXPECT_EQ(PXINFO_PACKET_CREATION, info.sources[0].packet_type);

    HeaderBuilder lonely(1, {}, {});
    ASSERT_EQ(TBS_ST_OK, pxinfo_get_packet_info(write_packet("lonely.pkt", lonely.header).c_str(), area_, 0, &info));
    EXPECT_EQ(0, info.status);
    EXPECT_EQ(0u, info.target_count);
    EXPECT_EQ(nullptr, info.targets);
    EXPECT_EQ(0u, info.sources[0].references.count);
    EXPECT_NE(nullptr, info.sources[0].references.refs);
}

TEST(PacketInfoLayouts, Version6ConversionKeepsTheSharedFieldsAndDefaultsTheRest) {
    pxinfo_packet_info_v6_t v6;
    std::memset(&v6, 0, sizeof v6);
    char name[] = "p.pkt";
    v6.pkt_name = name;
    v6.component_type = PXINFO_COMPONENT_VAULT;
    v6.major_version = 6;
    v6.source_count = 1;
    v6.sources[0].packet_type = PXINFO_PACKET_UPDATE;
    v6.target_count = 0;
    v6.aux_int = 9;
    pxinfo_packet_info_t native;
    std::memset(&native, 0x5A, sizeof native);
    pxinfo_packet_info_v6_to_native(&v6, &native);
    EXPECT_EQ(name, native.pkt_name);
    EXPECT_EQ(9, native.aux_int);
    EXPECT_EQ(1u, native.pkt_seq_num);
    EXPECT_EQ(1u, native.aux_count);
    EXPECT_EQ(PXINFO_COMPRESS_DEFAULT, native.compress_type);
    EXPECT_TRUE(tbs_uuid_eq(&TBS_UUID_NULL, &native.log_pkt_uuid));
    EXPECT_EQ(0, native.aux_int2);
    pxinfo_packet_info_v6_t back;
    std::memset(&back, 0, sizeof back);
    pxinfo_packet_info_native_to_v6(&native, &back);
    EXPECT_EQ(0, std::memcmp(&v6, &back, sizeof v6));

    pxtest::CapturedMessages captured;
    unsigned long asserts = pfm_assert_fail_count();
    pxinfo_packet_info_v6_to_native(nullptr, &native);
    pxinfo_packet_info_native_to_v6(&native, nullptr);
    EXPECT_EQ(asserts + 2, pfm_assert_fail_count());
    EXPECT_NE(std::string::npos, captured.dump().find("(v6_pi_p != NULL) && (native_pi_p != NULL)"));
    EXPECT_NE(std::string::npos, captured.dump().find("(native_pi_p != NULL) && (v6_pi_p != NULL)"));
}

}  // namespace

namespace {

// A message sink that removes the packet as soon as it has been classified,
// at the detail trace naming its kind, and keeps the severities it sees.
struct RemovingSink {
    std::string path;
    std::vector<int> severities;
    static void print(void *sink, int severity, const char *, const char *text) {
        static_cast<RemovingSink *>(sink)->severities.push_back(severity);
        if (std::strstr(text, "SAM replica update packet found") != nullptr)
            ::unlink(static_cast<RemovingSink *>(sink)->path.c_str());
    }
};

// A packet that cannot be opened again after it was classified: status 1001
// and nothing printed.
TEST(PacketInfoReopen, APacketThatCannotBeOpenedAgainFailsSilently) {
    pxinfo_kv_pkt_header_t header{};
    header.sync_type = 1;
    XDR xdrs;
    ASSERT_EQ(TBS_ST_OK, xdrstg_create(&xdrs, 4096, 0));
    u_int size = 0;
    ASSERT_EQ(TBS_ST_OK, pxinfo_kv_pkt_write_header(&header, 7, &xdrs, &size));
    RemovingSink sink{pxtest::temp_path("vanishing.pkt"), {}};
    pxtest::write_file(sink.path, std::vector<unsigned char>(xdrs.x_base, xdrs.x_base + size));
    xdrstg_destroy(&xdrs);
    stg_area_t *area = stg_create_area(256);
    pxinfo_packet_info_t info;
    {
        pxtest::CapturedMessages levels(4, "pxinfo");
        imsg_set_sink(&RemovingSink::print, &sink);
        ASSERT_EQ(TBS_ST_OK, pxinfo_get_packet_info(sink.path.c_str(), area, 0, &info));
    }
    EXPECT_EQ(static_cast<int32_t>(TBS_ST_FAILED), info.status);
    EXPECT_EQ(PXINFO_COMPONENT_VAULT, info.component_type);
    EXPECT_NE(0, ::access(sink.path.c_str(), F_OK)) << "the packet was classified, then removed";
    EXPECT_EQ(std::vector<int>(sink.severities.size(), IMSG_SEV_TRACE), sink.severities);
    stg_delete_area(&area);
}

}  // namespace
