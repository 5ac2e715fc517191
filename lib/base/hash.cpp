// Hash tables keyed by text: open addressing with linear probing over a
// power-of-two array of slots, each slot holding its key's hash and its entry.
// An entry is one block of its own (its data word, then its key), so that the
// slots handed out stay put while the array grows, and a look-up compares
// texts only when the hashes agree. Every block comes from the storage
// service so that exhaustion can be injected and leaks counted.
#include "hash.h"

#include <cstdint>
#include <cstring>
#include <functional>
#include <string_view>

#include "stg.h"

namespace {

// An entry's block: this header, then the key's characters and a NUL.
struct Entry {
    void *data;
    size_t length;

    char *key() { return reinterpret_cast<char *>(this + 1); }
    const char *key() const { return reinterpret_cast<const char *>(this + 1); }
};

struct Slot {
    size_t hash;
    Entry *entry;  // null for an empty slot
};

constexpr size_t kMinCapacity = 8;

size_t hash_of(std::string_view key) { return std::hash<std::string_view>()(key); }

// The capacity that holds count keys at most seven eighths full; 0 when no
// array that large can be allocated.
size_t capacity_for(size_t count) {
    size_t capacity = kMinCapacity;
    while (capacity / 8 * 7 < count) {
        if (capacity > SIZE_MAX / sizeof(Slot) / 2) return 0;
        capacity *= 2;
    }
    return capacity;
}

Slot *new_slots(size_t capacity) {
    if (capacity == 0) return nullptr;
    auto *slots = static_cast<Slot *>(stg_malloc(capacity * sizeof(Slot)));
    if (slots != nullptr) std::memset(slots, 0, capacity * sizeof(Slot));
    return slots;
}

// Hands out an entry's key and data slot.
void hand_out(Entry *entry, const char **key_out, void ***data_slot_out) {
    if (key_out != nullptr) *key_out = entry->key();
    if (data_slot_out != nullptr) *data_slot_out = &entry->data;
}

}  // namespace

struct hash_table {
    Slot *slots;
    size_t capacity;  // a power of two
    size_t count;
    bool reenter;
    // The last removed entry, kept so that its key and slot stay readable.
    Entry *removed;
    // The walk of hash_str_next: the next slot to look at.
    size_t walk;
    bool walking;

    size_t mask() const { return capacity - 1; }

    // The slot holding key, or capacity when it is not there.
    size_t find(std::string_view key, size_t hash) const {
        for (size_t i = hash & mask(); slots[i].entry != nullptr; i = (i + 1) & mask()) {
            const Entry *entry = slots[i].entry;
            if (slots[i].hash == hash && entry->length == key.size() &&
                std::memcmp(entry->key(), key.data(), key.size()) == 0)
                return i;
        }
        return capacity;
    }

    void place(Slot slot) {
        size_t i = slot.hash & mask();
        while (slots[i].entry != nullptr) i = (i + 1) & mask();
        slots[i] = slot;
    }

    // Makes room for one more key; false when storage is exhausted.
    bool reserve_one() {
        if (count + 1 <= capacity / 8 * 7) return true;
        size_t grown_capacity = capacity_for(count + 1);
        Slot *grown = new_slots(grown_capacity);
        if (grown == nullptr) return false;
        Slot *old = slots;
        size_t old_capacity = capacity;
        slots = grown;
        capacity = grown_capacity;
        for (size_t i = 0; i < old_capacity; ++i)
            if (old[i].entry != nullptr) place(old[i]);
        stg_free(old);
        return true;
    }

    // Empties slot hole, moving later entries of its probe run back so that
    // every key stays reachable from its home slot without tombstones.
    void erase_at(size_t hole) {
        for (size_t next = (hole + 1) & mask(); slots[next].entry != nullptr; next = (next + 1) & mask()) {
            size_t home = slots[next].hash & mask();
            // The hole lies on the entry's probe path when, from its home,
            // the hole comes no later than where the entry is now.
            if (((next - home) & mask()) >= ((next - hole) & mask())) {
                slots[hole] = slots[next];
                hole = next;
            }
        }
        slots[hole] = Slot{};
    }
};

TBS_EXTERN_C_BEGIN

hash_table_t *hash_str_create(size_t size_hint, size_t data_size, int flags) {
    if (data_size > sizeof(void *)) return nullptr;
    auto *table = static_cast<hash_table_t *>(stg_malloc(sizeof(hash_table_t)));
    if (table == nullptr) return nullptr;
    size_t capacity = capacity_for(size_hint);
    *table = hash_table_t{new_slots(capacity), capacity, 0, flags == HASH_STR_REENTER, nullptr, 0, false};
    if (table->slots == nullptr) {
        stg_free(table);
        return nullptr;
    }
    return table;
}

int hash_str_enter(hash_table_t *table, const char *key, const char **key_out, void ***data_slot_out) {
    if (table == nullptr || key == nullptr) return 1;
    table->walking = false;
    std::string_view wanted(key);
    size_t hash = hash_of(wanted);
    size_t found = table->find(wanted, hash);
    if (found != table->capacity) {
        if (!table->reenter) return 1;
        hand_out(table->slots[found].entry, key_out, data_slot_out);
        return 0;
    }
    if (!table->reserve_one()) return 1;
    auto *entry = static_cast<Entry *>(stg_malloc(sizeof(Entry) + wanted.size() + 1));
    if (entry == nullptr) return 1;
    entry->data = nullptr;
    entry->length = wanted.size();
    std::memcpy(entry->key(), key, wanted.size() + 1);
    table->place(Slot{hash, entry});
    ++table->count;
    hand_out(entry, key_out, data_slot_out);
    return 0;
}

int hash_str_lookup(hash_table_t *table, const char *key, const char **key_out, void ***data_slot_out) {
    if (table == nullptr || key == nullptr) return 0;
    std::string_view wanted(key);
    size_t found = table->find(wanted, hash_of(wanted));
    if (found == table->capacity) return 0;
    hand_out(table->slots[found].entry, key_out, data_slot_out);
    return 1;
}

int hash_str_free(hash_table_t *table, const char *key, const char **key_out, void ***data_slot_out) {
    if (table == nullptr || key == nullptr) return 0;
    std::string_view wanted(key);
    size_t found = table->find(wanted, hash_of(wanted));
    if (found == table->capacity) return 0;
    table->walking = false;
    // The entry leaves the table but stays alive (replacing the one removed
    // before), so what is handed out remains readable.
    Entry *entry = table->slots[found].entry;
    table->erase_at(found);
    --table->count;
    stg_free(table->removed);
    table->removed = entry;
    hand_out(entry, key_out, data_slot_out);
    return 1;
}

int hash_str_next(hash_table_t *table, hash_iterator_t *iterator, const char **key_out, void ***data_slot_out) {
    if (table == nullptr || iterator == nullptr) return 0;
    if (*iterator == 0) {
        table->walk = 0;
        table->walking = true;
    }
    if (!table->walking) return 0;
    while (table->walk < table->capacity && table->slots[table->walk].entry == nullptr) ++table->walk;
    if (table->walk == table->capacity) {
        table->walking = false;
        return 0;
    }
    hand_out(table->slots[table->walk].entry, key_out, data_slot_out);
    ++table->walk;
    ++*iterator;
    return 1;
}

size_t hash_str_count(const hash_table_t *table) { return table == nullptr ? 0 : table->count; }

void hash_delete_ht(hash_table_t **table) {
    if (table == nullptr || *table == nullptr) return;
    hash_table_t *doomed = *table;
    for (size_t i = 0; i < doomed->capacity; ++i) stg_free(doomed->slots[i].entry);
    stg_free(doomed->removed);
    stg_free(doomed->slots);
    stg_free(doomed);
    *table = nullptr;
}

TBS_EXTERN_C_END
