// The stdio XDR stream of the health-file code. Never installed, never
// exported.
#ifndef PXINFO_FILEUTL_INTERNAL_H
#define PXINFO_FILEUTL_INTERNAL_H

#include <rpc/types.h>
#include <rpc/xdr.h>

#include <cstdio>

#include "tbs_types.h"

// Attaches a standard stdio XDR stream to file in direction op (XDR_ENCODE
// or XDR_DECODE). Returns 0; TBS_ST_INVALID_ARG for another direction or a
// null argument (no message); TBS_ST_FAILED, with an error naming the
// direction, when the stream could not be made.
extern "C" tbs_status_t pxinfo_xdrstdio_create(int op, FILE *file, XDR *xdrs);

#endif
