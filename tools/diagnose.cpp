#include "diagnose.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "tool_util.h"

namespace pxtool {

namespace {

uint32_t word_at(const unsigned char *bytes, int index) {
    const unsigned char *p = bytes + 4 * index;
    return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 | static_cast<uint32_t>(p[2]) << 8 |
           p[3];
}

enum class Look { packet, health, neither };

// True when the file would read as a packet if its first four bytes were the
// magic number: a packet whose magic number alone is damaged.
bool packet_but_magic(const std::string &path) {
    std::vector<unsigned char> head(1 << 20);
    File file(path, "rb");
    size_t got = file.get() != nullptr ? std::fread(head.data(), 1, head.size(), file.get()) : 0;
    if (got < 8 || word_at(head.data(), 1) > 7) { return false; }
    for (int i = 0; i < 4; ++i) {
        head[static_cast<size_t>(i)] = static_cast<unsigned char>(PXINFO_KV_PKT_MAGIC >> (24 - 8 * i));
    }
    FILE *copy = ::fmemopen(head.data(), got, "rb");
    if (copy == nullptr) { return false; }
    pxinfo_kv_pkt_header_t header;
    int major = 0;
    bool readable = pxinfo_kv_pkt_read_import_header_no_xdr(copy, 1, &major, &header) == TBS_ST_OK;
    pxinfo_kv_pkt_finish_import_header_no_xdr(copy, &header);
    std::fclose(copy);
    return readable;
}

// A packet starts with its magic number; a health file with a timestamp, a
// replica count of at least 2, the same count again before the replicas, and
// the length of the first replica's name.
Look look_of(const std::string &path) {
    unsigned char head[16] = {};
    File file(path, "rb");
    size_t got = file.get() != nullptr ? std::fread(head, 1, sizeof head, file.get()) : 0;
    if (got >= 4 && word_at(head, 0) == PXINFO_KV_PKT_MAGIC) { return Look::packet; }
    if (got >= 8 && word_at(head, 1) <= 7 && packet_but_magic(path)) { return Look::packet; }
    uint32_t count = word_at(head, 1);
    if (got == sizeof head && count >= 2 && count <= 1u << 20 && word_at(head, 2) == count && word_at(head, 3) <= 255) {
        return Look::health;
    }
    return Look::neither;
}

// The library's message on reading the header, not quietly this time.
std::string header_problem(const std::string &path) {
    File file(path, "rb");
    if (file.get() == nullptr) { return "cannot be opened"; }
    Capture capture;
    pxinfo_kv_pkt_header_t header;
    int major = 0;
    tbs_status_t status = pxinfo_kv_pkt_read_import_header_no_xdr(file.get(), 0, &major, &header);
    pxinfo_kv_pkt_finish_import_header_no_xdr(file.get(), &header);
    if (!capture.first().empty()) { return capture.first(); }
    return status == TBS_ST_OK ? "" : tbs_strerror(status);
}

// The consistency rule the records break, in the library's words: its detail
// trace, switched on for the time of a second reading.
std::string inconsistency(const std::string &path) {
    int verbosity = imsg_get_desired_verbosity();
    imsg_set_desired_verbosity(4);
    imsg_set_trace_components("pxinfo");
    std::string rule;
    {
        Capture capture(true);
        HealthRecords again;
        File file(path, "rb");
        if (file.get() != nullptr) { pxinfo_read_health_file(&again.sync, &again.epoch, file.get(), 0); }
        rule = capture.first();
    }
    imsg_set_desired_verbosity(verbosity);
    imsg_set_trace_components(std::getenv("PXINFO_TRACE"));
    return rule.empty() ? "its records are inconsistent" : "inconsistent records: " + rule;
}

}  // namespace

HealthRecords::~HealthRecords() {
    pxinfo_free_family_epoch_status_from_file(&epoch);
    pxinfo_free_family_sync_status_from_file(&sync);
}

std::string read_health(const std::string &path, HealthRecords &records) {
    File file(path, "rb");
    if (file.get() == nullptr) { return "cannot be opened"; }
    tbs_status_t status = pxinfo_read_health_file(&records.sync, &records.epoch, file.get(), 0);
    if (status == TBS_ST_INVALID_ARG) { return inconsistency(path); }
    if (status != TBS_ST_OK) {
        // Which record fails: the epoch status comes first, alone if asked.
        HealthRecords epoch_only;
        File again(path, "rb");
        bool epoch_read = again.get() != nullptr &&
                          pxinfo_read_health_file(&epoch_only.sync, &epoch_only.epoch, again.get(), 1) == TBS_ST_OK;
        bool ended = std::feof(file.get()) != 0;
        return std::string("cannot decode its ") + (epoch_read ? "sync" : "epoch") +
               " status record: " + (ended ? "the file ends inside it" : "malformed data");
    }
    if (std::fgetc(file.get()) != EOF) { return "data follows its two records"; }
    return "";
}

Finding examine(const Operand &file) {
    Finding finding;
    Subject subject(file.name(), file.path());
    pxinfo_file_type_t type = PXINFO_FILE_OTHER;
    Capture capture;
    tbs_status_t status = pxinfo_get_file_type(file.path().c_str(), &type);
    if (status != TBS_ST_OK) {
        finding.state = Finding::State::unreadable;
        finding.reason = capture.first().empty() ? tbs_strerror(status) : capture.first();
        return finding;
    }
    if (type != PXINFO_FILE_OTHER) {
        finding.kind = file_type_name(type);
        finding.state = Finding::State::good;
        return finding;
    }
    if (capture.from("pxinfo_shp_order")) {
        finding.kind = "shorder";
        finding.state = Finding::State::damaged;
        finding.reason = capture.first();
        return finding;
    }
    Look look = look_of(file.path());
    if (look == Look::packet) {
        finding.kind = "packet";
        finding.reason = header_problem(file.path());
    } else if (look == Look::health) {
        finding.kind = "health";
        HealthRecords records;
        finding.reason = read_health(file.path(), records);
    } else {
        return finding;
    }
    finding.state = finding.reason.empty() ? Finding::State::good : Finding::State::damaged;
    return finding;
}

bool acceptable(const Operand &file, const Finding &finding) {
    if (finding.state == Finding::State::damaged) {
        complain(printable(file.name()) + ": damaged " + finding.kind + ": " + finding.reason);
    } else if (finding.state == Finding::State::unreadable) {
        fail(file.name(), finding.reason);
    }
    return finding.state == Finding::State::good || finding.state == Finding::State::unknown;
}

const char *state_name(Finding::State state) {
    switch (state) {
    case Finding::State::good: return "ok";
    case Finding::State::damaged: return "damaged";
    case Finding::State::unreadable: return "unreadable";
    default: return "unknown";
    }
}

}  // namespace pxtool
