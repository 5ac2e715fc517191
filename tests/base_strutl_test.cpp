// String utilities of the base services: bounded copy and concatenation, the
// whitespace-blind order, number texts.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "strutl.h"

namespace {

TEST(StrutlCopy, FitsUpToOneLessThanTheSizeAndNeverTruncates) {
    char buffer[4];
    EXPECT_EQ(TBS_ST_OK, strutl_cpy_buf(buffer, "abc", sizeof buffer));
    EXPECT_STREQ("abc", buffer);
    EXPECT_EQ(TBS_ST_FAILED, strutl_cpy_buf(buffer, "abcd", sizeof buffer));
    EXPECT_STREQ("", buffer);  // no partial text
    EXPECT_EQ(TBS_ST_FAILED, strutl_cpy_buf(buffer, "", 0));
    EXPECT_EQ(TBS_ST_INVALID_ARG, strutl_cpy_buf(buffer, nullptr, sizeof buffer));
    EXPECT_EQ(TBS_ST_INVALID_ARG, strutl_cpy_buf(nullptr, "a", 1));

    // A source without a terminator is read no further than the size (the
    // heap block is exactly that large, so a sanitizer catches an overread).
    std::vector<char> unterminated(8, 'x');
    char wide[16];
    EXPECT_EQ(TBS_ST_FAILED, strutl_cpy_buf(wide, unterminated.data(), unterminated.size()));
}

TEST(StrutlConcat, JoinsTheTextsOrFailsWithAnEmptyResult) {
    char buffer[8];
    EXPECT_EQ(TBS_ST_OK, strutl_concat(buffer, sizeof buffer, 5, "ab", ".", "cd", ".", "e"));
    EXPECT_STREQ("ab.cd.e", buffer);  // 7 characters: an exact fit
    EXPECT_EQ(TBS_ST_FAILED, strutl_concat(buffer, sizeof buffer, 3, "abcd", ".", "efg"));
    EXPECT_STREQ("", buffer);
    EXPECT_EQ(TBS_ST_OK, strutl_concat(buffer, sizeof buffer, 0));
    EXPECT_STREQ("", buffer);
    EXPECT_EQ(TBS_ST_INVALID_ARG, strutl_concat(buffer, sizeof buffer, 2, "a", static_cast<const char *>(nullptr)));
}

TEST(StrutlCompare, DisregardsEveryWhitespaceCharacterButNotCase) {
    EXPECT_EQ(0, strutl_cmp_ignore_whitespace("ab", " a\tb\n"));
    EXPECT_EQ(0, strutl_cmp_ignore_whitespace("a b c", "abc\r\v\f"));
    EXPECT_EQ(0, strutl_cmp_ignore_whitespace("", "  "));
    EXPECT_EQ(-1, strutl_cmp_ignore_whitespace("Ab", "ab"));
    EXPECT_EQ(1, strutl_cmp_ignore_whitespace("ab", "Ab"));
    EXPECT_EQ(-1, strutl_cmp_ignore_whitespace("ab ", "abc"));  // a prefix orders first
    EXPECT_EQ(1, strutl_cmp_ignore_whitespace("b", "a z"));
    // Bytes compare unsigned: a byte of 0xE9 orders after 'z'.
    EXPECT_EQ(1, strutl_cmp_ignore_whitespace("\xE9", "z"));
    EXPECT_EQ(-1, strutl_cmp_ignore_whitespace(nullptr, ""));
}

TEST(StrutlNumbers, TextsInEveryBaseAndTheirLimits) {
    char buffer[33];
    EXPECT_STREQ("4294967295", strutl_u32tostr(4294967295u, 10, buffer, sizeof buffer));
    EXPECT_STREQ("0", strutl_u32tostr(0, 10, buffer, sizeof buffer));
    EXPECT_STREQ("ffffffff", strutl_u32tostr(0xffffffffu, 16, buffer, sizeof buffer));
    EXPECT_STREQ(std::string(32, '1').c_str(), strutl_u32tostr(0xffffffffu, 2, buffer, sizeof buffer));
    EXPECT_STREQ("z", strutl_u32tostr(35, 36, buffer, sizeof buffer));
    EXPECT_EQ(nullptr, strutl_u32tostr(12345, 10, buffer, 5));  // needs 6 bytes
    EXPECT_NE(nullptr, strutl_u32tostr(12345, 10, buffer, 6));
    EXPECT_EQ(nullptr, strutl_u32tostr(1, 1, buffer, sizeof buffer));
    EXPECT_EQ(nullptr, strutl_u32tostr(1, 37, buffer, sizeof buffer));
}

}  // namespace
