// Hash tables keyed by text.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <string>

#include "hash.h"
#include "stg.h"
#include "test_support.h"

namespace {

void *word(uintptr_t value) { return reinterpret_cast<void *>(value); }

TEST(HashTable, KeepsItsOwnKeysHandsOutStableSlotsAndRefusesOrReusesKnownKeys) {
    hash_table_t *table = hash_str_create(2, sizeof(void *), HASH_STR_UNIQUE);
    ASSERT_NE(nullptr, table);
    char key[16];
    void **first_slot = nullptr;
    // The caller's buffer is reused for every key: the table must copy it.
    for (uintptr_t i = 0; i < 100; ++i) {
        std::snprintf(key, sizeof key, "key-%u", static_cast<unsigned>(i));
        const char *kept = nullptr;
        void **slot = nullptr;
        ASSERT_EQ(0, hash_str_enter(table, key, &kept, &slot));
        EXPECT_NE(key, kept);
        EXPECT_STREQ(key, kept);
        EXPECT_EQ(nullptr, *slot);  // a new key's slot starts empty
        *slot = word(i + 1);
        if (i == 0) first_slot = slot;
    }
    EXPECT_EQ(100u, hash_str_count(table));
    void **slot = nullptr;
    ASSERT_NE(0, hash_str_lookup(table, "key-0", nullptr, &slot));
    EXPECT_EQ(first_slot, slot);  // still the same slot after the table grew
    EXPECT_EQ(word(1), *slot);
    EXPECT_EQ(0, hash_str_lookup(table, "key-100", nullptr, nullptr));

    // A unique table refuses a second entry of a key and keeps the first.
    EXPECT_NE(0, hash_str_enter(table, "key-7", nullptr, &slot));
    ASSERT_NE(0, hash_str_lookup(table, "key-7", nullptr, &slot));
    EXPECT_EQ(word(8), *slot);
    hash_delete_ht(&table);
    EXPECT_EQ(nullptr, table);
    hash_delete_ht(&table);  // a null table is left alone

    // A set made to be re-entered hands out the slot the key already has.
    hash_table_t *set = hash_str_create(0, 0, HASH_STR_REENTER);
    ASSERT_NE(nullptr, set);
    void **again = nullptr;
    EXPECT_EQ(0, hash_str_enter(set, "r", nullptr, &first_slot));
    EXPECT_EQ(0, hash_str_enter(set, "r", nullptr, &again));
    EXPECT_EQ(first_slot, again);
    EXPECT_EQ(1u, hash_str_count(set));
    hash_delete_ht(&set);
    EXPECT_EQ(nullptr, hash_str_create(4, sizeof(void *) + 1, HASH_STR_UNIQUE));
}

TEST(HashTable, ManyEntersAndRemovalsKeepEveryOtherKeyReachable) {
    // A small table grown many times, with keys removed from the middle of
    // probe runs: after each step exactly the expected keys are found, with
    // their own slots, and a walk visits each of them once.
    hash_table_t *table = hash_str_create(0, sizeof(void *), HASH_STR_UNIQUE);
    ASSERT_NE(nullptr, table);
    std::map<std::string, void **> present;
    std::mt19937 random(7);
    for (int round = 0; round < 3000; ++round) {
        std::string key = "r" + std::to_string(random() % 700);
        void **slot = nullptr;
        if (present.count(key) != 0) {
            ASSERT_NE(0, hash_str_free(table, key.c_str(), nullptr, &slot)) << key;
            EXPECT_EQ(present[key], slot);
            present.erase(key);
        } else {
            ASSERT_EQ(0, hash_str_enter(table, key.c_str(), nullptr, &slot)) << key;
            present[key] = slot;
        }
        if (round % 500 != 499) continue;
        ASSERT_EQ(present.size(), hash_str_count(table));
        for (int k = 0; k < 700; ++k) {
            std::string probe = "r" + std::to_string(k);
            auto known = present.find(probe);
            void **found = nullptr;
            ASSERT_EQ(known != present.end() ? 1 : 0, hash_str_lookup(table, probe.c_str(), nullptr, &found)) << probe;
            if (known != present.end()) {
                EXPECT_EQ(known->second, found) << probe;
            }
        }
        std::set<std::string> visited;
        hash_iterator_t iterator = 0;
        const char *key_seen = nullptr;
        while (hash_str_next(table, &iterator, &key_seen, nullptr) != 0) EXPECT_TRUE(visited.insert(key_seen).second);
        EXPECT_EQ(present.size(), visited.size());
    }
    hash_delete_ht(&table);
}

TEST(HashTable, ExhaustedStorageFailsCleanlyAtEveryStep) {
    // Creation, entering and removing keys: every allocation that fails gives
    // a null table or a refused key, and nothing leaks.
    const std::string too_long_to_pool(2000, 'x');
    auto run = [&]() -> tbs_status_t {
        hash_table_t *table = hash_str_create(3, sizeof(void *), HASH_STR_UNIQUE);
        if (table == nullptr) return TBS_ST_NO_MEMORY;
        tbs_status_t status = TBS_ST_OK;
        const char *keys[] = {
            "a long key that does not fit any small string buffer", "b", too_long_to_pool.c_str(), "c", "d", "e"};
        for (const char *key : keys)
            if (hash_str_enter(table, key, nullptr, nullptr) != 0) status = TBS_ST_NO_MEMORY;
        hash_str_free(table, "b", nullptr, nullptr);
        hash_delete_ht(&table);
        return status;
    };
    size_t points = pxtest::sweep_allocation_failures(
        run, [](tbs_status_t status, unsigned long) { EXPECT_EQ(TBS_ST_NO_MEMORY, status); });
    EXPECT_GE(points, 4u);  // the table, its slots, a chunk and the long key's own block
}

}  // namespace
