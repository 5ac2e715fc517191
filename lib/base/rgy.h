/* The host registry: entries keyed by uuid, each carrying a state indicator
 * and text attributes such as the host a replica lives on.
 *
 * The registry of an installation is the text file "services/registry" in the
 * product's configuration directory, one entry a line: the uuid, the
 * indicator (a decimal number) and the host name, separated by blanks or
 * tabs. Blank lines and lines starting with '#' are ignored. A missing file is
 * an empty registry. Tests add entries of their own with rgy_test_add_entry. */
#ifndef TBS_RGY_H
#define TBS_RGY_H

#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* The registry file below the configuration directory. */
#define RGY_FILE_NAME "services/registry"

/* Entry classes: the registry holds replica entries. */
#define RGY_CLASS_REPLICA 2
/* The attribute a search compares with the key: the entry's uuid. */
#define RGY_KEY_UUID 0
/* Whether a search step fills the entry or only reports the indicator. */
#define RGY_FETCH_INDICATOR 0
#define RGY_FETCH_ENTRY 1
/* Indicator of an entry in use; other values mark retired entries. */
#define RGY_IND_ACTIVE 1
/* Text attributes of an entry. */
#define RGY_ATTR_UUID 1
#define RGY_ATTR_HOST 3

typedef struct rgy_cursor rgy_cursor_t;
typedef struct rgy_entry rgy_entry_t;

/* Finds, one per call, the entries of entry_class whose uuid equals the key
 * (key_attribute RGY_KEY_UUID, key_size 16). flags must be 0.
 *
 * *cursor starts null; the first call opens a search and keeps its position
 * in *cursor. Each call that finds an entry stores its indicator and, with
 * fetch RGY_FETCH_ENTRY, the entry in *entry: a present *entry is reused
 * (overwritten), a null one receives a new entry that the caller deletes with
 * rgy_delete_entry. When no entry is left, the cursor is released and *cursor
 * set to null, and *entry is left as it was.
 *
 * Returns 0; TBS_ST_INVALID_ARG for arguments outside the above;
 * TBS_ST_NO_MEMORY; TBS_ST_FAILED for a registry file line that is no entry;
 * or the status of the error met reading the file. After a failure an open
 * cursor is still open and must be closed with rgy_close_cursor. */
TBS_API tbs_status_t rgy_findbyuuid_entry(int entry_class, int flags, int key_attribute, size_t key_size,
                                          const void *key, rgy_cursor_t **cursor, int fetch, rgy_entry_t **entry,
                                          int *indicator);

/* Points *text at text attribute number attribute of the entry; the text
 * belongs to the entry. TBS_ST_NOT_FOUND for an attribute the entry lacks. */
TBS_API tbs_status_t rgy_getstring_from_entry_const(const rgy_entry_t *entry, int attribute, const char **text);

/* Releases an open search and sets *cursor to null; a null one is ignored. */
TBS_API void rgy_close_cursor(rgy_cursor_t **cursor);
/* Deletes an entry and sets *entry to null; a null one is ignored. */
TBS_API void rgy_delete_entry(rgy_entry_t **entry);

/* Test hooks. Entries added here follow those of the registry file, in the
 * order added. */
TBS_API tbs_status_t rgy_test_add_entry(const tbs_uuid_t *uuid, int indicator, const char *host);
TBS_API void rgy_test_clear_entries(void);
/* The nth call from now (1 = the next one) of rgy_findbyuuid_entry or
 * rgy_getstring_from_entry_const returns status without doing anything, once;
 * nth 0 cancels. */
TBS_API void rgy_test_fail_call(unsigned long nth, tbs_status_t status);

TBS_EXTERN_C_END

#endif
