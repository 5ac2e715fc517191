/* The library's three message catalogs and its version line. */
#ifndef PXINFO_MSG_H
#define PXINFO_MSG_H

#include <pxinfo/imsg.h>
#include <pxinfo/pxinfo_version.h>
#include <pxinfo/tbs_types.h>

#define PXINFO_API TBS_API

TBS_EXTERN_C_BEGIN

/* Catalog "pxinfo": replica, packet file and name-map messages. */
PXINFO_API extern const imsg_msg_table_t _pxinfo_pxinfo_msg_table;
/* Catalog "pxinfo_kv_pkt": packet header messages. */
PXINFO_API extern const imsg_msg_table_t _pxinfo_kv_pkt_pxinfo_msg_table;
/* Catalog "pxinfo_shp_order": shipping order messages. */
PXINFO_API extern const imsg_msg_table_t _pxinfo_shp_order_pxinfo_msg_table;

/* Formats "libquentapxinfobase" padded to 33 columns, the version (the
 * PXINFO_VERSION_STRING the library was built with) and the build date into
 * buffer; returns what imsg_sprintf returns. */
PXINFO_API int libquentapxinfobase_sprintf_verid(char *buffer);
/* Prints the version line with severity 0; returns what imsg_print returns. */
PXINFO_API int libquentapxinfobase_print_verid(void);

TBS_EXTERN_C_END

#endif
