// Commands on health files: show one, check one.
#include "cmd_health.h"

#include "commands.h"
#include "diagnose.h"
#include "report.h"
#include "tool_util.h"

namespace pxtool {

namespace {

Node health_view(const HealthRecords &records, const std::string &name) {
    Node epochs = Node::list();
    for (int32_t i = 0; i < records.epoch.count; ++i) {
        const pxinfo_replica_epoch_status_t &replica = records.epoch.replicas[i];
        Node row = Node::list();
        for (int32_t j = 0; j < replica.count; ++j) { row.push(Node::number(replica.epochs[j])); }
        epochs.push(Node::object()
                        .add("name", Node::text(replica.name))
                        .add("host", Node::text(replica.host))
                        .add("replica", Node::text(selector_text(replica.replica)))
                        .add("epochs", std::move(row)));
    }
    Node syncs = Node::list();
    for (int32_t i = 0; i < records.sync.count; ++i) {
        const pxinfo_replica_sync_status_t &replica = records.sync.replicas[i];
        syncs.push(Node::object()
                       .add("name", Node::text(replica.name))
                       .add("host", Node::text(replica.host))
                       .add("replica", Node::text(selector_text(replica.replica)))
                       .add("status_value", Node::text(sync_status_name(replica.status_value)))
                       .add("last_status", Node::number(replica.last_status))
                       .add("attempts", Node::number(replica.count)));
    }
    return Node::object()
        .add("file", Node::text(name))
        .add("epoch", Node::object()
                          .add("timestamp", Node::number(records.epoch.timestamp))
                          .add("time", Node::text(utc_text(records.epoch.timestamp)))
                          .add("replicas", std::move(epochs)))
        .add("sync", Node::object()
                         .add("timestamp", Node::number(records.sync.timestamp))
                         .add("time", Node::text(utc_text(records.sync.timestamp)))
                         .add("replicas", std::move(syncs)));
}

int each_health(const Invocation &call, bool full) {
    return show_per_operand(call, [full](const Operand &file, std::vector<Node> &views) {
        HealthRecords records;
        const std::string problem = read_health(file.path(), records);
        if (!problem.empty()) {
            fail(file.name(), "damaged health: " + problem);
            return false;
        }
        if (full) {
            views.push_back(health_view(records, file.name()));
        } else {
            views.push_back(Node::line()
                                .add("file", Node::text(file.name()))
                                .add("result", Node::text("ok"))
                                .add("replicas", Node::number(records.epoch.count)));
        }
        return true;
    });
}

int run_health_show(const Invocation &call) { return each_health(call, true); }
int run_health_check(const Invocation &call) { return each_health(call, false); }

}  // namespace

const std::vector<Command> &health_commands() {
    static const std::vector<Command> commands = {
        {"health show",
         "FILE...",
         "show a health file",
         "Prints the family's epoch status and sync status as stored in each health file.",
         {kJsonOption},
         run_health_show},
        {"health check",
         "FILE...",
         "check that health files are whole and consistent",
         "Reads both records of each file and checks that they agree and that nothing follows them.\n"
         "Exit status 0 when all are good; otherwise the message says what failed, exit 1.",
         {kJsonOption},
         run_health_check},
    };
    return commands;
}

}  // namespace pxtool
