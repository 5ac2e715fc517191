// The base services the library stands on: storage areas and fault injection,
// uuid text forms and order, status texts, the message service and its sink,
// the clock and the product's directories; string utilities, the line
// tokenizer, circular lists, the forced flush and hash tables keyed by text.
#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "cl.h"
#include "date.h"
#include "hash.h"
#include "imsg.h"
#include "llist.h"
#include "pfm.h"
#include "stg.h"
#include "strutl.h"
#include "sysutl.h"
#include "tbs.h"
#include "tbs_uuid.h"
#include "test_support.h"

namespace {

// Blocks of every size, small ones packed together and large ones on their
// own, each aligned for any type, never overlapping another, and each one
// allocation that fault injection can fail; deleting the area releases all.
TEST(Storage, AreaBlocksAreAlignedDisjointCountedAndReleasedTogether) {
    const unsigned long live = stg_live_block_count(), allocations = stg_allocation_count();
    stg_area_t *area = stg_create_area(0);
    std::vector<std::pair<unsigned char *, size_t>> blocks;
    for (size_t i = 0; i < 400; ++i) {
        const size_t size = i % 50 == 0 ? 20000 + i : i % 7 == 0 ? 3000 + 31 * i : i % 13;
        auto *block = static_cast<unsigned char *>(stg_alloc(area, size));
        ASSERT_EQ(0u, reinterpret_cast<uintptr_t>(block) % alignof(std::max_align_t));
        blocks.emplace_back(static_cast<unsigned char *>(std::memset(block, static_cast<int>(i), size)), size);
    }
    EXPECT_EQ(allocations + 401, stg_allocation_count());
    for (size_t i = 0; i < blocks.size(); ++i) {
        for (size_t j = 0; j < blocks[i].second; ++j) {
            ASSERT_EQ(static_cast<unsigned char>(i), blocks[i].first[j]) << i;
        }
    }
    EXPECT_NE(stg_alloc(area, 0), stg_alloc(area, 0));
    EXPECT_STREQ("order", stg_area_strdup(area, "order"));
    EXPECT_EQ(nullptr, stg_area_strdup(area, nullptr));
    stg_fail_allocation(2);
    EXPECT_TRUE(stg_alloc(area, 8) != nullptr && stg_alloc(area, 8) == nullptr && stg_calloc(area, 8) != nullptr);
    stg_delete_area(&area);
    EXPECT_EQ(nullptr, area);
    EXPECT_EQ(live, stg_live_block_count());
    stg_delete_area(&area);  // a null handle is left alone
    stg_area_t *temp = STG_AREA_TEMP;
    stg_delete_area(&temp);
    EXPECT_EQ(STG_AREA_TEMP, temp);
    EXPECT_EQ(nullptr, stg_alloc(nullptr, 8));
    stg_fail_allocation(1);
    EXPECT_EQ(nullptr, stg_create_area(16));
}

// The heap: the temporary area, zero-byte blocks, and the nth allocation
// failing once, counted across threads (a block may be freed by another
// thread than the one that took it, both ended since).
TEST(Storage, HeapCountsAndFaultInjectionSpanThreads) {
    const unsigned long live = stg_live_block_count(), before = stg_allocation_count();
    void *blocks[4] = {stg_alloc(STG_AREA_TEMP, 8), stg_malloc(0), stg_malloc(0), nullptr};
    std::thread([&] { blocks[3] = stg_malloc(8); }).join();
    EXPECT_TRUE(blocks[0] != nullptr && blocks[1] != nullptr && blocks[1] != blocks[2]);
    EXPECT_EQ(live + 4, stg_live_block_count());
    std::thread([&] {
        for (void *block : blocks) { stg_free(block); }
    }).join();
    EXPECT_EQ(live, stg_live_block_count());
    stg_fail_allocation(1);
    stg_fail_allocation(0);  // cancelled
    stg_fail_allocation(3);
    void *more[4] = {stg_malloc(1), stg_strdup("x"), nullptr, nullptr};
    std::thread([&] { more[2] = stg_malloc(1); }).join();
    more[3] = stg_realloc(nullptr, 1);
    EXPECT_TRUE(more[0] != nullptr && more[1] != nullptr && more[2] == nullptr && more[3] != nullptr);
    EXPECT_EQ(before + 8, stg_allocation_count());
    for (void *block : more) { stg_free(block); }
    EXPECT_EQ(live, stg_live_block_count());
}

TEST(Uuids, LowerCaseTextsParsedInEitherCaseAndUnsignedByteOrder) {
    // Mixed case and the "oid:" display form are the job id and selector tests'.
    tbs_uuid_t uuid;
    ASSERT_EQ(TBS_ST_OK, tbs_str_to_uuid("0123ABCD-4567-89ef-AbCd-0123456789FF", &uuid));
    char text[TBS_UUID_STR_SIZE];
    EXPECT_STREQ("00000000-0000-0000-0000-000000000000", tbs_uuid_to_str(&TBS_UUID_NULL, text));
    const tbs_uuid_t kept = uuid;
    for (const char *bad : {"", "0123abcd-4567-89ef-abcd-0123456789f", "0123abcd-4567-89ef-abcd-0123456789fff",
                            "0123abcd+4567-89ef-abcd-0123456789ff", "0123abcg-4567-89ef-abcd-0123456789ff",
                            "0123abcd4567-89ef-abcd-0123456789ff--", "job-7"}) {
        EXPECT_TRUE(tbs_str_to_uuid(bad, &uuid) != TBS_ST_OK && tbs_uuid_eq(&uuid, &kept)) << bad;
    }
    EXPECT_TRUE(tbs_str_to_uuid(nullptr, &uuid) == TBS_ST_INVALID_ARG &&
                tbs_str_to_uuid("0123abcd-4567-89ef-abcd-0123456789ff", nullptr) == TBS_ST_INVALID_ARG);

    tbs_uuid_t low = TBS_UUID_NULL, high = TBS_UUID_NULL;
    low.bytes[15] = 0x7f;
    high.bytes[15] = 0x80;  // above 0x7f only when bytes are unsigned
    EXPECT_EQ((std::vector<int>{-1, 1, 0, 1, 0}),
              (std::vector<int>{tbs_uuid_cmp(&low, &high), tbs_oid_cmp(&high, &low), tbs_uuid_cmp(&low, &low),
                                tbs_oid_eq(&low, &low), tbs_uuid_eq(&low, &high)}));
    high.bytes[0] = 1;
    EXPECT_EQ(1, tbs_uuid_cmp(&high, &low));
    EXPECT_EQ(tbs_uuid_to_hash32(&low), tbs_oid_to_hash32(&low));
    EXPECT_NE(tbs_uuid_to_hash32(&low), tbs_uuid_to_hash32(&high));
}

TEST(MessageService, FormattedLinesReachTheSinkWithTheirComponentAndStatusTexts) {
    pxtest::CapturedMessages captured;
    imsg_print(IMSG_SEV_WARNING, "%d-%s\n", -1, 4, "x");
    imsg_print_shared(IMSG_SEV_ERROR, "pxinfo_shp_order", &_tbs_cmsg_tbs_msg_table, 21, "f", "why");
    imsg_print_shared(IMSG_SEV_ERROR, "pxinfo", &_tbs_cmsg_tbs_msg_table, 47, "fn", "p", "e");
    EXPECT_EQ(-1, imsg_print(IMSG_SEV_ERROR, &_tbs_cmsg_tbs_msg_table, 9999));
    const unsigned long asserts = pfm_assert_fail_count();
    pfm_assert_fail("FALSE", "lib/pxinfo/pxinfo_kv_pkt", 42);
    EXPECT_EQ(asserts + 1, pfm_assert_fail_count());
    EXPECT_EQ(
        "[4 ] 4-x\n[6 pxinfo_shp_order] Unable to flush \"f\" to stable storage: why\n"
        "[6 pxinfo] fn: check of \"p\" failed: e\n[6 pfm] assertion failed: FALSE (lib/pxinfo/pxinfo_kv_pkt:42)\n",
        captured.dump());
    // Without a sink, output goes to stdout and the rest to stderr, warnings
    // and errors labelled with their component ("pxinfo" for none).
    imsg_set_sink(nullptr, nullptr);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    imsg_print(IMSG_SEV_OUTPUT, "out\n", -1);
    imsg_print(IMSG_SEV_WARNING, "w\n", -1);
    imsg_print_shared(IMSG_SEV_ERROR, "comp", "e\n", -1);
    imsg_print(IMSG_SEV_TRACE, "t\n", -1);
    EXPECT_EQ("out\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ("pxinfo: warning: w\ncomp: error: e\nt\n", testing::internal::GetCapturedStderr());

    EXPECT_EQ(
        (std::vector<tbs_status_t>{TBS_ST_OK, TBS_ST_NOT_FOUND, TBS_ST_NO_MEMORY, TBS_ST_INVALID_ARG, TBS_ST_FAILED}),
        (std::vector<tbs_status_t>{tbs_errno2status(0), tbs_errno2status(ENOENT), tbs_errno2status(ENOMEM),
                                   tbs_errno2status(EINVAL), tbs_errno2status(-1)}));
    EXPECT_STREQ(std::strerror(EACCES), tbs_strerror(tbs_errno2status(EACCES)));
    std::string texts;
    for (tbs_status_t s : {TBS_ST_OK, TBS_ST_FAILED, TBS_ST_NOT_FOUND, TBS_ST_NO_MEMORY, TBS_ST_INVALID_ARG, 999u}) {
        texts += std::string(tbs_strerror(s)) + "|";
    }
    EXPECT_EQ("success|operation failed|not found|out of memory|invalid argument|unknown status|", texts);
}

TEST(MessageService, ListsCopyTheirTextsAndEndAtTheirCount) {
    // Storage the list's array may reuse holds no zeros, so that a read past
    // the last text would not happen to find a null.
    for (int i = 0; i < 4; ++i) { std::free(std::memset(std::malloc(40), 0xA5, 40)); }
    imsg_list_t *list = imsg_list_create();
    std::string text = "1";
    EXPECT_EQ(TBS_ST_OK, imsg_list_add_str(list, text.c_str()));
    text = "changed";
    stg_fail_allocation(1);
    EXPECT_EQ(std::make_pair(TBS_ST_NO_MEMORY, TBS_ST_INVALID_ARG),
              std::make_pair(imsg_list_add_str(list, "second"), imsg_list_add_str(list, nullptr)));
    for (unsigned count = 1; count <= 5; ++count) {
        EXPECT_EQ(TBS_ST_OK, count > 1 ? imsg_list_add_str(list, std::to_string(count).c_str()) : TBS_ST_OK);
        EXPECT_EQ(count, imsg_list_count(list));
        EXPECT_EQ(std::to_string(count), imsg_list_get(list, count - 1));
        EXPECT_TRUE(imsg_list_get(list, count) == nullptr && imsg_list_get(list, count + 1) == nullptr);
    }
    EXPECT_STREQ("1", imsg_list_get(list, 0));
    EXPECT_TRUE(imsg_list_get(nullptr, 0) == nullptr && imsg_list_count(nullptr) == 0);
    imsg_list_destroy(list);
    imsg_list_destroy(nullptr);
}

// The current time has a sub-second part: microseconds below a million that
// are not all zero over a few readings, and seconds that agree with time().
TEST(Clock, CurrentTimeHasMicrosecondsAndFormatsAsIso8601InUtc) {
    bool some_microseconds = false;
    for (int reading = 0; reading < 5 && !some_microseconds; ++reading) {
        timeval now{-1, -1};
        const time_t before = time(nullptr);
        date_get_timeval(&now);
        EXPECT_TRUE(before <= now.tv_sec && now.tv_sec <= time(nullptr)) << now.tv_sec;
        EXPECT_TRUE(now.tv_usec >= 0 && now.tv_usec < 1000000) << now.tv_usec;
        some_microseconds = now.tv_usec != 0;
        usleep(1);
    }
    EXPECT_TRUE(some_microseconds);
    date_get_timeval(nullptr);
    EXPECT_STREQ("2026-11-22T19:38:33Z", date_fmt_token_utc(1795376313));
    EXPECT_STREQ("1970-01-01T00:00:00Z", date_fmt_token_utc(0));
}

TEST(Directories, JoinTheNameToTheConfiguredDirectory) {
    char buffer[256];
    setenv("PXINFO_CONFIG_DIR", "/tmp/cfg", 1);
    EXPECT_STREQ("/tmp/cfg/services/gm_log.conf", tbs_product_config_dir("services/gm_log.conf", buffer, 256));
    unsetenv("PXINFO_CONFIG_DIR");
    EXPECT_STREQ("/var/opt/quenta/config/x", tbs_product_config_dir("x", buffer, sizeof buffer));
    unsetenv("PXINFO_LOG_DIR");
    EXPECT_STREQ("/var/opt/quenta/log/gm_log", tbs_product_log_dir("gm_log", buffer, sizeof buffer));
    EXPECT_EQ(nullptr, tbs_product_log_dir("gm_log", buffer, 8));
    EXPECT_EQ(0u, tbs_int_error_count()) << "the count of internal errors starts at zero, and none was logged here";
}

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
    for (const auto &row : rows) { EXPECT_EQ(row.order, strutl_cmp_ignore_whitespace(row.a, row.b)) << row.a; }
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
    for (int base : {1, 37, -1}) {
        EXPECT_EQ(std::make_pair(TBS_ST_INVALID_ARG, TBS_ST_INVALID_ARG),
                  std::make_pair(strutl_strtoul("1", base, &u), strutl_strtol("1", base, &s)));
    }
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

using Words = std::vector<std::string>;

TEST(Tokenizer, SplitsEveryTableLineIntoItsWordsOrItsError) {
    for (const auto &row : pxtest::data_rows("cl_lines.tsv")) {
        int error = -1;
        cl_handle_t *h = cl_parse_line(row[1].c_str(), &error);
        EXPECT_EQ(row[0] == "-1" ? std::stoi(row[2]) : CL_E_OK, error) << row[1];
        EXPECT_EQ(row[0] == "-1", h == nullptr) << row[1];
        if (h == nullptr) { continue; }
        EXPECT_EQ(std::stoi(row[0]), cl_argcount(h)) << row[1];
        Words words;
        while (const char *w = cl_getarg(h)) { words.push_back(w); }
        EXPECT_EQ(Words(row.begin() + 2, row.end()), words) << row[1];
        EXPECT_EQ(CL_E_OK, cl_errno(h));
        cl_destroy(&h);
        EXPECT_EQ(nullptr, h);
    }
    std::string texts;
    for (int code : {CL_E_OK, CL_E_UNTERMINATED_QUOTE, CL_E_NO_MEMORY, CL_E_INVALID_ARG, 12345}) {
        texts += std::string(cl_strerror(code)) + "|";
    }
    EXPECT_EQ("no error|unterminated quoted string|out of memory|invalid argument|unknown tokenizer error|", texts);
}

TEST(Tokenizer, OffsetsRewindWithinTheWordsAndNullsAreRefused) {
    cl_handle_t *h = cl_parse_line("a b c", nullptr);
    ASSERT_NE(nullptr, h);
    // The elements of a braced list are evaluated in order.
    const std::vector<std::string> seen = {cl_getarg(h),
                                           cl_getarg(h),
                                           std::to_string(cl_getoffset(h)),
                                           std::to_string(cl_setoffset(h, 1)),
                                           cl_getarg(h),
                                           std::to_string(cl_setoffset(h, 4)),
                                           std::to_string(cl_setoffset(h, -1)),
                                           std::to_string(cl_getoffset(h))};
    EXPECT_EQ((std::vector<std::string>{"a", "b", "2", "0", "b", "3", "3", "2"}), seen);
    EXPECT_EQ(CL_E_OK, cl_setoffset(h, 3));
    EXPECT_EQ(nullptr, cl_getarg(h));
    cl_destroy(&h);
    cl_destroy(&h);  // a null handle is ignored
    int errors[2] = {0, 0};
    EXPECT_EQ(nullptr, cl_parse_line(nullptr, &errors[0]));
    stg_fail_allocation(1);  // a line costs one allocation
    EXPECT_EQ(nullptr, cl_parse_line("a b", &errors[1]));
    stg_fail_allocation(0);
    EXPECT_EQ((std::vector<int>{CL_E_INVALID_ARG, CL_E_NO_MEMORY, 3, 3, 0, 0}),
              (std::vector<int>{errors[0], errors[1], cl_errno(nullptr), cl_setoffset(nullptr, 0), cl_argcount(nullptr),
                                cl_getoffset(nullptr)}));
    EXPECT_EQ(nullptr, cl_getarg(nullptr));
}

struct Item {
    int value;
    llist_d_link_t link;
};

// The values front to back, checked against the walk back to front.
std::vector<int> walk(const llist_d_head_t &head) {
    std::vector<int> forward, backward;
    for (llist_d_link_t *l = head.first; l != LLIST_D_END(&head); l = l->next) {
        forward.push_back(static_cast<Item *>(l->element)->value);
    }
    for (llist_d_link_t *l = head.last; l != LLIST_D_END(&head); l = l->prev) {
        backward.insert(backward.begin(), static_cast<Item *>(l->element)->value);
    }
    EXPECT_EQ(forward, backward);
    EXPECT_EQ(forward.empty(), llist_d_is_empty(&head) != 0);
    return forward;
}

TEST(Lists, InsertKeepsOrderAndRemoveRelinks) {
    llist_d_head_t head;
    llist_d_init(&head);
    Item items[4] = {{1, {}}, {2, {}}, {3, {}}, {0, {}}};
    for (int i = 0; i < 4; ++i) {
        llist_d_insert(&head, &items[i], &items[i].link, i < 3 ? LLIST_D_TAIL : LLIST_D_FRONT);
    }
    EXPECT_EQ((std::vector<int>{0, 1, 2, 3}), walk(head));
    for (int i : {0, 3}) { llist_d_remove(&head, &items[i].link); }
    EXPECT_EQ((std::vector<int>{2, 3}), walk(head));
    for (int i : {1, 2}) { llist_d_remove(&head, &items[i].link); }
    EXPECT_EQ(std::vector<int>{}, walk(head));
}

// 0 or the errno of a failed flush: a file is flushed to storage; a pipe
// cannot be, a memory stream has no descriptor.
TEST(ForcedFlush, FileSucceedsPipeMemoryStreamAndNullFail) {
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    char buffer[64];
    FILE *streams[] = {fopen(pxtest::temp_path("fsync.txt").c_str(), "w"), fdopen(fds[1], "w"),
                       fmemopen(buffer, sizeof buffer, "w"), nullptr};
    std::vector<int> results;
    for (FILE *stream : streams) {
        if (stream != nullptr) { fputs("data\n", stream); }
        errno = 0;
        const int result = sysutl_fsync_fptr(stream);
        results.push_back(result == 0 ? 0 : result == -1 ? errno : -99);
        if (stream != nullptr) { fclose(stream); }
    }
    EXPECT_EQ((std::vector<int>{0, EINVAL, EBADF, EINVAL}), results);
    close(fds[0]);
}

// Enters, removals, look-ups and walks against a std::map model are the
// hash_table fuzz target's, whose corpus ctest replays. Beyond them: a unique
// table keeps its own copy of a key entered from a reused buffer, hands out
// an empty slot and refuses a known key; a reentering one hands out the known slot.
TEST(HashTable, KeysAreCopiedAndKnownKeysRefusedOrReentered) {
    hash_table_t *table = hash_str_create(0, sizeof(void *), HASH_STR_UNIQUE);
    char key[] = "r1";
    const char *kept = nullptr;
    void **slot = nullptr, **again = nullptr;
    ASSERT_EQ(0, hash_str_enter(table, key, &kept, &slot));
    EXPECT_TRUE(kept != key && std::string(kept) == "r1" && *slot == nullptr);
    EXPECT_NE(0, hash_str_enter(table, key, nullptr, nullptr)) << "a unique table refuses a known key";
    hash_delete_ht(&table);
    EXPECT_EQ(nullptr, table);
    hash_delete_ht(&table);  // a null table is left alone
    table = hash_str_create(0, 0, HASH_STR_REENTER);
    EXPECT_EQ(0, hash_str_enter(table, "r", nullptr, &slot) + hash_str_enter(table, "r", nullptr, &again));
    EXPECT_TRUE(slot == again && hash_str_count(table) == 1);
    EXPECT_NE(0, hash_str_enter(table, nullptr, nullptr, nullptr));
    EXPECT_EQ(0, hash_str_lookup(table, nullptr, nullptr, nullptr) + hash_str_free(table, "absent", nullptr, nullptr) +
                     hash_str_next(table, nullptr, nullptr, nullptr));
    hash_delete_ht(&table);
    EXPECT_EQ(nullptr, hash_str_create(4, sizeof(void *) + 1, HASH_STR_UNIQUE)) << "data wider than a pointer";
}

// Creation, entering and removing keys: every allocation that fails gives a
// null table or a refused key, and nothing leaks.
TEST(HashTable, ExhaustedStorageFailsCleanlyAtEveryStep) {
    const std::string too_long_to_pool(2000, 'x');
    auto run = [&]() -> tbs_status_t {
        hash_table_t *table = hash_str_create(3, sizeof(void *), HASH_STR_UNIQUE);
        if (table == nullptr) { return TBS_ST_NO_MEMORY; }
        tbs_status_t status = TBS_ST_OK;
        for (const char *key :
             {"a long key that does not fit any small string buffer", "b", too_long_to_pool.c_str(), "c", "d", "e"}) {
            if (hash_str_enter(table, key, nullptr, nullptr) != 0) { status = TBS_ST_NO_MEMORY; }
        }
        hash_str_free(table, "b", nullptr, nullptr);
        hash_delete_ht(&table);
        return status;
    };
    const size_t points = pxtest::sweep_allocation_failures(
        run, [](tbs_status_t status, unsigned long) { EXPECT_EQ(TBS_ST_NO_MEMORY, status); });
    EXPECT_GE(points, 4u);  // the table, its slots, a chunk and the long key's own block
}

}  // namespace
