/* Hash tables keyed by text. Each entry carries one pointer-sized data word,
 * reached through its slot; a table made with a data size of 0 is a set of
 * texts whose slots are simply not used. The table keeps its own copy of every
 * key. All storage comes from the storage service, so exhaustion is reported
 * (a null table, or a non-zero result of hash_str_enter) and can be injected
 * with stg_fail_allocation. */
#ifndef TBS_HASH_H
#define TBS_HASH_H

#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

typedef struct hash_table hash_table_t;

/* Flags of hash_str_create. */
/* Entering a key that is already present fails. */
#define HASH_STR_UNIQUE 0
/* Entering a key that is already present hands out its existing slot. */
#define HASH_STR_REENTER 1

/* A table for about size_hint keys; data_size is 0 (a set) or at most the
 * size of a pointer. Null when storage is exhausted or data_size is larger. */
TBS_API hash_table_t *hash_str_create(size_t size_hint, size_t data_size, int flags);

/* Adds key. On success (0) *key_out receives the table's copy of the key and
 * *data_slot_out the entry's data slot, zeroed for a new key; either out
 * pointer may be null. Non-zero when storage is exhausted, when the table or
 * key is null, or when the key is present in a table made with
 * HASH_STR_UNIQUE. */
TBS_API int hash_str_enter(hash_table_t *table, const char *key, const char **key_out, void ***data_slot_out);

/* Non-zero when key is present; then *key_out and *data_slot_out (either may
 * be null) receive the table's key and the entry's slot. */
TBS_API int hash_str_lookup(hash_table_t *table, const char *key, const char **key_out, void ***data_slot_out);

/* Removes key. Non-zero when it was present; then *key_out and *data_slot_out
 * (either may be null) receive the removed key and its slot, which stay
 * readable until the next hash_str_enter or hash_str_free on the table, or its
 * deletion. Zero when the key is not there. */
TBS_API int hash_str_free(hash_table_t *table, const char *key, const char **key_out, void ***data_slot_out);

/* Visits the entries in the table's own order. Start with *iterator = 0 and
 * call until the result is zero (no entry left); each non-zero result hands
 * out one entry. One walk at a time per table; entering or removing a key
 * ends the walk in progress. */
typedef unsigned long hash_iterator_t;
TBS_API int hash_str_next(hash_table_t *table, hash_iterator_t *iterator, const char **key_out, void ***data_slot_out);

/* A hint that the count keys (null ones are passed over) are about to be
 * looked up, entered or removed: starts fetching the memory that will read,
 * so that the misses of a large table overlap instead of coming one after
 * the other. The keys' slots are fetched at once, the entries they lead to at
 * the next hint: a caller that hints its keys in groups, two groups ahead of
 * their use, waits for neither. Changes nothing; a null table or array is
 * left alone. */
TBS_API void hash_str_prefetch(const hash_table_t *table, const char *const *keys, size_t count);

/* Number of keys in the table (0 for a null table). */
TBS_API size_t hash_str_count(const hash_table_t *table);

/* Deletes *table with every entry and sets *table to null; a null pointer or
 * table is left alone. */
TBS_API void hash_delete_ht(hash_table_t **table);

TBS_EXTERN_C_END

#endif
