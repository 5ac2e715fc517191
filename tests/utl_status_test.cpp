// Sync status values of replicas and families, sync windows, the attempt
// order and the sleep point table.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

#include "pxinfo_utl_status.h"
#include "tbs.h"
#include "test_support.h"

namespace {

constexpr pxinfo_sync_direction_t kExport = PXINFO_SYNC_EXPORT;
constexpr pxinfo_sync_direction_t kImport = PXINFO_SYNC_IMPORT;

pxinfo_replica_info_t replica(unsigned char id) {
    pxinfo_replica_info_t info{};
    info.replica.type = PXINFO_COMPONENT_VAULT;
    info.replica.u.vault.vault_oid.bytes[0] = 0xf0;
    info.replica.u.vault.replica_oid.bytes[15] = id;
    return info;
}

// Builds replica sync status records whose attempts and replica lists stay
// alive with the builder.
class History {
  public:
    History &attempt(pxinfo_sync_direction_t direction, int attempted, int succeeded,
                     std::vector<unsigned char> replica_ids) {
        std::vector<pxinfo_replica_info_t> replicas;
        for (unsigned char id : replica_ids) replicas.push_back(replica(id));
        replicas_.push_back(replicas);
        pxinfo_sync_attempt_data_t data{};
        data.direction = direction;
        data.attempted = attempted;
        data.succeeded = succeeded;
        attempts_.push_back(data);
        return *this;
    }
    History &succeeded(pxinfo_sync_direction_t direction, std::vector<unsigned char> ids) {
        return attempt(direction, 1, 1, ids);
    }
    History &failed(pxinfo_sync_direction_t direction, std::vector<unsigned char> ids) {
        return attempt(direction, 1, 0, ids);
    }

    pxinfo_replica_sync_status_t record(int32_t last_status = 0) {
        for (size_t i = 0; i < attempts_.size(); ++i) {
            attempts_[i].count = static_cast<uint32_t>(replicas_[i].size());
            attempts_[i].replicas = replicas_[i].data();
        }
        pxinfo_replica_sync_status_t status{};
        status.count = static_cast<int32_t>(attempts_.size());
        status.attempts = attempts_.data();
        status.last_status = last_status;
        status.status_value = static_cast<pxinfo_sync_status_value_t>(77);
        return status;
    }
    pxinfo_sync_status_value_t value(int32_t last_status = 0) {
        const pxinfo_replica_sync_status_t status = record(last_status);
        return pxinfo_compute_replica_sync_status_value(&status);
    }

  private:
    std::vector<pxinfo_sync_attempt_data_t> attempts_;
    std::vector<std::vector<pxinfo_replica_info_t>> replicas_;
};

constexpr unsigned char R = 1;
constexpr unsigned char S = 2;

TEST(ReplicaStatus, LastStatusDecidesBeforeTheAttempts) {
    EXPECT_EQ(PXINFO_SYNC_STATUS_OK, History().value(1033));
    EXPECT_EQ(PXINFO_SYNC_STATUS_OK, History().value(0));
    EXPECT_EQ(PXINFO_SYNC_STATUS_UNKNOWN, History().failed(kExport, {R}).value(5));
    EXPECT_EQ(PXINFO_SYNC_STATUS_UNKNOWN, History().succeeded(kExport, {R}).value(-1));
    EXPECT_EQ(PXINFO_SYNC_STATUS_FAILED, History().failed(kExport, {R}).value(1033));

    History history;
    pxinfo_replica_sync_status_t negative = history.failed(kExport, {R}).record();
    negative.count = -2;
    EXPECT_EQ(PXINFO_SYNC_STATUS_OK, pxinfo_compute_replica_sync_status_value(&negative));
}

TEST(ReplicaStatus, FirstMentionPerDirectionDecides) {
    EXPECT_EQ(PXINFO_SYNC_STATUS_OK, History().succeeded(kExport, {R}).failed(kExport, {R}).value());
    EXPECT_EQ(PXINFO_SYNC_STATUS_FAILED, History().failed(kExport, {R}).succeeded(kExport, {R}).value());
    // Each direction keeps its own record of replicas.
    EXPECT_EQ(PXINFO_SYNC_STATUS_FAILED, History().succeeded(kExport, {R}).failed(kImport, {R}).value());
    // An attempt that was not made still counts as the first mention.
    EXPECT_EQ(PXINFO_SYNC_STATUS_OK, History().attempt(kImport, 0, 0, {R}).failed(kImport, {R}).value());
    // A failed attempt decides for every replica it mentions first.
    EXPECT_EQ(PXINFO_SYNC_STATUS_FAILED, History().succeeded(kExport, {R}).failed(kExport, {R, S}).value());
    EXPECT_EQ(PXINFO_SYNC_STATUS_OK,
              History().succeeded(kExport, {R}).attempt(kExport, 0, 1, {S}).failed(kExport, {S, R}).value());
}

TEST(ReplicaStatus, ExhaustedStorageGivesTwoWithoutLeaks) {
    History history;
    const pxinfo_replica_sync_status_t status =
        history.succeeded(kExport, {R, S}).succeeded(kImport, {R}).failed(kExport, {R}).record();
    const size_t points = pxtest::sweep_allocation_failures(
        [&] {
            return pxinfo_compute_replica_sync_status_value(&status) == PXINFO_SYNC_STATUS_UNKNOWN ? TBS_ST_NO_MEMORY
                                                                                                   : TBS_ST_OK;
        },
        [](tbs_status_t status, unsigned long nth) { EXPECT_EQ(TBS_ST_NO_MEMORY, status) << nth; });
    EXPECT_GE(points, 3u) << "both sets and the entries can fail";
    EXPECT_EQ(PXINFO_SYNC_STATUS_OK, pxinfo_compute_replica_sync_status_value(&status));
}

pxinfo_sync_status_value_t family_value(std::vector<int> values) {
    std::vector<pxinfo_replica_sync_status_t> replicas(values.size());
    for (size_t i = 0; i < values.size(); ++i)
        replicas[i].status_value = static_cast<pxinfo_sync_status_value_t>(values[i]);
    pxinfo_family_sync_status_t family{};
    family.count = static_cast<int32_t>(values.size());
    family.replicas = replicas.data();
    return pxinfo_compute_family_sync_status_value(&family);
}

TEST(FamilyStatus, FourOutranksTwoAndTwoOutranksThree) {
    pxtest::CapturedMessages messages;
    EXPECT_EQ(PXINFO_SYNC_STATUS_FAILED, family_value({3, 2, 4}));
    EXPECT_EQ(PXINFO_SYNC_STATUS_FAILED, family_value({4, 2}));
    EXPECT_EQ(PXINFO_SYNC_STATUS_UNKNOWN, family_value({2, 3}));
    EXPECT_EQ(PXINFO_SYNC_STATUS_UNKNOWN, family_value({3, 3, 2}));
    EXPECT_EQ(PXINFO_SYNC_STATUS_OK, family_value({3, 3}));
    EXPECT_EQ(PXINFO_SYNC_STATUS_OK, family_value({}));
    EXPECT_EQ(PXINFO_SYNC_STATUS_FAILED, family_value({3, 4, 9})) << "the walk stops at 4";
    EXPECT_EQ(0u, messages.problems()) << messages.dump();
}

TEST(FamilyStatus, InvalidValueMetFirstGivesZeroWithMessage38) {
    pxtest::CapturedMessages messages;
    EXPECT_EQ(PXINFO_SYNC_STATUS_INVALID, family_value({3, 9, 4}));
    EXPECT_EQ(PXINFO_SYNC_STATUS_INVALID, family_value({2, 0}));
    EXPECT_EQ(PXINFO_SYNC_STATUS_INVALID, pxinfo_compute_family_sync_status_value(nullptr));
    const auto errors = messages.with_severity(IMSG_SEV_ERROR);
    ASSERT_EQ(3u, errors.size()) << messages.dump();
    EXPECT_EQ("Internal error in pxinfo_compute_family_sync_status_value.\n", errors[0].text);
    EXPECT_EQ("pxinfo", errors[0].component);
}

TEST(SyncWindow, StartsHoursBeforeTheEnd) {
    uint32_t start = 0;
    EXPECT_EQ(TBS_ST_OK, pxinfo_sync_window_to_date_time(24, 100000, &start));
    EXPECT_EQ(13600u, start);
    EXPECT_EQ(TBS_ST_OK, pxinfo_sync_window_to_date_time(1, 3600, &start));
    EXPECT_EQ(0u, start) << "a window may start at time zero";

    const uint32_t before = static_cast<uint32_t>(std::time(nullptr));
    EXPECT_EQ(TBS_ST_OK, pxinfo_sync_window_to_date_time(2, 0, &start));
    const uint32_t after = static_cast<uint32_t>(std::time(nullptr));
    EXPECT_GE(start, before - 7200);
    EXPECT_LE(start, after - 7200);
}

TEST(SyncWindow, RejectedWindowsGiveInvalidArg) {
    pxtest::CapturedMessages messages(1, "pxinfo");
    uint32_t start = 7;
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_sync_window_to_date_time(24, 50000, &start));
    EXPECT_EQ(50000u - 86400u, start) << "the wrapped start is stored all the same";
    start = 7;
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_sync_window_to_date_time(1, 3599, &start));
    start = 7;
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_sync_window_to_date_time(0, 100000, &start));
    EXPECT_EQ(7u, start);
    // 1193047 hours are 4294969200 seconds, 1904 once wrapped: not more than
    // the hours, so refused.
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_sync_window_to_date_time(1193047, 100000, &start));
    EXPECT_EQ(7u, start);
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_sync_window_to_date_time(24, 100000, nullptr));
    EXPECT_EQ(5u, messages.with_severity(IMSG_SEV_TRACE).size()) << "one failure line each\n" << messages.dump();
}

TEST(AttemptOrder, SortsBySignedTime) {
    std::vector<pxinfo_sync_attempt_data_t> attempts(5);
    const int32_t times[] = {5, INT32_MIN, 5, INT32_MAX, -3};
    for (size_t i = 0; i < attempts.size(); ++i) attempts[i].time = times[i];
    std::qsort(attempts.data(), attempts.size(), sizeof attempts[0], pxinfo_sync_attempt_data_cmp_by_time);
    std::vector<int32_t> sorted;
    for (const auto &a : attempts) sorted.push_back(a.time);
    EXPECT_EQ((std::vector<int32_t>{INT32_MIN, -3, 5, 5, INT32_MAX}), sorted);
    EXPECT_EQ(-1, pxinfo_sync_attempt_data_cmp_by_time(&attempts[0], &attempts[4]));
    EXPECT_EQ(1, pxinfo_sync_attempt_data_cmp_by_time(&attempts[4], &attempts[0]));
    EXPECT_EQ(0, pxinfo_sync_attempt_data_cmp_by_time(&attempts[2], &attempts[3]));
}

TEST(SleepPoints, OnlyNonZeroEntriesInsideTheTableAreSleepPoints) {
    pxinfo_one_sleep_point_t points[] = {0, 7, -2};
    const pxinfo_st_sleep_points_t table{3, points};
    const struct {
        int point;
        int result;
        int value;
    } cases[] = {{1, 1, 7}, {2, 1, -2}, {0, 0, 0}, {-1, 0, 0}, {3, 0, 0}, {INT32_MIN, 0, 0}};
    for (const auto &c : cases) {
        int value = 99;
        EXPECT_EQ(c.result, pxinfo_st_is_sleep_point(static_cast<pxinfo_st_progress_t>(c.point), &table, &value))
            << c.point;
        EXPECT_EQ(c.value, value) << c.point;
    }
    pxtest::CapturedMessages messages;
    const unsigned long errors_before = tbs_int_error_count();
    EXPECT_EQ(0, pxinfo_st_is_sleep_point(static_cast<pxinfo_st_progress_t>(1), &table, nullptr));
    EXPECT_EQ(errors_before + 1, tbs_int_error_count());
}

class SleeperCopy : public ::testing::Test {
  protected:
    void SetUp() override { area_ = stg_create_area(0); }
    void TearDown() override { stg_delete_area(&area_); }
    stg_area_t *area_ = nullptr;
};

TEST_F(SleeperCopy, CopiesIntoTheAreaAndReportsRefusalsAndExhaustion) {
    pxinfo_one_sleep_point_t points[] = {0, 1, 0, 5};
    const pxinfo_st_sleep_points_t source{4, points};
    pxinfo_st_sleep_points_t copy{0, nullptr};
    ASSERT_EQ(TBS_ST_OK, pxinfo_copy_st_sleepers(&source, area_, &copy));
    EXPECT_EQ(4u, copy.count);
    ASSERT_NE(nullptr, copy.points);
    EXPECT_NE(points, copy.points);
    EXPECT_EQ(0, std::memcmp(points, copy.points, sizeof points));

    // An empty table keeps the destination's points.
    const pxinfo_st_sleep_points_t empty{0, nullptr};
    pxinfo_one_sleep_point_t *kept = copy.points;
    ASSERT_EQ(TBS_ST_OK, pxinfo_copy_st_sleepers(&empty, area_, &copy));
    EXPECT_EQ(0u, copy.count);
    EXPECT_EQ(kept, copy.points);

    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_copy_st_sleepers(nullptr, area_, &copy));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_copy_st_sleepers(&source, area_, nullptr));
    stg_fail_allocation(1);
    EXPECT_EQ(TBS_ST_NO_MEMORY, pxinfo_copy_st_sleepers(&source, area_, &copy));
    stg_fail_allocation(0);
    EXPECT_EQ(4u, copy.count);
    EXPECT_EQ(nullptr, copy.points);
}

TEST(ReplicaStatus, InvalidDirectionIsAnInternalErrorGivingTwo) {
    pxtest::CapturedMessages messages;
    const unsigned long errors_before = tbs_int_error_count();
    History history;
    const pxinfo_replica_sync_status_t status =
        history.succeeded(kExport, {R}).attempt(static_cast<pxinfo_sync_direction_t>(3), 1, 1, {S}).record();
    EXPECT_EQ(PXINFO_SYNC_STATUS_UNKNOWN, pxinfo_compute_replica_sync_status_value(&status));
    EXPECT_EQ(errors_before + 1, tbs_int_error_count());
    ASSERT_EQ(1u, messages.with_severity(IMSG_SEV_ERROR).size()) << messages.dump();
    EXPECT_NE(std::string::npos,
              messages.with_severity(IMSG_SEV_ERROR)[0].text.find("pxinfo_compute_replica_sync_status_value"));
    EXPECT_EQ(77, static_cast<int>(status.status_value)) << "the value is returned, not stored";

    // A failure met first ends the walk before the invalid direction.
    EXPECT_EQ(PXINFO_SYNC_STATUS_FAILED,
              History().failed(kImport, {R}).attempt(static_cast<pxinfo_sync_direction_t>(0), 1, 1, {R}).value());
    EXPECT_EQ(errors_before + 1, tbs_int_error_count());
    EXPECT_EQ(PXINFO_SYNC_STATUS_UNKNOWN, pxinfo_compute_replica_sync_status_value(nullptr));
    EXPECT_EQ(errors_before + 2, tbs_int_error_count());
}

}  // namespace
