// The library's own name maps. Never installed.
#ifndef PXINFO_UTL_MAPS_INTERNAL_H
#define PXINFO_UTL_MAPS_INTERNAL_H

#include "pxinfo_utl_maps.h"

// Shipped file types by name: shorder, kvcreate, kvupdate, other.
extern const pxinfo_id_and_name_map_entry_t pxinfo_ship_file_type_map[];

#endif
