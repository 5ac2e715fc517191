// Setting values: the typed accessors and the equality rules.
#include <gtest/gtest.h>

#include <cstring>

#include "pxinfo_settings.h"
#include "test_support.h"

namespace {

pxinfo_setting_val_t typed(int type, uint32_t data) {
    pxinfo_setting_val_t v;
    std::memset(&v, 0, sizeof v);
    v.type = static_cast<pxinfo_setting_type_t>(type);
    v.data.uint_value = data;
    return v;
}

pxinfo_setting_val_t str_val(const char *s) {
    pxinfo_setting_val_t v = typed(PXINFO_SETTING_STR, 0);
    v.data.str_value = const_cast<char *>(s);
    return v;
}

TEST(SettingInt, TypeQuerySetGetAndRefusals) {
    EXPECT_EQ(pxinfo_setting_get_type(nullptr), 0);
    for (int type : {0, 3, 4, -1}) {
        pxinfo_setting_val_t v = typed(type, 5);
        EXPECT_EQ(pxinfo_setting_get_type(&v), 0) << "type " << type;
    }
    pxinfo_setting_val_t v = str_val("was a string");
    EXPECT_EQ(pxinfo_setting_get_type(&v), PXINFO_SETTING_STR);
    ASSERT_EQ(pxinfo_setting_set_int_value(-17, &v), TBS_ST_OK);
    EXPECT_EQ(pxinfo_setting_get_type(&v), PXINFO_SETTING_INT);
    int32_t out = 0;
    ASSERT_EQ(pxinfo_setting_get_int_value(&v, &out), TBS_ST_OK);
    EXPECT_EQ(out, -17);

    EXPECT_EQ(pxinfo_setting_set_int_value(1, nullptr), TBS_ST_INVALID_ARG);
    EXPECT_EQ(pxinfo_setting_get_int_value(&v, nullptr), TBS_ST_INVALID_ARG);
    out = 1234;
    pxinfo_setting_val_t s = str_val("9");
    pxinfo_setting_val_t untyped = typed(0, 9);
    EXPECT_EQ(pxinfo_setting_get_int_value(&s, &out), TBS_ST_INVALID_ARG);
    EXPECT_EQ(pxinfo_setting_get_int_value(&untyped, &out), TBS_ST_INVALID_ARG);
    EXPECT_EQ(pxinfo_setting_get_int_value(nullptr, &out), TBS_ST_INVALID_ARG);
    EXPECT_EQ(out, 1234);
}

class SettingStr : public ::testing::Test {
  protected:
    void SetUp() override {
        area_ = stg_create_area(0);
        ASSERT_NE(area_, nullptr);
    }
    void TearDown() override { stg_delete_area(&area_); }
    stg_area_t *area_ = nullptr;
};

TEST_F(SettingStr, RefusalsLeaveTheOutputAlone) {
    pxtest::CapturedMessages messages;
    EXPECT_EQ(pxinfo_setting_set_str_value("x", area_, nullptr), TBS_ST_INVALID_ARG);
    pxinfo_setting_val_t i = typed(PXINFO_SETTING_INT, 1);
    pxinfo_setting_val_t three = typed(3, 1);
    char marker[] = "marker";
    char *out = marker;
    EXPECT_EQ(pxinfo_setting_get_str_value(&i, area_, &out), TBS_ST_INVALID_ARG);
    EXPECT_EQ(pxinfo_setting_get_str_value(&three, nullptr, &out), TBS_ST_INVALID_ARG);
    EXPECT_EQ(pxinfo_setting_get_str_value(nullptr, area_, &out), TBS_ST_INVALID_ARG);
    EXPECT_EQ(out, marker);
    pxinfo_setting_val_t s = str_val("x");
    EXPECT_EQ(pxinfo_setting_get_str_value(&s, area_, nullptr), TBS_ST_INVALID_ARG);
    EXPECT_EQ(messages.problems(), 0u) << messages.dump();
}

TEST_F(SettingStr, ExhaustedStorageGivesNoMemory) {
    pxinfo_setting_val_t v{};
    EXPECT_EQ(pxtest::sweep_allocation_failures(
                  [&] {
                      v = typed(PXINFO_SETTING_INT, 1);
                      return pxinfo_setting_set_str_value("text", area_, &v);
                  },
                  [&](tbs_status_t status, unsigned long) {
                      EXPECT_EQ(status, TBS_ST_NO_MEMORY);
                      EXPECT_EQ(v.type, PXINFO_SETTING_STR);
                      EXPECT_EQ(v.data.str_value, nullptr);
                  }),
              1u);

    char marker[] = "marker";
    char *out = marker;
    EXPECT_EQ(pxtest::sweep_allocation_failures([&] { return pxinfo_setting_get_str_value(&v, area_, &out); },
                                                [&](tbs_status_t status, unsigned long) {
                                                    EXPECT_EQ(status, TBS_ST_NO_MEMORY);
                                                    EXPECT_EQ(out, marker);
                                                }),
              1u);
    EXPECT_STREQ(out, "text");
}

TEST(SettingEq, NullsTypesIntegersAndUntypedValues) {
    pxinfo_setting_val_t a = typed(PXINFO_SETTING_INT, 4);
    pxinfo_setting_val_t b = typed(PXINFO_SETTING_INT, 4);
    pxinfo_setting_val_t c = typed(PXINFO_SETTING_INT, 5);
    pxinfo_setting_val_t same_bits_other_tag = typed(3, 4);
    EXPECT_EQ(pxinfo_setting_eq(nullptr, nullptr), 0);
    EXPECT_EQ(pxinfo_setting_eq(&a, nullptr), 0);
    EXPECT_EQ(pxinfo_setting_eq(nullptr, &a), 0);
    EXPECT_EQ(pxinfo_setting_eq(&a, &b), 1);
    EXPECT_EQ(pxinfo_setting_eq(&a, &c), 0);
    EXPECT_EQ(pxinfo_setting_eq(&a, &same_bits_other_tag), 0);
    // Untyped values of one type are equal whatever their data.
    for (int type : {0, 3, 17}) {
        pxinfo_setting_val_t x = typed(type, 1);
        pxinfo_setting_val_t y = typed(type, 2);
        EXPECT_EQ(pxinfo_setting_eq(&x, &y), 1) << "type " << type;
    }
}

TEST_F(SettingStr, SharedWithoutAreaCopiedWithOne) {
    char text[] = "shared";
    pxinfo_setting_val_t shared = typed(PXINFO_SETTING_INT, 3);
    pxinfo_setting_val_t copied = typed(PXINFO_SETTING_INT, 3);
    ASSERT_EQ(pxinfo_setting_set_str_value(text, nullptr, &shared), TBS_ST_OK);
    ASSERT_EQ(pxinfo_setting_set_str_value(text, area_, &copied), TBS_ST_OK);
    EXPECT_EQ(copied.type, PXINFO_SETTING_STR);
    text[0] = 'S';
    char *out = nullptr;
    ASSERT_EQ(pxinfo_setting_get_str_value(&shared, nullptr, &out), TBS_ST_OK);
    EXPECT_EQ(out, text);
    ASSERT_EQ(pxinfo_setting_get_str_value(&copied, area_, &out), TBS_ST_OK);
    EXPECT_STREQ(out, "shared");
    EXPECT_NE(out, copied.data.str_value);

    // A null string is stored and read back as null, with or without an area.
    ASSERT_EQ(pxinfo_setting_set_str_value(nullptr, area_, &copied), TBS_ST_OK);
    EXPECT_EQ(copied.data.str_value, nullptr);
    ASSERT_EQ(pxinfo_setting_get_str_value(&copied, area_, &out), TBS_ST_OK);
    EXPECT_EQ(out, nullptr);
}

TEST(SettingEq, StringRules) {
    char empty1[] = "";
    char empty2[] = "";
    char abc1[] = "abc";
    char abc2[] = "abc";
    char upper[] = "ABC";
    char abcd[] = "abcd";
    struct Case {
        const char *a;
        const char *b;
        int equal;
    } cases[] = {
        {abc1, abc2, 1},     {abc1, upper, 0},    {abc1, abcd, 0},      {abcd, abc1, 0},      {nullptr, nullptr, 1},
        {empty1, empty1, 1}, {empty1, empty2, 0}, {empty1, nullptr, 0}, {nullptr, empty1, 0}, {abc1, nullptr, 0},
    };
    for (const Case &c : cases) {
        pxinfo_setting_val_t a = str_val(c.a);
        pxinfo_setting_val_t b = str_val(c.b);
        EXPECT_EQ(pxinfo_setting_eq(&a, &b), c.equal) << (c.a ? c.a : "(null)") << " vs " << (c.b ? c.b : "(null)");
    }
}

}  // namespace
