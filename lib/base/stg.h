/* Storage areas: blocks allocated in an area are released together when the
 * area is deleted. The area STG_AREA_TEMP stands for plain heap blocks that
 * are released one by one with stg_free. */
#ifndef TBS_STG_H
#define TBS_STG_H

#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

typedef struct stg_area stg_area_t;

#define STG_AREA_TEMP ((stg_area_t *)1)

/* Creates an area; null when storage is exhausted. */
TBS_API stg_area_t *stg_create_area(size_t size_hint);
/* Deletes *area with everything allocated in it and sets *area to null. A null
 * pointer, a null area or STG_AREA_TEMP is left alone. */
TBS_API void stg_delete_area(stg_area_t **area);

/* Allocates size bytes (0 gives a valid unique block) in the area, or on the
 * heap for STG_AREA_TEMP; null when storage is exhausted or the area is null. */
TBS_API void *stg_alloc(stg_area_t *area, size_t size);
/* As stg_alloc, zero-filled. */
TBS_API void *stg_calloc(stg_area_t *area, size_t size);
/* A copy of text in the area; null when storage is exhausted or text is null. */
TBS_API char *stg_area_strdup(stg_area_t *area, const char *text);

/* Heap blocks (the temporary area). */
TBS_API void *stg_malloc(size_t size);
TBS_API char *stg_strdup(const char *text);
TBS_API void *stg_realloc(void *block, size_t size);
/* Releases a heap block of the temporary area; null is ignored. Blocks of a
 * created area are released only with their area. */
TBS_API void stg_free(void *block);

/* Fault injection: the nth allocation from now (1 = the next one) of any base
 * service allocator fails once; 0 cancels. */
TBS_API void stg_fail_allocation(unsigned long nth);
/* Allocations made so far by the base service allocators. */
TBS_API unsigned long stg_allocation_count(void);
/* Heap blocks currently live (allocated with stg_malloc and friends and not yet
 * released); areas count as one block each. Used by tests to prove no leak. */
TBS_API unsigned long stg_live_block_count(void);

TBS_EXTERN_C_END

#endif
