#include "json_writer.h"

namespace pxtool {

void JsonWriter::newline_indent() {
    std::fputc('\n', out_);
    for (size_t i = 0; i < levels_.size(); ++i) std::fputs("  ", out_);
}

void JsonWriter::before_value() {
    if (after_key_) {
        after_key_ = false;
        return;
    }
    if (levels_.empty()) return;
    if (!levels_.back().empty) std::fputc(',', out_);
    levels_.back().empty = false;
    newline_indent();
}

void JsonWriter::open(char opener) {
    before_value();
    std::fputc(opener, out_);
    levels_.push_back(Level{opener == '{' ? '}' : ']', true});
}

void JsonWriter::close(char closer) {
    bool empty = levels_.back().empty;
    levels_.pop_back();
    if (!empty) newline_indent();
    std::fputc(closer, out_);
}

void JsonWriter::key(const char *name) {
    before_value();
    write_string(name);
    std::fputs(": ", out_);
    after_key_ = true;
}

void JsonWriter::write_string(const char *text) {
    std::fputc('"', out_);
    for (const unsigned char *p = reinterpret_cast<const unsigned char *>(text); *p != '\0'; ++p) {
        switch (*p) {
        case '"': std::fputs("\\\"", out_); break;
        case '\\': std::fputs("\\\\", out_); break;
        case '\n': std::fputs("\\n", out_); break;
        case '\r': std::fputs("\\r", out_); break;
        case '\t': std::fputs("\\t", out_); break;
        default:
            if (*p < 0x20 || *p >= 0x7f) std::fprintf(out_, "\\u%04x", *p);
            else std::fputc(*p, out_);
        }
    }
    std::fputc('"', out_);
}

void JsonWriter::value(const char *text) {
    before_value();
    if (text == nullptr) std::fputs("null", out_);
    else write_string(text);
}

void JsonWriter::value(long long number) {
    before_value();
    std::fprintf(out_, "%lld", number);
}

void JsonWriter::value(unsigned long long number) {
    before_value();
    std::fprintf(out_, "%llu", number);
}

void JsonWriter::boolean(bool flag) {
    before_value();
    std::fputs(flag ? "true" : "false", out_);
}

void JsonWriter::null() {
    before_value();
    std::fputs("null", out_);
}

}  // namespace pxtool
