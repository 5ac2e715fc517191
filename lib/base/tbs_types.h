/* Basic types of the base services: status codes, identifiers and name buffers. */
#ifndef TBS_TYPES_H
#define TBS_TYPES_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define TBS_API __attribute__((visibility("default")))
#else
#define TBS_API
#endif

#ifdef __cplusplus
#define TBS_EXTERN_C_BEGIN extern "C" {
#define TBS_EXTERN_C_END }
#else
#define TBS_EXTERN_C_BEGIN
#define TBS_EXTERN_C_END
#endif

TBS_EXTERN_C_BEGIN

typedef uint32_t tbs_status_t;

#define TBS_ST_OK ((tbs_status_t)0)
#define TBS_ST_FAILED ((tbs_status_t)1001)
#define TBS_ST_NOT_FOUND ((tbs_status_t)1002)
#define TBS_ST_NO_MEMORY ((tbs_status_t)1062)
#define TBS_ST_INVALID_ARG ((tbs_status_t)1072)

/* A 16-byte identifier, stored in the byte order of its text form. Object
 * identifiers (oids) share the type. */
typedef struct tbs_uuid {
    unsigned char bytes[16];
} tbs_uuid_t;

typedef tbs_uuid_t tbs_oid_t;

#define TBS_NAME_MAX 255
#define TBS_HOSTNAME_MAX 63
typedef char tbs_name_t[TBS_NAME_MAX + 1];
typedef char tbs_hostname_t[TBS_HOSTNAME_MAX + 1];

/* Text forms: 36 characters and a NUL; the dstr form of an oid adds "oid:". */
#define TBS_UUID_STR_SIZE 37
#define TBS_OID_DSTR_SIZE 41
typedef char tbs_uuid_str_t[TBS_UUID_STR_SIZE];
typedef char tbs_oid_str_t[TBS_UUID_STR_SIZE];
typedef char tbs_oid_dstr_t[TBS_OID_DSTR_SIZE];

TBS_EXTERN_C_END

#endif
