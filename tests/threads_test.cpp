// Several threads at once, each with its own records, streams and storage
// areas, a message sink installed and every trace line on: packets, orders
// and health files are read and written again, epoch rows compared and
// message lists built. Built with ThreadSanitizer by scripts/test, where any
// unsynchronised shared state in the library or the base services is a
// failure; in the other builds it checks the results the threads get.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "pfm.h"
#include "pxinfo_fileutl.h"
#include "pxinfo_kv_pkt.h"
#include "pxinfo_pktutl.h"
#include "pxinfo_shp_order.h"
#include "pxinfo_utl_epoch.h"
#include "pxinfo_utl_msglist.h"
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

// The example packet's header read and written again gives the same bytes,
// a file of the same type, and an epoch row equal to the example's.
void packet_round(const std::string &copy) {
    pxinfo_kv_pkt_header_t header{};
    int major = 0;
    XDR in, out;
    with_file(example("update-v7.pkt"), "rb",
              [&](FILE *file) { ASSERT_EQ(TBS_ST_OK, pxinfo_kv_pkt_read_header(file, &in, 0, &major, &header)); });
    ASSERT_EQ(TBS_ST_OK, xdrstg_create(&out, 32768, 0));
    u_int size = 0;
    EXPECT_EQ(TBS_ST_OK, pxinfo_kv_pkt_write_header(&header, major, &out, &size));
    pxtest::write_file(copy, std::vector<unsigned char>(out.x_base, out.x_base + size));
    xdrstg_destroy(&out);
    pxinfo_free_kv_pkt_hdr(&header);
    EXPECT_EQ(pxtest::read_file(example("update-v7.pkt")), pxtest::read_file(copy));
    pxinfo_file_type_t type = PXINFO_FILE_OTHER;
    EXPECT_EQ(TBS_ST_OK, pxinfo_get_file_type(copy.c_str(), &type));
    EXPECT_EQ(PXINFO_FILE_KVUPDATE, type);
    stg_area_t *area = stg_create_area(0);
    pxinfo_packet_info_t infos[2] = {};
    pxinfo_epoch_row_t rows[2] = {};
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(TBS_ST_OK,
                  pxinfo_get_packet_info(i ? copy.c_str() : example("update-v7.pkt").c_str(), area, 0, &infos[i]));
        ASSERT_EQ(TBS_ST_OK, pxinfo_kv_packet_info_to_epoch_row(&infos[i], &rows[i]));
    }
    int result = 0;
    EXPECT_EQ(TBS_ST_OK, pxinfo_epoch_row_compare(rows[0].count, rows[0].entries, rows[1].count, rows[1].entries,
                                                  nullptr, {nullptr, nullptr}, &result));
    EXPECT_EQ(PXINFO_EPOCH_CMP_EQUAL, result);
    EXPECT_EQ(0, pxinfo_compare_pkt_dependencies(&infos[0], &infos[1]));
    for (pxinfo_epoch_row_t &row : rows) pxinfo_free_new_epoch_row_entry(&row);
    stg_delete_area(&area);
}

// The example order, given a destination of this thread's own, written,
// read back and written again gives the same text twice; the example health
// file read and written again gives the same bytes.
void order_and_health_round(const std::string &prefix, int thread) {
    pxinfo_shp_order_t *order = nullptr;
    with_file(example("update-v7.ord"), "r",
              [&](FILE *in) { ASSERT_EQ(TBS_ST_OK, pxinfo_shp_read_order(in, "update-v7.ord", &order)); });
    ASSERT_NE(nullptr, order);
    pxinfo_shp_destination_t *added = nullptr;
    const std::string host = "thread-" + std::to_string(thread), copy = prefix + ".ord";
    EXPECT_EQ(TBS_ST_OK, pxinfo_shp_create_destination(order, "copy.ord", host.c_str(), 1, &added));
    std::vector<unsigned char> texts[2];
    for (auto &text : texts) {
        with_file(copy, "w", [&](FILE *out) { EXPECT_EQ(TBS_ST_OK, pxinfo_shp_write_order(out, "copy.ord", order)); });
        pxinfo_shp_destroy_order(&order);
        text = pxtest::read_file(copy);
        with_file(copy, "r", [&](FILE *in) { ASSERT_EQ(TBS_ST_OK, pxinfo_shp_read_order(in, "copy.ord", &order)); });
    }
    pxinfo_shp_destroy_order(&order);
    EXPECT_EQ(texts[0], texts[1]);
    EXPECT_NE(std::string::npos, std::string(texts[0].begin(), texts[0].end()).find(host));

    pxinfo_family_sync_status_t sync{};
    pxinfo_family_epoch_status_t epoch{};
    with_file(example("family.health"), "rb",
              [&](FILE *in) { ASSERT_EQ(TBS_ST_OK, pxinfo_read_health_file(&sync, &epoch, in, 0)); });
    with_file(prefix + ".health", "wb",
              [&](FILE *out) { EXPECT_EQ(TBS_ST_OK, pxinfo_write_health_file(&sync, &epoch, out)); });
    pxinfo_free_family_sync_status_from_file(&sync);
    pxinfo_free_family_epoch_status_from_file(&epoch);
    EXPECT_EQ(pxtest::read_file(example("family.health")), pxtest::read_file(prefix + ".health"));
}

// A message list of this thread's texts, the last ten printed through the sink.
void message_round(int thread) {
    stg_area_t *area = stg_create_area(0);
    pxinfo_msg_list_t list{};
    const std::string text = "thread " + std::to_string(thread) + " message\n";
    for (int i = 0; i < 20; ++i)
        ASSERT_EQ(TBS_ST_OK, pxinfo_add_msg_to_list(i % 2 == 0 ? 4 : 6, text.c_str(), area, &list));
    EXPECT_EQ(text, list.msgs[19].text);
    pxinfo_print_msg_list(&list, 10);
    stg_delete_area(&area);
}

// Counts lines by severity from every thread.
std::atomic<unsigned long> g_by_severity[11];
void tally(void *, int severity, const char *, const char *text) {
    if (text != nullptr && severity >= 0 && severity <= 10)
        g_by_severity[severity].fetch_add(1, std::memory_order_relaxed);
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
                packet_round(prefix + ".pkt");
                order_and_health_round(prefix, t);
                message_round(t);
                pxinfo_file_type_t type;  // a missing file: an error line from every thread
                EXPECT_NE(TBS_ST_OK, pxinfo_get_file_type((prefix + ".missing").c_str(), &type));
                int major = 0;  // an internal error and a failed assertion, counted from every thread
                pxinfo_map_flevel_to_protocol_versions(-1, &major, nullptr);
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    imsg_set_trace_components(nullptr);
    imsg_set_desired_verbosity(0);
    imsg_set_sink(nullptr, nullptr);
    const unsigned long rounds = kThreads * kRounds;
    EXPECT_EQ(int_errors + rounds, tbs_int_error_count());
    EXPECT_EQ(assertions + rounds, pfm_assert_fail_count());
    EXPECT_GT(g_by_severity[8].load(), 0ul);
    // Each round prints ten list messages, five of each severity, the missing
    // file's error, the internal error and the failed assertion.
    EXPECT_EQ(rounds * 5, g_by_severity[4].load());
    EXPECT_EQ(rounds * 8, g_by_severity[6].load());
}

}  // namespace
