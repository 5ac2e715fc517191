/* Setting values: building, reading and comparing the tagged integer or
 * string values carried in the shared records, without touching their union.
 * Setters take the new content first and the value last; getters take the
 * value first. */
#ifndef PXINFO_SETTINGS_H
#define PXINFO_SETTINGS_H

#include <stdint.h>

#include <pxinfo/pxinfo_msg.h>
#include <pxinfo/pxinfo_xdr.h>
#include <pxinfo/stg.h>
#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* PXINFO_SETTING_INT or PXINFO_SETTING_STR for a value of that type; 0 for a
 * null value or any other type. */
PXINFO_API pxinfo_setting_type_t pxinfo_setting_get_type(const pxinfo_setting_val_t *value);

/* The integer of an integer value into *int_value. TBS_ST_INVALID_ARG (and
 * *int_value untouched) for a null argument or a value of another type. */
PXINFO_API tbs_status_t pxinfo_setting_get_int_value(const pxinfo_setting_val_t *value, int32_t *int_value);

/* Makes value an integer value holding int_value. TBS_ST_INVALID_ARG when
 * value is null. */
PXINFO_API tbs_status_t pxinfo_setting_set_int_value(int32_t int_value, pxinfo_setting_val_t *value);

/* The string of a string value into *str_value: a copy in area, or with a
 * null area the value's own string. A null string gives null and 0.
 * TBS_ST_NO_MEMORY when the copy fails; TBS_ST_INVALID_ARG (and *str_value
 * untouched) for a null argument or a value of another type. */
PXINFO_API tbs_status_t pxinfo_setting_get_str_value(const pxinfo_setting_val_t *value, stg_area_t *area,
                                                     char **str_value);

/* Makes value a string value holding a copy of str_value in area, or with a
 * null area str_value itself (the caller keeps it alive; the library never
 * writes through it). A null str_value is stored as null. TBS_ST_NO_MEMORY
 * when the copy fails (value is then a string value with a null string);
 * TBS_ST_INVALID_ARG when value is null. */
PXINFO_API tbs_status_t pxinfo_setting_set_str_value(const char *str_value, stg_area_t *area,
                                                     pxinfo_setting_val_t *value);

/* 1 when the two values are equal, 0 when not. Null values are never equal;
 * integers compare by value; strings are equal when they are the same
 * pointer, or both non-empty with the same characters (an empty string equals
 * only itself); values of any other type are equal when their types are. */
PXINFO_API int pxinfo_setting_eq(const pxinfo_setting_val_t *a, const pxinfo_setting_val_t *b);

TBS_EXTERN_C_END

#endif
