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

// Whole words in a base, against the 32-bit limits; a refused text leaves the
// value alone. Base 0 reads 0x as hexadecimal and a leading 0 as octal.
TEST(StrutlNumbers, WholeWordsInTheirBaseAndRange) {
    struct Row {
        const char *text;
        int base;
        tbs_status_t unsigned_status, signed_status;
        long long value;
    };
    const Row rows[] = {
        {"0", 0, TBS_ST_OK, TBS_ST_OK, 0},
        {"4294967295", 0, TBS_ST_OK, TBS_ST_FAILED, 4294967295LL},
        {"4294967296", 0, TBS_ST_FAILED, TBS_ST_FAILED, 0},
        {"2147483647", 10, TBS_ST_OK, TBS_ST_OK, 2147483647LL},
        {"2147483648", 10, TBS_ST_OK, TBS_ST_FAILED, 2147483648LL},
        {"-2147483648", 0, TBS_ST_FAILED, TBS_ST_OK, -2147483648LL},
        {"-2147483649", 0, TBS_ST_FAILED, TBS_ST_FAILED, 0},
        {"+2147483647", 0, TBS_ST_FAILED, TBS_ST_OK, 2147483647LL},
        {"0x1F", 0, TBS_ST_OK, TBS_ST_OK, 31},
        {"-0x10", 0, TBS_ST_FAILED, TBS_ST_OK, -16},
        {"017", 0, TBS_ST_OK, TBS_ST_OK, 15},
        {"ff", 16, TBS_ST_OK, TBS_ST_OK, 255},
        {"z", 36, TBS_ST_OK, TBS_ST_OK, 35},
        {"-z", 36, TBS_ST_FAILED, TBS_ST_OK, -35},
        {"99999999999999999999999", 0, TBS_ST_FAILED, TBS_ST_FAILED, 0},
    };
    for (const Row &row : rows) {
        uint32_t u = 7;
        int32_t s = 7;
        EXPECT_EQ(row.unsigned_status, strutl_strtoul(row.text, row.base, &u)) << row.text;
        EXPECT_EQ(row.unsigned_status == TBS_ST_OK ? row.value : 7, static_cast<long long>(u)) << row.text;
        EXPECT_EQ(row.signed_status, strutl_strtol(row.text, row.base, &s)) << row.text;
        EXPECT_EQ(row.signed_status == TBS_ST_OK ? row.value : 7, static_cast<long long>(s)) << row.text;
    }
    for (const char *bad : {"", " 1", "1 ", "-", "--1", "+-1", "1x", "1.5", "x", "8", "-+1"}) {
        uint32_t u = 7;
        int32_t s = 7;
        EXPECT_EQ(TBS_ST_FAILED, strutl_strtoul(bad, 8, &u)) << bad;
        EXPECT_EQ(TBS_ST_FAILED, strutl_strtol(bad, 8, &s)) << bad;
        EXPECT_EQ(7u, u);
        EXPECT_EQ(7, s);
    }
    // A null text or result, or a base outside 0 and 2..36, is an invalid argument.
    uint32_t u = 7;
    int32_t s = 7;
    for (int base : {1, 37, -1}) {
        EXPECT_EQ(TBS_ST_INVALID_ARG, strutl_strtoul("1", base, &u)) << base;
        EXPECT_EQ(TBS_ST_INVALID_ARG, strutl_strtol("1", base, &s)) << base;
    }
    EXPECT_EQ(TBS_ST_OK, strutl_strtol("1", 2, &s));
    EXPECT_EQ(TBS_ST_OK, strutl_strtol("1", 36, &s));
    EXPECT_EQ(TBS_ST_INVALID_ARG, strutl_strtoul(nullptr, 0, &u));
    EXPECT_EQ(TBS_ST_INVALID_ARG, strutl_strtol(nullptr, 0, &s));
    EXPECT_EQ(TBS_ST_INVALID_ARG, strutl_strtoul("1", 0, nullptr));
    EXPECT_EQ(TBS_ST_INVALID_ARG, strutl_strtol("1", 0, nullptr));
    EXPECT_EQ(7u, u);
    EXPECT_EQ(1, s);
}

// The first occurrence at or after start, against a model built on std::string.
TEST(StrutlFind, FirstOccurrenceAtOrAfterTheStart) {
    const std::string text = "abcabc";
    for (const char *pattern : {"bc", "abc", "c", "", "abcabcd", "x"}) {
        for (size_t start = 0; start <= text.size() + 1; ++start) {
            const size_t model = start > text.size() ? std::string::npos : text.find(pattern, start);
            size_t position = 99;
            EXPECT_EQ(model != std::string::npos ? 1 : 0, strutl_find_str(text.c_str(), start, pattern, &position))
                << pattern << " from " << start;
            EXPECT_EQ(model != std::string::npos ? model : 99, position) << pattern << " from " << start;
            EXPECT_EQ(model != std::string::npos ? 1 : 0, strutl_find_str(text.c_str(), start, pattern, nullptr));
        }
    }
    size_t position = 99;
    EXPECT_EQ(0, strutl_find_str(nullptr, 0, "", &position));
    EXPECT_EQ(0, strutl_find_str("abc", 0, nullptr, &position));
    EXPECT_EQ(99u, position);
}
