// What a file is, and what is wrong with it when it is damaged: the
// library's classification, completed by the tool with health files and
// with a diagnosis of files that look like a packet, an order or a health
// file but do not read as one.
#ifndef PXINFO_TOOL_DIAGNOSE_H
#define PXINFO_TOOL_DIAGNOSE_H

#include <ctime>
#include <string>

#include "pxinfo/pxinfo.h"
#include "report.h"

namespace pxtool {

struct Finding {
    enum class State { good, damaged, unknown, unreadable };
    State state = State::unknown;
    // kvcreate, kvupdate, shorder, health, other; "packet" for a packet
    // whose header cannot be read.
    std::string kind = "other";
    std::string reason;  // what is wrong, for a damaged or unreadable file
};

Finding examine(const Operand &file);

// Prints the finding of a file that is not good (naming the file) and
// returns false; true for a good file or one of no known kind.
bool acceptable(const Operand &file, const Finding &finding);

const char *state_name(Finding::State state);

// A health file's two records, released when they go out of scope.
struct HealthRecords {
    pxinfo_family_sync_status_t sync{};
    pxinfo_family_epoch_status_t epoch{};
    HealthRecords() = default;
    HealthRecords(const HealthRecords &) = delete;
    HealthRecords &operator=(const HealthRecords &) = delete;
    ~HealthRecords();
};

// Reads a health file; on failure returns what failed, else "".
std::string read_health(const std::string &path, HealthRecords &records);

}  // namespace pxtool

#endif
