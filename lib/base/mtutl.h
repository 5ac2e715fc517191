/* Stream utilities of the base services. */
#ifndef TBS_MTUTL_H
#define TBS_MTUTL_H

#include <stdio.h>

#include "tbs_types.h"

TBS_EXTERN_C_BEGIN

/* fwrite that retries interrupted writes; returns the whole items written. */
TBS_API size_t mtutl_fwrite(const void *buffer, size_t size, size_t count, FILE *stream);
/* The current position, as ftell. */
TBS_API long mtutl_ftell(FILE *stream);

TBS_EXTERN_C_END

#endif
