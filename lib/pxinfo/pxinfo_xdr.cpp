// Coding of the enumerations and scalar codes and of the identity and
// selector records. Every inner routine is the list of its record's fields.
#include <cstring>

#include "pxinfo_xdr.h"
#include "pxinfo_xdr_internal.h"

using pxinfo::xdr::Fields;

// ---- Enumerations -----------------------------------------------------------

PXINFO_XDR_ENUM(pxinfo_component_type_t, xdr_pxinfo_component_type_s, xdr_pxinfo_component_type_t)
PXINFO_XDR_ENUM(pxinfo_packet_type_t, xdr_pxinfo_packet_type_e, xdr_pxinfo_packet_type_t)
PXINFO_XDR_ENUM(pxinfo_compress_type_t, xdr_pxinfo_compress_type_e, xdr_pxinfo_compress_type_t)
PXINFO_XDR_ENUM(pxinfo_st_progress_t, xdr_pxinfo_st_progress_e, xdr_pxinfo_st_progress_t)
PXINFO_XDR_ENUM(pxinfo_setting_type_t, xdr_pxinfo_setting_type_e, xdr_pxinfo_setting_type_t)
PXINFO_XDR_ENUM(pxinfo_sync_status_value_t, xdr_pxinfo_sync_status_value_s, xdr_pxinfo_sync_status_value_t)
PXINFO_XDR_ENUM(pxinfo_sync_transport_t, xdr_pxinfo_sync_transport_s, xdr_pxinfo_sync_transport_t)
PXINFO_XDR_ENUM(pxinfo_sync_direction_t, xdr_pxinfo_sync_direction_s, xdr_pxinfo_sync_direction_t)
PXINFO_XDR_ENUM(pxinfo_settings_level_t, xdr_pxinfo_settings_level_e, xdr_pxinfo_settings_level_t)
PXINFO_XDR_ENUM(pxinfo_file_type_t, xdr_pxinfo_file_type_e, xdr_pxinfo_file_type_t)
PXINFO_XDR_ENUM(pxinfo_sync_job_id_validity_t, xdr_pxinfo_sync_job_id_validity_e, xdr_pxinfo_sync_job_id_validity_t)

// ---- Scalars ----------------------------------------------------------------

bool_t xdr_pxinfo_epoch_num_t(XDR *xdrs, pxinfo_epoch_num_t *value) { return pxinfo::xdr::code_u_long(xdrs, value); }

bool_t xdr_pxinfo_sync_job_id_t(XDR *xdrs, pxinfo_sync_job_id_t *value, int extra) {
    return pxinfo::xdr::as_bool(xdr_ks_uint32_t(xdrs, value, extra));
}

bool_t xdr_pxinfo_one_sleep_point_t(XDR *xdrs, pxinfo_one_sleep_point_t *value) {
    return pxinfo::xdr::as_bool(xdr_int(xdrs, value));
}

// ---- Identity and selector records ------------------------------------------

// The inline buffer is the string's storage; on a freeing stream no pointer
// is handed over, so the buffer is never released.
bool_t xdr_pxinfo_uuid_str_t(XDR *xdrs, char *buffer) {
    char *text = xdrs->x_op == XDR_FREE ? nullptr : buffer;
    return pxinfo::xdr::as_bool(xdr_ez_string8(xdrs, &text, PXINFO_UUID_STR_MAX));
}

bool_t xdr_pxinfo_sync_job_id_pair_s(XDR *xdrs, pxinfo_sync_job_id_pair_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.uuid(&record->job_uuid) && f.field<xdr_pxinfo_sync_job_id_t>(&record->local_jobid) &&
           f.field<xdr_pxinfo_sync_job_id_validity_t>(&record->validity);
}
PXINFO_XDR_OUTER(xdr_pxinfo_sync_job_id_pair_t, pxinfo_sync_job_id_pair_t, xdr_pxinfo_sync_job_id_pair_s)

bool_t xdr_pxinfo_sync_job_id_pair_list_s(XDR *xdrs, pxinfo_sync_job_id_pair_list_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.u32(&record->count) && f.array<xdr_pxinfo_sync_job_id_pair_t>(record->count, &record->pairs);
}
PXINFO_XDR_OUTER(xdr_pxinfo_sync_job_id_pair_list_t, pxinfo_sync_job_id_pair_list_t, xdr_pxinfo_sync_job_id_pair_list_s)

bool_t xdr_pxinfo_selector_vault_s(XDR *xdrs, pxinfo_selector_vault_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.uuid(&record->vault_oid) && f.uuid(&record->replica_oid);
}
PXINFO_XDR_OUTER(xdr_pxinfo_selector_vault_t, pxinfo_selector_vault_t, xdr_pxinfo_selector_vault_s)

bool_t xdr_pxinfo_selector_bb_s(XDR *xdrs, pxinfo_selector_bb_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.name(record->family) && f.name(record->clan) && f.name(record->replica_set) &&
           f.field<xdr_pxinfo_uuid_str_t>(record->replica_set_uuid);
}
PXINFO_XDR_OUTER(xdr_pxinfo_selector_bb_t, pxinfo_selector_bb_t, xdr_pxinfo_selector_bb_s)

// The tag, then the arm it names. Any other tag carries no body; a decoded
// selector with such a tag gets an all-zero body rather than stale bytes.
bool_t xdr_pxinfo_selector_t(XDR *xdrs, pxinfo_selector_t *selector, int extra) {
    if (!xdr_pxinfo_component_type_t(xdrs, &selector->type, extra)) { return FALSE; }
    switch (selector->type) {
    case PXINFO_COMPONENT_VAULT: return xdr_pxinfo_selector_vault_t(xdrs, &selector->u.vault, extra);
    case PXINFO_COMPONENT_BB: return xdr_pxinfo_selector_bb_t(xdrs, &selector->u.bb, extra);
    default:
        if (xdrs->x_op == XDR_DECODE) { std::memset(&selector->u, 0, sizeof selector->u); }
        return TRUE;
    }
}

bool_t xdr_pxinfo_replica_set_selector_s(XDR *xdrs, pxinfo_replica_set_selector_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.name(record->clan) && f.name(record->replica_set) &&
           f.field<xdr_pxinfo_uuid_str_t>(record->replica_set_uuid);
}
PXINFO_XDR_OUTER(xdr_pxinfo_replica_set_selector_t, pxinfo_replica_set_selector_t, xdr_pxinfo_replica_set_selector_s)

bool_t xdr_pxinfo_replica_reference_s(XDR *xdrs, pxinfo_replica_reference_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.field<xdr_pxinfo_selector_t>(&record->replica) && f.long32(&record->ref_value) &&
           f.field<xdr_pxinfo_epoch_num_t>(&record->start_epoch) && f.field<xdr_pxinfo_epoch_num_t>(&record->end_epoch);
}
PXINFO_XDR_OUTER(xdr_pxinfo_replica_reference_t, pxinfo_replica_reference_t, xdr_pxinfo_replica_reference_s)

bool_t xdr_pxinfo_replica_info_s(XDR *xdrs, pxinfo_replica_info_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.field<xdr_pxinfo_selector_t>(&record->replica) && f.string(&record->name) && f.string(&record->extra_name);
}
PXINFO_XDR_OUTER(xdr_pxinfo_replica_info_t, pxinfo_replica_info_t, xdr_pxinfo_replica_info_s)

bool_t xdr_pxinfo_rep_info_pair_s(XDR *xdrs, pxinfo_rep_info_pair_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.field<xdr_pxinfo_selector_t>(&record->first) && f.field<xdr_pxinfo_selector_t>(&record->second);
}
PXINFO_XDR_OUTER(xdr_pxinfo_rep_info_pair_t, pxinfo_rep_info_pair_t, xdr_pxinfo_rep_info_pair_s)

bool_t xdr_pxinfo_nvpair_s(XDR *xdrs, pxinfo_nvpair_t *record) {
    const Fields f(xdrs, 0);
    return f.string(&record->name) && f.string(&record->value);
}
PXINFO_XDR_OUTER(xdr_pxinfo_nvpair_t, pxinfo_nvpair_t, xdr_pxinfo_nvpair_s)
