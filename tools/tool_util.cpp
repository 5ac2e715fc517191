#include "tool_util.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <random>

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

bool cannot_write(const std::string &path, int error) {
    complain("cannot write \"" + printable(path) + "\": " + std::strerror(error));
    return false;
}

namespace {

// The file a replacement is about: a symbolic link is followed, so that the
// file it names is replaced, as writing through the link would.
std::string replaced_file(const std::string &path) {
    struct stat info;
    char resolved[PATH_MAX];
    if (::lstat(path.c_str(), &info) == 0 && S_ISLNK(info.st_mode) && ::realpath(path.c_str(), resolved) != nullptr) {
        return resolved;
    }
    return path;
}

std::string directory_of(const std::string &path) {
    size_t slash = path.rfind('/');
    if (slash == std::string::npos) { return "."; }
    return slash == 0 ? "/" : path.substr(0, slash);
}

// A new, empty file of a name no one else uses, in dir; -1 with errno when
// none can be made.
int create_temporary(const std::string &dir, std::string &name) {
    std::random_device random;
    for (int attempt = 0; attempt < 100; ++attempt) {
        char suffix[32];
        std::snprintf(suffix, sizeof suffix, "/.pxinfo-%08x%08x", random(), random());
        name = dir + suffix;
        int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST) { return fd; }
    }
    return -1;
}

// Gives temporary the name target unless target exists (EEXIST then). A file
// system without hard links is asked for a rename that refuses to replace.
bool link_new(const std::string &temporary, const std::string &target) {
    if (::link(temporary.c_str(), target.c_str()) == 0) {
        ::unlink(temporary.c_str());
        return true;
    }
    if (errno != EPERM && errno != ENOTSUP && errno != ENOSYS) { return false; }
    return ::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0;
}

// Forces a directory's entries to stable storage; a file system that cannot
// sync directories (EINVAL) has nothing more to do.
bool sync_directory(const std::string &dir) {
    int fd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) { return false; }
    bool synced = ::fsync(fd) == 0 || errno == EINVAL;
    int error = errno;
    ::close(fd);
    errno = error;
    return synced;
}

}  // namespace

int write_whole(const std::string &path, bool replace, const std::function<bool(FILE *)> &fill,
                const std::function<void(int error)> &report) {
    auto cannot = [&](int error) {
        if (report) {
            report(error);
        } else {
            cannot_write(path, error);
        }
    };
    const std::string target = replace ? replaced_file(path) : path;
    const std::string dir = directory_of(target);
    std::string temporary;
    int fd = create_temporary(dir, temporary);
    if (fd < 0) {
        cannot(errno);
        return kExitFailed;
    }
    // A replacement takes the mode of the file it replaces before it holds
    // anything, so that its content is never more open than the old one's.
    struct stat old;
    FILE *stream = nullptr;
    int error = 0;
    if ((replace && ::stat(target.c_str(), &old) == 0 && ::fchmod(fd, old.st_mode & 07777) != 0) ||
        (stream = ::fdopen(fd, "wb")) == nullptr) {
        error = errno;
        ::close(fd);
    }
    bool reported = false, placed = false;
    if (stream != nullptr) {
        reported = !fill(stream);
        if (!reported && (std::fflush(stream) != 0 || ::fsync(fd) != 0)) { error = errno; }
        if (std::fclose(stream) != 0 && error == 0) { error = errno; }
    }
    if (!reported && error == 0) {
        placed = replace ? ::rename(temporary.c_str(), target.c_str()) == 0 : link_new(temporary, target);
        if (placed && !sync_directory(dir)) {
            cannot(errno);
            return kExitFailed;
        }
        if (!placed) { error = errno; }
    }
    if (placed) { return kExitOk; }
    ::unlink(temporary.c_str());
    if (error == EEXIST && !replace) {
        complain_exists(path);
        return kExitExists;
    }
    if (!reported) { cannot(error); }
    return kExitFailed;
}

int write_file(const std::string &path, bool replace, const void *bytes, size_t size) {
    return write_whole(path, replace, [&](FILE *stream) {
        return std::fwrite(bytes, 1, size, stream) == size || cannot_write(path, errno);
    });
}

}  // namespace pxtool
