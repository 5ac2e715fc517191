// The smaller utilities: sync status values of replicas and families, sync
// windows, the attempt order and the sleep point table; message lists
// (growth behind the hidden header, the storage area rules, exhaustion,
// printing and copying into a list of the message service); identifier and
// name maps, and the map of shipped file types.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <ctime>

#include "pxinfo_utl_maps.h"
#include "pxinfo_utl_maps_internal.h"
#include "pxinfo_utl_msglist.h"
#include "pxinfo_utl_msglist_internal.h"
#include "pxinfo_utl_status.h"
#include "tbs.h"
#include "test_support.h"

namespace {

// One sync attempt: direction (1 export, 2 import), whether it was made and
// succeeded, and the replicas it names by number.
struct Attempt {
    int direction, attempted, succeeded;
    std::vector<unsigned char> replicas;
};

// A replica sync status record of the attempts, whose arrays live with it.
struct Record {
    std::vector<pxinfo_sync_attempt_data_t> data;
    std::vector<std::vector<pxinfo_replica_info_t>> replicas;
    pxinfo_replica_sync_status_t status{};
    Record(const std::vector<Attempt> &attempts, int32_t last_status)
        : data(attempts.size()), replicas(attempts.size()) {
        for (size_t i = 0; i < attempts.size(); ++i) {
            for (unsigned char id : attempts[i].replicas) {
                replicas[i].emplace_back();
                replicas[i].back().replica.type = PXINFO_COMPONENT_VAULT;
                replicas[i].back().replica.u.vault.replica_oid.bytes[15] = id;
            }
            data[i].direction = static_cast<pxinfo_sync_direction_t>(attempts[i].direction);
            data[i].attempted = attempts[i].attempted;
            data[i].succeeded = attempts[i].succeeded;
            data[i].count = static_cast<uint32_t>(replicas[i].size());
            data[i].replicas = replicas[i].data();
        }
        status.count = static_cast<int32_t>(data.size());
        status.attempts = data.data();
        status.last_status = last_status;
        status.status_value = static_cast<pxinfo_sync_status_value_t>(77);
    }
};

// The last status decides first: 1033 or none look at the attempts, any
// other gives unknown. Then the first mention of each replica per direction
// decides (an attempt not made still counts), a failure deciding at once.
// An invalid direction met first is an internal error giving unknown.
TEST(ReplicaStatus, TheFirstMentionOfEachReplicaPerDirectionDecides) {
    const Attempt ok_r = {1, 1, 1, {1}}, failed_r = {1, 1, 0, {1}};
    const struct {
        std::vector<Attempt> attempts;
        int32_t last_status;
        int value;
    } rows[] = {{{}, 1033, PXINFO_SYNC_STATUS_OK},
                {{}, 0, PXINFO_SYNC_STATUS_OK},
                {{failed_r}, 5, PXINFO_SYNC_STATUS_UNKNOWN},
                {{ok_r}, -1, PXINFO_SYNC_STATUS_UNKNOWN},
                {{failed_r}, 1033, PXINFO_SYNC_STATUS_FAILED},
                {{ok_r, failed_r}, 0, PXINFO_SYNC_STATUS_OK},
                {{failed_r, ok_r}, 0, PXINFO_SYNC_STATUS_FAILED},
                {{ok_r, {2, 1, 0, {1}}}, 0, PXINFO_SYNC_STATUS_FAILED},
                {{{2, 0, 0, {1}}, {2, 1, 0, {1}}}, 0, PXINFO_SYNC_STATUS_OK},
                {{ok_r, {1, 1, 0, {1, 2}}}, 0, PXINFO_SYNC_STATUS_FAILED},
                {{ok_r, {1, 0, 1, {2}}, {1, 1, 0, {2, 1}}}, 0, PXINFO_SYNC_STATUS_OK},
                {{ok_r, {3, 1, 1, {2}}}, 0, PXINFO_SYNC_STATUS_UNKNOWN},
                {{{2, 1, 0, {1}}, {0, 1, 1, {1}}}, 0, PXINFO_SYNC_STATUS_FAILED}};
    pxtest::CapturedMessages messages;
    for (const auto &row : rows) {
        const Record record(row.attempts, row.last_status);
        EXPECT_EQ(row.value, pxinfo_compute_replica_sync_status_value(&record.status)) << &row - rows;
        EXPECT_EQ(77, record.status.status_value) << "the value is returned, not stored";
    }
    // One internal error, of the invalid direction.
    EXPECT_EQ("[6 pxinfo] internal error: Internal error in pxinfo_compute_replica_sync_status_value.\n",
              messages.dump());
    Record negative({failed_r}, 0);
    negative.status.count = -2;
    EXPECT_EQ(PXINFO_SYNC_STATUS_OK, pxinfo_compute_replica_sync_status_value(&negative.status));
    EXPECT_EQ(PXINFO_SYNC_STATUS_UNKNOWN, pxinfo_compute_replica_sync_status_value(nullptr));

    // Exhausted storage gives unknown, for both sets and the entries, and leaks nothing.
    const Record record({{1, 1, 1, {1, 2}}, {2, 1, 1, {1}}, failed_r}, 0);
    const size_t points = pxtest::sweep_allocation_failures(
        [&] {
            const auto value = pxinfo_compute_replica_sync_status_value(&record.status);
            return value == PXINFO_SYNC_STATUS_UNKNOWN ? TBS_ST_NO_MEMORY : TBS_ST_OK;
        },
        [](tbs_status_t status, unsigned long nth) { EXPECT_EQ(TBS_ST_NO_MEMORY, status) << nth; });
    EXPECT_GE(points, 3u);
}

// 4 outranks 2 and 2 outranks 3, the walk stopping at 4; an invalid value met
// first gives 0 with an internal error.
TEST(FamilyStatus, FailedOutranksUnknownWhichOutranksOk) {
    const std::pair<std::vector<int>, int> rows[] = {{{3, 2, 4}, 4}, {{4, 2}, 4},    {{2, 3}, 2},
                                                     {{3, 3, 2}, 2}, {{3, 3}, 3},    {{}, 3},
                                                     {{3, 4, 9}, 4}, {{3, 9, 4}, 0}, {{2, 0}, 0}};
    pxtest::CapturedMessages messages;
    for (const auto &row : rows) {
        std::vector<pxinfo_replica_sync_status_t> replicas(row.first.size());
        for (size_t i = 0; i < row.first.size(); ++i) {
            replicas[i].status_value = static_cast<pxinfo_sync_status_value_t>(row.first[i]);
        }
        const pxinfo_family_sync_status_t family = {0, static_cast<int32_t>(replicas.size()), replicas.data()};
        EXPECT_EQ(row.second, pxinfo_compute_family_sync_status_value(&family)) << &row - rows;
    }
    EXPECT_EQ(PXINFO_SYNC_STATUS_INVALID, pxinfo_compute_family_sync_status_value(nullptr));
    const std::string line = "[6 pxinfo] Internal error in pxinfo_compute_family_sync_status_value.\n";
    EXPECT_EQ(line + line + line, messages.dump());
}

// A window starts its hours before its end (now for an end of 0); a start
// that wraps, or hours of 0, are refused; a wrapped start is stored all the
// same. 1193047 hours are 4294969200 seconds, 1904 once wrapped.
TEST(SyncWindow, StartsHoursBeforeTheEnd) {
    pxtest::CapturedMessages messages(1, "pxinfo");
    const struct {
        uint32_t hours, end;
        tbs_status_t status;
        uint32_t start;
    } rows[] = {{24, 100000, TBS_ST_OK, 13600},
                {1, 3600, TBS_ST_OK, 0},
                {24, 50000, TBS_ST_INVALID_ARG, 50000u - 86400u},
                {1, 3599, TBS_ST_INVALID_ARG, 3599u - 3600u},
                {0, 100000, TBS_ST_INVALID_ARG, 7},
                {1193047, 100000, TBS_ST_INVALID_ARG, 7}};
    for (const auto &row : rows) {
        uint32_t start = 7;
        EXPECT_EQ(row.status, pxinfo_sync_window_to_date_time(row.hours, row.end, &start))
            << row.hours << " " << row.end;
        EXPECT_EQ(row.start, start) << row.hours << " " << row.end;
    }
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_sync_window_to_date_time(24, 100000, nullptr));
    EXPECT_EQ(5u, messages.with_severity(IMSG_SEV_TRACE).size()) << "one failure line each";
    uint32_t start = 0;
    const uint32_t before = static_cast<uint32_t>(std::time(nullptr));
    EXPECT_EQ(TBS_ST_OK, pxinfo_sync_window_to_date_time(2, 0, &start));
    EXPECT_TRUE(start >= before - 7200 && start <= static_cast<uint32_t>(std::time(nullptr)) - 7200) << start;
}

// Attempts order by their signed time (a qsort comparator).
TEST(AttemptOrder, BySignedTime) {
    const std::pair<int32_t, int32_t> pairs[] = {
        {INT32_MIN, -3}, {5, INT32_MAX}, {-3, 5}, {5, 5}, {INT32_MAX, INT32_MIN}};
    std::vector<int> orders;
    for (const auto &p : pairs) {
        pxinfo_sync_attempt_data_t a{}, b{};
        a.time = p.first;
        b.time = p.second;
        orders.push_back(pxinfo_sync_attempt_data_cmp_by_time(&a, &b));
    }
    EXPECT_EQ((std::vector<int>{-1, -1, -1, 0, 1}), orders);
}

// Only non-zero entries inside the table are sleep points; copies go into
// an area, an empty table keeping the destination's points.
TEST(SleepPoints, NonZeroEntriesInsideTheTableAndTheirCopies) {
    pxinfo_one_sleep_point_t points[] = {0, 7, -2, 5};
    const pxinfo_st_sleep_points_t table{3, points};
    std::string seen;
    for (int point : {1, 2, 0, -1, 3, INT32_MIN}) {
        int value = 99;
        const int is_point = pxinfo_st_is_sleep_point(static_cast<pxinfo_st_progress_t>(point), &table, &value);
        seen += std::to_string(is_point) + ":" + std::to_string(value) + " ";
    }
    EXPECT_EQ("1:7 1:-2 0:0 0:0 0:0 0:0 ", seen);
    pxtest::CapturedMessages messages;
    const unsigned long errors = tbs_int_error_count();
    EXPECT_EQ(0, pxinfo_st_is_sleep_point(static_cast<pxinfo_st_progress_t>(1), &table, nullptr));
    EXPECT_EQ(errors + 1, tbs_int_error_count());

    stg_area_t *area = stg_create_area(0);
    const pxinfo_st_sleep_points_t source{4, points}, empty{0, nullptr};
    pxinfo_st_sleep_points_t copy{0, nullptr};
    ASSERT_EQ(TBS_ST_OK, pxinfo_copy_st_sleepers(&source, area, &copy));
    ASSERT_TRUE(copy.count == 4 && copy.points != nullptr && copy.points != points);
    EXPECT_EQ(0, std::memcmp(points, copy.points, sizeof points));
    pxinfo_one_sleep_point_t *kept = copy.points;
    ASSERT_EQ(TBS_ST_OK, pxinfo_copy_st_sleepers(&empty, area, &copy));
    EXPECT_TRUE(copy.count == 0 && copy.points == kept);
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_copy_st_sleepers(nullptr, area, &copy));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_copy_st_sleepers(&source, area, nullptr));
    stg_delete_area(&area);
}

// The texts of a list, "-" for none, each followed by '|'; "none" without an array.
std::string texts_of(const pxinfo_msg_list_t &list) {
    std::string texts = list.msgs == nullptr ? "none" : "";
    if (list.msgs == nullptr) { return texts; }
    for (uint32_t i = 0; i < list.count; ++i) {
        texts += std::string(list.msgs[i].text ? list.msgs[i].text : "-") + "|";
    }
    return texts;
}
uintptr_t capacity_of(const pxinfo_msg_list_t &list) { return pxinfo::msg_array_header(list.msgs)->capacity; }

TEST(MsgList, AppendsDoubleTheCapacityKeepCopiesAndRefuseBadArguments) {
    stg_area_t *area = stg_create_area(0);
    pxinfo_msg_list_t list{0, nullptr};
    timeval before;
    gettimeofday(&before, nullptr);
    std::string capacities;
    for (const char *text : {"one", "two", "three", "four", "fives"}) {
        ASSERT_EQ(TBS_ST_OK, pxinfo_add_msg_to_list(10, text, area, &list));
        capacities += std::to_string(capacity_of(list));
    }
    EXPECT_EQ("12448", capacities);
    EXPECT_EQ("one|two|three|four|fives|", texts_of(list));
    EXPECT_EQ(sizeof(pxinfo_msg_t), pxinfo::msg_array_header(list.msgs)->record_size);
    EXPECT_EQ(area, pxinfo::msg_array_area(pxinfo::msg_array_header(list.msgs)));
    EXPECT_EQ(5u, list.msgs[4].text_len);
    EXPECT_EQ(10, list.msgs[4].severity);
    EXPECT_GE(list.msgs[4].time.tv_sec, before.tv_sec);
    const pxinfo_msg_list_t kept = list;
    for (stg_area_t *bad : {static_cast<stg_area_t *>(nullptr), STG_AREA_TEMP, area}) {
        for (unsigned severity : {11u, ~0u, 1u}) {
            EXPECT_EQ(TBS_ST_INVALID_ARG,
                      pxinfo_add_msg_to_list(severity, "x", bad, bad != area || severity != 1 ? &list : nullptr));
        }
    }
    EXPECT_EQ(kept.count, list.count);
    EXPECT_EQ(kept.msgs, list.msgs);

    stg_delete_area(&area);
    area = stg_create_area(0);
    // Every allocation failing in turn, of the array and text of a first
    // append and the growth and text of a second: no memory, nothing added,
    // and the list still takes a message.
    const size_t points = pxtest::sweep_allocation_failures(
        [&] {
            list = pxinfo_msg_list_t{0, nullptr};
            const tbs_status_t status = pxinfo_add_msg_to_list(4, "one", area, &list);
            return status != TBS_ST_OK ? status : pxinfo_add_msg_to_list(4, "two", area, &list);
        },
        [&](tbs_status_t status, unsigned long nth) {
            EXPECT_EQ(TBS_ST_NO_MEMORY, status) << nth;
            EXPECT_EQ(nth % 2 == 1 ? "none" : nth == 2 ? "" : "one|", texts_of(list)) << nth;
            EXPECT_EQ(TBS_ST_OK, pxinfo_add_msg_to_list(4, "next", area, &list));
            EXPECT_EQ(nth < 4 ? "next|" : "one|next|", texts_of(list)) << nth;
            stg_delete_area(&area);  // a fresh area, so that the block count is as before
            area = stg_create_area(0);
        });
    EXPECT_EQ(4u, points);
    EXPECT_EQ("one|two|", texts_of(list));

    // Messages without a text are kept but neither printed nor copied.
    list = pxinfo_msg_list_t{0, nullptr};
    const std::pair<const char *, unsigned> appended[] = {
        {"first", 4}, {nullptr, 6}, {"", 6}, {"second", 4}, {"last", 6}};
    for (const auto &a : appended) { ASSERT_EQ(TBS_ST_OK, pxinfo_add_msg_to_list(a.second, a.first, area, &list)); }
    EXPECT_EQ("first|-||second|last|", texts_of(list));
    EXPECT_EQ(0u, list.msgs[1].text_len);
    pxtest::CapturedMessages messages;
    pxinfo_print_msg_list(&list, 0);
    pxinfo_print_msg_list(&list, 4);  // from the fifth on
    EXPECT_EQ("[4 ] first[4 ] second[6 ] last[6 ] last", messages.dump());
    imsg_list_t *target = imsg_list_create();
    pxinfo_msg_list_to_imsg_list(&list, target);
    pxinfo_msg_list_to_imsg_list(&list, nullptr);
    pxinfo_msg_list_to_imsg_list(nullptr, target);
    ASSERT_EQ(3u, imsg_list_count(target));
    EXPECT_STREQ("first", imsg_list_get(target, 0));
    EXPECT_STREQ("last", imsg_list_get(target, 2));
    imsg_list_destroy(target);
    stg_delete_area(&area);
}

// An array of the temporary area, as arrays built elsewhere in the product
// may be, is a heap block that growth must free, also when growth fails.
TEST(MsgList, GrowingATemporaryArrayReleasesTheOldOne) {
    stg_area_t *area = stg_create_area(0);
    for (unsigned long failing : {0, 1}) {
        pxinfo_msg_list_t list{1, pxinfo::new_msg_array(STG_AREA_TEMP, 1)};
        ASSERT_NE(nullptr, list.msgs);
        list.msgs[0] = pxinfo_msg_t{const_cast<char *>("zero"), 4, IMSG_SEV_WARNING, {0, 0}};
        const unsigned long live = stg_live_block_count();
        stg_fail_allocation(failing);
        const char *texts[] = {"first", "second", "third"};
        for (int i = 0; i < (failing ? 1 : 3); ++i) { pxinfo_add_msg_to_list(4, texts[i], area, &list); }
        stg_fail_allocation(0);
        // Three texts in the area, the temporary arrays replacing each other;
        // or no array at all when growth failed.
        EXPECT_EQ(failing ? live - 1 : live + 3, stg_live_block_count());
        EXPECT_EQ(failing ? "none" : "zero|first|second|third|", texts_of(list));
        if (failing) { continue; }
        EXPECT_EQ(STG_AREA_TEMP, pxinfo::msg_array_area(pxinfo::msg_array_header(list.msgs)));
        EXPECT_EQ(4u, capacity_of(list));
        stg_free(pxinfo::msg_array_header(list.msgs));
    }
    stg_delete_area(&area);
}

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
    for (const auto &line : messages.with_severity(IMSG_SEV_ERROR)) {
        result += " [" + line.component + "] " + line.text;
    }
    return result;
}

tbs_status_t colour(const char *name, int *id) { return pxinfo_str_to_int_id(kColours, name, id); }
tbs_status_t no_table(const char *name, int *id) { return pxinfo_str_to_int_id(nullptr, name, id); }

TEST(NameToId, MatchesWholeNamesInAnyCaseBeforeTheTerminator) {
    const std::string missing = " [pxinfo] pxinfo_str_to_int_id: a required argument is missing.\n";
    EXPECT_EQ("0 3 0 11 0 7", by_name(colour, "GREEN") + " " + by_name(colour, "bLuE") + " " + by_name(colour, "red"));
    for (const char *unknown : {"gree", "greens", "six"}) { EXPECT_EQ("1002 -1", by_name(colour, unknown)) << unknown; }
    EXPECT_EQ("1072 -1" + missing, by_name(colour, ""));
    EXPECT_EQ("1072 -1" + missing, by_name(colour, nullptr));
    EXPECT_EQ("1072 -1" + missing, by_name(colour, "red", false));
    EXPECT_EQ("1072 -1" + missing, by_name(no_table, "red"));
    // Shipped file types; an unknown one has a message of its own, an empty one not.
    std::string types;
    for (const char *name : {"shorder", "KVCREATE", "KvUpdate", "oThEr"}) {
        types += by_name(pxinfo_str_to_ship_filetype, name) + "|";
    }
    EXPECT_EQ("0 1|0 2|0 3|0 8|", types);
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
    const pxinfo_id_and_name_map_entry_t ends_first[] = {{5, nullptr}, {6, "six"}};
    EXPECT_EQ(TBS_ST_NOT_FOUND, pxinfo_int_id_to_str(area, ends_first, 1, name)) << "the table ends before it";
    EXPECT_EQ(TBS_ST_NOT_FOUND, pxinfo_int_id_to_str(area, nullptr, 0, name));
    EXPECT_EQ("[6 pxinfo] pxinfo_int_id_to_str: a required argument is missing.\n", messages.dump());
    stg_delete_area(&area);
}

}  // namespace
