// The library's three message catalogs. Texts are the product's own, kept byte
// for byte; messages are addressed by index, never by catalog number.
#include "pxinfo_msg.h"

#include <cstdint>
#include <iterator>

#include "pxinfo_msg_internal.h"

namespace {

// Catalog "pxinfo".
const char *const kPxinfoTexts[] = {
    /* 0 */ "Name component \"%s\" too long to be part of a replica set selector.\n",
    /* 1 */ "fread failed in syncmgr_dct_pkt_check()\n",
    /* 2 */ "%s: packet version is too new.\n",
    /* 3 */ "Unable to access \"%s\": %s\n",
    /* 4 */ "\"%s\" is not a file\n",
    /* 5 */ "Unable to open pkt file %s : %s\n",
    /* 6 */ "Cannot check DCT packet header from \"%s\"\n",
    /* 7 */ "Unable to create XDR stream for reading.\n",
    /* 8 */ "Unable to create XDR stream for writing.\n",
    /* 9 */ "Invalid file_type! \n",
    /* 10 */ "env variable %s not allowed\n",
    /* 11 */ "Cannot interpret the string \"%s\" as a synchronization manager job identifier.  Ignoring it.\n",
    /* 12 */ "Attribute key not found for replica %s in registry\n",
    /* 13 */ "Replica %s is not marked as REPLICATED in registry\n",
    /* 14 */ "\"%s\" is unrecognizable to Korvane Plexion.\n",
};
const uint16_t kPxinfoNumbers[] = {17, 18, 19, 20, 21, 22, 23, 25, 26, 27, 28, 29, 30, 31, 32};

// Catalog "pxinfo_kv_pkt".
const char *const kKvPktTexts[] = {
    /* 0 */ "Bad magic number on packet.\n",
    /* 1 */ "Unable to decode packet header: unknown packet version %d\n",
    /* 2 */ "Bad packet header checksum.  expected 0x%lx, found 0x%lx.\n",
    /* 3 */ "Version mismatch, software:%d.%d, packet:%d.%d\n",
    /* 4 */ "Error decoding xdr information (%s)\n",
    /* 5 */ "Error encoding xdr information (%s)\n",
    /* 6 */ "No sync packet header version matches feature level %d.\n",
};
const uint16_t kKvPktNumbers[] = {1, 2, 3, 4, 5, 6, 11};

// Catalog "pxinfo_shp_order".
const char *const kShpOrderTexts[] = {
    /* 0 */ "order file \"%s\": duplicate destination (%s)\n",
    /* 1 */ "order file \"%s\": hostname too long (%s)\n",
    /* 2 */ "order file \"%s\": delivery for unknown destination (%s)\n",
    /* 3 */ "order file \"%s\": duplicate delivery for destination (%s)\n",
    /* 4 */ "order file \"%s\": conflicting delivery/failure for destination (%s)\n",
    /* 5 */ "order file \"%s\": failure for unknown destination (%s)\n",
    /* 6 */ "order file \"%s\": invalid date/time specification (line %d)\n",
    /* 7 */ "unable to write to shipping order file \"%s\": %s\n",
    /* 8 */ "order file \"%s\": syntax error (line %d)\n",
    /* 9 */ "order file \"%s\": missing section keyword (line %d)\n",
    /* 10 */ "order file \"%s\": extra identifier (line %d)\n",
    /* 11 */ "order file \"%s\": missing identifier (line %d)\n",
    /* 12 */ "order file \"%s\": invalid identifier (line %d)\n",
    /* 13 */ "order file \"%s\": extra creation date (line %d)\n",
    /* 14 */ "order file \"%s\": missing creation date/time (line %d)\n",
    /* 15 */ "order file \"%s\": missing creation string (line %d)\n",
    /* 16 */ "order file \"%s\": extra expiration date (line %d)\n",
    /* 17 */ "order file \"%s\": missing expiration date/time (line %d)\n",
    /* 18 */ "order file \"%s\": missing expiration string (line %d)\n",
    /* 19 */ "order file \"%s\": extra storage class specification (line %d)\n",
    /* 20 */ "order file \"%s\": missing storage class name (line %d)\n",
    /* 21 */ "order file \"%s\": extra original data pathname specification (line %d)\n",
    /* 22 */ "order file \"%s\": missing data pathname (line %d)\n",
    /* 23 */ "order file \"%s\": extra local data pathname specification (line %d)\n",
    /* 24 */ "order file \"%s\": missing data pathname (line %d)\n",
    /* 25 */ "order file \"%s\": multiple destination sections (line %d)\n",
    /* 26 */ "order file \"%s\": missing destination host (line %d)\n",
    /* 27 */ "order file \"%s\": multiple arrival route sections (line %d)\n",
    /* 28 */ "order file \"%s\": missing arrival hop (line %d)\n",
    /* 29 */ "order file \"%s\": missing arrival date/time (line %d)\n",
    /* 30 */ "order file \"%s\": missing arrival date string (line %d)\n",
    /* 31 */ "order file \"%s\": missing delivery date/time (line %d)\n",
    /* 32 */ "order file \"%s\": missing delivery date string (line %d)\n",
    /* 33 */ "order file \"%s\": missing delivery route (line %d)\n",
    /* 34 */ "order file \"%s\": missing destination (line %d)\n",
    /* 35 */ "order file \"%s\": multiple failure sections (line %d)\n",
    /* 36 */ "order file \"%s\": missing failure type (line %d)\n",
    /* 37 */ "order file \"%s\": unknown failure type (line %d)\n",
    /* 38 */ "order file \"%s\": missing failure date/time (line %d)\n",
    /* 39 */ "order file \"%s\": missing failure date string (line %d)\n",
    /* 40 */ "order file \"%s\": multiple notification sections (line %d)\n",
    /* 41 */ "order file \"%s\": missing address (line %d)\n",
    /* 42 */ "order file \"%s\": multiple comment sections (line %d)\n",
    /* 43 */ "order file \"%s\": unknown version\n",
    /* 44 */ "order file \"%s\": unknown section type (line %d)\n",
    /* 45 */ "order file \"%s\": invalid shipping order",
    /* 46 */ "internal error: cannot parse file \"%s\" (line %d): %s\n",
    /* 47 */ "Cannot read file \"%s\" (line %d): %s\n",
    /* 48 */ "Line too long in file \"%s\" (line %d)\n",
    /* 49 */ "order file \"%s\": multiple return route sections (line %d)\n",
};
const uint16_t kShpOrderNumbers[] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17,
                                     18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 34,
                                     35, 36, 37, 38, 39, 40, 41, 42, 43, 44, 45, 46, 47, 48, 49, 50};

static_assert(std::size(kPxinfoTexts) == static_cast<size_t>(pxinfo::PxinfoMsg::kCount), "one name a message");
static_assert(std::size(kKvPktTexts) == static_cast<size_t>(pxinfo::KvPktMsg::kCount), "one name a message");
static_assert(std::size(kShpOrderTexts) == static_cast<size_t>(pxinfo::ShpOrderMsg::kCount), "one name a message");

template <size_t N, size_t M>
constexpr imsg_msg_table_t make_table(const char *component, uint16_t set_number, const char *const (&texts)[N],
                                      const uint16_t (&numbers)[M]) {
    static_assert(N == M, "every message has a catalog number");
    return imsg_msg_table_t{"pxinfo_lib", component, set_number, static_cast<uint16_t>(N), texts, numbers};
}

}  // namespace

extern "C" {

const imsg_msg_table_t _pxinfo_pxinfo_msg_table = make_table("pxinfo", 1, kPxinfoTexts, kPxinfoNumbers);
const imsg_msg_table_t _pxinfo_kv_pkt_pxinfo_msg_table = make_table("pxinfo_kv_pkt", 3, kKvPktTexts, kKvPktNumbers);
const imsg_msg_table_t _pxinfo_shp_order_pxinfo_msg_table =
    make_table("pxinfo_shp_order", 5, kShpOrderTexts, kShpOrderNumbers);

}  // extern "C"
