// pxinfo demo: the road of a packet through the library, from the exporting
// site that writes packets and shipping orders to the receiving site that
// classifies, reads and orders them, records the outcome in a health file and
// appends to the sync activity log.
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

#include "cmd_demo.h"
#include "cmd_order.h"
#include "cmd_packet.h"
#include "report.h"
#include "tool_util.h"

namespace pxtool {

namespace {

// The family of the demo: three replicas at three sites.
struct DemoReplica {
    const char *name;
    const char *host;
    tbs_uuid_t uuid;
};

struct DemoFamily {
    tbs_uuid_t family;
    tbs_uuid_t log;
    DemoReplica replicas[3];
};

tbs_uuid_t uuid_from(const char *text) {
    tbs_uuid_t uuid = TBS_UUID_NULL;
    tbs_str_to_uuid(text, &uuid);
    return uuid;
}

DemoFamily make_family() {
    return DemoFamily{uuid_from("5f0c1d2e-3a4b-4c5d-8e6f-7a8b9c0d1e2f"),
                      uuid_from("0a1b2c3d-4e5f-4061-8273-8495a6b7c8d9"),
                      {{"boston", "bos.example.net", uuid_from("11111111-2222-4333-8444-555555555501")},
                       {"dublin", "dub.example.net", uuid_from("11111111-2222-4333-8444-555555555502")},
                       {"tokyo", "tyo.example.net", uuid_from("11111111-2222-4333-8444-555555555503")}}};
}

bool make_directory(const std::string &path) {
    if (::mkdir(path.c_str(), 0755) == 0 || errno == EEXIST) { return true; }
    fail(path, std::string("cannot create: ") + std::strerror(errno));
    return false;
}

// The files the demo writes in its directory (the sync log is appended to).
std::vector<std::string> demo_outputs() {
    std::vector<std::string> names;
    for (const char *suffix : {".pkt", ".ord"}) {
        for (int n = 1; n <= 3; ++n) { names.push_back("boston-" + std::to_string(n) + suffix); }
    }
    names.push_back("demo-family.health");
    names.push_back("config/services/gm_log.conf");
    return names;
}

void step(int number, const char *title) { std::printf("\n%d. %s\n", number, title); }

// Exporting site: boston writes three update packets, each made against the
// epochs the one before it reached, and a shipping order for each. Returns
// the exit status of the first write that did not succeed.
int export_packets(const DemoFamily &family, const std::string &dir, bool replace, std::vector<std::string> &packets) {
    step(1, "The exporting site (boston) writes three update packets and their shipping orders");
    uint32_t now = static_cast<uint32_t>(std::time(nullptr));
    for (uint32_t n = 1; n <= 3; ++n) {
        PacketPlan plan;
        plan.family = family.family;
        plan.source = family.replicas[0].uuid;
        plan.sequence = n;
        plan.log_uuid = family.log;
        for (int r = 1; r < 3; ++r) { plan.targets.push_back({family.replicas[r].uuid, family.replicas[r].name}); }
        // boston's own epoch grows with each packet; the others stay.
        plan.replicas.push_back({family.replicas[0].uuid, 100 + 10 * (n - 1), 100 + 10 * n, 0});
        plan.replicas.push_back({family.replicas[1].uuid, 40, 40, 0});
        plan.replicas.push_back({family.replicas[2].uuid, 70, 70, 0});
        std::string packet = dir + "/boston-" + std::to_string(n) + ".pkt";
        int status = write_packet_file(packet, plan, replace);
        if (status != kExitOk) { return status; }

        OrderPlan order;
        tbs_str_to_uuid(("00000000-0000-4000-8000-00000000000" + std::to_string(n)).c_str(), &order.identifier);
        order.creation_time = now;
        order.creation_string = utc_text(now);
        order.original_data_path = "/var/opt/quenta/export/boston-" + std::to_string(n) + ".pkt";
        order.local_data_path = packet;
        order.destinations = {family.replicas[1].host, family.replicas[2].host};
        order.comment_lines = {"packet " + std::to_string(n) + " of the demo family"};
        std::string order_path = dir + "/boston-" + std::to_string(n) + ".ord";
        if ((status = write_order_file(order_path, order, replace)) != kExitOk) { return status; }
        std::printf("   wrote %s (sequence %u, boston at epoch %u) and %s\n", packet.c_str(), n,
                    plan.replicas[0].start_epoch, order_path.c_str());
        packets.push_back(packet);
    }
    return kExitOk;
}

// Receiving site: what is each file?
bool classify(const std::vector<std::string> &files) {
    step(2, "The receiving site (dublin) asks what each file is");
    for (const std::string &path : files) {
        pxinfo_file_type_t type = PXINFO_FILE_OTHER;
        if (pxinfo_get_file_type(path.c_str(), &type) != TBS_ST_OK) { return false; }
        std::printf("   %-40s %s\n", path.c_str(), file_type_name(type).c_str());
    }
    return true;
}

// Reads every packet's information into area.
bool read_infos(const std::vector<std::string> &packets, stg_area_t *area, std::vector<pxinfo_packet_info_t> &infos) {
    step(3, "It reads each packet's information");
    infos.resize(packets.size());
    for (size_t i = 0; i < packets.size(); ++i) {
        pxinfo_packet_info_t &info = infos[i];
        if (pxinfo_get_packet_info(packets[i].c_str(), area, static_cast<int>(i), &info) != TBS_ST_OK ||
            info.status != 0) {
            return false;
        }
        std::printf("   %s: version %d.%d, sequence %u, %u targets, epoch row", info.pkt_name, info.major_version,
                    info.minor_version, info.pkt_seq_num, info.target_count);
        const pxinfo_packet_reference_t &refs = info.sources[0].references;
        for (uint32_t r = 0; r < refs.count; ++r) { std::printf(" %u", refs.refs[r].start_epoch); }
        std::printf("\n");
    }
    return true;
}

void order_for_import(const std::vector<pxinfo_packet_info_t> &infos) {
    step(4, "It orders the packets for import (given newest first)");
    std::vector<pxinfo_packet_info_t> shuffled(infos.rbegin(), infos.rend());
    for (const pxinfo_packet_info_t *packet : import_order(shuffled)) {
        std::printf("   import %s\n", packet->pkt_name);
    }
}

// Sync status records for the family as dublin sees it after the imports:
// boston's packets arrived; the last attempt towards tokyo failed.
struct SyncRecords {
    std::vector<pxinfo_replica_info_t> partners[3];
    std::vector<pxinfo_sync_attempt_data_t> attempts[3];
    std::vector<pxinfo_replica_sync_status_t> replicas;
    pxinfo_family_sync_status_t family{};
};

void build_sync_records(const DemoFamily &family, int32_t now, SyncRecords &records) {
    records.replicas.resize(3);
    for (int r = 0; r < 3; ++r) {
        pxinfo_replica_sync_status_t &replica = records.replicas[r];
        std::memset(&replica, 0, sizeof replica);
        std::snprintf(replica.name, sizeof replica.name, "%s", family.replicas[r].name);
        std::snprintf(replica.host, sizeof replica.host, "%s", family.replicas[r].host);
        pxinfo_new_vault_selector(&family.replicas[r].uuid, &family.family, &replica.replica);
        int partner = (r + 1) % 3;
        pxinfo_replica_info_t info{};
        pxinfo_new_vault_selector(&family.replicas[partner].uuid, &family.family, &info.replica);
        info.name = const_cast<char *>(family.replicas[partner].name);
        records.partners[r].push_back(info);
        bool failed = r == 1;  // dublin could not reach tokyo
        pxinfo_sync_attempt_data_t attempt{};
        attempt.time = now;
        attempt.direction = PXINFO_SYNC_EXPORT;
        attempt.attempted = 1;
        attempt.succeeded = failed ? 0 : 1;
        attempt.count = 1;
        attempt.replicas = records.partners[r].data();
        records.attempts[r].push_back(attempt);
        replica.count = 1;
        replica.attempts = records.attempts[r].data();
        replica.last_status = 0;
        replica.status_value =
            static_cast<pxinfo_sync_status_value_t>(pxinfo_compute_replica_sync_status_value(&replica));
    }
    records.family.timestamp = now;
    records.family.count = 3;
    records.family.replicas = records.replicas.data();
}

// Epoch status: every replica's view of every replica's epoch.
struct EpochRecords {
    std::vector<int32_t> times[3];
    std::vector<pxinfo_epoch_num_t> epochs[3];
    std::vector<pxinfo_replica_epoch_status_t> replicas;
    pxinfo_family_epoch_status_t family{};
};

void build_epoch_records(const DemoFamily &family, int32_t now, EpochRecords &records) {
    const pxinfo_epoch_num_t view[3] = {130, 40, 70};
    records.replicas.resize(3);
    for (int r = 0; r < 3; ++r) {
        pxinfo_replica_epoch_status_t &replica = records.replicas[r];
        std::memset(&replica, 0, sizeof replica);
        std::snprintf(replica.name, sizeof replica.name, "%s", family.replicas[r].name);
        std::snprintf(replica.host, sizeof replica.host, "%s", family.replicas[r].host);
        pxinfo_new_vault_selector(&family.replicas[r].uuid, &family.family, &replica.replica);
        records.times[r].assign(3, now);
        records.epochs[r].assign(view, view + 3);
        replica.count = 3;
        replica.times = records.times[r].data();
        replica.epochs = records.epochs[r].data();
    }
    records.family.timestamp = now;
    records.family.count = 3;
    records.family.replicas = records.replicas.data();
}

int record_health(const DemoFamily &family, const std::string &dir, bool replace) {
    step(5, "It derives sync status values from the attempt records");
    int32_t now = static_cast<int32_t>(std::time(nullptr));
    SyncRecords sync;
    build_sync_records(family, now, sync);
    for (const pxinfo_replica_sync_status_t &replica : sync.replicas) {
        std::printf("   %-8s %s\n", replica.name, sync_status_name(replica.status_value));
    }
    std::printf("   family   %s\n", sync_status_name(pxinfo_compute_family_sync_status_value(&sync.family)));

    step(6, "It writes the family's health file and reads it back");
    EpochRecords epoch;
    build_epoch_records(family, now, epoch);
    std::string path = dir + "/demo-family.health";
    int written = write_whole(path, replace, [&](FILE *stream) {
        return pxinfo_write_health_file(&sync.family, &epoch.family, stream) == TBS_ST_OK || cannot_write(path, errno);
    });
    if (written != kExitOk) { return written; }
    File in(path, "rb");
    pxinfo_family_sync_status_t sync_back{};
    pxinfo_family_epoch_status_t epoch_back{};
    tbs_status_t status = pxinfo_read_health_file(&sync_back, &epoch_back, in.get(), 0);
    if (status == TBS_ST_OK) {
        std::printf("   %s: %d replicas, read back consistent\n", path.c_str(), epoch_back.count);
    }
    pxinfo_free_family_epoch_status_from_file(&epoch_back);
    pxinfo_free_family_sync_status_from_file(&sync_back);
    return status == TBS_ST_OK ? kExitOk : kExitFailed;
}

int log_imports(const DemoFamily &family, const std::string &dir, bool replace,
                const std::vector<pxinfo_packet_info_t> &infos) {
    step(7, "It appends each import to the sync activity log");
    std::string config = dir + "/config", log = dir + "/log";
    if (!make_directory(config) || !make_directory(config + "/services") || !make_directory(log)) {
        return kExitFailed;
    }
    std::string switch_on = "LOG=TRUE\n";
    int written = write_file(config + "/services/gm_log.conf", replace, switch_on.data(), switch_on.size());
    if (written != kExitOk) { return written; }
    setenv("PXINFO_CONFIG_DIR", config.c_str(), 1);
    setenv("PXINFO_LOG_DIR", log.c_str(), 1);
    if (!pxinfo_do_gm_logging()) {
        complain("the sync log did not switch on");
        return kExitFailed;
    }
    for (const pxinfo_packet_info_t &info : infos) {
        pxinfo_epoch_row_t packet_row{};
        if (pxinfo_kv_packet_info_to_epoch_row(&info, &packet_row) != TBS_ST_OK) { return kExitFailed; }
        pxinfo_epoch_row_t replica_row{};
        pxinfo_log_gm_sync_entry(family.family, "demo", family.replicas[1].uuid, family.replicas[1].name,
                                 family.replicas[0].uuid, family.replicas[0].name, info.pkt_name, packet_row,
                                 replica_row, PXINFO_SYNC_IMPORT, nullptr, TBS_ST_OK);
        pxinfo_free_new_epoch_row_entry(&packet_row);
    }
    std::printf("   switched on by %s/services/gm_log.conf; %zu records in %s/gm_log\n", config.c_str(), infos.size(),
                log.c_str());
    return kExitOk;
}

int run_demo(const Invocation &call) {
    if (call.operands.size() > 1) { return call.usage("give at most one directory"); }
    std::string dir;
    if (call.operands.empty()) {
        char pattern[] = "/tmp/pxinfo-demo-XXXXXX";
        if (::mkdtemp(pattern) == nullptr) {
            complain(std::string("cannot create a demo directory: ") + std::strerror(errno));
            return kExitFailed;
        }
        dir = pattern;
    } else {
        dir = call.operands[0];
        for (const std::string &name : demo_outputs()) {
            if (!may_write(dir + "/" + name, call.flag("--force"))) { return kExitExists; }
        }
        if (!make_directory(dir)) { return kExitFailed; }
    }
    std::printf("The road of a packet through libquentapxinfobase, in %s\n", printable(dir).c_str());
    DemoFamily family = make_family();
    std::vector<std::string> packets;
    const bool replace = call.flag("--force");
    int status = export_packets(family, dir, replace, packets);
    if (status != kExitOk) { return status; }
    std::vector<std::string> files = packets;
    for (const std::string &packet : packets) { files.push_back(packet.substr(0, packet.size() - 4) + ".ord"); }
    if (!classify(files)) { return kExitFailed; }
    Area area;
    std::vector<pxinfo_packet_info_t> infos;
    if (!read_infos(packets, area.get(), infos)) { return kExitFailed; }
    order_for_import(infos);
    if ((status = record_health(family, dir, replace)) != kExitOk ||
        (status = log_imports(family, dir, replace, infos)) != kExitOk) {
        return status;
    }
    std::printf("\nEverything the demo made is in %s.\n", printable(dir).c_str());
    return kExitOk;
}

}  // namespace

const std::vector<Command> &demo_commands() {
    static const std::vector<Command> commands = {
        {"demo",
         "[DIR]",
         "walk the road of a packet through the library",
         "In DIR (created if needed; default a fresh temporary directory), an exporting site writes\n"
         "three update packets of one family and a shipping order for each; the receiving site\n"
         "classifies every file, reads each packet's information, orders the packets for import,\n"
         "derives sync status values, writes and reads back a health file and appends to the sync\n"
         "activity log (switched on in DIR/config). Files of the demo already in DIR are replaced only\n"
         "with --force (exit status 3 otherwise).",
         {kForceOption},
         run_demo},
    };
    return commands;
}

}  // namespace pxtool
