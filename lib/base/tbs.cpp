// Status texts, errno conversion, the internal-error log and the product's
// directories.
#include "tbs.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

std::atomic<unsigned long> g_int_errors{0};

const char *directory_from(const char *variable, const char *fallback) {
    const char *value = std::getenv(variable);
    return value != nullptr && *value != '\0' ? value : fallback;
}

char *join(const char *directory, const char *name, char *buffer, size_t size) {
    if (buffer == nullptr || size == 0) { return nullptr; }
    int length = name != nullptr && *name != '\0' ? std::snprintf(buffer, size, "%s/%s", directory, name)
                                                  : std::snprintf(buffer, size, "%s", directory);
    if (length < 0 || static_cast<size_t>(length) >= size) { return nullptr; }
    return buffer;
}

}  // namespace

extern "C" {

const char *tbs_strerror(tbs_status_t status) {
    switch (status) {
    case TBS_ST_OK: return "success";
    case TBS_ST_FAILED: return "operation failed";
    case TBS_ST_NOT_FOUND: return "not found";
    case TBS_ST_NO_MEMORY: return "out of memory";
    case TBS_ST_INVALID_ARG: return "invalid argument";
    default: break;
    }
    if (status > TBS_ERRNO_BASE && status - TBS_ERRNO_BASE < 4096) {
        return imsg_strerror(static_cast<int>(status - TBS_ERRNO_BASE));
    }
    return "unknown status";
}

tbs_status_t tbs_errno2status(int errno_value) {
    switch (errno_value) {
    case 0: return TBS_ST_OK;
    case ENOMEM: return TBS_ST_NO_MEMORY;
    case ENOENT: return TBS_ST_NOT_FOUND;
    case EINVAL: return TBS_ST_INVALID_ARG;
    default: return errno_value > 0 ? TBS_ERRNO_BASE + static_cast<tbs_status_t>(errno_value) : TBS_ST_FAILED;
    }
}

void tbs_log_int_error(const char *component, const imsg_msg_table_t *table, int index, const char *source_path,
                       int line, int flags, ...) {
    (void)flags;
    ++g_int_errors;
    std::string text;
    if (table != nullptr && index >= 0 && index < table->message_count) {
        va_list args;
        va_start(args, flags);
        char buffer[1024];
        std::vsnprintf(buffer, sizeof buffer, table->message_texts[index], args);
        va_end(args);
        text = buffer;
    }
    imsg_print_shared(IMSG_SEV_ERROR, component, "internal error: %s", -1, text.c_str());
    (void)source_path;
    (void)line;
}

unsigned long tbs_int_error_count(void) { return g_int_errors.load(); }

char *tbs_product_config_dir(const char *name, char *buffer, size_t size) {
    return join(directory_from("PXINFO_CONFIG_DIR", "/var/opt/quenta/config"), name, buffer, size);
}

char *tbs_product_log_dir(const char *name, char *buffer, size_t size) {
    return join(directory_from("PXINFO_LOG_DIR", "/var/opt/quenta/log"), name, buffer, size);
}

}  // extern "C"
