// Shipping orders: reading with a check on every line, writing with a forced
// flush, building orders, and the delivery/failure consistency rules.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "pxinfo_shp_order.h"
#include "tbs.h"
#include "tbs_uuid.h"
#include "test_support.h"

namespace {

#define FN "orders/t.ord"
#define ORDER_FILE "order file \"" FN "\": "
const char *const kFile = FN;
const std::string kHeader = "# Korvane Plexion Shipping Order\n# Version 1.0\n";
const char *const kUuid = "0f1e2d3c-4b5a-6978-8796-a5b4c3d2e1f0";

// A readable stream holding text.
FILE *stream_of(const std::string &text) {
    FILE *f = tmpfile();
    if (f != nullptr) {
        fwrite(text.data(), 1, text.size(), f);
        rewind(f);
    }
    return f;
}

std::string stream_text(FILE *f) {
    rewind(f);
    std::string text;
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, f)) > 0) text.append(buffer, n);
    return text;
}

std::vector<std::string> error_texts(const pxtest::CapturedMessages &captured) {
    std::vector<std::string> texts;
    for (const auto &line : captured.with_severity(IMSG_SEV_ERROR)) {
        EXPECT_EQ("pxinfo_shp_order", line.component) << line.text;
        texts.push_back(line.text);
    }
    return texts;
}

// The outcome of reading a text: status, order, and the errors printed.
struct Read {
    tbs_status_t status = 0;
    pxinfo_shp_order_t *order = nullptr;
    std::vector<std::string> errors;
    explicit Read(const std::string &text) {
        pxtest::CapturedMessages captured;
        FILE *f = stream_of(text);
        order = reinterpret_cast<pxinfo_shp_order_t *>(1);  // the reader must clear it
        status = pxinfo_shp_read_order(f, kFile, &order);
        fclose(f);
        errors = error_texts(captured);
    }
    ~Read() { pxinfo_shp_destroy_order(&order); }
};

template <typename T>
std::vector<T *> elements(const llist_d_head_t &head) {
    std::vector<T *> out;
    for (llist_d_link_t *l = head.first; l != LLIST_D_END(&head); l = l->next)
        out.push_back(static_cast<T *>(l->element));
    return out;
}

std::string str(const char *s) { return s == nullptr ? "(null)" : "'" + std::string(s) + "'"; }

// Every field of an order, lists in order, so two orders compare as texts.
std::string describe(const pxinfo_shp_order_t *o) {
    tbs_uuid_str_t id;
    std::string d = std::string("id ") + tbs_uuid_to_str(&o->identifier, id);
    d += "\ncreation " + std::to_string(o->creation_time) + " " + str(o->creation_string);
    d += "\nexpiration " + std::to_string(o->expiration_time) + " " + str(o->expiration_string);
    d += "\nclass " + str(o->storage_class) + "\npaths " + str(o->original_data_path) + " " + str(o->local_data_path);
    d += "\ndestinations " + std::to_string(o->destination_count);
    for (auto *x : elements<pxinfo_shp_destination_t>(o->destinations))
        d += "\n  " + std::string(x->host) + " failed=" + std::to_string(x->failed) + " " +
             std::to_string(x->delivery_time) + " " + str(x->delivery_string) + " via '" + x->delivery_route + "'";
    auto hops = [&](const char *name, uint32_t count, const llist_d_head_t &head) {
        d += std::string("\n") + name + " " + std::to_string(count);
        for (auto *h : elements<pxinfo_shp_hop_t>(head))
            d += "\n  " + std::string(h->host) + " " + std::to_string(h->time) + " " + str(h->time_string);
    };
    hops("arrival", o->arrival_count, o->arrival_route);
    d += "\nhas_return " + std::to_string(o->has_return_route);
    hops("return", o->return_count, o->return_route);
    d += "\nfailures " + std::to_string(o->failure_count);
    for (auto *f : elements<pxinfo_shp_failure_t>(o->failed_attempts))
        d += "\n  " + std::to_string(f->type) + " " + std::to_string(f->time) + " " + str(f->time_string) + " " +
             f->route + " " + f->destination;
    auto texts = [&](const char *name, uint32_t count, const llist_d_head_t &head) {
        d += std::string("\n") + name + " " + std::to_string(count);
        for (auto *t : elements<pxinfo_shp_text_t>(head)) d += "\n  " + str(t->text);
    };
    texts("notifications", o->notification_count, o->notification_addresses);
    texts("comments", o->comment_count, o->comment_lines);
    return d;
}

// ---------------------------------------------------------------------------
// Every message a file can provoke, with its exact text, file name, line
// number and status.

struct BadFile {
    const char *name;
    std::string body;  // after the two header lines (unless it starts with '#')
    tbs_status_t status;
    std::string message;
};

const std::string kHost64(64, 'h');
const std::string kDestA = "%DESTINATIONS\n    a\n";

const std::vector<BadFile> kBadFiles = {
    {"duplicate destination", "%DESTINATIONS\n    a\n    a\n", 1002, ORDER_FILE "duplicate destination (a)\n"},
    {"destination host too long", "%DESTINATIONS\n    " + kHost64 + "\n", 1002,
     ORDER_FILE "hostname too long (" + kHost64 + ")\n"},
    {"arrival host too long", "%ARRIVAL-ROUTE\n    " + kHost64 + " 1 d\n", 1002,
     ORDER_FILE "hostname too long (" + kHost64 + ")\n"},
    {"delivery route too long", kDestA + "%DELIVERIES\n    1 d " + kHost64 + " a\n", 1002,
     ORDER_FILE "hostname too long (" + kHost64 + ")\n"},
    {"failure destination too long", kDestA + "%FAILED-ATTEMPTS\n    R 1 d r " + kHost64 + "\n", 1002,
     ORDER_FILE "hostname too long (" + kHost64 + ")\n"},
    {"delivery for unknown destination", kDestA + "%DELIVERIES\n    1 d r b\n", 1002,
     ORDER_FILE "delivery for unknown destination (b)\n"},
    {"destinations listed after the delivery", "%DELIVERIES\n    1 d r a\n" + kDestA, 1002,
     ORDER_FILE "delivery for unknown destination (a)\n"},
    {"duplicate delivery", kDestA + "%DELIVERIES\n    1 d r a\n    2 e r a\n", 1002,
     ORDER_FILE "duplicate delivery for destination (a)\n"},
    {"delivery after C failure", kDestA + "%FAILED-ATTEMPTS\n    C 1 d r a\n%DELIVERIES\n    1 d r a\n", 1002,
     ORDER_FILE "conflicting delivery/failure for destination (a)\n"},
    {"C failure after delivery", kDestA + "%DELIVERIES\n    1 d r a\n%FAILED-ATTEMPTS\n    C 1 d r a\n", 1002,
     ORDER_FILE "conflicting delivery/failure for destination (a)\n"},
    {"failure for unknown destination", kDestA + "%FAILED-ATTEMPTS\n    R 1 d r b\n", 1002,
     ORDER_FILE "failure for unknown destination (b)\n"},
    {"invalid creation number", "%CREATION-DATE 12x d\n", 1002,
     ORDER_FILE "invalid date/time specification (line 3)\n"},
    {"invalid delivery number", kDestA + "%DELIVERIES\n    -1 d r a\n", 1002,
     ORDER_FILE "invalid date/time specification (line 6)\n"},
    {"number above 32 bits", "%ARRIVAL-ROUTE\n    a 4294967296 d\n", 1002,
     ORDER_FILE "invalid date/time specification (line 4)\n"},
    {"extra word", std::string("%IDENTIFIER ") + kUuid + " x\n", 1002, ORDER_FILE "syntax error (line 3)\n"},
    {"word after list keyword", "%DESTINATIONS a\n", 1002, ORDER_FILE "syntax error (line 3)\n"},
    {"extra word on hop", "%ARRIVAL-ROUTE\n    a 1 d x\n", 1002, ORDER_FILE "syntax error (line 4)\n"},
    {"word after return-route keyword", "%RETURN-ROUTE x\n", 1002, ORDER_FILE "syntax error (line 3)\n"},
    {"value line in single-value section", std::string("%IDENTIFIER ") + kUuid + "\n    x\n", 1002,
     ORDER_FILE "missing section keyword (line 4)\n"},
    {"blank line after identifier", std::string("%IDENTIFIER ") + kUuid + "\n\n", 1002,
     ORDER_FILE "missing section keyword (line 4)\n"},
    {"extra identifier", std::string("%IDENTIFIER ") + kUuid + "\n%IDENTIFIER " + kUuid + "\n", 1002,
     ORDER_FILE "extra identifier (line 4)\n"},
    {"missing identifier", "%IDENTIFIER\n", 1002, ORDER_FILE "missing identifier (line 3)\n"},
    {"invalid identifier", "%IDENTIFIER 0f1e2d3c\n", 1002, ORDER_FILE "invalid identifier (line 3)\n"},
    {"extra creation date", "%CREATION-DATE 1 d\n%CREATION-DATE 2 e\n", 1002,
     ORDER_FILE "extra creation date (line 4)\n"},
    {"missing creation number", "%CREATION-DATE\n", 1002, ORDER_FILE "missing creation date/time (line 3)\n"},
    {"missing creation string", "%CREATION-DATE 1\n", 1002, ORDER_FILE "missing creation string (line 3)\n"},
    {"extra expiration date", "%EXPIRATION-DATE 1 d\n%EXPIRATION-DATE 1 d\n", 1002,
     ORDER_FILE "extra expiration date (line 4)\n"},
    {"missing expiration number", "%EXPIRATION-DATE\n", 1002, ORDER_FILE "missing expiration date/time (line 3)\n"},
    {"missing expiration string", "%EXPIRATION-DATE 7\n", 1002, ORDER_FILE "missing expiration string (line 3)\n"},
    {"extra storage class", "%STORAGE-CLASS a\n%STORAGE-CLASS b\n", 1002,
     ORDER_FILE "extra storage class specification (line 4)\n"},
    {"missing storage class", "%STORAGE-CLASS\n", 1002, ORDER_FILE "missing storage class name (line 3)\n"},
    {"extra original path", "%ORIGINAL-DATA-PATH \"a\"\n%ORIGINAL-DATA-PATH \"b\"\n", 1002,
     ORDER_FILE "extra original data pathname specification (line 4)\n"},
    {"missing original path", "%ORIGINAL-DATA-PATH\n", 1002, ORDER_FILE "missing data pathname (line 3)\n"},
    {"extra local path", "%LOCAL-DATA-PATH a\n%LOCAL-DATA-PATH b\n", 1002,
     ORDER_FILE "extra local data pathname specification (line 4)\n"},
    {"missing local path", "%LOCAL-DATA-PATH\n", 1002, ORDER_FILE "missing data pathname (line 3)\n"},
    {"second destinations section", kDestA + "%DESTINATIONS\n    b\n", 1002,
     ORDER_FILE "multiple destination sections (line 6)\n"},
    {"blank line in destinations", "%DESTINATIONS\n\n", 1002, ORDER_FILE "missing destination host (line 4)\n"},
    {"second arrival section", "%ARRIVAL-ROUTE\n    a 1 d\n%ARRIVAL-ROUTE\n    b 1 d\n", 1002,
     ORDER_FILE "multiple arrival route sections (line 6)\n"},
    {"blank line in arrival route", "%ARRIVAL-ROUTE\n    \n", 1002, ORDER_FILE "missing arrival hop (line 4)\n"},
    {"hop without number", "%RETURN-ROUTE\n    a\n", 1002, ORDER_FILE "missing arrival date/time (line 4)\n"},
    {"hop without string", "%ARRIVAL-ROUTE\n    a 1\n", 1002, ORDER_FILE "missing arrival date string (line 4)\n"},
    {"blank line in deliveries", "%DELIVERIES\n\n", 1002, ORDER_FILE "missing delivery date/time (line 4)\n"},
    {"delivery without string", "%DELIVERIES\n    1\n", 1002, ORDER_FILE "missing delivery date string (line 4)\n"},
    {"delivery without route", "%DELIVERIES\n    1 d\n", 1002, ORDER_FILE "missing delivery route (line 4)\n"},
    {"delivery without destination", "%DELIVERIES\n    1 d r\n", 1002, ORDER_FILE "missing destination (line 4)\n"},
    {"second failure section", kDestA + "%FAILED-ATTEMPTS\n    R 1 d r a\n%FAILED-ATTEMPTS\n    R 2 d r a\n", 1002,
     ORDER_FILE "multiple failure sections (line 8)\n"},
    {"blank line in failures", "%FAILED-ATTEMPTS\n\n", 1002, ORDER_FILE "missing failure type (line 4)\n"},
    {"unknown failure type", "%FAILED-ATTEMPTS\n    c 1 d r a\n", 1002, ORDER_FILE "unknown failure type (line 4)\n"},
    {"long failure type", "%FAILED-ATTEMPTS\n    CR 1 d r a\n", 1002, ORDER_FILE "unknown failure type (line 4)\n"},
    {"failure without number", "%FAILED-ATTEMPTS\n    C\n", 1002, ORDER_FILE "missing failure date/time (line 4)\n"},
    {"failure with bad number", "%FAILED-ATTEMPTS\n    C x\n", 1002,
     ORDER_FILE "invalid date/time specification (line 4)\n"},
    {"failure without string", "%FAILED-ATTEMPTS\n    R 1\n", 1002,
     ORDER_FILE "missing failure date string (line 4)\n"},
    {"failure without route", "%FAILED-ATTEMPTS\n    R 1 d\n", 1002, ORDER_FILE "missing delivery route (line 4)\n"},
    {"failure without destination", "%FAILED-ATTEMPTS\n    R 1 d r\n", 1002,
     ORDER_FILE "missing destination (line 4)\n"},
    {"second notification section", "%NOTIFICATION-ADDRESSES\n    x\n%NOTIFICATION-ADDRESSES\n    y\n", 1002,
     ORDER_FILE "multiple notification sections (line 6)\n"},
    {"blank line in notifications", "%NOTIFICATION-ADDRESSES\n\n", 1002, ORDER_FILE "missing address (line 4)\n"},
    {"second comment section", "%COMMENT\nx\n%COMMENT\ny\n", 1002, ORDER_FILE "multiple comment sections (line 6)\n"},
    {"unknown version", "# Korvane Plexion Shipping Order\n# Version 1.1\n", 1002, ORDER_FILE "unknown version\n"},
    {"element before any section", "    a\n", 1002, ORDER_FILE "unknown section type (line 3)\n"},
    {"blank line before any section", "\n%COMMENT\n", 1002, ORDER_FILE "unknown section type (line 3)\n"},
    {"unknown keyword before any section", "%DESTINATION\n", 1002, ORDER_FILE "unknown section type (line 3)\n"},
    {"only the first header line", "# Korvane Plexion Shipping Order\n", 1002, ORDER_FILE "invalid shipping order"},
    {"unterminated quote", "%ORIGINAL-DATA-PATH \"/a b\n", 1001,
     "internal error: cannot parse file \"" FN "\" (line 3): unterminated quoted string\n"},
    {"unterminated quote on the first line", "# Quenta \"Shipping Order\n", 1001,
     "internal error: cannot parse file \"" FN "\" (line 1): unterminated quoted string\n"},
    {"line of 1023 characters", "%COMMENT\n" + std::string(1023, 'x') + "\n", 1001,
     "Line too long in file \"" FN "\" (line 4)\n"},
    {"second return-route keyword", "%RETURN-ROUTE\n%RETURN-ROUTE\n", 1002,
     ORDER_FILE "multiple return route sections (line 4)\n"},
};

void PrintTo(const BadFile &c, std::ostream *os) { *os << c.name; }

class BadFileTest : public ::testing::TestWithParam<BadFile> {};

TEST_P(BadFileTest, GivesItsOneMessageAndStatusAndNoOrder) {
    const BadFile &c = GetParam();
    std::string text = c.body.rfind("# ", 0) == 0 ? c.body : kHeader + c.body;
    Read r(text);
    EXPECT_EQ(c.status, r.status);
    EXPECT_EQ(nullptr, r.order);
    ASSERT_EQ(1u, r.errors.size());
    EXPECT_EQ(c.message, r.errors[0]);
}

std::string case_name(const ::testing::TestParamInfo<BadFile> &info) {
    std::string n;
    for (const char *p = info.param.name; *p; ++p) n += isalnum(static_cast<unsigned char>(*p)) ? *p : '_';
    return n;
}

INSTANTIATE_TEST_SUITE_P(Messages, BadFileTest, ::testing::ValuesIn(kBadFiles), case_name);

TEST(ReadOrder, FilesThatAreNoShippingOrderGive1002Silently) {
    for (const char *text : {"", "# Korvane Plexion Shipping Order \n# Version 1.0\n",
                             "# Korvane Plexion Shipping Order\r\n# Version 1.0\n",
                             "# korvane plexion shipping order\n", "\x14\x82\x35\x16 binary\n"}) {
        Read r(text);
        EXPECT_EQ(TBS_ST_NOT_FOUND, r.status) << text;
        EXPECT_EQ(nullptr, r.order);
        EXPECT_TRUE(r.errors.empty()) << text;
    }
}

TEST(ReadOrder, HeaderAloneIsAnEmptyOrderAndTheOlderHeaderIsAccepted) {
    for (const char *header : {"# Korvane Plexion Shipping Order\n", "# Quenta Shipping Order\n"}) {
        Read r(std::string(header) + "# Version 1.0\n");
        ASSERT_EQ(TBS_ST_OK, r.status) << header;
        pxinfo_shp_order_t *empty = nullptr;
        ASSERT_EQ(TBS_ST_OK, pxinfo_shp_new_order(&empty));
        EXPECT_EQ(describe(empty), describe(r.order));
        pxinfo_shp_destroy_order(&empty);
    }
}

TEST(ReadOrder, LineOf1022CharactersIsAccepted) {
    std::string comment = "  " + std::string(1020, 'c');
    Read r(kHeader + "%COMMENT\n" + comment + "\n");
    ASSERT_EQ(TBS_ST_OK, r.status);
    ASSERT_EQ(1u, r.order->comment_count);
    EXPECT_EQ(comment, elements<pxinfo_shp_text_t>(r.order->comment_lines)[0]->text);
}

TEST(ReadOrder, LenientForms) {
    // Unknown %-words inside a list section are elements; an empty repeated
    // keyword is no repeated section; failure lines may carry extra words; an
    // R failure after a delivery is recorded; a null identifier may be set again.
    Read r(kHeader + "%IDENTIFIER 00000000-0000-0000-0000-000000000000\n%IDENTIFIER " + kUuid +
           "\n%DESTINATIONS\n%DESTINATIONS\n%FOO\n\ta\n%DELIVERIES\n 5 d r a\n%DELIVERIES\n 6 e r %FOO\n"
           "%FAILED-ATTEMPTS\n R 7 f r a trailing words\n");
    ASSERT_EQ(TBS_ST_OK, r.status) << (r.errors.empty() ? "" : r.errors[0]);
    EXPECT_TRUE(r.errors.empty());
    EXPECT_EQ(2u, r.order->destination_count);
    EXPECT_EQ(1u, r.order->failure_count);
    auto d = elements<pxinfo_shp_destination_t>(r.order->destinations);
    EXPECT_STREQ("%FOO", d[0]->host);
    EXPECT_STREQ("e", d[0]->delivery_string);
    EXPECT_STREQ("d", d[1]->delivery_string);
    EXPECT_EQ(0u, d[1]->failed);
    tbs_uuid_str_t id;
    EXPECT_STREQ(kUuid, tbs_uuid_to_str(&r.order->identifier, id));
}

TEST(ReadOrder, KeywordInsideCommentStartsASection) {
    Read r(kHeader + std::string("%COMMENT\nfirst\n%IDENTIFIER ") + kUuid + "\n");
    ASSERT_EQ(TBS_ST_OK, r.status);
    EXPECT_EQ(1u, r.order->comment_count);
    EXPECT_FALSE(tbs_uuid_eq(&TBS_UUID_NULL, &r.order->identifier));
}

TEST(ReadOrder, NullCreationStringWrittenCannotBeReadBack) {
    pxinfo_shp_order_t *order = nullptr;
    ASSERT_EQ(TBS_ST_OK, pxinfo_shp_new_order(&order));
    FILE *f = tmpfile();
    ASSERT_EQ(TBS_ST_OK, pxinfo_shp_write_order(f, kFile, order));
    Read r(stream_text(f));
    fclose(f);
    pxinfo_shp_destroy_order(&order);
    EXPECT_EQ(TBS_ST_NOT_FOUND, r.status);
    ASSERT_EQ(1u, r.errors.size());
    EXPECT_EQ(ORDER_FILE "missing creation string (line 4)\n", r.errors[0]);
}

TEST(ReadOrder, UnreadableStreamGivesMessage47) {
    std::string path = pxtest::temp_path("write-only.ord");
    FILE *f = fopen(path.c_str(), "w");
    ASSERT_NE(nullptr, f);
    pxtest::CapturedMessages captured;
    pxinfo_shp_order_t *order = nullptr;
    EXPECT_EQ(TBS_ST_FAILED, pxinfo_shp_read_order(f, kFile, &order));
    fclose(f);
    EXPECT_EQ(nullptr, order);
    auto errors = error_texts(captured);
    ASSERT_EQ(1u, errors.size());
    EXPECT_EQ(std::string("Cannot read file \"" FN "\" (line 0): ") + tbs_strerror(tbs_errno2status(EBADF)) + "\n",
              errors[0]);
}

TEST(ReadOrder, LineReaderSkipsBlankAndHashLinesOnRequest) {
    FILE *f = stream_of("\n# note\n  #x y\n  first  \"two words\"\n");
    char buffer[PXINFO_SHP_LINE_SIZE];
    int line = 0;
    cl_handle_t *handle = nullptr;
    ASSERT_EQ(TBS_ST_OK, pxinfo_shp_ord_get_next_line(f, kFile, 1, sizeof buffer, buffer, &line, &handle));
    EXPECT_EQ(4, line);
    EXPECT_STREQ("  first  \"two words\"", buffer);
    const char *word = nullptr;
    ASSERT_EQ(TBS_ST_OK, pxinfo_shp_ord_get_token(handle, kFile, line, 1, &word));
    EXPECT_STREQ("first", word);
    ASSERT_EQ(TBS_ST_OK, pxinfo_shp_ord_get_token(handle, kFile, line, 1, &word));
    EXPECT_STREQ("two words", word);
    EXPECT_EQ(TBS_ST_NOT_FOUND, pxinfo_shp_ord_get_token(handle, kFile, line, 1, &word));
    EXPECT_EQ(TBS_ST_NOT_FOUND, pxinfo_shp_ord_get_next_line(f, kFile, 1, sizeof buffer, buffer, &line, &handle));
    cl_destroy(&handle);
    fclose(f);
}

// ---------------------------------------------------------------------------
// Writing, and reading back what was written.

struct Shape {
    bool expiration_and_class;
    int return_hops;  // -1: no return route
};

void PrintTo(const Shape &shape, std::ostream *os) {
    *os << (shape.expiration_and_class ? "with" : "without") << " expiration, return hops " << shape.return_hops;
}

pxinfo_shp_order_t *build_order(const Shape &shape) {
    pxinfo_shp_order_t *o = nullptr;
    EXPECT_EQ(TBS_ST_OK, pxinfo_shp_new_order(&o));
    EXPECT_EQ(TBS_ST_OK, tbs_str_to_uuid(kUuid, &o->identifier));
    o->creation_time = 1700000000;
    o->creation_string = stg_area_strdup(o->area, "2023-11-14T22:13:20Z");
    if (shape.expiration_and_class) {
        o->expiration_time = 4294967295u;
        o->expiration_string = stg_area_strdup(o->area, "never");
        o->storage_class = stg_area_strdup(o->area, "gold");
    }
    o->original_data_path = stg_area_strdup(o->area, "/data/with space/pkt 1");
    pxinfo_shp_destination_t *d = nullptr;
    for (const char *host : {"alpha", "beta", "gamma", "delta"})
        EXPECT_EQ(TBS_ST_OK, pxinfo_shp_create_destination(o, kFile, host, 1, &d));
    EXPECT_EQ(TBS_ST_OK, pxinfo_shp_create_arrival(o, kFile, "origin", 10, "t10"));
    EXPECT_EQ(TBS_ST_OK, pxinfo_shp_create_arrival(o, kFile, "hub", 11, "t11"));
    if (shape.return_hops >= 0) o->has_return_route = 1;
    for (int i = 0; i < shape.return_hops; ++i)
        EXPECT_EQ(TBS_ST_OK, pxinfo_shp_create_return(o, kFile, "hub", 20 + i, "t2"));
    EXPECT_EQ(TBS_ST_OK, pxinfo_shp_record_delivery(o, kFile, "hub", "gamma", 30, "t30"));
    EXPECT_EQ(TBS_ST_OK, pxinfo_shp_record_delivery(o, kFile, "hub", "alpha", 31, "t31"));
    EXPECT_EQ(TBS_ST_OK, pxinfo_shp_record_failure(o, kFile, 1, "hub", "beta", 40, "t40", 1));
    EXPECT_EQ(TBS_ST_OK, pxinfo_shp_record_failure(o, kFile, 0, "origin", "gamma", 41, "t41", 1));
    EXPECT_EQ(TBS_ST_OK, pxinfo_shp_create_notification(o, kFile, "ops@example.com"));
    for (const char *line : {"   indented", "", "# not a comment", "last line"})
        EXPECT_EQ(TBS_ST_OK, pxinfo_shp_create_comment(o, kFile, line));
    return o;
}

std::string expected_text(const Shape &shape) {
    std::string t = kHeader + "%IDENTIFIER " + kUuid + "\n%CREATION-DATE 1700000000 2023-11-14T22:13:20Z\n";
    if (shape.expiration_and_class) t += "%EXPIRATION-DATE 4294967295 never\n%STORAGE-CLASS gold\n";
    t += "%ORIGINAL-DATA-PATH \"/data/with space/pkt 1\"\n%LOCAL-DATA-PATH \"\"\n"
         "%DESTINATIONS\n    alpha\n    beta\n    gamma\n    delta\n"
         "%ARRIVAL-ROUTE\n    origin 10 t10\n    hub 11 t11\n";
    if (shape.return_hops >= 0) t += "%RETURN-ROUTE\n";
    for (int i = 0; i < shape.return_hops; ++i) t += "    hub " + std::to_string(20 + i) + " t2\n";
    t += "%DELIVERIES\n    31 t31 hub alpha\n    30 t30 hub gamma\n"
         "%FAILED-ATTEMPTS\n    C 40 t40 hub beta\n    R 41 t41 origin gamma\n"
         "%NOTIFICATION-ADDRESSES\n    ops@example.com\n"
         "%COMMENT\n   indented\n\n# not a comment\nlast line\n";
    return t;
}

class RoundTrip : public ::testing::TestWithParam<Shape> {};

TEST_P(RoundTrip, WrittenTextMatchesTheFormatAndReadsBackEqual) {
    const Shape shape = GetParam();
    pxinfo_shp_order_t *order = build_order(shape);
    std::string path = pxtest::temp_path("round-trip.ord");
    FILE *f = fopen(path.c_str(), "w+");
    ASSERT_NE(nullptr, f);
    ASSERT_EQ(TBS_ST_OK, pxinfo_shp_write_order(f, kFile, order));
    std::string text = stream_text(f);
    fclose(f);
    EXPECT_EQ(expected_text(shape), text);

    Read r(text);
    ASSERT_EQ(TBS_ST_OK, r.status) << (r.errors.empty() ? "" : r.errors[0]);
    // A null local path comes back as an empty one: two quotes make an empty word.
    order->local_data_path = stg_area_strdup(order->area, "");
    EXPECT_EQ(describe(order), describe(r.order));
    pxinfo_shp_destroy_order(&order);
}

INSTANTIATE_TEST_SUITE_P(Shapes, RoundTrip, ::testing::Values(Shape{true, 2}, Shape{false, -1}, Shape{false, 0}),
                         [](const ::testing::TestParamInfo<Shape> &info) {
                             std::string n = info.param.expiration_and_class ? "AllSections" : "NoExpirationNorClass";
                             if (info.param.return_hops < 0) return n + "NoReturnRoute";
                             return n + "ReturnRouteOf" + std::to_string(info.param.return_hops) + "Hops";
                         });

TEST(WriteOrder, OlderHeaderIsWrittenBackAsTheCurrentOne) {
    Read r("# Quenta Shipping Order\n# Version 1.0\n%CREATION-DATE 1 d\n");
    ASSERT_EQ(TBS_ST_OK, r.status);
    FILE *f = tmpfile();
    ASSERT_EQ(TBS_ST_OK, pxinfo_shp_write_order(f, kFile, r.order));
    std::string text = stream_text(f);
    fclose(f);
    EXPECT_EQ(0u, text.rfind(kHeader, 0)) << text;
}

// A stream opened for reading only gives message 7; data that cannot be
// flushed (a pipe cannot be synced) gives shared message 21.
TEST(WriteOrder, StreamsThatRefuseTheOrderGiveTheirMessage) {
    std::string path = pxtest::temp_path("read-only.ord");
    pxtest::write_file(path, {});
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    const std::pair<FILE *, std::string> cases[] = {
        {fopen(path.c_str(), "r"), "unable to write to shipping order file \"" FN "\": " +
                                       std::string(tbs_strerror(tbs_errno2status(EBADF))) + "\n"},
        {fdopen(fds[1], "w"),
         "Unable to flush \"" FN "\" to stable storage: " + std::string(tbs_strerror(tbs_errno2status(EINVAL))) + "\n"},
    };
    pxinfo_shp_order_t *order = build_order(Shape{true, 1});
    for (const auto &c : cases) {
        ASSERT_NE(nullptr, c.first);
        pxtest::CapturedMessages captured;
        EXPECT_EQ(TBS_ST_FAILED, pxinfo_shp_write_order(c.first, kFile, order));
        fclose(c.first);
        EXPECT_EQ(std::vector<std::string>{c.second}, error_texts(captured));
    }
    close(fds[0]);
    pxinfo_shp_destroy_order(&order);
}

// ---------------------------------------------------------------------------
// Building orders and the consistency rules.

struct OrderFixture : ::testing::Test {
    pxinfo_shp_order_t *o = nullptr;
    pxinfo_shp_destination_t *d = nullptr;
    void SetUp() override {
        ASSERT_EQ(TBS_ST_OK, pxinfo_shp_new_order(&o));
        ASSERT_EQ(TBS_ST_OK, pxinfo_shp_create_destination(o, kFile, "a", 1, &d));
    }
    void TearDown() override {
        EXPECT_EQ(TBS_ST_OK, pxinfo_shp_destroy_order(&o));
        EXPECT_EQ(nullptr, o);
    }
    // The status of op and the errors it printed.
    template <typename Op>
    std::pair<tbs_status_t, std::vector<std::string>> run(Op op) {
        pxtest::CapturedMessages captured;
        tbs_status_t status = op();
        return {status, error_texts(captured)};
    }
};

using Outcome = std::pair<tbs_status_t, std::vector<std::string>>;
const Outcome kOk{TBS_ST_OK, {}};
Outcome refused(const std::string &message) { return {TBS_ST_FAILED, {message}}; }

TEST_F(OrderFixture, DestinationsAreUniqueAndCountedOnce) {
    pxinfo_shp_destination_t *again = nullptr;
    EXPECT_EQ(kOk, run([&] { return pxinfo_shp_create_destination(o, kFile, "a", 0, &again); }));
    EXPECT_EQ(d, again);
    again = nullptr;
    EXPECT_EQ(refused(ORDER_FILE "duplicate destination (a)\n"),
              run([&] { return pxinfo_shp_create_destination(o, kFile, "a", 1, &again); }));
    EXPECT_EQ(d, again);
    EXPECT_EQ(1u, o->destination_count);
}

TEST_F(OrderFixture, HostsOf63CharactersFitAnd64DoNot) {
    const std::string h63(63, 'x'), h64(64, 'y');
    const std::string too_long = ORDER_FILE "hostname too long (" + h64 + ")\n";
    pxinfo_shp_destination_t *e = nullptr;
    EXPECT_EQ(kOk, run([&] { return pxinfo_shp_create_destination(o, kFile, h63.c_str(), 1, &e); }));
    EXPECT_EQ(kOk, run([&] { return pxinfo_shp_create_arrival(o, kFile, h63.c_str(), 1, "d"); }));
    EXPECT_EQ(kOk, run([&] { return pxinfo_shp_create_return(o, kFile, h63.c_str(), 1, "d"); }));
    EXPECT_EQ(kOk, run([&] { return pxinfo_shp_record_delivery(o, kFile, h63.c_str(), "a", 1, "d"); }));
    EXPECT_EQ(kOk, run([&] { return pxinfo_shp_record_failure(o, kFile, 0, h63.c_str(), h63.c_str(), 1, "d", 1); }));
    EXPECT_EQ(refused(too_long), run([&] { return pxinfo_shp_create_destination(o, kFile, h64.c_str(), 1, &e); }));
    EXPECT_EQ(refused(too_long), run([&] { return pxinfo_shp_create_arrival(o, kFile, h64.c_str(), 1, "d"); }));
    EXPECT_EQ(refused(too_long), run([&] { return pxinfo_shp_create_return(o, kFile, h64.c_str(), 1, "d"); }));
    EXPECT_EQ(refused(too_long),
              run([&] { return pxinfo_shp_record_delivery(o, kFile, h64.c_str(), h63.c_str(), 1, "d"); }));
    EXPECT_EQ(refused(too_long),
              run([&] { return pxinfo_shp_record_failure(o, kFile, 0, "r", h64.c_str(), 1, "d", 1); }));
    EXPECT_EQ(2u, o->destination_count);
    EXPECT_EQ(1u, o->arrival_count);
    EXPECT_EQ(1u, o->return_count);
    EXPECT_EQ(1u, o->failure_count);
}

TEST_F(OrderFixture, DeliveryAndFailureRulesWithoutReturnRoute) {
    const std::string conflict = ORDER_FILE "conflicting delivery/failure for destination (a)\n";
    pxinfo_shp_destination_t *b = nullptr;
    ASSERT_EQ(TBS_ST_OK, pxinfo_shp_create_destination(o, kFile, "b", 1, &b));
    // An R failure never marks; a C failure marks and then blocks deliveries.
    EXPECT_EQ(kOk, run([&] { return pxinfo_shp_record_failure(o, kFile, 0, "r", "b", 1, "d", 0); }));
    EXPECT_EQ(0u, b->failed);
    EXPECT_EQ(kOk, run([&] { return pxinfo_shp_record_failure(o, kFile, 1, "r", "b", 2, "d", 0); }));
    EXPECT_EQ(1u, b->failed);
    EXPECT_EQ(refused(ORDER_FILE "conflicting delivery/failure for destination (b)\n"),
              run([&] { return pxinfo_shp_record_delivery(o, kFile, "r", "b", 3, "d"); }));
    EXPECT_EQ(nullptr, b->delivery_string);
    // After a delivery: C is a conflict, R only with accept_r_after_delivery.
    EXPECT_EQ(kOk, run([&] { return pxinfo_shp_record_delivery(o, kFile, "r", "a", 4, "d4"); }));
    EXPECT_EQ(refused(ORDER_FILE "duplicate delivery for destination (a)\n"),
              run([&] { return pxinfo_shp_record_delivery(o, kFile, "r", "a", 5, "d5"); }));
    EXPECT_EQ(refused(conflict), run([&] { return pxinfo_shp_record_failure(o, kFile, 1, "r", "a", 6, "d", 1); }));
    EXPECT_EQ(refused(conflict), run([&] { return pxinfo_shp_record_failure(o, kFile, 0, "r", "a", 6, "d", 0); }));
    EXPECT_EQ(kOk, run([&] { return pxinfo_shp_record_failure(o, kFile, 0, "r", "a", 6, "d", 1); }));
    EXPECT_EQ(refused(ORDER_FILE "failure for unknown destination (z)\n"),
              run([&] { return pxinfo_shp_record_failure(o, kFile, 0, "r", "z", 7, "d", 1); }));
    EXPECT_EQ(refused(ORDER_FILE "delivery for unknown destination (z)\n"),
              run([&] { return pxinfo_shp_record_delivery(o, kFile, "r", "z", 7, "d"); }));
    EXPECT_EQ(3u, o->failure_count);
    EXPECT_EQ(4u, d->delivery_time);
    EXPECT_STREQ("d4", d->delivery_string);
    EXPECT_EQ(0u, d->failed);
}

TEST_F(OrderFixture, WithReturnRouteEveryFailureIsRecordedUnchecked) {
    ASSERT_EQ(TBS_ST_OK, pxinfo_shp_record_delivery(o, kFile, "r", "a", 1, "d"));
    ASSERT_EQ(TBS_ST_OK, pxinfo_shp_create_return(o, kFile, "hub", 1, "d"));
    EXPECT_EQ(1u, o->has_return_route);
    EXPECT_EQ(kOk, run([&] { return pxinfo_shp_record_failure(o, kFile, 1, "r", "a", 2, "d", 0); }));
    EXPECT_EQ(kOk, run([&] { return pxinfo_shp_record_failure(o, kFile, 1, "r", "nowhere", 3, "d", 0); }));
    EXPECT_EQ(0u, d->failed);
    EXPECT_EQ(2u, o->failure_count);
}

// ---------------------------------------------------------------------------
// Storage exhaustion.

TEST(Storage, ReadingFailsCleanlyAtEveryAllocation) {
    std::string text = expected_text(Shape{true, 2});
    size_t points = pxtest::sweep_allocation_failures(
        [&] {
            pxtest::CapturedMessages captured;
            FILE *f = stream_of(text);
            pxinfo_shp_order_t *order = nullptr;
            tbs_status_t status = pxinfo_shp_read_order(f, kFile, &order);
            fclose(f);
            EXPECT_EQ(status == TBS_ST_OK, order != nullptr);
            auto errors = error_texts(captured);
            if (status == TBS_ST_NOT_FOUND) {
                EXPECT_EQ(std::vector<std::string>{"Out of memory.\n"}, errors);
            } else if (!errors.empty()) {
                EXPECT_EQ(1u, errors.size());
                EXPECT_NE(std::string::npos, errors[0].find("internal error: cannot parse file")) << errors[0];
            }
            pxinfo_shp_destroy_order(&order);
            return status;
        },
        [](tbs_status_t status, unsigned long nth) {
            EXPECT_TRUE(status == TBS_ST_FAILED || status == TBS_ST_NOT_FOUND) << nth << ": " << status;
            if (nth <= 2) {
                EXPECT_EQ(TBS_ST_FAILED, status) << "creating the order fails first";
            }
        });
    EXPECT_GT(points, 40u);
}

TEST(Storage, NewOrderFailsWithoutMessage) {
    size_t points = pxtest::sweep_allocation_failures(
        [] {
            pxtest::CapturedMessages captured;
            pxinfo_shp_order_t *order = reinterpret_cast<pxinfo_shp_order_t *>(8);
            tbs_status_t status = pxinfo_shp_new_order(&order);
            EXPECT_EQ(0u, captured.problems());
            if (status != TBS_ST_OK) {
                EXPECT_TRUE(order == nullptr || order == reinterpret_cast<pxinfo_shp_order_t *>(8));
            }
            if (status == TBS_ST_OK) pxinfo_shp_destroy_order(&order);
            return status;
        },
        [](tbs_status_t status, unsigned long) { EXPECT_EQ(TBS_ST_FAILED, status); });
    EXPECT_EQ(2u, points);
}

// Sweeps op over every allocation it makes on a freshly built order: each
// failure prints the out-of-storage message, returns 1001 and leaves the
// order's description unchanged; destroying the order frees everything.
void sweep_on_order(const char *what, const std::function<tbs_status_t(pxinfo_shp_order_t *)> &op) {
    unsigned long live_at_start = stg_live_block_count();
    for (unsigned long nth = 1;; ++nth) {
        pxinfo_shp_order_t *o = build_order(Shape{false, -1});
        std::string before = describe(o);
        pxtest::CapturedMessages captured;
        unsigned long count_before = stg_allocation_count();
        stg_fail_allocation(nth);
        tbs_status_t status = op(o);
        bool reached = stg_allocation_count() - count_before >= nth;
        stg_fail_allocation(0);
        if (reached) {
            EXPECT_EQ(TBS_ST_FAILED, status) << what << " " << nth;
            EXPECT_EQ(std::vector<std::string>{"Out of memory.\n"}, error_texts(captured)) << what << " " << nth;
            EXPECT_EQ(before, describe(o)) << what << " " << nth;
        }
        pxinfo_shp_destroy_order(&o);
        EXPECT_EQ(live_at_start, stg_live_block_count()) << what << " " << nth;
        if (!reached) {
            EXPECT_EQ(TBS_ST_OK, status) << what;
            EXPECT_GT(nth, 1u) << what << " allocates nothing";
            return;
        }
    }
}

TEST(Storage, EveryCreateOperationFailsCleanly) {
    pxinfo_shp_destination_t *d = nullptr;
    sweep_on_order("destination",
                   [&](pxinfo_shp_order_t *o) { return pxinfo_shp_create_destination(o, kFile, "new", 1, &d); });
    sweep_on_order("arrival", [](pxinfo_shp_order_t *o) { return pxinfo_shp_create_arrival(o, kFile, "h", 1, "d"); });
    sweep_on_order("return", [](pxinfo_shp_order_t *o) { return pxinfo_shp_create_return(o, kFile, "h", 1, "d"); });
    sweep_on_order("notification",
                   [](pxinfo_shp_order_t *o) { return pxinfo_shp_create_notification(o, kFile, "x@y"); });
    sweep_on_order("comment", [](pxinfo_shp_order_t *o) { return pxinfo_shp_create_comment(o, kFile, " text"); });
    sweep_on_order("delivery",
                   [](pxinfo_shp_order_t *o) { return pxinfo_shp_record_delivery(o, kFile, "r", "delta", 1, "d"); });
    sweep_on_order("failure", [](pxinfo_shp_order_t *o) {
        return pxinfo_shp_record_failure(o, kFile, 1, "r", "delta", 1, "d", 1);
    });
}

TEST(Storage, DestinationIndexGrowthFailsCleanly) {
    // Enough destinations to make the look-up index grow several times.
    pxinfo_shp_order_t *o = nullptr;
    ASSERT_EQ(TBS_ST_OK, pxinfo_shp_new_order(&o));
    pxinfo_shp_destination_t *d = nullptr;
    for (int i = 0; i < 200; ++i) {
        std::string host = "h" + std::to_string(i);
        tbs_status_t status;
        for (unsigned long nth = 1;; ++nth) {
            pxtest::CapturedMessages captured;
            unsigned long before = stg_allocation_count();
            stg_fail_allocation(nth);
            status = pxinfo_shp_create_destination(o, kFile, host.c_str(), 1, &d);
            bool reached = stg_allocation_count() - before >= nth;
            stg_fail_allocation(0);
            if (!reached) break;
            ASSERT_EQ(TBS_ST_FAILED, status);
            ASSERT_EQ(static_cast<uint32_t>(i), o->destination_count);
        }
        ASSERT_EQ(TBS_ST_OK, status);
    }
    for (int i = 0; i < 200; ++i) {
        std::string host = "h" + std::to_string(i);
        EXPECT_EQ(TBS_ST_OK, pxinfo_shp_record_delivery(o, kFile, "r", host.c_str(), 1, "d")) << host;
    }
    EXPECT_EQ(200u, o->destination_count);
    pxinfo_shp_destroy_order(&o);
}

TEST(ShpOrderArguments, MissingArgumentsAreRefusedAndTheOutArgumentIsOptional) {
    pxinfo_shp_order_t *o = nullptr;
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_shp_new_order(nullptr));
    ASSERT_EQ(TBS_ST_OK, pxinfo_shp_new_order(&o));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_shp_create_destination(nullptr, "f", "h", 1, nullptr));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_shp_create_destination(o, "f", nullptr, 1, nullptr));
    EXPECT_EQ(TBS_ST_OK, pxinfo_shp_create_destination(o, "f", "h", 1, nullptr));
    EXPECT_EQ(1u, o->destination_count);
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_shp_create_arrival(o, "f", nullptr, 1, "t"));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_shp_create_return(nullptr, "f", "h", 1, "t"));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_shp_create_notification(o, "f", nullptr));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_shp_create_comment(o, "f", nullptr));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_shp_record_delivery(o, "f", nullptr, "h", 1, "t"));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_shp_record_failure(o, "f", 1, "r", nullptr, 1, "t", 1));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_shp_write_order(nullptr, "f", o));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_shp_read_order(stdin, "f", nullptr));
    EXPECT_EQ(0u, o->arrival_count + o->return_count + o->notification_count + o->comment_count + o->failure_count);
    pxinfo_shp_destroy_order(&o);
}

TEST(Storage, DeliveriesInAnyOrderFindTheirOwnDestinations) {
    // Deliveries listed in the order of the destinations, against it, and
    // shuffled, each land on their own destination; a second delivery of
    // the same destination is still refused.
    for (int order_kind = 0; order_kind < 3; ++order_kind) {
        pxinfo_shp_order_t *o = nullptr;
        ASSERT_EQ(TBS_ST_OK, pxinfo_shp_new_order(&o));
        std::vector<pxinfo_shp_destination_t *> destinations(300);
        std::vector<int> sequence;
        for (int i = 0; i < 300; ++i) {
            std::string host = "h" + std::to_string(i);
            ASSERT_EQ(TBS_ST_OK, pxinfo_shp_create_destination(o, kFile, host.c_str(), 1, &destinations[i]));
            sequence.push_back(i);
        }
        if (order_kind == 1) std::reverse(sequence.begin(), sequence.end());
        if (order_kind == 2) std::shuffle(sequence.begin(), sequence.end(), std::mt19937(3));
        for (int i : sequence) {
            std::string host = "h" + std::to_string(i);
            ASSERT_EQ(TBS_ST_OK,
                      pxinfo_shp_record_delivery(o, kFile, "r", host.c_str(), static_cast<uint32_t>(i), "d"));
            EXPECT_EQ(static_cast<uint32_t>(i), destinations[i]->delivery_time) << host;
        }
        pxtest::CapturedMessages captured;
        EXPECT_EQ(TBS_ST_FAILED, pxinfo_shp_record_delivery(o, kFile, "r", "h1", 1, "d"));
        EXPECT_EQ(TBS_ST_FAILED, pxinfo_shp_record_delivery(o, kFile, "r", "h300", 1, "d"));
        pxinfo_shp_destroy_order(&o);
    }
}

}  // namespace

#include "pxinfo_pktutl.h"

namespace {

// An order record built by its caller inside a record of its own: lists
// initialised, a destination linked with llist_d_insert, another renamed in
// place. Every operation sees the destinations as the list holds them, and
// nothing past the order is touched.
TEST(ShpOrderLists, CallerBuiltOrdersWorkOnWhatTheListsHold) {
    struct {
        pxinfo_shp_order_t order;
        unsigned char after[256];
    } callers{};
    pxinfo_shp_order_t &o = callers.order;
    o.area = stg_create_area(256);
    for (llist_d_head_t *list : {&o.destinations, &o.arrival_route, &o.return_route, &o.failed_attempts,
                                 &o.notification_addresses, &o.comment_lines})
        llist_d_init(list);
    pxinfo_shp_destination_t linked{};
    std::strcpy(linked.host, "alpha");
    llist_d_insert(&o.destinations, &linked, &linked.link, LLIST_D_TAIL);
    pxtest::CapturedMessages captured(5, "pxinfo");  // writing orders is not traced
    pxinfo_shp_destination_t *d = nullptr;
    EXPECT_EQ(TBS_ST_FAILED, pxinfo_shp_create_destination(&o, "b.ord", "alpha", 1, &d));  // a duplicate
    EXPECT_EQ(&linked, d);
    ASSERT_EQ(TBS_ST_OK, pxinfo_shp_create_destination(&o, "b.ord", "beta", 1, &d));
    std::strcpy(d->host, "gamma");
    EXPECT_EQ(TBS_ST_OK, pxinfo_shp_record_delivery(&o, "b.ord", "hub", "gamma", 7, "d7"));
    EXPECT_EQ(TBS_ST_FAILED, pxinfo_shp_record_delivery(&o, "b.ord", "hub", "beta", 7, "d7"));  // unknown
    EXPECT_EQ(TBS_ST_OK, pxinfo_shp_record_failure(&o, "b.ord", 1, "hub", "alpha", 8, "d8", 1));
    EXPECT_EQ(TBS_ST_FAILED, pxinfo_shp_record_delivery(&o, "b.ord", "hub", "alpha", 9, "d9"));  // failed
    EXPECT_EQ(3u, captured.problems()) << captured.dump();
    EXPECT_EQ(std::vector<unsigned char>(256), std::vector<unsigned char>(callers.after, callers.after + 256));
    FILE *f = std::tmpfile();
    ASSERT_EQ(TBS_ST_OK, pxinfo_shp_write_order(f, "b.ord", &o));
    char text[4096] = {};
    std::rewind(f);
    std::fread(text, 1, sizeof text - 1, f);
    std::fclose(f);
    EXPECT_NE(std::string::npos,
              std::string(text).find("%DESTINATIONS\n    alpha\n    gamma\n%ARRIVAL-ROUTE\n%DELIVERIES\n"
                                     "    7 d7 hub gamma\n%FAILED-ATTEMPTS\n    C 8 d8 hub alpha\n"))
        << text;
    EXPECT_TRUE(captured.with_severity(IMSG_SEV_TRACE).empty()) << captured.dump();
    stg_delete_area(&o.area);
}

// A long order, its deliveries out of destination order, read with each
// allocation failing in turn; a destination listed again after many is
// refused, and one renamed in place after the read has its new name only.
// Reading is not traced, also inside the classification of a file.
TEST(ShpOrderLists, LongOrdersReadWholeOrFailCleanly) {
    std::string text = "# Quenta Shipping Order\n# Version 1.0\n%DESTINATIONS\n", deliveries = "%DELIVERIES\n";
    for (int i = 0; i < 40; ++i) {
        text += "    h" + std::to_string(i) + "\n";
        deliveries += "    " + std::to_string(i) + " d r h" + std::to_string(i * 7 % 40) + "\n";
    }
    pxinfo_shp_order_t *o = nullptr;
    auto read = [&](const std::string &body) {
        FILE *f = std::tmpfile();
        std::fputs((text + body).c_str(), f);
        std::rewind(f);
        tbs_status_t status = pxinfo_shp_read_order(f, "long.ord", &o);
        std::fclose(f);
        return status;
    };
    pxtest::CapturedMessages captured(5, "pxinfo");  // reading orders is not traced
    pxtest::sweep_allocation_failures(
        [&] {
            tbs_status_t status = read(deliveries);
            uint32_t k = 0;
            for (llist_d_link_t *l = o != nullptr ? o->destinations.first : nullptr;
                 l != nullptr && l != LLIST_D_END(&o->destinations); l = l->next, ++k)
                EXPECT_EQ(k, static_cast<pxinfo_shp_destination_t *>(l->element)->delivery_time * 7 % 40);
            EXPECT_EQ(status == TBS_ST_OK ? 40u : 0u, k);
            pxinfo_shp_destroy_order(&o);
            return status;
        },
        [](tbs_status_t status, unsigned long) { EXPECT_TRUE(status == TBS_ST_NOT_FOUND || status == TBS_ST_FAILED); });
    EXPECT_EQ(TBS_ST_NOT_FOUND, read("    h3\n" + deliveries));
    const std::string path = pxtest::temp_path("long.ord"), refused = text + "    h3\n";
    pxtest::write_file(path, std::vector<unsigned char>(refused.begin(), refused.end()));
    pxinfo_file_type_t type;
    EXPECT_EQ(TBS_ST_OK, pxinfo_get_file_type(path.c_str(), &type));  // traced itself, but not the read inside
    for (const pxtest::PrintedLine &line : captured.with_severity(IMSG_SEV_TRACE))
        EXPECT_EQ(std::string::npos, line.text.find("shp_")) << line.text;
    captured.clear();
    ASSERT_EQ(TBS_ST_OK, read(""));
    pxinfo_shp_destination_t *d = nullptr;
    ASSERT_EQ(TBS_ST_OK, pxinfo_shp_create_destination(o, "long.ord", "h5", 0, &d));
    std::strcpy(d->host, "renamed");
    EXPECT_EQ(TBS_ST_OK, pxinfo_shp_record_delivery(o, "long.ord", "r", "renamed", 1, "d"));
    EXPECT_EQ(TBS_ST_FAILED, pxinfo_shp_record_delivery(o, "long.ord", "r", "h5", 1, "d"));
    EXPECT_EQ(1u, captured.problems()) << captured.dump();
    pxinfo_shp_destroy_order(&o);
}

}  // namespace
