// Several threads at once, each with its own records, streams and storage
// areas, a message sink installed and every trace line on: packets and
// orders are read and written again. Built with ThreadSanitizer by scripts/test, where any unsynchronised shared
// state in the library or the base services is a failure; in the other builds
// it checks the results the threads get.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "pfm.h"
#include "pxinfo_fileutl.h"
#include "pxinfo_kv_pkt.h"
#include "pxinfo_pktutl.h"
#include "pxinfo_shp_order.h"
#include "tbs.h"
#include "test_support.h"
#include "xdr_ez.h"

namespace {

std::string example(const char *name) { return std::string(PXINFO_SOURCE_DIR) + "/examples/" + name; }

// Runs op on a file opened with mode, then closes it.
template <typename Op>
void with_file(const std::string &path, const char *mode, Op op) {
    FILE *file = std::fopen(path.c_str(), mode);
    ASSERT_NE(nullptr, file) << path;
    op(file);
    std::fclose(file);
}

// The example packet's header and the example order (given a destination of
// this thread's own) read and written again: the packet gives the same bytes,
// the order names the thread.
void file_round(const std::string &prefix, int thread) {
    pxinfo_kv_pkt_header_t header{};
    int major = 0;
    XDR in, out;
    with_file(example("update-v7.pkt"), "rb",
              [&](FILE *file) { ASSERT_EQ(TBS_ST_OK, pxinfo_kv_pkt_read_header(file, &in, 0, &major, &header)); });
    ASSERT_EQ(TBS_ST_OK, xdrstg_create(&out, 32768, 0));
    u_int size = 0;
    EXPECT_EQ(TBS_ST_OK, pxinfo_kv_pkt_write_header(&header, major, &out, &size));
    pxtest::write_file(prefix + ".pkt", std::vector<unsigned char>(out.x_base, out.x_base + size));
    xdrstg_destroy(&out);
    pxinfo_free_kv_pkt_hdr(&header);
    EXPECT_EQ(pxtest::read_file(example("update-v7.pkt")), pxtest::read_file(prefix + ".pkt"));
    stg_area_t *area = stg_create_area(0);
    pxinfo_packet_info_t info{};
    EXPECT_EQ(TBS_ST_OK, pxinfo_get_packet_info((prefix + ".pkt").c_str(), area, 0, &info));
    EXPECT_EQ(0, pxinfo_compare_pkt_dependencies(&info, &info));  // traces at the detail level
    stg_delete_area(&area);

    pxinfo_shp_order_t *order = nullptr;
    with_file(example("update-v7.ord"), "r",
              [&](FILE *in) { ASSERT_EQ(TBS_ST_OK, pxinfo_shp_read_order(in, "update-v7.ord", &order)); });
    pxinfo_shp_destination_t *added = nullptr;
    const std::string host = "thread-" + std::to_string(thread);
    EXPECT_EQ(TBS_ST_OK, pxinfo_shp_create_destination(order, "copy.ord", host.c_str(), 1, &added));
    with_file(prefix + ".ord", "w",
              [&](FILE *out) { EXPECT_EQ(TBS_ST_OK, pxinfo_shp_write_order(out, "copy.ord", order)); });
    pxinfo_shp_destroy_order(&order);
    const auto text = pxtest::read_file(prefix + ".ord");
    EXPECT_NE(std::string::npos, std::string(text.begin(), text.end()).find(host));
}

// Counts lines by severity from every thread.
std::atomic<unsigned long> g_by_severity[11];
void tally(void *, int severity, const char *, const char *text) {
    if (text != nullptr && severity >= 0 && severity <= 10) {
        g_by_severity[severity].fetch_add(1, std::memory_order_relaxed);
    }
}

TEST(Threads, SeparateRecordsStreamsAndAreasWithTracingOn) {
    constexpr int kThreads = 8, kRounds = 6;
    imsg_set_sink(&tally, nullptr);
    imsg_set_desired_verbosity(5);
    imsg_set_trace_components("pxinfo");
    const unsigned long int_errors = tbs_int_error_count(), assertions = pfm_assert_fail_count();
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            const std::string prefix = pxtest::temp_path("thread-" + std::to_string(t));
            for (int round = 0; round < kRounds; ++round) {
                file_round(prefix, t);
                pxinfo_file_type_t type;  // a missing file: an error line from every thread
                EXPECT_NE(TBS_ST_OK, pxinfo_get_file_type((prefix + ".missing").c_str(), &type));
                int major = 0;  // an internal error and a failed assertion, counted from every thread
                pxinfo_map_flevel_to_protocol_versions(-1, &major, nullptr);
            }
        });
    }
    for (std::thread &thread : threads) { thread.join(); }
    imsg_set_trace_components(nullptr);
    imsg_set_desired_verbosity(0);
    imsg_set_sink(nullptr, nullptr);
    const unsigned long rounds = kThreads * kRounds;
    EXPECT_EQ(int_errors + rounds, tbs_int_error_count());
    EXPECT_EQ(assertions + rounds, pfm_assert_fail_count());
    EXPECT_GT(g_by_severity[8].load(), 0ul);
    // Each round prints the missing file's error, the internal error and the failed assertion.
    EXPECT_EQ(rounds * 3, g_by_severity[6].load());
}

}  // namespace
