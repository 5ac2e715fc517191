// Shipping orders: creating and destroying orders, adding their elements, and
// recording deliveries and failed attempts with the rules that tie them to
// the destinations.
//
// Every operation works on what the order's lists hold: callers may build an
// order themselves, link elements with llist_d_insert and rename destinations
// in place. Destinations are found by walking the list, except while an order
// is being read: the read keeps an index by host of the destinations it has
// added, so that an order with many destinations and deliveries is read in
// linear time. The index belongs to the read and goes with it.
#include <cerrno>
#include <cstring>

#include "pxinfo_shp_order_internal.h"
#include "stg.h"
#include "tbs_uuid.h"

namespace pxinfo {
namespace shp {

namespace {

constexpr size_t kAreaSizeHint = 4098;
constexpr uint32_t kIndexInitialCapacity = 16;

using Table = ReadIndexScope::Table;

// The index of the read in progress on this thread, innermost first.
thread_local Table *t_read_index = nullptr;

// The index of order when a read on this thread is building it, else null.
Table *read_index_of(const pxinfo_shp_order_t *order) {
    return t_read_index != nullptr && t_read_index->order == order ? t_read_index : nullptr;
}

// FNV-1a, then a final mix: the index takes the low bits, and FNV-1a alone
// leaves them poorly spread for host names that differ in a few digits, which
// made probe runs long. Never 0, the mark of an empty slot.
uint32_t host_hash(const char *host) {
    uint32_t h = 2166136261u;
    for (const unsigned char *p = reinterpret_cast<const unsigned char *>(host); *p != '\0'; ++p) {
        h = (h ^ *p) * 16777619u;
    }
    h ^= h >> 16;
    h *= 0x85ebca6bu;
    h ^= h >> 13;
    h *= 0xc2b2ae35u;
    h ^= h >> 16;
    return h == 0 ? 1 : h;
}

void index_put(Table &index, pxinfo_shp_destination_t *destination, uint32_t hash) {
    uint32_t mask = index.capacity - 1;
    uint32_t i = hash & mask;
    while (index.hashes[i] != 0) { i = (i + 1) & mask; }
    index.hashes[i] = hash;
    index.slots[i] = destination;
    ++index.used;
}

// Makes room for one more destination; false when storage is exhausted.
bool index_reserve_one(Table &index) {
    if ((index.used + 1) * 8 <= index.capacity * 7) { return true; }
    uint32_t capacity = index.capacity == 0 ? kIndexInitialCapacity : index.capacity * 2;
    // One block: the destinations' array, then the hashes'.
    const size_t slots_size = static_cast<size_t>(capacity) * sizeof(pxinfo_shp_destination_t *);
    const size_t hashes_size = static_cast<size_t>(capacity) * sizeof(uint32_t);
    void *block = stg_malloc(slots_size + hashes_size);
    if (block == nullptr) { return false; }
    auto *hashes = reinterpret_cast<uint32_t *>(static_cast<char *>(block) + slots_size);
    std::memset(hashes, 0, hashes_size);
    Table grown{index.order, index.outer};
    grown.hashes = hashes;
    grown.slots = static_cast<pxinfo_shp_destination_t **>(block);
    grown.capacity = capacity;
    grown.last_found = index.last_found;
    for (uint32_t i = 0; i < index.capacity; ++i) {
        if (index.hashes[i] != 0) { index_put(grown, index.slots[i], index.hashes[i]); }
    }
    stg_free(index.slots);
    index = grown;
    return true;
}

// The destination listed after destination; null at the end of the list or
// for none.
pxinfo_shp_destination_t *next_destination(const pxinfo_shp_order_t *order,
                                           const pxinfo_shp_destination_t *destination) {
    if (destination == nullptr) { return nullptr; }
    const llist_d_link_t *next = destination->link.next;
    if (next == nullptr || next == LLIST_D_END(&order->destinations)) { return nullptr; }
    return static_cast<pxinfo_shp_destination_t *>(next->element);
}

pxinfo_shp_destination_t *index_find(Table &index, const char *host, uint32_t hash) {
    pxinfo_shp_destination_t *next = next_destination(index.order, index.last_found);
    if (next != nullptr && strcmp(next->host, host) == 0) {
        index.last_found = next;
        return next;
    }
    if (index.capacity == 0) { return nullptr; }
    uint32_t mask = index.capacity - 1;
    for (uint32_t i = hash & mask; index.hashes[i] != 0; i = (i + 1) & mask) {
        if (index.hashes[i] == hash && strcmp(index.slots[i]->host, host) == 0) {
            index.last_found = index.slots[i];
            return index.slots[i];
        }
    }
    return nullptr;
}

pxinfo_shp_destination_t *walk_for_destination(const pxinfo_shp_order_t *order, const char *host) {
    const llist_d_head_t *head = &order->destinations;
    for (llist_d_link_t *l = head->first; l != nullptr && l != LLIST_D_END(head); l = l->next) {
        auto *d = static_cast<pxinfo_shp_destination_t *>(l->element);
        if (strcmp(d->host, host) == 0) { return d; }
    }
    return nullptr;
}

bool host_fits(const char *host) { return strlen(host) < PXINFO_SHP_HOST_SIZE; }

// Copies an optional string into the area: true with *copy null for a null
// text, false when storage is exhausted (after the message).
bool copy_text(stg_area_t *area, const char *text, char **copy) {
    *copy = nullptr;
    if (text == nullptr) { return true; }
    *copy = stg_area_strdup(area, text);
    if (*copy == nullptr) {
        print_shared(IMSG_SEV_ERROR, kComponent, tbs::SharedMsg::kOutOfMemory);
        return false;
    }
    return true;
}

// Allocates a zero-filled element in the order's area (message on failure).
template <typename T>
T *new_element(const pxinfo_shp_order_t *order) {
    auto *element = static_cast<T *>(stg_calloc(order->area, sizeof(T)));
    if (element == nullptr) { print_shared(IMSG_SEV_ERROR, kComponent, tbs::SharedMsg::kOutOfMemory); }
    return element;
}

// Copies a host that has been checked to fit into a 64-byte array.
void copy_host(char (&target)[PXINFO_SHP_HOST_SIZE], const char *host) {
    size_t n = strlen(host);
    memcpy(target, host, n + 1);
}

tbs_status_t create_hop(pxinfo_shp_order_t *order, const char *file_name, const char *host, uint32_t time,
                        const char *time_string, llist_d_head_t *route, uint32_t *count) {
    if (!check_host_length(file_name, host)) { return TBS_ST_FAILED; }
    auto *hop = new_element<pxinfo_shp_hop_t>(order);
    if (hop == nullptr || !copy_text(order->area, time_string, &hop->time_string)) { return TBS_ST_FAILED; }
    copy_host(hop->host, host);
    hop->time = time;
    llist_d_insert(route, hop, &hop->link, LLIST_D_TAIL);
    ++*count;
    return TBS_ST_OK;
}

tbs_status_t create_text(pxinfo_shp_order_t *order, const char *text, llist_d_head_t *list, uint32_t *count) {
    auto *element = new_element<pxinfo_shp_text_t>(order);
    if (element == nullptr || !copy_text(order->area, text, &element->text)) { return TBS_ST_FAILED; }
    llist_d_insert(list, element, &element->link, LLIST_D_TAIL);
    ++*count;
    return TBS_ST_OK;
}

// The destination checks of a failed attempt when the order has no return
// route; sets *mark_failed when the attempt marks the destination.
tbs_status_t check_failure_destination(pxinfo_shp_order_t *order, const char *file_name, uint32_t type,
                                       const char *destination, int accept_r_after_delivery,
                                       pxinfo_shp_destination_t **mark_failed) {
    *mark_failed = nullptr;
    pxinfo_shp_destination_t *d = find_destination(order, destination);
    if (d == nullptr) {
        print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kFailureUnknownDestination, file_name, destination);
        return TBS_ST_FAILED;
    }
    if (d->delivery_string != nullptr) {
        if (accept_r_after_delivery == 0 || type != 0) {
            print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kConflictingDeliveryFailure, file_name, destination);
            return TBS_ST_FAILED;
        }
        return TBS_ST_OK;
    }
    if (type != 0) { *mark_failed = d; }
    return TBS_ST_OK;
}

}  // namespace

const char *errno_text() { return tbs_strerror(tbs_errno2status(errno)); }

bool check_host_length(const char *file_name, const char *host) {
    if (host_fits(host)) { return true; }
    print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kHostnameTooLong, file_name, host);
    return false;
}

ReadIndexScope::ReadIndexScope(const pxinfo_shp_order_t *order) : table_{order, t_read_index} {
    t_read_index = &table_;
}

ReadIndexScope::~ReadIndexScope() {
    t_read_index = table_.outer;
    stg_free(table_.slots);
}

pxinfo_shp_destination_t *find_destination(const pxinfo_shp_order_t *order, const char *host) {
    Table *index = read_index_of(order);
    return index != nullptr ? index_find(*index, host, host_hash(host)) : walk_for_destination(order, host);
}

}  // namespace shp
}  // namespace pxinfo

using namespace pxinfo::shp;

extern "C" {

tbs_status_t pxinfo_shp_new_order(pxinfo_shp_order_t **order) {
    if (order == nullptr) { return TBS_ST_INVALID_ARG; }
    stg_area_t *area = stg_create_area(kAreaSizeHint);
    if (area == nullptr) { return TBS_ST_FAILED; }
    pxinfo_shp_order_t *o = static_cast<pxinfo_shp_order_t *>(stg_calloc(area, sizeof(pxinfo_shp_order_t)));
    *order = o;
    if (o == nullptr) {
        stg_delete_area(&area);
        return TBS_ST_FAILED;
    }
    o->area = area;
    o->identifier = TBS_UUID_NULL;
    llist_d_init(&o->destinations);
    llist_d_init(&o->arrival_route);
    llist_d_init(&o->return_route);
    llist_d_init(&o->failed_attempts);
    llist_d_init(&o->notification_addresses);
    llist_d_init(&o->comment_lines);
    return TBS_ST_OK;
}

tbs_status_t pxinfo_shp_destroy_order(pxinfo_shp_order_t **order) {
    if (order == nullptr || *order == nullptr) { return TBS_ST_OK; }
    // The record lives in its own area: take the handle out before deleting.
    stg_area_t *area = (*order)->area;
    stg_delete_area(&area);
    *order = nullptr;
    return TBS_ST_OK;
}

tbs_status_t pxinfo_shp_create_destination(pxinfo_shp_order_t *order, const char *file_name, const char *host,
                                           int report_duplicate, pxinfo_shp_destination_t **destination) {
    if (order == nullptr || host == nullptr) { return TBS_ST_INVALID_ARG; }
    // The element is handed back only to a caller that asks for it.
    pxinfo_shp_destination_t *unused = nullptr;
    if (destination == nullptr) { destination = &unused; }
    Table *index = read_index_of(order);
    const uint32_t hash = index != nullptr ? host_hash(host) : 0;
    pxinfo_shp_destination_t *existing =
        index != nullptr ? index_find(*index, host, hash) : walk_for_destination(order, host);
    if (existing != nullptr) {
        *destination = existing;
        if (report_duplicate != 0) {
            print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kDuplicateDestination, file_name, host);
            return TBS_ST_FAILED;
        }
        return TBS_ST_OK;
    }
    if (!check_host_length(file_name, host)) { return TBS_ST_FAILED; }
    if (index != nullptr && !index_reserve_one(*index)) {
        print_shared(IMSG_SEV_ERROR, kComponent, tbs::SharedMsg::kOutOfMemory);
        return TBS_ST_FAILED;
    }
    auto *d = new_element<pxinfo_shp_destination_t>(order);
    if (d == nullptr) { return TBS_ST_FAILED; }
    copy_host(d->host, host);  // failed, delivery time, string and route stay zero
    llist_d_insert(&order->destinations, d, &d->link, LLIST_D_TAIL);
    ++order->destination_count;
    if (index != nullptr) { index_put(*index, d, hash); }
    *destination = d;
    return TBS_ST_OK;
}

tbs_status_t pxinfo_shp_create_arrival(pxinfo_shp_order_t *order, const char *file_name, const char *host,
                                       uint32_t time, const char *time_string) {
    if (order == nullptr || host == nullptr) { return TBS_ST_INVALID_ARG; }
    return create_hop(order, file_name, host, time, time_string, &order->arrival_route, &order->arrival_count);
}

tbs_status_t pxinfo_shp_create_return(pxinfo_shp_order_t *order, const char *file_name, const char *host, uint32_t time,
                                      const char *time_string) {
    if (order == nullptr || host == nullptr) { return TBS_ST_INVALID_ARG; }
    tbs_status_t status =
        create_hop(order, file_name, host, time, time_string, &order->return_route, &order->return_count);
    if (status == TBS_ST_OK) { order->has_return_route = 1; }
    return status;
}

tbs_status_t pxinfo_shp_create_notification(pxinfo_shp_order_t *order, const char *, const char *address) {
    if (order == nullptr || address == nullptr) { return TBS_ST_INVALID_ARG; }
    return create_text(order, address, &order->notification_addresses, &order->notification_count);
}

tbs_status_t pxinfo_shp_create_comment(pxinfo_shp_order_t *order, const char *, const char *text) {
    if (order == nullptr || text == nullptr) { return TBS_ST_INVALID_ARG; }
    return create_text(order, text, &order->comment_lines, &order->comment_count);
}

tbs_status_t pxinfo_shp_record_delivery(pxinfo_shp_order_t *order, const char *file_name, const char *route,
                                        const char *destination, uint32_t time, const char *time_string) {
    if (order == nullptr || route == nullptr || destination == nullptr) { return TBS_ST_INVALID_ARG; }
    pxinfo_shp_destination_t *d = find_destination(order, destination);
    if (d == nullptr) {
        print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kDeliveryUnknownDestination, file_name, destination);
        return TBS_ST_FAILED;
    }
    if (d->delivery_string != nullptr) {
        print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kDuplicateDelivery, file_name, destination);
        return TBS_ST_FAILED;
    }
    if (d->failed != 0) {
        print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kConflictingDeliveryFailure, file_name, destination);
        return TBS_ST_FAILED;
    }
    if (!check_host_length(file_name, route)) { return TBS_ST_FAILED; }
    char *copy = stg_area_strdup(order->area, time_string);
    if (copy == nullptr) {
        print_shared(IMSG_SEV_ERROR, kComponent, tbs::SharedMsg::kOutOfMemory);
        return TBS_ST_FAILED;
    }
    d->delivery_time = time;
    d->delivery_string = copy;
    copy_host(d->delivery_route, route);
    return TBS_ST_OK;
}

tbs_status_t pxinfo_shp_record_failure(pxinfo_shp_order_t *order, const char *file_name, uint32_t type,
                                       const char *route, const char *destination, uint32_t time,
                                       const char *time_string, int accept_r_after_delivery) {
    if (order == nullptr || route == nullptr || destination == nullptr) { return TBS_ST_INVALID_ARG; }
    if (!check_host_length(file_name, route) || !check_host_length(file_name, destination)) { return TBS_ST_FAILED; }
    pxinfo_shp_destination_t *mark_failed = nullptr;
    // An order travelling back on its return route records failures for
    // hosts it does not list as destinations, unchecked and without a message.
    if (order->has_return_route == 0) {
        tbs_status_t status =
            check_failure_destination(order, file_name, type, destination, accept_r_after_delivery, &mark_failed);
        if (status != TBS_ST_OK) { return status; }
    }
    auto *failure = new_element<pxinfo_shp_failure_t>(order);
    if (failure == nullptr || !copy_text(order->area, time_string, &failure->time_string)) { return TBS_ST_FAILED; }
    failure->type = type != 0 ? 1 : 0;
    failure->time = time;
    copy_host(failure->route, route);
    copy_host(failure->destination, destination);
    llist_d_insert(&order->failed_attempts, failure, &failure->link, LLIST_D_TAIL);
    ++order->failure_count;
    if (mark_failed != nullptr) { mark_failed->failed = 1; }
    return TBS_ST_OK;
}

}  // extern "C"
