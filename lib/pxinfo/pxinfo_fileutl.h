/* Health files: the epoch status and the sync status of one family of
 * replicas, taken at the same moment and kept together in one file. The file
 * holds the two records in XDR, the epoch status first, with nothing before,
 * between or after them. The caller opens and closes the file. */
#ifndef PXINFO_FILEUTL_H
#define PXINFO_FILEUTL_H

#include <stdio.h>

#include <pxinfo/pxinfo_msg.h>
#include <pxinfo/pxinfo_xdr.h>
#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* Writes the epoch status and then the sync status to file. Before writing,
 * the records must describe the same family: at least two replicas, as many
 * sync entries as epoch entries, equal timestamps, and every epoch entry with
 * one time and one epoch per replica. Returns 0; TBS_ST_INVALID_ARG for a
 * null record or records that break those rules (nothing is written); the
 * status of the stream's creation when it fails; TBS_ST_FAILED when encoding
 * fails. */
PXINFO_API tbs_status_t pxinfo_write_health_file(const pxinfo_family_sync_status_t *sync,
                                                 const pxinfo_family_epoch_status_t *epoch, FILE *file);

/* Reads a health file into the two records, which are cleared first. With
 * epoch_only non-zero only the epoch status is read and checked, and the sync
 * record stays zeroed. Returns 0; TBS_ST_INVALID_ARG for a null record, or
 * when the records read break the rules above (they are then left filled, and
 * the caller releases them with the two free operations); the status of the
 * stream's creation when it fails; TBS_ST_FAILED when decoding fails (what
 * was decoded has then already been released). */
PXINFO_API tbs_status_t pxinfo_read_health_file(pxinfo_family_sync_status_t *sync, pxinfo_family_epoch_status_t *epoch,
                                                FILE *file, int epoch_only);

/* Release what reading allocated inside a record (not the record itself); a
 * null record is ignored. */
PXINFO_API void pxinfo_free_family_epoch_status_from_file(pxinfo_family_epoch_status_t *epoch);
PXINFO_API void pxinfo_free_family_sync_status_from_file(pxinfo_family_sync_status_t *sync);

TBS_EXTERN_C_END

#endif
