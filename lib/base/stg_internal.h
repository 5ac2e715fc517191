// The allocator behind every base service, shared so that fault injection and
// the live-block count see all of them.
#ifndef TBS_STG_INTERNAL_H
#define TBS_STG_INTERNAL_H

#include <cstddef>

namespace tbsbase {

// Counts one allocation; false when fault injection makes this one fail.
bool allocation_allowed();
// A counted heap block (never null for 0 bytes), or null on exhaustion.
void *heap_alloc(size_t size);
void heap_free(void *block);

}  // namespace tbsbase

#endif
