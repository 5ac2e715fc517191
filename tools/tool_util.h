// Helpers the pxinfo commands share: texts of identifiers, selectors, times
// and file types, parsing of option values, and small RAII holders for
// library resources.
#ifndef PXINFO_TOOL_UTIL_H
#define PXINFO_TOOL_UTIL_H

#include <cstdio>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "commands.h"
#include "pxinfo/pxinfo.h"
#include "report.h"
#include "view.h"

namespace pxtool {

std::string uuid_text(const tbs_uuid_t &uuid);
// Parses a uuid text; false (and a message naming what) when it is none.
bool parse_uuid(const std::string &text, const char *what, tbs_uuid_t &uuid);
// Parses a whole unsigned 32-bit decimal number.
bool parse_u32(const std::string &text, const char *what, uint32_t &value);
// Parses a whole signed 32-bit decimal number.
bool parse_i32(const std::string &text, const char *what, int32_t &value);
std::string selector_text(const pxinfo_selector_t &selector);
// "shorder", "kvcreate", "kvupdate", "other", or the number.
std::string file_type_name(int type);
// "ok", "unknown", "failed", "invalid" or "?" for a sync status value.
const char *sync_status_name(int value);
// ISO 8601 in UTC, e.g. 2026-11-22T19:38:33Z.
std::string utc_text(time_t seconds);
// The status-change time of a file, in UTC; null when it cannot be taken.
Node changed_time(const std::string &path);

// Hands each operand in turn to view_of, which adds its views (or reports
// why it cannot and returns false), then shows them: the view itself for one
// operand, a list for several, as JSON with --json. The exit status is 1 when
// an operand failed, a usage error when there are none.
int show_per_operand(const Invocation &call, const std::function<bool(const Operand &, std::vector<Node> &)> &view_of);

// A stdio stream closed when it goes out of scope.
class File {
  public:
    File(const std::string &path, const char *mode) : stream_(std::fopen(path.c_str(), mode)) {}
    ~File() {
        if (stream_ != nullptr) { std::fclose(stream_); }
    }
    File(const File &) = delete;
    File &operator=(const File &) = delete;
    FILE *get() const { return stream_; }
    // Closes now; false when the close failed.
    bool close() {
        FILE *stream = stream_;
        stream_ = nullptr;
        return stream == nullptr || std::fclose(stream) == 0;
    }

  private:
    FILE *stream_;
};

// A storage area deleted when it goes out of scope.
class Area {
  public:
    Area() : area_(stg_create_area(4096)) {}
    ~Area() { stg_delete_area(&area_); }
    Area(const Area &) = delete;
    Area &operator=(const Area &) = delete;
    stg_area_t *get() const { return area_; }

  private:
    stg_area_t *area_;
};

// Puts a file at path whole or not at all. fill writes the content into a
// new temporary file in path's directory and returns false, after a message,
// when it cannot. The file is then forced to stable storage and put in place:
// renamed over path when replace is set (keeping the replaced file's mode),
// otherwise linked as path, which refuses a path that exists by then; a new
// file gets 0666 less the umask. On any failure the temporary file is removed,
// path is left as it was, and a message names path: cannot_write's, or what
// report prints for the error of a step of its own. Returns kExitOk,
// kExitFailed, or kExitExists when path exists and replace was not set.
int write_whole(const std::string &path, bool replace, const std::function<bool(FILE *)> &fill,
                const std::function<void(int error)> &report = nullptr);
// write_whole with the bytes as content.
int write_file(const std::string &path, bool replace, const void *bytes, size_t size);
// Prints that path cannot be written, for the reason error; returns false.
bool cannot_write(const std::string &path, int error);

}  // namespace pxtool

#endif
