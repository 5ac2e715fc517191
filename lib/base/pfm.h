/* Assertion reports. */
#ifndef TBS_PFM_H
#define TBS_PFM_H

#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* Prints "assertion failed: EXPR (FILE:LINE)" with severity 6, counts it and
 * returns; the caller goes on to its fallback. */
TBS_API void pfm_assert_fail(const char *expression, const char *source_path, int line);
TBS_API unsigned long pfm_assert_fail_count(void);

TBS_EXTERN_C_END

#endif
