/* Packet header records in their four layouts, the descriptors they carry,
 * the operation-log descriptor, the enumerations of the header code, and
 * their XDR routines.
 *
 * On the wire a header record follows the magic number and the major
 * version; the major version selects the layout. Layout 3 is the newest and
 * the one callers receive. Every record has an inner routine (_s) coding the
 * fields in order, stopping at the first failure, and an outer routine (_t)
 * that returns exactly 1 or 0. A header owns its targets array, each
 * target's name, its replicas array and its aux_string; what decoding
 * allocated is released with xdr_ez_free and the same routine. */
#ifndef PXINFO_KV_PKT_XDR_H
#define PXINFO_KV_PKT_XDR_H

#include <stdint.h>

#include <pxinfo/pxinfo_msg.h>
#include <pxinfo/pxinfo_xdr.h>
#include <pxinfo/tbs_types.h>
#include <pxinfo/xdr_ez.h>

TBS_EXTERN_C_BEGIN

/* The layout of a header record. */
typedef enum pxinfo_kv_pkt_header_type_e PXINFO_ENUM_BASE {
    PXINFO_KV_PKT_HEADER_TYPE_0 = 0,
    PXINFO_KV_PKT_HEADER_TYPE_1 = 1,
    PXINFO_KV_PKT_HEADER_TYPE_2 = 2,
    PXINFO_KV_PKT_HEADER_TYPE_3 = 3
} pxinfo_kv_pkt_header_type_t;

/* The packet major versions that the reader accepts. */
typedef enum pxinfo_kv_pkt_major_version_e PXINFO_ENUM_BASE {
    PXINFO_KV_PKT_MAJOR_VERSION_0 = 0,
    PXINFO_KV_PKT_MAJOR_VERSION_1 = 1,
    PXINFO_KV_PKT_MAJOR_VERSION_2 = 2,
    PXINFO_KV_PKT_MAJOR_VERSION_3 = 3,
    PXINFO_KV_PKT_MAJOR_VERSION_4 = 4,
    PXINFO_KV_PKT_MAJOR_VERSION_5 = 5,
    PXINFO_KV_PKT_MAJOR_VERSION_6 = 6,
    PXINFO_KV_PKT_MAJOR_VERSION_7 = 7
} pxinfo_kv_pkt_major_version_t;

/* Kind of operation-log descriptor of a header; other values pass through
 * unchanged. */
typedef enum pxinfo_kv_oplog_descriptor_type_e PXINFO_ENUM_BASE {
    PXINFO_KV_OPLOG_DESC_NONE = 0
} pxinfo_kv_oplog_descriptor_type_t;

/* A replica the packet is addressed to. */
typedef struct pxinfo_kv_pkt_tgt_desc {
    tbs_uuid_t replica_uuid;
    char *name;
} pxinfo_kv_pkt_tgt_desc_t;

/* Replica descriptors, one per replica whose changes the packet carries. */
typedef struct pxinfo_kv_pkt_rep_desc_0 {
    tbs_uuid_t replica_uuid;
    pxinfo_epoch_num_t start_epoch;
} pxinfo_kv_pkt_rep_desc_0_t;

typedef struct pxinfo_kv_pkt_rep_desc_1 {
    tbs_uuid_t replica_uuid;
    pxinfo_epoch_num_t start_epoch;
    int32_t ref_value;
} pxinfo_kv_pkt_rep_desc_1_t;

typedef pxinfo_kv_pkt_rep_desc_1_t pxinfo_kv_pkt_rep_desc_2_t;

typedef struct pxinfo_kv_pkt_rep_desc_3 {
    tbs_uuid_t replica_uuid;
    pxinfo_epoch_num_t start_epoch;
    pxinfo_epoch_num_t end_epoch;
    int32_t ref_value;
} pxinfo_kv_pkt_rep_desc_3_t;

typedef pxinfo_kv_pkt_rep_desc_3_t pxinfo_kv_pkt_rep_desc_t;

/* Header layout 0. */
typedef struct pxinfo_kv_pkt_header_0 {
    int32_t minor_version;
    tbs_uuid_t source_replica_uuid;
    tbs_uuid_t family_uuid;
    int32_t target_count;
    int32_t sync_type;
    int32_t aux_int;
    pxinfo_kv_pkt_tgt_desc_t *targets;
    int32_t replica_count;
    pxinfo_kv_pkt_rep_desc_0_t *replicas;
} pxinfo_kv_pkt_header_0_t;

/* Header layout 1: never read or written by the library. */
typedef struct pxinfo_kv_pkt_header_1 {
    int32_t minor_version;
    tbs_uuid_t source_replica_uuid;
    tbs_uuid_t family_uuid;
    int32_t target_count;
    int32_t sync_type;
    int32_t aux_int;
    pxinfo_kv_pkt_tgt_desc_t *targets;
    int32_t replica_count;
    pxinfo_kv_pkt_rep_desc_1_t *replicas;
} pxinfo_kv_pkt_header_1_t;

/* Header layout 2. */
typedef struct pxinfo_kv_pkt_header_2 {
    int32_t minor_version;
    tbs_uuid_t source_replica_uuid;
    tbs_uuid_t family_uuid;
    int32_t target_count;
    int32_t sync_type;
    int32_t aux_int;
    pxinfo_kv_pkt_tgt_desc_t *targets;
    int32_t replica_count;
    pxinfo_kv_pkt_rep_desc_2_t *replicas;
    char *aux_string;
} pxinfo_kv_pkt_header_2_t;

/* Header layout 3, the newest. sync_type is 1 for an update packet, 2 for a
 * creation packet. family_uuid with a replica uuid forms a vault selector. */
typedef struct pxinfo_kv_pkt_header_3 {
    int32_t minor_version;
    tbs_uuid_t source_replica_uuid;
    tbs_uuid_t family_uuid;
    int32_t target_count;
    int32_t sync_type;
    int32_t aux_int;
    uint32_t pkt_seq_num;
    uint32_t aux_count;
    tbs_uuid_t aux_uuid2;
    tbs_uuid_t log_pkt_uuid;
    tbs_uuid_t aux_uuid1;
    pxinfo_compress_type_t compress_type;
    uint32_t aux_value1;
    uint32_t aux_value2;
    pxinfo_kv_oplog_descriptor_type_t oplog_desc_type;
    pxinfo_kv_pkt_tgt_desc_t *targets;
    int32_t replica_count;
    pxinfo_kv_pkt_rep_desc_3_t *replicas;
    int32_t aux_int2;
    char *aux_string;
} pxinfo_kv_pkt_header_3_t;

typedef pxinfo_kv_pkt_header_3_t pxinfo_kv_pkt_header_t;

/* The operation-log descriptor; no header layout carries it. */
typedef struct pxinfo_kv_oplog_desc_1 {
    pxinfo_compress_type_t first_compress_type;
    uint32_t first_value;
    uint32_t second_value;
    pxinfo_compress_type_t second_compress_type;
    ks_off64_t first_offset;
    ks_off64_t second_offset;
} pxinfo_kv_oplog_desc_1_t;

typedef pxinfo_kv_oplog_desc_1_t pxinfo_kv_oplog_desc_t;

/* Enumerations: one xdr_enum word. */
PXINFO_API bool_t xdr_pxinfo_kv_pkt_header_type_e(XDR *xdrs, pxinfo_kv_pkt_header_type_t *value);
PXINFO_API bool_t xdr_pxinfo_kv_pkt_header_type_t(XDR *xdrs, pxinfo_kv_pkt_header_type_t *value, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_pkt_major_version_e(XDR *xdrs, pxinfo_kv_pkt_major_version_t *value);
PXINFO_API bool_t xdr_pxinfo_kv_pkt_major_version_t(XDR *xdrs, pxinfo_kv_pkt_major_version_t *value, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_oplog_descriptor_type_e(XDR *xdrs, pxinfo_kv_oplog_descriptor_type_t *value);
PXINFO_API bool_t xdr_pxinfo_kv_oplog_descriptor_type_t(XDR *xdrs, pxinfo_kv_oplog_descriptor_type_t *value, int extra);

/* Descriptors. xdr_pxinfo_kv_pkt_rep_desc_2_t codes as the layout-1
 * descriptor; xdr_pxinfo_kv_pkt_rep_desc_t as the layout-3 one. */
PXINFO_API bool_t xdr_pxinfo_kv_pkt_tgt_desc_s(XDR *xdrs, pxinfo_kv_pkt_tgt_desc_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_pkt_tgt_desc_t(XDR *xdrs, pxinfo_kv_pkt_tgt_desc_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_pkt_rep_desc_0_s(XDR *xdrs, pxinfo_kv_pkt_rep_desc_0_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_pkt_rep_desc_0_t(XDR *xdrs, pxinfo_kv_pkt_rep_desc_0_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_pkt_rep_desc_1_s(XDR *xdrs, pxinfo_kv_pkt_rep_desc_1_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_pkt_rep_desc_1_t(XDR *xdrs, pxinfo_kv_pkt_rep_desc_1_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_pkt_rep_desc_2_t(XDR *xdrs, pxinfo_kv_pkt_rep_desc_2_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_pkt_rep_desc_3_s(XDR *xdrs, pxinfo_kv_pkt_rep_desc_3_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_pkt_rep_desc_3_t(XDR *xdrs, pxinfo_kv_pkt_rep_desc_3_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_pkt_rep_desc_t(XDR *xdrs, pxinfo_kv_pkt_rep_desc_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_oplog_desc_1_s(XDR *xdrs, pxinfo_kv_oplog_desc_1_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_oplog_desc_1_t(XDR *xdrs, pxinfo_kv_oplog_desc_1_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_oplog_desc_t(XDR *xdrs, pxinfo_kv_oplog_desc_t *record, int extra);

/* Header records. xdr_pxinfo_kv_pkt_header_t codes as layout 3. */
PXINFO_API bool_t xdr_pxinfo_kv_pkt_header_0_s(XDR *xdrs, pxinfo_kv_pkt_header_0_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_pkt_header_0_t(XDR *xdrs, pxinfo_kv_pkt_header_0_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_pkt_header_1_s(XDR *xdrs, pxinfo_kv_pkt_header_1_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_pkt_header_1_t(XDR *xdrs, pxinfo_kv_pkt_header_1_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_pkt_header_2_s(XDR *xdrs, pxinfo_kv_pkt_header_2_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_pkt_header_2_t(XDR *xdrs, pxinfo_kv_pkt_header_2_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_pkt_header_3_s(XDR *xdrs, pxinfo_kv_pkt_header_3_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_pkt_header_3_t(XDR *xdrs, pxinfo_kv_pkt_header_3_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_kv_pkt_header_t(XDR *xdrs, pxinfo_kv_pkt_header_t *record, int extra);

/* Glue of the header records' code generator: two empty hooks and the null
 * procedure's argument and result filters. Nothing in the library calls
 * them. */
PXINFO_API void pxinfokvpktbase_xdr_makeprocs(void);
PXINFO_API void pxinfokvpktbase_xdr_freeprocs(void);
PXINFO_API bool_t xdr_pxinfokvpktbase_program_null_V1_back(XDR *xdrs, int *value);
PXINFO_API bool_t xdr_pxinfokvpktbase_program_null_V1_over(XDR *xdrs, long *value);

TBS_EXTERN_C_END

#endif
