// Hash tables keyed by text: open addressing with linear probing over a
// power-of-two array of slots, each slot holding its key's hash and its entry.
// An entry is one block (its data word, then its key), so that the slots
// handed out stay put while the array grows, and a look-up compares texts
// only when the hashes agree.
//
// Entry blocks come from a storage area the table owns rather than from the
// heap one by one: the entries lie close together, and deleting a table
// deletes its area instead of freeing every entry. A removed entry's block
// goes on a free list of its size, where the next key of that size takes it,
// so a table that lives long with keys coming and going does not grow. All
// storage comes from the storage service, so exhaustion can be injected and
// leaks counted.
#include "hash.h"

#include <cstdint>
#include <cstring>
#include <functional>
#include <new>
#include <string_view>

#include "stg.h"
#include "stg_internal.h"

namespace {

// An entry's block: this header, then the key's characters and a NUL. A block
// on a free list keeps the next free block of its size in data.
struct Entry {
    void *data;
    uint32_t length;
    uint32_t size_class;  // block size in kBlockAlign units; 0 for a block of its own

    char *key() { return reinterpret_cast<char *>(this + 1); }
    const char *key() const { return reinterpret_cast<const char *>(this + 1); }
};

struct Slot {
    size_t hash;
    Entry *entry;
};

constexpr size_t kMinCapacity = 8;
// Blocks are whole multiples of kBlockAlign; those up to kMaxPooledBlock come
// from the table's area, a longer key has a heap block of its own.
constexpr size_t kBlockAlign = 16;
constexpr size_t kSizeClasses = 64;
constexpr size_t kMaxPooledBlock = kSizeClasses * kBlockAlign;
// The area's size hint: about 64 bytes per expected key.
constexpr size_t kBytesPerKey = 64;
constexpr size_t kCacheLine = 64;
// A hint is taken in groups of this many keys.
constexpr size_t kHintGroup = 32;
static_assert(alignof(Entry) <= kBlockAlign, "blocks are aligned for their header");

size_t round_to_blocks(size_t size) { return (size + kBlockAlign - 1) / kBlockAlign * kBlockAlign; }

size_t hash_of(std::string_view key) { return std::hash<std::string_view>()(key); }

// Starts fetching every cache line of the size bytes at start. The lines are
// counted first: GCC 12 dropped a loop of prefetches bounded by an address in
// one version of this code, as if it did nothing.
void fetch_lines(const void *start, size_t size) {
    auto first = reinterpret_cast<uintptr_t>(start) & ~(kCacheLine - 1);
    size_t lines = (reinterpret_cast<uintptr_t>(start) + size - 1 - first) / kCacheLine + 1;
    for (size_t line = 0; line < lines; ++line) {
        __builtin_prefetch(reinterpret_cast<const char *>(first + line * kCacheLine));
    }
}

// Linear probing slows down sharply as the slots fill: a look-up of a missing
// key (which every insertion is) probes about 2.5 slots at half full, 8.5 at
// three quarters, 32 at seven eighths. A table made for a number of keys
// starts at most half full with them, and it doubles when three quarters
// full.
size_t max_load(size_t capacity) { return capacity / 4 * 3; }

// The capacity that holds size_hint keys at most half full; 0 when no array
// that large can be allocated.
size_t capacity_for(size_t size_hint) {
    size_t capacity = kMinCapacity;
    while (capacity / 2 < size_hint) {
        if (capacity > SIZE_MAX / sizeof(Slot) / 2) { return 0; }
        capacity *= 2;
    }
    return capacity;
}

// The slot array is followed by a bitmap of the slots in use, and only the
// bitmap says whether a slot is: a slot not in use is never read, so a new
// array clears its bitmap alone (a sixty-fourth of the slots' size, which
// for a large table is memory that need not be fetched and written back). A
// walk over a table that has become sparse reads a bit per slot, not a slot.
// With the address sanitizer, slots not in use are poisoned, so that reading
// one is caught.
constexpr size_t kBitsPerWord = 64;
size_t bitmap_words(size_t capacity) { return (capacity + kBitsPerWord - 1) / kBitsPerWord; }

uint64_t *bitmap_of(const Slot *slots, size_t capacity) {
    return reinterpret_cast<uint64_t *>(const_cast<Slot *>(slots + capacity));
}

bool slot_in_use(const Slot *slots, size_t capacity, size_t i) {
    return (bitmap_of(slots, capacity)[i / kBitsPerWord] >> (i % kBitsPerWord) & 1) != 0;
}

Slot *new_slots(size_t capacity) {
    if (capacity == 0) { return nullptr; }
    size_t bitmap_size = bitmap_words(capacity) * sizeof(uint64_t);
    auto *slots = static_cast<Slot *>(stg_malloc(capacity * sizeof(Slot) + bitmap_size));
    if (slots == nullptr) { return nullptr; }
    std::memset(bitmap_of(slots, capacity), 0, bitmap_size);
    ASAN_POISON_MEMORY_REGION(slots, capacity * sizeof(Slot));
    return slots;
}

// Hands out an entry's key and data slot.
void hand_out(Entry *entry, const char **key_out, void ***data_slot_out) {
    if (key_out != nullptr) { *key_out = entry->key(); }
    if (data_slot_out != nullptr) { *data_slot_out = &entry->data; }
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
    // Where pooled blocks come from, made with the first of them, and its
    // size hint.
    stg_area_t *blocks;
    size_t area_hint;
    // Free blocks by size class, linked through their data words.
    Entry *free_blocks[kSizeClasses + 1];
    // Blocks of their own (keys too long to pool) still held.
    size_t own_blocks;
    // The keys of the last hint, by hash and length: their home slots are on
    // their way, their entries are fetched at the next hint.
    struct Hint {
        size_t hash;
        size_t length;
    };
    mutable Hint hinted[kHintGroup];
    mutable size_t hinted_count;

    size_t mask() const { return capacity - 1; }
    uint64_t *in_use() const { return bitmap_of(slots, capacity); }
    void set_in_use(size_t i, bool used) {
        uint64_t bit = uint64_t{1} << (i % kBitsPerWord);
        if (used) {
            in_use()[i / kBitsPerWord] |= bit;
        } else {
            in_use()[i / kBitsPerWord] &= ~bit;
        }
    }
    bool used(size_t i) const { return slot_in_use(slots, capacity, i); }
    // The first slot in use at or after start; capacity when there is none.
    size_t next_in_use(size_t start) const {
        for (size_t word = start / kBitsPerWord; word < bitmap_words(capacity); ++word) {
            uint64_t bits = in_use()[word];
            if (word == start / kBitsPerWord) { bits &= ~uint64_t{0} << (start % kBitsPerWord); }
            if (bits != 0) { return word * kBitsPerWord + static_cast<size_t>(__builtin_ctzll(bits)); }
        }
        return capacity;
    }

    // The slot holding key, or capacity when it is not there.
    size_t find(std::string_view key, size_t hash) const {
        for (size_t i = hash & mask(); used(i); i = (i + 1) & mask()) {
            const Entry *entry = slots[i].entry;
            if (slots[i].hash == hash && entry->length == key.size() &&
                std::memcmp(entry->key(), key.data(), key.size()) == 0) {
                return i;
            }
        }
        return capacity;
    }

    void place(Slot slot) {
        size_t i = slot.hash & mask();
        while (used(i)) { i = (i + 1) & mask(); }
        ASAN_UNPOISON_MEMORY_REGION(&slots[i], sizeof(Slot));
        slots[i] = slot;
        set_in_use(i, true);
    }

    // A hint is taken in two steps, so that no step waits for memory: the
    // keys' home slots are fetched at once, and the entries the slots lead
    // to at the next hint, when the slots have come. The keys are hashed
    // first and their slots fetched after, back to back, so that the misses
    // start together rather than one after each hash.
    void fetch_home_slots(const char *const *keys, size_t count) const {
        hinted_count = 0;
        for (size_t i = 0; i < count; ++i) {
            if (keys[i] == nullptr) { continue; }
            std::string_view key(keys[i]);
            hinted[hinted_count++] = Hint{hash_of(key), key.size()};
        }
        for (size_t i = 0; i < hinted_count; ++i) { fetch_lines(&slots[hinted[i].hash & mask()], sizeof(Slot)); }
    }

    // The second step, for the keys of the hint before. The table may have
    // changed since; the probe runs are read as they are now.
    void fetch_hinted_entries() const {
        for (size_t i = 0; i < hinted_count; ++i) {
            const Entry *entry = entry_of_hash(hinted[i].hash);
            if (entry != nullptr) { fetch_lines(entry, sizeof(Entry) + hinted[i].length + 1); }
        }
        hinted_count = 0;
    }

    // The entry with this hash along its probe run; null when none is near.
    const Entry *entry_of_hash(size_t hash) const {
        constexpr size_t kMaxProbe = 8;
        size_t at = hash & mask();
        for (size_t probe = 0; probe < kMaxProbe && used(at); ++probe) {
            if (slots[at].hash == hash) { return slots[at].entry; }
            at = (at + 1) & mask();
        }
        return nullptr;
    }

    // Makes room for one more key; false when storage is exhausted.
    bool reserve_one() {
        if (count + 1 <= max_load(capacity)) { return true; }
        if (capacity > SIZE_MAX / sizeof(Slot) / 2) { return false; }
        size_t grown_capacity = capacity * 2;
        Slot *grown = new_slots(grown_capacity);
        if (grown == nullptr) { return false; }
        Slot *old = slots;
        size_t old_capacity = capacity;
        slots = grown;
        capacity = grown_capacity;
        for (size_t i = 0; i < old_capacity; ++i) {
            if (slot_in_use(old, old_capacity, i)) { place(old[i]); }
        }
        stg_free(old);
        return true;
    }

    // Empties slot hole, moving later entries of its probe run back so that
    // every key stays reachable from its home slot without tombstones. The end
    // of the run is found in the bitmap: the slot after the hole often lies in
    // a line of its own, which a large table would have to fetch to learn
    // that it is empty.
    void erase_at(size_t hole) {
        for (size_t next = (hole + 1) & mask(); used(next); next = (next + 1) & mask()) {
            size_t home = slots[next].hash & mask();
            // The hole lies on the entry's probe path when, from its home,
            // the hole comes no later than where the entry is now.
            if (((next - home) & mask()) >= ((next - hole) & mask())) {
                slots[hole] = slots[next];
                hole = next;
            }
        }
        set_in_use(hole, false);
        ASAN_POISON_MEMORY_REGION(&slots[hole], sizeof(Slot));
    }

    // A block for an entry of key_length characters; null when storage is
    // exhausted or the key is too long to record.
    Entry *new_entry(size_t key_length) {
        if (key_length >= UINT32_MAX - kMaxPooledBlock) { return nullptr; }
        size_t block = round_to_blocks(sizeof(Entry) + key_length + 1);
        uint32_t size_class = 0;
        void *memory = nullptr;
        if (block > kMaxPooledBlock) {
            memory = stg_malloc(block);
            if (memory != nullptr) { ++own_blocks; }
        } else {
            size_class = static_cast<uint32_t>(block / kBlockAlign);
            memory = take_free_block(size_class);
            if (memory == nullptr) { memory = new_pooled_block(block); }
        }
        if (memory == nullptr) { return nullptr; }
        return new (memory) Entry{nullptr, static_cast<uint32_t>(key_length), size_class};
    }

    // Gives a removed entry's block back: to its free list when it came from
    // the area, to the storage service when it has one of its own.
    void release(Entry *entry) {
        if (entry == nullptr) { return; }
        if (entry->size_class == 0) {
            stg_free(entry);
            --own_blocks;
            return;
        }
        entry->data = free_blocks[entry->size_class];
        free_blocks[entry->size_class] = entry;
        // Only the link stays readable while the block is free.
        ASAN_POISON_MEMORY_REGION(&entry->length, entry->size_class * kBlockAlign - sizeof(entry->data));
    }

    void *take_free_block(uint32_t size_class) {
        Entry *entry = free_blocks[size_class];
        if (entry == nullptr) { return nullptr; }
        free_blocks[size_class] = static_cast<Entry *>(entry->data);
        ASAN_UNPOISON_MEMORY_REGION(entry, size_class * kBlockAlign);
        return entry;
    }

    void *new_pooled_block(size_t size) {
        if (blocks == nullptr) { blocks = stg_create_area(area_hint); }
        return blocks == nullptr ? nullptr : stg_alloc(blocks, size);
    }
};

TBS_EXTERN_C_BEGIN

hash_table_t *hash_str_create(size_t size_hint, size_t data_size, int flags) {
    if (data_size > sizeof(void *)) { return nullptr; }
    auto *table = static_cast<hash_table_t *>(stg_malloc(sizeof(hash_table_t)));
    if (table == nullptr) { return nullptr; }
    size_t capacity = capacity_for(size_hint);
    new (table) hash_table_t();
    table->slots = new_slots(capacity);
    table->capacity = capacity;
    table->reenter = flags == HASH_STR_REENTER;
    table->area_hint = size_hint < SIZE_MAX / kBytesPerKey ? size_hint * kBytesPerKey : SIZE_MAX;
    if (table->slots == nullptr) {
        stg_free(table);
        return nullptr;
    }
    return table;
}

int hash_str_enter(hash_table_t *table, const char *key, const char **key_out, void ***data_slot_out) {
    if (table == nullptr || key == nullptr) { return 1; }
    table->walking = false;
    std::string_view wanted(key);
    size_t hash = hash_of(wanted);
    size_t found = table->find(wanted, hash);
    if (found != table->capacity) {
        if (!table->reenter) { return 1; }
        hand_out(table->slots[found].entry, key_out, data_slot_out);
        return 0;
    }
    if (!table->reserve_one()) { return 1; }
    Entry *entry = table->new_entry(wanted.size());
    if (entry == nullptr) { return 1; }
    std::memcpy(entry->key(), key, wanted.size() + 1);
    table->place(Slot{hash, entry});
    ++table->count;
    hand_out(entry, key_out, data_slot_out);
    return 0;
}

int hash_str_lookup(hash_table_t *table, const char *key, const char **key_out, void ***data_slot_out) {
    if (table == nullptr || key == nullptr) { return 0; }
    std::string_view wanted(key);
    size_t found = table->find(wanted, hash_of(wanted));
    if (found == table->capacity) { return 0; }
    hand_out(table->slots[found].entry, key_out, data_slot_out);
    return 1;
}

int hash_str_free(hash_table_t *table, const char *key, const char **key_out, void ***data_slot_out) {
    if (table == nullptr || key == nullptr) { return 0; }
    std::string_view wanted(key);
    size_t found = table->find(wanted, hash_of(wanted));
    if (found == table->capacity) { return 0; }
    table->walking = false;
    // The entry leaves the table but stays alive (replacing the one removed
    // before), so what is handed out remains readable.
    Entry *entry = table->slots[found].entry;
    table->erase_at(found);
    --table->count;
    table->release(table->removed);
    table->removed = entry;
    hand_out(entry, key_out, data_slot_out);
    return 1;
}

int hash_str_next(hash_table_t *table, hash_iterator_t *iterator, const char **key_out, void ***data_slot_out) {
    if (table == nullptr || iterator == nullptr) { return 0; }
    if (*iterator == 0) {
        table->walk = 0;
        table->walking = true;
    }
    if (!table->walking) { return 0; }
    table->walk = table->next_in_use(table->walk);
    if (table->walk == table->capacity) {
        table->walking = false;
        return 0;
    }
    hand_out(table->slots[table->walk].entry, key_out, data_slot_out);
    ++table->walk;
    ++*iterator;
    return 1;
}

void hash_str_prefetch(const hash_table_t *table, const char *const *keys, size_t count) {
    if (table == nullptr || keys == nullptr) { return; }
    for (size_t start = 0; start < count; start += kHintGroup) {
        size_t group = count - start < kHintGroup ? count - start : kHintGroup;
        table->fetch_hinted_entries();
        table->fetch_home_slots(keys + start, group);
    }
}

size_t hash_str_count(const hash_table_t *table) { return table == nullptr ? 0 : table->count; }

void hash_delete_ht(hash_table_t **table) {
    if (table == nullptr || *table == nullptr) { return; }
    hash_table_t *doomed = *table;
    // Pooled blocks go with the area; only blocks of their own are freed
    // one by one.
    doomed->release(doomed->removed);
    for (size_t i = doomed->next_in_use(0); i < doomed->capacity && doomed->own_blocks > 0;
         i = doomed->next_in_use(i + 1)) {
        Entry *entry = doomed->slots[i].entry;
        if (entry->size_class == 0) { doomed->release(entry); }
    }
    stg_delete_area(&doomed->blocks);
    stg_free(doomed->slots);
    stg_free(doomed);
    *table = nullptr;
}

TBS_EXTERN_C_END
