// Hash tables keyed by text: the input is a program of enters, removals,
// look-ups, hints and walks over keys of many lengths (some too long for the
// pooled blocks), run against a table and a std::map side by side. Every
// answer, data word and walk must agree with the map, and deleting the table
// must give back every block.
#include <cstdint>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "hash.h"
#include "stg.h"

namespace {

// Reads the program's bytes; zeros once they run out.
struct Program {
    const uint8_t *data;
    size_t size;
    size_t at = 0;

    bool done() const { return at >= size; }
    uint8_t next() { return at < size ? data[at++] : 0; }
};

// Key n of length class c: short texts that collide in their first bytes, and
// now and then one longer than any pooled block.
std::string key_of(uint8_t n, uint8_t length_class) {
    std::string key = "replica-" + std::to_string(n);
    if (length_class % 16 == 15) {
        key.append(1500 + n, 'x');
    } else {
        key.append(length_class % 16 * 7, static_cast<char>('a' + n % 26));
    }
    return key;
}

enum class Operation { enter, remove, look_up, hint, walk };

// Walks visit the whole table, so they are the rarest.
Operation operation_of(uint8_t byte) {
    if (byte < 0x60) { return Operation::enter; }
    if (byte < 0xa0) { return Operation::remove; }
    if (byte < 0xd0) { return Operation::look_up; }
    if (byte < 0xf0) { return Operation::hint; }
    return Operation::walk;
}

void check(bool condition) {
    if (!condition) { std::abort(); }
}

void walk_agrees(hash_table_t *table, const std::map<std::string, uintptr_t> &model) {
    std::set<std::string> seen;
    hash_iterator_t iterator = 0;
    const char *key = nullptr;
    void **slot = nullptr;
    while (hash_str_next(table, &iterator, &key, &slot) != 0) {
        auto known = model.find(key);
        check(known != model.end());
        check(reinterpret_cast<uintptr_t>(*slot) == known->second);
        check(seen.insert(key).second);
    }
    check(seen.size() == model.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Program program{data, size};
    unsigned long live_before = stg_live_block_count();
    bool reenter = program.next() % 2 == 1;
    hash_table_t *table = hash_str_create(program.next(), sizeof(void *), reenter ? HASH_STR_REENTER : HASH_STR_UNIQUE);
    check(table != nullptr);
    std::map<std::string, uintptr_t> model;
    uintptr_t stamp = 0;
    while (!program.done()) {
        uint8_t op = program.next();
        std::string key = key_of(program.next(), program.next());
        void **slot = nullptr;
        const char *kept = nullptr;
        switch (operation_of(op)) {
        case Operation::enter: {
            int refused = hash_str_enter(table, key.c_str(), &kept, &slot);
            auto known = model.find(key);
            if (known != model.end() && !reenter) {
                check(refused != 0);
                break;
            }
            check(refused == 0 && key == kept);
            check(reinterpret_cast<uintptr_t>(*slot) == (known != model.end() ? known->second : 0));
            *slot = reinterpret_cast<void *>(++stamp);
            model[key] = stamp;
            break;
        }
        case Operation::remove: {
            int found = hash_str_free(table, key.c_str(), &kept, &slot);
            auto known = model.find(key);
            check((found != 0) == (known != model.end()));
            if (found != 0) {
                check(key == kept && reinterpret_cast<uintptr_t>(*slot) == known->second);
                model.erase(known);
            }
            break;
        }
        case Operation::look_up: {
            int found = hash_str_lookup(table, key.c_str(), &kept, &slot);
            auto known = model.find(key);
            check((found != 0) == (known != model.end()));
            if (found != 0) { check(key == kept && reinterpret_cast<uintptr_t>(*slot) == known->second); }
            break;
        }
        case Operation::hint: {  // a few keys, some null: it must change nothing
            std::vector<std::string> keys;
            std::vector<const char *> texts;
            for (uint8_t i = 0, n = program.next() % 40; i < n; ++i) { keys.push_back(key_of(program.next(), i)); }
            for (size_t i = 0; i < keys.size(); ++i) { texts.push_back(i % 5 == 4 ? nullptr : keys[i].c_str()); }
            hash_str_prefetch(table, texts.data(), texts.size());
            check(hash_str_count(table) == model.size());
            break;
        }
        case Operation::walk: walk_agrees(table, model);
        }
    }
    check(hash_str_count(table) == model.size());
    walk_agrees(table, model);
    hash_delete_ht(&table);
    check(table == nullptr && stg_live_block_count() == live_before);
    return 0;
}
