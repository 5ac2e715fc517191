// Coding of the epoch and sync-status records: epoch rows, the replica and
// family status records of health files, sync attempts, status summaries,
// sleep points and messages.
#include "pxinfo_xdr.h"
#include "pxinfo_xdr_internal.h"

using pxinfo::xdr::Fields;

bool_t xdr_pxinfo_epoch_row_entry_s(XDR *xdrs, pxinfo_epoch_row_entry_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.field<xdr_pxinfo_epoch_num_t>(&record->epoch) && f.long32(&record->entry_value) &&
           f.field<xdr_pxinfo_selector_t>(&record->replica);
}
PXINFO_XDR_OUTER(xdr_pxinfo_epoch_row_entry_t, pxinfo_epoch_row_entry_t, xdr_pxinfo_epoch_row_entry_s)

bool_t xdr_pxinfo_epoch_row_s(XDR *xdrs, pxinfo_epoch_row_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.name(record->name) && f.hostname(record->host) && f.i32(&record->count) &&
           f.array<xdr_pxinfo_epoch_row_entry_t>(record->count, &record->entries) && f.i32(&record->row_value1) &&
           f.i32(&record->row_value2);
}
PXINFO_XDR_OUTER(xdr_pxinfo_epoch_row_t, pxinfo_epoch_row_t, xdr_pxinfo_epoch_row_s)

// One count word, then both arrays with that many elements.
bool_t xdr_pxinfo_replica_epoch_status_s(XDR *xdrs, pxinfo_replica_epoch_status_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.name(record->name) && f.field<xdr_pxinfo_selector_t>(&record->replica) && f.hostname(record->host) &&
           f.i32(&record->count) && f.array<pxinfo::xdr::code_long>(record->count, &record->times) &&
           f.array<xdr_pxinfo_epoch_num_t>(record->count, &record->epochs) && f.i32(&record->value);
}
PXINFO_XDR_OUTER(xdr_pxinfo_replica_epoch_status_t, pxinfo_replica_epoch_status_t, xdr_pxinfo_replica_epoch_status_s)

bool_t xdr_pxinfo_family_epoch_status_s(XDR *xdrs, pxinfo_family_epoch_status_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.long32(&record->timestamp) && f.i32(&record->count) &&
           f.array<xdr_pxinfo_replica_epoch_status_t>(record->count, &record->replicas);
}
PXINFO_XDR_OUTER(xdr_pxinfo_family_epoch_status_t, pxinfo_family_epoch_status_t, xdr_pxinfo_family_epoch_status_s)

bool_t xdr_pxinfo_sync_attempt_data_s(XDR *xdrs, pxinfo_sync_attempt_data_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.long32(&record->time) && f.field<xdr_pxinfo_sync_direction_t>(&record->direction) &&
           f.field<xdr_pxinfo_sync_transport_t>(&record->transport) && f.i32(&record->attempted) &&
           f.i32(&record->succeeded) && f.u32(&record->count) &&
           f.array<xdr_pxinfo_replica_info_t>(record->count, &record->replicas);
}
PXINFO_XDR_OUTER(xdr_pxinfo_sync_attempt_data_t, pxinfo_sync_attempt_data_t, xdr_pxinfo_sync_attempt_data_s)

// Host before selector, unlike the epoch status.
bool_t xdr_pxinfo_replica_sync_status_s(XDR *xdrs, pxinfo_replica_sync_status_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.name(record->name) && f.hostname(record->host) && f.field<xdr_pxinfo_selector_t>(&record->replica) &&
           f.field<xdr_ks_uint32_t>(&record->sync_value) && f.field<xdr_pxinfo_settings_level_t>(&record->level) &&
           f.i32(&record->count) && f.array<xdr_pxinfo_sync_attempt_data_t>(record->count, &record->attempts) &&
           f.i32(&record->last_status) && f.field<xdr_pxinfo_sync_status_value_t>(&record->status_value);
}
PXINFO_XDR_OUTER(xdr_pxinfo_replica_sync_status_t, pxinfo_replica_sync_status_t, xdr_pxinfo_replica_sync_status_s)

bool_t xdr_pxinfo_family_sync_status_s(XDR *xdrs, pxinfo_family_sync_status_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.long32(&record->timestamp) && f.i32(&record->count) &&
           f.array<xdr_pxinfo_replica_sync_status_t>(record->count, &record->replicas);
}
PXINFO_XDR_OUTER(xdr_pxinfo_family_sync_status_t, pxinfo_family_sync_status_t, xdr_pxinfo_family_sync_status_s)

bool_t xdr_pxinfo_sync_status_summary_s(XDR *xdrs, pxinfo_sync_status_summary_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.field<xdr_pxinfo_selector_t>(&record->replica) &&
           f.field<xdr_pxinfo_sync_status_value_t>(&record->status_value) && f.long32(&record->time);
}
PXINFO_XDR_OUTER(xdr_pxinfo_sync_status_summary_t, pxinfo_sync_status_summary_t, xdr_pxinfo_sync_status_summary_s)

bool_t xdr_pxinfo_st_sleep_points_s(XDR *xdrs, pxinfo_st_sleep_points_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.u32(&record->count) && f.array<xdr_pxinfo_one_sleep_point_t>(record->count, &record->points);
}
PXINFO_XDR_OUTER(xdr_pxinfo_st_sleep_points_t, pxinfo_st_sleep_points_t, xdr_pxinfo_st_sleep_points_s)

bool_t xdr_pxinfo_msg_s(XDR *xdrs, pxinfo_msg_t *record) {
    const Fields f(xdrs, 0);
    return f.string(&record->text) && f.u32(&record->text_len) && f.i32(&record->severity) &&
           xdr_timeval(xdrs, &record->time);
}
PXINFO_XDR_OUTER(xdr_pxinfo_msg_t, pxinfo_msg_t, xdr_pxinfo_msg_s)

bool_t xdr_pxinfo_msg_list_s(XDR *xdrs, pxinfo_msg_list_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.u32(&record->count) && f.array<xdr_pxinfo_msg_t>(record->count, &record->msgs);
}
PXINFO_XDR_OUTER(xdr_pxinfo_msg_list_t, pxinfo_msg_list_t, xdr_pxinfo_msg_list_s)
