// File utilities of the base services.

#include "fileutl.h"

#include <zlib.h>

TBS_EXTERN_C_BEGIN

void fileutl_crc_buffer(const void *buffer, size_t length, uint32_t *crc) {
    if (crc == nullptr) { return; }
    uLong value = crc32_z(0L, Z_NULL, 0);
    if (buffer != nullptr && length > 0) { value = crc32_z(value, static_cast<const Bytef *>(buffer), length); }
    *crc = static_cast<uint32_t>(value);
}

TBS_EXTERN_C_END
