// Circular doubly linked lists. The head's two links stand for the next and
// previous links of an imaginary element, so an empty list points at itself;
// the head is never written through a link, so it needs no third word.
#include "llist.h"

namespace {

bool is_head(const llist_d_head_t *head, const llist_d_link_t *link) { return link == LLIST_D_END(head); }

// Sets the link that follows 'before' (the head's first when before is the head).
void set_next(llist_d_head_t *head, llist_d_link_t *before, llist_d_link_t *link) {
    if (is_head(head, before)) {
        head->first = link;
    } else {
        before->next = link;
    }
}

// Sets the link that precedes 'after' (the head's last when after is the head).
void set_prev(llist_d_head_t *head, llist_d_link_t *after, llist_d_link_t *link) {
    if (is_head(head, after)) {
        head->last = link;
    } else {
        after->prev = link;
    }
}

}  // namespace

extern "C" {

void llist_d_init(llist_d_head_t *head) {
    head->first = LLIST_D_END(head);
    head->last = LLIST_D_END(head);
}

int llist_d_is_empty(const llist_d_head_t *head) { return head->first == LLIST_D_END(head) || head->first == nullptr; }

void llist_d_insert(llist_d_head_t *head, void *element, llist_d_link_t *link, int position) {
    link->element = element;
    if (position == LLIST_D_TAIL) {
        llist_d_link_t *before = head->last;
        link->prev = before;
        link->next = LLIST_D_END(head);
        set_next(head, before, link);
        head->last = link;
    } else {
        llist_d_link_t *after = head->first;
        link->next = after;
        link->prev = LLIST_D_END(head);
        set_prev(head, after, link);
        head->first = link;
    }
}

void llist_d_remove(llist_d_head_t *head, llist_d_link_t *link) {
    set_next(head, link->prev, link->next);
    set_prev(head, link->next, link->prev);
    link->next = nullptr;
    link->prev = nullptr;
}

}  // extern "C"
