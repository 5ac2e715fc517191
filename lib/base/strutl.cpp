// String utilities: bounded copy and concatenation, whitespace-blind
// comparison, number texts.
#include "strutl.h"

#include <cstdarg>
#include <cstring>

namespace {

void clear_text(char *destination, size_t size) {
    if (destination != nullptr && size > 0) { destination[0] = '\0'; }
}

bool is_whitespace(unsigned char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

const unsigned char *skip_whitespace(const unsigned char *p) {
    while (is_whitespace(*p)) { ++p; }
    return p;
}

}  // namespace

TBS_EXTERN_C_BEGIN

tbs_status_t strutl_cpy_buf(char *destination, const char *source, size_t size) {
    if (destination == nullptr || source == nullptr) {
        clear_text(destination, size);
        return TBS_ST_INVALID_ARG;
    }
    // memchr bounds the scan, so an unterminated source is never read past size.
    const void *end = size > 0 ? std::memchr(source, '\0', size) : nullptr;
    if (end == nullptr) {
        clear_text(destination, size);
        return TBS_ST_FAILED;
    }
    std::memmove(destination, source, static_cast<const char *>(end) - source + 1);
    return TBS_ST_OK;
}

tbs_status_t strutl_concat(char *destination, size_t size, unsigned count, ...) {
    if (destination == nullptr) { return TBS_ST_INVALID_ARG; }
    va_list args;
    va_start(args, count);
    tbs_status_t status = size > 0 ? TBS_ST_OK : TBS_ST_FAILED;
    size_t used = 0;
    for (unsigned i = 0; i < count && status == TBS_ST_OK; ++i) {
        const char *piece = va_arg(args, const char *);
        if (piece == nullptr) {
            status = TBS_ST_INVALID_ARG;
            break;
        }
        size_t room = size - used;  // always >= 1: the terminator's place
        const void *end = std::memchr(piece, '\0', room);
        if (end == nullptr) {
            status = TBS_ST_FAILED;
            break;
        }
        size_t length = static_cast<const char *>(end) - piece;
        std::memcpy(destination + used, piece, length);
        used += length;
    }
    va_end(args);
    if (status != TBS_ST_OK) {
        clear_text(destination, size);
        return status;
    }
    destination[used] = '\0';
    return TBS_ST_OK;
}

int strutl_cmp_ignore_whitespace(const char *a, const char *b) {
    if (a == nullptr || b == nullptr) { return a == b ? 0 : (a == nullptr ? -1 : 1); }
    const unsigned char *p = reinterpret_cast<const unsigned char *>(a);
    const unsigned char *q = reinterpret_cast<const unsigned char *>(b);
    for (;;) {
        p = skip_whitespace(p);
        q = skip_whitespace(q);
        if (*p != *q) { return *p < *q ? -1 : 1; }
        if (*p == '\0') { return 0; }
        ++p;
        ++q;
    }
}

char *strutl_u32tostr(uint32_t value, unsigned base, char *buffer, size_t size) {
    static const char kDigits[] = "0123456789abcdefghijklmnopqrstuvwxyz";
    if (buffer == nullptr || base < 2 || base > 36) { return nullptr; }
    char reversed[32];
    size_t length = 0;
    do {
        reversed[length++] = kDigits[value % base];
        value /= base;
    } while (value != 0);
    if (length >= size) { return nullptr; }
    for (size_t i = 0; i < length; ++i) { buffer[i] = reversed[length - 1 - i]; }
    buffer[length] = '\0';
    return buffer;
}

TBS_EXTERN_C_END
