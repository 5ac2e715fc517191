// Environment variable lists: building from the environment and checking
// received lists against the allow-list.
#include <gtest/gtest.h>

#include <cstdlib>

#include "pxinfo_chk_ev.h"
#include "test_support.h"

namespace {

constexpr const char *kAllowed = "KORVANE_PRINT_WIN32_STATUS";

// Only the allowed variable with a non-empty value is taken, copied into the
// area; the list built passes the check. Without storage nothing is listed:
// the area's creation is the first allocation swept, then the entry array,
// the name and the value. Refused arguments leave the outputs alone.
TEST(GenerateEnvList, TakesTheAllowedVariableWithAValue) {
    pxtest::CapturedMessages messages;
    setenv("PATH_LIKE_OTHER", "ignored", 1);
    uint32_t count = 99;
    pxinfo_env_var_t *list = nullptr, sentinel{};
    stg_area_t *area = nullptr;
    auto generate = [&] {
        count = 42, list = &sentinel, area = stg_create_area(0);
        return area == nullptr ? TBS_ST_NO_MEMORY : pxinfo_generate_env_list(area, &count, &list);
    };
    for (const char *value : {static_cast<const char *>(nullptr), "", "1"}) {  // one character: not only its end
        value == nullptr ? unsetenv(kAllowed) : setenv(kAllowed, value, 1);
        ASSERT_EQ(TBS_ST_OK, generate());
        ASSERT_EQ(value != nullptr && value[0] != '\0' ? 1u : 0u, count);
        EXPECT_TRUE(count == 0 || (std::string(kAllowed) == list[0].name && std::string(value) == list[0].value &&
                                   std::getenv(kAllowed) != list[0].value));
        EXPECT_EQ(1, pxinfo_verify_env_list(count, list));
        stg_delete_area(&area);
    }
    EXPECT_EQ(4u, pxtest::sweep_allocation_failures(pxtest::SweptOperation{
                      nullptr, generate,
                      [&](tbs_status_t status, unsigned long nth) {
                          EXPECT_EQ(
                              std::make_tuple(TBS_ST_NO_MEMORY, nth == 1 ? 42u : 0u, nth <= 2 ? &sentinel : nullptr),
                              std::make_tuple(status, count, list));
                      },
                      [&] { stg_delete_area(&area); }}));
    unsetenv("PATH_LIKE_OTHER");
    unsetenv(kAllowed);
    area = stg_create_area(0);
    count = 7, list = nullptr;
    for (tbs_status_t refused :
         {pxinfo_generate_env_list(nullptr, &count, &list), pxinfo_generate_env_list(STG_AREA_TEMP, &count, &list),
          pxinfo_generate_env_list(area, nullptr, &list), pxinfo_generate_env_list(area, &count, nullptr)}) {
        EXPECT_EQ(TBS_ST_INVALID_ARG, refused);
    }
    EXPECT_EQ(std::make_pair(7u, static_cast<pxinfo_env_var_t *>(nullptr)), std::make_pair(count, list));
    EXPECT_EQ(0u, messages.problems()) << messages.dump();
    stg_delete_area(&area);
}

// Every entry of the first count is examined and each disallowed name reported
// once; a missing list passes only when empty.
TEST(VerifyEnvList, EveryDisallowedNameIsReportedOnce) {
    pxtest::CapturedMessages messages;
    std::string names[] = {kAllowed, "PATH", "korvane_print_win32_status", "KORVANE_PRINT_WIN32_STATUS_X"};
    std::vector<pxinfo_env_var_t> list;
    std::vector<std::string> expected, errors;
    for (std::string &name : names) { list.push_back({&name[0], &name[0]}); }
    EXPECT_EQ(std::make_tuple(0, 1, 1),
              std::make_tuple(pxinfo_verify_env_list(1, nullptr), pxinfo_verify_env_list(0, nullptr),
                              pxinfo_verify_env_list(1, list.data())));
    EXPECT_EQ(0u, messages.problems()) << messages.dump();
    EXPECT_EQ(0, pxinfo_verify_env_list(4, list.data()));
    for (const auto &line : messages.with_severity(IMSG_SEV_ERROR)) {
        errors.push_back(line.component + ": " + line.text);
    }
    for (const std::string &name : names) {
        if (name != kAllowed) { expected.push_back("pxinfo: env variable " + name + " not allowed\n"); }
    }
    EXPECT_EQ(expected, errors);
}

}  // namespace
