/* Tables that pair the numbers of an enumeration with the names users type,
 * looked up in both directions. */
#ifndef PXINFO_UTL_MAPS_H
#define PXINFO_UTL_MAPS_H

#include <pxinfo/pxinfo_msg.h>
#include <pxinfo/pxinfo_xdr.h>
#include <pxinfo/stg.h>
#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* One entry of a table. A table ends with an entry whose name is null or
 * empty; that entry is not part of it. */
typedef struct pxinfo_id_and_name_map_entry_s {
    int id;
    const char *name;
} pxinfo_id_and_name_map_entry_t;

/* The id of the first entry whose name equals name regardless of case, in
 * *id. TBS_ST_INVALID_ARG (with an error message) for a null table, a null or
 * empty name or a null id; TBS_ST_NOT_FOUND when no entry has the name (*id
 * is then unchanged). */
PXINFO_API tbs_status_t pxinfo_str_to_int_id(const pxinfo_id_and_name_map_entry_t *table, const char *name, int *id);

/* The shipped file type (shipping order, creation packet, update packet or
 * other) named by name, regardless of case. TBS_ST_NOT_FOUND, with the
 * message "Invalid file_type! ", for any other name; TBS_ST_INVALID_ARG for a
 * null or empty name or a null type. */
PXINFO_API tbs_status_t pxinfo_str_to_ship_filetype(const char *name, pxinfo_file_type_t *type);

TBS_EXTERN_C_END

#ifdef __cplusplus
/* The name of the entry at position (counted from 0, not an id) of table, as
 * a copy in area. TBS_ST_NOT_FOUND for a null table or name (with an error
 * message), and for a position outside the table. A copy that the area cannot
 * supply leaves name null with status 0. */
PXINFO_API tbs_status_t pxinfo_int_id_to_str(stg_area_t *area, const pxinfo_id_and_name_map_entry_t *table,
                                             int position, char *&name);
#endif

#endif
