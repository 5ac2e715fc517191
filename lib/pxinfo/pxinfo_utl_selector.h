/* Selectors: building, emptying and inspecting them, their text forms, their
 * order, equality and hashes. A selector names one replica, of the vault kind
 * (vault oid and replica oid) or of the bb kind (family, clan, replica set and
 * replica set uuid); a replica set selector names a replica set alone. */
#ifndef PXINFO_UTL_SELECTOR_H
#define PXINFO_UTL_SELECTOR_H

#include <pxinfo/pxinfo_msg.h>
#include <pxinfo/pxinfo_xdr.h>
#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* The family that stands in when a replica set selector is handled as a bb
 * selector. */
#define PXINFO_DUMMY_FAMILY "dummy"

/* Size of the buffer every whole-selector text form is written into. */
#define PXINFO_SELECTOR_STR_SIZE 768
/* Bounds of the bb fields, terminator included. */
#define PXINFO_SELECTOR_NAME_SIZE 256
#define PXINFO_SELECTOR_UUID_SIZE 51

/* The result of a selector comparison when the two cannot be compared (a
 * selector of no valid type, or replicas of different families). It is no
 * order: read it as unequal. */
#define PXINFO_CMP_INVALID 42

/* ---- Construction and inspection ----------------------------------------
 * Statuses: 0, TBS_ST_FAILED (a text does not fit), TBS_ST_INVALID_ARG. */

/* Makes a vault selector; note that the replica comes first here and second
 * in the record. */
PXINFO_API tbs_status_t pxinfo_new_vault_selector(const tbs_uuid_t *replica_oid, const tbs_uuid_t *vault_oid,
                                                  pxinfo_selector_t *selector);
/* Makes a bb selector; all four texts must be non-empty. type is set before
 * the texts are copied, so a text that does not fit leaves a selector of type
 * 2 that is partly filled and must not be used. */
PXINFO_API tbs_status_t pxinfo_new_bb_selector(const char *family, const char *clan, const char *replica_set,
                                               const char *replica_set_uuid, pxinfo_selector_t *selector);
PXINFO_API tbs_status_t pxinfo_new_replica_set_selector(const char *clan, const char *replica_set,
                                                        const char *replica_set_uuid,
                                                        pxinfo_replica_set_selector_t *replica_set_selector);
/* Zeroes every byte of the selector: the null selector. */
PXINFO_API void pxinfo_selector_nullify(pxinfo_selector_t *selector);
/* 1 when the selector is absent or of type 0. */
PXINFO_API int pxinfo_selector_is_null(const pxinfo_selector_t *selector);
/* 1 or 2 for a vault or bb selector, 0 for anything else (absent included). */
PXINFO_API pxinfo_component_type_t pxinfo_get_selector_type(const pxinfo_selector_t *selector);
/* Copies the replica set, clan and uuid of a bb selector (its type is not
 * looked at). TBS_ST_FAILED when a field does not fit. */
PXINFO_API tbs_status_t pxinfo_selector_get_replica_set(const pxinfo_selector_t *selector,
                                                        pxinfo_replica_set_selector_t *replica_set_selector);

/* ---- Text forms ----------------------------------------------------------
 * Written into a caller's buffer of PXINFO_SELECTOR_STR_SIZE bytes; the
 * result is the buffer, or null (with an internal error logged) for a
 * selector of no valid type or a text that does not fit. Equal selectors
 * written alike give equal texts. */

/* Vault: "VAULT.REPLICA" (oid texts); bb: "family.clan.replica_set". */
PXINFO_API char *pxinfo_selector_to_str(const pxinfo_selector_t *selector, char *buffer);
/* Vault: the replica oid's text; bb: the replica set. */
PXINFO_API char *pxinfo_selector_to_replica_str(const pxinfo_selector_t *selector, char *buffer);
/* Vault: the vault oid's text; bb: "family.clan". */
PXINFO_API char *pxinfo_selector_to_family_str(const pxinfo_selector_t *selector, char *buffer);
/* As above, with the vault oid in its dstr form. */
PXINFO_API char *pxinfo_selector_to_family_dstr(const pxinfo_selector_t *selector, char *buffer);
/* "clan.replica_set". */
PXINFO_API char *pxinfo_replica_set_selector_to_str(const pxinfo_replica_set_selector_t *replica_set_selector,
                                                    char *buffer);

/* Field readers of a bb selector: the family, clan and replica set into
 * buffers of PXINFO_SELECTOR_NAME_SIZE bytes, the uuid into one of
 * PXINFO_SELECTOR_UUID_SIZE. TBS_ST_INVALID_ARG, with an error printed, for an
 * absent or non-bb selector or a field that does not fit. */
PXINFO_API tbs_status_t pxinfo_selector_to_bb_family_str(const pxinfo_selector_t *selector, char *family);
PXINFO_API tbs_status_t pxinfo_selector_to_bb_clan_str(const pxinfo_selector_t *selector, char *clan);
PXINFO_API tbs_status_t pxinfo_selector_to_bb_replica_set_str(const pxinfo_selector_t *selector, char *replica_set);
PXINFO_API tbs_status_t pxinfo_selector_to_bb_replica_set_uuid_str(const pxinfo_selector_t *selector,
                                                                   char *replica_set_uuid);
/* The four readers in turn; stops at the first failure and returns it. */
PXINFO_API tbs_status_t pxinfo_selector_to_bb_strs(const pxinfo_selector_t *selector, char *family, char *clan,
                                                   char *replica_set, char *replica_set_uuid);

/* ---- Order, equality, hashes ---------------------------------------------
 * One total order: every vault selector before every bb selector; vault
 * selectors by vault oid, then replica oid; bb selectors by clan, family,
 * replica set, replica set uuid, each compared with whitespace disregarded.
 * Results are -1, 0, +1, or PXINFO_CMP_INVALID. */

/* The family part of the order. */
PXINFO_API int pxinfo_selector_family_cmp(const pxinfo_selector_t *a, const pxinfo_selector_t *b);
/* The replica part; PXINFO_CMP_INVALID (and an internal error) for replicas
 * of different families. */
PXINFO_API int pxinfo_selector_replica_cmp(const pxinfo_selector_t *a, const pxinfo_selector_t *b);
PXINFO_API int pxinfo_selector_cmp(const pxinfo_selector_t *a, const pxinfo_selector_t *b);
/* 1 when pxinfo_selector_cmp gives 0, else 0. */
PXINFO_API int pxinfo_selector_eq(const pxinfo_selector_t *a, const pxinfo_selector_t *b);
/* Replica set selectors by clan, replica set, uuid (as bb selectors of the
 * family PXINFO_DUMMY_FAMILY). */
PXINFO_API int pxinfo_replica_set_selector_cmp(const pxinfo_replica_set_selector_t *loc_set1_p,
                                               const pxinfo_replica_set_selector_t *loc_set2_p);
PXINFO_API int pxinfo_replica_set_selector_eq(const pxinfo_replica_set_selector_t *loc_set1_p,
                                              const pxinfo_replica_set_selector_t *loc_set2_p);
/* Vault: the oid hash of the replica (vault) oid. bb: the first four bytes
 * of the replica set (family), each a signed byte shifted by 8 bits per
 * position. 0 (and an internal error) for an absent or invalid selector.
 * The bytes are hashed as they are: selectors that are equal only because
 * whitespace is disregarded may hash differently. */
PXINFO_API uint32_t pxinfo_selector_to_replica_hash(const pxinfo_selector_t *selector);
PXINFO_API uint32_t pxinfo_selector_to_family_hash(const pxinfo_selector_t *selector);

TBS_EXTERN_C_END

#endif
