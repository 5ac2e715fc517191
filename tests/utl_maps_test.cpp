// Identifier and name maps: look-ups by name and by position, and the map of
// shipped file types.
#include <gtest/gtest.h>

#include <string>

#include "pxinfo_utl_maps.h"
#include "pxinfo_utl_maps_internal.h"
#include "test_support.h"

namespace {

// Ids deliberately differ from positions.
const pxinfo_id_and_name_map_entry_t kColours[] = {{7, "red"}, {3, "Green"}, {11, "blue"}, {0, nullptr}};

const char kInvalidFileType[] = "Invalid file_type! \n";

bool printed(const pxtest::CapturedMessages &messages, int severity, const std::string &text) {
    for (const pxtest::PrintedLine &line : messages.with_severity(severity)) {
        if (line.text == text) return true;
    }
    return false;
}

TEST(NameToId, MatchesRegardlessOfCaseAndStopsAtTheTerminator) {
    pxtest::CapturedMessages messages;
    int id = -1;
    EXPECT_EQ(TBS_ST_OK, pxinfo_str_to_int_id(kColours, "GREEN", &id));
    EXPECT_EQ(3, id);
    EXPECT_EQ(TBS_ST_OK, pxinfo_str_to_int_id(kColours, "bLuE", &id));
    EXPECT_EQ(11, id);

    id = -1;
    EXPECT_EQ(TBS_ST_NOT_FOUND, pxinfo_str_to_int_id(kColours, "gree", &id));
    EXPECT_EQ(TBS_ST_NOT_FOUND, pxinfo_str_to_int_id(kColours, "greens", &id));
    EXPECT_EQ(-1, id) << "the target is untouched when nothing matches";

    // An empty name terminates a table as well as a null one does.
    const pxinfo_id_and_name_map_entry_t short_table[] = {{1, "one"}, {2, ""}, {3, "three"}};
    EXPECT_EQ(TBS_ST_NOT_FOUND, pxinfo_str_to_int_id(short_table, "three", &id));
    EXPECT_EQ(0u, messages.problems()) << messages.dump();
}

TEST(NameToId, MissingArgumentsGiveInvalidArgWithSharedMessage46) {
    pxtest::CapturedMessages messages;
    int id = 0;
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_str_to_int_id(nullptr, "red", &id));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_str_to_int_id(kColours, nullptr, &id));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_str_to_int_id(kColours, "", &id));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_str_to_int_id(kColours, "red", nullptr));
    const auto errors = messages.with_severity(IMSG_SEV_ERROR);
    ASSERT_EQ(4u, errors.size()) << messages.dump();
    for (const auto &line : errors) {
        EXPECT_EQ("pxinfo", line.component);
        EXPECT_EQ("pxinfo_str_to_int_id: a required argument is missing.\n", line.text);
    }
}

TEST(ShipFileType, NamesMapToTheirTypesInAnyCase) {
    pxtest::CapturedMessages messages;
    const struct {
        const char *name;
        pxinfo_file_type_t type;
    } cases[] = {{"shorder", PXINFO_FILE_SHORDER},   {"KVCREATE", PXINFO_FILE_KVCREATE},
                 {"KvUpdate", PXINFO_FILE_KVUPDATE}, {"other", PXINFO_FILE_OTHER},
                 {"OTHER", PXINFO_FILE_OTHER},       {"oThEr", PXINFO_FILE_OTHER}};
    for (const auto &c : cases) {
        pxinfo_file_type_t type = static_cast<pxinfo_file_type_t>(0);
        EXPECT_EQ(TBS_ST_OK, pxinfo_str_to_ship_filetype(c.name, &type)) << c.name;
        EXPECT_EQ(c.type, type) << c.name;
    }
    EXPECT_EQ(0u, messages.problems()) << messages.dump();
}

TEST(ShipFileType, UnknownNameGivesNotFoundWithInvalidFileTypeMessage) {
    pxtest::CapturedMessages messages;
    pxinfo_file_type_t type = PXINFO_FILE_SHORDER;
    EXPECT_EQ(TBS_ST_NOT_FOUND, pxinfo_str_to_ship_filetype("kvcreates", &type));
    EXPECT_EQ(PXINFO_FILE_SHORDER, type);
    ASSERT_EQ(1u, messages.with_severity(IMSG_SEV_ERROR).size()) << messages.dump();
    EXPECT_TRUE(printed(messages, IMSG_SEV_ERROR, kInvalidFileType));
}

class PositionToName : public ::testing::Test {
  protected:
    void SetUp() override { area_ = stg_create_area(0); }
    void TearDown() override { stg_delete_area(&area_); }
    stg_area_t *area_ = nullptr;
};

TEST_F(PositionToName, PositionsOutsideTheTableGiveNotFound) {
    pxtest::CapturedMessages messages;
    char *name = nullptr;
    EXPECT_EQ(TBS_ST_NOT_FOUND, pxinfo_int_id_to_str(area_, pxinfo_ship_file_type_map, 4, name));
    EXPECT_EQ(TBS_ST_NOT_FOUND, pxinfo_int_id_to_str(area_, pxinfo_ship_file_type_map, 8, name));
    EXPECT_EQ(TBS_ST_NOT_FOUND, pxinfo_int_id_to_str(area_, pxinfo_ship_file_type_map, -1, name));
    const pxinfo_id_and_name_map_entry_t empty_first[] = {{5, ""}, {6, "six"}, {0, nullptr}};
    EXPECT_EQ(TBS_ST_NOT_FOUND, pxinfo_int_id_to_str(area_, empty_first, 0, name));
    EXPECT_EQ(nullptr, name);
    EXPECT_EQ(0u, messages.problems()) << messages.dump();
}

TEST_F(PositionToName, ExhaustedAreaLeavesNameNullWithStatusOk) {
    char *name = const_cast<char *>("stale");
    stg_fail_allocation(1);
    EXPECT_EQ(TBS_ST_OK, pxinfo_int_id_to_str(area_, kColours, 0, name));
    stg_fail_allocation(0);
    EXPECT_EQ(nullptr, name);
}

TEST(ShipFileType, EmptyNameGivesInvalidArgAndNotTheFileTypeMessage) {
    pxtest::CapturedMessages messages;
    pxinfo_file_type_t type = PXINFO_FILE_SHORDER;
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_str_to_ship_filetype("", &type));
    EXPECT_TRUE(printed(messages, IMSG_SEV_ERROR, "pxinfo_str_to_int_id: a required argument is missing.\n"))
        << messages.dump();
    EXPECT_FALSE(printed(messages, IMSG_SEV_ERROR, kInvalidFileType));
}

TEST_F(PositionToName, MissingTableGivesNotFoundWithMessage46) {
    pxtest::CapturedMessages messages;
    char *name = nullptr;
    EXPECT_EQ(TBS_ST_NOT_FOUND, pxinfo_int_id_to_str(area_, nullptr, 0, name));
    EXPECT_TRUE(printed(messages, IMSG_SEV_ERROR, "pxinfo_int_id_to_str: a required argument is missing.\n"))
        << messages.dump();
}

}  // namespace
