// Every record routine of the library with the size of its record, so that
// one program can decode, encode and free any record kind chosen by number:
// the fuzz targets pick the kind from their first input byte, the
// fault-injection tests walk the table. Kinds keep their numbers for good
// (corpus files start with them): new kinds are appended, never inserted.
#ifndef PXINFO_FUZZ_RECORD_ROUTINES_H
#define PXINFO_FUZZ_RECORD_ROUTINES_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "pxinfo_kv_pkt_xdr.h"
#include "pxinfo_xdr.h"
#include "pxinfo_xdr_internal.h"
#include "stg.h"
#include "xdr_ez.h"

namespace pxfuzz {

struct RecordRoutine {
    const char *name;
    xdr_ez_proc_t routine;  // codes a record of size bytes
    size_t size;
};

// The routines take typed record pointers; the library's adapter gives them
// the element-routine signature without calling through a cast pointer.
#define PXFUZZ_RECORD(type) \
    { "xdr_" #type, &pxinfo::xdr::untyped<&xdr_##type>, sizeof(type) }

inline const std::vector<RecordRoutine> &record_routines() {
    static const std::vector<RecordRoutine> routines = {
        // 0: scalars and enumerations
        PXFUZZ_RECORD(pxinfo_component_type_t),
        PXFUZZ_RECORD(pxinfo_packet_type_t),
        PXFUZZ_RECORD(pxinfo_compress_type_t),
        PXFUZZ_RECORD(pxinfo_st_progress_t),
        PXFUZZ_RECORD(pxinfo_setting_type_t),
        PXFUZZ_RECORD(pxinfo_sync_status_value_t),
        PXFUZZ_RECORD(pxinfo_sync_transport_t),
        PXFUZZ_RECORD(pxinfo_sync_direction_t),
        PXFUZZ_RECORD(pxinfo_settings_level_t),
        PXFUZZ_RECORD(pxinfo_file_type_t),
        PXFUZZ_RECORD(pxinfo_sync_job_id_validity_t),
        PXFUZZ_RECORD(pxinfo_sync_job_id_t),
        PXFUZZ_RECORD(pxinfo_epoch_num_t),
        PXFUZZ_RECORD(pxinfo_one_sleep_point_t),
        PXFUZZ_RECORD(pxinfo_uuid_str_t),
        // 15: identity and selector records
        PXFUZZ_RECORD(pxinfo_sync_job_id_pair_t),
        PXFUZZ_RECORD(pxinfo_sync_job_id_pair_list_t),
        PXFUZZ_RECORD(pxinfo_selector_vault_t),
        PXFUZZ_RECORD(pxinfo_selector_bb_t),
        PXFUZZ_RECORD(pxinfo_selector_t),
        PXFUZZ_RECORD(pxinfo_replica_set_selector_t),
        PXFUZZ_RECORD(pxinfo_replica_reference_t),
        PXFUZZ_RECORD(pxinfo_replica_info_t),
        PXFUZZ_RECORD(pxinfo_rep_info_pair_t),
        PXFUZZ_RECORD(pxinfo_nvpair_t),
        // 25: epoch and sync-status records
        PXFUZZ_RECORD(pxinfo_epoch_row_entry_t),
        PXFUZZ_RECORD(pxinfo_epoch_row_t),
        PXFUZZ_RECORD(pxinfo_replica_epoch_status_t),
        PXFUZZ_RECORD(pxinfo_family_epoch_status_t),
        PXFUZZ_RECORD(pxinfo_sync_attempt_data_t),
        PXFUZZ_RECORD(pxinfo_replica_sync_status_t),
        PXFUZZ_RECORD(pxinfo_family_sync_status_t),
        PXFUZZ_RECORD(pxinfo_sync_status_summary_t),
        PXFUZZ_RECORD(pxinfo_st_sleep_points_t),
        PXFUZZ_RECORD(pxinfo_msg_t),
        PXFUZZ_RECORD(pxinfo_msg_list_t),
        // 36: packet description records
        PXFUZZ_RECORD(pxinfo_packet_reference_t),
        PXFUZZ_RECORD(pxinfo_packet_source_info_t),
        PXFUZZ_RECORD(pxinfo_packet_info_t),
        PXFUZZ_RECORD(pxinfo_packet_info_v6_t),
        PXFUZZ_RECORD(pxinfo_dep_info_t),
        PXFUZZ_RECORD(pxinfo_dep_info_list_t),
        PXFUZZ_RECORD(pxinfo_dep_info_list_v6_t),
        PXFUZZ_RECORD(pxinfo_setting_val_t),
        // 44: packet header records
        PXFUZZ_RECORD(pxinfo_kv_pkt_header_type_t),
        PXFUZZ_RECORD(pxinfo_kv_pkt_major_version_t),
        PXFUZZ_RECORD(pxinfo_kv_oplog_descriptor_type_t),
        PXFUZZ_RECORD(pxinfo_kv_pkt_tgt_desc_t),
        PXFUZZ_RECORD(pxinfo_kv_pkt_rep_desc_0_t),
        PXFUZZ_RECORD(pxinfo_kv_pkt_rep_desc_1_t),
        PXFUZZ_RECORD(pxinfo_kv_pkt_rep_desc_2_t),
        PXFUZZ_RECORD(pxinfo_kv_pkt_rep_desc_3_t),
        PXFUZZ_RECORD(pxinfo_kv_pkt_rep_desc_t),
        PXFUZZ_RECORD(pxinfo_kv_oplog_desc_1_t),
        PXFUZZ_RECORD(pxinfo_kv_oplog_desc_t),
        PXFUZZ_RECORD(pxinfo_kv_pkt_header_0_t),
        PXFUZZ_RECORD(pxinfo_kv_pkt_header_1_t),
        PXFUZZ_RECORD(pxinfo_kv_pkt_header_2_t),
        PXFUZZ_RECORD(pxinfo_kv_pkt_header_3_t),
        PXFUZZ_RECORD(pxinfo_kv_pkt_header_t),
    };
    return routines;
}

#undef PXFUZZ_RECORD

// A zero-filled record of any kind, aligned for every field type.
class RecordBuffer {
  public:
    explicit RecordBuffer(size_t size) : words_((size + sizeof(std::max_align_t) - 1) / sizeof(std::max_align_t)) {
        // Value-initialised elements may keep padding bytes unset: clear all.
        std::memset(static_cast<void *>(words_.data()), 0, words_.size() * sizeof(std::max_align_t));
    }
    void *get() { return words_.data(); }

  private:
    std::vector<std::max_align_t> words_;
};

// Decodes one record from bytes into record (which must be zero-filled).
// Returns whether the routine succeeded; *used receives the bytes it read.
// What decoding allocated stays in record, to be released with xdr_ez_free
// whatever the outcome.
inline bool decode_record(const RecordRoutine &kind, const uint8_t *data, size_t size, void *record, size_t *used) {
    // The XDR memory stream wants a writable buffer; decoding never writes it.
    std::vector<char> copy(data, data + size);
    XDR xdrs;
    xdrmem_create(&xdrs, copy.empty() ? nullptr : copy.data(), static_cast<u_int>(copy.size()), XDR_DECODE);
    const bool ok = kind.routine(&xdrs, record, 0) != 0;
    *used = xdr_getpos(&xdrs);
    xdr_destroy(&xdrs);
    return ok;
}

// Encodes a record; false when the routine refuses it (or storage runs out).
inline bool encode_record(const RecordRoutine &kind, void *record, std::vector<uint8_t> *bytes) {
    XDR xdrs;
    if (xdrstg_create(&xdrs, 64, 0) != TBS_ST_OK) {
        xdrstg_destroy(&xdrs);
        return false;
    }
    const bool ok = kind.routine(&xdrs, record, 0) != 0;
    if (ok) {
        const auto *base = reinterpret_cast<const uint8_t *>(xdrs.x_base);
        bytes->assign(base, base + xdr_getpos(&xdrs));
    }
    xdrstg_destroy(&xdrs);
    return ok;
}

}  // namespace pxfuzz

#endif
