// The base services under shipping orders: the line tokenizer, circular
// lists and the forced flush.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>

#include "cl.h"
#include "llist.h"
#include "sysutl.h"
#include "test_support.h"

namespace {

using Words = std::vector<std::string>;

TEST(Tokenizer, SplitsEveryTableLineIntoItsWordsOrItsError) {
    for (const auto &row : pxtest::data_rows("cl_lines.tsv")) {
        int error = -1;
        cl_handle_t *h = cl_parse_line(row[1].c_str(), &error);
        EXPECT_EQ(row[0] == "-1" ? std::stoi(row[2]) : CL_E_OK, error) << row[1];
        EXPECT_EQ(row[0] == "-1", h == nullptr) << row[1];
        if (h == nullptr) continue;
        EXPECT_EQ(std::stoi(row[0]), cl_argcount(h)) << row[1];
        Words words;
        while (const char *w = cl_getarg(h)) words.push_back(w);
        EXPECT_EQ(Words(row.begin() + 2, row.end()), words) << row[1];
        EXPECT_EQ(CL_E_OK, cl_errno(h));
        cl_destroy(&h);
        EXPECT_EQ(nullptr, h);
    }
    std::string texts;
    for (int code : {CL_E_OK, CL_E_UNTERMINATED_QUOTE, CL_E_NO_MEMORY, CL_E_INVALID_ARG, 12345})
        texts += std::string(cl_strerror(code)) + "|";
    EXPECT_EQ("no error|unterminated quoted string|out of memory|invalid argument|unknown tokenizer error|", texts);
}

TEST(Tokenizer, OffsetsRewindWithinTheWordsAndNullsAreRefused) {
    cl_handle_t *h = cl_parse_line("a b c", nullptr);
    ASSERT_NE(nullptr, h);
    EXPECT_STREQ("a", cl_getarg(h));
    EXPECT_STREQ("b", cl_getarg(h));
    EXPECT_EQ(2, cl_getoffset(h));
    EXPECT_EQ(CL_E_OK, cl_setoffset(h, 1));
    EXPECT_STREQ("b", cl_getarg(h));
    EXPECT_EQ(CL_E_INVALID_ARG, cl_setoffset(h, 4));
    EXPECT_EQ(CL_E_INVALID_ARG, cl_setoffset(h, -1));
    EXPECT_EQ(2, cl_getoffset(h));
    EXPECT_EQ(CL_E_OK, cl_setoffset(h, 3));
    EXPECT_EQ(nullptr, cl_getarg(h));
    cl_destroy(&h);
    cl_destroy(&h);  // a null handle is ignored
    int error = 0;
    EXPECT_EQ(nullptr, cl_parse_line(nullptr, &error));
    EXPECT_EQ(CL_E_INVALID_ARG, error);
    stg_fail_allocation(1);  // a line costs one allocation
    EXPECT_EQ(nullptr, cl_parse_line("a b", &error));
    stg_fail_allocation(0);
    EXPECT_EQ(CL_E_NO_MEMORY, error);
    EXPECT_EQ(nullptr, cl_getarg(nullptr));
    EXPECT_EQ((std::vector<int>{3, 3, 0, 0}), (std::vector<int>{cl_errno(nullptr), cl_setoffset(nullptr, 0),
                                                                cl_argcount(nullptr), cl_getoffset(nullptr)}));
}

struct Item {
    int value;
    llist_d_link_t link;
};

// The values front to back, checked against the walk back to front.
std::vector<int> walk(const llist_d_head_t &head) {
    std::vector<int> forward, backward;
    for (llist_d_link_t *l = head.first; l != LLIST_D_END(&head); l = l->next)
        forward.push_back(static_cast<Item *>(l->element)->value);
    for (llist_d_link_t *l = head.last; l != LLIST_D_END(&head); l = l->prev)
        backward.insert(backward.begin(), static_cast<Item *>(l->element)->value);
    EXPECT_EQ(forward, backward);
    EXPECT_EQ(forward.empty(), llist_d_is_empty(&head) != 0);
    return forward;
}

TEST(Lists, InsertKeepsOrderAndRemoveRelinks) {
    llist_d_head_t head;
    llist_d_init(&head);
    EXPECT_EQ(std::vector<int>{}, walk(head));
    Item items[4] = {{1, {}}, {2, {}}, {3, {}}, {0, {}}};
    for (int i = 0; i < 3; ++i) llist_d_insert(&head, &items[i], &items[i].link, LLIST_D_TAIL);
    llist_d_insert(&head, &items[3], &items[3].link, LLIST_D_FRONT);
    EXPECT_EQ((std::vector<int>{0, 1, 2, 3}), walk(head));
    for (int i : {0, 3}) llist_d_remove(&head, &items[i].link);
    EXPECT_EQ((std::vector<int>{2, 3}), walk(head));
    for (int i : {1, 2}) llist_d_remove(&head, &items[i].link);
    EXPECT_EQ(std::vector<int>{}, walk(head));
}

// 0 or the errno of a failed flush.
int flushed(FILE *stream) {
    errno = 0;
    const int result = sysutl_fsync_fptr(stream);
    return result == 0 ? 0 : result == -1 ? errno : -99;
}

TEST(ForcedFlush, FileSucceedsPipeMemoryStreamAndNullFail) {
    FILE *file = fopen(pxtest::temp_path("fsync.txt").c_str(), "w");
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    FILE *pipe_end = fdopen(fds[1], "w");
    char buffer[64];
    FILE *memory = fmemopen(buffer, sizeof buffer, "w");
    for (FILE *stream : {file, pipe_end, memory}) fputs("data\n", stream);
    EXPECT_EQ((std::vector<int>{0, EINVAL, EBADF, EINVAL}),
              (std::vector<int>{flushed(file), flushed(pipe_end), flushed(memory), flushed(nullptr)}));
    for (FILE *stream : {file, pipe_end, memory}) fclose(stream);
    close(fds[0]);
}

}  // namespace
