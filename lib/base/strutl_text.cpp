// Searching in texts and comparing texts regardless of case.
#include <cctype>
#include <clocale>
#include <cstring>

#include "stg.h"
#include "strutl.h"

namespace {

// A lower-case copy of text, on the heap of the base services; null on
// exhaustion.
char *lowered_copy(const char *text) {
    const size_t length = std::strlen(text);
    auto *copy = static_cast<char *>(stg_malloc(length + 1));
    if (copy == nullptr) { return nullptr; }
    for (size_t i = 0; i <= length; ++i) {
        copy[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[i])));
    }
    return copy;
}

// Byte-wise comparison of the lower-case forms, the order of the "C" locale.
int compare_lowered_bytes(const char *a, const char *b) {
    for (;; ++a, ++b) {
        const int ca = std::tolower(static_cast<unsigned char>(*a));
        const int cb = std::tolower(static_cast<unsigned char>(*b));
        if (ca != cb || ca == 0) { return ca - cb; }
    }
}

bool collation_is_bytewise() {
    const char *name = std::setlocale(LC_COLLATE, nullptr);
    return name == nullptr || std::strcmp(name, "C") == 0 || std::strcmp(name, "POSIX") == 0;
}

}  // namespace

extern "C" {

TBS_API int strutl_find_str(const char *text, size_t start, const char *pattern, size_t *position) {
    if (text == nullptr || pattern == nullptr) { return 0; }
    const size_t length = std::strlen(text);
    if (start > length) { return 0; }
    const char *found = std::strstr(text + start, pattern);
    if (found == nullptr) { return 0; }
    if (position != nullptr) { *position = static_cast<size_t>(found - text); }
    return 1;
}

TBS_API int strutl_stricoll(const char *a, const char *b) {
    if (a == nullptr || b == nullptr) { return (a == nullptr ? 0 : 1) - (b == nullptr ? 0 : 1); }
    if (collation_is_bytewise()) { return compare_lowered_bytes(a, b); }
    char *la = lowered_copy(a);
    char *lb = lowered_copy(b);
    // Without storage for the copies the byte order still tells equal texts
    // from different ones; only the order between different texts may differ.
    const int result = (la != nullptr && lb != nullptr) ? std::strcoll(la, lb) : compare_lowered_bytes(a, b);
    stg_free(la);
    stg_free(lb);
    return result;
}

}  // extern "C"
