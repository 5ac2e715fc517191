// Stream utilities of the base services.

#include "mtutl.h"

#include <stdio_ext.h>

#include <cerrno>
#include <cstdint>

namespace {

// A stream that keeps being interrupted without taking a byte is given up
// after this many attempts in a row.
constexpr int kMaxIdleRetries = 1000;

// Whether a write cut short on this stream can be resumed where it stopped.
// An unbuffered stream hands each call straight to the system, and the count
// fwrite returns is exactly what reached it. A buffered stream that fails to
// flush drops what its buffer held although fwrite had counted it, so
// resuming would lose data silently; there the short count and the error
// indicator are left for the caller to see.
bool can_resume(FILE *stream) { return __fbufsize(stream) <= 1; }

}  // namespace

TBS_EXTERN_C_BEGIN

// Writes byte by byte count rather than item by item, so that a write cut
// short by a signal resumes exactly where it stopped, even inside an item.
size_t mtutl_fwrite(const void *buffer, size_t size, size_t count, FILE *stream) {
    if (buffer == nullptr || stream == nullptr) {
        errno = EINVAL;
        return 0;
    }
    if (size == 0 || count == 0) { return 0; }
    if (count > SIZE_MAX / size) {
        errno = EOVERFLOW;
        return 0;
    }
    const size_t total = size * count;
    const char *bytes = static_cast<const char *>(buffer);
    size_t written = 0;
    int idle_retries = 0;
    while (written < total) {
        errno = 0;
        const size_t step = fwrite(bytes + written, 1, total - written, stream);
        written += step;
        if (written == total) { break; }
        if (!ferror(stream) || errno != EINTR || !can_resume(stream)) { break; }
        idle_retries = step > 0 ? 0 : idle_retries + 1;
        if (idle_retries >= kMaxIdleRetries) { break; }
        clearerr(stream);
    }
    return written / size;
}

long mtutl_ftell(FILE *stream) {
    if (stream == nullptr) {
        errno = EINVAL;
        return -1;
    }
    return ftell(stream);
}

TBS_EXTERN_C_END
