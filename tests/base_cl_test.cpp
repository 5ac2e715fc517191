// The base services under shipping orders: the line tokenizer, whole-word
// numbers, circular lists and the forced flush.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <vector>

#include "cl.h"
#include "llist.h"
#include "strutl.h"
#include "sysutl.h"
#include "test_support.h"

namespace {

// All words of a line, or the tokenizer's error code as the only entry
// prefixed with '!'.
std::vector<std::string> words_of(const char *line) {
    int error = -1;
    cl_handle_t *h = cl_parse_line(line, &error);
    if (h == nullptr) return {"!" + std::to_string(error)};
    EXPECT_EQ(CL_E_OK, error);
    std::vector<std::string> words;
    while (const char *w = cl_getarg(h)) words.push_back(w);
    EXPECT_EQ(CL_E_OK, cl_errno(h));
    EXPECT_EQ(static_cast<int>(words.size()), cl_argcount(h));
    cl_destroy(&h);
    EXPECT_EQ(nullptr, h);
    return words;
}

using Words = std::vector<std::string>;

TEST(Tokenizer, WordRules) {
    EXPECT_EQ(Words{}, words_of(""));
    EXPECT_EQ(Words{}, words_of(" \t  "));
    EXPECT_EQ((Words{"a", "bc", "d"}), words_of("  a\tbc   d  "));
    EXPECT_EQ((Words{"%KEY", "two words", "x"}), words_of("%KEY \"two words\" x"));
    EXPECT_EQ((Words{"%LOCAL-DATA-PATH", ""}), words_of("%LOCAL-DATA-PATH \"\""));
    EXPECT_EQ((Words{"", "", "a"}), words_of("\"\"\"\" a"));
    EXPECT_EQ((Words{"quoted", "tail"}), words_of("\"quoted\"tail"));
    EXPECT_EQ((Words{"mid\"quote"}), words_of("mid\"quote"));
    EXPECT_EQ((Words{"a\r"}), words_of("a\r"));
    EXPECT_EQ((Words{" lead\ttab "}), words_of("\" lead\ttab \""));
    EXPECT_EQ((Words{"\xe9t\xe9", "\xa0"}), words_of("\xe9t\xe9 \xa0"));  // bytes above 127 are no blanks
}

TEST(Tokenizer, UnterminatedQuoteIsAnError) {
    EXPECT_EQ(Words{"!" + std::to_string(CL_E_UNTERMINATED_QUOTE)}, words_of("a \"b c"));
    EXPECT_EQ(Words{"!" + std::to_string(CL_E_UNTERMINATED_QUOTE)}, words_of("\""));
    EXPECT_STRNE(cl_strerror(CL_E_OK), cl_strerror(CL_E_UNTERMINATED_QUOTE));
    EXPECT_NE(nullptr, cl_strerror(12345));
}

TEST(Tokenizer, NullArgumentsAndExhaustedStorage) {
    int error = 0;
    EXPECT_EQ(nullptr, cl_parse_line(nullptr, &error));
    EXPECT_EQ(CL_E_INVALID_ARG, error);
    EXPECT_EQ(nullptr, cl_getarg(nullptr));
    EXPECT_EQ(CL_E_INVALID_ARG, cl_errno(nullptr));
    size_t points = pxtest::sweep_allocation_failures(
        [&] {
            cl_handle_t *h = cl_parse_line("a b", &error);
            tbs_status_t status = h == nullptr ? TBS_ST_NO_MEMORY : TBS_ST_OK;
            cl_destroy(&h);
            return status;
        },
        [&](tbs_status_t status, unsigned long) {
            EXPECT_EQ(TBS_ST_NO_MEMORY, status);
            EXPECT_EQ(CL_E_NO_MEMORY, error);
        });
    EXPECT_EQ(1u, points);
}

struct Item {
    int value;
    llist_d_link_t link;
};

std::vector<int> walk(const llist_d_head_t &head) {
    std::vector<int> values;
    for (llist_d_link_t *l = head.first; l != LLIST_D_END(&head); l = l->next)
        values.push_back(static_cast<Item *>(l->element)->value);
    std::vector<int> backwards;
    for (llist_d_link_t *l = head.last; l != LLIST_D_END(&head); l = l->prev)
        backwards.insert(backwards.begin(), static_cast<Item *>(l->element)->value);
    EXPECT_EQ(values, backwards);
    return values;
}

TEST(Lists, InsertKeepsOrderAndRemoveRelinks) {
    llist_d_head_t head;
    llist_d_init(&head);
    EXPECT_TRUE(llist_d_is_empty(&head));
    EXPECT_EQ(std::vector<int>{}, walk(head));
    Item items[4] = {{1, {}}, {2, {}}, {3, {}}, {0, {}}};
    for (int i = 0; i < 3; ++i) llist_d_insert(&head, &items[i], &items[i].link, LLIST_D_TAIL);
    llist_d_insert(&head, &items[3], &items[3].link, LLIST_D_FRONT);
    EXPECT_FALSE(llist_d_is_empty(&head));
    EXPECT_EQ((std::vector<int>{0, 1, 2, 3}), walk(head));
    llist_d_remove(&head, &items[0].link);
    llist_d_remove(&head, &items[3].link);
    EXPECT_EQ((std::vector<int>{2, 3}), walk(head));
    llist_d_remove(&head, &items[1].link);
    llist_d_remove(&head, &items[2].link);
    EXPECT_TRUE(llist_d_is_empty(&head));
    EXPECT_EQ(LLIST_D_END(&head), head.last);
}

TEST(ForcedFlush, FileSucceedsPipeAndMemoryStreamFail) {
    FILE *file = fopen(pxtest::temp_path("fsync.txt").c_str(), "w");
    ASSERT_NE(nullptr, file);
    fputs("data\n", file);
    EXPECT_EQ(0, sysutl_fsync_fptr(file));
    fclose(file);

    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    FILE *pipe_end = fdopen(fds[1], "w");
    fputs("data\n", pipe_end);
    errno = 0;
    EXPECT_EQ(-1, sysutl_fsync_fptr(pipe_end));
    EXPECT_NE(0, errno);
    fclose(pipe_end);
    close(fds[0]);

    char buffer[64];
    FILE *memory = fmemopen(buffer, sizeof buffer, "w");
    ASSERT_NE(nullptr, memory);
    errno = 0;
    EXPECT_EQ(-1, sysutl_fsync_fptr(memory));
    EXPECT_EQ(EBADF, errno);
    fclose(memory);
}

TEST(Tokenizer, OffsetsRewindAndAreBounded) {
    cl_handle_t *h = cl_parse_line("a b c", nullptr);
    ASSERT_NE(nullptr, h);
    EXPECT_EQ(0, cl_getoffset(h));
    cl_getarg(h);
    cl_getarg(h);
    EXPECT_EQ(2, cl_getoffset(h));
    EXPECT_EQ(CL_E_OK, cl_setoffset(h, 1));
    EXPECT_STREQ("b", cl_getarg(h));
    EXPECT_EQ(CL_E_INVALID_ARG, cl_setoffset(h, 4));
    EXPECT_EQ(CL_E_INVALID_ARG, cl_setoffset(h, -1));
    EXPECT_EQ(2, cl_getoffset(h));
    EXPECT_EQ(CL_E_OK, cl_setoffset(h, 3));
    EXPECT_EQ(nullptr, cl_getarg(h));
    EXPECT_EQ(CL_E_OK, cl_errno(h));
    cl_destroy(&h);
    cl_destroy(&h);  // a null handle is ignored
}

}  // namespace
