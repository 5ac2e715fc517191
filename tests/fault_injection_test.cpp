// Exhausted storage across the public interface: every operation of the
// library that allocates is run with each of its allocations failing in turn,
// and every run must end in the operation's documented outcome with nothing
// leaked. Operations whose own tests already sweep them are not repeated
// here; every record routine is swept decoding the record targets' seeds.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "../fuzz/record_routines.h"
#include "imsg.h"
#include "pxinfo_kv_pkt.h"
#include "pxinfo_pktutl.h"
#include "pxinfo_shp_order.h"
#include "pxinfo_utl_epoch.h"
#include "pxinfo_utl_maps.h"
#include "pxinfo_utl_msglist.h"
#include "pxinfo_utl_status.h"
#include "pxinfo_utl_synclog.h"
#include "pxinfo_xdr.h"
#include "rgy.h"
#include "stg.h"
#include "strutl.h"
#include "tbs.h"
#include "tbs_uuid.h"
#include "test_support.h"

namespace {

constexpr const char kFile[] = "swept.ord";

pxinfo_epoch_row_entry_t vault_entry(unsigned char replica, pxinfo_epoch_num_t epoch) {
    pxinfo_epoch_row_entry_t entry{};
    entry.epoch = epoch;
    entry.replica.type = PXINFO_COMPONENT_VAULT;
    entry.replica.u.vault.vault_oid.bytes[0] = 0xf0;
    entry.replica.u.vault.replica_oid.bytes[15] = replica;
    return entry;
}

// Everything an operation of the table works on, made before the failure is
// armed and released after the run, so that each run starts afresh and the
// sweep's leak check covers exactly one run.
struct World {
    World() {
        area = stg_create_area(0);
        row_entries = {vault_entry(1, 5), vault_entry(2, 3)};
        source_row.count = static_cast<int32_t>(row_entries.size());
        source_row.entries = row_entries.data();
        sleepers_source.count = static_cast<uint32_t>(sleep_points.size());
        sleepers_source.points = sleep_points.data();
        imessages = imsg_list_create();
        write_packet_header();
        packet_path = pxtest::temp_path("swept.pkt");
        pxtest::write_file(packet_path, std::vector<unsigned char>(packet.begin(), packet.end()));
        older_refs = {reference(1, 5), reference(2, 3)};
        newer_refs = {reference(1, 5), reference(2, 4)};
        older = update_packet(older_refs, 0x77);
        newer = update_packet(newer_refs, 0x11);
        registered.bytes[0] = 0x42;
        EXPECT_EQ(TBS_ST_OK, rgy_test_add_entry(&registered, RGY_IND_ACTIVE, "first.invalid"));
        EXPECT_EQ(TBS_ST_OK, rgy_test_add_entry(&registered, RGY_IND_ACTIVE, "second.invalid"));
        EXPECT_EQ(TBS_ST_OK, pxinfo_add_msg_to_list(IMSG_SEV_WARNING, "first", area, &messages));
        EXPECT_EQ(TBS_ST_OK, pxinfo_add_msg_to_list(IMSG_SEV_ERROR, "second", area, &messages));
        captured = std::make_unique<pxtest::CapturedMessages>();
    }
    ~World() {
        captured.reset();
        pxinfo_free_kv_pkt_hdr(&header);
        pxinfo_free_kv_pkt_hdr(&read_header);
        pxinfo_free_new_epoch_row_entry(&row);
        rgy_delete_entry(&entry);
        rgy_close_cursor(&cursor);
        rgy_test_clear_entries();
        imsg_list_destroy(made_list);
        cl_destroy(&handle);
        if (stream != nullptr) std::fclose(stream);
        if (row_copy.entries != nullptr && row_copy.entries != source_row.entries)
            pxinfo_free_new_epoch_row_entry(&row_copy);
        imsg_list_destroy(imessages);
        stg_delete_area(&area);
    }
    World(const World &) = delete;
    World &operator=(const World &) = delete;

    stg_area_t *area = nullptr;
    std::unique_ptr<pxtest::CapturedMessages> captured;
    // Shipping-order lines.
    FILE *stream = nullptr;
    cl_handle_t *handle = nullptr;
    char line[PXINFO_SHP_LINE_SIZE] = {};
    int line_number = 0;
    // Epoch rows.
    std::vector<pxinfo_epoch_row_entry_t> row_entries;
    pxinfo_epoch_row_t source_row{};
    pxinfo_epoch_row_t row_copy{};
    // Name maps.
    char *name = nullptr;
    int id = -1;
    // Message lists.
    pxinfo_msg_list_t messages{0, nullptr};
    imsg_list_t *imessages = nullptr;
    // Sleep points.
    std::vector<pxinfo_one_sleep_point_t> sleep_points{0, 1, 0, 1};
    pxinfo_st_sleep_points_t sleepers_source{};
    pxinfo_st_sleep_points_t sleepers{};
    // Packet headers: a version-7 header with targets, replicas and a text.
    std::vector<char> packet;
    pxinfo_kv_pkt_header_t header{};
    pxinfo_kv_pkt_header_t read_header{};  // the same, read back
    int major = -1;
    // Packet files: the header above in a file; two update packets whose
    // rows order the first before the second while their log uuids order
    // it after.
    std::string packet_path;
    pxinfo_file_type_t file_type = PXINFO_FILE_SHORDER;
    std::vector<pxinfo_replica_reference_t> older_refs, newer_refs;
    pxinfo_packet_info_t older{}, newer{};
    pxinfo_epoch_row_t row{};
    int order = 0;
    // The registry: two entries of one replica.
    tbs_uuid_t registered{};
    rgy_cursor_t *cursor = nullptr;
    rgy_entry_t *entry = nullptr;
    imsg_list_t *made_list = nullptr;

  private:
    static pxinfo_replica_reference_t reference(unsigned char replica, pxinfo_epoch_num_t start) {
        pxinfo_replica_reference_t ref{};
        ref.replica = vault_entry(replica, 0).replica;
        ref.start_epoch = start;
        return ref;
    }
    static pxinfo_packet_info_t update_packet(std::vector<pxinfo_replica_reference_t> &refs, unsigned char log) {
        pxinfo_packet_info_t info{};
        info.component_type = PXINFO_COMPONENT_VAULT;
        info.sources[0].packet_type = PXINFO_PACKET_UPDATE;
        info.sources[0].references.count = static_cast<uint32_t>(refs.size());
        info.sources[0].references.refs = refs.data();
        info.log_pkt_uuid.bytes[0] = log;
        return info;
    }
    void write_packet_header() {
        static char name[] = "target", text[] = "aux";
        pxinfo_kv_pkt_tgt_desc_t targets[2] = {{vault_entry(1, 0).replica.u.vault.replica_oid, name},
                                               {vault_entry(2, 0).replica.u.vault.replica_oid, nullptr}};
        pxinfo_kv_pkt_rep_desc_t replicas[1] = {{vault_entry(3, 0).replica.u.vault.replica_oid, 1, 2, 3}};
        pxinfo_kv_pkt_header_t source{};
        source.sync_type = 1;
        source.target_count = 2;
        source.targets = targets;
        source.replica_count = 1;
        source.replicas = replicas;
        source.aux_string = text;
        XDR xdrs;
        u_int size = 0;
        ASSERT_EQ(TBS_ST_OK, xdrstg_create(&xdrs, 1024, 0));
        EXPECT_EQ(TBS_ST_OK, pxinfo_kv_pkt_write_header(&source, 7, &xdrs, &size));
        packet.assign(xdrs.x_base, xdrs.x_base + size);
        xdrstg_destroy(&xdrs);
        FILE *file = fmemopen(packet.data(), packet.size(), "r");
        EXPECT_EQ(TBS_ST_OK, pxinfo_kv_pkt_read_header(file, &xdrs, 1, &major, &read_header));
        xdr_destroy(&xdrs);
        std::fclose(file);
    }
};

// Name look-ups compare case-insensitively with the collation order, which
// needs storage outside the "C" locale; without it they must still find the
// same entry.
class CollationOfC_UTF8 {
  public:
    CollationOfC_UTF8() : previous_(std::setlocale(LC_COLLATE, nullptr)) {
        EXPECT_NE(nullptr, std::setlocale(LC_COLLATE, "C.UTF-8"));
    }
    ~CollationOfC_UTF8() { std::setlocale(LC_COLLATE, previous_.c_str()); }

  private:
    std::string previous_;
};

const pxinfo_id_and_name_map_entry_t kColours[] = {{7, "red"}, {3, "Green"}, {11, "blue"}, {0, nullptr}};

std::string text_of(const std::string &path) {
    const auto bytes = pxtest::read_file(path);
    return std::string(bytes.begin(), bytes.end());
}

std::string log_path() {
    const char *dir = std::getenv("PXINFO_LOG_DIR");
    return std::string(dir != nullptr ? dir : "") + "/gm_log";
}

// One row per operation: how to run it on a fresh world, and the state its
// documentation promises after a run whose allocation failed. A function that
// returns no status tells its outcome through the status run returns.
struct SweptRow {
    const char *name;
    std::function<tbs_status_t(World &)> run;
    std::function<void(World &, tbs_status_t)> failed;
};

// Test listings name a row by its operation.
void PrintTo(const SweptRow &row, std::ostream *out) { *out << row.name; }

const std::vector<SweptRow> &swept_rows() {
    static const std::vector<SweptRow> rows = {
        {"pxinfo_shp_ord_get_next_line",
         [](World &w) {
             static const char text[] = "  \"quoted word\" plain\n";
             w.stream = fmemopen(const_cast<char *>(text), sizeof text - 1, "r");
             return pxinfo_shp_ord_get_next_line(w.stream, kFile, 1, sizeof w.line, w.line, &w.line_number, &w.handle);
         },
         [](World &w, tbs_status_t status) {
             EXPECT_EQ(TBS_ST_FAILED, status);
             EXPECT_EQ(nullptr, w.handle);
             EXPECT_EQ(1, w.line_number);
             EXPECT_EQ(1u, w.captured->with_severity(IMSG_SEV_ERROR).size()) << w.captured->dump();
         }},
        {"pxinfo_kv_pkt_read_import_header_no_xdr",
         [](World &w) {
             w.stream = fmemopen(w.packet.data(), w.packet.size(), "r");
             return pxinfo_kv_pkt_read_import_header_no_xdr(w.stream, 0, &w.major, &w.header);
         },
         [](World &w, tbs_status_t status) {
             // The reader's own storage gives 1062; storage that the record's
             // decoding cannot get makes the record undecodable (1001).
             if (status == TBS_ST_FAILED) {
                 const auto errors = w.captured->with_severity(IMSG_SEV_ERROR);
                 ASSERT_EQ(1u, errors.size()) << w.captured->dump();
                 EXPECT_EQ("Error decoding xdr information (sync header)\n", errors[0].text);
             } else {
                 EXPECT_EQ(TBS_ST_NO_MEMORY, status);
             }
             EXPECT_EQ(0, std::ftell(w.stream)) << "the file is rewound";
             EXPECT_EQ(nullptr, w.header.targets);
             EXPECT_EQ(nullptr, w.header.replicas);
             EXPECT_EQ(nullptr, w.header.aux_string);
             EXPECT_EQ(0, w.header.target_count);
         }},
        {"pxinfo_get_file_type", [](World &w) { return pxinfo_get_file_type(w.packet_path.c_str(), &w.file_type); },
         [](World &w, tbs_status_t status) {
             // An unreadable header makes the file one of no known kind (the
             // quiet read prints nothing); the shipping-order reader then
             // finds no order (0), or cannot make one (1001).
             EXPECT_TRUE(status == TBS_ST_OK || status == TBS_ST_FAILED) << status;
             EXPECT_EQ(PXINFO_FILE_OTHER, w.file_type);
         }},
        {"pxinfo_compare_pkt_dependencies",
         [](World &w) {
             w.order = pxinfo_compare_pkt_dependencies(&w.older, &w.newer);
             return w.order == -1 ? TBS_ST_OK : TBS_ST_FAILED;
         },
         [](World &w, tbs_status_t) {
             // Without rows the log uuids decide.
             EXPECT_EQ(1, w.order);
         }},
        {"pxinfo_kv_packet_info_to_epoch_row",
         [](World &w) { return pxinfo_kv_packet_info_to_epoch_row(&w.older, &w.row); },
         [](World &w, tbs_status_t status) {
             EXPECT_EQ(TBS_ST_NO_MEMORY, status);
             EXPECT_EQ(nullptr, w.row.entries);
         }},
        {"pxinfo_kv_pkt_header_to_epoch_row",
         [](World &w) { return pxinfo_kv_pkt_header_to_epoch_row(&w.read_header, nullptr, &w.row); },
         [](World &w, tbs_status_t status) {
             EXPECT_EQ(TBS_ST_NO_MEMORY, status);
             EXPECT_EQ(nullptr, w.row.entries);
         }},
        // The base services' own operations.
        {"imsg_list_create",
         [](World &w) {
             w.made_list = imsg_list_create();
             return w.made_list != nullptr ? TBS_ST_OK : TBS_ST_NO_MEMORY;
         },
         [](World &, tbs_status_t status) { EXPECT_EQ(TBS_ST_NO_MEMORY, status); }},
        {"rgy_findbyuuid_entry",
         [](World &w) {
             // Both entries, one call each, then the end of the search.
             int indicator = 0;
             for (int step = 0; step < 3; ++step) {
                 tbs_status_t status =
                     rgy_findbyuuid_entry(RGY_CLASS_REPLICA, 0, RGY_KEY_UUID, sizeof w.registered, &w.registered,
                                          &w.cursor, RGY_FETCH_ENTRY, &w.entry, &indicator);
                 if (status != TBS_ST_OK) return status;
             }
             return w.cursor == nullptr ? TBS_ST_OK : TBS_ST_FAILED;
         },
         [](World &, tbs_status_t status) { EXPECT_EQ(TBS_ST_NO_MEMORY, status); }},
        {"strutl_stricoll",
         [](World &w) {
             CollationOfC_UTF8 collation;
             w.order = strutl_stricoll("Alpha", "alpha");
             return TBS_ST_OK;
         },
         [](World &w, tbs_status_t) { EXPECT_EQ(0, w.order) << "texts equal but for case stay equal"; }},
        {"pxinfo_create_new_epoch_row",
         [](World &w) { return pxinfo_create_new_epoch_row(&w.source_row, &w.row_copy); },
         [](World &w, tbs_status_t status) {
             EXPECT_EQ(TBS_ST_NO_MEMORY, status);
             EXPECT_EQ(w.source_row.entries, w.row_copy.entries) << "a shallow copy is left";
             EXPECT_EQ(w.source_row.count, w.row_copy.count);
         }},
        {"pxinfo_int_id_to_str",
         [](World &w) {
             tbs_status_t status = pxinfo_int_id_to_str(w.area, kColours, 1, w.name);
             return status == TBS_ST_OK && w.name == nullptr ? TBS_ST_NO_MEMORY : status;
         },
         [](World &w, tbs_status_t status) {
             // Documented as success without a name.
             EXPECT_EQ(TBS_ST_NO_MEMORY, status);
             EXPECT_EQ(nullptr, w.name);
         }},
        {"pxinfo_str_to_int_id",
         [](World &w) {
             CollationOfC_UTF8 collation;
             return pxinfo_str_to_int_id(kColours, "GREEN", &w.id);
         },
         [](World &w, tbs_status_t status) {
             EXPECT_EQ(TBS_ST_OK, status);
             EXPECT_EQ(3, w.id);
         }},
        {"pxinfo_str_to_ship_filetype",
         [](World &w) {
             CollationOfC_UTF8 collation;
             pxinfo_file_type_t type = PXINFO_FILE_OTHER;
             tbs_status_t status = pxinfo_str_to_ship_filetype("KVUpdate", &type);
             w.id = static_cast<int>(type);
             return status;
         },
         [](World &w, tbs_status_t status) {
             EXPECT_EQ(TBS_ST_OK, status);
             EXPECT_EQ(PXINFO_FILE_KVUPDATE, w.id);
         }},
        {"pxinfo_msg_list_to_imsg_list",
         [](World &w) {
             pxinfo_msg_list_to_imsg_list(&w.messages, w.imessages);
             return imsg_list_count(w.imessages) == w.messages.count ? TBS_ST_OK : TBS_ST_NO_MEMORY;
         },
         [](World &w, tbs_status_t) {
             // The text that could not be copied is left out; the others keep
             // their order.
             ASSERT_EQ(1u, imsg_list_count(w.imessages));
             const std::string kept = imsg_list_get(w.imessages, 0);
             EXPECT_TRUE(kept == "first" || kept == "second") << kept;
         }},
        {"pxinfo_copy_st_sleepers",
         [](World &w) { return pxinfo_copy_st_sleepers(&w.sleepers_source, w.area, &w.sleepers); },
         [](World &w, tbs_status_t status) {
             EXPECT_EQ(TBS_ST_NO_MEMORY, status);
             EXPECT_EQ(nullptr, w.sleepers.points);
         }},
        {"pxinfo_log_gm_sync_entry",
         [](World &w) {
             std::remove(log_path().c_str());
             tbs_uuid_t family = TBS_UUID_NULL;
             family.bytes[0] = 0x11;
             pxinfo_log_gm_sync_entry(family, "tag", family, "importer", family, "exporter", "packet.pkt", w.source_row,
                                      w.source_row, PXINFO_SYNC_EXPORT, nullptr, TBS_ST_OK);
             // Without the record buffer the record is still written whole.
             const std::string text = text_of(log_path());
             const std::string ending =
                 "\ndirection: export\nerror: " + std::string(tbs_strerror(TBS_ST_OK)) + "\n*****\n\n";
             bool whole = text.rfind("familu_uuid: ", 0) == 0 && text.size() > ending.size() &&
                          text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
             return whole ? TBS_ST_OK : TBS_ST_FAILED;
         },
         [](World &, tbs_status_t status) { EXPECT_EQ(TBS_ST_OK, status); }},
    };
    return rows;
}

// Fresh configuration and log directories, so that the log lands in a place
// of the test's own.
class SweptOperations : public ::testing::TestWithParam<SweptRow> {
  public:
    static void SetUpTestSuite() {
        const std::string dir = pxtest::temp_path("fault-injection-logs");
        mkdir(dir.c_str(), 0700);
        setenv("PXINFO_LOG_DIR", dir.c_str(), 1);
        setenv("PXINFO_CONFIG_DIR", dir.c_str(), 1);
    }
    static void TearDownTestSuite() {
        unsetenv("PXINFO_LOG_DIR");
        unsetenv("PXINFO_CONFIG_DIR");
        std::printf("fault injection: %zu operations swept here, %zu injection points\n", operations_, points_);
    }

  protected:
    static inline size_t operations_ = 0;
    static inline size_t points_ = 0;
};

TEST_P(SweptOperations, EveryFailingAllocationEndsAsDocumentedWithoutLeaks) {
    const SweptRow &row = GetParam();
    std::unique_ptr<World> world;
    tbs_status_t last = TBS_ST_FAILED;
    const size_t points = pxtest::sweep_allocation_failures(pxtest::SweptOperation{
        [&] { world = std::make_unique<World>(); },
        [&] { return last = row.run(*world); },
        [&](tbs_status_t status, unsigned long nth) {
            SCOPED_TRACE("allocation " + std::to_string(nth) + " failing");
            row.failed(*world, status);
        },
        [&] { world.reset(); },
    });
    EXPECT_GE(points, 1u) << row.name << " allocates nothing: list it with those that allocate nothing";
    EXPECT_EQ(TBS_ST_OK, last) << "the run in which no allocation fails";
    ++operations_;
    points_ += points;
}

INSTANTIATE_TEST_SUITE_P(Table, SweptOperations, ::testing::ValuesIn(swept_rows()),
                         [](const ::testing::TestParamInfo<SweptRow> &info) { return std::string(info.param.name); });

std::vector<std::string> files_in(const std::string &dir) {
    std::vector<std::string> files;
    DIR *listing = opendir(dir.c_str());
    if (listing == nullptr) return files;
    while (const dirent *entry = readdir(listing))
        if (entry->d_name[0] != '.') files.push_back(dir + "/" + entry->d_name);
    closedir(listing);
    return files;
}

// Each seed is one record kind's number followed by a record of that kind.
// Decoding it with each allocation failing in turn must fail the decode, and
// freeing the record must then release everything the decode had made.
TEST(RecordDecoding, EveryFailingAllocationFailsTheDecodeWithoutLeaks) {
    const auto &kinds = pxfuzz::record_routines();
    std::set<std::string> swept_kinds;
    size_t points = 0;
    const std::vector<std::string> seeds = files_in(std::string(PXINFO_SOURCE_DIR) + "/fuzz/corpus/records");
    ASSERT_FALSE(seeds.empty());
    for (const std::string &seed : seeds) {
        const std::vector<unsigned char> bytes = pxtest::read_file(seed);
        ASSERT_FALSE(bytes.empty()) << seed;
        ASSERT_LT(bytes[0], kinds.size()) << seed;
        const pxfuzz::RecordRoutine &kind = kinds[bytes[0]];
        SCOPED_TRACE(seed);
        std::unique_ptr<pxfuzz::RecordBuffer> record;
        bool decoded = false;
        const size_t seed_points = pxtest::sweep_allocation_failures(pxtest::SweptOperation{
            [&] { record = std::make_unique<pxfuzz::RecordBuffer>(kind.size); },
            [&] {
                size_t used = 0;
                decoded = pxfuzz::decode_record(kind, bytes.data() + 1, bytes.size() - 1, record->get(), &used);
                return decoded ? TBS_ST_OK : TBS_ST_FAILED;
            },
            [&](tbs_status_t status, unsigned long nth) {
                EXPECT_EQ(TBS_ST_FAILED, status) << "allocation " << nth << " failing";
            },
            [&] {
                xdr_ez_free(record->get(), kind.routine, 0);
                record.reset();
            },
        });
        EXPECT_TRUE(decoded) << "the seed decodes when no allocation fails";
        if (seed_points > 0) swept_kinds.insert(kind.name);
        points += seed_points;
    }
    // The records that arrive in files from other sites are among them.
    for (const char *name :
         {"xdr_pxinfo_family_epoch_status_t", "xdr_pxinfo_family_sync_status_t", "xdr_pxinfo_kv_pkt_header_0_t",
          "xdr_pxinfo_kv_pkt_header_2_t", "xdr_pxinfo_kv_pkt_header_t", "xdr_pxinfo_packet_info_t"})
        EXPECT_EQ(1u, swept_kinds.count(name)) << name;
    std::printf("record decoding: %zu kinds swept, %zu injection points over %zu seeds\n", swept_kinds.size(), points,
                seeds.size());
}

}  // namespace
