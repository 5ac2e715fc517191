// Message lists: growth behind the hidden header, the storage area rules,
// exhaustion, printing and copying into a list of the message service.
#include <gtest/gtest.h>

#include "pxinfo_utl_msglist.h"
#include "pxinfo_utl_msglist_internal.h"
#include "test_support.h"

namespace {

// The texts of a list, "-" for none, each followed by '|'; "none" without an array.
std::string texts_of(const pxinfo_msg_list_t &list) {
    std::string texts = list.msgs == nullptr ? "none" : "";
    if (list.msgs == nullptr) return texts;
    for (uint32_t i = 0; i < list.count; ++i) texts += std::string(list.msgs[i].text ? list.msgs[i].text : "-") + "|";
    return texts;
}
uintptr_t capacity_of(const pxinfo_msg_list_t &list) { return pxinfo::msg_array_header(list.msgs)->capacity; }

TEST(MsgList, AppendsDoubleTheCapacityKeepCopiesAndRefuseBadArguments) {
    stg_area_t *area = stg_create_area(0);
    pxinfo_msg_list_t list{0, nullptr};
    timeval before;
    gettimeofday(&before, nullptr);
    std::string capacities;
    for (const char *text : {"one", "two", "three", "four", "fives"}) {
        ASSERT_EQ(TBS_ST_OK, pxinfo_add_msg_to_list(10, text, area, &list));
        capacities += std::to_string(capacity_of(list));
    }
    EXPECT_EQ("12448", capacities);
    EXPECT_EQ("one|two|three|four|fives|", texts_of(list));
    EXPECT_EQ(sizeof(pxinfo_msg_t), pxinfo::msg_array_header(list.msgs)->record_size);
    EXPECT_EQ(area, pxinfo::msg_array_area(pxinfo::msg_array_header(list.msgs)));
    EXPECT_EQ(5u, list.msgs[4].text_len);
    EXPECT_EQ(10, list.msgs[4].severity);
    EXPECT_GE(list.msgs[4].time.tv_sec, before.tv_sec);
    const pxinfo_msg_list_t kept = list;
    for (stg_area_t *bad : {static_cast<stg_area_t *>(nullptr), STG_AREA_TEMP, area})
        for (unsigned severity : {11u, ~0u, 1u})
            EXPECT_EQ(TBS_ST_INVALID_ARG,
                      pxinfo_add_msg_to_list(severity, "x", bad, bad != area || severity != 1 ? &list : nullptr));
    EXPECT_EQ(kept.count, list.count);
    EXPECT_EQ(kept.msgs, list.msgs);

    stg_delete_area(&area);
    area = stg_create_area(0);
    // Every allocation failing in turn, of the array and text of a first
    // append and the growth and text of a second: no memory, nothing added,
    // and the list still takes a message.
    const size_t points = pxtest::sweep_allocation_failures(
        [&] {
            list = pxinfo_msg_list_t{0, nullptr};
            const tbs_status_t status = pxinfo_add_msg_to_list(4, "one", area, &list);
            return status != TBS_ST_OK ? status : pxinfo_add_msg_to_list(4, "two", area, &list);
        },
        [&](tbs_status_t status, unsigned long nth) {
            EXPECT_EQ(TBS_ST_NO_MEMORY, status) << nth;
            EXPECT_EQ(nth % 2 == 1 ? "none" : nth == 2 ? "" : "one|", texts_of(list)) << nth;
            EXPECT_EQ(TBS_ST_OK, pxinfo_add_msg_to_list(4, "next", area, &list));
            EXPECT_EQ(nth < 4 ? "next|" : "one|next|", texts_of(list)) << nth;
            stg_delete_area(&area);  // a fresh area, so that the block count is as before
            area = stg_create_area(0);
        });
    EXPECT_EQ(4u, points);
    EXPECT_EQ("one|two|", texts_of(list));

    // Messages without a text are kept but neither printed nor copied.
    list = pxinfo_msg_list_t{0, nullptr};
    const std::pair<const char *, unsigned> appended[] = {
        {"first", 4}, {nullptr, 6}, {"", 6}, {"second", 4}, {"last", 6}};
    for (const auto &a : appended) ASSERT_EQ(TBS_ST_OK, pxinfo_add_msg_to_list(a.second, a.first, area, &list));
    EXPECT_EQ("first|-||second|last|", texts_of(list));
    EXPECT_EQ(0u, list.msgs[1].text_len);
    pxtest::CapturedMessages messages;
    pxinfo_print_msg_list(&list, 0);
    pxinfo_print_msg_list(&list, 4);  // from the fifth on
    EXPECT_EQ("[4 ] first[4 ] second[6 ] last[6 ] last", messages.dump());
    imsg_list_t *target = imsg_list_create();
    pxinfo_msg_list_to_imsg_list(&list, target);
    pxinfo_msg_list_to_imsg_list(&list, nullptr);
    pxinfo_msg_list_to_imsg_list(nullptr, target);
    ASSERT_EQ(3u, imsg_list_count(target));
    EXPECT_STREQ("first", imsg_list_get(target, 0));
    EXPECT_STREQ("last", imsg_list_get(target, 2));
    imsg_list_destroy(target);
    stg_delete_area(&area);
}

// An array of the temporary area, as arrays built elsewhere in the product
// may be, is a heap block that growth must free, also when growth fails.
TEST(MsgList, GrowingATemporaryArrayReleasesTheOldOne) {
    stg_area_t *area = stg_create_area(0);
    for (unsigned long failing : {0, 1}) {
        pxinfo_msg_list_t list{1, pxinfo::new_msg_array(STG_AREA_TEMP, 1)};
        ASSERT_NE(nullptr, list.msgs);
        list.msgs[0] = pxinfo_msg_t{const_cast<char *>("zero"), 4, IMSG_SEV_WARNING, {0, 0}};
        const unsigned long live = stg_live_block_count();
        stg_fail_allocation(failing);
        const char *texts[] = {"first", "second", "third"};
        for (int i = 0; i < (failing ? 1 : 3); ++i) pxinfo_add_msg_to_list(4, texts[i], area, &list);
        stg_fail_allocation(0);
        // Three texts in the area, the temporary arrays replacing each other;
        // or no array at all when growth failed.
        EXPECT_EQ(failing ? live - 1 : live + 3, stg_live_block_count());
        EXPECT_EQ(failing ? "none" : "zero|first|second|third|", texts_of(list));
        if (failing) continue;
        EXPECT_EQ(STG_AREA_TEMP, pxinfo::msg_array_area(pxinfo::msg_array_header(list.msgs)));
        EXPECT_EQ(4u, capacity_of(list));
        stg_free(pxinfo::msg_array_header(list.msgs));
    }
    stg_delete_area(&area);
}

}  // namespace
