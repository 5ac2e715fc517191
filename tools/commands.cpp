// The command table. Each group of commands defines its entries in its own
// file; this list fixes the order the help shows them in.
#include "commands.h"

#include <sys/stat.h>

#include <cstdio>

#include "cmd_demo.h"
#include "cmd_health.h"
#include "cmd_order.h"
#include "cmd_packet.h"
#include "cmd_verify.h"
#include "report.h"

namespace pxtool {

const Option kJsonOption = {"--json", nullptr, "print JSON instead of text"};
const Option kForceOption = {"--force", nullptr, "replace an existing output file"};

const std::vector<Command> &all_commands() {
    static const std::vector<Command> commands = [] {
        std::vector<Command> all;
        for (const auto *group :
             {&packet_commands(), &verify_commands(), &order_commands(), &health_commands(), &demo_commands()}) {
            all.insert(all.end(), group->begin(), group->end());
        }
        return all;
    }();
    return commands;
}

const Command *find_command_named(const std::string &name) {
    for (const Command &command : all_commands()) {
        if (name == command.name) { return &command; }
    }
    return nullptr;
}

bool Invocation::value(const char *name, std::string &out) const {
    auto found = given.find(name);
    if (found == given.end()) { return false; }
    out = found->second.back();
    return true;
}

std::vector<std::string> Invocation::values(const char *name) const {
    auto found = given.find(name);
    return found == given.end() ? std::vector<std::string>() : found->second;
}

int Invocation::usage(const std::string &problem) const {
    complain(std::string(command.name) + ": " + problem + "; see 'pxinfo help " + command.name + "'");
    return kExitUsage;
}

bool may_write(const std::string &path, bool force) {
    struct stat info;
    if (force || ::lstat(path.c_str(), &info) != 0) { return true; }
    complain_exists(path);
    return false;
}

void complain_exists(const std::string &path) { complain(printable(path) + ": exists; give --force to replace it"); }

}  // namespace pxtool
