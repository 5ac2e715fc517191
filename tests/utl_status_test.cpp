// Sync status values of replicas and families, sync windows, the attempt
// order and the sleep point table.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>

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
        unsigned long errors;
    } rows[] = {{{}, 1033, PXINFO_SYNC_STATUS_OK, 0},
                {{}, 0, PXINFO_SYNC_STATUS_OK, 0},
                {{failed_r}, 5, PXINFO_SYNC_STATUS_UNKNOWN, 0},
                {{ok_r}, -1, PXINFO_SYNC_STATUS_UNKNOWN, 0},
                {{failed_r}, 1033, PXINFO_SYNC_STATUS_FAILED, 0},
                {{ok_r, failed_r}, 0, PXINFO_SYNC_STATUS_OK, 0},
                {{failed_r, ok_r}, 0, PXINFO_SYNC_STATUS_FAILED, 0},
                {{ok_r, {2, 1, 0, {1}}}, 0, PXINFO_SYNC_STATUS_FAILED, 0},
                {{{2, 0, 0, {1}}, {2, 1, 0, {1}}}, 0, PXINFO_SYNC_STATUS_OK, 0},
                {{ok_r, {1, 1, 0, {1, 2}}}, 0, PXINFO_SYNC_STATUS_FAILED, 0},
                {{ok_r, {1, 0, 1, {2}}, {1, 1, 0, {2, 1}}}, 0, PXINFO_SYNC_STATUS_OK, 0},
                {{ok_r, {3, 1, 1, {2}}}, 0, PXINFO_SYNC_STATUS_UNKNOWN, 1},
                {{{2, 1, 0, {1}}, {0, 1, 1, {1}}}, 0, PXINFO_SYNC_STATUS_FAILED, 0}};
    pxtest::CapturedMessages messages;
    for (const auto &row : rows) {
        const Record record(row.attempts, row.last_status);
        const unsigned long errors = tbs_int_error_count();
        EXPECT_EQ(row.value, pxinfo_compute_replica_sync_status_value(&record.status)) << &row - rows;
        EXPECT_EQ(errors + row.errors, tbs_int_error_count()) << &row - rows;
        EXPECT_EQ(77, record.status.status_value) << "the value is returned, not stored";
    }
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
        for (size_t i = 0; i < row.first.size(); ++i)
            replicas[i].status_value = static_cast<pxinfo_sync_status_value_t>(row.first[i]);
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

TEST(AttemptOrder, SortsBySignedTime) {
    std::vector<pxinfo_sync_attempt_data_t> attempts(5);
    const int32_t times[] = {5, INT32_MIN, 5, INT32_MAX, -3};
    for (size_t i = 0; i < attempts.size(); ++i) attempts[i].time = times[i];
    std::qsort(attempts.data(), attempts.size(), sizeof attempts[0], pxinfo_sync_attempt_data_cmp_by_time);
    std::vector<int32_t> sorted;
    for (const auto &a : attempts) sorted.push_back(a.time);
    EXPECT_EQ((std::vector<int32_t>{INT32_MIN, -3, 5, 5, INT32_MAX}), sorted);
    EXPECT_EQ((std::vector<int>{-1, 1, 0}),
              (std::vector<int>{pxinfo_sync_attempt_data_cmp_by_time(&attempts[0], &attempts[4]),
                                pxinfo_sync_attempt_data_cmp_by_time(&attempts[4], &attempts[0]),
                                pxinfo_sync_attempt_data_cmp_by_time(&attempts[2], &attempts[3])}));
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
    stg_fail_allocation(1);
    EXPECT_EQ(TBS_ST_NO_MEMORY, pxinfo_copy_st_sleepers(&source, area, &copy));
    stg_fail_allocation(0);
    EXPECT_TRUE(copy.count == 4 && copy.points == nullptr);
    stg_delete_area(&area);
}

}  // namespace
