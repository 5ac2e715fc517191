// The allocator behind every base service, shared so that fault injection and
// the live-block count see all of them.
#ifndef TBS_STG_INTERNAL_H
#define TBS_STG_INTERNAL_H

#include <cstddef>

// GCC says it builds with the address sanitizer one way, clang another. Blocks
// that the base services carve out of larger ones are poisoned while unused.
#if defined(__SANITIZE_ADDRESS__)
#define STG_WITH_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define STG_WITH_ASAN 1
#endif
#endif

#if defined(STG_WITH_ASAN)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(addr, size) ((void)(addr), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(addr, size) ((void)(addr), (void)(size))
#endif

namespace tbsbase {

// Counts one allocation; false when fault injection makes this one fail.
bool allocation_allowed();
// A counted heap block (never null for 0 bytes), or null on exhaustion.
void *heap_alloc(size_t size);
void heap_free(void *block);

}  // namespace tbsbase

#endif
