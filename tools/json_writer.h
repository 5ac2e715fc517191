// A small streaming JSON writer for the tool's --json output: objects,
// arrays, strings with escaping, numbers and booleans, indented two spaces.
#ifndef PXINFO_TOOL_JSON_WRITER_H
#define PXINFO_TOOL_JSON_WRITER_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace pxtool {

class JsonWriter {
  public:
    explicit JsonWriter(FILE *out) : out_(out) {}
    ~JsonWriter() { std::fputc('\n', out_); }

    void begin_object() { open('{'); }
    void end_object() { close('}'); }
    void begin_array() { open('['); }
    void end_array() { close(']'); }

    // Names the next value inside an object.
    void key(const char *name);

    void value(const char *text);
    void value(const std::string &text) { value(text.c_str()); }
    void value(long long number);
    void value(unsigned long long number);
    void value(int number) { value(static_cast<long long>(number)); }
    void value(unsigned number) { value(static_cast<unsigned long long>(number)); }
    void value(long number) { value(static_cast<long long>(number)); }
    void value(unsigned long number) { value(static_cast<unsigned long long>(number)); }
    void boolean(bool flag);
    void null();

    template <typename T>
    void field(const char *name, const T &v) {
        key(name);
        value(v);
    }

  private:
    struct Level {
        char closer;
        bool empty;
    };
    void open(char opener);
    void close(char closer);
    void before_value();
    void newline_indent();
    void write_string(const char *text);

    FILE *out_;
    std::vector<Level> levels_;
    bool after_key_ = false;
};

}  // namespace pxtool

#endif
