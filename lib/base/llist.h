/* Circular doubly linked lists whose elements embed their link.
 *
 * A list head is a pair of links (first, last) that point at the head itself
 * when the list is empty. Each element embeds one llist_d_link_t; the link
 * points back at its element. A walk starts at head->first and follows next
 * links until it meets the head again (LLIST_D_END(head)). */
#ifndef TBS_LLIST_H
#define TBS_LLIST_H

#include <pxinfo/tbs_types.h>

TBS_EXTERN_C_BEGIN

typedef struct llist_d_link {
    struct llist_d_link *next;
    struct llist_d_link *prev;
    void *element;
} llist_d_link_t;

typedef struct llist_d_head {
    llist_d_link_t *first;
    llist_d_link_t *last;
} llist_d_head_t;

/* The value a walk meets when it has gone round the list. */
#define LLIST_D_END(head) ((llist_d_link_t *)(void *)(head))

/* Positions for llist_d_insert. */
#define LLIST_D_TAIL 0
#define LLIST_D_FRONT 1

/* Makes head an empty list. */
TBS_API void llist_d_init(llist_d_head_t *head);
/* Non-zero when the list holds no element. */
TBS_API int llist_d_is_empty(const llist_d_head_t *head);
/* Links element, through its embedded link, at the tail of the list
 * (position LLIST_D_TAIL, 0) or at its front (LLIST_D_FRONT). */
TBS_API void llist_d_insert(llist_d_head_t *head, void *element, llist_d_link_t *link, int position);
/* Unlinks link from the list it is in; its next and previous become null. */
TBS_API void llist_d_remove(llist_d_head_t *head, llist_d_link_t *link);

TBS_EXTERN_C_END

#endif
