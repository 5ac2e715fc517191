/* An XDR stream over an open stdio file, with the library's own operation
 * table: reads go through pxinfo_kv_pkt_fread, writes and positions through
 * the base services' stream utilities. */
#ifndef PXINFO_XDR_IO_H
#define PXINFO_XDR_IO_H

#include <stdio.h>

#include <rpc/types.h>
#include <rpc/xdr.h>

#include <pxinfo/pxinfo_msg.h>

TBS_EXTERN_C_BEGIN

/* Fills the caller's handle as a stream over file in direction op
 * (XDR_ENCODE or XDR_DECODE). The stream owns nothing: destroying it flushes
 * the file but never closes it. Every unit is a 4-byte big-endian word; the
 * stream cannot be repositioned and offers no inline buffer. x_public is left
 * as the caller had it. */
PXINFO_API void pxinfo_xdrio_create(XDR *xdrs, FILE *file, enum xdr_op op);

TBS_EXTERN_C_END

#endif
