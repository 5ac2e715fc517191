/* File utilities of the base services. */
#ifndef TBS_FILEUTL_H
#define TBS_FILEUTL_H

#include <stdio.h>

#include "tbs_types.h"

TBS_EXTERN_C_BEGIN

/* The CRC-32 of length bytes (zlib's crc32 starting from 0) into *crc. */
TBS_API void fileutl_crc_buffer(const void *buffer, size_t length, uint32_t *crc);

TBS_EXTERN_C_END

#endif
