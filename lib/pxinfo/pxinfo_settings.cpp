// Setting values: typed access to the tagged union of pxinfo_setting_val_t.
#include "pxinfo_settings.h"

#include <cstring>

#include "pxinfo_frame_internal.h"

namespace {

constexpr const char *kSource = pxinfo::source::kSettings;

bool is_type(const pxinfo_setting_val_t *value, pxinfo_setting_type_t type) {
    return value != nullptr && value->type == type;
}

// Two strings in different storage are equal only when both are non-empty
// and hold the same characters; the same pointer is always equal to itself.
bool same_string(const char *a, const char *b) {
    if (a == b) { return true; }
    if (a == nullptr || b == nullptr || a[0] == '\0' || b[0] == '\0') { return false; }
    return std::strcmp(a, b) == 0;
}

}  // namespace

extern "C" pxinfo_setting_type_t pxinfo_setting_get_type(const pxinfo_setting_val_t *value) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (is_type(value, PXINFO_SETTING_INT) || is_type(value, PXINFO_SETTING_STR)) { return value->type; }
    return static_cast<pxinfo_setting_type_t>(0);
}

extern "C" tbs_status_t pxinfo_setting_get_int_value(const pxinfo_setting_val_t *value, int32_t *int_value) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (!is_type(value, PXINFO_SETTING_INT) || int_value == nullptr) { return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG); }
    *int_value = value->data.int_value;
    return TBS_ST_OK;
}

extern "C" tbs_status_t pxinfo_setting_set_int_value(int32_t int_value, pxinfo_setting_val_t *value) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (value == nullptr) { return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG); }
    value->type = PXINFO_SETTING_INT;
    value->data.int_value = int_value;
    return TBS_ST_OK;
}

extern "C" tbs_status_t pxinfo_setting_get_str_value(const pxinfo_setting_val_t *value, stg_area_t *area,
                                                     char **str_value) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (!is_type(value, PXINFO_SETTING_STR) || str_value == nullptr) { return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG); }
    char *text = value->data.str_value;
    if (area != nullptr && text != nullptr) {
        text = stg_area_strdup(area, text);
        if (text == nullptr) { return PXINFO_FAIL(scope, TBS_ST_NO_MEMORY); }
    }
    *str_value = text;
    return TBS_ST_OK;
}

extern "C" tbs_status_t pxinfo_setting_set_str_value(const char *str_value, stg_area_t *area,
                                                     pxinfo_setting_val_t *value) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (value == nullptr) { return PXINFO_FAIL(scope, TBS_ST_INVALID_ARG); }
    value->type = PXINFO_SETTING_STR;
    value->data.str_value = nullptr;
    if (str_value == nullptr) { return TBS_ST_OK; }
    if (area == nullptr) {
        // Shared with the caller: the record's string field is not const, but
        // the library only ever reads or copies it.
        value->data.str_value = const_cast<char *>(str_value);
        return TBS_ST_OK;
    }
    value->data.str_value = stg_area_strdup(area, str_value);
    if (value->data.str_value == nullptr) { return PXINFO_FAIL(scope, TBS_ST_NO_MEMORY); }
    return TBS_ST_OK;
}

extern "C" int pxinfo_setting_eq(const pxinfo_setting_val_t *a, const pxinfo_setting_val_t *b) {
    PXINFO_TRACE_SCOPE(scope, kSource);
    if (a == nullptr || b == nullptr || a->type != b->type) { return 0; }
    switch (a->type) {
    case PXINFO_SETTING_INT: return a->data.int_value == b->data.int_value ? 1 : 0;
    case PXINFO_SETTING_STR: return same_string(a->data.str_value, b->data.str_value) ? 1 : 0;
    default:
        // Untyped values (0, 3 or unknown) of the same type are equal.
        return 1;
    }
}
