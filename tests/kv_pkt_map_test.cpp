// Packet headers: feature levels to protocol versions, major versions to
// layouts, sync types to file types and back.
#include <gtest/gtest.h>

#include <string>

#include "pfm.h"
#include "pxinfo_kv_pkt.h"
#include "tbs.h"
#include "test_support.h"

namespace {

using pxtest::CapturedMessages;

std::string unknown_version_message(int major) {
    return "Unable to decode packet header: unknown packet version " + std::to_string(major) + "\n";
}

TEST(KvPktMapping, FeatureLevelsAndMajorVersions) {
    CapturedMessages messages;
    const int protocol[][2] = {{0, 1}, {1, 2}, {3, 0}, {4, 0}, {5, 0}, {6, 0}, {7, 0}};
    for (int level = 0; level <= 6; ++level) {
        int major = -1, minor = -1;
        pxinfo_map_flevel_to_protocol_versions(level, &major, &minor);
        EXPECT_EQ(protocol[level][0], major);
        EXPECT_EQ(protocol[level][1], minor);
    }
    const int layout[] = {0, 2, 2, 2, 2, 2, 3, 3};
    for (int major = 0; major <= 7; ++major) {
        pxinfo_kv_pkt_header_type_t type = PXINFO_KV_PKT_HEADER_TYPE_1;
        EXPECT_EQ(TBS_ST_OK, pxinfo_kv_pkt_major_version_to_header_type(major, 0, &type));
        EXPECT_EQ(layout[major], type);
    }
    EXPECT_EQ(0u, messages.lines().size()) << messages.dump();
    for (int major : {8, -1}) {
        for (int quiet = 0; quiet <= 1; ++quiet) {
            messages.clear();
            pxinfo_kv_pkt_header_type_t type = PXINFO_KV_PKT_HEADER_TYPE_1;
            EXPECT_EQ(TBS_ST_FAILED, pxinfo_kv_pkt_major_version_to_header_type(major, quiet, &type));
            EXPECT_EQ(PXINFO_KV_PKT_HEADER_TYPE_1, type);
            if (quiet) {
                EXPECT_EQ(0u, messages.lines().size());
            } else {
                ASSERT_EQ(1u, messages.lines().size());
                EXPECT_EQ(IMSG_SEV_ERROR, messages.lines()[0].severity);
                EXPECT_EQ("pxinfo_kv_pkt", messages.lines()[0].component);
                EXPECT_EQ(unknown_version_message(major), messages.lines()[0].text);
            }
        }
    }
}

TEST(KvPktMapping, SyncTypesAndFileTypes) {
    EXPECT_EQ(PXINFO_FILE_KVUPDATE, pxinfo_kv_pkt_sync_type_to_file_type(1));
    EXPECT_EQ(PXINFO_FILE_KVCREATE, pxinfo_kv_pkt_sync_type_to_file_type(2));
    for (int other : {0, 3, -1}) EXPECT_EQ(PXINFO_FILE_OTHER, pxinfo_kv_pkt_sync_type_to_file_type(other));
    for (pxinfo_file_type_t type : {PXINFO_FILE_KVCREATE, PXINFO_FILE_KVUPDATE})
        EXPECT_EQ(type, pxinfo_kv_pkt_sync_type_to_file_type(pxinfo_kv_pkt_file_type_to_sync_type(type)));
    for (pxinfo_file_type_t type : {PXINFO_FILE_SHORDER, PXINFO_FILE_OTHER, static_cast<pxinfo_file_type_t>(0)})
        EXPECT_EQ(0, pxinfo_kv_pkt_file_type_to_sync_type(type));
}

TEST(KvPktMapping, UnknownFeatureLevelIsAnInternalError) {
    for (int level : {7, -1}) {
        CapturedMessages messages;
        const unsigned long errors = tbs_int_error_count(), asserts = pfm_assert_fail_count();
        int major = 55, minor = 66;
        pxinfo_map_flevel_to_protocol_versions(level, &major, &minor);
        EXPECT_EQ(55, major);
        EXPECT_EQ(0, minor);
        EXPECT_EQ(errors + 1, tbs_int_error_count());
        EXPECT_EQ(asserts + 1, pfm_assert_fail_count());
        ASSERT_EQ(2u, messages.lines().size()) << messages.dump();
        EXPECT_EQ("pxinfo_kv_pkt", messages.lines()[0].component);
        EXPECT_EQ(
            "internal error: No sync packet header version matches feature level " + std::to_string(level) + ".\n",
            messages.lines()[0].text);
        EXPECT_EQ(0u, messages.lines()[1].text.find("assertion failed: FALSE (lib/pxinfo/pxinfo_kv_pkt:"));
    }
}

}  // namespace

#include <fstream>

namespace {

// The internal error of an unknown feature level is logged on the line just
// before its assertion, and both name the file that holds them.
TEST(KvPktMappingLocation, UnknownFeatureLevelNamesTheReportingStatements) {
    std::ifstream source(PXINFO_SOURCE_DIR "/lib/pxinfo/pxinfo_kv_pkt.cpp");
    std::string previous, current;
    int line = 1;
    for (; std::getline(source, current) && current.find("PXINFO_ASSERT_FAIL(\"FALSE\"") == std::string::npos; ++line)
        previous = current;
    EXPECT_NE(std::string::npos, previous.find("tbs_log_int_error(")) << previous;
    pxtest::CapturedMessages messages;
    int major = 0, minor = 0;
    pxinfo_map_flevel_to_protocol_versions(9, &major, &minor);
    ASSERT_FALSE(messages.lines().empty());
    EXPECT_EQ("assertion failed: FALSE (lib/pxinfo/pxinfo_kv_pkt:" + std::to_string(line) + ")\n",
              messages.lines().back().text);
}

}  // namespace
