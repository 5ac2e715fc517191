// The base services the library stands on: storage areas and fault injection,
// uuid text forms and order, status texts, the message service and its sink.
#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "date.h"
#include "imsg.h"
#include "pfm.h"
#include "stg.h"
#include "tbs.h"
#include "tbs_uuid.h"
#include "test_support.h"

namespace {

TEST(Storage, DeletingAnAreaReleasesEverythingAndNullsTheHandle) {
    unsigned long live = stg_live_block_count();
    stg_area_t *area = stg_create_area(4098);
    ASSERT_NE(nullptr, area);
    for (int i = 0; i < 100; ++i) ASSERT_NE(nullptr, stg_alloc(area, static_cast<size_t>(i) * 7));
    char *copy = stg_area_strdup(area, "order");
    ASSERT_NE(nullptr, copy);
    EXPECT_STREQ("order", copy);
    EXPECT_EQ(nullptr, stg_area_strdup(area, nullptr));
    stg_delete_area(&area);
    EXPECT_EQ(nullptr, area);
    EXPECT_EQ(live, stg_live_block_count());
    stg_delete_area(&area);  // a null handle is left alone
    stg_area_t *temp = STG_AREA_TEMP;
    stg_delete_area(&temp);
    EXPECT_EQ(STG_AREA_TEMP, temp);
}

TEST(Storage, FaultInjectionFailsExactlyTheNthAllocationOnce) {
    unsigned long before = stg_allocation_count();
    stg_fail_allocation(3);
    void *first = stg_malloc(1);
    void *second = stg_strdup("x");
    void *third = stg_malloc(1);
    void *fourth = stg_malloc(1);
    EXPECT_NE(nullptr, first);
    EXPECT_NE(nullptr, second);
    EXPECT_EQ(nullptr, third);
    EXPECT_NE(nullptr, fourth);
    EXPECT_EQ(before + 4, stg_allocation_count());
    stg_free(first);
    stg_free(second);
    stg_free(fourth);

    stg_fail_allocation(1);
    stg_fail_allocation(0);  // cancelled
    void *kept = stg_malloc(1);
    EXPECT_NE(nullptr, kept);
    stg_free(kept);

    stg_fail_allocation(1);
    EXPECT_EQ(nullptr, stg_create_area(16));
}

TEST(Uuids, TextFormIsLowerCaseRfc4122AndParsesEitherCase) {
    tbs_uuid_t uuid;
    ASSERT_EQ(TBS_ST_OK, tbs_str_to_uuid("0123ABCD-4567-89ef-AbCd-0123456789FF", &uuid));
    EXPECT_EQ(0x01, uuid.bytes[0]);
    EXPECT_EQ(0xcd, uuid.bytes[3]);
    EXPECT_EQ(0xff, uuid.bytes[15]);
    char text[TBS_UUID_STR_SIZE];
    EXPECT_STREQ("0123abcd-4567-89ef-abcd-0123456789ff", tbs_uuid_to_str(&uuid, text));
    char dstr[TBS_OID_DSTR_SIZE];
    EXPECT_STREQ("oid:0123abcd-4567-89ef-abcd-0123456789ff", tbs_oid_to_dstr(&uuid, dstr));
    EXPECT_STREQ("00000000-0000-0000-0000-000000000000", tbs_uuid_to_str(&TBS_UUID_NULL, text));
}

TEST(Uuids, MalformedTextsAreRefusedAndLeaveTheUuidAlone) {
    tbs_uuid_t uuid = TBS_UUID_NULL;
    uuid.bytes[0] = 9;
    for (const char *bad : {"", "0123abcd-4567-89ef-abcd-0123456789f", "0123abcd-4567-89ef-abcd-0123456789fff",
                            "0123abcd+4567-89ef-abcd-0123456789ff", "0123abcg-4567-89ef-abcd-0123456789ff",
                            "0123abcd4567-89ef-abcd-0123456789ff--", "job-7"}) {
        EXPECT_NE(TBS_ST_OK, tbs_str_to_uuid(bad, &uuid)) << bad;
        EXPECT_EQ(9, uuid.bytes[0]);
    }
}

TEST(Uuids, OrderIsUnsignedByteOrderWithExactSigns) {
    tbs_uuid_t low = TBS_UUID_NULL, high = TBS_UUID_NULL;
    low.bytes[15] = 0x7f;
    high.bytes[15] = 0x80;  // above 0x7f only when bytes are unsigned
    EXPECT_EQ(-1, tbs_uuid_cmp(&low, &high));
    EXPECT_EQ(1, tbs_oid_cmp(&high, &low));
    EXPECT_EQ(0, tbs_uuid_cmp(&low, &low));
    high.bytes[0] = 1;
    EXPECT_EQ(1, tbs_uuid_cmp(&high, &low));
    EXPECT_TRUE(tbs_uuid_eq(&low, &low));
    EXPECT_FALSE(tbs_oid_eq(&low, &high));
    EXPECT_EQ(tbs_uuid_to_hash32(&low), tbs_oid_to_hash32(&low));
    EXPECT_NE(tbs_uuid_to_hash32(&low), tbs_uuid_to_hash32(&high));
}

TEST(Status, ErrnoConversionAndTexts) {
    EXPECT_EQ(TBS_ST_OK, tbs_errno2status(0));
    EXPECT_EQ(TBS_ST_NOT_FOUND, tbs_errno2status(ENOENT));
    EXPECT_EQ(TBS_ST_NO_MEMORY, tbs_errno2status(ENOMEM));
    tbs_status_t access = tbs_errno2status(EACCES);
    EXPECT_NE(TBS_ST_OK, access);
    EXPECT_STREQ(std::strerror(EACCES), tbs_strerror(access));
    std::set<std::string> texts;
    for (tbs_status_t s : {TBS_ST_OK, TBS_ST_FAILED, TBS_ST_NOT_FOUND, TBS_ST_NO_MEMORY, TBS_ST_INVALID_ARG})
        texts.insert(tbs_strerror(s));
    EXPECT_EQ(5u, texts.size());
}

TEST(MessageService, LinesReachTheSinkFormattedWithTheirComponent) {
    pxtest::CapturedMessages captured;
    imsg_print(IMSG_SEV_WARNING, "%d-%s\n", -1, 4, "x");
    imsg_print_shared(IMSG_SEV_ERROR, "pxinfo_shp_order", &_tbs_cmsg_tbs_msg_table, 21, "f", "why");
    imsg_print_shared(IMSG_SEV_ERROR, "pxinfo", &_tbs_cmsg_tbs_msg_table, 47, "fn", "p", "e");
    EXPECT_EQ(-1, imsg_print(IMSG_SEV_ERROR, &_tbs_cmsg_tbs_msg_table, 9999));
    ASSERT_EQ(3u, captured.lines().size());
    EXPECT_EQ("4-x\n", captured.lines()[0].text);
    EXPECT_EQ("", captured.lines()[0].component);
    EXPECT_EQ("Unable to flush \"f\" to stable storage: why\n", captured.lines()[1].text);
    EXPECT_EQ("pxinfo_shp_order", captured.lines()[1].component);
    EXPECT_EQ("fn: check of \"p\" failed: e\n", captured.lines()[2].text);
}

TEST(MessageService, AssertionReportsArePrintedAndCounted) {
    pxtest::CapturedMessages captured;
    unsigned long before = pfm_assert_fail_count();
    pfm_assert_fail("FALSE", "lib/pxinfo/pxinfo_kv_pkt", 42);
    EXPECT_EQ(before + 1, pfm_assert_fail_count());
    ASSERT_EQ(1u, captured.lines().size());
    EXPECT_EQ("assertion failed: FALSE (lib/pxinfo/pxinfo_kv_pkt:42)\n", captured.lines()[0].text);
    EXPECT_EQ(IMSG_SEV_ERROR, captured.lines()[0].severity);
}

TEST(MessageService, ListsCopyTheirTextsAndEndAtTheirCount) {
    // Storage the list's array may reuse holds no zeros, so that a read past
    // the last text would not happen to find a null.
    for (int i = 0; i < 4; ++i) {
        void *block = std::malloc(40);
        std::memset(block, 0xA5, 40);
        std::free(block);
    }
    imsg_list_t *list = imsg_list_create();
    ASSERT_NE(nullptr, list);
    std::string text = "first";
    EXPECT_EQ(TBS_ST_OK, imsg_list_add_str(list, text.c_str()));
    text = "changed";
    stg_fail_allocation(1);
    EXPECT_EQ(TBS_ST_NO_MEMORY, imsg_list_add_str(list, "second"));
    for (unsigned count = 1; count <= 5; ++count) {
        if (count > 1) {
            EXPECT_EQ(TBS_ST_OK, imsg_list_add_str(list, std::to_string(count).c_str()));
        }
        EXPECT_EQ(count, imsg_list_count(list));
        EXPECT_STREQ(count > 1 ? std::to_string(count).c_str() : "first", imsg_list_get(list, count - 1));
        EXPECT_EQ(nullptr, imsg_list_get(list, count));
        EXPECT_EQ(nullptr, imsg_list_get(list, count + 1));
    }
    EXPECT_STREQ("first", imsg_list_get(list, 0));
    EXPECT_EQ(nullptr, imsg_list_get(nullptr, 0));
    EXPECT_EQ(0u, imsg_list_count(nullptr));
    imsg_list_destroy(list);
}

// The current time has a sub-second part: microseconds below a million that
// are not all zero over a few readings, and seconds that agree with time().
TEST(Clock, CurrentTimeHasMicroseconds) {
    bool some_microseconds = false;
    for (int reading = 0; reading < 5 && !some_microseconds; ++reading) {
        timeval now{-1, -1};
        const time_t before = time(nullptr);
        date_get_timeval(&now);
        EXPECT_LE(before, now.tv_sec);
        EXPECT_LE(now.tv_sec, time(nullptr));
        EXPECT_GE(now.tv_usec, 0);
        EXPECT_LT(now.tv_usec, 1000000);
        some_microseconds = now.tv_usec != 0;
        usleep(1);
    }
    EXPECT_TRUE(some_microseconds);
    date_get_timeval(nullptr);
}

TEST(Storage, ZeroByteRequestsGiveDistinctBlocks) {
    void *a = stg_malloc(0);
    void *b = stg_malloc(0);
    ASSERT_NE(nullptr, a);
    ASSERT_NE(nullptr, b);
    EXPECT_NE(a, b);
    stg_free(a);
    stg_free(b);
    stg_area_t *area = stg_create_area(64);
    ASSERT_NE(nullptr, area);
    EXPECT_NE(stg_alloc(area, 0), stg_alloc(area, 0));
    stg_delete_area(&area);
}

TEST(Storage, AreaBlocksAreAlignedDisjointAndEachOneCanBeMadeToFail) {
    // Blocks of every size, small ones packed together and large ones on
    // their own, each aligned for any type and never overlapping another;
    // each request counts as one allocation that fault injection can fail.
    stg_area_t *area = stg_create_area(0);
    ASSERT_NE(nullptr, area);
    std::vector<std::pair<unsigned char *, size_t>> blocks;
    for (size_t i = 0; i < 400; ++i) {
        size_t size = i % 50 == 0 ? 20000 + i : i % 7 == 0 ? 3000 + 31 * i : i % 13;
        unsigned long before = stg_allocation_count();
        auto *block = static_cast<unsigned char *>(stg_alloc(area, size));
        ASSERT_NE(nullptr, block);
        EXPECT_EQ(before + 1, stg_allocation_count());
        EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(block) % alignof(std::max_align_t));
        std::memset(block, static_cast<int>(i), size);
        blocks.emplace_back(block, size);
    }
    for (size_t i = 0; i < blocks.size(); ++i)
        for (size_t j = 0; j < blocks[i].second; ++j)
            ASSERT_EQ(static_cast<unsigned char>(i), blocks[i].first[j]) << "block " << i << " was overwritten";
    stg_fail_allocation(2);
    EXPECT_NE(nullptr, stg_alloc(area, 8));
    EXPECT_EQ(nullptr, stg_alloc(area, 8));
    EXPECT_NE(nullptr, stg_calloc(area, 8));
    stg_delete_area(&area);
}

TEST(Storage, NoAreaGivesNoStorageAndTheTemporaryAreaIsTheHeap) {
    EXPECT_EQ(nullptr, stg_alloc(nullptr, 8));
    unsigned long live = stg_live_block_count();
    void *block = stg_alloc(STG_AREA_TEMP, 8);
    ASSERT_NE(nullptr, block);
    EXPECT_EQ(live + 1, stg_live_block_count());
    stg_free(block);
    EXPECT_EQ(live, stg_live_block_count());
}

TEST(Directories, JoinTheNameToTheConfiguredDirectory) {
    char buffer[256];
    setenv("PXINFO_CONFIG_DIR", "/tmp/cfg", 1);
    EXPECT_STREQ("/tmp/cfg/services/gm_log.conf",
                 tbs_product_config_dir("services/gm_log.conf", buffer, sizeof buffer));
    unsetenv("PXINFO_CONFIG_DIR");
    EXPECT_STREQ("/var/opt/quenta/config/x", tbs_product_config_dir("x", buffer, sizeof buffer));
    unsetenv("PXINFO_LOG_DIR");
    EXPECT_STREQ("/var/opt/quenta/log/gm_log", tbs_product_log_dir("gm_log", buffer, sizeof buffer));
    EXPECT_EQ(nullptr, tbs_product_log_dir("gm_log", buffer, 8));
}

TEST(Storage, CountsAndFaultInjectionSpanThreads) {
    // Blocks allocated in one thread and released in another, by threads
    // that have ended since, leave the counts exact; an injected failure
    // strikes whichever thread allocates next.
    unsigned long live = stg_live_block_count();
    unsigned long before = stg_allocation_count();
    void *from_thread = nullptr;
    std::thread([&] { from_thread = stg_malloc(8); }).join();
    EXPECT_EQ(live + 1, stg_live_block_count());
    EXPECT_EQ(before + 1, stg_allocation_count());
    stg_free(from_thread);
    void *from_main = stg_malloc(8);
    std::thread([&] { stg_free(from_main); }).join();
    EXPECT_EQ(live, stg_live_block_count());
    EXPECT_EQ(before + 2, stg_allocation_count());

    void *failed = &failed;
    stg_fail_allocation(1);
    std::thread([&] { failed = stg_malloc(8); }).join();
    EXPECT_EQ(nullptr, failed);
    void *next = stg_malloc(8);
    EXPECT_NE(nullptr, next);
    stg_free(next);
    EXPECT_EQ(live, stg_live_block_count());
}

}  // namespace
