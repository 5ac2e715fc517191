// Environment variable lists: the allow-list, checking a received list
// against it, and building a list from the current environment.
#include "pxinfo_chk_ev.h"

#include <cstdlib>
#include <cstring>

#include "pxinfo_frame_internal.h"

namespace {

constexpr const char *kSource = pxinfo::source::kChkEv;

// Message of the "pxinfo" catalog naming a variable that may not be passed on.

// The only variables that an environment list may carry.
const char *const pxinfo_acceptable_env_var_name_list[] = {
    "KORVANE_PRINT_WIN32_STATUS",
};
constexpr size_t kAcceptableCount =
    sizeof pxinfo_acceptable_env_var_name_list / sizeof pxinfo_acceptable_env_var_name_list[0];

bool is_acceptable_name(const char *name) {
    for (const char *allowed : pxinfo_acceptable_env_var_name_list) {
        if (std::strcmp(name, allowed) == 0) { return true; }
    }
    return false;
}

}  // namespace

extern "C" int pxinfo_verify_env_list(uint32_t count, const pxinfo_env_var_t *list) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (list == nullptr) { return count == 0 ? 1 : 0; }
    // Every entry is examined so that every disallowed name gets reported.
    bool all_acceptable = true;
    for (uint32_t i = 0; i < count; ++i) {
        if (!is_acceptable_name(list[i].name)) {
            pxinfo::print_msg(false, IMSG_SEV_ERROR, pxinfo::PxinfoMsg::kEnvVarNotAllowed, list[i].name);
            all_acceptable = false;
        }
    }
    if (!all_acceptable) {
        PXINFO_FAIL(scope, TBS_ST_FAILED);
        return 0;
    }
    return 1;
}

extern "C" tbs_status_t pxinfo_generate_env_list(stg_area_t *area, uint32_t *count, pxinfo_env_var_t **list) {
    // Building a list traces its entry only.
    pxinfo::trace_entry(__func__);
    if (area == nullptr || area == STG_AREA_TEMP || count == nullptr || list == nullptr) { return TBS_ST_INVALID_ARG; }
    *count = 0;
    auto *entries = static_cast<pxinfo_env_var_t *>(stg_alloc(area, kAcceptableCount * sizeof(pxinfo_env_var_t)));
    if (entries == nullptr) { return TBS_ST_NO_MEMORY; }
    *list = entries;
    for (const char *name : pxinfo_acceptable_env_var_name_list) {
        const char *value = std::getenv(name);
        if (value == nullptr || value[0] == '\0') { continue; }
        pxinfo_env_var_t &entry = entries[*count];
        entry.name = stg_area_strdup(area, name);
        entry.value = entry.name != nullptr ? stg_area_strdup(area, value) : nullptr;
        if (entry.value == nullptr) {
            *list = nullptr;
            return TBS_ST_NO_MEMORY;
        }
        ++*count;
    }
    return TBS_ST_OK;
}
