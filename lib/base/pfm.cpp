// Assertion reports: printed and counted; the caller goes on to its fallback.
#include "pfm.h"

#include <atomic>

#include "imsg.h"

namespace {
std::atomic<unsigned long> g_assert_failures{0};
}

extern "C" {

void pfm_assert_fail(const char *expression, const char *source_path, int line) {
    ++g_assert_failures;
    imsg_print_shared(IMSG_SEV_ERROR, "pfm", "assertion failed: %s (%s:%d)\n", -1, expression ? expression : "",
                      source_path ? source_path : "", line);
}

unsigned long pfm_assert_fail_count(void) { return g_assert_failures.load(); }

}  // extern "C"
