// Selector operations that stay inside the library. Never installed.
#ifndef PXINFO_UTL_SELECTOR_INTERNAL_H
#define PXINFO_UTL_SELECTOR_INTERNAL_H

#include <cstring>

#include "pxinfo_utl_selector.h"

namespace pxinfo {

// The text of a name field, or null when the field holds no terminator
// within its own size (such a field has no text form).
template <size_t N>
const char *terminated(const char (&field)[N]) {
    return std::memchr(field, '\0', N) != nullptr ? field : nullptr;
}

// The full text form of pxinfo_selector_to_str without its trace lines and
// internal-error log: buffer, or null when the selector has no text form.
// The selector and the buffer (PXINFO_SELECTOR_STR_SIZE bytes) are present.
char *selector_text(const pxinfo_selector_t *selector, char *buffer);

}  // namespace pxinfo

extern "C" {

// The shared body of pxinfo_selector_to_family_str (use_dstr 0) and
// pxinfo_selector_to_family_dstr (use_dstr 1).
char *pxinfo_selector_to_family_str_int(const pxinfo_selector_t *selector, int use_dstr, char *buffer);

// The replica part of the order. With trusted 0 the families are compared
// first and anything but equal families gives PXINFO_CMP_INVALID; a non-zero
// trusted means the caller has already found the families equal.
int trusted_pxinfo_selector_replica_cmp(const pxinfo_selector_t *a, const pxinfo_selector_t *b, int trusted);

}  // extern "C"

#endif
