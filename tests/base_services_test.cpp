// The base services the library stands on: storage areas and fault injection,
// uuid text forms and order, status texts, the message service and its sink,
// the clock and the product's directories.
#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "date.h"
#include "imsg.h"
#include "pfm.h"
#include "stg.h"
#include "tbs.h"
#include "tbs_uuid.h"
#include "test_support.h"

namespace {

// Blocks of every size, small ones packed together and large ones on their
// own, each aligned for any type, never overlapping another, and each one
// allocation that fault injection can fail; deleting the area releases all.
TEST(Storage, AreaBlocksAreAlignedDisjointCountedAndReleasedTogether) {
    const unsigned long live = stg_live_block_count();
    stg_area_t *area = stg_create_area(0);
    ASSERT_NE(nullptr, area);
    std::vector<std::pair<unsigned char *, size_t>> blocks;
    for (size_t i = 0; i < 400; ++i) {
        const size_t size = i % 50 == 0 ? 20000 + i : i % 7 == 0 ? 3000 + 31 * i : i % 13;
        const unsigned long before = stg_allocation_count();
        auto *block = static_cast<unsigned char *>(stg_alloc(area, size));
        ASSERT_NE(nullptr, block);
        EXPECT_EQ(before + 1, stg_allocation_count());
        EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(block) % alignof(std::max_align_t));
        std::memset(block, static_cast<int>(i), size);
        blocks.emplace_back(block, size);
    }
    for (size_t i = 0; i < blocks.size(); ++i)
        for (size_t j = 0; j < blocks[i].second; ++j) ASSERT_EQ(static_cast<unsigned char>(i), blocks[i].first[j]) << i;
    EXPECT_NE(stg_alloc(area, 0), stg_alloc(area, 0));
    EXPECT_STREQ("order", stg_area_strdup(area, "order"));
    EXPECT_EQ(nullptr, stg_area_strdup(area, nullptr));
    stg_fail_allocation(2);
    EXPECT_NE(nullptr, stg_alloc(area, 8));
    EXPECT_EQ(nullptr, stg_alloc(area, 8));
    EXPECT_NE(nullptr, stg_calloc(area, 8));
    stg_delete_area(&area);
    EXPECT_EQ(nullptr, area);
    EXPECT_EQ(live, stg_live_block_count());
    stg_delete_area(&area);  // a null handle is left alone
    stg_area_t *temp = STG_AREA_TEMP;
    stg_delete_area(&temp);
    EXPECT_EQ(STG_AREA_TEMP, temp);
    EXPECT_EQ(nullptr, stg_alloc(nullptr, 8));
    stg_fail_allocation(1);
    EXPECT_EQ(nullptr, stg_create_area(16));
}

// The heap: the temporary area, zero-byte blocks, and the nth allocation
// failing once, counted across threads (a block may be freed by another
// thread than the one that took it, both ended since).
TEST(Storage, HeapCountsAndFaultInjectionSpanThreads) {
    const unsigned long live = stg_live_block_count(), before = stg_allocation_count();
    void *temp = stg_alloc(STG_AREA_TEMP, 8), *zero = stg_malloc(0), *other_zero = stg_malloc(0);
    EXPECT_TRUE(temp != nullptr && zero != nullptr && other_zero != nullptr && zero != other_zero);
    void *from_thread = nullptr;
    std::thread([&] { from_thread = stg_malloc(8); }).join();
    EXPECT_EQ(live + 4, stg_live_block_count());
    for (void *block : {temp, zero, other_zero}) stg_free(block);
    std::thread([&] { stg_free(from_thread); }).join();
    EXPECT_EQ(live, stg_live_block_count());
    EXPECT_EQ(before + 4, stg_allocation_count());

    stg_fail_allocation(1);
    stg_fail_allocation(0);  // cancelled
    stg_fail_allocation(3);
    void *blocks[4] = {stg_malloc(1), stg_strdup("x"), nullptr, nullptr};
    std::thread([&] { blocks[2] = stg_malloc(1); }).join();
    blocks[3] = stg_realloc(nullptr, 1);
    EXPECT_TRUE(blocks[0] != nullptr && blocks[1] != nullptr && blocks[2] == nullptr && blocks[3] != nullptr);
    EXPECT_EQ(before + 8, stg_allocation_count());
    for (void *block : blocks) stg_free(block);
    EXPECT_EQ(live, stg_live_block_count());
}

TEST(Uuids, LowerCaseTextsParsedInEitherCaseAndUnsignedByteOrder) {
    tbs_uuid_t uuid;
    ASSERT_EQ(TBS_ST_OK, tbs_str_to_uuid("0123ABCD-4567-89ef-AbCd-0123456789FF", &uuid));
    EXPECT_EQ(0xcd, uuid.bytes[3]);
    char text[TBS_UUID_STR_SIZE], dstr[TBS_OID_DSTR_SIZE];
    EXPECT_STREQ("0123abcd-4567-89ef-abcd-0123456789ff", tbs_uuid_to_str(&uuid, text));
    EXPECT_STREQ("oid:0123abcd-4567-89ef-abcd-0123456789ff", tbs_oid_to_dstr(&uuid, dstr));
    EXPECT_STREQ("00000000-0000-0000-0000-000000000000", tbs_uuid_to_str(&TBS_UUID_NULL, text));
    const tbs_uuid_t kept = uuid;
    for (const char *bad : {"", "0123abcd-4567-89ef-abcd-0123456789f", "0123abcd-4567-89ef-abcd-0123456789fff",
                            "0123abcd+4567-89ef-abcd-0123456789ff", "0123abcg-4567-89ef-abcd-0123456789ff",
                            "0123abcd4567-89ef-abcd-0123456789ff--", "job-7"})
        EXPECT_TRUE(tbs_str_to_uuid(bad, &uuid) != TBS_ST_OK && tbs_uuid_eq(&uuid, &kept)) << bad;

    tbs_uuid_t low = TBS_UUID_NULL, high = TBS_UUID_NULL;
    low.bytes[15] = 0x7f;
    high.bytes[15] = 0x80;  // above 0x7f only when bytes are unsigned
    EXPECT_EQ((std::vector<int>{-1, 1, 0, 1, 0}),
              (std::vector<int>{tbs_uuid_cmp(&low, &high), tbs_oid_cmp(&high, &low), tbs_uuid_cmp(&low, &low),
                                tbs_oid_eq(&low, &low), tbs_uuid_eq(&low, &high)}));
    high.bytes[0] = 1;
    EXPECT_EQ(1, tbs_uuid_cmp(&high, &low));
    EXPECT_EQ(tbs_uuid_to_hash32(&low), tbs_oid_to_hash32(&low));
    EXPECT_NE(tbs_uuid_to_hash32(&low), tbs_uuid_to_hash32(&high));
}

TEST(MessageService, FormattedLinesReachTheSinkWithTheirComponentAndStatusTexts) {
    pxtest::CapturedMessages captured;
    imsg_print(IMSG_SEV_WARNING, "%d-%s\n", -1, 4, "x");
    imsg_print_shared(IMSG_SEV_ERROR, "pxinfo_shp_order", &_tbs_cmsg_tbs_msg_table, 21, "f", "why");
    imsg_print_shared(IMSG_SEV_ERROR, "pxinfo", &_tbs_cmsg_tbs_msg_table, 47, "fn", "p", "e");
    EXPECT_EQ(-1, imsg_print(IMSG_SEV_ERROR, &_tbs_cmsg_tbs_msg_table, 9999));
    const unsigned long asserts = pfm_assert_fail_count();
    pfm_assert_fail("FALSE", "lib/pxinfo/pxinfo_kv_pkt", 42);
    EXPECT_EQ(asserts + 1, pfm_assert_fail_count());
    EXPECT_EQ(
        "[4 ] 4-x\n[6 pxinfo_shp_order] Unable to flush \"f\" to stable storage: why\n"
        "[6 pxinfo] fn: check of \"p\" failed: e\n[6 pfm] assertion failed: FALSE (lib/pxinfo/pxinfo_kv_pkt:42)\n",
        captured.dump());
    // Without a sink, output goes to stdout and the rest to stderr, warnings
    // and errors labelled with their component ("pxinfo" for none).
    imsg_set_sink(nullptr, nullptr);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    imsg_print(IMSG_SEV_OUTPUT, "out\n", -1);
    imsg_print(IMSG_SEV_WARNING, "w\n", -1);
    imsg_print_shared(IMSG_SEV_ERROR, "comp", "e\n", -1);
    imsg_print(IMSG_SEV_TRACE, "t\n", -1);
    EXPECT_EQ("out\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ("pxinfo: warning: w\ncomp: error: e\nt\n", testing::internal::GetCapturedStderr());

    EXPECT_EQ(
        (std::vector<tbs_status_t>{TBS_ST_OK, TBS_ST_NOT_FOUND, TBS_ST_NO_MEMORY, TBS_ST_INVALID_ARG, TBS_ST_FAILED}),
        (std::vector<tbs_status_t>{tbs_errno2status(0), tbs_errno2status(ENOENT), tbs_errno2status(ENOMEM),
                                   tbs_errno2status(EINVAL), tbs_errno2status(-1)}));
    EXPECT_STREQ(std::strerror(EACCES), tbs_strerror(tbs_errno2status(EACCES)));
    std::string texts;
    for (tbs_status_t s : {TBS_ST_OK, TBS_ST_FAILED, TBS_ST_NOT_FOUND, TBS_ST_NO_MEMORY, TBS_ST_INVALID_ARG, 999u})
        texts += std::string(tbs_strerror(s)) + "|";
    EXPECT_EQ("success|operation failed|not found|out of memory|invalid argument|unknown status|", texts);
}

TEST(MessageService, ListsCopyTheirTextsAndEndAtTheirCount) {
    // Storage the list's array may reuse holds no zeros, so that a read past
    // the last text would not happen to find a null.
    for (int i = 0; i < 4; ++i) std::free(std::memset(std::malloc(40), 0xA5, 40));
    imsg_list_t *list = imsg_list_create();
    std::string text = "first";
    EXPECT_EQ(TBS_ST_OK, imsg_list_add_str(list, text.c_str()));
    text = "changed";
    stg_fail_allocation(1);
    EXPECT_EQ(TBS_ST_NO_MEMORY, imsg_list_add_str(list, "second"));
    EXPECT_EQ(TBS_ST_INVALID_ARG, imsg_list_add_str(list, nullptr));
    for (unsigned count = 1; count <= 5; ++count) {
        EXPECT_EQ(TBS_ST_OK, count > 1 ? imsg_list_add_str(list, std::to_string(count).c_str()) : TBS_ST_OK);
        EXPECT_EQ(count, imsg_list_count(list));
        EXPECT_STREQ(count > 1 ? std::to_string(count).c_str() : "first", imsg_list_get(list, count - 1));
        EXPECT_EQ(nullptr, imsg_list_get(list, count));
        EXPECT_EQ(nullptr, imsg_list_get(list, count + 1));
    }
    EXPECT_STREQ("first", imsg_list_get(list, 0));
    EXPECT_TRUE(imsg_list_get(nullptr, 0) == nullptr && imsg_list_count(nullptr) == 0);
    imsg_list_destroy(list);
    imsg_list_destroy(nullptr);
}

// The current time has a sub-second part: microseconds below a million that
// are not all zero over a few readings, and seconds that agree with time().
TEST(Clock, CurrentTimeHasMicrosecondsAndFormatsAsIso8601InUtc) {
    bool some_microseconds = false;
    for (int reading = 0; reading < 5 && !some_microseconds; ++reading) {
        timeval now{-1, -1};
        const time_t before = time(nullptr);
        date_get_timeval(&now);
        EXPECT_TRUE(before <= now.tv_sec && now.tv_sec <= time(nullptr)) << now.tv_sec;
        EXPECT_TRUE(now.tv_usec >= 0 && now.tv_usec < 1000000) << now.tv_usec;
        some_microseconds = now.tv_usec != 0;
        usleep(1);
    }
    EXPECT_TRUE(some_microseconds);
    date_get_timeval(nullptr);
    EXPECT_STREQ("2026-11-22T19:38:33Z", date_fmt_token_utc(1795376313));
    EXPECT_STREQ("1970-01-01T00:00:00Z", date_fmt_token_utc(0));
}

TEST(Directories, JoinTheNameToTheConfiguredDirectory) {
    char buffer[256];
    setenv("PXINFO_CONFIG_DIR", "/tmp/cfg", 1);
    EXPECT_STREQ("/tmp/cfg/services/gm_log.conf", tbs_product_config_dir("services/gm_log.conf", buffer, 256));
    unsetenv("PXINFO_CONFIG_DIR");
    EXPECT_STREQ("/var/opt/quenta/config/x", tbs_product_config_dir("x", buffer, sizeof buffer));
    unsetenv("PXINFO_LOG_DIR");
    EXPECT_STREQ("/var/opt/quenta/log/gm_log", tbs_product_log_dir("gm_log", buffer, sizeof buffer));
    EXPECT_EQ(nullptr, tbs_product_log_dir("gm_log", buffer, 8));
    EXPECT_EQ(0u, tbs_int_error_count()) << "the count of internal errors starts at zero, and none was logged here";
}

}  // namespace
