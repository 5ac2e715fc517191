/* Uuids and object identifiers: text forms, comparison, equality, hashes. */
#ifndef TBS_UUID_H
#define TBS_UUID_H

#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

TBS_API extern const tbs_uuid_t TBS_UUID_NULL;

/* Writes the 36-character lower-case text form and a NUL into buffer (at
 * least TBS_UUID_STR_SIZE bytes); returns buffer. */
TBS_API char *tbs_uuid_to_str(const tbs_uuid_t *uuid, char *buffer);
/* Parses a text form (either case, exactly 36 characters); 0 on success,
 * TBS_ST_FAILED when text is no uuid (uuid is then left unchanged). */
TBS_API tbs_status_t tbs_str_to_uuid(const char *text, tbs_uuid_t *uuid);
/* -1, 0 or +1: the 16 bytes compared as unsigned bytes in text order. */
TBS_API int tbs_uuid_cmp(const tbs_uuid_t *a, const tbs_uuid_t *b);
/* Non-zero when equal. */
TBS_API int tbs_uuid_eq(const tbs_uuid_t *a, const tbs_uuid_t *b);
TBS_API uint32_t tbs_uuid_to_hash32(const tbs_uuid_t *uuid);

TBS_API char *tbs_oid_to_str(const tbs_oid_t *oid, char *buffer);
/* "oid:" and the text form; buffer of at least TBS_OID_DSTR_SIZE bytes. */
TBS_API char *tbs_oid_to_dstr(const tbs_oid_t *oid, char *buffer);
TBS_API int tbs_oid_cmp(const tbs_oid_t *a, const tbs_oid_t *b);
TBS_API int tbs_oid_eq(const tbs_oid_t *a, const tbs_oid_t *b);
TBS_API uint32_t tbs_oid_to_hash32(const tbs_oid_t *oid);
/* Copies an oid into a uuid (the same 16 bytes). */
TBS_API void tbs_oid_to_uuid(const tbs_oid_t *oid, tbs_uuid_t *uuid);

TBS_EXTERN_C_END

#endif
