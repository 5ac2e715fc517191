// Storage areas and heap blocks, with the fault-injection hook every base
// service allocator shares.
#include "stg.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

#include "stg_internal.h"

namespace {

std::atomic<unsigned long> g_allocations{0};
std::atomic<unsigned long> g_fail_at{0};  // absolute allocation number that fails; 0 = none
std::atomic<long> g_live_blocks{0};

// One block of an area: blocks are chained so that deleting the area walks
// them once. The header keeps the payload aligned for any type.
struct alignas(std::max_align_t) AreaBlock {
    AreaBlock *next;
};

}  // namespace

struct stg_area {
    AreaBlock *blocks = nullptr;
};

namespace tbsbase {

bool allocation_allowed() {
    unsigned long n = ++g_allocations;
    unsigned long fail_at = g_fail_at.load();
    if (fail_at != 0 && n == fail_at) {
        g_fail_at = 0;
        return false;
    }
    return true;
}

void *heap_alloc(size_t size) {
    if (!allocation_allowed()) return nullptr;
    void *block = std::malloc(size == 0 ? 1 : size);
    if (block != nullptr) ++g_live_blocks;
    return block;
}

void heap_free(void *block) {
    if (block == nullptr) return;
    --g_live_blocks;
    std::free(block);
}

}  // namespace tbsbase

using tbsbase::heap_alloc;
using tbsbase::heap_free;

extern "C" {

stg_area_t *stg_create_area(size_t /*size_hint*/) {
    void *memory = heap_alloc(sizeof(stg_area));
    return memory == nullptr ? nullptr : new (memory) stg_area();
}

void stg_delete_area(stg_area_t **area) {
    if (area == nullptr || *area == nullptr || *area == STG_AREA_TEMP) return;
    AreaBlock *block = (*area)->blocks;
    while (block != nullptr) {
        AreaBlock *next = block->next;
        heap_free(block);
        block = next;
    }
    (*area)->~stg_area();
    heap_free(*area);
    *area = nullptr;
}

void *stg_alloc(stg_area_t *area, size_t size) {
    if (area == nullptr) return nullptr;
    if (area == STG_AREA_TEMP) return stg_malloc(size);
    if (size > SIZE_MAX - sizeof(AreaBlock)) return nullptr;
    auto *block = static_cast<AreaBlock *>(heap_alloc(sizeof(AreaBlock) + size));
    if (block == nullptr) return nullptr;
    block->next = area->blocks;
    area->blocks = block;
    return block + 1;
}

void *stg_calloc(stg_area_t *area, size_t size) {
    void *block = stg_alloc(area, size);
    if (block != nullptr) std::memset(block, 0, size);
    return block;
}

char *stg_area_strdup(stg_area_t *area, const char *text) {
    if (text == nullptr) return nullptr;
    size_t length = std::strlen(text);
    auto *copy = static_cast<char *>(stg_alloc(area, length + 1));
    if (copy != nullptr) std::memcpy(copy, text, length + 1);
    return copy;
}

void *stg_malloc(size_t size) { return heap_alloc(size); }

char *stg_strdup(const char *text) { return stg_area_strdup(STG_AREA_TEMP, text); }

void *stg_realloc(void *block, size_t size) {
    if (block == nullptr) return stg_malloc(size);
    if (!tbsbase::allocation_allowed()) return nullptr;
    return std::realloc(block, size == 0 ? 1 : size);
}

void stg_free(void *block) { heap_free(block); }

void stg_fail_allocation(unsigned long nth) { g_fail_at = nth == 0 ? 0 : g_allocations.load() + nth; }

unsigned long stg_allocation_count(void) { return g_allocations.load(); }

unsigned long stg_live_block_count(void) { return static_cast<unsigned long>(g_live_blocks.load()); }

}  // extern "C"
