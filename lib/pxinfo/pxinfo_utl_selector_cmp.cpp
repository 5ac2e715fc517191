// Selectors: the total order (family first, then replica), equality, the
// replica set order and the two 32-bit hashes.
#include "pxinfo_frame_internal.h"
#include "pxinfo_utl_selector.h"
#include "pxinfo_utl_selector_internal.h"
#include "strutl.h"
#include "tbs_uuid.h"

namespace {

constexpr const char *kSource = pxinfo::source::kUtl;
using pxinfo::terminated;

// A selector that can take part in the order: a vault selector, or a bb
// selector whose four texts end inside their fields.
bool comparable(const pxinfo_selector_t *selector) {
    if (selector == nullptr) { return false; }
    if (selector->type == PXINFO_COMPONENT_VAULT) { return true; }
    if (selector->type != PXINFO_COMPONENT_BB) { return false; }
    const pxinfo_selector_bb_t &bb = selector->u.bb;
    return terminated(bb.family) != nullptr && terminated(bb.clan) != nullptr &&
           terminated(bb.replica_set) != nullptr && terminated(bb.replica_set_uuid) != nullptr;
}

int sign_of(int order) { return (order > 0) - (order < 0); }

// The two selectors cannot be compared: the internal error names the
// operation and the failure location is traced.
int not_comparable(const pxinfo::TraceScope &scope, int line) {
    pxinfo::log_int_error(kSource, line, scope.name());
    scope.fail(PXINFO_CMP_INVALID, line);
    return PXINFO_CMP_INVALID;
}

// Passes a result on, tracing the failure location when it is no order.
int traced_result(const pxinfo::TraceScope &scope, int order, int line) {
    if (order == PXINFO_CMP_INVALID) { scope.fail(PXINFO_CMP_INVALID, line); }
    return order;
}

// Major key, then minor key, both with whitespace disregarded.
int compare_texts(const char *major_a, const char *major_b, const char *minor_a, const char *minor_b) {
    int order = strutl_cmp_ignore_whitespace(major_a, major_b);
    if (order == 0) { order = strutl_cmp_ignore_whitespace(minor_a, minor_b); }
    return sign_of(order);
}

// The first four bytes of a name, each read as a signed byte and placed 8
// bits further up per position, stopping at the terminator.
uint32_t name_prefix_hash(const char *name) {
    uint32_t hash = 0;
    for (unsigned i = 0; i < 4 && name[i] != '\0'; ++i) {
        int32_t widened = static_cast<signed char>(name[i]);
        hash += static_cast<uint32_t>(widened) << (8 * i);
    }
    return hash;
}

uint32_t selector_hash(const char *operation, const pxinfo_selector_t *selector, bool of_family) {
    pxinfo::TraceScope scope(operation, kSource);
    if (selector == nullptr || (selector->type != PXINFO_COMPONENT_VAULT && selector->type != PXINFO_COMPONENT_BB)) {
        pxinfo::log_int_error(kSource, __LINE__, operation);
        return 0;
    }
    if (selector->type == PXINFO_COMPONENT_VAULT) {
        return tbs_oid_to_hash32(of_family ? &selector->u.vault.vault_oid : &selector->u.vault.replica_oid);
    }
    return name_prefix_hash(of_family ? selector->u.bb.family : selector->u.bb.replica_set);
}

}  // namespace

extern "C" {

int pxinfo_selector_family_cmp(const pxinfo_selector_t *a, const pxinfo_selector_t *b) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (!comparable(a) || !comparable(b)) { return not_comparable(scope, __LINE__); }
    if (a->type != b->type) { return a->type == PXINFO_COMPONENT_VAULT ? -1 : 1; }
    if (a->type == PXINFO_COMPONENT_VAULT) {
        return traced_result(scope, tbs_oid_cmp(&a->u.vault.vault_oid, &b->u.vault.vault_oid), __LINE__);
    }
    return compare_texts(a->u.bb.clan, b->u.bb.clan, a->u.bb.family, b->u.bb.family);
}

int trusted_pxinfo_selector_replica_cmp(const pxinfo_selector_t *a, const pxinfo_selector_t *b, int trusted) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (!trusted && pxinfo_selector_family_cmp(a, b) != 0) { return not_comparable(scope, __LINE__); }
    // A trusting caller has compared the families, so the kinds agree; two
    // kinds here are a caller's error, not an order.
    if (!comparable(a) || !comparable(b) || a->type != b->type) { return not_comparable(scope, __LINE__); }
    if (a->type == PXINFO_COMPONENT_VAULT) {
        return traced_result(scope, tbs_oid_cmp(&a->u.vault.replica_oid, &b->u.vault.replica_oid), __LINE__);
    }
    return compare_texts(a->u.bb.replica_set, b->u.bb.replica_set, a->u.bb.replica_set_uuid, b->u.bb.replica_set_uuid);
}

int pxinfo_selector_replica_cmp(const pxinfo_selector_t *a, const pxinfo_selector_t *b) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    return traced_result(scope, trusted_pxinfo_selector_replica_cmp(a, b, 0), __LINE__);
}

int pxinfo_selector_cmp(const pxinfo_selector_t *a, const pxinfo_selector_t *b) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    int order = pxinfo_selector_family_cmp(a, b);
    if (order != 0) { return traced_result(scope, order, __LINE__); }
    return traced_result(scope, trusted_pxinfo_selector_replica_cmp(a, b, 1), __LINE__);
}

int pxinfo_selector_eq(const pxinfo_selector_t *a, const pxinfo_selector_t *b) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    return pxinfo_selector_cmp(a, b) == 0;
}

int pxinfo_replica_set_selector_cmp(const pxinfo_replica_set_selector_t *loc_set1_p,
                                    const pxinfo_replica_set_selector_t *loc_set2_p) {
    // Both start as null selectors, so an operand whose construction fails
    // before its type is set compares as PXINFO_CMP_INVALID.
    pxinfo_selector_t rep1 = {};
    pxinfo_selector_t rep2 = {};
    if (pxinfo_new_bb_selector(PXINFO_DUMMY_FAMILY, loc_set1_p ? loc_set1_p->clan : nullptr,
                               loc_set1_p ? loc_set1_p->replica_set : nullptr,
                               loc_set1_p ? loc_set1_p->replica_set_uuid : nullptr, &rep1) != TBS_ST_OK) {
        PXINFO_ASSERT_FAIL(
            "pxinfo_new_bb_selector(PXINFO_DUMMY_FAMILY, loc_set1_p->clan, loc_set1_p->replica_set, "
            "loc_set1_p->replica_set_uuid, &rep1) == TBS_ST_OK",
            kSource);
    }
    if (pxinfo_new_bb_selector(PXINFO_DUMMY_FAMILY, loc_set2_p ? loc_set2_p->clan : nullptr,
                               loc_set2_p ? loc_set2_p->replica_set : nullptr,
                               loc_set2_p ? loc_set2_p->replica_set_uuid : nullptr, &rep2) != TBS_ST_OK) {
        PXINFO_ASSERT_FAIL(
            "pxinfo_new_bb_selector(PXINFO_DUMMY_FAMILY, loc_set2_p->clan, loc_set2_p->replica_set, "
            "loc_set2_p->replica_set_uuid, &rep2) == TBS_ST_OK",
            kSource);
    }
    return pxinfo_selector_cmp(&rep1, &rep2);
}

int pxinfo_replica_set_selector_eq(const pxinfo_replica_set_selector_t *loc_set1_p,
                                   const pxinfo_replica_set_selector_t *loc_set2_p) {
    return pxinfo_replica_set_selector_cmp(loc_set1_p, loc_set2_p) == 0;
}

uint32_t pxinfo_selector_to_replica_hash(const pxinfo_selector_t *selector) {
    return selector_hash("pxinfo_selector_to_replica_hash", selector, false);
}

uint32_t pxinfo_selector_to_family_hash(const pxinfo_selector_t *selector) {
    return selector_hash("pxinfo_selector_to_family_hash", selector, true);
}

}  // extern "C"
