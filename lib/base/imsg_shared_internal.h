// The indexes of the base services' shared message table that the library
// prints, by name. The table itself is in imsg.cpp, which checks that these
// indexes lie inside it. Never installed.
#ifndef TBS_IMSG_SHARED_INTERNAL_H
#define TBS_IMSG_SHARED_INTERNAL_H

namespace tbs {

enum class SharedMsg : int {
    kCloseFailed = 19,      // path, error text
    kCannotSync = 21,       // path, error text
    kFailedAt = 34,         // source path, line
    kInternalError = 38,    // function name
    kOutOfMemory = 39,      // no argument
    kMissingArgument = 46,  // function name
    kCheckFailed = 47,      // function name, path, error text
    kLast = kCheckFailed,
};

}  // namespace tbs

#endif
