// Epoch rows: the replica-by-replica comparison of a packet's row with a
// target replica's row, and copying, freeing and emptying rows.
//
// The comparison indexes the target row in a hash table keyed by each
// replica's full text form, then walks the packet row removing what it
// matches, so that what stays in the table is what only the target lists.
// It costs time linear in the two rows.
#include <cstring>

#include "hash.h"
#include "pxinfo_frame_internal.h"
#include "pxinfo_utl_epoch.h"
#include "pxinfo_utl_selector.h"
#include "pxinfo_utl_selector_internal.h"
#include "stg.h"

namespace {

constexpr const char *kSource = pxinfo::source::kUtl;

using Entry = pxinfo_epoch_row_entry_t;

// How one replica's packet epoch stands against its target epoch: their
// difference modulo 2^32 read as a signed 32-bit number, so a difference of
// 2^31 or more is behind.
int compare_epochs(pxinfo_epoch_num_t packet_epoch, pxinfo_epoch_num_t target_epoch) {
    uint32_t difference = packet_epoch - target_epoch;
    if (difference == 0) { return PXINFO_EPOCH_CMP_EQUAL; }
    return difference >= 0x80000000u ? PXINFO_EPOCH_CMP_LESS : PXINFO_EPOCH_CMP_GREATER;
}

// Folds one replica's result into the overall one: ahead and behind together
// make mixed, and mixed stays.
int combine(int overall, int current) {
    if (overall == PXINFO_EPOCH_CMP_MIXED || current == PXINFO_EPOCH_CMP_EQUAL) { return overall; }
    if (overall == PXINFO_EPOCH_CMP_EQUAL || overall == current) { return current; }
    return PXINFO_EPOCH_CMP_MIXED;
}

void combine_traced(int *overall, int current) {
    int before = *overall;
    *overall = combine(before, current);
    pxinfo::trace_detail(pxinfo::kTraceFine, "given overall result: %d, current result: %d, overall result: %d.\n",
                         before, current, *overall);
}

// One comparison: the table of target entries not yet matched, and what the
// caller passed. The table is deleted with the object, on every path.
//
// Every entry is handled at its own turn: it is compared with the excluded
// replica, its key is formed, its partner is taken out of the table and the
// partner's epoch is read then, so that a miscompare callback that changes a
// later entry of either row, or the excluded replica, is seen exactly as in a
// comparison that takes one entry after the other, with traces on or off.
//
// What happens ahead of an entry's turn cannot be seen. Keys formed ahead,
// quietly and from the rows as they are at that moment, are handed to the
// table as hints two groups ahead (the table fetches their slots at once and
// their entries at the next hint); at its turn an entry uses the key formed
// ahead only if its replica is still the one it was formed from. While no
// code but the comparison's own has run (no callback, and nothing printed
// that a message sink could see), the keys formed ahead are taken as they
// are, the partners of a packet group are taken out of the table together,
// so that their misses overlap, and the target epochs are read from a copy of
// their own (an entry is 832 bytes, an epoch 4). Rows too large for the
// caches then cost no more per replica than small ones.
class RowComparison {
  public:
    RowComparison(const pxinfo::TraceScope &scope, const pxinfo_selector_t *excluded,
                  pxinfo_miscompare_functor_t functor, int *result)
        : scope_(scope), excluded_(excluded), functor_(functor), result_(result) {}
    ~RowComparison() {
        hash_delete_ht(&table_);
        stg_free(target_epochs_);
    }
    RowComparison(const RowComparison &) = delete;
    RowComparison &operator=(const RowComparison &) = delete;

    // The table and the copy of the target epochs; false when storage is
    // exhausted.
    bool create_table(unsigned target_count) {
        table_ = hash_str_create(target_count, sizeof(const Entry *), HASH_STR_UNIQUE);
        target_epochs_ = pxinfo::allocate_array<pxinfo_epoch_num_t>(STG_AREA_TEMP, target_count);
        return table_ != nullptr && target_epochs_ != nullptr;
    }
    tbs_status_t index_target(unsigned count, const Entry *entries);
    tbs_status_t walk_packet(unsigned count, const Entry *entries);
    void walk_target_only();

  private:
    // A key formed ahead of its entry's turn, and the vault replica it was
    // formed from.
    struct AheadKey {
        const char *text;  // null when the replica had no text form
        pxinfo_selector_vault_t vault;
        char buffer[PXINFO_SELECTOR_STR_SIZE];
    };
    static constexpr unsigned kGroup = 8;
    static constexpr unsigned kGroupsAhead = 3;
    static constexpr unsigned kHintDistance = (kGroupsAhead - 1) * kGroup;

    bool excluded(const Entry &entry) const {
        return excluded_ != nullptr && pxinfo_selector_eq(&entry.replica, excluded_);
    }
    const char *key_at_turn(const Entry &entry, const AheadKey &ahead);
    void form_ahead(const Entry *group, unsigned size, AheadKey *keys, const Entry *end);
    template <typename VisitGroup>
    tbs_status_t walk(unsigned count, const Entry *entries, VisitGroup visit_group);
    bool runs_alone(unsigned size, const AheadKey *keys);
    pxinfo_epoch_num_t target_epoch(const Entry *target) const {
        return epochs_copied_ ? target_epochs_[target - target_entries_] : target->epoch;
    }
    const Entry *take_partner(const char *key);
    tbs_status_t match_packet_entry(const Entry &entry, const char *key, const Entry *partner);

    const pxinfo::TraceScope &scope_;
    const pxinfo_selector_t *excluded_;
    pxinfo_miscompare_functor_t functor_;
    int *result_;
    hash_table_t *table_ = nullptr;
    const Entry *target_entries_ = nullptr;
    // The target epochs as they were when the row was indexed: the partners'
    // epochs are read from here until code of the caller's may have run and
    // changed the row.
    pxinfo_epoch_num_t *target_epochs_ = nullptr;
    bool epochs_copied_ = true;
    char key_[PXINFO_SELECTOR_STR_SIZE];
    // The keys of the group handled now and of the two after it.
    AheadKey ahead_[kGroupsAhead][kGroup];
};

// The entry's key, its replica's full text form as it is now; null when it
// has none. A key formed ahead from the same vault replica is that text
// already, and is taken while the entry and exit lines that forming it again
// would print are not wanted; otherwise it is formed by
// pxinfo_selector_to_str, with its trace lines and internal error.
const char *RowComparison::key_at_turn(const Entry &entry, const AheadKey &ahead) {
    if (ahead.text != nullptr && entry.replica.type == PXINFO_COMPONENT_VAULT &&
        std::memcmp(&entry.replica.u.vault, &ahead.vault, sizeof ahead.vault) == 0 &&
        !pxinfo::trace_gate(pxinfo::kTraceEntryExit)) {
        return ahead.text;
    }
    return pxinfo_selector_to_str(&entry.replica, key_);
}

// Forms the keys of a group quietly and hands them to the table as a hint.
void RowComparison::form_ahead(const Entry *group, unsigned size, AheadKey *keys, const Entry *end) {
    const char *texts[kGroup];
    for (unsigned i = 0; i < size; ++i) {
        // An entry is 832 bytes: the one a group later is fetched now.
        if (end - group > i + kGroup) { __builtin_prefetch(&group[i + kGroup]); }
        const pxinfo_selector_t &replica = group[i].replica;
        keys[i].text =
            replica.type == PXINFO_COMPONENT_VAULT ? pxinfo::selector_text(&replica, keys[i].buffer) : nullptr;
        if (keys[i].text != nullptr) { keys[i].vault = replica.u.vault; }
        texts[i] = keys[i].text;
    }
    hash_str_prefetch(table_, texts, size);
}

// Hands the entries, group by group in order, to visit_group with the keys
// formed ahead for them. Counts are compared as what is left, so that no
// index runs past the largest count.
template <typename VisitGroup>
tbs_status_t RowComparison::walk(unsigned count, const Entry *entries, VisitGroup visit_group) {
    auto size_at = [count](unsigned start) { return count - start < kGroup ? count - start : kGroup; };
    auto keys_at = [this](unsigned start) { return ahead_[(start / kGroup) % kGroupsAhead]; };
    for (unsigned start = 0; start < count && start < kHintDistance; start += kGroup) {
        form_ahead(entries + start, size_at(start), keys_at(start), entries + count);
    }
    for (unsigned start = 0; start < count; start += kGroup) {
        if (count - start > kHintDistance) {
            unsigned later = start + kHintDistance;
            form_ahead(entries + later, size_at(later), keys_at(later), entries + count);
        }
        tbs_status_t status = visit_group(entries + start, size_at(start), keys_at(start));
        if (status != TBS_ST_OK) { return status; }
    }
    return TBS_ST_OK;
}

tbs_status_t RowComparison::index_target(unsigned count, const Entry *entries) {
    target_entries_ = entries;
    return walk(count, entries, [this](const Entry *group, unsigned size, const AheadKey *keys) {
        const bool alone = runs_alone(size, keys);
        for (unsigned i = 0; i < size; ++i) {
            if (!alone && excluded(group[i])) { continue; }
            const char *key = alone ? keys[i].text : key_at_turn(group[i], keys[i]);
            void **slot = nullptr;
            if (key == nullptr || hash_str_enter(table_, key, nullptr, &slot) != 0) { return TBS_ST_INVALID_ARG; }
            *slot = const_cast<Entry *>(&group[i]);
            target_epochs_[&group[i] - target_entries_] = group[i].epoch;
        }
        return TBS_ST_OK;
    });
}

// True when handling a group runs no code but the comparison's own and
// prints nothing: no excluded replica (its comparisons trace and may log), no
// entry traces, and every key formed ahead. The entries are then as their
// keys were formed, and the keys are taken as they are. Otherwise a message
// sink may run, and the copy of the target epochs is not read any more.
bool RowComparison::runs_alone(unsigned size, const AheadKey *keys) {
    bool alone = excluded_ == nullptr && !pxinfo::trace_gate(pxinfo::kTraceEntryExit);
    for (unsigned i = 0; i < size && alone; ++i) { alone = keys[i].text != nullptr; }
    if (!alone) { epochs_copied_ = false; }
    return alone;
}

tbs_status_t RowComparison::walk_packet(unsigned count, const Entry *entries) {
    return walk(count, entries, [this](const Entry *group, unsigned size, const AheadKey *keys) {
        // Without a callback the partners are taken out together, so that
        // their misses overlap, and their epochs fetched.
        const Entry *partners[kGroup] = {};
        const bool alone = runs_alone(size, keys);
        const bool together = alone && functor_.handle_miscompare == nullptr;
        for (unsigned i = 0; i < size && together; ++i) {
            partners[i] = take_partner(keys[i].text);
            if (partners[i] != nullptr) { __builtin_prefetch(&target_epochs_[partners[i] - target_entries_]); }
        }
        for (unsigned i = 0; i < size; ++i) {
            if (excluded(group[i])) { continue; }
            const char *key = together ? keys[i].text : key_at_turn(group[i], keys[i]);
            if (key == nullptr) { return TBS_ST_INVALID_ARG; }
            tbs_status_t status = match_packet_entry(group[i], key, together ? partners[i] : take_partner(key));
            if (status != TBS_ST_OK) { return status; }
        }
        return TBS_ST_OK;
    });
}

// Takes the target entry of key out of the table; null when there is none.
const Entry *RowComparison::take_partner(const char *key) {
    void **slot = nullptr;
    return hash_str_free(table_, key, nullptr, &slot) != 0 ? static_cast<const Entry *>(*slot) : nullptr;
}

// Compares the entry's epoch with its partner's (0 when it has none), calls
// the functor when the packet is ahead and folds the result in.
tbs_status_t RowComparison::match_packet_entry(const Entry &entry, const char *key, const Entry *partner) {
    if (partner == nullptr) {
        pxinfo::trace_detail(pxinfo::kTraceFine, "Replica %s is not known by the target replica\n", key);
    }
    int current = compare_epochs(entry.epoch, partner != nullptr ? target_epoch(partner) : 0);
    if (current == PXINFO_EPOCH_CMP_GREATER && functor_.handle_miscompare != nullptr) {
        epochs_copied_ = false;
        tbs_status_t status = functor_.handle_miscompare(&entry, partner, functor_.context);
        if (status != TBS_ST_OK) { return PXINFO_FAIL_OP(scope_, status, "functor.handle_miscompare"); }
    }
    combine_traced(result_, current);
    return TBS_ST_OK;
}

void RowComparison::walk_target_only() {
    hash_iterator_t iterator = 0;
    const char *key = nullptr;
    void **slot = nullptr;
    while (hash_str_next(table_, &iterator, &key, &slot) != 0) {
        const Entry *entry = static_cast<const Entry *>(*slot);
        pxinfo::trace_detail(pxinfo::kTraceFine, "Replica %s is new in target replica.\n ", key);
        combine_traced(result_, compare_epochs(0, target_epoch(entry)));
    }
}

// The family check on the first entries: sets the result and returns true
// when the rows belong to different families; *status is TBS_ST_FAILED when
// the families cannot be compared.
bool decided_by_family(const Entry &packet_first, const Entry &target_first, int *result, tbs_status_t *status) {
    int order = pxinfo_selector_family_cmp(&packet_first.replica, &target_first.replica);
    if (order == 0) { return false; }
    if (order == 1) {
        *result = PXINFO_EPOCH_CMP_GREATER;
    } else if (order == -1) {
        *result = PXINFO_EPOCH_CMP_LESS;
    } else {
        *status = TBS_ST_FAILED;
    }
    return true;
}

}  // namespace

extern "C" {

tbs_status_t pxinfo_epoch_row_compare(unsigned packet_count, const pxinfo_epoch_row_entry_t *packet_entries,
                                      unsigned target_count, const pxinfo_epoch_row_entry_t *target_entries,
                                      const pxinfo_selector_t *excluded, pxinfo_miscompare_functor_t functor,
                                      int *result) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (result == nullptr || (packet_count > 0 && packet_entries == nullptr) ||
        (target_count > 0 && target_entries == nullptr)) {
        return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG);
    }
    // An empty row names no family, so only two listed rows are checked.
    if (packet_count > 0 && target_count > 0) {
        tbs_status_t status = TBS_ST_OK;
        if (decided_by_family(packet_entries[0], target_entries[0], result, &status)) {
            return PXINFO_FAIL(scope, status);
        }
    }
    pxinfo::trace_detail(pxinfo::kTraceFine,
                         "%d rows in packet epoch row table and %d rows in target replica epoch row table.\n",
                         static_cast<int>(packet_count), static_cast<int>(target_count));

    RowComparison comparison(scope, excluded, functor, result);
    if (!comparison.create_table(target_count)) { return PXINFO_FAIL(scope, TBS_ST_NO_MEMORY); }
    *result = PXINFO_EPOCH_CMP_EQUAL;
    tbs_status_t status = comparison.index_target(target_count, target_entries);
    if (status == TBS_ST_OK) { status = comparison.walk_packet(packet_count, packet_entries); }
    if (status == TBS_ST_OK) { comparison.walk_target_only(); }
    return PXINFO_FAIL(scope, status);
}

tbs_status_t pxinfo_create_new_epoch_row(const pxinfo_epoch_row_t *source, pxinfo_epoch_row_t *destination) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (source == nullptr || destination == nullptr || (source->count > 0 && source->entries == nullptr)) {
        return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG);
    }
    size_t count = source->count > 0 ? static_cast<size_t>(source->count) : 0;
    *destination = *source;
    auto *entries = pxinfo::allocate_array<Entry>(STG_AREA_TEMP, count);
    if (entries == nullptr) { return PXINFO_FAIL(scope, TBS_ST_NO_MEMORY); }
    if (count > 0) { std::memcpy(entries, source->entries, count * sizeof(Entry)); }
    destination->entries = entries;
    return TBS_ST_OK;
}

tbs_status_t pxinfo_free_new_epoch_row_entry(pxinfo_epoch_row_t *row) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (row == nullptr) { return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG); }
    if (row->entries != nullptr) { stg_free(row->entries); }
    return TBS_ST_OK;
}

void pxinfo_make_null_row(pxinfo_epoch_row_t *row) {
    // Traced on entry only: there is nothing to report on the way out.
    pxinfo::trace_entry(__func__);
    if (row == nullptr) { return; }
    row->name[0] = '\0';
    row->host[0] = '\0';
    row->count = 0;
    row->entries = nullptr;
    row->row_value1 = 0;
    row->row_value2 = 0;
}

}  // extern "C"
