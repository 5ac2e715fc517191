// The line tokenizer. A line is split at once into a single heap block that
// holds the handle, the word table and a copy of the words, so a line costs
// one allocation and its words stay put while the handle lives.
#include "cl.h"

#include <string.h>

#include "stg.h"

struct cl_handle {
    int count;     // number of words
    int position;  // index of the next word cl_getarg returns
    int error;     // code of the last failure, 0 when none
    char **words;  // count word pointers into the text that follows them
};

namespace {

bool is_blank(char c) { return c == ' ' || c == '\t'; }

// The characters that end an unquoted word: a blank, or the end of the line.
struct WordEnds {
    bool table[256] = {};
    constexpr WordEnds() : table{} {
        table[static_cast<unsigned char>('\0')] = true;
        table[static_cast<unsigned char>(' ')] = true;
        table[static_cast<unsigned char>('\t')] = true;
    }
};
constexpr WordEnds kWordEnds;

bool ends_word(char c) { return kWordEnds.table[static_cast<unsigned char>(c)]; }

// Upper bound of the words a line of this length can hold: every word takes
// at least one character of the line.
size_t max_words(size_t length) { return length + 1; }

// Splits line into words in text (a copy large enough for the line) and
// fills words; returns the count, or -1 on an unterminated quote.
int split_words(const char *line, char *text, char **words) {
    int count = 0;
    const char *p = line;
    char *out = text;
    for (;;) {
        while (is_blank(*p)) { ++p; }
        if (*p == '\0') { return count; }
        words[count++] = out;
        if (*p == '"') {
            const char *close = strchr(p + 1, '"');
            if (close == nullptr) { return -1; }
            size_t n = static_cast<size_t>(close - (p + 1));
            memcpy(out, p + 1, n);
            out += n;
            p = close + 1;
        } else {
            // Find the word's end first, then copy it whole: one test a
            // character instead of a test, a copy and two steps.
            const char *end = p;
            while (!ends_word(*end)) { ++end; }
            size_t n = static_cast<size_t>(end - p);
            memcpy(out, p, n);
            out += n;
            p = end;
        }
        *out++ = '\0';
    }
}

void set_error(int *error, int code) {
    if (error != nullptr) { *error = code; }
}

}  // namespace

extern "C" {

cl_handle_t *cl_parse_line(const char *line, int *error) {
    if (line == nullptr) {
        set_error(error, CL_E_INVALID_ARG);
        return nullptr;
    }
    size_t length = strlen(line);
    size_t word_slots = max_words(length);
    // Each word's copy needs at most its characters and a NUL, so the copy
    // of all words fits in length + word_slots bytes.
    size_t size = sizeof(cl_handle) + word_slots * sizeof(char *) + length + word_slots;
    auto *handle = static_cast<cl_handle *>(stg_malloc(size));
    if (handle == nullptr) {
        set_error(error, CL_E_NO_MEMORY);
        return nullptr;
    }
    handle->words = reinterpret_cast<char **>(handle + 1);
    char *text = reinterpret_cast<char *>(handle->words + word_slots);
    int count = split_words(line, text, handle->words);
    if (count < 0) {
        stg_free(handle);
        set_error(error, CL_E_UNTERMINATED_QUOTE);
        return nullptr;
    }
    handle->count = count;
    handle->position = 0;
    handle->error = CL_E_OK;
    set_error(error, CL_E_OK);
    return handle;
}

const char *cl_getarg(cl_handle_t *handle) {
    if (handle == nullptr) { return nullptr; }
    if (handle->position >= handle->count) {
        handle->error = CL_E_OK;
        return nullptr;
    }
    return handle->words[handle->position++];
}

int cl_errno(const cl_handle_t *handle) { return handle == nullptr ? CL_E_INVALID_ARG : handle->error; }

const char *cl_strerror(int code) {
    switch (code) {
    case CL_E_OK: return "no error";
    case CL_E_UNTERMINATED_QUOTE: return "unterminated quoted string";
    case CL_E_NO_MEMORY: return "out of memory";
    case CL_E_INVALID_ARG: return "invalid argument";
    default: return "unknown tokenizer error";
    }
}

int cl_argcount(const cl_handle_t *handle) { return handle == nullptr ? 0 : handle->count; }

int cl_getoffset(const cl_handle_t *handle) { return handle == nullptr ? 0 : handle->position; }

int cl_setoffset(cl_handle_t *handle, int offset) {
    if (handle == nullptr || offset < 0 || offset > handle->count) { return CL_E_INVALID_ARG; }
    handle->position = offset;
    return CL_E_OK;
}

void cl_destroy(cl_handle_t **handle) {
    if (handle == nullptr || *handle == nullptr) { return; }
    stg_free(*handle);
    *handle = nullptr;
}

}  // extern "C"
