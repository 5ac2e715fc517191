// Oids of vault selectors and the registry search for local replicas.
#include "pxinfo_utl_rgy.h"

#include "fileutl.h"
#include "pxinfo_frame_internal.h"
#include "tbs_uuid.h"

namespace {

constexpr const char *kSource = pxinfo::source::kUtl;

bool is_vault_selector(const pxinfo_selector_t *selector) {
    return selector != nullptr && selector->type == PXINFO_COMPONENT_VAULT;
}

// Reads one oid of a vault selector; anything else is an internal error of
// the caller.
tbs_status_t read_oid(const char *function_name, const pxinfo_selector_t *selector, tbs_oid_t *oid,
                      tbs_oid_t pxinfo_selector_vault_t::*field) {
    pxinfo::TraceScope scope(function_name, kSource);
    if (!is_vault_selector(selector) || oid == nullptr) {
        pxinfo::print_shared(IMSG_SEV_ERROR, pxinfo::kTraceComponent, tbs::SharedMsg::kInternalError, function_name);
        return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG);
    }
    *oid = selector->u.vault.*field;
    return TBS_ST_OK;
}

// Walks the registry entries of the replica. is_local becomes 1 when an
// active entry names this host; every entry is visited either way.
tbs_status_t search_registry(const pxinfo::TraceScope &scope, const tbs_uuid_t &uuid, int &is_local,
                             rgy_entry_t *&entry) {
    rgy_cursor_t *cursor = nullptr;
    tbs_status_t status = TBS_ST_OK;
    for (;;) {
        int indicator = 0;
        status = rgy_findbyuuid_entry(RGY_CLASS_REPLICA, 0, RGY_KEY_UUID, sizeof uuid, &uuid, &cursor, RGY_FETCH_ENTRY,
                                      &entry, &indicator);
        if (status != TBS_ST_OK) {
            PXINFO_FAIL_OP(scope, status, "rgy_findbyuuid_entry");
            break;
        }
        if (cursor == nullptr) {
            break;  // every entry visited
        }
        if (indicator != RGY_IND_ACTIVE) { continue; }
        const char *host = nullptr;
        status = rgy_getstring_from_entry_const(entry, RGY_ATTR_HOST, &host);
        if (status != TBS_ST_OK) {
            PXINFO_FAIL_OP(scope, status, "rgy_getstring_from_entry_const");
            break;
        }
        if (fileutl_is_localhost(host)) { is_local = 1; }
    }
    rgy_close_cursor(&cursor);
    return status;
}

}  // namespace

extern "C" {

PXINFO_API tbs_status_t pxinfo_selector_to_replica_oid(const pxinfo_selector_t *selector, tbs_oid_t *oid) {
    return read_oid("pxinfo_selector_to_replica_oid", selector, oid, &pxinfo_selector_vault_t::replica_oid);
}

PXINFO_API tbs_status_t pxinfo_selector_to_vault_oid(const pxinfo_selector_t *selector, tbs_oid_t *oid) {
    return read_oid("pxinfo_selector_to_vault_oid", selector, oid, &pxinfo_selector_vault_t::vault_oid);
}

PXINFO_API tbs_status_t pxinfo_selector_to_oids(const pxinfo_selector_t *selector, tbs_oid_t *replica_oid,
                                                tbs_oid_t *vault_oid) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    tbs_status_t status = pxinfo_selector_to_replica_oid(selector, replica_oid);
    if (status == TBS_ST_OK) { status = pxinfo_selector_to_vault_oid(selector, vault_oid); }
    return PXINFO_FAIL(scope, status);
}

PXINFO_API tbs_status_t pxinfo_is_local_vault_replica(const pxinfo_selector_t *selector, int *is_local,
                                                      rgy_entry_t **entry_out) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (entry_out != nullptr) { *entry_out = nullptr; }
    if (is_local == nullptr) { return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG); }
    *is_local = 0;
    tbs_oid_t replica_oid;
    tbs_status_t status = pxinfo_selector_to_replica_oid(selector, &replica_oid);
    if (status != TBS_ST_OK) { return PXINFO_FAIL_OP(scope, status, "pxinfo_selector_to_replica_oid"); }
    tbs_uuid_t uuid;
    tbs_oid_to_uuid(&replica_oid, &uuid);
    if (pxinfo::trace_gate(pxinfo::kTraceDetail)) {
        tbs_oid_str_t replica_text;
        tbs_oid_str_t vault_text;
        pxinfo::trace_detail(pxinfo::kTraceDetail, "check rgy for replica: %s in family: %s\n",
                             tbs_oid_to_str(&replica_oid, replica_text),
                             tbs_oid_to_str(&selector->u.vault.vault_oid, vault_text));
    }
    rgy_entry_t *entry = nullptr;
    status = search_registry(scope, uuid, *is_local, entry);
    if (status == TBS_ST_OK && entry_out != nullptr && *is_local) {
        *entry_out = entry;  // the caller's now
    } else {
        rgy_delete_entry(&entry);
    }
    return PXINFO_FAIL(scope, status);
}

}  // extern "C"
