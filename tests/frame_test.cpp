// The library frame: message catalogs, the version line, the trace gate and
// the traced-function guard, internal errors.
#include <gtest/gtest.h>

#include <cstring>
#include <map>

#include "pxinfo_frame_internal.h"
#include "pxinfo_msg.h"
#include "test_support.h"

namespace {

// The catalogs as the product publishes them: tests/data/catalogs.tsv.
TEST(Catalogs, EveryEntryMatchesThePublishedCatalog) {
    std::map<std::string, std::vector<std::vector<std::string>>> expected;
    for (const auto &row : pxtest::data_rows("catalogs.tsv")) { expected[row[0]].push_back(row); }
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

// The lines printed, each as "severity component text".
std::vector<std::string> printed(const pxtest::CapturedMessages &captured) {
    std::vector<std::string> lines;
    for (const auto &line : captured.lines()) {
        lines.push_back(std::to_string(line.severity) + " " + line.component + " " + line.text);
    }
    return lines;
}

TEST(VersionLine, PadsTheLibraryNameTo33ColumnsAndPrintsItAsOutput) {
    char buffer[256];
    const int length = libquentapxinfobase_sprintf_verid(buffer);
    const std::string line(buffer), start = "libquentapxinfobase" + std::string(15, ' ') + PXINFO_VERSION_STRING " (";
    // The build date, then ")\n".
    EXPECT_EQ(
        std::make_tuple(size_t{0}, start.size() + std::strlen("2026-11-24)\n"), std::string(")\n"), length),
        std::make_tuple(line.find(start), line.size(), line.substr(line.size() - 2), static_cast<int>(line.size())));
    pxtest::CapturedMessages captured;
    EXPECT_EQ(length, libquentapxinfobase_print_verid());
    EXPECT_EQ(std::vector<std::string>{"0  " + line}, printed(captured));
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

// What the traced operation prints at each verbosity and list of traced
// components; quiet calls print no problem and keep their status.
TEST(TraceGate, LinesByVerbosityComponentsAndQuietFlag) {
    const std::string into = "8 pxinfo into traced_operation..\n", detail = "8  checking 7\n",
                      error = "6 pxinfo_kv_pkt Bad magic number on packet.\n", exit = "8  exiting traced_operation..\n";
    const struct {
        int verbosity;
        const char *components;
        tbs_status_t status;
        bool quiet;
        std::vector<std::string> lines;  // "@" stands for the failure location
    } cases[] = {{5, "pxinfo", TBS_ST_FAILED, false, {into, detail, error, "@", exit}},
                 {2, "pxinfo", TBS_ST_NOT_FOUND, true, {"@"}},
                 {0, nullptr, TBS_ST_FAILED, false, {error}},
                 {0, nullptr, TBS_ST_FAILED, true, {}},
                 {5, nullptr, TBS_ST_FAILED, true, {}},
                 {5, "", TBS_ST_FAILED, true, {}},
                 {5, "pxinfo_kv_pkt,other", TBS_ST_FAILED, true, {}},
                 {3, "all", TBS_ST_OK, false, {into, exit}}};
    for (const auto &c : cases) {
        pxtest::CapturedMessages captured(c.verbosity, c.components);
        EXPECT_EQ(c.status, traced_operation(c.status, c.quiet));
        std::vector<std::string> expected = c.lines;
        for (std::string &line : expected) {
            if (line == "@") {
                line = "8 pxinfo " + std::string(kSource) + ":" + std::to_string(g_fail_line) + ": failed.\n";
            }
        }
        EXPECT_EQ(expected, printed(captured)) << c.verbosity << " " << (c.components ? c.components : "(none)");
    }
}

TEST(TraceGate, NamedOperationFailureFormAndInternalErrors) {
    pxtest::CapturedMessages captured(1, "pxinfo");
    {
        pxinfo::TraceScope scope("op", kSource);
        EXPECT_EQ(TBS_ST_NO_MEMORY, scope.fail_op(TBS_ST_NO_MEMORY, 12, "stg_alloc"));
        EXPECT_EQ(TBS_ST_OK, scope.fail_op(TBS_ST_OK, 13, "stg_alloc"));
    }
    const unsigned long before = tbs_int_error_count();
    pxinfo::log_int_error(kSource, 1, "pxinfo_selector_to_replica_hash");
    EXPECT_EQ(before + 1, tbs_int_error_count());
    EXPECT_EQ(
        (std::vector<std::string>{"8  " + std::string(kSource) +
                                      ":12: operation 'stg_alloc' failed: " + tbs_strerror(TBS_ST_NO_MEMORY) + ".\n",
                                  "6 pxinfo internal error: Internal error in pxinfo_selector_to_replica_hash.\n"}),
        printed(captured));
}

}  // namespace
