// Shipping orders: reading with a check on every line, writing with a forced
// flush, building orders, and the delivery/failure consistency rules.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "pxinfo_pktutl.h"
#include "pxinfo_shp_order.h"
#include "tbs.h"
#include "test_support.h"

namespace {

#define FN "orders/t.ord"
const char *const kFile = FN;
const std::string kHeader = "# Korvane Plexion Shipping Order\n# Version 1.0\n";

FILE *stream_of(const std::string &text) {
    FILE *f = std::tmpfile();
    std::fwrite(text.data(), 1, text.size(), f);
    std::rewind(f);
    return f;
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
    pxinfo_shp_order_t *order = reinterpret_cast<pxinfo_shp_order_t *>(1);  // the reader must clear it
    std::vector<std::string> errors;
    explicit Read(const std::string &text) {
        pxtest::CapturedMessages captured;
        FILE *f = stream_of(text);
        status = pxinfo_shp_read_order(f, kFile, &order);
        std::fclose(f);
        errors = error_texts(captured);
    }
    ~Read() { pxinfo_shp_destroy_order(&order); }
};

// The text an order is written as.
std::string written(const pxinfo_shp_order_t *order) {
    FILE *f = std::tmpfile();
    EXPECT_EQ(TBS_ST_OK, pxinfo_shp_write_order(f, kFile, order));
    std::string text(static_cast<size_t>(std::ftell(f)), '\0');
    std::rewind(f);
    EXPECT_EQ(text.size(), std::fread(&text[0], 1, text.size(), f));
    std::fclose(f);
    return text;
}

// Every message a file can provoke, with its exact text, file name, line
// number and status, and files that are no order at all (1002, silently):
// tests/data/shp_order_refused.tsv.
class RefusedOrder : public ::testing::TestWithParam<std::vector<std::string>> {};

TEST_P(RefusedOrder, GivesItsOneMessageAndStatusAndNoOrder) {
    const auto &row = GetParam();
    ASSERT_EQ(4u, row.size());
    Read r(row[2].find_first_of("% \n") == 0 ? kHeader + row[2] : row[2]);
    EXPECT_EQ(std::stoi(row[1]), r.status);
    EXPECT_EQ(nullptr, r.order);
    EXPECT_EQ(row[3].empty() ? std::vector<std::string>{} : std::vector<std::string>{row[3]}, r.errors);
}

INSTANTIATE_TEST_SUITE_P(Table, RefusedOrder, ::testing::ValuesIn(pxtest::data_rows("shp_order_refused.tsv")));

// Texts that read back to themselves: tests/data/shp_order_texts.tsv. The
// first uses every section, the second leaves the return route out.
std::string body(size_t n) { return pxtest::data_rows("shp_order_texts.tsv").at(n).at(1); }

// Reading and writing again gives the text back; the older header is written
// back as the current one, and a header alone gives a new order.
TEST(ReadOrder, WrittenTextsReadBackToThemselves) {
    for (const auto &row : pxtest::data_rows("shp_order_texts.tsv")) {
        for (const char *header : {"# Korvane Plexion Shipping Order\n", "# Quenta Shipping Order\n"}) {
            Read r(header + ("# Version 1.0\n" + row.at(1)));
            ASSERT_EQ(TBS_ST_OK, r.status) << row[0] << (r.errors.empty() ? "" : r.errors[0]);
            EXPECT_EQ(kHeader + row[1], written(r.order)) << row[0];
        }
    }
    pxinfo_shp_order_t *empty = nullptr;
    ASSERT_EQ(TBS_ST_OK, pxinfo_shp_new_order(&empty));
    Read header_only(kHeader);
    EXPECT_EQ(written(empty), written(header_only.order));
    pxinfo_shp_destroy_order(&empty);
}

// With skip set, blank and hash lines are passed over and the words of a line
// come one by one, a quoted one whole.
TEST(ReadOrder, LineReaderSkipsBlankAndHashLinesOnRequest) {
    FILE *f = stream_of("\n# note\n  #x y\n  first  \"two words\"\n");
    char buffer[PXINFO_SHP_LINE_SIZE];
    int line = 0;
    cl_handle_t *handle = nullptr;
    ASSERT_EQ(TBS_ST_OK, pxinfo_shp_ord_get_next_line(f, kFile, 1, sizeof buffer, buffer, &line, &handle));
    EXPECT_EQ(std::make_pair(4, std::string("  first  \"two words\"")), std::make_pair(line, std::string(buffer)));
    std::string words;
    const char *word = nullptr;
    tbs_status_t status;
    while ((status = pxinfo_shp_ord_get_token(handle, kFile, line, 1, &word)) == TBS_ST_OK) {
        words += word + std::string("|");
    }
    EXPECT_EQ(std::make_pair(TBS_ST_NOT_FOUND, std::string("first|two words|")), std::make_pair(status, words));
    EXPECT_EQ(TBS_ST_NOT_FOUND, pxinfo_shp_ord_get_next_line(f, kFile, 1, sizeof buffer, buffer, &line, &handle));
    cl_destroy(&handle);
    std::fclose(f);
}

// The steps of tests/data/shp_order_steps.tsv on one order, each run with each
// of its allocations failing in turn, then whole: a failing run prints the
// out-of-storage message, returns 1001 and changes nothing, as does a refused
// step; the written order shows what was recorded.
TEST(OrderRules, DeliveriesFailuresAndHostLengthsInSequence) {
    const unsigned long live_at_start = stg_live_block_count();
    pxinfo_shp_order_t *o = nullptr;
    ASSERT_EQ(TBS_ST_OK, pxinfo_shp_new_order(&o));
    const auto steps = pxtest::data_rows("shp_order_steps.tsv");
    for (size_t n = 0; n + 1 < steps.size(); ++n) {
        const auto &s = steps[n];
        ASSERT_EQ(6u, s.size()) << n;
        const char op = s[0][0], *host = s[1].c_str(), *dest = s[2].c_str();
        for (unsigned long nth = 1;; ++nth) {
            const std::string before = written(o);
            pxtest::CapturedMessages captured;
            const unsigned long count_before = stg_allocation_count();
            stg_fail_allocation(nth);
            const tbs_status_t status = op == 'd'   ? pxinfo_shp_create_destination(o, kFile, host, 1, nullptr)
                                        : op == 'a' ? pxinfo_shp_create_arrival(o, kFile, host, 1, "t")
                                        : op == 'r' ? pxinfo_shp_create_return(o, kFile, host, 2, "t")
                                        : op == 'D' ? pxinfo_shp_record_delivery(o, kFile, host, dest, 3, "t")
                                                    : pxinfo_shp_record_failure(o, kFile, std::stoul(s[3]), host, dest,
                                                                                4, "t", std::stoi(s[4]));
            const bool failed_allocation = stg_allocation_count() - count_before >= nth;
            stg_fail_allocation(0);
            const std::string error = failed_allocation ? "Out of memory.\n" : s[5];
            EXPECT_EQ(error.empty() ? TBS_ST_OK : TBS_ST_FAILED, status) << "step " << n;
            EXPECT_EQ(error.empty() ? std::vector<std::string>{} : std::vector<std::string>{error},
                      error_texts(captured));
            if (!error.empty()) { EXPECT_EQ(before, written(o)) << "step " << n; }
            if (!failed_allocation) { break; }
        }
    }
    EXPECT_EQ(steps.back().at(1), written(o));
    pxinfo_shp_destination_t *a = nullptr;
    EXPECT_EQ(TBS_ST_OK, pxinfo_shp_create_destination(o, kFile, "a", 0, &a));  // no duplicate reported:
    EXPECT_STREQ("a", a->host);                                                 // the existing one is given
    EXPECT_EQ(0u, a->failed);  // failures recorded unchecked mark nothing
    pxinfo_shp_destroy_order(&o);
    EXPECT_EQ(nullptr, o);
    EXPECT_EQ(live_at_start, stg_live_block_count());
}

// ---------------------------------------------------------------------------
// Orders whose lists hold what their callers put there, and long orders.

// An order record built by its caller inside a record of its own: lists
// initialised, a destination linked with llist_d_insert, another renamed in
// place. Every operation sees the destinations as the list holds them, and
// nothing past the order is touched. Neither reading nor writing is traced.
TEST(ShpOrderLists, CallerBuiltOrdersWorkOnWhatTheListsHold) {
    struct {
        pxinfo_shp_order_t order;
        unsigned char after[256];
    } callers{};
    pxinfo_shp_order_t &o = callers.order;
    {  // The index of a read goes with it: a destination renamed after the read has its new name only.
        Read r(kHeader + "%DESTINATIONS\n    a\n    b\n");
        pxtest::CapturedMessages quiet;
        std::strcpy(static_cast<pxinfo_shp_destination_t *>(r.order->destinations.first->element)->host, "c");
        EXPECT_EQ(TBS_ST_OK, pxinfo_shp_record_delivery(r.order, kFile, "r", "c", 1, "d"));
        EXPECT_EQ(TBS_ST_FAILED, pxinfo_shp_record_delivery(r.order, kFile, "r", "a", 1, "d"));
    }
    o.area = stg_create_area(256);
    for (llist_d_head_t *list : {&o.destinations, &o.arrival_route, &o.return_route, &o.failed_attempts,
                                 &o.notification_addresses, &o.comment_lines}) {
        llist_d_init(list);
    }
    pxinfo_shp_destination_t linked{};
    std::strcpy(linked.host, "alpha");
    llist_d_insert(&o.destinations, &linked, &linked.link, LLIST_D_TAIL);
    pxtest::CapturedMessages captured(5, "pxinfo");
    pxinfo_shp_destination_t *d = nullptr;
    EXPECT_EQ(TBS_ST_FAILED, pxinfo_shp_create_destination(&o, "b.ord", "alpha", 1, &d));  // a duplicate
    EXPECT_EQ(&linked, d);
    ASSERT_EQ(TBS_ST_OK, pxinfo_shp_create_destination(&o, "b.ord", "beta", 1, &d));
    std::strcpy(d->host, "gamma");
    EXPECT_EQ(TBS_ST_OK, pxinfo_shp_record_delivery(&o, "b.ord", "hub", "gamma", 7, "d7"));
    EXPECT_EQ(TBS_ST_FAILED, pxinfo_shp_record_delivery(&o, "b.ord", "hub", "beta", 7, "d7"));  // unknown
    EXPECT_EQ(TBS_ST_OK, pxinfo_shp_record_failure(&o, "b.ord", 1, "hub", "alpha", 8, "d8", 1));
    EXPECT_EQ(1u, linked.failed);
    EXPECT_EQ(TBS_ST_FAILED, pxinfo_shp_record_delivery(&o, "b.ord", "hub", "alpha", 9, "d9"));  // failed
    EXPECT_EQ(3u, captured.problems()) << captured.dump();
    EXPECT_EQ(std::vector<unsigned char>(256), std::vector<unsigned char>(callers.after, callers.after + 256));
    EXPECT_NE(std::string::npos, written(&o).find("%DESTINATIONS\n    alpha\n    gamma\n%ARRIVAL-ROUTE\n%DELIVERIES\n"
                                                  "    7 d7 hub gamma\n%FAILED-ATTEMPTS\n    C 8 d8 hub alpha\n"));
    stg_delete_area(&o.area);
    EXPECT_TRUE(captured.with_severity(IMSG_SEV_TRACE).empty()) << captured.dump();
}

// A long order read with each allocation failing in turn: 40 destinations,
// deliveries out of their order and failures in it. Each run gives the whole
// order (deliveries written in destination order) or fails cleanly with its
// message, and none traces; a destination listed again after many is refused.
TEST(ShpOrderLists, LongOrdersReadWholeOrFailCleanly) {
    std::string destinations, deliveries, in_order, failures;
    for (int i = 0; i < 40; ++i) {
        const std::string n = std::to_string(i);
        destinations += "    h" + n + "\n";
        deliveries += "    " + n + " d r h" + std::to_string(i * 7 % 40) + "\n";
        in_order += "    " + std::to_string(i * 23 % 40) + " d r h" + n + "\n";  // 7 * 23 = 1 modulo 40
        failures += "    R 2 d r h" + n + "\n";
    }
    auto order_with = [&](const std::string &extra_destination, const std::string &these_deliveries) {
        std::string text = body(1);
        text.insert(text.find("%ARRIVAL"), destinations + extra_destination);
        text.insert(text.find("%FAILED") + 17, failures);
        return kHeader + text.insert(text.find("%FAILED"), these_deliveries);
    };
    const std::string expected = order_with("", in_order), text = order_with("", deliveries);
    EXPECT_EQ(TBS_ST_NOT_FOUND, Read(order_with("    h3\n", deliveries)).status);
    pxtest::CapturedMessages captured(5, "pxinfo");
    const size_t points = pxtest::sweep_allocation_failures(
        [&] {
            captured.clear();
            FILE *f = stream_of(text);
            pxinfo_shp_order_t *order = nullptr;
            tbs_status_t status = pxinfo_shp_read_order(f, kFile, &order);
            std::fclose(f);
            EXPECT_EQ(status == TBS_ST_OK, order != nullptr);
            EXPECT_TRUE(captured.with_severity(IMSG_SEV_TRACE).empty()) << captured.dump();
            const auto errors = error_texts(captured);
            if (status == TBS_ST_OK) {
                EXPECT_EQ(expected, written(order));
            } else if (status == TBS_ST_NOT_FOUND) {
                EXPECT_EQ(std::vector<std::string>{"Out of memory.\n"}, errors);
            }
            for (const std::string &e : status == TBS_ST_FAILED ? errors : std::vector<std::string>{}) {
                EXPECT_EQ(0u, e.find("internal error: cannot parse file \"" FN "\" (line ")) << e;
            }
            pxinfo_shp_destroy_order(&order);
            return status;
        },
        [](tbs_status_t status, unsigned long nth) {
            // Creating the order fails first, with 1001.
            EXPECT_TRUE(status == TBS_ST_FAILED || (nth > 2 && status == TBS_ST_NOT_FOUND)) << nth << ": " << status;
        });
    EXPECT_GT(points, 150u);
}

// ---------------------------------------------------------------------------
// Storage exhaustion, arguments and streams.

TEST(ShpOrderArguments, MissingArgumentsAreRefused) {
    pxinfo_shp_order_t *o = nullptr;
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_shp_new_order(nullptr));
    ASSERT_EQ(TBS_ST_OK, pxinfo_shp_new_order(&o));
    for (tbs_status_t refused :
         {pxinfo_shp_create_destination(nullptr, "f", "h", 1, nullptr),
          pxinfo_shp_create_destination(o, "f", nullptr, 1, nullptr),
          pxinfo_shp_create_arrival(o, "f", nullptr, 1, "t"), pxinfo_shp_create_return(nullptr, "f", "h", 1, "t"),
          pxinfo_shp_create_notification(o, "f", nullptr), pxinfo_shp_create_comment(o, "f", nullptr),
          pxinfo_shp_record_delivery(o, "f", nullptr, "h", 1, "t"),
          pxinfo_shp_record_failure(o, "f", 1, "r", nullptr, 1, "t", 1), pxinfo_shp_write_order(nullptr, "f", o),
          pxinfo_shp_read_order(stdin, "f", nullptr)}) {
        EXPECT_EQ(TBS_ST_INVALID_ARG, refused);
    }
    pxinfo_shp_destroy_order(&o);
}

// A stream that cannot be read gives message 47; one opened for reading only
// refuses the order with message 7; data that cannot be flushed (a pipe cannot
// be synced) gives shared message 21.
TEST(ShpOrderStreams, StreamsThatRefuseTheOrderGiveTheirMessage) {
    const std::string path = pxtest::temp_path("order.ord");
    pxtest::write_file(path, {});
    auto error = [](int e) { return std::string(tbs_strerror(tbs_errno2status(e))) + "\n"; };
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    Read r(kHeader + body(0));
    const std::pair<FILE *, std::string> cases[] = {
        {std::fopen(path.c_str(), "a"), "Cannot read file \"" FN "\" (line 0): " + error(EBADF)},
        {std::fopen(path.c_str(), "r"), "unable to write to shipping order file \"" FN "\": " + error(EBADF)},
        {fdopen(fds[1], "w"), "Unable to flush \"" FN "\" to stable storage: " + error(EINVAL)}};
    for (const auto &c : cases) {
        ASSERT_NE(nullptr, c.first);
        pxtest::CapturedMessages captured;
        pxinfo_shp_order_t *order = nullptr;
        EXPECT_EQ(TBS_ST_FAILED, &c == cases ? pxinfo_shp_read_order(c.first, kFile, &order)
                                             : pxinfo_shp_write_order(c.first, kFile, r.order));
        std::fclose(c.first);
        EXPECT_EQ(nullptr, order);
        EXPECT_EQ(std::vector<std::string>{c.second}, error_texts(captured));
    }
    close(fds[0]);
}

}  // namespace
