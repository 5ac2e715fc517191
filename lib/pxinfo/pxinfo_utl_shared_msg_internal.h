// Printing a message of the base services' shared table on behalf of the
// library's component, at error severity. Never installed.
#ifndef PXINFO_UTL_SHARED_MSG_INTERNAL_H
#define PXINFO_UTL_SHARED_MSG_INTERNAL_H

#include "imsg.h"
#include "pxinfo_frame_internal.h"

namespace pxinfo {

// Indexes of the shared table that the selector and replication code prints.
constexpr int kSharedMsgInternalError = 38;    // function name
constexpr int kSharedMsgMissingArgument = 46;  // function name

// Prints shared message index with the function's name, severity 6.
inline void print_shared_error(int index, const char *function_name) {
    imsg_print_shared(IMSG_SEV_ERROR, kTraceComponent, &_tbs_cmsg_tbs_msg_table, index, function_name);
}

}  // namespace pxinfo

#endif
