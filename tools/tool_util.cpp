#include "tool_util.h"

#include <cerrno>
#include <cstring>

#include "commands.h"

namespace pxtool {

std::string uuid_text(const tbs_uuid_t &uuid) {
    char text[TBS_UUID_STR_SIZE];
    return tbs_uuid_to_str(&uuid, text);
}

bool parse_uuid(const std::string &text, const char *what, tbs_uuid_t &uuid) {
    if (tbs_str_to_uuid(text.c_str(), &uuid) == TBS_ST_OK) return true;
    std::fprintf(stderr, "pxinfo: %s \"%s\" is not a uuid\n", what, text.c_str());
    return false;
}

bool parse_u32(const std::string &text, const char *what, uint32_t &value) {
    if (!text.empty() && strutl_strtoul(text.c_str(), 10, &value) == TBS_ST_OK) return true;
    std::fprintf(stderr, "pxinfo: %s \"%s\" is not an unsigned number\n", what, text.c_str());
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

std::string utc_text(time_t seconds) {
    struct tm parts;
    char text[32];
    if (gmtime_r(&seconds, &parts) == nullptr || std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts) == 0)
        return std::to_string(static_cast<long long>(seconds));
    return text;
}

FILE *open_for_reading(File &file, const std::string &path) {
    if (file.get() == nullptr)
        std::fprintf(stderr, "pxinfo: cannot open \"%s\": %s\n", path.c_str(), std::strerror(errno));
    return file.get();
}

bool write_new_file(const std::string &path, const void *bytes, size_t size, bool force) {
    if (!may_write(path, force)) return false;
    File out(path, "wb");
    if (out.get() == nullptr || std::fwrite(bytes, 1, size, out.get()) != size || !out.close()) {
        std::fprintf(stderr, "pxinfo: cannot write \"%s\": %s\n", path.c_str(), std::strerror(errno));
        return false;
    }
    return true;
}

}  // namespace pxtool
