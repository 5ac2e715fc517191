// Dates and times: the ISO 8601 token of a time in UTC and the time of day.
#include "date.h"

#include <cstring>

namespace {

constexpr const char *kInvalidTime = "invalid-time";

}  // namespace

extern "C" {

TBS_API const char *date_fmt_token_utc(time_t when) {
    // One buffer per thread, so concurrent callers never share a result.
    static thread_local char token[DATE_TOKEN_SIZE];
    struct tm parts;
    if (gmtime_r(&when, &parts) == nullptr || strftime(token, sizeof token, "%Y-%m-%dT%H:%M:%SZ", &parts) == 0) {
        std::strcpy(token, kInvalidTime);
    }
    return token;
}

TBS_API void date_get_timeval(struct timeval *now) {
    if (now == nullptr) { return; }
    if (gettimeofday(now, nullptr) != 0) {
        now->tv_sec = time(nullptr);
        now->tv_usec = 0;
    }
}

}  // extern "C"
