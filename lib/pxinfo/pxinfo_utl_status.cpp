// Sync status values of replicas and families, sync windows, sleep points.
#include "pxinfo_utl_status.h"

#include <climits>
#include <cstring>
#include <ctime>

#include "hash.h"
#include "pxinfo_frame_internal.h"
#include "pxinfo_utl_selector.h"

namespace {

constexpr const char *kSource = pxinfo::source::kUtl;

// A last status of the base services that counts as good besides 0.
constexpr int32_t kLastStatusAcceptable = 1033;

constexpr uint32_t kSecondsPerHour = 3600;

// A set of replica texts for one direction, deleted with the owner.
class ReplicaSet {
  public:
    explicit ReplicaSet(size_t size_hint) : table_(hash_str_create(size_hint, 0, HASH_STR_REENTER)) {}
    ~ReplicaSet() { hash_delete_ht(&table_); }
    ReplicaSet(const ReplicaSet &) = delete;
    ReplicaSet &operator=(const ReplicaSet &) = delete;

    bool created() const { return table_ != nullptr; }
    bool contains(const char *text) const { return hash_str_lookup(table_, text, nullptr, nullptr) != 0; }
    bool add(const char *text) { return hash_str_enter(table_, text, nullptr, nullptr) == 0; }

  private:
    hash_table_t *table_;
};

// Where the walk over the attempts stands.
enum class Walk { kGoOn, kFailedAttempt, kBroken };

// Applies one attempt to its direction's set: the first mention of a replica
// decides for it; a made and unsuccessful attempt ends the walk.
Walk apply_attempt(const pxinfo_sync_attempt_data_t &attempt, ReplicaSet &seen) {
    for (uint32_t i = 0; i < attempt.count; ++i) {
        char text[PXINFO_SELECTOR_STR_SIZE];
        if (pxinfo_selector_to_replica_str(&attempt.replicas[i].replica, text) == nullptr) {
            return Walk::kBroken;  // no text form: the record cannot be judged
        }
        if (seen.contains(text)) { continue; }
        if (attempt.attempted != 0 && attempt.succeeded == 0) { return Walk::kFailedAttempt; }
        if (!seen.add(text)) { return Walk::kBroken; }
    }
    return Walk::kGoOn;
}

pxinfo_sync_status_value_t judge_attempts(const pxinfo_replica_sync_status_t &record, bool &broken) {
    const size_t hint = static_cast<size_t>(record.count);
    ReplicaSet exported(hint);
    ReplicaSet imported(hint);
    if (!exported.created() || !imported.created()) {
        broken = true;
        return PXINFO_SYNC_STATUS_UNKNOWN;
    }
    for (int32_t i = 0; i < record.count; ++i) {
        const pxinfo_sync_attempt_data_t &attempt = record.attempts[i];
        ReplicaSet *seen = nullptr;
        if (attempt.direction == PXINFO_SYNC_EXPORT) {
            seen = &exported;
        } else if (attempt.direction == PXINFO_SYNC_IMPORT) {
            seen = &imported;
        } else {
            pxinfo::log_int_error(kSource, __LINE__, "pxinfo_compute_replica_sync_status_value");
            broken = true;
            return PXINFO_SYNC_STATUS_UNKNOWN;
        }
        switch (apply_attempt(attempt, *seen)) {
        case Walk::kGoOn: break;
        case Walk::kFailedAttempt: return PXINFO_SYNC_STATUS_FAILED;
        case Walk::kBroken: broken = true; return PXINFO_SYNC_STATUS_UNKNOWN;
        }
    }
    return PXINFO_SYNC_STATUS_OK;
}

}  // namespace

extern "C" {

PXINFO_API pxinfo_sync_status_value_t
pxinfo_compute_replica_sync_status_value(const pxinfo_replica_sync_status_t *record) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (record == nullptr) {
        pxinfo::log_int_error(kSource, __LINE__, scope.name());
        PXINFO_FAIL(scope, TBS_ST_INVALID_ARG);
        return PXINFO_SYNC_STATUS_UNKNOWN;
    }
    if (record->last_status != 0 && record->last_status != kLastStatusAcceptable) { return PXINFO_SYNC_STATUS_UNKNOWN; }
    if (record->count <= 0) { return PXINFO_SYNC_STATUS_OK; }
    bool broken = false;
    const pxinfo_sync_status_value_t value = judge_attempts(*record, broken);
    if (broken) { PXINFO_FAIL(scope, TBS_ST_FAILED); }
    return value;
}

PXINFO_API pxinfo_sync_status_value_t
pxinfo_compute_family_sync_status_value(const pxinfo_family_sync_status_t *record) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (record == nullptr) {
        pxinfo::print_shared(IMSG_SEV_ERROR, pxinfo::kTraceComponent, tbs::SharedMsg::kInternalError, scope.name());
        PXINFO_FAIL(scope, TBS_ST_INVALID_ARG);
        return PXINFO_SYNC_STATUS_INVALID;
    }
    pxinfo_sync_status_value_t value = PXINFO_SYNC_STATUS_OK;
    for (int32_t i = 0; i < record->count; ++i) {
        switch (record->replicas[i].status_value) {
        case PXINFO_SYNC_STATUS_OK: break;
        case PXINFO_SYNC_STATUS_UNKNOWN: value = PXINFO_SYNC_STATUS_UNKNOWN; break;
        case PXINFO_SYNC_STATUS_FAILED: return PXINFO_SYNC_STATUS_FAILED;
        default:
            pxinfo::print_shared(IMSG_SEV_ERROR, pxinfo::kTraceComponent, tbs::SharedMsg::kInternalError, scope.name());
            PXINFO_FAIL(scope, TBS_ST_FAILED);
            return PXINFO_SYNC_STATUS_INVALID;
        }
    }
    return value;
}

PXINFO_API tbs_status_t pxinfo_sync_window_to_date_time(uint32_t hours, uint32_t end_time, uint32_t *start_time) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    // Unsigned arithmetic wraps modulo 2^32, as the window's length is defined.
    const uint32_t window = hours * kSecondsPerHour;
    if (start_time == nullptr || window <= hours) { return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG); }
    const uint32_t end = end_time != 0 ? end_time : static_cast<uint32_t>(std::time(nullptr));
    *start_time = end - window;
    if (*start_time >= end) {
        return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG);  // reaches back before time zero
    }
    return TBS_ST_OK;
}

PXINFO_API int pxinfo_sync_attempt_data_cmp_by_time(const void *a, const void *b) {
    const int32_t time_a = static_cast<const pxinfo_sync_attempt_data_t *>(a)->time;
    const int32_t time_b = static_cast<const pxinfo_sync_attempt_data_t *>(b)->time;
    return time_a < time_b ? -1 : (time_a > time_b ? 1 : 0);
}

PXINFO_API int pxinfo_st_is_sleep_point(pxinfo_st_progress_t point, const pxinfo_st_sleep_points_t *table, int *value) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (value == nullptr || table == nullptr) {
        pxinfo::log_int_error(kSource, __LINE__, scope.name());
        return 0;
    }
    const int index = static_cast<int>(point);
    if (index < 0 || static_cast<uint32_t>(index) >= table->count) {
        *value = 0;
        return 0;
    }
    *value = table->points[index];
    return *value != 0 ? 1 : 0;
}

PXINFO_API tbs_status_t pxinfo_copy_st_sleepers(const pxinfo_st_sleep_points_t *source, stg_area_t *area,
                                                pxinfo_st_sleep_points_t *destination) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (source == nullptr || destination == nullptr) { return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG); }
    destination->count = source->count;
    if (source->count == 0) { return TBS_ST_OK; }
    destination->points = pxinfo::allocate_array<pxinfo_one_sleep_point_t>(area, source->count);
    if (destination->points == nullptr) { return PXINFO_FAIL(scope, TBS_ST_NO_MEMORY); }
    std::memcpy(destination->points, source->points, source->count * sizeof(pxinfo_one_sleep_point_t));
    return TBS_ST_OK;
}

}  // extern "C"
