/* Stream utilities of the base services. */
#ifndef TBS_MTUTL_H
#define TBS_MTUTL_H

#include <stdio.h>

#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* fwrite that returns the whole items written. On an unbuffered stream a
 * write interrupted by a signal is resumed where it stopped; a buffered
 * stream has already dropped what it held when a flush fails, so there the
 * short count and the stream's error indicator are returned as fwrite does. */
TBS_API size_t mtutl_fwrite(const void *buffer, size_t size, size_t count, FILE *stream);
/* The current position, as ftell. */
TBS_API long mtutl_ftell(FILE *stream);

TBS_EXTERN_C_END

#endif
