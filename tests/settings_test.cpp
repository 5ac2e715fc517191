// Setting values: the typed accessors and the equality rules.
#include <gtest/gtest.h>

#include <cstring>

#include "pxinfo_settings.h"
#include "test_support.h"

namespace {

pxinfo_setting_val_t val(int type, uint32_t data, char *text = nullptr) {
    pxinfo_setting_val_t v;
    std::memset(&v, 0, sizeof v);
    v.type = static_cast<pxinfo_setting_type_t>(type);
    v.data.uint_value = data;
    if (text != nullptr) { v.data.str_value = text; }
    return v;
}

// Integers are set over any value and read from integers only; strings are
// shared without an area and copied into one, a null string stays null;
// refusals and exhausted storage leave the output alone.
TEST(Settings, TypedAccessors) {
    pxtest::CapturedMessages messages;
    stg_area_t *area = stg_create_area(0);
    char text[] = "shared", marker[] = "marker";
    for (int type : {0, 1, 2, 3, 4, -1}) {
        pxinfo_setting_val_t v = val(type, 5);
        EXPECT_EQ(type == 1 || type == 2 ? type : 0, pxinfo_setting_get_type(&v)) << type;
    }
    pxinfo_setting_val_t v = val(2, 0, text), shared = val(1, 3), copied = shared, i = shared, three = val(3, 1);
    ASSERT_EQ(TBS_ST_OK, pxinfo_setting_set_int_value(-17, &v));
    ASSERT_EQ(TBS_ST_OK, pxinfo_setting_set_str_value(text, nullptr, &shared));
    ASSERT_EQ(TBS_ST_OK, pxinfo_setting_set_str_value(text, area, &copied));
    text[0] = 'S';
    int32_t number = 1234;
    char *out = marker, *copy = nullptr;
    for (tbs_status_t refused :
         {pxinfo_setting_set_int_value(1, nullptr), pxinfo_setting_get_int_value(&v, nullptr),
          pxinfo_setting_get_int_value(&shared, &number), pxinfo_setting_get_int_value(&three, &number),
          pxinfo_setting_get_int_value(nullptr, &number), pxinfo_setting_set_str_value("x", area, nullptr),
          pxinfo_setting_get_str_value(&i, area, &out), pxinfo_setting_get_str_value(&three, nullptr, &out),
          pxinfo_setting_get_str_value(nullptr, area, &out), pxinfo_setting_get_str_value(&copied, area, nullptr)}) {
        EXPECT_EQ(TBS_ST_INVALID_ARG, refused);
    }
    EXPECT_EQ(std::make_tuple(1234, marker, 0), std::make_tuple(number, out, pxinfo_setting_get_type(nullptr)));
    ASSERT_EQ(TBS_ST_OK, pxinfo_setting_get_int_value(&v, &number));
    ASSERT_EQ(TBS_ST_OK, pxinfo_setting_get_str_value(&shared, nullptr, &out));
    EXPECT_EQ(1u, pxtest::sweep_allocation_failures([&] { return pxinfo_setting_get_str_value(&copied, area, &copy); },
                                                    [&](tbs_status_t status, unsigned long) {
                                                        EXPECT_EQ(TBS_ST_NO_MEMORY, status);
                                                        EXPECT_EQ(nullptr, copy);
                                                    }));
    EXPECT_EQ(std::make_tuple(PXINFO_SETTING_INT, -17, PXINFO_SETTING_STR, text, std::string("shared")),
              std::make_tuple(pxinfo_setting_get_type(&v), number, copied.type, out, std::string(copy)));
    EXPECT_NE(copied.data.str_value, copy);
    EXPECT_EQ(1u, pxtest::sweep_allocation_failures([&] { return pxinfo_setting_set_str_value("t", area, &i); },
                                                    [&](tbs_status_t status, unsigned long) {
                                                        EXPECT_EQ(TBS_ST_NO_MEMORY, status);
                                                        EXPECT_EQ(PXINFO_SETTING_STR, i.type);
                                                        EXPECT_EQ(nullptr, i.data.str_value);
                                                    }));
    ASSERT_EQ(TBS_ST_OK, pxinfo_setting_set_str_value(nullptr, area, &copied));
    ASSERT_EQ(TBS_ST_OK, pxinfo_setting_get_str_value(&copied, area, &out));
    EXPECT_EQ(std::make_pair(static_cast<char *>(nullptr), static_cast<char *>(nullptr)),
              std::make_pair(copied.data.str_value, out));
    EXPECT_EQ(0u, messages.problems()) << messages.dump();
    stg_delete_area(&area);
}

// Equality as a partition: values with the same label are equal, others not.
// Integers by value; strings when both are non-empty with the same characters
// or are the same storage; untyped values of one type whatever their data.
TEST(Settings, EqualityRules) {
    char empty1[] = "", empty2[] = "", abc1[] = "abc", abc2[] = "abc", upper[] = "ABC", abcd[] = "abcd";
    const std::pair<char, pxinfo_setting_val_t> values[] = {
        {'a', val(1, 4)},         {'a', val(1, 4)},         {'b', val(1, 5)},        {'c', val(3, 4)},
        {'c', val(3, 1)},         {'d', val(0, 1)},         {'d', val(0, 2)},        {'e', val(17, 4)},
        {'f', val(2, 0, abc1)},   {'f', val(2, 0, abc2)},   {'g', val(2, 0, upper)}, {'h', val(2, 0, abcd)},
        {'i', val(2, 0, empty1)}, {'j', val(2, 0, empty2)}, {'k', val(2, 0)},        {'k', val(2, 0)}};
    for (const auto &a : values) {
        for (const auto &b : values) {
            EXPECT_EQ(a.first == b.first, pxinfo_setting_eq(&a.second, &b.second)) << a.first << &a - values << b.first;
        }
    }
    EXPECT_EQ(0, pxinfo_setting_eq(nullptr, nullptr));
    EXPECT_EQ(0, pxinfo_setting_eq(&values[0].second, nullptr));
    EXPECT_EQ(0, pxinfo_setting_eq(nullptr, &values[0].second));
}

}  // namespace
