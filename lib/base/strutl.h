/* String utilities: bounded copy and concatenation, a comparison that
 * disregards whitespace, number texts, searching in texts and a comparison
 * that disregards case. */
#ifndef TBS_STRUTL_H
#define TBS_STRUTL_H

#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* Sizes are buffer sizes: a text fits a buffer of size bytes when it has at
 * most size - 1 characters, leaving room for the terminating NUL. On failure
 * the destination holds the empty text (when size is not 0), never a
 * truncated one. */

/* Copies source into destination. 0 when it fits; TBS_ST_FAILED when it does
 * not; TBS_ST_INVALID_ARG for a null pointer. */
TBS_API tbs_status_t strutl_cpy_buf(char *destination, const char *source, size_t size);

/* Joins count texts (each a const char *, passed after count) into
 * destination. 0 when the result fits; TBS_ST_FAILED when it does not;
 * TBS_ST_INVALID_ARG for a null destination or text. */
TBS_API tbs_status_t strutl_concat(char *destination, size_t size, unsigned count, ...);

/* Orders two texts byte by byte (as unsigned bytes) as if every whitespace
 * character (blank, tab, line feed, carriage return, vertical tab, form feed)
 * were removed from both; case counts. -1, 0 or +1. A null text orders
 * before every text. */
TBS_API int strutl_cmp_ignore_whitespace(const char *a, const char *b);

/* Writes the text of value in base (2 to 36, lower-case digits) into buffer
 * of size bytes; returns buffer, or null when the base is outside that range
 * or the text does not fit. */
TBS_API char *strutl_u32tostr(uint32_t value, unsigned base, char *buffer, size_t size);

/* Whole-word numbers. The word must consist of the number alone: no blanks,
 * nothing after it. base is as for strtoul (0 takes a "0x" prefix as hex and
 * a leading 0 as octal, else decimal). Both return 0 with the value in *out,
 * or TBS_ST_FAILED (*out unchanged) when the word is empty, is not a number
 * in that base, or lies outside the 32-bit range: 0 to 4294967295 for
 * strutl_strtoul, which takes no sign; -2147483648 to 2147483647 for
 * strutl_strtol, which takes an optional "+" or "-". A null text or out gives
 * TBS_ST_INVALID_ARG. */
TBS_API tbs_status_t strutl_strtoul(const char *text, int base, uint32_t *out);
TBS_API tbs_status_t strutl_strtol(const char *text, int base, int32_t *out);

/* 1 when pattern occurs in text at or after byte offset start, with the
 * offset of its first occurrence in *position (when position is not null);
 * else 0. An empty pattern occurs at start. Null texts never match. */
TBS_API int strutl_find_str(const char *text, size_t start, const char *pattern, size_t *position);

/* Compares two texts regardless of case, in the collation order of the
 * process's locale: negative, 0 (equal) or positive. A null text sorts before
 * any other. */
TBS_API int strutl_stricoll(const char *a, const char *b);

TBS_EXTERN_C_END

#endif
