// Whole-word number parsing with fixed 32-bit ranges, the same on every
// platform whatever the width of long.
#include <errno.h>
#include <limits.h>
#include <stdlib.h>

#include "strutl.h"

namespace {

bool valid_base(int base) { return base == 0 || (base >= 2 && base <= 36); }

// A number starts with a digit or, in bases above 10, a letter.
bool is_digit_start(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// Parses the unsigned magnitude that starts at text; false unless the whole
// rest of the text is the number and it fits in unsigned long long.
bool parse_magnitude(const char *text, int base, unsigned long long *value) {
    // strtoull would accept blanks and a sign; the word must start with a digit.
    if (!is_digit_start(text[0])) { return false; }
    char *end = nullptr;
    errno = 0;
    unsigned long long v = strtoull(text, &end, base);
    if (errno != 0 || end == text || *end != '\0') { return false; }
    *value = v;
    return true;
}

}  // namespace

extern "C" {

tbs_status_t strutl_strtoul(const char *text, int base, uint32_t *out) {
    if (text == nullptr || out == nullptr || !valid_base(base)) { return TBS_ST_INVALID_ARG; }
    unsigned long long v = 0;
    if (!parse_magnitude(text, base, &v) || v > UINT32_MAX) { return TBS_ST_FAILED; }
    *out = static_cast<uint32_t>(v);
    return TBS_ST_OK;
}

tbs_status_t strutl_strtol(const char *text, int base, int32_t *out) {
    if (text == nullptr || out == nullptr || !valid_base(base)) { return TBS_ST_INVALID_ARG; }
    bool negative = text[0] == '-';
    const char *digits = (text[0] == '-' || text[0] == '+') ? text + 1 : text;
    unsigned long long v = 0;
    if (!parse_magnitude(digits, base, &v)) { return TBS_ST_FAILED; }
    const unsigned long long limit = negative ? 2147483648ULL : 2147483647ULL;
    if (v > limit) { return TBS_ST_FAILED; }
    *out = negative ? static_cast<int32_t>(-static_cast<long long>(v)) : static_cast<int32_t>(v);
    return TBS_ST_OK;
}

}  // extern "C"
