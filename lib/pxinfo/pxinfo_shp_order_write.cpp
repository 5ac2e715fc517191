// Writing shipping orders: the header lines, the 13 sections in the order of
// the keyword table, then a forced flush so that the order is on stable
// storage before it is reported written.
#include <cstdarg>
#include <cstdio>

#include "pxinfo_shp_order_internal.h"
#include "sysutl.h"
#include "tbs_uuid.h"

namespace pxinfo {
namespace shp {

namespace {

constexpr const char *kIndent = "    ";

// One line of the file; false after message 7 when the stream refuses it.
bool put_line(FILE *stream, const char *file_name, const char *format, ...) __attribute__((format(printf, 3, 4)));
bool put_line(FILE *stream, const char *file_name, const char *format, ...) {
    va_list args;
    va_start(args, format);
    int rc = vfprintf(stream, format, args);
    va_end(args);
    if (rc < 0) {
        print_msg(false, IMSG_SEV_ERROR, ShpOrderMsg::kWriteFailed, file_name, errno_text());
        return false;
    }
    return true;
}

const char *or_empty(const char *text) { return text == nullptr ? "" : text; }

// "%lu" is the written form of every date/time number.
unsigned long as_ulong(uint32_t value) { return static_cast<unsigned long>(value); }

template <typename T>
T *element_of(llist_d_link_t *link) {
    return static_cast<T *>(link->element);
}

// Calls line(element) for every element of the list, stopping at the first false.
template <typename T, typename Fn>
bool each(const llist_d_head_t *head, Fn line) {
    for (llist_d_link_t *l = head->first; l != nullptr && l != LLIST_D_END(head); l = l->next) {
        if (!line(element_of<T>(l))) { return false; }
    }
    return true;
}

tbs_status_t result(bool ok) { return ok ? TBS_ST_OK : TBS_ST_FAILED; }

const char *keyword(int row) { return shp_ord_keywords[row].keyword; }

tbs_status_t write_route(FILE *stream, const char *file_name, int row, const llist_d_head_t *route) {
    bool ok = put_line(stream, file_name, "%s\n", keyword(row)) &&
              each<pxinfo_shp_hop_t>(route, [&](const pxinfo_shp_hop_t *hop) {
                  return put_line(stream, file_name, "%s%s %lu %s\n", kIndent, hop->host, as_ulong(hop->time),
                                  or_empty(hop->time_string));
              });
    return result(ok);
}

tbs_status_t write_texts(FILE *stream, const char *file_name, int row, const llist_d_head_t *texts,
                         const char *indent) {
    bool ok = put_line(stream, file_name, "%s\n", keyword(row)) &&
              each<pxinfo_shp_text_t>(texts, [&](const pxinfo_shp_text_t *t) {
                  return put_line(stream, file_name, "%s%s\n", indent, or_empty(t->text));
              });
    return result(ok);
}

// Rows of the keyword table, for the writers that name their keyword.
enum Row : int {
    kRowIdentifier,
    kRowCreation,
    kRowExpiration,
    kRowStorage,
    kRowOriginalPath,
    kRowLocalPath,
    kRowDestinations,
    kRowArrival,
    kRowReturn,
    kRowDeliveries,
    kRowFailures,
    kRowNotifications,
    kRowComment,
};

}  // namespace

tbs_status_t pxinfo_shp_ord_write_identifier(FILE *stream, const char *file_name, const pxinfo_shp_order_t *order) {
    tbs_uuid_str_t text;
    tbs_uuid_to_str(&order->identifier, text);
    return result(put_line(stream, file_name, "%s %s\n", keyword(kRowIdentifier), text));
}

tbs_status_t pxinfo_shp_ord_write_creation_date(FILE *stream, const char *file_name, const pxinfo_shp_order_t *order) {
    return result(put_line(stream, file_name, "%s %lu %s\n", keyword(kRowCreation), as_ulong(order->creation_time),
                           or_empty(order->creation_string)));
}

tbs_status_t pxinfo_shp_ord_write_expiration(FILE *stream, const char *file_name, const pxinfo_shp_order_t *order) {
    if (order->expiration_string == nullptr) { return TBS_ST_OK; }
    return result(put_line(stream, file_name, "%s %lu %s\n", keyword(kRowExpiration), as_ulong(order->expiration_time),
                           order->expiration_string));
}

tbs_status_t pxinfo_shp_ord_write_storage(FILE *stream, const char *file_name, const pxinfo_shp_order_t *order) {
    if (order->storage_class == nullptr) { return TBS_ST_OK; }
    return result(put_line(stream, file_name, "%s %s\n", keyword(kRowStorage), order->storage_class));
}

tbs_status_t pxinfo_shp_ord_write_orig_pname(FILE *stream, const char *file_name, const pxinfo_shp_order_t *order) {
    return result(
        put_line(stream, file_name, "%s \"%s\"\n", keyword(kRowOriginalPath), or_empty(order->original_data_path)));
}

tbs_status_t pxinfo_shp_ord_write_local_pname(FILE *stream, const char *file_name, const pxinfo_shp_order_t *order) {
    return result(put_line(stream, file_name, "%s \"%s\"\n", keyword(kRowLocalPath), or_empty(order->local_data_path)));
}

tbs_status_t pxinfo_shp_ord_write_destinations(FILE *stream, const char *file_name, const pxinfo_shp_order_t *order) {
    bool ok = put_line(stream, file_name, "%s\n", keyword(kRowDestinations)) &&
              each<pxinfo_shp_destination_t>(&order->destinations, [&](const pxinfo_shp_destination_t *d) {
                  return put_line(stream, file_name, "%s%s\n", kIndent, d->host);
              });
    return result(ok);
}

tbs_status_t pxinfo_shp_ord_write_arrival_route(FILE *stream, const char *file_name, const pxinfo_shp_order_t *order) {
    return write_route(stream, file_name, kRowArrival, &order->arrival_route);
}

tbs_status_t pxinfo_shp_ord_write_return_route(FILE *stream, const char *file_name, const pxinfo_shp_order_t *order) {
    if (order->has_return_route == 0) { return TBS_ST_OK; }
    return write_route(stream, file_name, kRowReturn, &order->return_route);
}

tbs_status_t pxinfo_shp_ord_write_delivery(FILE *stream, const char *file_name, const pxinfo_shp_order_t *order) {
    bool ok = put_line(stream, file_name, "%s\n", keyword(kRowDeliveries)) &&
              each<pxinfo_shp_destination_t>(&order->destinations, [&](const pxinfo_shp_destination_t *d) {
                  if (d->delivery_string == nullptr) { return true; }
                  return put_line(stream, file_name, "%s%lu %s %s %s\n", kIndent, as_ulong(d->delivery_time),
                                  d->delivery_string, d->delivery_route, d->host);
              });
    return result(ok);
}

tbs_status_t pxinfo_shp_ord_write_failed_attempt(FILE *stream, const char *file_name, const pxinfo_shp_order_t *order) {
    bool ok = put_line(stream, file_name, "%s\n", keyword(kRowFailures)) &&
              each<pxinfo_shp_failure_t>(&order->failed_attempts, [&](const pxinfo_shp_failure_t *f) {
                  return put_line(stream, file_name, "%s%s %lu %s %s %s\n", kIndent, f->type != 0 ? "C" : "R",
                                  as_ulong(f->time), or_empty(f->time_string), f->route, f->destination);
              });
    return result(ok);
}

tbs_status_t pxinfo_shp_ord_write_notification(FILE *stream, const char *file_name, const pxinfo_shp_order_t *order) {
    return write_texts(stream, file_name, kRowNotifications, &order->notification_addresses, kIndent);
}

tbs_status_t pxinfo_shp_ord_write_comment(FILE *stream, const char *file_name, const pxinfo_shp_order_t *order) {
    return write_texts(stream, file_name, kRowComment, &order->comment_lines, "");
}

}  // namespace shp
}  // namespace pxinfo

using namespace pxinfo::shp;

extern "C" tbs_status_t pxinfo_shp_write_order(FILE *stream, const char *file_name, const pxinfo_shp_order_t *order) {
    if (stream == nullptr || file_name == nullptr || order == nullptr) { return TBS_ST_INVALID_ARG; }
    if (!put_line(stream, file_name, "%s\n", kHeaderLine) || !put_line(stream, file_name, "%s\n", kVersionLine)) {
        return TBS_ST_FAILED;
    }
    for (const SectionKeyword &section : shp_ord_keywords) {
        tbs_status_t status = section.write(stream, file_name, order);
        if (status != TBS_ST_OK) { return status; }
    }
    if (sysutl_fsync_fptr(stream) != 0) {
        print_shared(IMSG_SEV_ERROR, kComponent, tbs::SharedMsg::kCannotSync, file_name, errno_text());
        return TBS_ST_FAILED;
    }
    return TBS_ST_OK;
}
