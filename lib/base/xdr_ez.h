/* XDR helpers of the base services: bounded strings, counted arrays, optional
 * elements, fixed vectors, identifiers, and an in-memory encoding stream.
 *
 * Every element routine takes the pass-through argument extra, which the
 * helpers hand on unchanged. On decode the helpers refuse a count or length
 * above its maximum, or one whose storage would exceed XDR_EZ_MAX_ALLOC bytes;
 * what a failed decode allocated is released by running the same routine on
 * an XDR_FREE stream (or with xdr_ez_free). Every allocation is made with
 * stg_malloc and released with stg_free. */
#ifndef TBS_XDR_EZ_H
#define TBS_XDR_EZ_H

#include <rpc/types.h>
#include <rpc/xdr.h>
#include <sys/time.h>

#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

#define XDR_EZ_MAX_ALLOC (64u * 1024u * 1024u)

/* The routine of one element: (stream, element, extra), true on success. */
typedef bool_t (*xdr_ez_proc_t)(XDR *xdrs, void *element, int extra);

typedef int64_t ks_off64_t;

/* A string of at most max bytes: a length word, the bytes, zero padding to a
 * word. A null *sp encodes as the empty string. On decode a null *sp receives
 * a newly allocated string (stg_malloc); a non-null one is the buffer, which
 * must hold max + 1 bytes. Freeing releases *sp with stg_free and nulls it.
 * max 0xFFFFFFFF means no bound but the allocation limit. */
TBS_API bool_t xdr_ez_string8(XDR *xdrs, char **sp, u_int max);
/* A count word (at most max) followed by the elements. On decode a null *arrp
 * receives a zero-filled block of *countp elements (none for a count of 0); a
 * non-null one is the caller's block, which must hold max elements. A decode
 * that fails part way releases the block it allocated, nulls *arrp and sets
 * *countp to 0. Freeing runs elproc over *countp elements, then releases the
 * block and nulls *arrp; a record that keeps its own count field and passes
 * a copy must check, after decoding, that the copy matches that field, or a
 * shorter array on the wire leaves the field naming elements that do not
 * exist. */
TBS_API bool_t xdr_ez_array(XDR *xdrs, void **arrp, u_int *countp, u_int max, u_int elsize, xdr_ez_proc_t elproc,
                            int extra);
/* A presence word (1 or 0) followed, when 1, by the element; any other
 * presence word is refused. On decode the element is allocated zero-filled
 * when *objpp is null; a presence word 0 sets *objpp to null. Freeing runs
 * objproc on the element, then releases it and nulls *objpp. */
TBS_API bool_t xdr_ez_pointer(XDR *xdrs, void **objpp, u_int objsize, xdr_ez_proc_t objproc, int extra);
/* count inline elements, no count word; nothing is allocated or released but
 * what the element routine does. */
TBS_API bool_t xdr_ez_vector(XDR *xdrs, void *base, u_int count, u_int elsize, xdr_ez_proc_t elproc, int extra);
/* Releases what decoding allocated inside record by running routine on a
 * freeing stream. A null record or routine is ignored. */
TBS_API void xdr_ez_free(void *record, xdr_ez_proc_t routine, int extra);

/* The 16 bytes in the order of the text form, no length word. */
TBS_API bool_t xdr_tbs_uuid_t(XDR *xdrs, tbs_uuid_t *uuid, int extra);
/* A name buffer of TBS_NAME_MAX + 1 bytes, coded as a string of at most
 * TBS_NAME_MAX bytes. A buffer without a terminating NUL is refused. The
 * buffer is never released. */
TBS_API bool_t xdr_tbs_name_t(XDR *xdrs, char *name, int extra);
/* A host name buffer of TBS_HOSTNAME_MAX + 1 bytes, coded as a string of at
 * most TBS_HOSTNAME_MAX bytes, as names are. */
TBS_API bool_t xdr_tbs_hostname_t(XDR *xdrs, char *hostname, int extra);
/* One unsigned word. */
TBS_API bool_t xdr_ks_uint32_t(XDR *xdrs, uint32_t *value, int extra);
/* Two words, high word first. */
TBS_API bool_t xdr_ks_off64_t(XDR *xdrs, ks_off64_t *value, int extra);
/* Seconds then microseconds, each a signed 32-bit word; a value that does
 * not fit 32 bits is refused on encode. */
TBS_API bool_t xdr_timeval(XDR *xdrs, struct timeval *tv);

/* An in-memory encoding stream that starts with room for size bytes and
 * doubles its buffer as needed, up to XDR_EZ_MAX_ALLOC bytes. x_base is the
 * start of the current buffer (it moves when the buffer grows) and the
 * position operation returns the number of bytes encoded so far; the
 * position may be set back within what was written, to rewrite in place.
 * The inline operation hands out aligned runs of whole words. flags must be
 * 0. Returns 0; TBS_ST_INVALID_ARG for a null stream or non-zero flags;
 * TBS_ST_NO_MEMORY when the buffer cannot be had, leaving x_base null (the
 * stream may still be destroyed). */
TBS_API tbs_status_t xdrstg_create(XDR *xdrs, u_int size, int flags);
/* Releases the stream's buffer and nulls x_base; a second call does nothing. */
TBS_API void xdrstg_destroy(XDR *xdrs);

TBS_EXTERN_C_END

#endif
