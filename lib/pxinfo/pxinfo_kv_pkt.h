/* Packet headers: reading and writing the header at the start of every packet
 * file, the mapping of feature levels and major versions to protocol versions
 * and header layouts, and the stdio wrappers the packet code reads through. */
#ifndef PXINFO_KV_PKT_H
#define PXINFO_KV_PKT_H

#include <stdio.h>

#include <rpc/types.h>
#include <rpc/xdr.h>

#include <pxinfo/pxinfo_kv_pkt_xdr.h>
#include <pxinfo/pxinfo_msg.h>
#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* The magic number at the start of every packet file. */
#define PXINFO_KV_PKT_MAGIC 0x14823516u

/* The software's own packet version. */
#define PXINFO_KV_PKT_SOFTWARE_MAJOR_VERSION 7
#define PXINFO_KV_PKT_SOFTWARE_MINOR_VERSION 0

/* Reads the header of the packet at the current position of stream. The
 * caller's handle xdrs is created here as a decoding stdio stream on the file
 * and stays the caller's to destroy, whatever the outcome; on success it
 * stands right after the header (after the checksum, or after a layout-0
 * record). The header comes back in the newest layout, owning copies of its
 * arrays and texts (release with pxinfo_free_kv_pkt_hdr). quiet non-zero
 * prints nothing. Returns 0; 1001 for a bad magic number, an unknown version,
 * an undecodable header or a bad checksum; 1062 when storage is exhausted;
 * 1072 for a null argument; or the status of the check buffer's creation.
 * On failure the header is all zero and *major_version holds the decoded
 * major version, or 0 when none was decoded. */
PXINFO_API tbs_status_t pxinfo_kv_pkt_read_header(FILE *stream, XDR *xdrs, int quiet, int *major_version,
                                                  pxinfo_kv_pkt_header_t *header);

/* As pxinfo_kv_pkt_read_header with a handle of its own; the file is rewound
 * to its start whatever the outcome. Release the header with
 * pxinfo_kv_pkt_finish_import_header_no_xdr. */
PXINFO_API tbs_status_t pxinfo_kv_pkt_read_import_header_no_xdr(FILE *stream, int quiet, int *major_version,
                                                                pxinfo_kv_pkt_header_t *header);

/* Releases a header read by the import form; the file is not touched.
 * Returns 0. */
PXINFO_API tbs_status_t pxinfo_kv_pkt_finish_import_header_no_xdr(FILE *stream, pxinfo_kv_pkt_header_t *header);

/* Releases what a read header owns and leaves it all zero; null is ignored,
 * and releasing twice is harmless. */
PXINFO_API void pxinfo_free_kv_pkt_hdr(pxinfo_kv_pkt_header_t *header);

/* Writes header onto the encoding stream xdrs in the layout major_version
 * selects: magic number, major version, the record (narrowed to layout 2 or
 * 0 for older versions), and for layouts 2 and 3 the checksum of the bytes
 * this call wrote before it. For layouts 2 and 3 the stream must be an
 * in-memory stream whose x_base is the start of its buffer (xdrstg_create).
 * *size receives the header's size in bytes (for layout 0, the stream's
 * position after it). Returns 0; 1001 for an unknown version or an encoding
 * failure; 1062 when storage is exhausted; 1072 for a null argument, a stream
 * that is not encoding, a header whose counts do not match its arrays, or a
 * layout-2 or layout-3 stream without a buffer. */
PXINFO_API tbs_status_t pxinfo_kv_pkt_write_header(const pxinfo_kv_pkt_header_t *header, int major_version, XDR *xdrs,
                                                   u_int *size);

/* Stores the protocol version that packets for a family of the given feature
 * level (0 to 6) carry. Any other level stores minor version 0, leaves the
 * major version unwritten and logs an internal error. */
PXINFO_API void pxinfo_map_flevel_to_protocol_versions(int feature_level, int *major_version, int *minor_version);

/* The header layout of a major version (0 to 7): 0 for 0, 2 for 1 to 5, 3 for
 * 6 and 7. Any other version returns 1001, leaves *header_type unwritten and
 * prints "unknown packet version" unless quiet. */
PXINFO_API tbs_status_t pxinfo_kv_pkt_major_version_to_header_type(int major_version, int quiet,
                                                                   pxinfo_kv_pkt_header_type_t *header_type);

/* Sync type 1 (update) is an update packet, 2 (creation) a creation packet,
 * anything else another file; and back, with 0 for any other file type. */
PXINFO_API pxinfo_file_type_t pxinfo_kv_pkt_sync_type_to_file_type(int sync_type);
PXINFO_API int pxinfo_kv_pkt_file_type_to_sync_type(pxinfo_file_type_t file_type);

/* Thin stdio wrappers the packet code reads and writes through. */
PXINFO_API size_t pxinfo_kv_pkt_fread(void *buffer, size_t size, size_t count, FILE *stream);
PXINFO_API size_t pxinfo_kv_pkt_fwrite(const void *buffer, size_t size, size_t count, FILE *stream);
/* Moves offset bytes from the current position; returns the distance moved,
 * or -1 when the seek fails. */
PXINFO_API long pxinfo_kv_pkt_fseek(long offset, FILE *stream);

TBS_EXTERN_C_END

#endif
