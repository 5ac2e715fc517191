#include "tool_util.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "report.h"

namespace pxtool {

std::string uuid_text(const tbs_uuid_t &uuid) {
    char text[TBS_UUID_STR_SIZE];
    return tbs_uuid_to_str(&uuid, text);
}

bool parse_uuid(const std::string &text, const char *what, tbs_uuid_t &uuid) {
    if (tbs_str_to_uuid(text.c_str(), &uuid) == TBS_ST_OK) { return true; }
    complain(std::string(what) + " \"" + printable(text) + "\" is not a uuid");
    return false;
}

bool parse_u32(const std::string &text, const char *what, uint32_t &value) {
    if (!text.empty() && strutl_strtoul(text.c_str(), 10, &value) == TBS_ST_OK) { return true; }
    complain(std::string(what) + " \"" + printable(text) + "\" is not an unsigned 32-bit number");
    return false;
}

bool parse_i32(const std::string &text, const char *what, int32_t &value) {
    if (!text.empty() && strutl_strtol(text.c_str(), 10, &value) == TBS_ST_OK) { return true; }
    complain(std::string(what) + " \"" + printable(text) + "\" is not a signed 32-bit number");
    return false;
}

std::string selector_text(const pxinfo_selector_t &selector) {
    char text[768];
    const char *result = pxinfo_selector_to_str(&selector, text);
    return result != nullptr ? result : "(none)";
}

std::string file_type_name(int type) {
    switch (type) {
    case PXINFO_FILE_SHORDER: return "shorder";
    case PXINFO_FILE_KVCREATE: return "kvcreate";
    case PXINFO_FILE_KVUPDATE: return "kvupdate";
    case PXINFO_FILE_OTHER: return "other";
    default: return std::to_string(type);
    }
}

const char *sync_status_name(int value) {
    switch (value) {
    case PXINFO_SYNC_STATUS_OK: return "ok";
    case PXINFO_SYNC_STATUS_UNKNOWN: return "unknown";
    case PXINFO_SYNC_STATUS_FAILED: return "failed";
    case PXINFO_SYNC_STATUS_INVALID: return "invalid";
    default: return "?";
    }
}

std::string utc_text(time_t seconds) {
    struct tm parts;
    char text[32];
    if (gmtime_r(&seconds, &parts) == nullptr || std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts) == 0) {
        return std::to_string(static_cast<long long>(seconds));
    }
    return text;
}

Node changed_time(const std::string &path) {
    struct stat info;
    return ::stat(path.c_str(), &info) == 0 ? Node::text(utc_text(info.st_ctime)) : Node();
}

int show_per_operand(const Invocation &call, const std::function<bool(const Operand &, std::vector<Node> &)> &view_of) {
    if (call.operands.empty()) { return call.usage("give one or more files"); }
    std::vector<Node> views;
    int exit_status = kExitOk;
    for (const std::string &argument : call.operands) {
        Operand file(argument);
        if (!file.ready() || !view_of(file, views)) { exit_status = kExitFailed; }
    }
    const bool as_json = call.flag("--json");
    if (call.operands.size() == 1 && views.size() == 1) {
        show(views[0], as_json);
    } else if (!views.empty() || as_json) {
        Node all = Node::list();
        for (Node &view : views) { all.push(std::move(view)); }
        show(all, as_json);
    }
    return exit_status;
}

bool write_file(const std::string &path, const void *bytes, size_t size) {
    File out(path, "wb");
    if (out.get() == nullptr || std::fwrite(bytes, 1, size, out.get()) != size || !out.close()) {
        complain("cannot write \"" + printable(path) + "\": " + std::strerror(errno));
        return false;
    }
    return true;
}

}  // namespace pxtool
