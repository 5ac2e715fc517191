// Hash tables keyed by text, over the standard library's unordered map. Every
// block (the table, its buckets and nodes, long keys) comes from the storage
// service so that exhaustion can be injected and leaks counted.
#include "hash.h"

#include <cstring>
#include <new>
#include <tuple>
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

// A key as the table holds it: a view of its text, whose characters live in
// the key itself when they are few (no block of their own, and no second
// cache line to chase on every lookup) or in a block of their own. A probe
// made for a lookup only views the caller's text. Keys are built in place in
// their node and never move, so the view of an inline text stays valid.
class Key {
  public:
    struct Owned {};
    static constexpr size_t kInlineSize = 88;

    explicit Key(std::string_view probe) : view_(probe) {}
    Key(std::string_view text, Owned) {
        char *chars = inline_;
        if (text.size() >= kInlineSize) {
            StgAllocator<char> allocator;
            block_ = allocator.allocate(text.size() + 1);
            chars = block_;
        }
        std::memcpy(chars, text.data(), text.size());
        chars[text.size()] = '\0';
        view_ = std::string_view(chars, text.size());
    }
    ~Key() { stg_free(block_); }
    Key(const Key &) = delete;
    Key &operator=(const Key &) = delete;

    std::string_view view() const { return view_; }
    // The terminated text of an owned key.
    const char *text() const { return view_.data(); }

  private:
    std::string_view view_;
    char *block_ = nullptr;
    char inline_[kInlineSize];
};

struct KeyHash {
    size_t operator()(const Key &key) const { return std::hash<std::string_view>()(key.view()); }
};

struct KeyEqual {
    bool operator()(const Key &a, const Key &b) const { return a.view() == b.view(); }
};

using Map = std::unordered_map<Key, void *, KeyHash, KeyEqual, StgAllocator<std::pair<const Key, void *>>>;

// Hands out an entry's key and data slot.
template <typename Item>
void hand_out(Item &key_and_data, const char **key_out, void ***data_slot_out) {
    if (key_out != nullptr) *key_out = key_and_data.first.text();
    if (data_slot_out != nullptr) *data_slot_out = &key_and_data.second;
}

}  // namespace

struct hash_table {
    explicit hash_table(int flags) : reenter(flags == HASH_STR_REENTER) {}

    Map map;
    bool reenter;
    // The last removed entry, kept so that its key and slot stay readable.
    Map::node_type removed;
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
    auto found = table->map.find(Key(wanted));
    if (found != table->map.end()) {
        if (!table->reenter) return 1;
        hand_out(*found, key_out, data_slot_out);
        return 0;
    }
    try {
        auto placed = table->map.emplace(std::piecewise_construct, std::forward_as_tuple(wanted, Key::Owned{}),
                                         std::forward_as_tuple(nullptr));
        hand_out(*placed.first, key_out, data_slot_out);
    } catch (...) {
        return 1;
    }
    return 0;
}

int hash_str_lookup(hash_table_t *table, const char *key, const char **key_out,
                    void ***data_slot_out) {
    if (table == nullptr || key == nullptr) return 0;
    auto found = table->map.find(Key(std::string_view(key)));
    if (found == table->map.end()) return 0;
    hand_out(*found, key_out, data_slot_out);
    return 1;
}

int hash_str_free(hash_table_t *table, const char *key, const char **key_out,
                  void ***data_slot_out) {
    if (table == nullptr || key == nullptr) return 0;
    auto found = table->map.find(Key(std::string_view(key)));
    if (found == table->map.end()) return 0;
    table->walking = false;
    // The node leaves the table but stays alive (replacing the one removed
    // before), so what is handed out remains readable.
    table->removed = table->map.extract(found);
    if (key_out != nullptr) *key_out = table->removed.key().text();
    if (data_slot_out != nullptr) *data_slot_out = &table->removed.mapped();
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
    hand_out(*table->walk, key_out, data_slot_out);
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
