/* Dates and times of the base services. */
#ifndef TBS_DATE_H
#define TBS_DATE_H

#include <sys/time.h>
#include <time.h>

#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

/* The size of the buffer behind date_fmt_token_utc's result. */
#define DATE_TOKEN_SIZE 32

/* The time as an ISO 8601 token in UTC, for example "2026-11-22T19:38:33Z".
 * The text lives in a buffer of the calling thread that the next call in the
 * same thread overwrites. A time that cannot be represented gives
 * "invalid-time". */
TBS_API const char *date_fmt_token_utc(time_t when);

/* The current time of day, in seconds and microseconds since the epoch. */
TBS_API void date_get_timeval(struct timeval *now);

TBS_EXTERN_C_END

#endif
