// Exhausted storage across the public interface: every operation of the
// library that allocates is run with each of its allocations failing in turn,
// and every run must end in the operation's documented outcome with nothing
// leaked. Operations whose own tests already sweep them are not repeated
// here; every record routine is swept decoding the record targets' seeds.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <clocale>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "../fuzz/record_routines.h"
#include "fixtures.h"
#include "pxinfo/pxinfo.h"
#include "test_support.h"

namespace {

pxinfo_selector_t vault_replica(unsigned char replica) {
    pxinfo_selector_t selector{};
    selector.type = PXINFO_COMPONENT_VAULT;
    selector.u.vault.vault_oid.bytes[0] = 0xf0;
    selector.u.vault.replica_oid.bytes[15] = replica;
    return selector;
}

// What the operations read and none changes, made once before any sweep: the
// sample packet header in a file and read back; two update packets whose rows order the first before
// the second while their log uuids order it after; an epoch row; sleep
// points; a message list; two registry entries of one replica.
struct Inputs {
    std::string packet_path = pxtest::temp_path("swept.pkt");
    pxinfo_kv_pkt_header_t header{};
    pxinfo_replica_reference_t older_refs[2] = {{vault_replica(1), 0, 5, 0}, {vault_replica(2), 0, 3, 0}};
    pxinfo_replica_reference_t newer_refs[2] = {{vault_replica(1), 0, 5, 0}, {vault_replica(2), 0, 4, 0}};
    pxinfo_packet_info_t older = update_packet(older_refs, 0x77), newer = update_packet(newer_refs, 0x11);
    pxinfo_epoch_row_entry_t entries[2] = {{5, 0, vault_replica(1)}, {3, 0, vault_replica(2)}};
    pxinfo_epoch_row_t row{"", "", 2, entries, 0, 0};
    pxinfo_one_sleep_point_t points[4] = {0, 1, 0, 1};
    pxinfo_st_sleep_points_t sleepers{4, points};
    stg_area_t *area = stg_create_area(0);
    pxinfo_msg_list_t messages{0, nullptr};
    tbs_uuid_t registered{{0x42}};

    Inputs() {
        XDR xdrs;
        u_int size = 0;
        pxfix::SampleHeader sample;
        sample.header.sync_type = 1;  // an update packet
        EXPECT_EQ(TBS_ST_OK, xdrstg_create(&xdrs, 1024, 0));
        EXPECT_EQ(TBS_ST_OK, pxinfo_kv_pkt_write_header(&sample.header, 7, &xdrs, &size));
        pxtest::write_file(packet_path, std::vector<unsigned char>(xdrs.x_base, xdrs.x_base + size));
        xdrstg_destroy(&xdrs);
        int major = 0;
        FILE *file = std::fopen(packet_path.c_str(), "r");
        EXPECT_EQ(TBS_ST_OK, pxinfo_kv_pkt_read_import_header_no_xdr(file, 1, &major, &header));
        std::fclose(file);
        EXPECT_EQ(TBS_ST_OK, pxinfo_add_msg_to_list(IMSG_SEV_WARNING, "first", area, &messages));
        EXPECT_EQ(TBS_ST_OK, pxinfo_add_msg_to_list(IMSG_SEV_ERROR, "second", area, &messages));
        for (const char *host : {"first.invalid", "second.invalid"})
            EXPECT_EQ(TBS_ST_OK, rgy_test_add_entry(&registered, RGY_IND_ACTIVE, host));
    }
    static pxinfo_packet_info_t update_packet(pxinfo_replica_reference_t (&refs)[2], unsigned char log) {
        pxinfo_packet_info_t info{};
        info.component_type = PXINFO_COMPONENT_VAULT;
        info.sources[0].packet_type = PXINFO_PACKET_UPDATE;
        info.sources[0].references = {2, refs, 0, nullptr};
        info.log_pkt_uuid.bytes[0] = log;
        return info;
    }
};
Inputs *in = nullptr;

// What one run makes, released after it so that the sweep's leak check covers
// exactly one run.
struct Outputs {
    stg_area_t *area = stg_create_area(0);
    pxtest::CapturedMessages captured;
    FILE *stream = nullptr;
    cl_handle_t *handle = nullptr;
    char line[PXINFO_SHP_LINE_SIZE] = {};
    int line_number = 0, order = 0, id = -1;
    pxinfo_file_type_t file_type = PXINFO_FILE_SHORDER;
    pxinfo_epoch_row_t row{};
    char *name = nullptr;
    imsg_list_t *list = imsg_list_create();
    rgy_cursor_t *cursor = nullptr;
    rgy_entry_t *entry = nullptr;
    pxinfo_st_sleep_points_t sleepers{};
    ~Outputs() {
        if (row.entries != in->row.entries) pxinfo_free_new_epoch_row_entry(&row);
        rgy_delete_entry(&entry);
        rgy_close_cursor(&cursor);
        imsg_list_destroy(list);
        cl_destroy(&handle);
        if (stream != nullptr) std::fclose(stream);
        stg_delete_area(&area);
    }
};

// Name look-ups compare with the collation order, which needs storage outside
// the "C" locale; without it they must still find the same entry.
struct CollationOfC_UTF8 {
    std::string previous = std::setlocale(LC_COLLATE, nullptr);
    CollationOfC_UTF8() { EXPECT_NE(nullptr, std::setlocale(LC_COLLATE, "C.UTF-8")); }
    ~CollationOfC_UTF8() { std::setlocale(LC_COLLATE, previous.c_str()); }
};

const pxinfo_id_and_name_map_entry_t kColours[] = {{7, "red"}, {3, "Green"}, {11, "blue"}, {0, nullptr}};

std::string log_path() { return std::string(std::getenv("PXINFO_LOG_DIR")) + "/gm_log"; }

tbs_status_t status_of(bool ok) { return ok ? TBS_ST_OK : TBS_ST_NO_MEMORY; }

// One row per operation: how to run it, and whether the status and state
// after a run whose allocation failed are what its documentation promises. An
// operation that returns no status tells its outcome through the status run
// returns.
struct SweptRow {
    const char *name;
    std::function<tbs_status_t(Outputs &)> run;
    std::function<bool(Outputs &, tbs_status_t)> failed_as_documented;
};
void PrintTo(const SweptRow &row, std::ostream *out) { *out << row.name; }

const SweptRow kRows[] = {
    {"pxinfo_shp_ord_get_next_line",
     [](Outputs &o) {
         static char text[] = "  \"quoted word\" plain\n";
         o.stream = fmemopen(text, sizeof text - 1, "r");
         return pxinfo_shp_ord_get_next_line(o.stream, "swept.ord", 1, sizeof o.line, o.line, &o.line_number,
                                             &o.handle);
     },
     [](Outputs &o, tbs_status_t s) {
         return s == TBS_ST_FAILED && o.handle == nullptr && o.line_number == 1 &&
                o.captured.with_severity(IMSG_SEV_ERROR).size() == 1;
     }},
    // An unreadable header makes the file one of no known kind (the quiet read
    // prints nothing); the shipping-order reader then finds no order (0), or
    // cannot make one (1001).
    {"pxinfo_get_file_type", [](Outputs &o) { return pxinfo_get_file_type(in->packet_path.c_str(), &o.file_type); },
     [](Outputs &o, tbs_status_t s) {
         return (s == TBS_ST_OK || s == TBS_ST_FAILED) && o.file_type == PXINFO_FILE_OTHER &&
                o.captured.problems() == 0;
     }},
    // Without rows the log uuids decide.
    {"pxinfo_compare_pkt_dependencies",
     [](Outputs &o) { return status_of((o.order = pxinfo_compare_pkt_dependencies(&in->older, &in->newer)) == -1); },
     [](Outputs &o, tbs_status_t) { return o.order == 1; }},
    {"pxinfo_kv_packet_info_to_epoch_row",
     [](Outputs &o) { return pxinfo_kv_packet_info_to_epoch_row(&in->older, &o.row); },
     [](Outputs &o, tbs_status_t s) { return s == TBS_ST_NO_MEMORY && o.row.entries == nullptr; }},
    {"pxinfo_kv_pkt_header_to_epoch_row",
     [](Outputs &o) { return pxinfo_kv_pkt_header_to_epoch_row(&in->header, nullptr, &o.row); },
     [](Outputs &o, tbs_status_t s) { return s == TBS_ST_NO_MEMORY && o.row.entries == nullptr; }},
    {"imsg_list_create",
     [](Outputs &o) {
         imsg_list_destroy(o.list);
         return status_of((o.list = imsg_list_create()) != nullptr);
     },
     [](Outputs &, tbs_status_t s) { return s == TBS_ST_NO_MEMORY; }},
    // Both entries, one call each, then the end of the search.
    {"rgy_findbyuuid_entry",
     [](Outputs &o) {
         int indicator = 0;
         tbs_status_t status = TBS_ST_OK;
         for (int step = 0; step < 3 && status == TBS_ST_OK; ++step)
             status = rgy_findbyuuid_entry(RGY_CLASS_REPLICA, 0, RGY_KEY_UUID, sizeof in->registered, &in->registered,
                                           &o.cursor, RGY_FETCH_ENTRY, &o.entry, &indicator);
         return status != TBS_ST_OK || o.cursor == nullptr ? status : TBS_ST_FAILED;
     },
     [](Outputs &, tbs_status_t s) { return s == TBS_ST_NO_MEMORY; }},
    // Texts equal but for case stay equal.
    {"strutl_stricoll",
     [](Outputs &o) {
         CollationOfC_UTF8 collation;
         return status_of((o.order = strutl_stricoll("Alpha", "alpha")) == 0);
     },
     [](Outputs &o, tbs_status_t) { return o.order == 0; }},
    // A shallow copy is left.
    {"pxinfo_create_new_epoch_row", [](Outputs &o) { return pxinfo_create_new_epoch_row(&in->row, &o.row); },
     [](Outputs &o, tbs_status_t s) {
         return s == TBS_ST_NO_MEMORY && o.row.entries == in->row.entries && o.row.count == in->row.count;
     }},
    // Documented as success without a name.
    {"pxinfo_int_id_to_str",
     [](Outputs &o) {
         const tbs_status_t status = pxinfo_int_id_to_str(o.area, kColours, 1, o.name);
         return status == TBS_ST_OK && o.name == nullptr ? TBS_ST_NO_MEMORY : status;
     },
     [](Outputs &o, tbs_status_t s) { return s == TBS_ST_NO_MEMORY && o.name == nullptr; }},
    {"pxinfo_str_to_int_id",
     [](Outputs &o) {
         CollationOfC_UTF8 collation;
         return pxinfo_str_to_int_id(kColours, "GREEN", &o.id);
     },
     [](Outputs &o, tbs_status_t s) { return s == TBS_ST_OK && o.id == 3; }},
    {"pxinfo_str_to_ship_filetype",
     [](Outputs &o) {
         CollationOfC_UTF8 collation;
         return pxinfo_str_to_ship_filetype("KVUpdate", &o.file_type);
     },
     [](Outputs &o, tbs_status_t s) { return s == TBS_ST_OK && o.file_type == PXINFO_FILE_KVUPDATE; }},
    // The text that could not be copied is left out; the other is kept.
    {"pxinfo_msg_list_to_imsg_list",
     [](Outputs &o) {
         pxinfo_msg_list_to_imsg_list(&in->messages, o.list);
         return status_of(imsg_list_count(o.list) == in->messages.count);
     },
     [](Outputs &o, tbs_status_t) {
         const std::string kept = imsg_list_count(o.list) == 1 ? imsg_list_get(o.list, 0) : "";
         return kept == "first" || kept == "second";
     }},
    {"pxinfo_copy_st_sleepers", [](Outputs &o) { return pxinfo_copy_st_sleepers(&in->sleepers, o.area, &o.sleepers); },
     [](Outputs &o, tbs_status_t s) { return s == TBS_ST_NO_MEMORY && o.sleepers.points == nullptr; }},
    // Without the record buffer the record is still written whole.
    {"pxinfo_log_gm_sync_entry",
     [](Outputs &) {
         std::remove(log_path().c_str());
         const tbs_uuid_t family{{0x11}};
         pxinfo_log_gm_sync_entry(family, "tag", family, "importer", family, "exporter", "packet.pkt", in->row, in->row,
                                  PXINFO_SYNC_EXPORT, nullptr, TBS_ST_OK);
         const auto bytes = pxtest::read_file(log_path());
         const std::string text(bytes.begin(), bytes.end());
         const std::string ending =
             "\ndirection: export\nerror: " + std::string(tbs_strerror(TBS_ST_OK)) + "\n*****\n\n";
         return status_of(text.rfind("familu_uuid: ", 0) == 0 && text.size() > ending.size() &&
                          text.compare(text.size() - ending.size(), ending.size(), ending) == 0);
     },
     [](Outputs &, tbs_status_t s) { return s == TBS_ST_OK; }},
};

// Fresh configuration and log directories, so that the log lands in a place
// of the test's own.
class SweptOperations : public ::testing::TestWithParam<SweptRow> {
  public:
    static void SetUpTestSuite() {
        const std::string dir = pxtest::temp_path("fault-injection-logs");
        mkdir(dir.c_str(), 0700);
        setenv("PXINFO_LOG_DIR", dir.c_str(), 1);
        setenv("PXINFO_CONFIG_DIR", dir.c_str(), 1);
        in = new Inputs;
    }
    static void TearDownTestSuite() {
        pxinfo_free_kv_pkt_hdr(&in->header);
        stg_delete_area(&in->area);
        rgy_test_clear_entries();
        delete in;
        unsetenv("PXINFO_LOG_DIR");
        unsetenv("PXINFO_CONFIG_DIR");
    }
};

TEST_P(SweptOperations, EveryFailingAllocationEndsAsDocumentedWithoutLeaks) {
    const SweptRow &row = GetParam();
    std::unique_ptr<Outputs> outputs;
    tbs_status_t last = TBS_ST_FAILED;
    const size_t points = pxtest::sweep_allocation_failures(pxtest::SweptOperation{
        [&] { outputs = std::make_unique<Outputs>(); },
        [&] { return last = row.run(*outputs); },
        [&](tbs_status_t status, unsigned long nth) {
            EXPECT_TRUE(row.failed_as_documented(*outputs, status))
                << "allocation " << nth << " failing: status " << status << "\n"
                << outputs->captured.dump();
        },
        [&] { outputs.reset(); },
    });
    EXPECT_GE(points, 1u) << row.name << " allocates nothing";
    EXPECT_EQ(TBS_ST_OK, last) << "the run in which no allocation fails";
}

INSTANTIATE_TEST_SUITE_P(Table, SweptOperations, ::testing::ValuesIn(kRows),
                         [](const ::testing::TestParamInfo<SweptRow> &info) { return std::string(info.param.name); });

// Each seed is one record kind's number followed by a record of that kind.
// Decoding it with each allocation failing in turn must fail the decode, and
// freeing the record must then release everything the decode had made.
TEST(RecordDecoding, EveryFailingAllocationFailsTheDecodeWithoutLeaks) {
    const auto &kinds = pxfuzz::record_routines();
    const std::string dir = std::string(PXINFO_SOURCE_DIR) + "/fuzz/corpus/records";
    std::set<std::string> swept_kinds;
    DIR *listing = opendir(dir.c_str());
    ASSERT_NE(nullptr, listing);
    while (const dirent *file = readdir(listing)) {
        if (file->d_name[0] == '.') continue;
        const std::vector<unsigned char> bytes = pxtest::read_file(dir + "/" + file->d_name);
        ASSERT_TRUE(!bytes.empty() && bytes[0] < kinds.size()) << file->d_name;
        const pxfuzz::RecordRoutine &kind = kinds[bytes[0]];
        std::unique_ptr<pxfuzz::RecordBuffer> record;
        bool decoded = false;
        const size_t points = pxtest::sweep_allocation_failures(pxtest::SweptOperation{
            [&] { record = std::make_unique<pxfuzz::RecordBuffer>(kind.size); },
            [&] {
                size_t used = 0;
                decoded = pxfuzz::decode_record(kind, bytes.data() + 1, bytes.size() - 1, record->get(), &used);
                return decoded ? TBS_ST_OK : TBS_ST_FAILED;
            },
            [&](tbs_status_t status, unsigned long nth) { EXPECT_EQ(TBS_ST_FAILED, status) << nth << file->d_name; },
            [&] {
                xdr_ez_free(record->get(), kind.routine, 0);
                record.reset();
            },
        });
        EXPECT_TRUE(decoded) << file->d_name << " decodes when no allocation fails";
        if (points > 0) swept_kinds.insert(kind.name);
    }
    closedir(listing);
    // The records that arrive in files from other sites are among them.
    for (const char *name :
         {"xdr_pxinfo_family_epoch_status_t", "xdr_pxinfo_family_sync_status_t", "xdr_pxinfo_kv_pkt_header_0_t",
          "xdr_pxinfo_kv_pkt_header_2_t", "xdr_pxinfo_kv_pkt_header_t", "xdr_pxinfo_packet_info_t"})
        EXPECT_EQ(1u, swept_kinds.count(name)) << name;
}

}  // namespace
