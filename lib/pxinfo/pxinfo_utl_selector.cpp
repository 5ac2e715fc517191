// Selectors: construction, inspection and text forms.
//
// The text forms are hash keys as well as printed names (the epoch row
// comparison keys its table by pxinfo_selector_to_str), so they depend on the
// selector's fields alone. Every name field is read only up to its own size: a
// field without a terminator inside its buffer has no text form.
#include <cstring>

#include "pxinfo_frame_internal.h"
#include "pxinfo_utl_selector.h"
#include "pxinfo_utl_selector_internal.h"
#include "strutl.h"
#include "tbs_uuid.h"

namespace {

constexpr const char *kSource = pxinfo::source::kUtl;
using pxinfo::terminated;

bool present(const char *text) { return text != nullptr && text[0] != '\0'; }

// A constructor gives up: the internal error names the operation, then the
// failure location is traced.
tbs_status_t construction_failure(const pxinfo::TraceScope &scope, tbs_status_t status, int line) {
    pxinfo::log_int_error(kSource, line, scope.name());
    return scope.fail(status, line);
}

// A text operation has no text to give.
char *no_text(const pxinfo::TraceScope &scope, int line) {
    pxinfo::log_int_error(kSource, line, scope.name());
    scope.fail(TBS_ST_FAILED, line);
    return nullptr;
}

// A field reader gives up: shared message 38 printed as an error.
tbs_status_t field_failure(const pxinfo::TraceScope &scope, int line) {
    pxinfo::print_shared(IMSG_SEV_ERROR, pxinfo::kTraceComponent, tbs::SharedMsg::kInternalError, scope.name());
    return scope.fail(TBS_ST_INVALID_ARG, line);
}

// Copies one field of a bb selector with the bound of the caller's buffer.
template <size_t N>
tbs_status_t read_bb_field(const pxinfo::TraceScope &scope, const pxinfo_selector_t *selector,
                           char (pxinfo_selector_bb_t::*field)[N], char *out, size_t bound) {
    if (selector == nullptr || selector->type != PXINFO_COMPONENT_BB || out == nullptr) {
        return field_failure(scope, __LINE__);
    }
    const char *text = terminated(selector->u.bb.*field);
    if (text == nullptr || strutl_cpy_buf(out, text, bound) != TBS_ST_OK) { return field_failure(scope, __LINE__); }
    return TBS_ST_OK;
}

}  // namespace

namespace pxinfo {

char *selector_text(const pxinfo_selector_t *selector, char *buffer) {
    if (selector->type == PXINFO_COMPONENT_VAULT) {
        // "VAULT.REPLICA", the two oid texts formatted in place: this is the
        // epoch row comparison's hash key, made twice per replica.
        constexpr size_t kOidLength = TBS_UUID_STR_SIZE - 1;
        static_assert(2 * TBS_UUID_STR_SIZE <= PXINFO_SELECTOR_STR_SIZE, "a vault selector text fits");
        tbs_oid_to_str(&selector->u.vault.vault_oid, buffer);
        buffer[kOidLength] = '.';
        tbs_oid_to_str(&selector->u.vault.replica_oid, buffer + kOidLength + 1);
        return buffer;
    }
    if (selector->type == PXINFO_COMPONENT_BB) {
        const pxinfo_selector_bb_t &bb = selector->u.bb;
        const char *family = terminated(bb.family);
        const char *clan = terminated(bb.clan);
        const char *replica_set = terminated(bb.replica_set);
        if (family == nullptr || clan == nullptr || replica_set == nullptr ||
            strutl_concat(buffer, PXINFO_SELECTOR_STR_SIZE, 5, family, ".", clan, ".", replica_set) != TBS_ST_OK) {
            return nullptr;
        }
        return buffer;
    }
    return nullptr;
}

}  // namespace pxinfo

extern "C" {

// ---- Construction ---------------------------------------------------------

tbs_status_t pxinfo_new_vault_selector(const tbs_uuid_t *replica_oid, const tbs_uuid_t *vault_oid,
                                       pxinfo_selector_t *selector) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (replica_oid == nullptr || vault_oid == nullptr || selector == nullptr) {
        return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG);
    }
    selector->type = PXINFO_COMPONENT_VAULT;
    selector->u.vault.replica_oid = *replica_oid;
    selector->u.vault.vault_oid = *vault_oid;
    return TBS_ST_OK;
}

tbs_status_t pxinfo_new_bb_selector(const char *family, const char *clan, const char *replica_set,
                                    const char *replica_set_uuid, pxinfo_selector_t *selector) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (!present(family) || !present(clan) || !present(replica_set) || !present(replica_set_uuid) ||
        selector == nullptr) {
        return construction_failure(scope, TBS_ST_INVALID_ARG, __LINE__);
    }
    selector->type = PXINFO_COMPONENT_BB;
    pxinfo_selector_bb_t &bb = selector->u.bb;
    if (strutl_cpy_buf(bb.family, family, PXINFO_SELECTOR_NAME_SIZE) != TBS_ST_OK ||
        strutl_cpy_buf(bb.clan, clan, PXINFO_SELECTOR_NAME_SIZE) != TBS_ST_OK ||
        strutl_cpy_buf(bb.replica_set, replica_set, PXINFO_SELECTOR_NAME_SIZE) != TBS_ST_OK ||
        strutl_cpy_buf(bb.replica_set_uuid, replica_set_uuid, PXINFO_SELECTOR_UUID_SIZE) != TBS_ST_OK) {
        return construction_failure(scope, TBS_ST_FAILED, __LINE__);
    }
    return TBS_ST_OK;
}

tbs_status_t pxinfo_new_replica_set_selector(const char *clan, const char *replica_set, const char *replica_set_uuid,
                                             pxinfo_replica_set_selector_t *replica_set_selector) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (!present(clan) || !present(replica_set) || !present(replica_set_uuid) || replica_set_selector == nullptr) {
        return construction_failure(scope, TBS_ST_INVALID_ARG, __LINE__);
    }
    pxinfo_replica_set_selector_t &set = *replica_set_selector;
    if (strutl_cpy_buf(set.clan, clan, PXINFO_SELECTOR_NAME_SIZE) != TBS_ST_OK ||
        strutl_cpy_buf(set.replica_set, replica_set, PXINFO_SELECTOR_NAME_SIZE) != TBS_ST_OK ||
        strutl_cpy_buf(set.replica_set_uuid, replica_set_uuid, PXINFO_SELECTOR_UUID_SIZE) != TBS_ST_OK) {
        return construction_failure(scope, TBS_ST_FAILED, __LINE__);
    }
    return TBS_ST_OK;
}

tbs_status_t pxinfo_selector_get_replica_set(const pxinfo_selector_t *selector,
                                             pxinfo_replica_set_selector_t *replica_set_selector) {
    if (selector == nullptr || replica_set_selector == nullptr) { return TBS_ST_INVALID_ARG; }
    const pxinfo_selector_bb_t &bb = selector->u.bb;
    pxinfo_replica_set_selector_t &set = *replica_set_selector;
    if (strutl_cpy_buf(set.replica_set, bb.replica_set, PXINFO_SELECTOR_NAME_SIZE) != TBS_ST_OK ||
        strutl_cpy_buf(set.clan, bb.clan, PXINFO_SELECTOR_NAME_SIZE) != TBS_ST_OK ||
        strutl_cpy_buf(set.replica_set_uuid, bb.replica_set_uuid, PXINFO_SELECTOR_UUID_SIZE) != TBS_ST_OK) {
        return TBS_ST_FAILED;
    }
    return TBS_ST_OK;
}

// ---- Emptying and inspection ----------------------------------------------

void pxinfo_selector_nullify(pxinfo_selector_t *selector) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (selector == nullptr) {
        PXINFO_FAIL(scope, TBS_ST_INVALID_ARG);
        return;
    }
    std::memset(selector, 0, sizeof *selector);
}

int pxinfo_selector_is_null(const pxinfo_selector_t *selector) { return selector == nullptr || selector->type == 0; }

pxinfo_component_type_t pxinfo_get_selector_type(const pxinfo_selector_t *selector) {
    if (selector == nullptr) { return static_cast<pxinfo_component_type_t>(0); }
    if (selector->type == PXINFO_COMPONENT_VAULT || selector->type == PXINFO_COMPONENT_BB) { return selector->type; }
    return static_cast<pxinfo_component_type_t>(0);
}

// ---- Text forms -------------------------------------------------------------

char *pxinfo_selector_to_str(const pxinfo_selector_t *selector, char *buffer) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (selector == nullptr || buffer == nullptr) { return no_text(scope, __LINE__); }
    if (pxinfo::selector_text(selector, buffer) == nullptr) { return no_text(scope, __LINE__); }
    return buffer;
}

char *pxinfo_selector_to_replica_str(const pxinfo_selector_t *selector, char *buffer) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (selector == nullptr || buffer == nullptr) { return no_text(scope, __LINE__); }
    if (selector->type == PXINFO_COMPONENT_VAULT) { return tbs_oid_to_str(&selector->u.vault.replica_oid, buffer); }
    if (selector->type == PXINFO_COMPONENT_BB) {
        const char *replica_set = terminated(selector->u.bb.replica_set);
        if (replica_set == nullptr || strutl_cpy_buf(buffer, replica_set, PXINFO_SELECTOR_STR_SIZE) != TBS_ST_OK) {
            return no_text(scope, __LINE__);
        }
        return buffer;
    }
    return no_text(scope, __LINE__);
}

char *pxinfo_selector_to_family_str_int(const pxinfo_selector_t *selector, int use_dstr, char *buffer) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (selector == nullptr || buffer == nullptr) { return no_text(scope, __LINE__); }
    if (selector->type == PXINFO_COMPONENT_VAULT) {
        const tbs_uuid_t &vault = selector->u.vault.vault_oid;
        return use_dstr ? tbs_oid_to_dstr(&vault, buffer) : tbs_oid_to_str(&vault, buffer);
    }
    if (selector->type == PXINFO_COMPONENT_BB) {
        const char *family = terminated(selector->u.bb.family);
        const char *clan = terminated(selector->u.bb.clan);
        if (family == nullptr || clan == nullptr ||
            strutl_concat(buffer, PXINFO_SELECTOR_STR_SIZE, 3, family, ".", clan) != TBS_ST_OK) {
            return no_text(scope, __LINE__);
        }
        return buffer;
    }
    return no_text(scope, __LINE__);
}

char *pxinfo_selector_to_family_str(const pxinfo_selector_t *selector, char *buffer) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    char *text = pxinfo_selector_to_family_str_int(selector, 0, buffer);
    if (text == nullptr) { PXINFO_FAIL(scope, TBS_ST_FAILED); }
    return text;
}

char *pxinfo_selector_to_family_dstr(const pxinfo_selector_t *selector, char *buffer) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    char *text = pxinfo_selector_to_family_str_int(selector, 1, buffer);
    if (text == nullptr) { PXINFO_FAIL(scope, TBS_ST_FAILED); }
    return text;
}

char *pxinfo_replica_set_selector_to_str(const pxinfo_replica_set_selector_t *replica_set_selector, char *buffer) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (replica_set_selector == nullptr || buffer == nullptr) { return no_text(scope, __LINE__); }
    const char *clan = terminated(replica_set_selector->clan);
    const char *replica_set = terminated(replica_set_selector->replica_set);
    if (clan == nullptr || replica_set == nullptr ||
        strutl_concat(buffer, PXINFO_SELECTOR_STR_SIZE, 3, clan, ".", replica_set) != TBS_ST_OK) {
        return no_text(scope, __LINE__);
    }
    return buffer;
}

// ---- Field readers ----------------------------------------------------------

tbs_status_t pxinfo_selector_to_bb_family_str(const pxinfo_selector_t *selector, char *family) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    return read_bb_field(scope, selector, &pxinfo_selector_bb_t::family, family, PXINFO_SELECTOR_NAME_SIZE);
}

tbs_status_t pxinfo_selector_to_bb_clan_str(const pxinfo_selector_t *selector, char *clan) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    return read_bb_field(scope, selector, &pxinfo_selector_bb_t::clan, clan, PXINFO_SELECTOR_NAME_SIZE);
}

tbs_status_t pxinfo_selector_to_bb_replica_set_str(const pxinfo_selector_t *selector, char *replica_set) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    return read_bb_field(scope, selector, &pxinfo_selector_bb_t::replica_set, replica_set, PXINFO_SELECTOR_NAME_SIZE);
}

tbs_status_t pxinfo_selector_to_bb_replica_set_uuid_str(const pxinfo_selector_t *selector, char *replica_set_uuid) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    return read_bb_field(scope, selector, &pxinfo_selector_bb_t::replica_set_uuid, replica_set_uuid,
                         PXINFO_SELECTOR_UUID_SIZE);
}

tbs_status_t pxinfo_selector_to_bb_strs(const pxinfo_selector_t *selector, char *family, char *clan, char *replica_set,
                                        char *replica_set_uuid) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    tbs_status_t status = pxinfo_selector_to_bb_family_str(selector, family);
    if (status == TBS_ST_OK) { status = pxinfo_selector_to_bb_clan_str(selector, clan); }
    if (status == TBS_ST_OK) { status = pxinfo_selector_to_bb_replica_set_str(selector, replica_set); }
    if (status == TBS_ST_OK) { status = pxinfo_selector_to_bb_replica_set_uuid_str(selector, replica_set_uuid); }
    return PXINFO_FAIL(scope, status);
}

}  // extern "C"
