/* Environment variable lists: the variables a process may hand on to the
 * product's other processes, built from the current environment and checked
 * against a fixed allow-list. */
#ifndef PXINFO_CHK_EV_H
#define PXINFO_CHK_EV_H

#include <stdint.h>

#include <pxinfo/pxinfo_msg.h>
#include <pxinfo/stg.h>
#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* One environment variable: its name (never null) and its value. */
typedef struct pxinfo_env_var {
    char *name;
    char *value;
} pxinfo_env_var_t;

/* 1 when every entry of the count entries of list names an allowed variable
 * (also for count 0, with or without a list); 0 when some name is not allowed,
 * each such name being reported with an error, or when list is null while
 * count is not 0. Values are not examined. */
PXINFO_API int pxinfo_verify_env_list(uint32_t count, const pxinfo_env_var_t *list);

/* Builds in area the list of allowed variables that are set to a non-empty
 * value in the current environment. Returns 0; TBS_ST_INVALID_ARG when area
 * is null or STG_AREA_TEMP or an out-argument is null; TBS_ST_NO_MEMORY when
 * an allocation fails (then *list is null if the entry array was made, and
 * *count holds the entries completed). Everything lives in area. */
PXINFO_API tbs_status_t pxinfo_generate_env_list(stg_area_t *area, uint32_t *count, pxinfo_env_var_t **list);

TBS_EXTERN_C_END

#endif
