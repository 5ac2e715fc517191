// Shared internals of the shipping-order code: message helpers, the
// destination look-up, and the section keyword table
// with its writers and parsers. Never installed.
#ifndef PXINFO_SHP_ORDER_INTERNAL_H
#define PXINFO_SHP_ORDER_INTERNAL_H

#include <cstdio>

#include "cl.h"
#include "pxinfo_frame_internal.h"
#include "pxinfo_shp_order.h"

namespace pxinfo {
namespace shp {

// The component on whose behalf shared messages are printed.
constexpr const char *kComponent = "pxinfo_shp_order";

// The frame's printing functions, also for the exported functions, which
// use this namespace.
using pxinfo::print_msg;
using pxinfo::print_shared;
using pxinfo::ShpOrderMsg;

// The text of the current errno value.
const char *errno_text();

// True when host fits a 64-byte host array; else prints message 1 with it.
bool check_host_length(const char *file_name, const char *host);

// The destination whose host equals host, or null.
pxinfo_shp_destination_t *find_destination(const pxinfo_shp_order_t *order, const char *host);

// An index by host of the destinations that a read adds to its order, so that
// reading an order with many destinations and deliveries stays linear. The
// read keeps one on its stack; while it lives, looking up destinations of that
// order on this thread goes through it, and everything else walks the list.
class ReadIndexScope {
  public:
    explicit ReadIndexScope(const pxinfo_shp_order_t *order);
    ~ReadIndexScope();
    ReadIndexScope(const ReadIndexScope &) = delete;
    ReadIndexScope &operator=(const ReadIndexScope &) = delete;

    // Open addressing with linear probing; capacity is a power of two and the
    // table is kept at most seven eighths full. The hosts' hashes have an
    // array of their own beside the destinations' (0 marks an empty slot): a
    // probe reads four bytes a slot, which keeps a long order's table small
    // enough for the cache, and compares hosts only when hashes agree. The
    // two arrays are one heap block, released when the table grows and when
    // the read ends.
    struct Table {
        const pxinfo_shp_order_t *order;
        Table *outer;  // the index of a read this one runs inside, if any
        uint32_t *hashes = nullptr;
        pxinfo_shp_destination_t **slots = nullptr;
        uint32_t capacity = 0;
        uint32_t used = 0;
        // The destination the last look-up found. Deliveries and failed
        // attempts usually follow the order of the destinations, so the one
        // after it is tried first: a long order is then looked up in memory
        // order rather than at random places of the table.
        pxinfo_shp_destination_t *last_found = nullptr;
    };

  private:
    Table table_;
};

// A section writer: (stream, file name, order) -> status.
using SectionWriter = tbs_status_t (*)(FILE *stream, const char *file_name, const pxinfo_shp_order_t *order);
// A section parser: (handle, line text, file name, line number, order,
// first-continuation flag) -> status.
using SectionParser = tbs_status_t (*)(cl_handle_t *handle, const char *line, const char *file_name, int line_number,
                                       pxinfo_shp_order_t *order, int first_continuation);

struct SectionKeyword {
    const char *keyword;
    SectionWriter write;
    SectionParser parse_first;  // the keyword line
    SectionParser parse_cont;   // a continuation line
};

// The file's first two lines. The writer writes kHeaderLine; the reader also
// accepts the older product's kOlderHeaderLine.
constexpr const char *kHeaderLine = "# Korvane Plexion Shipping Order";
constexpr const char *kOlderHeaderLine = "# Quenta Shipping Order";
constexpr const char *kVersionLine = "# Version 1.0";

constexpr int kSectionCount = 13;
// The 13 sections in the order in which they are written.
extern const SectionKeyword shp_ord_keywords[kSectionCount];

// Section writers.
tbs_status_t pxinfo_shp_ord_write_identifier(FILE *, const char *, const pxinfo_shp_order_t *);
tbs_status_t pxinfo_shp_ord_write_creation_date(FILE *, const char *, const pxinfo_shp_order_t *);
tbs_status_t pxinfo_shp_ord_write_expiration(FILE *, const char *, const pxinfo_shp_order_t *);
tbs_status_t pxinfo_shp_ord_write_storage(FILE *, const char *, const pxinfo_shp_order_t *);
tbs_status_t pxinfo_shp_ord_write_orig_pname(FILE *, const char *, const pxinfo_shp_order_t *);
tbs_status_t pxinfo_shp_ord_write_local_pname(FILE *, const char *, const pxinfo_shp_order_t *);
tbs_status_t pxinfo_shp_ord_write_destinations(FILE *, const char *, const pxinfo_shp_order_t *);
tbs_status_t pxinfo_shp_ord_write_arrival_route(FILE *, const char *, const pxinfo_shp_order_t *);
tbs_status_t pxinfo_shp_ord_write_return_route(FILE *, const char *, const pxinfo_shp_order_t *);
tbs_status_t pxinfo_shp_ord_write_delivery(FILE *, const char *, const pxinfo_shp_order_t *);
tbs_status_t pxinfo_shp_ord_write_failed_attempt(FILE *, const char *, const pxinfo_shp_order_t *);
tbs_status_t pxinfo_shp_ord_write_notification(FILE *, const char *, const pxinfo_shp_order_t *);
tbs_status_t pxinfo_shp_ord_write_comment(FILE *, const char *, const pxinfo_shp_order_t *);

// Section parsers.
// Every parser has the same parameters, and few use them all.
#define PXINFO_SHP_PARSER(name)                                                                 \
    tbs_status_t name([[maybe_unused]] cl_handle_t *handle, [[maybe_unused]] const char *line,  \
                      [[maybe_unused]] const char *file_name, [[maybe_unused]] int line_number, \
                      [[maybe_unused]] pxinfo_shp_order_t *order, [[maybe_unused]] int first_continuation)
PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_first_identifier);
PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_first_creation_date);
PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_first_expiration);
PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_first_storage);
PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_first_orig_pname);
PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_first_local_pname);
PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_first_return_route);
PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_first_none);
PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_cont_none);
PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_cont_destinations);
PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_cont_arrival_route);
PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_cont_return_route);
PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_cont_delivery);
PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_cont_failed_attempt);
PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_cont_notification);
PXINFO_SHP_PARSER(pxinfo_shp_ord_parse_cont_comment);

}  // namespace shp
}  // namespace pxinfo

#endif
