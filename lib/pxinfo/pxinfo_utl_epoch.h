/* Epoch rows: comparing a packet's row with a target replica's row replica by
 * replica, copying, freeing and emptying rows. */
#ifndef PXINFO_UTL_EPOCH_H
#define PXINFO_UTL_EPOCH_H

#include <pxinfo/pxinfo_msg.h>
#include <pxinfo/pxinfo_xdr.h>
#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* Results of pxinfo_epoch_row_compare, for the packet row against the
 * target row. */
#define PXINFO_EPOCH_CMP_MIXED 1   /* some replica ahead and some behind */
#define PXINFO_EPOCH_CMP_LESS 2    /* none ahead, some behind; or the packet's family orders first */
#define PXINFO_EPOCH_CMP_EQUAL 3   /* every replica at the same epoch */
#define PXINFO_EPOCH_CMP_GREATER 4 /* some ahead, none behind; or the packet's family orders after */

/* Called for every packet entry that is ahead of the target row: the packet
 * entry, the target's entry for the same replica (null when the target row
 * does not list it) and the functor's context. A non-zero status ends the
 * comparison with that status. */
typedef tbs_status_t (*pxinfo_handle_miscompare_fn)(const pxinfo_epoch_row_entry_t *packet_entry,
                                                    const pxinfo_epoch_row_entry_t *target_entry, void *context);

typedef struct pxinfo_miscompare_functor {
    pxinfo_handle_miscompare_fn handle_miscompare; /* may be null */
    void *context;
} pxinfo_miscompare_functor_t;

/* Compares the packet row (packet_count entries) with the target row. A
 * replica that a row does not list counts as epoch 0 there; epochs are
 * compared by their 32-bit difference read as signed. Entries naming the
 * excluded replica (may be null) are ignored in both rows. The family of the
 * first entries decides first: different families give LESS or GREATER at
 * once. Statuses: 0; TBS_ST_INVALID_ARG (null result or entries, an entry
 * without a text form, a replica listed twice in the target row);
 * TBS_ST_FAILED (families that cannot be compared); TBS_ST_NO_MEMORY; or the
 * callback's own status. The result must not be used unless the status is 0.
 * An empty row has no family to check; its replicas are all at epoch 0. */
PXINFO_API tbs_status_t pxinfo_epoch_row_compare(unsigned packet_count, const pxinfo_epoch_row_entry_t *packet_entries,
                                                 unsigned target_count, const pxinfo_epoch_row_entry_t *target_entries,
                                                 const pxinfo_selector_t *excluded, pxinfo_miscompare_functor_t functor,
                                                 int *result);

/* Copies source into destination with an entry array of its own (from
 * stg_malloc), released with pxinfo_free_new_epoch_row_entry. On
 * TBS_ST_NO_MEMORY the destination is a shallow copy sharing the source's
 * entries. */
PXINFO_API tbs_status_t pxinfo_create_new_epoch_row(const pxinfo_epoch_row_t *source, pxinfo_epoch_row_t *destination);
/* Releases the row's entry array (entries and count are left as they are). */
PXINFO_API tbs_status_t pxinfo_free_new_epoch_row_entry(pxinfo_epoch_row_t *row);
/* Makes the row empty: empty name and host, no entries, zero values. */
PXINFO_API void pxinfo_make_null_row(pxinfo_epoch_row_t *row);

TBS_EXTERN_C_END

#endif
