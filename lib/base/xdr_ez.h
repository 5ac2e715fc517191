/* XDR helpers of the base services: bounded strings, counted arrays, optional
 * elements, fixed vectors, identifiers, and an in-memory encoding stream.
 *
 * Every element routine takes the pass-through argument extra, which the
 * helpers hand on unchanged. On decode the helpers refuse a count or length
 * above its maximum, or one whose storage would exceed XDR_EZ_MAX_ALLOC bytes;
 * what a failed decode allocated is released by running the same routine on
 * an XDR_FREE stream (or with xdr_ez_free). */
#ifndef TBS_XDR_EZ_H
#define TBS_XDR_EZ_H

#include <rpc/types.h>
#include <rpc/xdr.h>
#include <sys/time.h>

#include "tbs_types.h"

TBS_EXTERN_C_BEGIN

#define XDR_EZ_MAX_ALLOC (64u * 1024u * 1024u)

/* The routine of one element: (stream, element, extra), true on success. */
typedef bool_t (*xdr_ez_proc_t)(XDR *xdrs, void *element, int extra);

typedef int64_t ks_off64_t;

/* A string of at most max bytes. A null *sp encodes as the empty string; on
 * decode a null *sp receives a newly allocated string, a non-null one is the
 * buffer (which must hold max + 1 bytes). */
TBS_API bool_t xdr_ez_string8(XDR *xdrs, char **sp, u_int max);
/* A count word (at most max) followed by the elements, allocated on decode
 * when *arrp is null. */
TBS_API bool_t xdr_ez_array(XDR *xdrs, void **arrp, u_int *countp, u_int max, u_int elsize,
                            xdr_ez_proc_t elproc, int extra);
/* A presence word followed, when 1, by the element, allocated on decode. */
TBS_API bool_t xdr_ez_pointer(XDR *xdrs, void **objpp, u_int objsize, xdr_ez_proc_t objproc,
                              int extra);
/* count inline elements, no count word. */
TBS_API bool_t xdr_ez_vector(XDR *xdrs, void *base, u_int count, u_int elsize,
                             xdr_ez_proc_t elproc, int extra);
/* Releases what decoding allocated inside record by running routine on a
 * freeing stream. */
TBS_API void xdr_ez_free(void *record, xdr_ez_proc_t routine, int extra);

TBS_API bool_t xdr_tbs_uuid_t(XDR *xdrs, tbs_uuid_t *uuid, int extra);
/* A name buffer of TBS_NAME_MAX + 1 bytes, coded as a string of at most
 * TBS_NAME_MAX bytes. */
TBS_API bool_t xdr_tbs_name_t(XDR *xdrs, char *name, int extra);
/* A host name buffer of TBS_HOSTNAME_MAX + 1 bytes. */
TBS_API bool_t xdr_tbs_hostname_t(XDR *xdrs, char *hostname, int extra);
TBS_API bool_t xdr_ks_uint32_t(XDR *xdrs, uint32_t *value, int extra);
/* Two words, high word first. */
TBS_API bool_t xdr_ks_off64_t(XDR *xdrs, ks_off64_t *value, int extra);
/* Seconds then microseconds, each a signed 32-bit word. */
TBS_API bool_t xdr_timeval(XDR *xdrs, struct timeval *tv);

/* An in-memory encoding stream that grows as needed, starting at size bytes.
 * x_base is the start of its buffer and the position operation returns the
 * number of bytes encoded so far. flags must be 0. Returns 0, or
 * TBS_ST_NO_MEMORY. */
TBS_API tbs_status_t xdrstg_create(XDR *xdrs, u_int size, int flags);
/* Releases the stream's buffer. */
TBS_API void xdrstg_destroy(XDR *xdrs);

TBS_EXTERN_C_END

#endif
