/* Sync job identifiers: building and copying id pairs, the text of a local
 * job id, reading a text as a job uuid or a local job id, and equality and
 * hashing of job uuids for hash tables. */
#ifndef PXINFO_UTL_JOBID_H
#define PXINFO_UTL_JOBID_H

#include <pxinfo/pxinfo_msg.h>
#include <pxinfo/pxinfo_xdr.h>
#include <pxinfo/tbs_types.h>

/* Size of the buffer that receives the text of a local job id. */
#define PXINFO_JOB_ID_STR_SIZE 256

/* Status of pxinfo_sync_job_id_to_str when the text does not fit. */
#define PXINFO_ST_JOB_ID_TOO_LONG ((tbs_status_t)1084)

TBS_EXTERN_C_BEGIN

/* Both identifiers valid. */
PXINFO_API void pxinfo_sync_job_ids_to_id_pair(const tbs_uuid_t *job_uuid, const pxinfo_sync_job_id_t *local_jobid,
                                               pxinfo_sync_job_id_pair_t *pair);
/* The uuid only; local_jobid becomes 0. */
PXINFO_API void pxinfo_sync_job_uuid_to_id_pair(const tbs_uuid_t *job_uuid, pxinfo_sync_job_id_pair_t *pair);
/* The local id only; job_uuid becomes the null uuid. */
PXINFO_API void pxinfo_sync_job_local_id_to_id_pair(const pxinfo_sync_job_id_t *local_jobid,
                                                    pxinfo_sync_job_id_pair_t *pair);
PXINFO_API void pxinfo_sync_job_id_pair_copy(const pxinfo_sync_job_id_pair_t *source,
                                             pxinfo_sync_job_id_pair_t *destination);

/* The decimal text of a local job id into a buffer of PXINFO_JOB_ID_STR_SIZE
 * bytes: 0, TBS_ST_FAILED when no text can be formed, or
 * PXINFO_ST_JOB_ID_TOO_LONG. */
PXINFO_API tbs_status_t pxinfo_sync_job_id_to_str(pxinfo_sync_job_id_t local_jobid, char *buffer);

/* Reads text as a job uuid (tried first) or else as a local job id. On a text
 * that is neither, warns and returns TBS_ST_INVALID_ARG with the pair
 * unchanged. */
PXINFO_API tbs_status_t pxinfo_str_to_sync_job_id_pair(const char *text, pxinfo_sync_job_id_pair_t *pair);

/* Non-zero when the two job uuids are equal; agrees with pxinfo_jobuuid_hash. */
PXINFO_API int pxinfo_jobuuid_eq(const tbs_uuid_t *a, const tbs_uuid_t *b);
PXINFO_API uint32_t pxinfo_jobuuid_hash(const tbs_uuid_t *job_uuid);

TBS_EXTERN_C_END

#ifdef __cplusplus
/* Reads text as a local job id (an integer, in any base the number syntax
 * allows); TBS_ST_INVALID_ARG with local_jobid unchanged when it is none.
 * Its exported symbol carries its argument types. */
PXINFO_API tbs_status_t pxinfo_str_to_sync_job_id(const char *text, unsigned int &local_jobid);
#endif

#endif
