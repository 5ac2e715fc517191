/* The shared records of the library and their XDR routines: enumerations and
 * scalar codes, identity and selector records, epoch and sync-status records,
 * packet description records.
 *
 * Every record has an inner routine (name ending in _s) that codes its fields
 * in order and stops at the first field that fails, and an outer routine
 * (name ending in _t) that calls it and returns exactly 1 or 0. The same
 * routine encodes, decodes or frees, as the stream's operation says. extra is
 * handed unchanged to nested record routines and to the xdr_ez_ helpers; the
 * library never looks at it. Strings and arrays that decoding allocates are
 * released by running the same routine on an XDR_FREE stream, or with
 * xdr_ez_free. Inline buffers (names, host names, uuid texts, identifiers,
 * embedded selectors) are never allocated or freed. */
#ifndef PXINFO_XDR_H
#define PXINFO_XDR_H

#include <stdint.h>
#include <sys/time.h>

#include <pxinfo/pxinfo_msg.h>
#include <pxinfo/tbs_types.h>
#include <pxinfo/xdr_ez.h>

/* Enumerations are 32-bit values that may hold any int, members or not: the
 * coding routines never check membership, so C++ gets a fixed underlying type
 * (an unknown value is then a valid value of the type). */
#ifdef __cplusplus
#define PXINFO_ENUM_BASE : int
#else
#define PXINFO_ENUM_BASE
#endif

TBS_EXTERN_C_BEGIN

/* ------------------------------------------------------------------------ */
/* Enumerations and scalar codes                                            */
/* ------------------------------------------------------------------------ */

/* An epoch number: how far a replica has got. */
typedef uint32_t pxinfo_epoch_num_t;
/* The local numeric identifier of a synchronisation job. */
typedef uint32_t pxinfo_sync_job_id_t;
/* One entry of a sleep-point table. */
typedef int32_t pxinfo_one_sleep_point_t;

/* Kind of replica a selector names. 0 is the null selector; a selector whose
 * type is neither member carries no body. */
typedef enum pxinfo_component_type_e PXINFO_ENUM_BASE {
    PXINFO_COMPONENT_VAULT = 1,
    PXINFO_COMPONENT_BB = 2
} pxinfo_component_type_t;

typedef enum pxinfo_packet_type_e PXINFO_ENUM_BASE {
    PXINFO_PACKET_CREATION = 1,
    PXINFO_PACKET_UPDATE = 2
} pxinfo_packet_type_t;

/* Kind of file a path names. Values 4 to 7 are bb packet files. */
typedef enum pxinfo_file_type_e PXINFO_ENUM_BASE {
    PXINFO_FILE_SHORDER = 1,
    PXINFO_FILE_KVCREATE = 2,
    PXINFO_FILE_KVUPDATE = 3,
    PXINFO_FILE_OTHER = 8
} pxinfo_file_type_t;

/* Which identifier of a sync job id pair is meaningful. */
typedef enum pxinfo_sync_job_id_validity_e PXINFO_ENUM_BASE {
    PXINFO_JOB_ID_LOCAL = 1,
    PXINFO_JOB_ID_UUID = 2,
    PXINFO_JOB_ID_BOTH = 3
} pxinfo_sync_job_id_validity_t;

typedef enum pxinfo_sync_direction_e PXINFO_ENUM_BASE {
    PXINFO_SYNC_EXPORT = 1,
    PXINFO_SYNC_IMPORT = 2
} pxinfo_sync_direction_t;

/* Type of a setting value. 0 and 3 hold an unsigned value; any other type
 * cannot be coded. */
typedef enum pxinfo_setting_type_e PXINFO_ENUM_BASE {
    PXINFO_SETTING_INT = 1,
    PXINFO_SETTING_STR = 2
} pxinfo_setting_type_t;

/* Synchronisation status of a replica or a family, ranked OK < UNKNOWN <
 * FAILED; INVALID is given to a family one of whose replicas holds a value
 * outside the three. */
typedef enum pxinfo_sync_status_value_e PXINFO_ENUM_BASE {
    PXINFO_SYNC_STATUS_INVALID = 0,
    PXINFO_SYNC_STATUS_UNKNOWN = 2,
    PXINFO_SYNC_STATUS_OK = 3,
    PXINFO_SYNC_STATUS_FAILED = 4
} pxinfo_sync_status_value_t;

/* Compression of a packet's data. Only the default is fixed here: packet
 * information and headers widened from older layouts receive it; other
 * values are carried from packet headers unchanged. */
typedef enum pxinfo_compress_type_e PXINFO_ENUM_BASE { PXINFO_COMPRESS_DEFAULT = 1 } pxinfo_compress_type_t;

/* Index of a progress point into a sleep-point table. */
typedef enum pxinfo_st_progress_e PXINFO_ENUM_BASE { PXINFO_ST_PROGRESS_FIRST = 0 } pxinfo_st_progress_t;

/* Transport of a sync attempt; its values belong to the callers. */
typedef enum pxinfo_sync_transport_e PXINFO_ENUM_BASE { PXINFO_SYNC_TRANSPORT_DEFAULT = 0 } pxinfo_sync_transport_t;

/* Settings level of a replica's sync status; its values belong to the
 * callers. */
typedef enum pxinfo_settings_level_e PXINFO_ENUM_BASE { PXINFO_SETTINGS_LEVEL_DEFAULT = 0 } pxinfo_settings_level_t;

/* ------------------------------------------------------------------------ */
/* Identity and selector records                                            */
/* ------------------------------------------------------------------------ */

/* The text form of a uuid: at most 51 characters and a NUL. */
#define PXINFO_UUID_STR_MAX 51
typedef char pxinfo_uuid_str_t[PXINFO_UUID_STR_MAX + 1];

typedef struct pxinfo_sync_job_id_pair {
    tbs_uuid_t job_uuid;
    pxinfo_sync_job_id_t local_jobid;
    pxinfo_sync_job_id_validity_t validity;
} pxinfo_sync_job_id_pair_t;

typedef struct pxinfo_sync_job_id_pair_list {
    uint32_t count;
    pxinfo_sync_job_id_pair_t *pairs;
} pxinfo_sync_job_id_pair_list_t;

/* A vault replica: the vault (the family) and the replica, by oid. */
typedef struct pxinfo_selector_vault {
    tbs_uuid_t vault_oid;
    tbs_uuid_t replica_oid;
} pxinfo_selector_vault_t;

/* A bb replica: family, clan, replica set and the replica set's uuid. */
typedef struct pxinfo_selector_bb {
    tbs_name_t family;
    tbs_name_t clan;
    tbs_name_t replica_set;
    pxinfo_uuid_str_t replica_set_uuid;
} pxinfo_selector_bb_t;

typedef union pxinfo_selector_u {
    pxinfo_selector_vault_t vault; /* type PXINFO_COMPONENT_VAULT */
    pxinfo_selector_bb_t bb;       /* type PXINFO_COMPONENT_BB */
} pxinfo_selector_u;

/* Names one replica. The null selector (type 0, every byte zero) and any
 * selector whose type is neither member code as the tag alone. */
typedef struct pxinfo_selector {
    pxinfo_component_type_t type;
    pxinfo_selector_u u;
} pxinfo_selector_t;

typedef struct pxinfo_replica_set_selector {
    tbs_name_t clan;
    tbs_name_t replica_set;
    pxinfo_uuid_str_t replica_set_uuid;
} pxinfo_replica_set_selector_t;

/* A replica with the epoch numbers that a packet records for it. */
typedef struct pxinfo_replica_reference {
    pxinfo_selector_t replica;
    int32_t ref_value;
    pxinfo_epoch_num_t start_epoch;
    pxinfo_epoch_num_t end_epoch;
} pxinfo_replica_reference_t;

/* A replica with its name; either string may be null. */
typedef struct pxinfo_replica_info {
    pxinfo_selector_t replica;
    char *name;
    char *extra_name;
} pxinfo_replica_info_t;

typedef struct pxinfo_rep_info_pair {
    pxinfo_selector_t first;
    pxinfo_selector_t second;
} pxinfo_rep_info_pair_t;

typedef struct pxinfo_nvpair {
    char *name;
    char *value;
} pxinfo_nvpair_t;

/* ------------------------------------------------------------------------ */
/* Epoch and sync-status records                                            */
/* ------------------------------------------------------------------------ */

/* One column of an epoch row: the epoch number reached for a replica. */
typedef struct pxinfo_epoch_row_entry {
    pxinfo_epoch_num_t epoch;
    int32_t entry_value;
    pxinfo_selector_t replica;
} pxinfo_epoch_row_entry_t;

/* How far each replica of a family has got, as one replica sees it or as a
 * packet carries it. */
typedef struct pxinfo_epoch_row {
    tbs_name_t name;
    tbs_hostname_t host;
    int32_t count;
    pxinfo_epoch_row_entry_t *entries;
    int32_t row_value1;
    int32_t row_value2;
} pxinfo_epoch_row_t;

/* The epoch status of one replica in a health file. times and epochs both
 * have count elements; count is coded once, before them. */
typedef struct pxinfo_replica_epoch_status {
    tbs_name_t name;
    pxinfo_selector_t replica;
    tbs_hostname_t host;
    int32_t count;
    int32_t *times;
    pxinfo_epoch_num_t *epochs;
    int32_t value;
} pxinfo_replica_epoch_status_t;

typedef struct pxinfo_family_epoch_status {
    int32_t timestamp;
    int32_t count;
    pxinfo_replica_epoch_status_t *replicas;
} pxinfo_family_epoch_status_t;

/* One synchronisation attempt; attempted and not succeeded counts as
 * failed. */
typedef struct pxinfo_sync_attempt_data {
    int32_t time;
    pxinfo_sync_direction_t direction;
    pxinfo_sync_transport_t transport;
    int32_t attempted;
    int32_t succeeded;
    uint32_t count;
    pxinfo_replica_info_t *replicas;
} pxinfo_sync_attempt_data_t;

/* The sync status of one replica in a health file (host before selector,
 * unlike the epoch status). */
typedef struct pxinfo_replica_sync_status {
    tbs_name_t name;
    tbs_hostname_t host;
    pxinfo_selector_t replica;
    uint32_t sync_value;
    pxinfo_settings_level_t level;
    int32_t count;
    pxinfo_sync_attempt_data_t *attempts;
    int32_t last_status;
    pxinfo_sync_status_value_t status_value;
} pxinfo_replica_sync_status_t;

typedef struct pxinfo_family_sync_status {
    int32_t timestamp;
    int32_t count;
    pxinfo_replica_sync_status_t *replicas;
} pxinfo_family_sync_status_t;

typedef struct pxinfo_sync_status_summary {
    pxinfo_selector_t replica;
    pxinfo_sync_status_value_t status_value;
    int32_t time;
} pxinfo_sync_status_summary_t;

/* Entry n non-zero makes progress point n a sleep point. */
typedef struct pxinfo_st_sleep_points {
    uint32_t count;
    pxinfo_one_sleep_point_t *points;
} pxinfo_st_sleep_points_t;

typedef struct pxinfo_msg {
    char *text;
    uint32_t text_len; /* length of text without the NUL */
    int32_t severity;  /* 0 to 10 */
    struct timeval time;
} pxinfo_msg_t;

typedef struct pxinfo_msg_list {
    uint32_t count;
    pxinfo_msg_t *msgs;
} pxinfo_msg_list_t;

/* ------------------------------------------------------------------------ */
/* Packet description records                                               */
/* ------------------------------------------------------------------------ */

/* The replicas that a packet refers to. */
typedef struct pxinfo_packet_reference {
    uint32_t count;
    pxinfo_replica_reference_t *refs;
    int32_t ref_int;
    char *ref_str;
} pxinfo_packet_reference_t;

typedef struct pxinfo_packet_source_info {
    pxinfo_packet_type_t packet_type;
    pxinfo_selector_t source;
    pxinfo_packet_reference_t references;
} pxinfo_packet_source_info_t;

/* sources always holds two entries, coded whatever source_count says. */
#define PXINFO_PACKET_SOURCE_SLOTS 2

/* Packet information, version-6 layout: the first 13 fields of the current
 * layout, in the same order and coding. */
typedef struct pxinfo_packet_info_v6 {
    char *pkt_name;
    pxinfo_component_type_t component_type;
    int32_t status;
    int32_t file_time;
    int32_t caller_value;
    int32_t major_version;
    int32_t minor_version;
    uint32_t source_count;
    pxinfo_packet_source_info_t sources[PXINFO_PACKET_SOURCE_SLOTS];
    int32_t aux_int;
    uint32_t target_count;
    pxinfo_replica_info_t *targets;
    char *aux_string;
} pxinfo_packet_info_v6_t;

/* Packet information, current layout. */
typedef struct pxinfo_packet_info {
    char *pkt_name;
    pxinfo_component_type_t component_type;
    int32_t status;
    int32_t file_time;
    int32_t caller_value;
    int32_t major_version;
    int32_t minor_version;
    uint32_t source_count;
    pxinfo_packet_source_info_t sources[PXINFO_PACKET_SOURCE_SLOTS];
    int32_t aux_int;
    uint32_t target_count;
    pxinfo_replica_info_t *targets;
    char *aux_string;
    tbs_uuid_t log_pkt_uuid;
    tbs_uuid_t aux_uuid1;
    uint32_t pkt_seq_num;
    uint32_t aux_count;
    tbs_uuid_t aux_uuid2;
    pxinfo_compress_type_t compress_type;
    uint32_t aux_value1;
    uint32_t aux_value2;
    int32_t aux_int2;
} pxinfo_packet_info_t;

typedef struct pxinfo_dep_info {
    pxinfo_epoch_num_t first_epoch;
    pxinfo_epoch_num_t second_epoch;
    pxinfo_selector_t replica;
} pxinfo_dep_info_t;

typedef struct pxinfo_dep_info_list {
    uint32_t count;
    pxinfo_dep_info_t *deps;
} pxinfo_dep_info_list_t;

/* The version-6 dependency list holds at most one dependency. */
typedef struct pxinfo_dep_info_list_v6 {
    uint32_t count;
    pxinfo_dep_info_t *deps;
} pxinfo_dep_info_list_v6_t;

/* The data of a setting value, chosen by its type. */
typedef union pxinfo_setting_data_u {
    uint32_t uint_value; /* types 0 and 3 */
    int32_t int_value;   /* PXINFO_SETTING_INT */
    char *str_value;     /* PXINFO_SETTING_STR */
} pxinfo_setting_data_u;

typedef struct pxinfo_setting_val {
    pxinfo_setting_type_t type;
    pxinfo_setting_data_u data;
} pxinfo_setting_val_t;

/* ------------------------------------------------------------------------ */
/* Coding routines: each returns 1 on success and 0 on failure.             */
/* ------------------------------------------------------------------------ */

/* Enumerations: one xdr_enum word, members or not. */
PXINFO_API bool_t xdr_pxinfo_component_type_s(XDR *xdrs, pxinfo_component_type_t *value);
PXINFO_API bool_t xdr_pxinfo_component_type_t(XDR *xdrs, pxinfo_component_type_t *value, int extra);
PXINFO_API bool_t xdr_pxinfo_packet_type_e(XDR *xdrs, pxinfo_packet_type_t *value);
PXINFO_API bool_t xdr_pxinfo_packet_type_t(XDR *xdrs, pxinfo_packet_type_t *value, int extra);
PXINFO_API bool_t xdr_pxinfo_compress_type_e(XDR *xdrs, pxinfo_compress_type_t *value);
PXINFO_API bool_t xdr_pxinfo_compress_type_t(XDR *xdrs, pxinfo_compress_type_t *value, int extra);
PXINFO_API bool_t xdr_pxinfo_st_progress_e(XDR *xdrs, pxinfo_st_progress_t *value);
PXINFO_API bool_t xdr_pxinfo_st_progress_t(XDR *xdrs, pxinfo_st_progress_t *value, int extra);
PXINFO_API bool_t xdr_pxinfo_setting_type_e(XDR *xdrs, pxinfo_setting_type_t *value);
PXINFO_API bool_t xdr_pxinfo_setting_type_t(XDR *xdrs, pxinfo_setting_type_t *value, int extra);
PXINFO_API bool_t xdr_pxinfo_sync_status_value_s(XDR *xdrs, pxinfo_sync_status_value_t *value);
PXINFO_API bool_t xdr_pxinfo_sync_status_value_t(XDR *xdrs, pxinfo_sync_status_value_t *value, int extra);
PXINFO_API bool_t xdr_pxinfo_sync_transport_s(XDR *xdrs, pxinfo_sync_transport_t *value);
PXINFO_API bool_t xdr_pxinfo_sync_transport_t(XDR *xdrs, pxinfo_sync_transport_t *value, int extra);
PXINFO_API bool_t xdr_pxinfo_sync_direction_s(XDR *xdrs, pxinfo_sync_direction_t *value);
PXINFO_API bool_t xdr_pxinfo_sync_direction_t(XDR *xdrs, pxinfo_sync_direction_t *value, int extra);
PXINFO_API bool_t xdr_pxinfo_settings_level_e(XDR *xdrs, pxinfo_settings_level_t *value);
PXINFO_API bool_t xdr_pxinfo_settings_level_t(XDR *xdrs, pxinfo_settings_level_t *value, int extra);
PXINFO_API bool_t xdr_pxinfo_file_type_e(XDR *xdrs, pxinfo_file_type_t *value);
PXINFO_API bool_t xdr_pxinfo_file_type_t(XDR *xdrs, pxinfo_file_type_t *value, int extra);
PXINFO_API bool_t xdr_pxinfo_sync_job_id_validity_e(XDR *xdrs, pxinfo_sync_job_id_validity_t *value);
PXINFO_API bool_t xdr_pxinfo_sync_job_id_validity_t(XDR *xdrs, pxinfo_sync_job_id_validity_t *value, int extra);

/* Scalars: one word each. */
PXINFO_API bool_t xdr_pxinfo_epoch_num_t(XDR *xdrs, pxinfo_epoch_num_t *value);
PXINFO_API bool_t xdr_pxinfo_sync_job_id_t(XDR *xdrs, pxinfo_sync_job_id_t *value, int extra);
PXINFO_API bool_t xdr_pxinfo_one_sleep_point_t(XDR *xdrs, pxinfo_one_sleep_point_t *value);

/* Identity and selector records. xdr_pxinfo_uuid_str_t codes the inline
 * buffer as a string of at most 51 bytes and never releases it. A selector
 * codes its type, then the arm that the type names; any other type codes
 * nothing more and decodes with an all-zero body. */
PXINFO_API bool_t xdr_pxinfo_uuid_str_t(XDR *xdrs, char *buffer);
PXINFO_API bool_t xdr_pxinfo_sync_job_id_pair_s(XDR *xdrs, pxinfo_sync_job_id_pair_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_sync_job_id_pair_t(XDR *xdrs, pxinfo_sync_job_id_pair_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_sync_job_id_pair_list_s(XDR *xdrs, pxinfo_sync_job_id_pair_list_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_sync_job_id_pair_list_t(XDR *xdrs, pxinfo_sync_job_id_pair_list_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_selector_vault_s(XDR *xdrs, pxinfo_selector_vault_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_selector_vault_t(XDR *xdrs, pxinfo_selector_vault_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_selector_bb_s(XDR *xdrs, pxinfo_selector_bb_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_selector_bb_t(XDR *xdrs, pxinfo_selector_bb_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_selector_t(XDR *xdrs, pxinfo_selector_t *selector, int extra);
PXINFO_API bool_t xdr_pxinfo_replica_set_selector_s(XDR *xdrs, pxinfo_replica_set_selector_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_replica_set_selector_t(XDR *xdrs, pxinfo_replica_set_selector_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_replica_reference_s(XDR *xdrs, pxinfo_replica_reference_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_replica_reference_t(XDR *xdrs, pxinfo_replica_reference_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_replica_info_s(XDR *xdrs, pxinfo_replica_info_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_replica_info_t(XDR *xdrs, pxinfo_replica_info_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_rep_info_pair_s(XDR *xdrs, pxinfo_rep_info_pair_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_rep_info_pair_t(XDR *xdrs, pxinfo_rep_info_pair_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_nvpair_s(XDR *xdrs, pxinfo_nvpair_t *record);
PXINFO_API bool_t xdr_pxinfo_nvpair_t(XDR *xdrs, pxinfo_nvpair_t *record, int extra);

/* Epoch and sync-status records. */
PXINFO_API bool_t xdr_pxinfo_epoch_row_entry_s(XDR *xdrs, pxinfo_epoch_row_entry_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_epoch_row_entry_t(XDR *xdrs, pxinfo_epoch_row_entry_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_epoch_row_s(XDR *xdrs, pxinfo_epoch_row_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_epoch_row_t(XDR *xdrs, pxinfo_epoch_row_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_replica_epoch_status_s(XDR *xdrs, pxinfo_replica_epoch_status_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_replica_epoch_status_t(XDR *xdrs, pxinfo_replica_epoch_status_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_family_epoch_status_s(XDR *xdrs, pxinfo_family_epoch_status_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_family_epoch_status_t(XDR *xdrs, pxinfo_family_epoch_status_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_sync_attempt_data_s(XDR *xdrs, pxinfo_sync_attempt_data_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_sync_attempt_data_t(XDR *xdrs, pxinfo_sync_attempt_data_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_replica_sync_status_s(XDR *xdrs, pxinfo_replica_sync_status_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_replica_sync_status_t(XDR *xdrs, pxinfo_replica_sync_status_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_family_sync_status_s(XDR *xdrs, pxinfo_family_sync_status_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_family_sync_status_t(XDR *xdrs, pxinfo_family_sync_status_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_sync_status_summary_s(XDR *xdrs, pxinfo_sync_status_summary_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_sync_status_summary_t(XDR *xdrs, pxinfo_sync_status_summary_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_st_sleep_points_s(XDR *xdrs, pxinfo_st_sleep_points_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_st_sleep_points_t(XDR *xdrs, pxinfo_st_sleep_points_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_msg_s(XDR *xdrs, pxinfo_msg_t *record);
PXINFO_API bool_t xdr_pxinfo_msg_t(XDR *xdrs, pxinfo_msg_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_msg_list_s(XDR *xdrs, pxinfo_msg_list_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_msg_list_t(XDR *xdrs, pxinfo_msg_list_t *record, int extra);

/* Packet description records. Packet information codes both sources
 * entries whatever source_count says. The version-6 dependency list writes
 * its count limited to 1, reads it limited to 1, and codes the pointed-to
 * dependency whatever the count. A setting value codes its type, then the
 * data that the type selects; a type other than 0 to 3 fails. */
PXINFO_API bool_t xdr_pxinfo_packet_reference_s(XDR *xdrs, pxinfo_packet_reference_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_packet_reference_t(XDR *xdrs, pxinfo_packet_reference_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_packet_source_info_s(XDR *xdrs, pxinfo_packet_source_info_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_packet_source_info_t(XDR *xdrs, pxinfo_packet_source_info_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_packet_info_s(XDR *xdrs, pxinfo_packet_info_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_packet_info_t(XDR *xdrs, pxinfo_packet_info_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_packet_info_v6_s(XDR *xdrs, pxinfo_packet_info_v6_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_packet_info_v6_t(XDR *xdrs, pxinfo_packet_info_v6_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_dep_info_s(XDR *xdrs, pxinfo_dep_info_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_dep_info_t(XDR *xdrs, pxinfo_dep_info_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_dep_info_list_s(XDR *xdrs, pxinfo_dep_info_list_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_dep_info_list_t(XDR *xdrs, pxinfo_dep_info_list_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_dep_info_list_v6_s(XDR *xdrs, pxinfo_dep_info_list_v6_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_dep_info_list_v6_t(XDR *xdrs, pxinfo_dep_info_list_v6_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_setting_data_u(XDR *xdrs, pxinfo_setting_data_u *data, pxinfo_setting_type_t key);
PXINFO_API bool_t xdr_pxinfo_setting_val_s(XDR *xdrs, pxinfo_setting_val_t *record, int extra);
PXINFO_API bool_t xdr_pxinfo_setting_val_t(XDR *xdrs, pxinfo_setting_val_t *record, int extra);

/* Glue of the record definitions' code generator: two empty hooks and the
 * null procedure's argument and result filters. The result filter, when
 * decoding, refuses a value whose lowest byte is non-zero. Nothing in the
 * library calls them. */
PXINFO_API void pxinfobase_xdr_makeprocs(void);
PXINFO_API void pxinfobase_xdr_freeprocs(void);
PXINFO_API bool_t xdr_pxinfobase_program_null_V1_back(XDR *xdrs, int *value);
PXINFO_API bool_t xdr_pxinfobase_program_null_V1_over(XDR *xdrs, long *value);

TBS_EXTERN_C_END

#endif
