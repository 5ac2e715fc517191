// Coding of the packet description records: packet references and sources,
// packet information in its current and version-6 layouts, dependencies and
// setting values.
#include <algorithm>

#include "pxinfo_xdr.h"
#include "pxinfo_xdr_internal.h"

using pxinfo::xdr::Fields;

bool_t xdr_pxinfo_packet_reference_s(XDR *xdrs, pxinfo_packet_reference_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.u32(&record->count) && f.array<xdr_pxinfo_replica_reference_t>(record->count, &record->refs) &&
           f.i32(&record->ref_int) && f.string(&record->ref_str);
}
PXINFO_XDR_OUTER(xdr_pxinfo_packet_reference_t, pxinfo_packet_reference_t, xdr_pxinfo_packet_reference_s)

bool_t xdr_pxinfo_packet_source_info_s(XDR *xdrs, pxinfo_packet_source_info_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.field<xdr_pxinfo_packet_type_t>(&record->packet_type) && f.field<xdr_pxinfo_selector_t>(&record->source) &&
           f.field<xdr_pxinfo_packet_reference_t>(&record->references);
}
PXINFO_XDR_OUTER(xdr_pxinfo_packet_source_info_t, pxinfo_packet_source_info_t, xdr_pxinfo_packet_source_info_s)

namespace {

// Fields 1 to 13, shared by both layouts of packet information: the
// version-6 layout is exactly this prefix of the current one. Both source
// slots are coded whatever source_count says.
template <typename Info>
bool code_packet_info_v6_fields(const Fields &f, Info *record) {
    return f.string(&record->pkt_name) && f.field<xdr_pxinfo_component_type_t>(&record->component_type) &&
           f.i32(&record->status) && f.long32(&record->file_time) && f.i32(&record->caller_value) &&
           f.i32(&record->major_version) && f.i32(&record->minor_version) && f.u32(&record->source_count) &&
           f.vector<xdr_pxinfo_packet_source_info_t>(record->sources) && f.i32(&record->aux_int) &&
           f.u32(&record->target_count) && f.array<xdr_pxinfo_replica_info_t>(record->target_count, &record->targets) &&
           f.string(&record->aux_string);
}

}  // namespace

bool_t xdr_pxinfo_packet_info_s(XDR *xdrs, pxinfo_packet_info_t *record, int extra) {
    const Fields f(xdrs, extra);
    return code_packet_info_v6_fields(f, record) && f.uuid(&record->log_pkt_uuid) && f.uuid(&record->aux_uuid1) &&
           f.u32(&record->pkt_seq_num) && f.u32(&record->aux_count) && f.uuid(&record->aux_uuid2) &&
           f.field<xdr_pxinfo_compress_type_t>(&record->compress_type) && f.u32(&record->aux_value1) &&
           f.u32(&record->aux_value2) && f.i32(&record->aux_int2);
}
PXINFO_XDR_OUTER(xdr_pxinfo_packet_info_t, pxinfo_packet_info_t, xdr_pxinfo_packet_info_s)

bool_t xdr_pxinfo_packet_info_v6_s(XDR *xdrs, pxinfo_packet_info_v6_t *record, int extra) {
    return code_packet_info_v6_fields(Fields(xdrs, extra), record);
}
PXINFO_XDR_OUTER(xdr_pxinfo_packet_info_v6_t, pxinfo_packet_info_v6_t, xdr_pxinfo_packet_info_v6_s)

bool_t xdr_pxinfo_dep_info_s(XDR *xdrs, pxinfo_dep_info_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.field<xdr_pxinfo_epoch_num_t>(&record->first_epoch) &&
           f.field<xdr_pxinfo_epoch_num_t>(&record->second_epoch) && f.field<xdr_pxinfo_selector_t>(&record->replica);
}
PXINFO_XDR_OUTER(xdr_pxinfo_dep_info_t, pxinfo_dep_info_t, xdr_pxinfo_dep_info_s)

bool_t xdr_pxinfo_dep_info_list_s(XDR *xdrs, pxinfo_dep_info_list_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.u32(&record->count) && f.array<xdr_pxinfo_dep_info_t>(record->count, &record->deps);
}
PXINFO_XDR_OUTER(xdr_pxinfo_dep_info_list_t, pxinfo_dep_info_list_t, xdr_pxinfo_dep_info_list_s)

// The count as it is, then the optional dependency.
bool_t xdr_pxinfo_dep_info_list_v6_s(XDR *xdrs, pxinfo_dep_info_list_v6_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.u32(&record->count) && f.pointer<xdr_pxinfo_dep_info_t>(&record->deps);
}

// The version-6 list holds at most one dependency: its count word is
// limited to 1 both ways (the count in memory is left alone when encoding),
// and the pointed-to dependency is coded whatever the count says.
bool_t xdr_pxinfo_dep_info_list_v6_t(XDR *xdrs, pxinfo_dep_info_list_v6_t *record, int extra) {
    u_int word = 0;
    if (xdrs->x_op == XDR_ENCODE) { word = std::min<u_int>(record->count, 1); }
    if (!xdr_u_int(xdrs, &word)) { return FALSE; }
    if (xdrs->x_op == XDR_DECODE) { record->count = std::min<u_int>(word, 1); }
    return pxinfo::xdr::as_bool(Fields(xdrs, extra).pointer<xdr_pxinfo_dep_info_t>(&record->deps));
}

bool_t xdr_pxinfo_setting_data_u(XDR *xdrs, pxinfo_setting_data_u *data, pxinfo_setting_type_t key) {
    const Fields f(xdrs, 0);
    switch (static_cast<int>(key)) {
    case PXINFO_SETTING_INT: return pxinfo::xdr::as_bool(f.i32(&data->int_value));
    case PXINFO_SETTING_STR: return pxinfo::xdr::as_bool(f.string(&data->str_value));
    case 0:
    case 3: return pxinfo::xdr::as_bool(f.u32(&data->uint_value));
    default: return FALSE;
    }
}

bool_t xdr_pxinfo_setting_val_s(XDR *xdrs, pxinfo_setting_val_t *record, int extra) {
    const Fields f(xdrs, extra);
    return f.field<xdr_pxinfo_setting_type_t>(&record->type) &&
           xdr_pxinfo_setting_data_u(xdrs, &record->data, record->type);
}
PXINFO_XDR_OUTER(xdr_pxinfo_setting_val_t, pxinfo_setting_val_t, xdr_pxinfo_setting_val_s)
