// Identifier and name maps: look-ups by name and by position, and the map of
// shipped file types.
#include <gtest/gtest.h>

#include "pxinfo_utl_maps.h"
#include "pxinfo_utl_maps_internal.h"
#include "test_support.h"

namespace {

// Ids deliberately differ from positions. A null name ends a table, as an
// empty one (which ends the table of shipped file types) does.
const pxinfo_id_and_name_map_entry_t kColours[] = {{7, "red"}, {3, "Green"}, {11, "blue"}, {5, nullptr}, {6, "six"}};

// What a look-up by name gives, "status id", then the error lines printed.
template <typename Id>
std::string by_name(tbs_status_t (*lookup)(const char *, Id *), const char *name, bool with_target = true) {
    pxtest::CapturedMessages messages;
    Id id = static_cast<Id>(-1);
    const tbs_status_t status = lookup(name, with_target ? &id : nullptr);
    std::string result = std::to_string(status) + " " + std::to_string(id);
    for (const auto &line : messages.with_severity(IMSG_SEV_ERROR)) result += " [" + line.component + "] " + line.text;
    return result;
}

tbs_status_t colour(const char *name, int *id) { return pxinfo_str_to_int_id(kColours, name, id); }
tbs_status_t no_table(const char *name, int *id) { return pxinfo_str_to_int_id(nullptr, name, id); }

TEST(NameToId, MatchesWholeNamesInAnyCaseBeforeTheTerminator) {
    const std::string missing = " [pxinfo] pxinfo_str_to_int_id: a required argument is missing.\n";
    EXPECT_EQ("0 3", by_name(colour, "GREEN"));
    EXPECT_EQ("0 11", by_name(colour, "bLuE"));
    EXPECT_EQ("0 7", by_name(colour, "red"));
    for (const char *unknown : {"gree", "greens", "six"}) EXPECT_EQ("1002 -1", by_name(colour, unknown)) << unknown;
    EXPECT_EQ("1072 -1" + missing, by_name(colour, ""));
    EXPECT_EQ("1072 -1" + missing, by_name(colour, nullptr));
    EXPECT_EQ("1072 -1" + missing, by_name(colour, "red", false));
    EXPECT_EQ("1072 -1" + missing, by_name(no_table, "red"));
    // Shipped file types; an unknown one has a message of its own, an empty one not.
    EXPECT_EQ("0 1", by_name(pxinfo_str_to_ship_filetype, "shorder"));
    EXPECT_EQ("0 2", by_name(pxinfo_str_to_ship_filetype, "KVCREATE"));
    EXPECT_EQ("0 3", by_name(pxinfo_str_to_ship_filetype, "KvUpdate"));
    EXPECT_EQ("0 8", by_name(pxinfo_str_to_ship_filetype, "oThEr"));
    EXPECT_EQ("1002 -1 [pxinfo] Invalid file_type! \n", by_name(pxinfo_str_to_ship_filetype, "kvcreates"));
    EXPECT_EQ("1072 -1" + missing, by_name(pxinfo_str_to_ship_filetype, ""));
}

TEST(PositionToName, CopiesTheNameIntoTheAreaOrGivesNotFound) {
    stg_area_t *area = stg_create_area(0);
    pxtest::CapturedMessages messages;
    for (int position : {0, 1, 2, 3, 4, 8, -1}) {
        char *name = nullptr;
        const bool inside = position >= 0 && position < 3;
        EXPECT_EQ(inside ? TBS_ST_OK : TBS_ST_NOT_FOUND, pxinfo_int_id_to_str(area, kColours, position, name));
        EXPECT_STREQ(inside ? kColours[position].name : nullptr, name) << position;
        EXPECT_TRUE(!inside || name != kColours[position].name) << "a copy";
    }
    EXPECT_EQ(0u, messages.lines().size());
    char *name = const_cast<char *>("stale");
    EXPECT_EQ(TBS_ST_NOT_FOUND, pxinfo_int_id_to_str(area, pxinfo_ship_file_type_map, 4, name));
    EXPECT_EQ(TBS_ST_NOT_FOUND, pxinfo_int_id_to_str(area, nullptr, 0, name));
    EXPECT_EQ("[6 pxinfo] pxinfo_int_id_to_str: a required argument is missing.\n", messages.dump());
    stg_fail_allocation(1);  // exhausted storage leaves no name but is no failure
    EXPECT_EQ(TBS_ST_OK, pxinfo_int_id_to_str(area, kColours, 0, name));
    stg_fail_allocation(0);
    EXPECT_EQ(nullptr, name);
    stg_delete_area(&area);
}

}  // namespace
