/* The message service: message tables, printing with severities, the trace
 * controls, and the sink every printed line goes to. */
#ifndef TBS_IMSG_H
#define TBS_IMSG_H

#include <stdarg.h>

#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* A message catalog as handed to the message service. Messages are addressed
 * by their 0-based index in the two arrays. */
typedef struct imsg_msg_table {
    const char *catalog_name;
    const char *component_name;
    uint16_t set_number;
    uint16_t message_count;
    const char *const *message_texts;
    const uint16_t *message_numbers;
} imsg_msg_table_t;

#define IMSG_SEV_OUTPUT 0
#define IMSG_SEV_WARNING 4
#define IMSG_SEV_ERROR 6
#define IMSG_SEV_TRACE 8

/* The base services' own shared table. */
TBS_API extern const imsg_msg_table_t _tbs_cmsg_tbs_msg_table;

/* Prints a message: table_or_format is a message table with index >= 0, or a
 * literal printf format with index -1. Returns the number of characters of
 * the formatted text, or -1 when the table or index is unknown. */
TBS_API int imsg_print(int severity, const void *table_or_format, int index, ...);
TBS_API int imsg_vprint(int severity, const void *table_or_format, int index, va_list args);
/* As imsg_print, on behalf of the named component. */
TBS_API int imsg_print_shared(int severity, const char *component, const void *table_or_format, int index, ...);
/* Formats a literal format (index -1) or a table message into buffer. The
 * buffer must be large enough; returns what vsprintf returns. */
TBS_API int imsg_sprintf(char *buffer, const void *table_or_format, int index, ...);

/* Where every printed line goes. component is null for a literal format. */
typedef void (*imsg_sink_fn)(void *ctx, int severity, const char *component, const char *text);
/* Routes lines to sink; a null sink restores the default (severity 0 to
 * standard output; 4, 6 and 8 to standard error, warnings and errors with a
 * "COMPONENT: warning: " or "COMPONENT: error: " prefix). */
TBS_API void imsg_set_sink(imsg_sink_fn sink, void *ctx);

/* Trace controls. The environment (PXINFO_VERBOSITY, PXINFO_TRACE) is read
 * once, at first use; the setters override it. */
TBS_API int imsg_get_desired_verbosity(void);
TBS_API void imsg_set_desired_verbosity(int level);
/* Comma-separated component names, or "all"; null or "" turns tracing off. */
TBS_API void imsg_set_trace_components(const char *list);
TBS_API int imsg_should_trace(const char *component, int level);

/* The text of an errno value. */
TBS_API const char *imsg_strerror(int errno_value);

/* A list of message texts kept by the message service. */
typedef struct imsg_list imsg_list_t;
TBS_API imsg_list_t *imsg_list_create(void);
TBS_API void imsg_list_destroy(imsg_list_t *list);
/* Appends a copy of text; 0 or TBS_ST_NO_MEMORY. */
TBS_API tbs_status_t imsg_list_add_str(imsg_list_t *list, const char *text);
TBS_API unsigned imsg_list_count(const imsg_list_t *list);
TBS_API const char *imsg_list_get(const imsg_list_t *list, unsigned index);

TBS_EXTERN_C_END

#endif
