/* Status texts, errno conversion, the internal-error log, and the product's
 * directories. */
#ifndef TBS_TBS_H
#define TBS_TBS_H

#include <pxinfo/imsg.h>
#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* The text of a status code; never null. */
TBS_API const char *tbs_strerror(tbs_status_t status);
/* The status of an errno value: 0 for 0, TBS_ST_NO_MEMORY for ENOMEM,
 * TBS_ST_NOT_FOUND for ENOENT, TBS_ST_INVALID_ARG for EINVAL, and
 * TBS_ERRNO_BASE + errno for the others. */
#define TBS_ERRNO_BASE ((tbs_status_t)0x10000)
TBS_API tbs_status_t tbs_errno2status(int errno_value);

/* Records an internal error: prints message index of table with severity 6,
 * prefixed "internal error: ", and counts it. flags must be 0. */
TBS_API void tbs_log_int_error(const char *component, const imsg_msg_table_t *table, int index, const char *source_path,
                               int line, int flags, ...);
TBS_API unsigned long tbs_int_error_count(void);

/* Joins name to the product's configuration or log directory (PXINFO_CONFIG_DIR,
 * PXINFO_LOG_DIR, read at each call). Returns buffer, or null when the result
 * does not fit in size bytes. */
TBS_API char *tbs_product_config_dir(const char *name, char *buffer, size_t size);
TBS_API char *tbs_product_log_dir(const char *name, char *buffer, size_t size);

TBS_EXTERN_C_END

#endif
