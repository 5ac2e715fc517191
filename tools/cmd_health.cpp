// Commands on health files: show one, check one.
#include "cmd_health.h"
#include "commands.h"
#include "json_writer.h"
#include "tool_util.h"

namespace pxtool {

namespace {

// A health file's two records, released when they go out of scope.
struct HealthRecords {
    pxinfo_family_sync_status_t sync{};
    pxinfo_family_epoch_status_t epoch{};
    ~HealthRecords() {
        pxinfo_free_family_epoch_status_from_file(&epoch);
        pxinfo_free_family_sync_status_from_file(&sync);
    }
};

// Reads the file; false after the library's message when it is no good.
bool read_health(const std::string &path, HealthRecords &records) {
    File file(path, "rb");
    if (open_for_reading(file, path) == nullptr) return false;
    tbs_status_t status = pxinfo_read_health_file(&records.sync, &records.epoch, file.get(), 0);
    if (status != TBS_ST_OK)
        std::fprintf(stderr, "pxinfo: \"%s\" is no good health file: %s\n", path.c_str(), tbs_strerror(status));
    return status == TBS_ST_OK;
}

const char *status_value_name(int value) {
    switch (value) {
    case PXINFO_SYNC_STATUS_OK: return "ok";
    case PXINFO_SYNC_STATUS_UNKNOWN: return "unknown";
    case PXINFO_SYNC_STATUS_FAILED: return "failed";
    case PXINFO_SYNC_STATUS_INVALID: return "invalid";
    default: return "?";
    }
}

void print_health_text(const HealthRecords &records) {
    std::printf("epoch status of %s, %d replicas\n", utc_text(records.epoch.timestamp).c_str(), records.epoch.count);
    for (int32_t i = 0; i < records.epoch.count; ++i) {
        const pxinfo_replica_epoch_status_t &replica = records.epoch.replicas[i];
        std::printf("  %s on %s: %s\n", replica.name, replica.host, selector_text(replica.replica).c_str());
        for (int32_t j = 0; j < replica.count; ++j)
            std::printf("      epoch %u at %s\n", replica.epochs[j], utc_text(replica.times[j]).c_str());
    }
    std::printf("sync status of %s, %d replicas\n", utc_text(records.sync.timestamp).c_str(), records.sync.count);
    for (int32_t i = 0; i < records.sync.count; ++i) {
        const pxinfo_replica_sync_status_t &replica = records.sync.replicas[i];
        std::printf("  %s on %s: %s, last status %d, %d attempts\n", replica.name, replica.host,
                    status_value_name(replica.status_value), replica.last_status, replica.count);
        for (int32_t j = 0; j < replica.count; ++j) {
            const pxinfo_sync_attempt_data_t &attempt = replica.attempts[j];
            std::printf("      %s %s at %s: %s\n", attempt.direction == PXINFO_SYNC_EXPORT ? "export" : "import",
                        attempt.count == 1 && attempt.replicas[0].name != nullptr ? attempt.replicas[0].name : "",
                        utc_text(attempt.time).c_str(),
                        !attempt.attempted  ? "not attempted"
                        : attempt.succeeded ? "succeeded"
                                            : "failed");
        }
    }
}

void print_health_json(const HealthRecords &records) {
    JsonWriter json(stdout);
    json.begin_object();
    json.key("epoch");
    json.begin_object();
    json.field("timestamp", records.epoch.timestamp);
    json.key("replicas");
    json.begin_array();
    for (int32_t i = 0; i < records.epoch.count; ++i) {
        const pxinfo_replica_epoch_status_t &replica = records.epoch.replicas[i];
        json.begin_object();
        json.field("name", replica.name);
        json.field("host", replica.host);
        json.field("replica", selector_text(replica.replica));
        json.key("epochs");
        json.begin_array();
        for (int32_t j = 0; j < replica.count; ++j) json.value(replica.epochs[j]);
        json.end_array();
        json.end_object();
    }
    json.end_array();
    json.end_object();
    json.key("sync");
    json.begin_object();
    json.field("timestamp", records.sync.timestamp);
    json.key("replicas");
    json.begin_array();
    for (int32_t i = 0; i < records.sync.count; ++i) {
        const pxinfo_replica_sync_status_t &replica = records.sync.replicas[i];
        json.begin_object();
        json.field("name", replica.name);
        json.field("host", replica.host);
        json.field("replica", selector_text(replica.replica));
        json.field("status_value", status_value_name(replica.status_value));
        json.field("last_status", replica.last_status);
        json.field("attempts", replica.count);
        json.end_object();
    }
    json.end_array();
    json.end_object();
    json.end_object();
}

int run_health_show(const Args &given) {
    Args args = given;
    bool as_json = take_flag(args, "--json");
    if (args.size() != 1) return usage_error(*find_command_named("health show"), "give one file");
    HealthRecords records;
    if (!read_health(args[0], records)) return kExitFailed;
    if (as_json) print_health_json(records);
    else print_health_text(records);
    return kExitOk;
}

int run_health_check(const Args &args) {
    if (args.size() != 1) return usage_error(*find_command_named("health check"), "give one file");
    HealthRecords records;
    if (!read_health(args[0], records)) return kExitFailed;
    std::printf("%s: a consistent health file of %d replicas\n", args[0].c_str(), records.epoch.count);
    return kExitOk;
}

}  // namespace

const std::vector<Command> &health_commands() {
    static const std::vector<Command> commands = {
        {"health show", "show a health file",
         "usage: pxinfo health show [--json] FILE\n\n"
         "Prints the family's epoch status and sync status as stored in the health file.\n"
         "  --json   print it as JSON\n",
         run_health_show},
        {"health check", "check that a health file is whole and consistent",
         "usage: pxinfo health check FILE\n\n"
         "Reads both records and checks that they agree. Exit status 0 when they do, 1 otherwise.\n",
         run_health_check},
    };
    return commands;
}

}  // namespace pxtool
