// File existence and status, and whether a host name names this host.
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include "fileutl.h"

namespace {

// Names that always mean this host, whatever it is called.
constexpr const char *kLoopbackNames[] = {"localhost", "localhost.localdomain", "127.0.0.1", "::1"};

// The length of the first label of a host name (up to its first '.').
size_t short_name_length(const char *name) { return std::strcspn(name, "."); }

bool same_label(const char *a, size_t a_len, const char *b, size_t b_len) {
    return a_len == b_len && strncasecmp(a, b, a_len) == 0;
}

// A host name matches this host's name when both are equal, or when one is
// unqualified and equals the other's first label ("build7" and
// "build7.example.com" name the same host).
bool names_this_host(const char *host, const char *own) {
    if (strcasecmp(host, own) == 0) { return true; }
    const size_t host_len = std::strlen(host);
    const size_t own_len = std::strlen(own);
    const size_t host_short = short_name_length(host);
    const size_t own_short = short_name_length(own);
    if (host_short == host_len) { return same_label(host, host_len, own, own_short); }
    if (own_short == own_len) { return same_label(host, host_short, own, own_len); }
    return false;
}

}  // namespace

extern "C" {

TBS_API int fileutl_stat(const char *path, int follow_links, struct stat64 *status) {
    if (path == nullptr || status == nullptr) {
        errno = EINVAL;
        return -1;
    }
    return follow_links ? stat64(path, status) : lstat64(path, status);
}

TBS_API int fileutl_exists(const char *path, int follow_links) {
    struct stat64 status;
    return fileutl_stat(path, follow_links, &status) == 0 ? 1 : 0;
}

TBS_API int fileutl_is_localhost(const char *host) {
    if (host == nullptr || host[0] == '\0') { return 0; }
    for (const char *name : kLoopbackNames) {
        if (strcasecmp(host, name) == 0) { return 1; }
    }
    char own[HOST_NAME_MAX + 1];
    if (gethostname(own, sizeof own) != 0) { return 0; }
    own[sizeof own - 1] = '\0';
    return names_this_host(host, own) ? 1 : 0;
}

}  // extern "C"
