// The library frame: message catalogs, the version line, the trace gate and
// the traced-function guard, internal errors.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "pxinfo_frame_internal.h"
#include "pxinfo_msg.h"
#include "test_support.h"

namespace {

// The catalogs as the product publishes them: tests/data/catalogs.tsv.
TEST(Catalogs, EveryEntryMatchesThePublishedCatalog) {
    std::map<std::string, std::vector<std::vector<std::string>>> expected;
    for (const auto &row : pxtest::data_rows("catalogs.tsv")) expected[row[0]].push_back(row);
    for (const imsg_msg_table_t *table :
         {&_pxinfo_pxinfo_msg_table, &_pxinfo_kv_pkt_pxinfo_msg_table, &_pxinfo_shp_order_pxinfo_msg_table}) {
        const auto &rows = expected[table->component_name];
        EXPECT_STREQ("pxinfo_lib", table->catalog_name);
        ASSERT_EQ(rows.size(), table->message_count) << table->component_name;
        for (size_t i = 0; i < rows.size(); ++i) {
            EXPECT_EQ(std::stoi(rows[i][1]), table->set_number);
            EXPECT_EQ(std::stoi(rows[i][2]), table->message_numbers[i]) << rows[i][0] << " index " << i;
            EXPECT_EQ(rows[i][3], table->message_texts[i]) << rows[i][0] << " index " << i;
        }
    }
}

TEST(VersionLine, PadsTheLibraryNameTo33Columns) {
    char buffer[256];
    int length = libquentapxinfobase_sprintf_verid(buffer);
    std::string line(buffer);
    EXPECT_EQ(static_cast<int>(line.size()), length);
    EXPECT_EQ(0u, line.find("libquentapxinfobase              "));
    EXPECT_EQ(' ', line[33]);
    EXPECT_NE(' ', line[34]);
    EXPECT_EQ('\n', line.back());
    EXPECT_NE(std::string::npos, line.find(" ("));

    pxtest::CapturedMessages captured;
    EXPECT_EQ(length, libquentapxinfobase_print_verid());
    ASSERT_EQ(1u, captured.lines().size());
    EXPECT_EQ(IMSG_SEV_OUTPUT, captured.lines()[0].severity);
    EXPECT_EQ(line, captured.lines()[0].text);
}

constexpr const char *kSource = "lib/pxinfo/frame_test";

// A traced function that fails at a known line with the given status.
int g_fail_line = 0;
tbs_status_t traced_operation(tbs_status_t status, bool quiet) {
    pxinfo::TraceScope scope("traced_operation", kSource);
    pxinfo::trace_detail(pxinfo::kTraceDetail, "checking %d\n", 7);
    if (status != TBS_ST_OK) {
        pxinfo::print_msg(quiet, IMSG_SEV_ERROR, _pxinfo_kv_pkt_pxinfo_msg_table, 0);
        g_fail_line = __LINE__ + 1;
        return PXINFO_FAIL(scope, status);
    }
    return TBS_ST_OK;
}

TEST(TraceGate, EntryExitAndDetailAtFullVerbosity) {
    pxtest::CapturedMessages captured(5, "pxinfo");
    EXPECT_EQ(TBS_ST_FAILED, traced_operation(TBS_ST_FAILED, false));
    ASSERT_EQ(5u, captured.lines().size()) << captured.dump();
    EXPECT_EQ("into traced_operation..\n", captured.lines()[0].text);
    EXPECT_EQ("pxinfo", captured.lines()[0].component);
    EXPECT_EQ("checking 7\n", captured.lines()[1].text);
    EXPECT_EQ("Bad magic number on packet.\n", captured.lines()[2].text);
    EXPECT_EQ("lib/pxinfo/frame_test:" + std::to_string(g_fail_line) + ": failed.\n", captured.lines()[3].text);
    EXPECT_EQ(IMSG_SEV_TRACE, captured.lines()[3].severity);
    EXPECT_EQ("exiting traced_operation..\n", captured.lines()[4].text);
    EXPECT_EQ("", captured.lines()[4].component);
}

TEST(TraceGate, NamedOperationFailureForm) {
    pxtest::CapturedMessages captured(1, "pxinfo");
    {
        pxinfo::TraceScope scope("op", kSource);
        scope.fail_op(TBS_ST_NO_MEMORY, 12, "stg_alloc");
        scope.fail_op(TBS_ST_OK, 13, "stg_alloc");
    }
    ASSERT_EQ(1u, captured.lines().size());
    EXPECT_EQ(std::string("lib/pxinfo/frame_test:12: operation 'stg_alloc' failed: ") + tbs_strerror(TBS_ST_NO_MEMORY) +
                  ".\n",
              captured.lines()[0].text);
}

TEST(InternalErrors, LoggedWithSharedMessage38AndCounted) {
    pxtest::CapturedMessages captured;
    unsigned long before = tbs_int_error_count();
    pxinfo::log_int_error(kSource, 1, "pxinfo_selector_to_replica_hash");
    EXPECT_EQ(before + 1, tbs_int_error_count());
    ASSERT_EQ(1u, captured.lines().size());
    EXPECT_EQ(IMSG_SEV_ERROR, captured.lines()[0].severity);
    EXPECT_EQ("internal error: Internal error in pxinfo_selector_to_replica_hash.\n", captured.lines()[0].text);
    EXPECT_EQ("pxinfo", captured.lines()[0].component);
}

TEST(TraceGate, VerbosityTwoShowsOnlyFailureLocations) {
    pxtest::CapturedMessages captured(2, "pxinfo");
    traced_operation(TBS_ST_NOT_FOUND, true);
    ASSERT_EQ(1u, captured.lines().size()) << captured.dump();
    EXPECT_NE(std::string::npos, captured.lines()[0].text.find(": failed.\n"));
}

TEST(TraceGate, QuietCallsPrintNoProblemAndKeepTheirStatus) {
    pxtest::CapturedMessages loud;
    tbs_status_t loud_status = traced_operation(TBS_ST_FAILED, false);
    EXPECT_EQ(1u, loud.problems());
    pxtest::CapturedMessages quiet;
    EXPECT_EQ(loud_status, traced_operation(TBS_ST_FAILED, true));
    EXPECT_EQ(0u, quiet.problems());
}

TEST(TraceGate, NothingTracedWhenTheComponentIsNotListed) {
    for (const char *components : {static_cast<const char *>(nullptr), "", "pxinfo_kv_pkt,other"}) {
        pxtest::CapturedMessages captured(5, components);
        traced_operation(TBS_ST_FAILED, true);
        EXPECT_TRUE(captured.lines().empty()) << captured.dump();
    }
    pxtest::CapturedMessages all(3, "all");
    traced_operation(TBS_ST_OK, false);
    EXPECT_EQ(2u, all.lines().size());
}

}  // namespace
