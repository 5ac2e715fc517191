// Identifier and name maps: look-ups in both directions and the map of
// shipped file types.
#include "pxinfo_utl_maps.h"

#include "pxinfo_frame_internal.h"
#include "pxinfo_utl_maps_internal.h"
#include "strutl.h"

namespace {

constexpr const char *kSource = pxinfo::source::kUtl;

// Message "Invalid file_type! " of the "pxinfo" catalog.

// True when a reference argument was bound to nothing: C callers reach the
// C++ entry point with a plain pointer, which may be null. The empty asm keeps
// the compiler from assuming a reference is always bound.
template <typename T>
bool is_unbound(T &reference) {
    T *address = &reference;
    asm("" : "+r"(address));
    return address == nullptr;
}

bool is_terminator(const pxinfo_id_and_name_map_entry_t &entry) {
    return entry.name == nullptr || entry.name[0] == '\0';
}

}  // namespace

const pxinfo_id_and_name_map_entry_t pxinfo_ship_file_type_map[] = {
    {PXINFO_FILE_SHORDER, "shorder"},
    {PXINFO_FILE_KVCREATE, "kvcreate"},
    {PXINFO_FILE_KVUPDATE, "kvupdate"},
    {PXINFO_FILE_OTHER, "other"},
    {0, ""},
};

extern "C" {

PXINFO_API tbs_status_t pxinfo_str_to_int_id(const pxinfo_id_and_name_map_entry_t *table, const char *name, int *id) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (table == nullptr || name == nullptr || name[0] == '\0' || id == nullptr) {
        pxinfo::print_shared(IMSG_SEV_ERROR, pxinfo::kTraceComponent, tbs::SharedMsg::kMissingArgument, scope.name());
        return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG);
    }
    for (const pxinfo_id_and_name_map_entry_t *entry = table; !is_terminator(*entry); ++entry) {
        if (strutl_stricoll(entry->name, name) == 0) {
            *id = entry->id;
            return TBS_ST_OK;
        }
    }
    return PXINFO_FAIL(scope, TBS_ST_NOT_FOUND);
}

PXINFO_API tbs_status_t pxinfo_str_to_ship_filetype(const char *name, pxinfo_file_type_t *type) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    int id = 0;
    const tbs_status_t status = pxinfo_str_to_int_id(pxinfo_ship_file_type_map, name, type != nullptr ? &id : nullptr);
    if (status == TBS_ST_NOT_FOUND) { pxinfo::print_msg(false, IMSG_SEV_ERROR, pxinfo::PxinfoMsg::kInvalidFileType); }
    if (status == TBS_ST_OK) { *type = static_cast<pxinfo_file_type_t>(id); }
    return status;
}

}  // extern "C"

PXINFO_API tbs_status_t pxinfo_int_id_to_str(stg_area_t *area, const pxinfo_id_and_name_map_entry_t *table,
                                             int position, char *&name) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (table == nullptr || is_unbound(name)) {
        pxinfo::print_shared(IMSG_SEV_ERROR, pxinfo::kTraceComponent, tbs::SharedMsg::kMissingArgument, scope.name());
        return PXINFO_FAIL(scope, TBS_ST_NOT_FOUND);
    }
    if (position < 0) { return PXINFO_FAIL(scope, TBS_ST_NOT_FOUND); }
    for (int i = 0; i < position; ++i) {
        if (is_terminator(table[i])) { return PXINFO_FAIL(scope, TBS_ST_NOT_FOUND); }
    }
    if (is_terminator(table[position])) { return PXINFO_FAIL(scope, TBS_ST_NOT_FOUND); }
    name = stg_area_strdup(area, table[position].name);
    return TBS_ST_OK;
}
