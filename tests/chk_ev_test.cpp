// Environment variable lists: building from the environment and checking
// received lists against the allow-list.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "pxinfo_chk_ev.h"
#include "test_support.h"

namespace {

constexpr const char *kAllowed = "KORVANE_PRINT_WIN32_STATUS";

class GenerateEnvList : public ::testing::Test {
  protected:
    void SetUp() override {
        area_ = stg_create_area(0);
        ASSERT_NE(area_, nullptr);
    }
    void TearDown() override {
        stg_delete_area(&area_);
        unsetenv(kAllowed);
    }
    stg_area_t *area_ = nullptr;
};

TEST_F(GenerateEnvList, OnlyTheAllowedVariableWithANonEmptyValueIsTaken) {
    setenv("PATH_LIKE_OTHER", "ignored", 1);
    const char *values[] = {nullptr, "", "yes please"};
    for (const char *value : values) {
        if (value == nullptr) {
            unsetenv(kAllowed);
        } else {
            setenv(kAllowed, value, 1);
        }
        uint32_t count = 99;
        pxinfo_env_var_t *list = nullptr;
        ASSERT_EQ(pxinfo_generate_env_list(area_, &count, &list), TBS_ST_OK);
        EXPECT_NE(list, nullptr);
        if (value == nullptr || value[0] == '\0') {
            EXPECT_EQ(count, 0u);
            continue;
        }
        ASSERT_EQ(count, 1u);
        EXPECT_STREQ(list[0].name, kAllowed);
        EXPECT_STREQ(list[0].value, value);
        // A copy in the area, not the environment's own storage.
        EXPECT_NE(list[0].value, std::getenv(kAllowed));
        EXPECT_EQ(pxinfo_verify_env_list(count, list), 1);
    }
    unsetenv("PATH_LIKE_OTHER");
}

TEST_F(GenerateEnvList, RefusesNoAreaTemporaryAreaAndNullOutputs) {
    uint32_t count = 7;
    pxinfo_env_var_t *list = nullptr;
    pxtest::CapturedMessages messages;
    EXPECT_EQ(pxinfo_generate_env_list(nullptr, &count, &list), TBS_ST_INVALID_ARG);
    EXPECT_EQ(pxinfo_generate_env_list(STG_AREA_TEMP, &count, &list), TBS_ST_INVALID_ARG);
    EXPECT_EQ(pxinfo_generate_env_list(area_, nullptr, &list), TBS_ST_INVALID_ARG);
    EXPECT_EQ(pxinfo_generate_env_list(area_, &count, nullptr), TBS_ST_INVALID_ARG);
    EXPECT_EQ(count, 7u);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(messages.problems(), 0u) << messages.dump();
}

TEST(GenerateEnvListStorage, ExhaustedStorageGivesNoMemoryAndNoList) {
    setenv(kAllowed, "1", 1);
    pxinfo_env_var_t sentinel{};
    uint32_t count = 0;
    pxinfo_env_var_t *list = nullptr;
    bool area_made = false;
    // The area lives only for one run, so that each run can be checked for
    // leaks; its own creation is the first allocation swept.
    size_t points = pxtest::sweep_allocation_failures(
        [&] {
            count = 42;
            list = &sentinel;
            stg_area_t *area = stg_create_area(0);
            area_made = area != nullptr;
            if (!area_made) return TBS_ST_NO_MEMORY;
            tbs_status_t status = pxinfo_generate_env_list(area, &count, &list);
            stg_delete_area(&area);
            return status;
        },
        [&](tbs_status_t status, unsigned long nth) {
            EXPECT_EQ(status, TBS_ST_NO_MEMORY) << "allocation " << nth;
            if (!area_made) return;
            EXPECT_EQ(count, 0u);
            if (nth == 2) {
                EXPECT_EQ(list, &sentinel) << "the list is not set when its array cannot be made";
            } else {
                EXPECT_EQ(list, nullptr) << "allocation " << nth;
            }
        });
    unsetenv(kAllowed);
    // The area, the entry array, the name and the value.
    EXPECT_EQ(points, 4u);
}

TEST(VerifyEnvList, NullListWithEntriesIsRefusedSilently) {
    pxtest::CapturedMessages messages;
    EXPECT_EQ(pxinfo_verify_env_list(1, nullptr), 0);
    EXPECT_EQ(messages.problems(), 0u) << messages.dump();
}

TEST(VerifyEnvList, EveryDisallowedNameIsReportedOnce) {
    pxtest::CapturedMessages messages;
    pxinfo_env_var_t list[] = {
        {const_cast<char *>("PATH"), const_cast<char *>("/bin")},
        {const_cast<char *>(kAllowed), const_cast<char *>("1")},
        {const_cast<char *>("korvane_print_win32_status"), const_cast<char *>("1")},
        {const_cast<char *>("KORVANE_PRINT_WIN32_STATUS_X"), const_cast<char *>("1")},
    };
    EXPECT_EQ(pxinfo_verify_env_list(4, list), 0);
    auto errors = messages.with_severity(IMSG_SEV_ERROR);
    ASSERT_EQ(errors.size(), 3u) << messages.dump();
    EXPECT_EQ(errors[0].text, "env variable PATH not allowed\n");
    EXPECT_EQ(errors[0].component, "pxinfo");
    EXPECT_EQ(errors[1].text, "env variable korvane_print_win32_status not allowed\n");
    EXPECT_EQ(errors[2].text, "env variable KORVANE_PRINT_WIN32_STATUS_X not allowed\n");

    // Only the first count entries are examined.
    messages.clear();
    EXPECT_EQ(pxinfo_verify_env_list(0, list), 1);
    EXPECT_EQ(messages.problems(), 0u);
}

}  // namespace
