/* Sync status values of replicas and families, sync windows, and the table of
 * sleep points. */
#ifndef PXINFO_UTL_STATUS_H
#define PXINFO_UTL_STATUS_H

#include <stdint.h>

#include <pxinfo/pxinfo_msg.h>
#include <pxinfo/pxinfo_xdr.h>
#include <pxinfo/stg.h>
#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* The sync status value of one replica from its attempts, taken in array
 * order: per direction, the first attempt that mentions a replica decides for
 * it, and an attempt that was made and did not succeed gives FAILED (4).
 * UNKNOWN (2) when last_status is neither 0 nor 1033 or the record cannot be
 * judged (a null record included); else OK (3). The record is not
 * changed. */
PXINFO_API pxinfo_sync_status_value_t
pxinfo_compute_replica_sync_status_value(const pxinfo_replica_sync_status_t *record);

/* The sync status value of a family from the stored values of its replicas:
 * 4 anywhere wins, else 2 anywhere, else 3; a value outside 2, 3 and 4 met
 * before any 4 gives INVALID (0) with an error message. */
PXINFO_API pxinfo_sync_status_value_t
pxinfo_compute_family_sync_status_value(const pxinfo_family_sync_status_t *record);

/* The start of a window of hours ending at end_time (seconds since the epoch;
 * 0 means now), stored in *start_time. TBS_ST_INVALID_ARG for a null
 * start_time, a window of 0 hours or one whose length in seconds overflows,
 * and for a window reaching back before time zero (*start_time is then still
 * stored). */
PXINFO_API tbs_status_t pxinfo_sync_window_to_date_time(uint32_t hours, uint32_t end_time, uint32_t *start_time);

/* Orders two pxinfo_sync_attempt_data_t by time (signed): -1, 0 or +1. Takes
 * untyped pointers so that it can be handed to qsort directly. */
PXINFO_API int pxinfo_sync_attempt_data_cmp_by_time(const void *a, const void *b);

/* 1 when point is a sleep point of table (its entry is non-zero), else 0. The
 * entry, or 0 for a point outside the table, is stored in *value. A null value
 * or table is an internal error and gives 0. */
PXINFO_API int pxinfo_st_is_sleep_point(pxinfo_st_progress_t point, const pxinfo_st_sleep_points_t *table, int *value);

/* Copies the sleep point table source into destination, the points in
 * storage of area. A count of 0 leaves destination->points as it was.
 * TBS_ST_INVALID_ARG for a null source or destination; TBS_ST_NO_MEMORY when
 * the area cannot supply the points (destination->points is then null). */
PXINFO_API tbs_status_t pxinfo_copy_st_sleepers(const pxinfo_st_sleep_points_t *source, stg_area_t *area,
                                                pxinfo_st_sleep_points_t *destination);

TBS_EXTERN_C_END

#endif
