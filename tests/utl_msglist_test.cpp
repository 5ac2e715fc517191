// Message lists: growth behind the hidden header, the storage area rules,
// exhaustion, printing and copying into a list of the message service.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "imsg.h"
#include "pxinfo_utl_msglist.h"
#include "pxinfo_utl_msglist_internal.h"
#include "test_support.h"

namespace {

uintptr_t capacity_of(const pxinfo_msg_list_t &list) { return pxinfo::msg_array_header(list.msgs)->capacity; }

std::vector<std::string> texts_of(const pxinfo_msg_list_t &list) {
    std::vector<std::string> texts;
    for (uint32_t i = 0; i < list.count; ++i) texts.push_back(list.msgs[i].text ? list.msgs[i].text : "<none>");
    return texts;
}

class MsgList : public ::testing::Test {
  protected:
    void SetUp() override { area_ = stg_create_area(0); }
    void TearDown() override { stg_delete_area(&area_); }

    // Gives the list an array of the temporary area holding one message, as
    // arrays built elsewhere in the product may be.
    void start_temporary_array() {
        list_.msgs = pxinfo::new_msg_array(STG_AREA_TEMP, 1);
        ASSERT_NE(nullptr, list_.msgs);
        list_.msgs[0] = pxinfo_msg_t{const_cast<char *>("zero"), 4, IMSG_SEV_WARNING, {0, 0}};
        list_.count = 1;
    }

    void append(const char *text, unsigned severity = IMSG_SEV_WARNING) {
        ASSERT_EQ(TBS_ST_OK, pxinfo_add_msg_to_list(severity, text, area_, &list_));
    }

    stg_area_t *area_ = nullptr;
    pxinfo_msg_list_t list_{0, nullptr};
};

TEST_F(MsgList, FiveAppendsDoubleTheCapacityAndKeepOrderSeverityAndTime) {
    struct timeval before;
    gettimeofday(&before, nullptr);
    std::vector<uintptr_t> capacities;
    const char *texts[] = {"one", "two", "three", "four", "five"};
    for (const char *text : texts) {
        append(text, 10);
        capacities.push_back(capacity_of(list_));
    }
    EXPECT_EQ((std::vector<uintptr_t>{1, 2, 4, 4, 8}), capacities);
    EXPECT_EQ(5u, list_.count);
    EXPECT_EQ((std::vector<std::string>{"one", "two", "three", "four", "five"}), texts_of(list_));
    const pxinfo::MsgArrayHeader *header = pxinfo::msg_array_header(list_.msgs);
    EXPECT_EQ(sizeof(pxinfo_msg_t), header->record_size);
    EXPECT_EQ(area_, pxinfo::msg_array_area(header));
    EXPECT_EQ(4u, list_.msgs[4].text_len);
    EXPECT_EQ(10, list_.msgs[4].severity);
    EXPECT_GE(list_.msgs[4].time.tv_sec, before.tv_sec);
    EXPECT_NE(texts[4], list_.msgs[4].text) << "the text is a copy";
}

TEST_F(MsgList, RefusedArgumentsLeaveTheListUnchanged) {
    append("kept");
    const pxinfo_msg_list_t before = list_;
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_add_msg_to_list(11, "x", area_, &list_));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_add_msg_to_list(static_cast<unsigned>(-1), "x", area_, &list_));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_add_msg_to_list(1, "x", nullptr, &list_));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_add_msg_to_list(1, "x", STG_AREA_TEMP, &list_));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_add_msg_to_list(1, "x", area_, nullptr));
    EXPECT_EQ(before.count, list_.count);
    EXPECT_EQ(before.msgs, list_.msgs);
}

TEST_F(MsgList, EveryExhaustedAllocationGivesNoMemoryAndLeavesAUsableList) {
    // Two appends: array and text of the first, growth and text of the
    // second. Each failure gives 1062, adds nothing, and the list stays usable.
    const size_t points = pxtest::sweep_allocation_failures(
        [&] {
            list_ = pxinfo_msg_list_t{0, nullptr};
            const tbs_status_t status = pxinfo_add_msg_to_list(4, "one", area_, &list_);
            return status != TBS_ST_OK ? status : pxinfo_add_msg_to_list(4, "two", area_, &list_);
        },
        [&](tbs_status_t status, unsigned long nth) {
            EXPECT_EQ(TBS_ST_NO_MEMORY, status) << "allocation " << nth;
            if (list_.msgs != nullptr) {
                EXPECT_EQ((std::vector<std::string>(list_.count, "one")), texts_of(list_)) << "allocation " << nth;
            }
            append("next");
            EXPECT_EQ("next", texts_of(list_).back());
            // A fresh area for the next round, so that its blocks are counted
            // as before the round.
            stg_delete_area(&area_);
            area_ = stg_create_area(0);
        });
    EXPECT_EQ(4u, points);
    EXPECT_EQ((std::vector<std::string>{"one", "two"}), texts_of(list_));
}

TEST_F(MsgList, MessagesWithoutTextAreKeptButSkippedByPrintingAndCopying) {
    append("first", IMSG_SEV_WARNING);
    append(nullptr, IMSG_SEV_ERROR);
    append("", IMSG_SEV_ERROR);
    append("last", IMSG_SEV_ERROR);
    ASSERT_EQ(4u, list_.count);
    EXPECT_EQ(nullptr, list_.msgs[1].text);
    EXPECT_EQ(0u, list_.msgs[1].text_len);

    pxtest::CapturedMessages messages;
    pxinfo_print_msg_list(&list_, 0);
    ASSERT_EQ(2u, messages.lines().size()) << messages.dump();
    EXPECT_EQ(IMSG_SEV_WARNING, messages.lines()[0].severity);
    EXPECT_EQ("first", messages.lines()[0].text);
    EXPECT_EQ(IMSG_SEV_ERROR, messages.lines()[1].severity);
    EXPECT_EQ("last", messages.lines()[1].text);

    imsg_list_t *target = imsg_list_create();
    pxinfo_msg_list_to_imsg_list(&list_, target);
    ASSERT_EQ(2u, imsg_list_count(target));
    EXPECT_STREQ("first", imsg_list_get(target, 0));
    EXPECT_STREQ("last", imsg_list_get(target, 1));
    pxinfo_msg_list_to_imsg_list(&list_, nullptr);
    pxinfo_msg_list_to_imsg_list(nullptr, target);
    EXPECT_EQ(2u, imsg_list_count(target));
    imsg_list_destroy(target);
}

TEST_F(MsgList, GrowthOfATemporaryArrayReleasesTheOldOne) {
    // Arrays recorded in the temporary area are heap blocks: growing one
    // frees it, and the new array comes from the temporary area too.
    start_temporary_array();
    const unsigned long live_with_one_array = stg_live_block_count();
    append("first");
    append("second");
    append("third");
    // Three texts in the area; the temporary arrays replace each other.
    EXPECT_EQ(live_with_one_array + 3, stg_live_block_count()) << "old arrays must be released";
    EXPECT_EQ(STG_AREA_TEMP, pxinfo::msg_array_area(pxinfo::msg_array_header(list_.msgs)));
    EXPECT_EQ(4u, capacity_of(list_));
    EXPECT_EQ((std::vector<std::string>{"zero", "first", "second", "third"}), texts_of(list_));
    stg_free(pxinfo::msg_array_header(list_.msgs));
}

TEST_F(MsgList, FailedGrowthOfATemporaryArrayLeaksNothing) {
    start_temporary_array();
    const unsigned long live_before = stg_live_block_count();
    stg_fail_allocation(1);
    EXPECT_EQ(TBS_ST_NO_MEMORY, pxinfo_add_msg_to_list(4, "more", area_, &list_));
    stg_fail_allocation(0);
    EXPECT_EQ(nullptr, list_.msgs);
    EXPECT_EQ(live_before - 1, stg_live_block_count());
}

}  // namespace
