/* The sync activity log: one record per import or export of a packet,
 * appended to "gm_log" in the product's log directory when
 * "services/gm_log.conf" in its configuration directory switches it on. */
#ifndef PXINFO_UTL_SYNCLOG_H
#define PXINFO_UTL_SYNCLOG_H

#include <pxinfo/pxinfo_msg.h>
#include <pxinfo/pxinfo_xdr.h>
#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* 1 when the first line of the switch file contains "LOG=TRUE", else 0 (also
 * when the file is missing or unreadable). */
PXINFO_API int pxinfo_do_gm_logging(void);

/* Appends one record to the log, whatever the switch says. Absent or empty
 * texts are written as "unavailable"; an absent or empty error text as the
 * text of status. Direction PXINFO_SYNC_EXPORT is written as export, any
 * other value as import. Failures are not reported (a log that cannot be
 * opened gives a warning under trace level 4). */
PXINFO_API void pxinfo_log_gm_sync_entry(tbs_uuid_t family_uuid, const char *local_tag,
                                         tbs_uuid_t importing_replica_uuid, const char *importing_replica_name,
                                         tbs_uuid_t exporting_replica_uuid, const char *exporting_replica_name,
                                         const char *packet_name, pxinfo_epoch_row_t packet_epoch_row,
                                         pxinfo_epoch_row_t replica_epoch_row, pxinfo_sync_direction_t direction,
                                         const char *error_text, tbs_status_t status);

TBS_EXTERN_C_END

#endif
