// Coding of the packet header records in their four layouts, their target
// and replica descriptors, the operation-log descriptor and the header
// code's enumerations. Every inner routine is the list of its fields.
#include "pxinfo_kv_pkt_xdr.h"
#include "pxinfo_xdr_internal.h"

using pxinfo::xdr::Fields;

// ---- Enumerations -----------------------------------------------------------

PXINFO_XDR_ENUM(pxinfo_kv_pkt_header_type_t, xdr_pxinfo_kv_pkt_header_type_e, xdr_pxinfo_kv_pkt_header_type_t)
PXINFO_XDR_ENUM(pxinfo_kv_pkt_major_version_t, xdr_pxinfo_kv_pkt_major_version_e, xdr_pxinfo_kv_pkt_major_version_t)
PXINFO_XDR_ENUM(pxinfo_kv_oplog_descriptor_type_t, xdr_pxinfo_kv_oplog_descriptor_type_e,
                xdr_pxinfo_kv_oplog_descriptor_type_t)

// ---- Descriptors ------------------------------------------------------------

bool_t xdr_pxinfo_kv_pkt_tgt_desc_s(XDR *xdrs, pxinfo_kv_pkt_tgt_desc_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.uuid(&record->replica_uuid) && f.string(&record->name);
}
PXINFO_XDR_OUTER(xdr_pxinfo_kv_pkt_tgt_desc_t, pxinfo_kv_pkt_tgt_desc_t, xdr_pxinfo_kv_pkt_tgt_desc_s)

bool_t xdr_pxinfo_kv_pkt_rep_desc_0_s(XDR *xdrs, pxinfo_kv_pkt_rep_desc_0_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.uuid(&record->replica_uuid) && f.field<xdr_pxinfo_epoch_num_t>(&record->start_epoch);
}
PXINFO_XDR_OUTER(xdr_pxinfo_kv_pkt_rep_desc_0_t, pxinfo_kv_pkt_rep_desc_0_t, xdr_pxinfo_kv_pkt_rep_desc_0_s)

bool_t xdr_pxinfo_kv_pkt_rep_desc_1_s(XDR *xdrs, pxinfo_kv_pkt_rep_desc_1_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.uuid(&record->replica_uuid) && f.field<xdr_pxinfo_epoch_num_t>(&record->start_epoch) &&
           f.long32(&record->ref_value);
}
PXINFO_XDR_OUTER(xdr_pxinfo_kv_pkt_rep_desc_1_t, pxinfo_kv_pkt_rep_desc_1_t, xdr_pxinfo_kv_pkt_rep_desc_1_s)

// Layout 2 carries the layout-1 descriptor unchanged.
PXINFO_XDR_OUTER(xdr_pxinfo_kv_pkt_rep_desc_2_t, pxinfo_kv_pkt_rep_desc_2_t, xdr_pxinfo_kv_pkt_rep_desc_1_t)

bool_t xdr_pxinfo_kv_pkt_rep_desc_3_s(XDR *xdrs, pxinfo_kv_pkt_rep_desc_3_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.uuid(&record->replica_uuid) && f.field<xdr_pxinfo_epoch_num_t>(&record->start_epoch) &&
           f.field<xdr_pxinfo_epoch_num_t>(&record->end_epoch) && f.long32(&record->ref_value);
}
PXINFO_XDR_OUTER(xdr_pxinfo_kv_pkt_rep_desc_3_t, pxinfo_kv_pkt_rep_desc_3_t, xdr_pxinfo_kv_pkt_rep_desc_3_s)
PXINFO_XDR_OUTER(xdr_pxinfo_kv_pkt_rep_desc_t, pxinfo_kv_pkt_rep_desc_t, xdr_pxinfo_kv_pkt_rep_desc_3_s)

bool_t xdr_pxinfo_kv_oplog_desc_1_s(XDR *xdrs, pxinfo_kv_oplog_desc_1_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.field<xdr_pxinfo_compress_type_t>(&record->first_compress_type) && f.u_long32(&record->first_value) &&
           f.u_long32(&record->second_value) && f.field<xdr_pxinfo_compress_type_t>(&record->second_compress_type) &&
           f.field<xdr_ks_off64_t>(&record->first_offset) && f.field<xdr_ks_off64_t>(&record->second_offset);
}
PXINFO_XDR_OUTER(xdr_pxinfo_kv_oplog_desc_1_t, pxinfo_kv_oplog_desc_1_t, xdr_pxinfo_kv_oplog_desc_1_s)
PXINFO_XDR_OUTER(xdr_pxinfo_kv_oplog_desc_t, pxinfo_kv_oplog_desc_t, xdr_pxinfo_kv_oplog_desc_1_s)

// ---- Header records ---------------------------------------------------------

namespace {

// The six fields that open every layout.
template <typename Header>
bool code_header_opening(const Fields &f, Header *record) {
    return f.i32(&record->minor_version) && f.uuid(&record->source_replica_uuid) && f.uuid(&record->family_uuid) &&
           f.i32(&record->target_count) && f.i32(&record->sync_type) && f.i32(&record->aux_int);
}

// Targets, the replica count and the replicas, which close layouts 0 and 1
// and precede the trailing fields of layouts 2 and 3.
template <auto RepDesc, typename Header>
bool code_header_arrays(const Fields &f, Header *record) {
    return f.array<xdr_pxinfo_kv_pkt_tgt_desc_t>(record->target_count, &record->targets) &&
           f.i32(&record->replica_count) && f.array<RepDesc>(record->replica_count, &record->replicas);
}

}  // namespace

bool_t xdr_pxinfo_kv_pkt_header_0_s(XDR *xdrs, pxinfo_kv_pkt_header_0_t *record, int extra) {
    const Fields f(xdrs, extra);
    return code_header_opening(f, record) && code_header_arrays<xdr_pxinfo_kv_pkt_rep_desc_0_t>(f, record);
}
PXINFO_XDR_OUTER(xdr_pxinfo_kv_pkt_header_0_t, pxinfo_kv_pkt_header_0_t, xdr_pxinfo_kv_pkt_header_0_s)

bool_t xdr_pxinfo_kv_pkt_header_1_s(XDR *xdrs, pxinfo_kv_pkt_header_1_t *record, int extra) {
    const Fields f(xdrs, extra);
    return code_header_opening(f, record) && code_header_arrays<xdr_pxinfo_kv_pkt_rep_desc_1_t>(f, record);
}
PXINFO_XDR_OUTER(xdr_pxinfo_kv_pkt_header_1_t, pxinfo_kv_pkt_header_1_t, xdr_pxinfo_kv_pkt_header_1_s)

bool_t xdr_pxinfo_kv_pkt_header_2_s(XDR *xdrs, pxinfo_kv_pkt_header_2_t *record, int extra) {
    const Fields f(xdrs, extra);
    return code_header_opening(f, record) && code_header_arrays<xdr_pxinfo_kv_pkt_rep_desc_2_t>(f, record) &&
           f.string(&record->aux_string);
}
PXINFO_XDR_OUTER(xdr_pxinfo_kv_pkt_header_2_t, pxinfo_kv_pkt_header_2_t, xdr_pxinfo_kv_pkt_header_2_s)

bool_t xdr_pxinfo_kv_pkt_header_3_s(XDR *xdrs, pxinfo_kv_pkt_header_3_t *record, int extra) {
    const Fields f(xdrs, extra);
    return code_header_opening(f, record) && f.u32(&record->pkt_seq_num) && f.u32(&record->aux_count) &&
           f.uuid(&record->aux_uuid2) && f.uuid(&record->log_pkt_uuid) && f.uuid(&record->aux_uuid1) &&
           f.field<xdr_pxinfo_compress_type_t>(&record->compress_type) && f.u32(&record->aux_value1) &&
           f.u32(&record->aux_value2) && f.field<xdr_pxinfo_kv_oplog_descriptor_type_t>(&record->oplog_desc_type) &&
           code_header_arrays<xdr_pxinfo_kv_pkt_rep_desc_3_t>(f, record) && f.i32(&record->aux_int2) &&
           f.string(&record->aux_string);
}
PXINFO_XDR_OUTER(xdr_pxinfo_kv_pkt_header_3_t, pxinfo_kv_pkt_header_3_t, xdr_pxinfo_kv_pkt_header_3_s)
PXINFO_XDR_OUTER(xdr_pxinfo_kv_pkt_header_t, pxinfo_kv_pkt_header_t, xdr_pxinfo_kv_pkt_header_3_s)

// ---- Generator glue ---------------------------------------------------------

void pxinfokvpktbase_xdr_makeprocs(void) {}

void pxinfokvpktbase_xdr_freeprocs(void) {}

bool_t xdr_pxinfokvpktbase_program_null_V1_back(XDR *xdrs, int *value) {
    return pxinfo::xdr::null_proc_back(xdrs, value);
}

bool_t xdr_pxinfokvpktbase_program_null_V1_over(XDR *xdrs, long *value) {
    return pxinfo::xdr::null_proc_over(xdrs, value);
}
