// The pxinfo subcommands: each group lives in its own file and registers its
// entries in the table that main() dispatches on.
#ifndef PXINFO_TOOL_COMMANDS_H
#define PXINFO_TOOL_COMMANDS_H

#include <string>
#include <vector>

namespace pxtool {

// Exit statuses, documented in `pxinfo --help`.
constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;  // the library reported a problem with the input
constexpr int kExitUsage = 2;   // the command line is wrong
constexpr int kExitExists = 3;  // an output file exists and --force was not given

using Args = std::vector<std::string>;

struct Command {
    const char *name;     // "type", "order check", ...
    const char *summary;  // one line for the command list
    const char *usage;    // the full help text of `pxinfo help NAME`
    int (*run)(const Args &args);
};

// Every command, in the order the help lists them.
const std::vector<Command> &all_commands();
// The command of that name ("order check"), or null.
const Command *find_command_named(const std::string &name);

// Helpers shared by the commands.
int usage_error(const Command &command, const std::string &problem);
// True and removes the flag when args holds it.
bool take_flag(Args &args, const char *flag);
// The value of "--name VALUE" or "--name=VALUE", removed from args; false when absent.
bool take_option(Args &args, const char *name, std::string &value);
// All values of a repeatable option, removed from args.
std::vector<std::string> take_all(Args &args, const char *name);
// Refuses to replace an existing file unless force is set (prints why).
bool may_write(const std::string &path, bool force);

}  // namespace pxtool

#endif
