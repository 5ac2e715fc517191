// The command table. Each group of commands defines its entries in its own
// file; this list fixes the order the help shows them in.
#include "commands.h"

#include "cmd_demo.h"
#include "cmd_health.h"
#include "cmd_order.h"
#include "cmd_packet.h"

namespace pxtool {

const std::vector<Command> &all_commands() {
    static const std::vector<Command> commands = [] {
        std::vector<Command> all;
        for (const auto *group : {&packet_commands(), &order_commands(), &health_commands(), &demo_commands()})
            all.insert(all.end(), group->begin(), group->end());
        return all;
    }();
    return commands;
}

const Command *find_command_named(const std::string &name) {
    for (const Command &command : all_commands())
        if (name == command.name) return &command;
    return nullptr;
}

}  // namespace pxtool
