// String utilities of the base services: bounded copy and concatenation, the
// whitespace-blind order, number texts and search.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "strutl.h"
#include "test_support.h"

namespace {

TEST(StrutlCopy, FitsUpToOneLessThanTheSizeAndNeverTruncates) {
    char buffer[8];
    EXPECT_EQ(TBS_ST_OK, strutl_cpy_buf(buffer, "abc", 4));
    EXPECT_STREQ("abc", buffer);
    EXPECT_EQ(TBS_ST_FAILED, strutl_cpy_buf(buffer, "abcd", 4));
    EXPECT_STREQ("", buffer);  // no partial text
    EXPECT_EQ(TBS_ST_FAILED, strutl_cpy_buf(buffer, "", 0));
    EXPECT_EQ(TBS_ST_INVALID_ARG, strutl_cpy_buf(buffer, nullptr, 4));
    EXPECT_EQ(TBS_ST_INVALID_ARG, strutl_cpy_buf(nullptr, "a", 1));
    // A source without a terminator is read no further than the size (the
    // heap block is exactly that large, so a sanitizer catches an overread).
    std::vector<char> unterminated(8, 'x');
    char wide[16];
    EXPECT_EQ(TBS_ST_FAILED, strutl_cpy_buf(wide, unterminated.data(), unterminated.size()));

    EXPECT_EQ(TBS_ST_OK, strutl_concat(buffer, sizeof buffer, 5, "ab", ".", "cd", ".", "e"));
    EXPECT_STREQ("ab.cd.e", buffer);  // 7 characters: an exact fit
    EXPECT_EQ(TBS_ST_FAILED, strutl_concat(buffer, sizeof buffer, 3, "abcd", ".", "efg"));
    EXPECT_STREQ("", buffer);
    EXPECT_EQ(TBS_ST_OK, strutl_concat(buffer, sizeof buffer, 0));
    EXPECT_EQ(TBS_ST_INVALID_ARG, strutl_concat(buffer, sizeof buffer, 2, "a", static_cast<const char *>(nullptr)));
}

// Every whitespace character is disregarded, case is not, bytes are unsigned
// (0xE9 after 'z') and a prefix orders first.
TEST(StrutlCompare, DisregardsEveryWhitespaceCharacterButNotCase) {
    const struct {
        const char *a, *b;
        int order;
    } rows[] = {{"ab", " a\tb\n", 0}, {"a b c", "abc\r\v\f", 0}, {"", "  ", 0},    {"Ab", "ab", -1}, {"ab", "Ab", 1},
                {"ab ", "abc", -1},   {"b", "a z", 1},           {"\xE9", "z", 1}, {nullptr, "", -1}};
    for (const auto &row : rows) EXPECT_EQ(row.order, strutl_cmp_ignore_whitespace(row.a, row.b)) << row.a;
}

TEST(StrutlNumbers, TextsInEveryBaseAndTheirLimits) {
    const struct {
        uint32_t value;
        unsigned base;
        size_t size;
    } rows[] = {{4294967295u, 10, 33}, {0, 10, 33},  {0xffffffffu, 16, 33},
                {0xffffffffu, 2, 33},  {35, 36, 33}, {12345, 10, 5},
                {12345, 10, 6},        {1, 1, 33},   {1, 37, 33}};
    std::string texts;
    for (const auto &row : rows) {
        char buffer[33];
        const char *text = strutl_u32tostr(row.value, row.base, buffer, row.size);
        texts += std::string(text != nullptr ? text : "-") + "|";
    }
    EXPECT_EQ("4294967295|0|ffffffff|" + std::string(32, '1') + "|z|-|12345|-|-|", texts);
}

// Whole words in a base, against the 32-bit limits, for both readers; a
// refused text leaves the result alone.
TEST(StrutlNumbers, WholeWordsInTheirBaseAndRange) {
    // "-" for a refused text that left the result alone.
    const auto shown = [](tbs_status_t status, long long value) {
        return status == TBS_ST_OK                     ? std::to_string(value)
               : status == TBS_ST_FAILED && value == 7 ? "-"
                                                       : "status " + std::to_string(status);
    };
    for (const auto &row : pxtest::data_rows("strutl_numbers.tsv")) {
        uint32_t u = 7;
        int32_t s = 7;
        const tbs_status_t unsigned_status = strutl_strtoul(row[0].c_str(), std::stoi(row[1]), &u);
        const tbs_status_t signed_status = strutl_strtol(row[0].c_str(), std::stoi(row[1]), &s);
        EXPECT_EQ(row[2] + " " + row[3], shown(unsigned_status, u) + " " + shown(signed_status, s)) << row[0];
    }
    // A null text or result, or a base outside 0 and 2..36, is an invalid argument.
    uint32_t u = 7;
    int32_t s = 7;
    for (int base : {1, 37, -1})
        EXPECT_EQ(std::make_pair(TBS_ST_INVALID_ARG, TBS_ST_INVALID_ARG),
                  std::make_pair(strutl_strtoul("1", base, &u), strutl_strtol("1", base, &s)));
    EXPECT_EQ(std::make_pair(TBS_ST_INVALID_ARG, TBS_ST_INVALID_ARG),
              std::make_pair(strutl_strtoul(nullptr, 0, &u), strutl_strtol(nullptr, 0, &s)));
    EXPECT_EQ(std::make_pair(TBS_ST_INVALID_ARG, TBS_ST_INVALID_ARG),
              std::make_pair(strutl_strtoul("1", 0, nullptr), strutl_strtol("1", 0, nullptr)));
    EXPECT_EQ(std::make_pair(7u, 7), std::make_pair(u, s));
}

// The first occurrence at or after start, against a model built on std::string.
TEST(StrutlFind, FirstOccurrenceAtOrAfterTheStart) {
    const std::string text = "abcabc";
    for (const char *pattern : {"bc", "abc", "c", "", "abcabcd", "x"}) {
        for (size_t start = 0; start <= text.size() + 1; ++start) {
            const size_t model = start > text.size() ? std::string::npos : text.find(pattern, start);
            size_t position = 99;
            EXPECT_EQ(model != std::string::npos, strutl_find_str(text.c_str(), start, pattern, &position)) << start;
            EXPECT_EQ(model != std::string::npos ? model : 99, position) << pattern << " from " << start;
            EXPECT_EQ(model != std::string::npos, strutl_find_str(text.c_str(), start, pattern, nullptr));
        }
    }
    size_t position = 99;
    EXPECT_EQ(0, strutl_find_str(nullptr, 0, "", &position));
    EXPECT_EQ(0, strutl_find_str("abc", 0, nullptr, &position));
    EXPECT_EQ(99u, position);
}

}  // namespace
