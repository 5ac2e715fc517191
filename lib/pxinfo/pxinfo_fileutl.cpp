// Health files: the family epoch status followed by the family sync status,
// in XDR over a stdio stream, checked for consistency before writing and
// after reading.
#include "pxinfo_fileutl.h"

#include "pxinfo_fileutl_internal.h"
#include "pxinfo_frame_internal.h"
#include "pxinfo_xdr_internal.h"

namespace {

constexpr const char *kSource = pxinfo::source::kFileutl;

// The pass-through value that health files hand to the record routines.
constexpr int kHealthFileExtra = 12;

// Refuses the check with one of its trace texts.
tbs_status_t refuse(const char *reason) {
    pxinfo::trace_detail(pxinfo::kTraceDetail, "%s", reason);
    return TBS_ST_INVALID_ARG;
}

// The epoch and sync records of a health file must describe the same family
// at the same moment. The first broken rule decides the result; the contents
// of the sync entries are not examined.
tbs_status_t pxinfo_verify_data(const pxinfo_family_sync_status_t *sync, const pxinfo_family_epoch_status_t *epoch,
                                bool epoch_only) {
    if (epoch->count < 2 || epoch->replicas == nullptr) { return refuse("insufficient replica-level epoch data\n"); }
    if (!epoch_only) {
        if (sync->count != epoch->count) {
            return refuse("inconsistent replica data counts in sync and epoch structures\n");
        }
        if (sync->replicas == nullptr) { return refuse("insufficient replica-level sync data\n"); }
        if (sync->timestamp != epoch->timestamp) {
            return refuse("inconsistent timestamps on epoch and sync structs\n");
        }
    }
    for (int32_t i = 0; i < epoch->count; ++i) {
        const pxinfo_replica_epoch_status_t &replica = epoch->replicas[i];
        if (replica.count != epoch->count || replica.times == nullptr || replica.epochs == nullptr) {
            return refuse("inconsistent number of replica-level data in epoch and sync structs\n");
        }
    }
    return TBS_ST_OK;
}

void destroy_stream(XDR *xdrs) {
    if (xdrs->x_ops != nullptr && xdrs->x_ops->x_destroy != nullptr) { XDR_DESTROY(xdrs); }
}

void clear_epoch_status(pxinfo_family_epoch_status_t *epoch) {
    epoch->timestamp = 0;
    epoch->count = 0;
    epoch->replicas = nullptr;
}

void clear_sync_status(pxinfo_family_sync_status_t *sync) {
    sync->timestamp = 0;
    sync->count = 0;
    sync->replicas = nullptr;
}

}  // namespace

extern "C" tbs_status_t pxinfo_xdrstdio_create(int op, FILE *file, XDR *xdrs) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (static_cast<unsigned>(op) > XDR_DECODE || file == nullptr || xdrs == nullptr) {
        return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG);
    }
    xdrs->x_ops = nullptr;
    xdrstdio_create(xdrs, file, static_cast<enum xdr_op>(op));
    if (xdrs->x_ops == nullptr) {
        const pxinfo::PxinfoMsg message =
            op == XDR_DECODE ? pxinfo::PxinfoMsg::kNoReadStream : pxinfo::PxinfoMsg::kNoWriteStream;
        pxinfo::print_msg(false, IMSG_SEV_ERROR, message);
        return PXINFO_FAIL(scope, TBS_ST_FAILED);
    }
    return TBS_ST_OK;
}

extern "C" tbs_status_t pxinfo_write_health_file(const pxinfo_family_sync_status_t *sync,
                                                 const pxinfo_family_epoch_status_t *epoch, FILE *file) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (sync == nullptr || epoch == nullptr) { return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG); }
    tbs_status_t status = pxinfo_verify_data(sync, epoch, false);
    if (status != TBS_ST_OK) { return PXINFO_FAIL(scope, status); }
    XDR xdrs;
    status = pxinfo_xdrstdio_create(XDR_ENCODE, file, &xdrs);
    if (status != TBS_ST_OK) { return PXINFO_FAIL(scope, status); }
    // Encoding only reads the records; the routines take them non-const
    // because the same routine also decodes and frees.
    auto *epoch_record = const_cast<pxinfo_family_epoch_status_t *>(epoch);
    auto *sync_record = const_cast<pxinfo_family_sync_status_t *>(sync);
    if (!xdr_pxinfo_family_epoch_status_t(&xdrs, epoch_record, kHealthFileExtra) ||
        !xdr_pxinfo_family_sync_status_t(&xdrs, sync_record, kHealthFileExtra)) {
        status = TBS_ST_FAILED;
    }
    // The stdio stream flushes the file when it is destroyed.
    destroy_stream(&xdrs);
    if (status != TBS_ST_OK) { return PXINFO_FAIL(scope, status); }
    return TBS_ST_OK;
}

extern "C" tbs_status_t pxinfo_read_health_file(pxinfo_family_sync_status_t *sync, pxinfo_family_epoch_status_t *epoch,
                                                FILE *file, int epoch_only) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (sync == nullptr || epoch == nullptr) { return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG); }
    XDR xdrs;
    tbs_status_t status = pxinfo_xdrstdio_create(XDR_DECODE, file, &xdrs);
    if (status != TBS_ST_OK) { return PXINFO_FAIL(scope, status); }
    clear_epoch_status(epoch);
    clear_sync_status(sync);
    if (!xdr_pxinfo_family_epoch_status_t(&xdrs, epoch, kHealthFileExtra)) {
        status = TBS_ST_FAILED;
        pxinfo_free_family_epoch_status_from_file(epoch);
    } else if (epoch_only == 0 && !xdr_pxinfo_family_sync_status_t(&xdrs, sync, kHealthFileExtra)) {
        status = TBS_ST_FAILED;
        pxinfo_free_family_epoch_status_from_file(epoch);
        pxinfo_free_family_sync_status_from_file(sync);
    }
    destroy_stream(&xdrs);
    if (status != TBS_ST_OK) { return PXINFO_FAIL(scope, status); }
    // On a failed check the records stay filled for the caller to release.
    status = pxinfo_verify_data(sync, epoch, epoch_only != 0);
    if (status != TBS_ST_OK) { return PXINFO_FAIL(scope, status); }
    return TBS_ST_OK;
}

extern "C" void pxinfo_free_family_epoch_status_from_file(pxinfo_family_epoch_status_t *epoch) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (epoch != nullptr) {
        xdr_ez_free(epoch, pxinfo::xdr::untyped<xdr_pxinfo_family_epoch_status_t>, 0);
        // Nothing is left to point at: a second release is harmless.
        clear_epoch_status(epoch);
    }
}

extern "C" void pxinfo_free_family_sync_status_from_file(pxinfo_family_sync_status_t *sync) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (sync != nullptr) {
        xdr_ez_free(sync, pxinfo::xdr::untyped<xdr_pxinfo_family_sync_status_t>, 0);
        clear_sync_status(sync);
    }
}
