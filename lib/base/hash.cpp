// Hash tables keyed by text, over the standard library's unordered map. Every
// block (the table, its buckets and nodes, the key copies) comes from the
// storage service so that exhaustion can be injected and leaks counted.
#include "hash.h"

#include <cstring>
#include <new>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "stg.h"

namespace {

// Allocator over stg_malloc; a null block becomes std::bad_alloc, which the
// C entry points turn into their failure result.
template <typename T>
struct StgAllocator {
    using value_type = T;
    StgAllocator() noexcept = default;
    template <typename U>
    StgAllocator(const StgAllocator<U> &) noexcept {}

    T *allocate(size_t n) {
        if (n > static_cast<size_t>(-1) / sizeof(T)) throw std::bad_alloc();
        void *block = stg_malloc(n * sizeof(T));
        if (block == nullptr) throw std::bad_alloc();
        return static_cast<T *>(block);
    }
    void deallocate(T *block, size_t) noexcept { stg_free(block); }

    template <typename U>
    bool operator==(const StgAllocator<U> &) const noexcept { return true; }
    template <typename U>
    bool operator!=(const StgAllocator<U> &) const noexcept { return false; }
};

struct Entry {
    char *key;   // the table's copy, owned by the entry
    void *data;  // the data word handed out as the slot
};

using Map = std::unordered_map<std::string_view, Entry, std::hash<std::string_view>,
                               std::equal_to<std::string_view>,
                               StgAllocator<std::pair<const std::string_view, Entry>>>;

char *copy_key(std::string_view key) {
    char *copy = static_cast<char *>(stg_malloc(key.size() + 1));
    if (copy == nullptr) return nullptr;
    std::memcpy(copy, key.data(), key.size());
    copy[key.size()] = '\0';
    return copy;
}

void hand_out(Entry &entry, const char **key_out, void ***data_slot_out) {
    if (key_out != nullptr) *key_out = entry.key;
    if (data_slot_out != nullptr) *data_slot_out = &entry.data;
}

}  // namespace

struct hash_table {
    explicit hash_table(int flags) : reenter(flags == HASH_STR_REENTER) {}
    ~hash_table() {
        for (auto &item : map) stg_free(item.second.key);
        stg_free(removed.key);
    }

    Map map;
    bool reenter;
    // The last removed entry, kept so that its key and slot stay readable.
    Entry removed{nullptr, nullptr};
    // The walk of hash_str_next.
    Map::iterator walk;
    bool walking = false;
};

TBS_EXTERN_C_BEGIN

hash_table_t *hash_str_create(size_t size_hint, size_t data_size, int flags) {
    if (data_size > sizeof(void *)) return nullptr;
    void *block = stg_malloc(sizeof(hash_table_t));
    if (block == nullptr) return nullptr;
    hash_table_t *table = nullptr;
    try {
        table = new (block) hash_table_t(flags);
        table->map.reserve(size_hint);
    } catch (...) {
        if (table != nullptr) table->~hash_table_t();
        stg_free(block);
        return nullptr;
    }
    return table;
}

int hash_str_enter(hash_table_t *table, const char *key, const char **key_out,
                   void ***data_slot_out) {
    if (table == nullptr || key == nullptr) return 1;
    table->walking = false;
    std::string_view wanted(key);
    auto found = table->map.find(wanted);
    if (found != table->map.end()) {
        if (!table->reenter) return 1;
        hand_out(found->second, key_out, data_slot_out);
        return 0;
    }
    char *copy = copy_key(wanted);
    if (copy == nullptr) return 1;
    try {
        auto placed = table->map.emplace(std::string_view(copy, wanted.size()), Entry{copy, nullptr});
        hand_out(placed.first->second, key_out, data_slot_out);
    } catch (...) {
        stg_free(copy);
        return 1;
    }
    return 0;
}

int hash_str_lookup(hash_table_t *table, const char *key, const char **key_out,
                    void ***data_slot_out) {
    if (table == nullptr || key == nullptr) return 0;
    auto found = table->map.find(std::string_view(key));
    if (found == table->map.end()) return 0;
    hand_out(found->second, key_out, data_slot_out);
    return 1;
}

int hash_str_free(hash_table_t *table, const char *key, const char **key_out,
                  void ***data_slot_out) {
    if (table == nullptr || key == nullptr) return 0;
    auto found = table->map.find(std::string_view(key));
    if (found == table->map.end()) return 0;
    table->walking = false;
    stg_free(table->removed.key);
    table->removed = found->second;
    table->map.erase(found);
    hand_out(table->removed, key_out, data_slot_out);
    return 1;
}

int hash_str_next(hash_table_t *table, hash_iterator_t *iterator, const char **key_out,
                  void ***data_slot_out) {
    if (table == nullptr || iterator == nullptr) return 0;
    if (*iterator == 0) {
        table->walk = table->map.begin();
        table->walking = true;
    }
    if (!table->walking || table->walk == table->map.end()) {
        table->walking = false;
        return 0;
    }
    hand_out(table->walk->second, key_out, data_slot_out);
    ++table->walk;
    ++*iterator;
    return 1;
}

size_t hash_str_count(const hash_table_t *table) { return table == nullptr ? 0 : table->map.size(); }

void hash_delete_ht(hash_table_t **table) {
    if (table == nullptr || *table == nullptr) return;
    (*table)->~hash_table_t();
    stg_free(*table);
    *table = nullptr;
}

TBS_EXTERN_C_END
