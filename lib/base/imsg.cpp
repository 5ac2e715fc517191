// The message service: formats every line completely and hands it to one
// sink, with the trace controls and the shared table.
#include "imsg.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "imsg_shared_internal.h"
#include "stg_internal.h"

namespace {

struct TraceSettings {
    bool loaded = false;
    int verbosity = 0;
    bool all = false;
    std::vector<std::string> components;
};

std::mutex g_mutex;
TraceSettings g_trace;
// Every traced function asks for the desired verbosity on entry and on exit,
// so it is mirrored here: once the environment has been read, asking takes
// no lock.
std::atomic<bool> g_trace_loaded{false};
std::atomic<int> g_verbosity{0};
imsg_sink_fn g_sink = nullptr;
void *g_sink_ctx = nullptr;

void parse_components(TraceSettings &settings, const char *list) {
    settings.all = false;
    settings.components.clear();
    if (list == nullptr) { return; }
    std::string text(list);
    size_t start = 0;
    while (start <= text.size()) {
        size_t comma = text.find(',', start);
        if (comma == std::string::npos) { comma = text.size(); }
        std::string name = text.substr(start, comma - start);
        if (name == "all") {
            settings.all = true;
        } else if (!name.empty()) {
            settings.components.push_back(name);
        }
        start = comma + 1;
    }
}

// Reads PXINFO_VERBOSITY and PXINFO_TRACE once; the caller holds the mutex.
TraceSettings &trace_settings() {
    if (!g_trace.loaded) {
        g_trace.loaded = true;
        const char *verbosity = std::getenv("PXINFO_VERBOSITY");
        if (verbosity != nullptr) { g_trace.verbosity = std::atoi(verbosity); }
        parse_components(g_trace, std::getenv("PXINFO_TRACE"));
        g_verbosity.store(g_trace.verbosity, std::memory_order_relaxed);
        g_trace_loaded.store(true, std::memory_order_release);
    }
    return g_trace;
}

void default_sink(int severity, const char *component, const char *text) {
    FILE *out = severity == IMSG_SEV_OUTPUT ? stdout : stderr;
    const char *label = severity == IMSG_SEV_WARNING ? "warning" : severity == IMSG_SEV_ERROR ? "error" : nullptr;
    if (label != nullptr) { std::fprintf(out, "%s: %s: ", component != nullptr ? component : "pxinfo", label); }
    std::fputs(text, out);
    std::fflush(out);
}

void emit(int severity, const char *component, const char *text) {
    imsg_sink_fn sink;
    void *ctx;
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        sink = g_sink;
        ctx = g_sink_ctx;
    }
    if (sink != nullptr) {
        sink(ctx, severity, component, text);
    } else {
        default_sink(severity, component, text);
    }
}

// The format and component a table message or literal format stands for;
// false when the index lies outside the table.
bool resolve(const void *table_or_format, int index, const char **format, const char **component) {
    if (table_or_format == nullptr) { return false; }
    if (index < 0) {
        *format = static_cast<const char *>(table_or_format);
        *component = nullptr;
        return true;
    }
    const auto *table = static_cast<const imsg_msg_table_t *>(table_or_format);
    if (index >= table->message_count || table->message_texts == nullptr) { return false; }
    *format = table->message_texts[index];
    *component = table->component_name;
    return *format != nullptr;
}

std::string format_text(const char *format, va_list args) {
    va_list copy;
    va_copy(copy, args);
    int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (length < 0) { return std::string(); }
    std::string text(static_cast<size_t>(length), '\0');
    std::vsnprintf(&text[0], text.size() + 1, format, args);
    return text;
}

int print_for(int severity, const char *component_override, const void *table_or_format, int index, va_list args) {
    const char *format = nullptr;
    const char *component = nullptr;
    if (!resolve(table_or_format, index, &format, &component)) { return -1; }
    if (component_override != nullptr) { component = component_override; }
    std::string text = format_text(format, args);
    emit(severity, component, text.c_str());
    return static_cast<int>(text.size());
}

}  // namespace

extern "C" {

// clang-format off
const char *const kSharedTexts[] = {
#define PLACEHOLDER(n) "base services message " #n "\n"
    PLACEHOLDER(0), PLACEHOLDER(1), PLACEHOLDER(2), PLACEHOLDER(3), PLACEHOLDER(4), PLACEHOLDER(5),
    PLACEHOLDER(6), PLACEHOLDER(7), PLACEHOLDER(8), PLACEHOLDER(9), PLACEHOLDER(10), PLACEHOLDER(11),
    PLACEHOLDER(12), PLACEHOLDER(13), PLACEHOLDER(14), PLACEHOLDER(15), PLACEHOLDER(16), PLACEHOLDER(17),
    PLACEHOLDER(18),
    "Unable to close \"%s\": %s\n",  // 19
    PLACEHOLDER(20),
    "Unable to flush \"%s\" to stable storage: %s\n",  // 21
    PLACEHOLDER(22), PLACEHOLDER(23), PLACEHOLDER(24), PLACEHOLDER(25), PLACEHOLDER(26), PLACEHOLDER(27),
    PLACEHOLDER(28), PLACEHOLDER(29), PLACEHOLDER(30), PLACEHOLDER(31), PLACEHOLDER(32), PLACEHOLDER(33),
    "%s:%d: failed.\n",  // 34
    PLACEHOLDER(35), PLACEHOLDER(36), PLACEHOLDER(37),
    "Internal error in %s.\n",  // 38
    "Out of memory.\n",         // 39
    PLACEHOLDER(40), PLACEHOLDER(41), PLACEHOLDER(42), PLACEHOLDER(43), PLACEHOLDER(44), PLACEHOLDER(45),
    "%s: a required argument is missing.\n",        // 46
    "%s: check of \"%s\" failed: %s\n",             // 47
#undef PLACEHOLDER
};
// clang-format on

namespace {
constexpr uint16_t kSharedCount = sizeof(kSharedTexts) / sizeof(kSharedTexts[0]);
static_assert(static_cast<int>(tbs::SharedMsg::kLast) < kSharedCount, "the shared table holds every named index");
struct SharedNumbers {
    uint16_t values[kSharedCount];
    constexpr SharedNumbers() : values() {
        for (uint16_t i = 0; i < kSharedCount; ++i) { values[i] = static_cast<uint16_t>(i + 1); }
    }
};
constexpr SharedNumbers kSharedNumbers;
}  // namespace

const imsg_msg_table_t _tbs_cmsg_tbs_msg_table = {"tbs_lib",    "tbs",        1,
                                                  kSharedCount, kSharedTexts, kSharedNumbers.values};

int imsg_vprint(int severity, const void *table_or_format, int index, va_list args) {
    return print_for(severity, nullptr, table_or_format, index, args);
}

int imsg_print(int severity, const void *table_or_format, int index, ...) {
    va_list args;
    va_start(args, index);
    int result = print_for(severity, nullptr, table_or_format, index, args);
    va_end(args);
    return result;
}

int imsg_print_shared(int severity, const char *component, const void *table_or_format, int index, ...) {
    va_list args;
    va_start(args, index);
    int result = print_for(severity, component, table_or_format, index, args);
    va_end(args);
    return result;
}

int imsg_sprintf(char *buffer, const void *table_or_format, int index, ...) {
    const char *format = nullptr;
    const char *component = nullptr;
    if (buffer == nullptr || !resolve(table_or_format, index, &format, &component)) { return -1; }
    va_list args;
    va_start(args, index);
    int result = std::vsprintf(buffer, format, args);
    va_end(args);
    return result;
}

void imsg_set_sink(imsg_sink_fn sink, void *ctx) {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_sink = sink;
    g_sink_ctx = sink != nullptr ? ctx : nullptr;
}

int imsg_get_desired_verbosity(void) {
    if (g_trace_loaded.load(std::memory_order_acquire)) { return g_verbosity.load(std::memory_order_relaxed); }
    std::lock_guard<std::mutex> lock(g_mutex);
    return trace_settings().verbosity;
}

void imsg_set_desired_verbosity(int level) {
    std::lock_guard<std::mutex> lock(g_mutex);
    trace_settings().verbosity = level;
    g_verbosity.store(level, std::memory_order_relaxed);
}

void imsg_set_trace_components(const char *list) {
    std::lock_guard<std::mutex> lock(g_mutex);
    parse_components(trace_settings(), list);
}

int imsg_should_trace(const char *component, int /*level*/) {
    std::lock_guard<std::mutex> lock(g_mutex);
    const TraceSettings &settings = trace_settings();
    if (settings.all) { return 1; }
    if (component == nullptr) { return 0; }
    for (const std::string &name : settings.components) {
        if (name == component) { return 1; }
    }
    return 0;
}

// strerror may build the text of an unknown value in one buffer shared by all
// threads; the reentrant form builds it in a buffer of the calling thread.
const char *imsg_strerror(int errno_value) {
    static thread_local char text[128];
    return strerror_r(errno_value, text, sizeof text);
}

}  // extern "C"

// A message-service list: texts copied into counted heap blocks.
struct imsg_list {
    std::vector<char *> texts;
};

extern "C" {

imsg_list_t *imsg_list_create(void) {
    void *memory = tbsbase::heap_alloc(sizeof(imsg_list));
    if (memory == nullptr) { return nullptr; }
    return new (memory) imsg_list();
}

void imsg_list_destroy(imsg_list_t *list) {
    if (list == nullptr) { return; }
    for (char *text : list->texts) { tbsbase::heap_free(text); }
    list->~imsg_list();
    tbsbase::heap_free(list);
}

tbs_status_t imsg_list_add_str(imsg_list_t *list, const char *text) {
    if (list == nullptr || text == nullptr) { return TBS_ST_INVALID_ARG; }
    size_t length = std::strlen(text);
    auto *copy = static_cast<char *>(tbsbase::heap_alloc(length + 1));
    if (copy == nullptr) { return TBS_ST_NO_MEMORY; }
    std::memcpy(copy, text, length + 1);
    try {
        list->texts.push_back(copy);
    } catch (const std::bad_alloc &) {
        tbsbase::heap_free(copy);
        return TBS_ST_NO_MEMORY;
    }
    return TBS_ST_OK;
}

unsigned imsg_list_count(const imsg_list_t *list) {
    return list == nullptr ? 0u : static_cast<unsigned>(list->texts.size());
}

const char *imsg_list_get(const imsg_list_t *list, unsigned index) {
    if (list == nullptr || index >= list->texts.size()) { return nullptr; }
    return list->texts[index];
}

}  // extern "C"
