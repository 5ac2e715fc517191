// Storage areas and heap blocks, with the fault-injection hook every base
// service allocator shares.
#include "stg.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

#include <pthread.h>

#include "stg_internal.h"

namespace {

// The allocation counts are kept per thread, each written by its own thread
// only, so that the allocation path takes no lock and no locked instruction
// (a shared atomic counter cost as much as the allocation itself). A reader
// adds up the counts of the running threads and those of the threads that
// have ended.
struct ThreadCounts {
    std::atomic<unsigned long> allocations;
    std::atomic<long> live;
    ThreadCounts *next;
    bool listed;
};

// Zero-initialised and trivially destructible: reaching it costs no guard.
// Initial-exec: the library is loaded with the program, and the block is
// small.
thread_local ThreadCounts t_counts __attribute__((tls_model("initial-exec")));

void thread_ended(void *counts);

struct Registry {
    Registry() { pthread_key_create(&key, &thread_ended); }

    std::mutex mutex;
    ThreadCounts *threads = nullptr;
    unsigned long ended_allocations = 0;
    long ended_live = 0;
    pthread_key_t key;  // its destructor folds an ending thread's counts in
};

// Never destroyed: threads may still allocate while the process exits.
Registry &registry() {
    static Registry *made = new Registry();
    return *made;
}

void thread_ended(void *counts) {
    auto *ended = static_cast<ThreadCounts *>(counts);
    Registry &r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    for (ThreadCounts **link = &r.threads; *link != nullptr; link = &(*link)->next) {
        if (*link == ended) {
            *link = ended->next;
            break;
        }
    }
    r.ended_allocations += ended->allocations.load(std::memory_order_relaxed);
    r.ended_live += ended->live.load(std::memory_order_relaxed);
    ended->allocations.store(0, std::memory_order_relaxed);
    ended->live.store(0, std::memory_order_relaxed);
    ended->listed = false;
}

// This thread's counts, listed with the registry on first use.
ThreadCounts &thread_counts() {
    ThreadCounts &counts = t_counts;
    if (!counts.listed) {
        Registry &r = registry();
        std::lock_guard<std::mutex> lock(r.mutex);
        counts.next = r.threads;
        r.threads = &counts;
        counts.listed = true;
        pthread_setspecific(r.key, &counts);
    }
    return counts;
}

// Only the owning thread writes a count: a plain increment that others may
// read at any time.
template <typename T>
void add(std::atomic<T> &count, T delta) {
    count.store(count.load(std::memory_order_relaxed) + delta, std::memory_order_relaxed);
}

// Fault injection: while armed, the allocation that brings the countdown
// from 1 to 0 fails.
std::atomic<bool> g_fail_armed{false};
std::atomic<unsigned long> g_fail_countdown{0};

// Counts one allocation of this thread; false when fault injection makes it
// fail.
bool count_allocation(ThreadCounts &counts) {
    add(counts.allocations, 1ul);
    if (g_fail_armed.load(std::memory_order_relaxed) && g_fail_countdown.fetch_sub(1) == 1) {
        g_fail_armed = false;
        return false;
    }
    return true;
}

// An area serves its requests from chunks of the heap, each request a piece
// of the current chunk, so that many small requests cost few heap blocks, lie
// next to each other and go back to the heap together. A request still counts
// as one allocation that fault injection can make fail. A request larger
// than a quarter of the largest chunk gets a chunk of its own. In builds with
// the address sanitizer every piece is followed by a poisoned gap, so that
// overrunning a piece is caught as overrunning a heap block is. Each piece
// counts as a live block until its area is deleted, as a block of its own
// did.
struct alignas(std::max_align_t) AreaChunk {
    AreaChunk *next;
};

constexpr size_t kPieceAlignment = alignof(std::max_align_t);
constexpr size_t kSmallestChunk = 1024;
constexpr size_t kLargestChunk = 64 * 1024;
#if defined(STG_WITH_ASAN)
constexpr size_t kPieceGap = kPieceAlignment;
#else
constexpr size_t kPieceGap = 0;
#endif

size_t chunk_size_for(size_t size_hint) {
    return size_hint < kSmallestChunk ? kSmallestChunk : size_hint > kLargestChunk ? kLargestChunk : size_hint;
}

}  // namespace

struct stg_area {
    explicit stg_area(size_t size_hint) : next_chunk_size(chunk_size_for(size_hint)) {}

    AreaChunk *chunks = nullptr;
    char *unused = nullptr;  // the start of the current chunk's unused end
    size_t room = 0;
    size_t next_chunk_size;
    long pieces = 0;  // handed out so far, each counted as a live block

    // A chunk of size bytes linked into the area; null when the heap is
    // exhausted.
    char *add_chunk(size_t size) {
        void *memory = std::malloc(sizeof(AreaChunk) + size);
        if (memory == nullptr) { return nullptr; }
        auto *chunk = static_cast<AreaChunk *>(memory);
        chunk->next = chunks;
        chunks = chunk;
        ASAN_POISON_MEMORY_REGION(chunk + 1, size);
        return reinterpret_cast<char *>(chunk + 1);
    }

    // size bytes aligned for any type; null when the heap is exhausted.
    void *piece(size_t size) {
        if (size > SIZE_MAX / 2) { return nullptr; }
        const size_t rounded = ((size == 0 ? 1 : size) + kPieceAlignment - 1) / kPieceAlignment * kPieceAlignment;
        const size_t taken = rounded + kPieceGap;
        if (taken > room) {
            if (taken > kLargestChunk / 4) {
                char *own = add_chunk(rounded);
                if (own != nullptr) { ASAN_UNPOISON_MEMORY_REGION(own, size); }
                return own;
            }
            const size_t chunk_size = taken > next_chunk_size ? taken : next_chunk_size;
            char *fresh = add_chunk(chunk_size);
            if (fresh == nullptr) { return nullptr; }
            unused = fresh;
            room = chunk_size;
            if (next_chunk_size < kLargestChunk) { next_chunk_size *= 2; }
        }
        char *piece = unused;
        unused += taken;
        room -= taken;
        ASAN_UNPOISON_MEMORY_REGION(piece, size);
        return piece;
    }

    void release_chunks() {
        while (chunks != nullptr) {
            AreaChunk *next = chunks->next;
            std::free(chunks);
            chunks = next;
        }
    }
};

namespace tbsbase {

bool allocation_allowed() { return count_allocation(thread_counts()); }

void *heap_alloc(size_t size) {
    ThreadCounts &counts = thread_counts();
    if (!count_allocation(counts)) { return nullptr; }
    void *block = std::malloc(size == 0 ? 1 : size);
    if (block != nullptr) { add(counts.live, 1l); }
    return block;
}

void heap_free(void *block) {
    if (block == nullptr) { return; }
    add(thread_counts().live, -1l);
    std::free(block);
}

}  // namespace tbsbase

using tbsbase::heap_alloc;
using tbsbase::heap_free;

extern "C" {

stg_area_t *stg_create_area(size_t size_hint) {
    void *memory = heap_alloc(sizeof(stg_area));
    return memory == nullptr ? nullptr : new (memory) stg_area(size_hint);
}

void stg_delete_area(stg_area_t **area) {
    if (area == nullptr || *area == nullptr || *area == STG_AREA_TEMP) { return; }
    (*area)->release_chunks();
    add(thread_counts().live, -(*area)->pieces);
    (*area)->~stg_area();
    heap_free(*area);
    *area = nullptr;
}

void *stg_alloc(stg_area_t *area, size_t size) {
    if (area == nullptr) { return nullptr; }
    if (area == STG_AREA_TEMP) { return stg_malloc(size); }
    ThreadCounts &counts = thread_counts();
    if (!count_allocation(counts)) { return nullptr; }
    void *piece = area->piece(size);
    if (piece != nullptr) {
        ++area->pieces;
        add(counts.live, 1l);
    }
    return piece;
}

void *stg_calloc(stg_area_t *area, size_t size) {
    void *block = stg_alloc(area, size);
    if (block != nullptr) { std::memset(block, 0, size); }
    return block;
}

char *stg_area_strdup(stg_area_t *area, const char *text) {
    if (text == nullptr) { return nullptr; }
    size_t length = std::strlen(text);
    auto *copy = static_cast<char *>(stg_alloc(area, length + 1));
    if (copy != nullptr) { std::memcpy(copy, text, length + 1); }
    return copy;
}

void *stg_malloc(size_t size) { return heap_alloc(size); }

char *stg_strdup(const char *text) { return stg_area_strdup(STG_AREA_TEMP, text); }

void *stg_realloc(void *block, size_t size) {
    if (block == nullptr) { return stg_malloc(size); }
    if (!tbsbase::allocation_allowed()) { return nullptr; }
    return std::realloc(block, size == 0 ? 1 : size);
}

void stg_free(void *block) { heap_free(block); }

void stg_fail_allocation(unsigned long nth) {
    g_fail_armed = false;
    g_fail_countdown = nth;
    g_fail_armed = nth != 0;
}

unsigned long stg_allocation_count(void) {
    Registry &r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    unsigned long total = r.ended_allocations;
    for (const ThreadCounts *counts = r.threads; counts != nullptr; counts = counts->next) {
        total += counts->allocations.load(std::memory_order_relaxed);
    }
    return total;
}

unsigned long stg_live_block_count(void) {
    Registry &r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    long total = r.ended_live;
    for (const ThreadCounts *counts = r.threads; counts != nullptr; counts = counts->next) {
        total += counts->live.load(std::memory_order_relaxed);
    }
    return static_cast<unsigned long>(total);
}

}  // extern "C"
