/* File utilities of the base services. */
#ifndef TBS_FILEUTL_H
#define TBS_FILEUTL_H

#include <stdio.h>

#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* The CRC-32 of length bytes (zlib's crc32 starting from 0) into *crc: the
 * checksum of "123456789" is 0xCBF43926. A null buffer counts as no bytes. */
TBS_API void fileutl_crc_buffer(const void *buffer, size_t length, uint32_t *crc);

/* Non-zero when path names an existing file system object. With follow_links
 * non-zero a symbolic link counts only when its target exists. */
TBS_API int fileutl_exists(const char *path, int follow_links);
/* Fills *status with the file status of path (the target of a symbolic link
 * when follow_links is non-zero). Returns 0, or -1 with errno set. */
struct stat64;
TBS_API int fileutl_stat(const char *path, int follow_links, struct stat64 *status);
/* Non-zero when host names this host: "localhost", a loopback address, or this
 * host's name, fully qualified or not, in any case. */
TBS_API int fileutl_is_localhost(const char *host);

TBS_EXTERN_C_END

#endif
