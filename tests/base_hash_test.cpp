// Hash tables keyed by text, against a std::map model.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <string>

#include "hash.h"
#include "stg.h"
#include "test_support.h"

namespace {

// A small table grown many times, keys removed from the middle of probe
// runs: every step agrees with the model. Keys are entered from one reused
// buffer (the table keeps its own copy), a new key's slot starts empty and
// keeps its place and value while the table grows, a known key is refused,
// and a walk visits each key once.
TEST(HashTable, AgreesWithAMapThroughGrowthAndRemovals) {
    hash_table_t *table = hash_str_create(0, sizeof(void *), HASH_STR_UNIQUE);
    ASSERT_NE(nullptr, table);
    std::map<std::string, void **> model;
    std::mt19937 random(7);
    char key[16];
    for (int round = 0; round < 3000; ++round) {
        std::snprintf(key, sizeof key, "r%u", static_cast<unsigned>(random() % 700));
        const char *kept = nullptr;
        void **slot = nullptr;
        if (model.count(key) != 0) {
            EXPECT_NE(0, hash_str_enter(table, key, nullptr, nullptr)) << "a unique table refuses a known key";
            EXPECT_TRUE(hash_str_free(table, key, nullptr, &slot) != 0 && slot == model[key]) << key;
            model.erase(key);
        } else {
            ASSERT_EQ(0, hash_str_enter(table, key, &kept, &slot)) << key;
            EXPECT_TRUE(kept != key && std::string(kept) == key && *slot == nullptr) << key;
            *slot = model[key] = slot;  // each slot holds its own address
        }
        if (round % 500 != 499) continue;
        ASSERT_EQ(model.size(), hash_str_count(table));
        for (int k = 0; k < 700; ++k) {
            const std::string probe = "r" + std::to_string(k);
            const auto known = model.find(probe);
            void **found = nullptr;
            const bool hit = hash_str_lookup(table, probe.c_str(), nullptr, &found) != 0;
            EXPECT_TRUE(known == model.end() ? !hit : hit && found == known->second && *found == found) << probe;
        }
        std::set<std::string> visited;
        hash_iterator_t iterator = 0;
        const char *seen = nullptr;
        while (hash_str_next(table, &iterator, &seen, nullptr) != 0) EXPECT_TRUE(visited.insert(seen).second);
        EXPECT_EQ(model.size(), visited.size());
    }
    hash_delete_ht(&table);
    EXPECT_EQ(nullptr, table);
    hash_delete_ht(&table);  // a null table is left alone
}

TEST(HashTable, ReenteringHandsOutTheKnownSlotAndBadArgumentsAreRefused) {
    hash_table_t *set = hash_str_create(0, 0, HASH_STR_REENTER);
    ASSERT_NE(nullptr, set);
    void **first = nullptr, **again = nullptr;
    EXPECT_EQ(0, hash_str_enter(set, "r", nullptr, &first));
    EXPECT_EQ(0, hash_str_enter(set, "r", nullptr, &again));
    EXPECT_EQ(first, again);
    EXPECT_EQ(1u, hash_str_count(set));
    EXPECT_NE(0, hash_str_enter(set, nullptr, nullptr, nullptr));
    EXPECT_EQ(0, hash_str_lookup(set, nullptr, nullptr, nullptr));
    EXPECT_EQ(0, hash_str_free(set, "absent", nullptr, nullptr));
    EXPECT_EQ(0, hash_str_next(set, nullptr, nullptr, nullptr));
    hash_delete_ht(&set);
    EXPECT_EQ(nullptr, hash_str_create(4, sizeof(void *) + 1, HASH_STR_UNIQUE)) << "data wider than a pointer";
}

TEST(HashTable, ExhaustedStorageFailsCleanlyAtEveryStep) {
    // Creation, entering and removing keys: every allocation that fails gives
    // a null table or a refused key, and nothing leaks.
    const std::string too_long_to_pool(2000, 'x');
    auto run = [&]() -> tbs_status_t {
        hash_table_t *table = hash_str_create(3, sizeof(void *), HASH_STR_UNIQUE);
        if (table == nullptr) return TBS_ST_NO_MEMORY;
        tbs_status_t status = TBS_ST_OK;
        for (const char *key :
             {"a long key that does not fit any small string buffer", "b", too_long_to_pool.c_str(), "c", "d", "e"})
            if (hash_str_enter(table, key, nullptr, nullptr) != 0) status = TBS_ST_NO_MEMORY;
        hash_str_free(table, "b", nullptr, nullptr);
        hash_delete_ht(&table);
        return status;
    };
    const size_t points = pxtest::sweep_allocation_failures(
        run, [](tbs_status_t status, unsigned long) { EXPECT_EQ(TBS_ST_NO_MEMORY, status); });
    EXPECT_GE(points, 4u);  // the table, its slots, a chunk and the long key's own block
}

}  // namespace
