/* The line tokenizer: splits one line into words.
 *
 * Words are separated by blanks and tabs. A word that starts with a double
 * quote runs to the next double quote and is returned without its quotes; two
 * adjacent double quotes give an empty word, and the closing quote ends the
 * word (what follows it starts the next one). A double quote inside an
 * unquoted word is an ordinary character. A quote that is never closed is an
 * error. The line itself is not changed: the handle keeps its own copy of
 * the words. */
#ifndef TBS_CL_H
#define TBS_CL_H

#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

typedef struct cl_handle cl_handle_t;

/* Error codes of the tokenizer (cl_parse_line's error, cl_errno). */
#define CL_E_OK 0
#define CL_E_UNTERMINATED_QUOTE 1
#define CL_E_NO_MEMORY 2
#define CL_E_INVALID_ARG 3

/* Splits line into words. Returns a handle positioned at the first word, or
 * null with an error code in *error (error may be null). */
TBS_API cl_handle_t *cl_parse_line(const char *line, int *error);
/* The next word, or null when there is none (cl_errno then gives 0) or on
 * error (a null handle: cl_errno gives the code). The word belongs to the
 * handle and stays valid until the handle is destroyed. */
TBS_API const char *cl_getarg(cl_handle_t *handle);
/* 0 if the last null from cl_getarg meant that the line has no more words,
 * else an error code. */
TBS_API int cl_errno(const cl_handle_t *handle);
/* The text of an error code; never null. */
TBS_API const char *cl_strerror(int code);
/* The number of words of the line. */
TBS_API int cl_argcount(const cl_handle_t *handle);
/* The word position: 0 is the first word; cl_argcount means after the last. */
TBS_API int cl_getoffset(const cl_handle_t *handle);
/* Sets the word position; CL_E_INVALID_ARG (position unchanged) when offset
 * lies outside 0 to cl_argcount, else 0. */
TBS_API int cl_setoffset(cl_handle_t *handle, int offset);
/* Frees *handle (null is ignored) and sets it to null. */
TBS_API void cl_destroy(cl_handle_t **handle);

TBS_EXTERN_C_END

#endif
