/* Packet files: what a path names, a packet's information, and the order in
 * which packets must be imported. */
#ifndef PXINFO_PKTUTL_H
#define PXINFO_PKTUTL_H

#include <pxinfo/pxinfo_kv_pkt_xdr.h>
#include <pxinfo/pxinfo_msg.h>
#include <pxinfo/pxinfo_xdr.h>
#include <pxinfo/stg.h>
#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* The kind of file path names: a shipping order, a creation or update packet,
 * or other (8). A file of no known kind is type 8 with status 0. Returns
 * 1072 for a null path or type, the status of a path that cannot be statused,
 * 1002 for no regular file, 1001 when the file cannot be opened, 1072 for a
 * packet whose sync type is of no packet type. */
PXINFO_API tbs_status_t pxinfo_get_file_type(const char *path, pxinfo_file_type_t *type);

/* Fills info (in the caller's area, which must be neither null nor the
 * temporary area) from the file at path. The result is 1072 for bad
 * arguments and 1062 when the path cannot be copied; every problem with the
 * file itself is in info->status. */
PXINFO_API tbs_status_t pxinfo_get_packet_info(const char *path, stg_area_t *area, int caller_value,
                                               pxinfo_packet_info_t *info);

/* Shallow conversions between the current and the version-6 layouts; the
 * fields the version-6 layout lacks get their defaults. */
PXINFO_API void pxinfo_packet_info_v6_to_native(const pxinfo_packet_info_v6_t *v6_pi_p,
                                                pxinfo_packet_info_t *native_pi_p);
PXINFO_API void pxinfo_packet_info_native_to_v6(const pxinfo_packet_info_t *native_pi_p,
                                                pxinfo_packet_info_v6_t *v6_pi_p);

/* Negative when pkt1 must be imported before pkt2, positive after, 0 when
 * they are not ordered: epoch rows first, then the packet log's uuid, then
 * the sequence number. */
PXINFO_API int pxinfo_compare_pkt_dependencies(const pxinfo_packet_info_t *pkt1, const pxinfo_packet_info_t *pkt2);

/* The epoch row of an update packet (start epochs of its references); the
 * entries belong to the caller (pxinfo_free_new_epoch_row_entry). */
PXINFO_API tbs_status_t pxinfo_kv_packet_info_to_epoch_row(const pxinfo_packet_info_t *info, pxinfo_epoch_row_t *row);
/* The epoch row of a header; replica, when given and among the targets,
 * names the row. */
PXINFO_API tbs_status_t pxinfo_kv_pkt_header_to_epoch_row(const pxinfo_kv_pkt_header_t *header,
                                                          const pxinfo_selector_t *replica, pxinfo_epoch_row_t *row);
/* Whether replica is among the packet's targets. */
PXINFO_API tbs_status_t pxinfo_packet_targets_include_selector(const pxinfo_packet_info_t *info,
                                                               const pxinfo_selector_t *replica, int *included);

TBS_EXTERN_C_END

#endif
