// Sync job identifiers: id pairs, the text of a local job id, and reading a
// text as either kind of identifier.
#include "pxinfo_utl_jobid.h"
#include "pxinfo_frame_internal.h"
#include "strutl.h"
#include "tbs_uuid.h"

namespace {

// Index of "Cannot interpret the string ... as a synchronization manager job
// identifier." in the pxinfo catalog.

void fill_pair(pxinfo_sync_job_id_pair_t *pair, const tbs_uuid_t &job_uuid, pxinfo_sync_job_id_t local_jobid,
               pxinfo_sync_job_id_validity_t validity) {
    if (pair == nullptr) { return; }
    pair->job_uuid = job_uuid;
    pair->local_jobid = local_jobid;
    pair->validity = validity;
}

}  // namespace

tbs_status_t pxinfo_str_to_sync_job_id(const char *text, unsigned int &local_jobid) {
    int32_t value = 0;
    if (text == nullptr || strutl_strtol(text, 0, &value) != TBS_ST_OK) { return TBS_ST_INVALID_ARG; }
    local_jobid = static_cast<unsigned int>(value);
    return TBS_ST_OK;
}

extern "C" {

void pxinfo_sync_job_ids_to_id_pair(const tbs_uuid_t *job_uuid, const pxinfo_sync_job_id_t *local_jobid,
                                    pxinfo_sync_job_id_pair_t *pair) {
    if (job_uuid == nullptr || local_jobid == nullptr) { return; }
    fill_pair(pair, *job_uuid, *local_jobid, PXINFO_JOB_ID_BOTH);
}

void pxinfo_sync_job_uuid_to_id_pair(const tbs_uuid_t *job_uuid, pxinfo_sync_job_id_pair_t *pair) {
    if (job_uuid == nullptr) { return; }
    fill_pair(pair, *job_uuid, 0, PXINFO_JOB_ID_UUID);
}

void pxinfo_sync_job_local_id_to_id_pair(const pxinfo_sync_job_id_t *local_jobid, pxinfo_sync_job_id_pair_t *pair) {
    if (local_jobid == nullptr) { return; }
    fill_pair(pair, TBS_UUID_NULL, *local_jobid, PXINFO_JOB_ID_LOCAL);
}

void pxinfo_sync_job_id_pair_copy(const pxinfo_sync_job_id_pair_t *source, pxinfo_sync_job_id_pair_t *destination) {
    if (source == nullptr || destination == nullptr) { return; }
    *destination = *source;
}

tbs_status_t pxinfo_sync_job_id_to_str(pxinfo_sync_job_id_t local_jobid, char *buffer) {
    char digits[16];
    if (buffer == nullptr) { return TBS_ST_INVALID_ARG; }
    if (strutl_u32tostr(local_jobid, 10, digits, sizeof digits) == nullptr) { return TBS_ST_FAILED; }
    if (strutl_cpy_buf(buffer, digits, PXINFO_JOB_ID_STR_SIZE) != TBS_ST_OK) { return PXINFO_ST_JOB_ID_TOO_LONG; }
    return TBS_ST_OK;
}

tbs_status_t pxinfo_str_to_sync_job_id_pair(const char *text, pxinfo_sync_job_id_pair_t *pair) {
    if (text == nullptr || pair == nullptr) { return TBS_ST_INVALID_ARG; }
    tbs_uuid_t job_uuid;
    if (tbs_str_to_uuid(text, &job_uuid) == TBS_ST_OK) {
        pxinfo_sync_job_uuid_to_id_pair(&job_uuid, pair);
        if (pxinfo::trace_gate(pxinfo::kTraceDetail)) {
            tbs_uuid_str_t uuid_text;
            pxinfo::trace_detail(pxinfo::kTraceDetail, "using job_uuid: %s.\n", tbs_uuid_to_str(&job_uuid, uuid_text));
        }
        return TBS_ST_OK;
    }
    pxinfo_sync_job_id_t local_jobid = 0;
    tbs_status_t status = pxinfo_str_to_sync_job_id(text, local_jobid);
    if (status != TBS_ST_OK) {
        pxinfo::print_msg(false, IMSG_SEV_WARNING, pxinfo::PxinfoMsg::kJobIdIgnored, text);
        return status;
    }
    pxinfo_sync_job_local_id_to_id_pair(&local_jobid, pair);
    pxinfo::trace_detail(pxinfo::kTraceDetail, "using local_jobid: %u.\n", local_jobid);
    return TBS_ST_OK;
}

int pxinfo_jobuuid_eq(const tbs_uuid_t *a, const tbs_uuid_t *b) { return tbs_uuid_eq(a, b); }

uint32_t pxinfo_jobuuid_hash(const tbs_uuid_t *job_uuid) { return tbs_uuid_to_hash32(job_uuid); }

}  // extern "C"
