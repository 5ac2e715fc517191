/* The oids of a vault selector, and whether a replica lives on this host
 * according to the host registry. */
#ifndef PXINFO_UTL_RGY_H
#define PXINFO_UTL_RGY_H

#include <pxinfo/pxinfo_msg.h>
#include <pxinfo/pxinfo_xdr.h>
#include <pxinfo/rgy.h>
#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* The replica oid or the vault oid of a vault selector. TBS_ST_INVALID_ARG,
 * with an internal-error message, for a null selector or oid or a selector of
 * another type; the oid is then not written. */
PXINFO_API tbs_status_t pxinfo_selector_to_replica_oid(const pxinfo_selector_t *selector, tbs_oid_t *oid);
PXINFO_API tbs_status_t pxinfo_selector_to_vault_oid(const pxinfo_selector_t *selector, tbs_oid_t *oid);
/* Both oids, the replica's first; the first failure is returned. */
PXINFO_API tbs_status_t pxinfo_selector_to_oids(const pxinfo_selector_t *selector, tbs_oid_t *replica_oid,
                                                tbs_oid_t *vault_oid);

/* Visits every active registry entry of the selector's replica and sets
 * *is_local to 1 when one of them names this host. With status 0, *is_local 1
 * and entry_out present, *entry_out receives the registry's last entry, which
 * the caller deletes with rgy_delete_entry; otherwise no entry is handed out.
 * TBS_ST_INVALID_ARG for a selector that is no vault selector or a null
 * is_local; a failure of the registry is returned unchanged. */
PXINFO_API tbs_status_t pxinfo_is_local_vault_replica(const pxinfo_selector_t *selector, int *is_local,
                                                      rgy_entry_t **entry_out);

TBS_EXTERN_C_END

#endif
