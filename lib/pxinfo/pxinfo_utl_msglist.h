/* Message lists: messages collected while an operation runs, appended in a
 * storage area, printed, or handed to a list of the message service. */
#ifndef PXINFO_UTL_MSGLIST_H
#define PXINFO_UTL_MSGLIST_H

#include <pxinfo/imsg.h>
#include <pxinfo/pxinfo_msg.h>
#include <pxinfo/pxinfo_xdr.h>
#include <pxinfo/stg.h>
#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* Highest severity a message may carry. */
#define PXINFO_MSG_SEVERITY_MAX 10

/* Appends a message (a copy of text, which may be null, the severity and the
 * current time) to list, in storage of area. The array grows by doubling and
 * always comes from the area of the list's first array; only arrays built by
 * this function may be appended to. TBS_ST_INVALID_ARG for a severity above
 * 10, a null area, STG_AREA_TEMP or a null list; TBS_ST_NO_MEMORY when the
 * area cannot supply the array or the text (the message is then not added; a
 * failed growth leaves the list without an array, empty until the next
 * successful append). */
PXINFO_API tbs_status_t pxinfo_add_msg_to_list(unsigned int severity, const char *text, stg_area_t *area,
                                               pxinfo_msg_list_t *list);

/* Prints the messages from index first on, each with its own severity and
 * its text as the whole line; messages without text are skipped. */
PXINFO_API void pxinfo_print_msg_list(const pxinfo_msg_list_t *list, unsigned int first);

/* Appends each non-empty text of list to target, in order. */
PXINFO_API void pxinfo_msg_list_to_imsg_list(const pxinfo_msg_list_t *list, imsg_list_t *target);

TBS_EXTERN_C_END

#endif
