// Uuids and oids: the RFC 4122 text form, byte order comparison, equality and
// a 32-bit hash.
#include "tbs_uuid.h"

#include <cstring>

namespace {

constexpr char kHexDigits[] = "0123456789abcdef";
// Positions of the dashes in the 36-character text form.
constexpr bool is_dash_position(int i) { return i == 8 || i == 13 || i == 18 || i == 23; }

// An absent identifier formats, compares and hashes as the null uuid.
const tbs_uuid_t &or_null(const tbs_uuid_t *uuid);

int hex_value(char c) {
    if (c >= '0' && c <= '9') { return c - '0'; }
    if (c >= 'a' && c <= 'f') { return c - 'a' + 10; }
    if (c >= 'A' && c <= 'F') { return c - 'A' + 10; }
    return -1;
}

char *format_uuid(const tbs_uuid_t *uuid, char *buffer) {
    if (buffer == nullptr) { return nullptr; }
    const tbs_uuid_t &value = or_null(uuid);
    char *out = buffer;
    for (int i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) { *out++ = '-'; }
        *out++ = kHexDigits[value.bytes[i] >> 4];
        *out++ = kHexDigits[value.bytes[i] & 0x0f];
    }
    *out = '\0';
    return buffer;
}

int compare_bytes(const tbs_uuid_t *a, const tbs_uuid_t *b) {
    int order = std::memcmp(or_null(a).bytes, or_null(b).bytes, sizeof a->bytes);
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

// FNV-1a over the 16 bytes: cheap and well spread for random identifiers.
uint32_t hash_bytes(const tbs_uuid_t *uuid) {
    uint32_t hash = 2166136261u;
    for (unsigned char byte : or_null(uuid).bytes) {
        hash ^= byte;
        hash *= 16777619u;
    }
    return hash;
}

}  // namespace

extern "C" {

const tbs_uuid_t TBS_UUID_NULL = {{0}};

}  // extern "C"

namespace {
const tbs_uuid_t &or_null(const tbs_uuid_t *uuid) { return uuid != nullptr ? *uuid : TBS_UUID_NULL; }
}  // namespace

extern "C" {

char *tbs_uuid_to_str(const tbs_uuid_t *uuid, char *buffer) { return format_uuid(uuid, buffer); }

tbs_status_t tbs_str_to_uuid(const char *text, tbs_uuid_t *uuid) {
    if (text == nullptr || uuid == nullptr) { return TBS_ST_INVALID_ARG; }
    tbs_uuid_t parsed;
    int byte = 0;
    for (int i = 0; i < 36; ++i) {
        if (text[i] == '\0') { return TBS_ST_FAILED; }
        if (is_dash_position(i)) {
            if (text[i] != '-') { return TBS_ST_FAILED; }
            continue;
        }
        int high = hex_value(text[i]);
        int low = hex_value(text[++i]);
        if (high < 0 || low < 0) { return TBS_ST_FAILED; }
        parsed.bytes[byte++] = static_cast<unsigned char>(high << 4 | low);
    }
    if (text[36] != '\0') { return TBS_ST_FAILED; }
    *uuid = parsed;
    return TBS_ST_OK;
}

int tbs_uuid_cmp(const tbs_uuid_t *a, const tbs_uuid_t *b) { return compare_bytes(a, b); }

int tbs_uuid_eq(const tbs_uuid_t *a, const tbs_uuid_t *b) { return compare_bytes(a, b) == 0; }

uint32_t tbs_uuid_to_hash32(const tbs_uuid_t *uuid) { return hash_bytes(uuid); }

char *tbs_oid_to_str(const tbs_oid_t *oid, char *buffer) { return format_uuid(oid, buffer); }

char *tbs_oid_to_dstr(const tbs_oid_t *oid, char *buffer) {
    if (buffer == nullptr) { return nullptr; }
    std::memcpy(buffer, "oid:", 4);
    format_uuid(oid, buffer + 4);
    return buffer;
}

int tbs_oid_cmp(const tbs_oid_t *a, const tbs_oid_t *b) { return compare_bytes(a, b); }

int tbs_oid_eq(const tbs_oid_t *a, const tbs_oid_t *b) { return compare_bytes(a, b) == 0; }

uint32_t tbs_oid_to_hash32(const tbs_oid_t *oid) { return hash_bytes(oid); }

void tbs_oid_to_uuid(const tbs_oid_t *oid, tbs_uuid_t *uuid) {
    if (oid != nullptr && uuid != nullptr) { *uuid = *oid; }
}

}  // extern "C"
