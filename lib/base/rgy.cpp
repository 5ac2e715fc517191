// The host registry: the entries of the registry file and those added by
// tests, searched by uuid through a cursor that holds the matching entries.
#include "rgy.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <vector>

#include "stg.h"
#include "tbs.h"
#include "tbs_uuid.h"

struct rgy_entry {
    tbs_uuid_t uuid;
    int indicator;
    tbs_uuid_str_t uuid_text;
    tbs_hostname_t host;
};

struct rgy_cursor {
    rgy_entry *matches;  // heap block of the base services, or null
    size_t count;
    size_t next;
};

namespace {

// Longest registry file line read; a longer one is no entry.
constexpr size_t kLineMax = 1024;

struct TestHooks {
    std::mutex lock;
    std::vector<rgy_entry> entries;
    unsigned long fail_countdown = 0;
    tbs_status_t fail_status = TBS_ST_OK;
};

TestHooks &hooks() {
    static TestHooks instance;
    return instance;
}

// The injected failure of this call, or 0.
tbs_status_t injected_failure() {
    TestHooks &h = hooks();
    std::lock_guard<std::mutex> guard(h.lock);
    if (h.fail_countdown == 0 || --h.fail_countdown != 0) { return TBS_ST_OK; }
    return h.fail_status;
}

bool make_entry(const tbs_uuid_t &uuid, int indicator, const char *host, rgy_entry &out) {
    if (std::strlen(host) > TBS_HOSTNAME_MAX) { return false; }
    out.uuid = uuid;
    out.indicator = indicator;
    tbs_uuid_to_str(&uuid, out.uuid_text);
    std::strcpy(out.host, host);
    return true;
}

// Parses "uuid indicator host"; false when the line is no entry.
bool parse_entry_line(char *line, rgy_entry &out) {
    const char *blanks = " \t\r\n";
    char *save = nullptr;
    char *uuid_text = strtok_r(line, blanks, &save);
    char *indicator_text = strtok_r(nullptr, blanks, &save);
    char *host = strtok_r(nullptr, blanks, &save);
    if (uuid_text == nullptr || indicator_text == nullptr || host == nullptr ||
        strtok_r(nullptr, blanks, &save) != nullptr) {
        return false;
    }
    tbs_uuid_t uuid;
    if (tbs_str_to_uuid(uuid_text, &uuid) != TBS_ST_OK) { return false; }
    char *end = nullptr;
    errno = 0;
    const long long indicator = std::strtoll(indicator_text, &end, 10);
    if (errno != 0 || *end != '\0' || indicator < INT32_MIN || indicator > INT32_MAX) { return false; }
    return make_entry(uuid, static_cast<int>(indicator), host, out);
}

bool skipped_line(const char *line) {
    const char *p = line + std::strspn(line, " \t\r\n");
    return *p == '\0' || *p == '#';
}

// Appends a copy of entry to the cursor's matches.
tbs_status_t add_match(rgy_cursor &cursor, const rgy_entry &entry) {
    void *grown = stg_realloc(cursor.matches, (cursor.count + 1) * sizeof(rgy_entry));
    if (grown == nullptr) { return TBS_ST_NO_MEMORY; }
    cursor.matches = static_cast<rgy_entry *>(grown);
    cursor.matches[cursor.count++] = entry;
    return TBS_ST_OK;
}

tbs_status_t collect_file_matches(const tbs_uuid_t &key, rgy_cursor &cursor) {
    char path[4096];
    if (tbs_product_config_dir(RGY_FILE_NAME, path, sizeof path) == nullptr) { return TBS_ST_FAILED; }
    FILE *file = std::fopen(path, "r");
    if (file == nullptr) { return errno == ENOENT ? TBS_ST_OK : tbs_errno2status(errno); }
    tbs_status_t status = TBS_ST_OK;
    char line[kLineMax];
    while (status == TBS_ST_OK && std::fgets(line, sizeof line, file) != nullptr) {
        if (std::strchr(line, '\n') == nullptr && !std::feof(file)) {
            status = TBS_ST_FAILED;  // a line too long to be an entry
            break;
        }
        if (skipped_line(line)) { continue; }
        rgy_entry entry;
        if (!parse_entry_line(line, entry)) {
            status = TBS_ST_FAILED;
        } else if (tbs_uuid_eq(&entry.uuid, &key)) {
            status = add_match(cursor, entry);
        }
    }
    if (status == TBS_ST_OK && std::ferror(file)) { status = tbs_errno2status(errno != 0 ? errno : EIO); }
    std::fclose(file);
    return status;
}

tbs_status_t collect_test_matches(const tbs_uuid_t &key, rgy_cursor &cursor) {
    TestHooks &h = hooks();
    std::lock_guard<std::mutex> guard(h.lock);
    for (const rgy_entry &entry : h.entries) {
        if (tbs_uuid_eq(&entry.uuid, &key)) {
            const tbs_status_t status = add_match(cursor, entry);
            if (status != TBS_ST_OK) { return status; }
        }
    }
    return TBS_ST_OK;
}

// Opens a search: a cursor holding every entry that carries the key.
tbs_status_t open_search(const tbs_uuid_t &key, rgy_cursor **out) {
    auto *cursor = static_cast<rgy_cursor *>(stg_malloc(sizeof(rgy_cursor)));
    if (cursor == nullptr) { return TBS_ST_NO_MEMORY; }
    *cursor = rgy_cursor{nullptr, 0, 0};
    tbs_status_t status = collect_file_matches(key, *cursor);
    if (status == TBS_ST_OK) { status = collect_test_matches(key, *cursor); }
    if (status != TBS_ST_OK) {
        rgy_close_cursor(&cursor);
        return status;
    }
    *out = cursor;
    return TBS_ST_OK;
}

bool valid_search(int entry_class, int flags, int key_attribute, size_t key_size, const void *key,
                  rgy_cursor_t **cursor, int fetch, rgy_entry_t **entry, int *indicator) {
    return entry_class == RGY_CLASS_REPLICA && flags == 0 && key_attribute == RGY_KEY_UUID &&
           key_size == sizeof(tbs_uuid_t) && key != nullptr && cursor != nullptr && indicator != nullptr &&
           (fetch == RGY_FETCH_INDICATOR || (fetch == RGY_FETCH_ENTRY && entry != nullptr));
}

}  // namespace

extern "C" {

TBS_API tbs_status_t rgy_findbyuuid_entry(int entry_class, int flags, int key_attribute, size_t key_size,
                                          const void *key, rgy_cursor_t **cursor, int fetch, rgy_entry_t **entry,
                                          int *indicator) {
    const tbs_status_t injected = injected_failure();
    if (injected != TBS_ST_OK) { return injected; }
    if (!valid_search(entry_class, flags, key_attribute, key_size, key, cursor, fetch, entry, indicator)) {
        return TBS_ST_INVALID_ARG;
    }
    if (*cursor == nullptr) {
        tbs_uuid_t uuid;
        std::memcpy(&uuid, key, sizeof uuid);
        const tbs_status_t status = open_search(uuid, cursor);
        if (status != TBS_ST_OK) { return status; }
    }
    rgy_cursor *search = *cursor;
    if (search->next >= search->count) {
        rgy_close_cursor(cursor);
        return TBS_ST_OK;
    }
    const rgy_entry &found = search->matches[search->next];
    if (fetch == RGY_FETCH_ENTRY) {
        if (*entry == nullptr) {
            *entry = static_cast<rgy_entry *>(stg_malloc(sizeof(rgy_entry)));
            if (*entry == nullptr) {
                return TBS_ST_NO_MEMORY;  // the position is kept: a retry finds this entry
            }
        }
        **entry = found;
    }
    *indicator = found.indicator;
    ++search->next;
    return TBS_ST_OK;
}

TBS_API tbs_status_t rgy_getstring_from_entry_const(const rgy_entry_t *entry, int attribute, const char **text) {
    const tbs_status_t injected = injected_failure();
    if (injected != TBS_ST_OK) { return injected; }
    if (entry == nullptr || text == nullptr) { return TBS_ST_INVALID_ARG; }
    switch (attribute) {
    case RGY_ATTR_UUID: *text = entry->uuid_text; return TBS_ST_OK;
    case RGY_ATTR_HOST: *text = entry->host; return TBS_ST_OK;
    default: return TBS_ST_NOT_FOUND;
    }
}

TBS_API void rgy_close_cursor(rgy_cursor_t **cursor) {
    if (cursor == nullptr || *cursor == nullptr) { return; }
    stg_free((*cursor)->matches);
    stg_free(*cursor);
    *cursor = nullptr;
}

TBS_API void rgy_delete_entry(rgy_entry_t **entry) {
    if (entry == nullptr || *entry == nullptr) { return; }
    stg_free(*entry);
    *entry = nullptr;
}

TBS_API tbs_status_t rgy_test_add_entry(const tbs_uuid_t *uuid, int indicator, const char *host) {
    if (uuid == nullptr || host == nullptr) { return TBS_ST_INVALID_ARG; }
    rgy_entry entry;
    if (!make_entry(*uuid, indicator, host, entry)) { return TBS_ST_INVALID_ARG; }
    TestHooks &h = hooks();
    std::lock_guard<std::mutex> guard(h.lock);
    try {
        h.entries.push_back(entry);
    } catch (const std::bad_alloc &) { return TBS_ST_NO_MEMORY; }
    return TBS_ST_OK;
}

TBS_API void rgy_test_clear_entries(void) {
    TestHooks &h = hooks();
    std::lock_guard<std::mutex> guard(h.lock);
    h.entries.clear();
}

TBS_API void rgy_test_fail_call(unsigned long nth, tbs_status_t status) {
    TestHooks &h = hooks();
    std::lock_guard<std::mutex> guard(h.lock);
    h.fail_countdown = nth;
    h.fail_status = status;
}

}  // extern "C"
