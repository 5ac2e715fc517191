/* System utilities of the base services. */
#ifndef TBS_SYSUTL_H
#define TBS_SYSUTL_H

#include <stdio.h>

#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* Flushes stream and forces its data to stable storage (fsync of its file
 * descriptor). 0 on success; -1 with errno set when the flush fails, the
 * stream has no file descriptor (an in-memory stream), or the descriptor
 * cannot be synchronised (a pipe, for example). */
TBS_API int sysutl_fsync_fptr(FILE *stream);

TBS_EXTERN_C_END

#endif
