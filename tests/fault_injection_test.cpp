// Exhausted storage across the public interface: operations of the library
// that allocate are run with each of their allocations failing in turn, and
// every run must end in the operation's documented outcome with nothing
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

using pxfix::vault_selector;

// What the operations read and none changes: the sample packet header; two
// update packets whose rows order the first before the second while their log
// uuids order it after; an epoch row.
struct Inputs {
    pxfix::SampleHeader sample;
    pxinfo_replica_reference_t older_refs[2] = {{vault_selector(1), 0, 5, 0}, {vault_selector(2), 0, 3, 0}};
    pxinfo_replica_reference_t newer_refs[2] = {{vault_selector(1), 0, 5, 0}, {vault_selector(2), 0, 4, 0}};
    pxinfo_packet_info_t older = update_packet(older_refs, 0x77), newer = update_packet(newer_refs, 0x11);
    pxinfo_epoch_row_entry_t entries[2] = {{5, 0, vault_selector(1)}, {3, 0, vault_selector(2)}};
    pxinfo_epoch_row_t row{"", "", 2, entries, 0, 0};
    Inputs() { sample.header.sync_type = 1; }  // an update packet
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
    pxtest::CapturedMessages captured;
    int order = 0;
    pxinfo_epoch_row_t row{};
    imsg_list_t *list = nullptr;
    ~Outputs() {
        if (row.entries != in->row.entries) { pxinfo_free_new_epoch_row_entry(&row); }
        imsg_list_destroy(list);
    }
};

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
    // Without rows the log uuids decide.
    {"pxinfo_compare_pkt_dependencies",
     [](Outputs &o) { return status_of((o.order = pxinfo_compare_pkt_dependencies(&in->older, &in->newer)) == -1); },
     [](Outputs &o, tbs_status_t) { return o.order == 1; }},
    {"pxinfo_kv_packet_info_to_epoch_row",
     [](Outputs &o) { return pxinfo_kv_packet_info_to_epoch_row(&in->older, &o.row); },
     [](Outputs &o, tbs_status_t s) { return s == TBS_ST_NO_MEMORY && o.row.entries == nullptr; }},
    {"pxinfo_kv_pkt_header_to_epoch_row",
     [](Outputs &o) { return pxinfo_kv_pkt_header_to_epoch_row(&in->sample.header, nullptr, &o.row); },
     [](Outputs &o, tbs_status_t s) { return s == TBS_ST_NO_MEMORY && o.row.entries == nullptr; }},
    // A shallow copy is left.
    {"pxinfo_create_new_epoch_row", [](Outputs &o) { return pxinfo_create_new_epoch_row(&in->row, &o.row); },
     [](Outputs &o, tbs_status_t s) {
         return s == TBS_ST_NO_MEMORY && o.row.entries == in->row.entries && o.row.count == in->row.count;
     }},
    {"imsg_list_create", [](Outputs &o) { return status_of((o.list = imsg_list_create()) != nullptr); },
     [](Outputs &o, tbs_status_t s) { return s == TBS_ST_NO_MEMORY && o.list == nullptr; }},
    // Texts equal but for case stay equal when the lowered copies cannot be
    // made; comparing them needs storage outside the "C" locale.
    {"strutl_stricoll",
     [](Outputs &o) {
         const std::string previous = std::setlocale(LC_COLLATE, nullptr);
         EXPECT_NE(nullptr, std::setlocale(LC_COLLATE, "C.UTF-8"));
         o.order = strutl_stricoll("Alpha", "alpha");
         std::setlocale(LC_COLLATE, previous.c_str());
         return status_of(o.order == 0);
     },
     [](Outputs &o, tbs_status_t) { return o.order == 0; }},
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
        if (file->d_name[0] == '.') { continue; }
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
        if (points > 0) { swept_kinds.insert(kind.name); }
    }
    closedir(listing);
    // The records that arrive in files from other sites are among them.
    for (const char *name :
         {"xdr_pxinfo_family_epoch_status_t", "xdr_pxinfo_family_sync_status_t", "xdr_pxinfo_kv_pkt_header_0_t",
          "xdr_pxinfo_kv_pkt_header_2_t", "xdr_pxinfo_kv_pkt_header_t", "xdr_pxinfo_packet_info_t"}) {
        EXPECT_EQ(1u, swept_kinds.count(name)) << name;
    }
}

}  // namespace
