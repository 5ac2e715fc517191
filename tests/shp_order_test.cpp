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

// The text an order is written as.
std::string written(const pxinfo_shp_order_t *order) {
    FILE *f = tmpfile();
    EXPECT_EQ(TBS_ST_OK, pxinfo_shp_write_order(f, kFile, order));
    std::string text = stream_text(f);
    fclose(f);
    return text;
}

// Every message a file can provoke, with its exact text, file name, line
// number and status: tests/data/shp_order_refused.tsv.
class RefusedOrder : public ::testing::TestWithParam<std::vector<std::string>> {};

TEST_P(RefusedOrder, GivesItsOneMessageAndStatusAndNoOrder) {
    const auto &row = GetParam();
    ASSERT_EQ(4u, row.size());
    Read r(row[2].rfind("# ", 0) == 0 ? row[2] : kHeader + row[2]);
    EXPECT_EQ(std::stoi(row[1]), r.status);
    EXPECT_EQ(nullptr, r.order);
    EXPECT_EQ(std::vector<std::string>{row[3]}, r.errors);
}

INSTANTIATE_TEST_SUITE_P(Table, RefusedOrder, ::testing::ValuesIn(pxtest::data_rows("shp_order_refused.tsv")),
                         [](const auto &info) {
                             std::string name;
                             for (char c : info.param[0]) name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
                             return name;
                         });

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
        EXPECT_EQ(written(empty), written(r.order));  // the older header is written back as the current one
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
    EXPECT_EQ(text, written(r.order));
    EXPECT_EQ(order->destination_count, r.order->destination_count);
    EXPECT_EQ(order->arrival_count + order->return_count + order->failure_count + order->comment_count,
              r.order->arrival_count + r.order->return_count + r.order->failure_count + r.order->comment_count);
    pxinfo_shp_destroy_order(&order);
}

INSTANTIATE_TEST_SUITE_P(Shapes, RoundTrip, ::testing::Values(Shape{true, 2}, Shape{false, -1}, Shape{false, 0}),
                         [](const ::testing::TestParamInfo<Shape> &info) {
                             std::string n = info.param.expiration_and_class ? "AllSections" : "NoExpirationNorClass";
                             if (info.param.return_hops < 0) return n + "NoReturnRoute";
                             return n + "ReturnRouteOf" + std::to_string(info.param.return_hops) + "Hops";
                         });

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

// Sweeps op over every allocation it makes on a freshly built order: each
// failure prints the out-of-storage message, returns 1001 and leaves the
// order's description unchanged; destroying the order frees everything.
void sweep_on_order(const char *what, const std::function<tbs_status_t(pxinfo_shp_order_t *)> &op) {
    unsigned long live_at_start = stg_live_block_count();
    for (unsigned long nth = 1;; ++nth) {
        pxinfo_shp_order_t *o = build_order(Shape{false, -1});
        std::string before = written(o);
        pxtest::CapturedMessages captured;
        unsigned long count_before = stg_allocation_count();
        stg_fail_allocation(nth);
        tbs_status_t status = op(o);
        bool reached = stg_allocation_count() - count_before >= nth;
        stg_fail_allocation(0);
        if (reached) {
            EXPECT_EQ(TBS_ST_FAILED, status) << what << " " << nth;
            EXPECT_EQ(std::vector<std::string>{"Out of memory.\n"}, error_texts(captured)) << what << " " << nth;
            EXPECT_EQ(before, written(o)) << what << " " << nth;
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

TEST(Storage, DestinationIndexGrowsCleanlyAndDeliveriesInAnyOrderFindTheirDestinations) {
    // Deliveries listed in the order of the destinations, against it, and
    // shuffled, each land on their own destination; a second delivery of
    // the same destination is still refused.
    for (int order_kind = 0; order_kind < 3; ++order_kind) {
        pxinfo_shp_order_t *o = nullptr;
        ASSERT_EQ(TBS_ST_OK, pxinfo_shp_new_order(&o));
        std::vector<pxinfo_shp_destination_t *> destinations(300);
        std::vector<int> sequence;
        for (int i = 0; i < 300; ++i) {
            // The look-up index grows several times; while it does, each
            // allocation failing in turn leaves the order as it was.
            std::string host = "h" + std::to_string(i);
            for (unsigned long nth = 1; order_kind == 0; ++nth) {
                pxtest::CapturedMessages captured;
                const unsigned long before = stg_allocation_count();
                stg_fail_allocation(nth);
                const tbs_status_t status = pxinfo_shp_create_destination(o, kFile, host.c_str(), 1, &destinations[i]);
                const bool reached = stg_allocation_count() - before >= nth;
                stg_fail_allocation(0);
                if (!reached) break;
                ASSERT_EQ(TBS_ST_FAILED, status);
                ASSERT_EQ(static_cast<uint32_t>(i), o->destination_count);
            }
            if (order_kind != 0) {
                ASSERT_EQ(TBS_ST_OK, pxinfo_shp_create_destination(o, kFile, host.c_str(), 1, &destinations[i]));
            }
            ASSERT_EQ(static_cast<uint32_t>(i + 1), o->destination_count);
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
