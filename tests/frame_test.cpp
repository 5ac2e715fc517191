// The library frame: message catalogs, the version line, the trace gate and
// the traced-function guard, internal errors.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "pxinfo_frame_internal.h"
#include "pxinfo_msg.h"
#include "test_support.h"

namespace {

struct CatalogEntry {
    uint16_t number;
    const char *text;
};

// The catalogs as the product publishes them: catalog number and text of
// each index.
const CatalogEntry kPxinfoCatalog[] = {
    {17, "Name component \"%s\" too long to be part of a replica set selector.\n"},
    {18, "fread failed in syncmgr_dct_pkt_check()\n"},
    {19, "%s: packet version is too new.\n"},
    {20, "Unable to access \"%s\": %s\n"},
    {21, "\"%s\" is not a file\n"},
    {22, "Unable to open pkt file %s : %s\n"},
    {23, "Cannot check DCT packet header from \"%s\"\n"},
    {25, "Unable to create XDR stream for reading.\n"},
    {26, "Unable to create XDR stream for writing.\n"},
    {27, "Invalid file_type! \n"},
    {28, "env variable %s not allowed\n"},
    {29, "Cannot interpret the string \"%s\" as a synchronization manager job identifier.  Ignoring it.\n"},
    {30, "Attribute key not found for replica %s in registry\n"},
    {31, "Replica %s is not marked as REPLICATED in registry\n"},
    {32, "\"%s\" is unrecognizable to Korvane Plexion.\n"},
};
const CatalogEntry kKvPktCatalog[] = {
    {1, "Bad magic number on packet.\n"},
    {2, "Unable to decode packet header: unknown packet version %d\n"},
    {3, "Bad packet header checksum.  expected 0x%lx, found 0x%lx.\n"},
    {4, "Version mismatch, software:%d.%d, packet:%d.%d\n"},
    {5, "Error decoding xdr information (%s)\n"},
    {6, "Error encoding xdr information (%s)\n"},
    {11, "No sync packet header version matches feature level %d.\n"},
};
const CatalogEntry kShpOrderCatalog[] = {
    {1, "order file \"%s\": duplicate destination (%s)\n"},
    {2, "order file \"%s\": hostname too long (%s)\n"},
    {3, "order file \"%s\": delivery for unknown destination (%s)\n"},
    {4, "order file \"%s\": duplicate delivery for destination (%s)\n"},
    {5, "order file \"%s\": conflicting delivery/failure for destination (%s)\n"},
    {6, "order file \"%s\": failure for unknown destination (%s)\n"},
    {7, "order file \"%s\": invalid date/time specification (line %d)\n"},
    {8, "unable to write to shipping order file \"%s\": %s\n"},
    {9, "order file \"%s\": syntax error (line %d)\n"},
    {10, "order file \"%s\": missing section keyword (line %d)\n"},
    {11, "order file \"%s\": extra identifier (line %d)\n"},
    {12, "order file \"%s\": missing identifier (line %d)\n"},
    {13, "order file \"%s\": invalid identifier (line %d)\n"},
    {14, "order file \"%s\": extra creation date (line %d)\n"},
    {15, "order file \"%s\": missing creation date/time (line %d)\n"},
    {16, "order file \"%s\": missing creation string (line %d)\n"},
    {17, "order file \"%s\": extra expiration date (line %d)\n"},
    {18, "order file \"%s\": missing expiration date/time (line %d)\n"},
    {19, "order file \"%s\": missing expiration string (line %d)\n"},
    {20, "order file \"%s\": extra storage class specification (line %d)\n"},
    {21, "order file \"%s\": missing storage class name (line %d)\n"},
    {22, "order file \"%s\": extra original data pathname specification (line %d)\n"},
    {23, "order file \"%s\": missing data pathname (line %d)\n"},
    {24, "order file \"%s\": extra local data pathname specification (line %d)\n"},
    {25, "order file \"%s\": missing data pathname (line %d)\n"},
    {26, "order file \"%s\": multiple destination sections (line %d)\n"},
    {27, "order file \"%s\": missing destination host (line %d)\n"},
    {28, "order file \"%s\": multiple arrival route sections (line %d)\n"},
    {29, "order file \"%s\": missing arrival hop (line %d)\n"},
    {30, "order file \"%s\": missing arrival date/time (line %d)\n"},
    {31, "order file \"%s\": missing arrival date string (line %d)\n"},
    {32, "order file \"%s\": missing delivery date/time (line %d)\n"},
    {33, "order file \"%s\": missing delivery date string (line %d)\n"},
    {34, "order file \"%s\": missing delivery route (line %d)\n"},
    {35, "order file \"%s\": missing destination (line %d)\n"},
    {36, "order file \"%s\": multiple failure sections (line %d)\n"},
    {37, "order file \"%s\": missing failure type (line %d)\n"},
    {38, "order file \"%s\": unknown failure type (line %d)\n"},
    {39, "order file \"%s\": missing failure date/time (line %d)\n"},
    {40, "order file \"%s\": missing failure date string (line %d)\n"},
    {41, "order file \"%s\": multiple notification sections (line %d)\n"},
    {42, "order file \"%s\": missing address (line %d)\n"},
    {43, "order file \"%s\": multiple comment sections (line %d)\n"},
    {44, "order file \"%s\": unknown version\n"},
    {45, "order file \"%s\": unknown section type (line %d)\n"},
    {46, "order file \"%s\": invalid shipping order"},
    {47, "internal error: cannot parse file \"%s\" (line %d): %s\n"},
    {48, "Cannot read file \"%s\" (line %d): %s\n"},
    {49, "Line too long in file \"%s\" (line %d)\n"},
    {50, "order file \"%s\": multiple return route sections (line %d)\n"},
};

template <size_t N>
void expect_catalog(const imsg_msg_table_t &table, const char *component, uint16_t set_number,
                    const CatalogEntry (&expected)[N]) {
    EXPECT_STREQ("pxinfo_lib", table.catalog_name);
    EXPECT_STREQ(component, table.component_name);
    EXPECT_EQ(set_number, table.set_number);
    ASSERT_EQ(N, table.message_count);
    for (size_t i = 0; i < N; ++i) {
        EXPECT_EQ(expected[i].number, table.message_numbers[i]) << component << " index " << i;
        EXPECT_STREQ(expected[i].text, table.message_texts[i]) << component << " index " << i;
    }
}

TEST(Catalogs, EveryEntryMatchesThePublishedCatalog) {
    expect_catalog(_pxinfo_pxinfo_msg_table, "pxinfo", 1, kPxinfoCatalog);
    expect_catalog(_pxinfo_kv_pkt_pxinfo_msg_table, "pxinfo_kv_pkt", 3, kKvPktCatalog);
    expect_catalog(_pxinfo_shp_order_pxinfo_msg_table, "pxinfo_shp_order", 5, kShpOrderCatalog);
}

TEST(Catalogs, MessagesAreAddressedByIndexNotNumber) {
    pxtest::CapturedMessages captured;
    imsg_print(IMSG_SEV_ERROR, &_pxinfo_pxinfo_msg_table, 14, "frob");
    ASSERT_EQ(1u, captured.lines().size());
    EXPECT_EQ("\"frob\" is unrecognizable to Korvane Plexion.\n", captured.lines()[0].text);
    EXPECT_EQ("pxinfo", captured.lines()[0].component);
    EXPECT_EQ(IMSG_SEV_ERROR, captured.lines()[0].severity);
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

TEST(TraceGate, VerbosityTwoShowsOnlyFailureLocations) {
    pxtest::CapturedMessages captured(2, "pxinfo");
    traced_operation(TBS_ST_NOT_FOUND, true);
    ASSERT_EQ(1u, captured.lines().size()) << captured.dump();
    EXPECT_NE(std::string::npos, captured.lines()[0].text.find(": failed.\n"));
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

TEST(TraceGate, QuietCallsPrintNoProblemAndKeepTheirStatus) {
    pxtest::CapturedMessages loud;
    tbs_status_t loud_status = traced_operation(TBS_ST_FAILED, false);
    EXPECT_EQ(1u, loud.problems());
    pxtest::CapturedMessages quiet;
    EXPECT_EQ(loud_status, traced_operation(TBS_ST_FAILED, true));
    EXPECT_EQ(0u, quiet.problems());
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

}  // namespace
