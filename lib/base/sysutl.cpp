// System utilities: forcing a stream's data to stable storage.
#include "sysutl.h"

#include <errno.h>
#include <unistd.h>

extern "C" int sysutl_fsync_fptr(FILE *stream) {
    if (stream == nullptr) {
        errno = EINVAL;
        return -1;
    }
    if (fflush(stream) != 0) { return -1; }
    int fd = fileno(stream);
    if (fd < 0) {
        // An in-memory stream has nothing that could reach storage.
        errno = EBADF;
        return -1;
    }
    int rc;
    do { rc = fsync(fd); } while (rc != 0 && errno == EINTR);
    return rc == 0 ? 0 : -1;
}
