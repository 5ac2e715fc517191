// The pxinfo subcommands: each group lives in its own file and registers its
// entries, with their options, in the table that main() parses and
// dispatches on, and that the help, the manual page and the completion
// follow.
#ifndef PXINFO_TOOL_COMMANDS_H
#define PXINFO_TOOL_COMMANDS_H

#include <map>
#include <string>
#include <vector>

namespace pxtool {

// Exit statuses, documented in `pxinfo --help`.
constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;  // a file is damaged, or the library reported a problem with it
constexpr int kExitUsage = 2;   // the command line is wrong
constexpr int kExitExists = 3;  // an output file exists and --force was not given

using Args = std::vector<std::string>;

struct Option {
    const char *name;         // "--json"
    const char *value;        // what the value is ("FILE"), null for a flag
    const char *help;         // one line for the usage text
    bool repeatable = false;  // may be given several times
    char short_name = '\0';   // 'r' for "-r"
};

struct Command;

// A parsed command line: the options given and the operands.
class Invocation {
  public:
    explicit Invocation(const Command &command) : command(command) {}
    bool flag(const char *name) const { return given.count(name) != 0; }
    // The value of an option; false when it was not given.
    bool value(const char *name, std::string &out) const;
    std::vector<std::string> values(const char *name) const;
    // Prints the problem and the usage; returns kExitUsage.
    int usage(const std::string &problem) const;

    const Command &command;
    std::map<std::string, std::vector<std::string>> given;
    Args operands;
};

struct Command {
    const char *name;         // "type", "order check", ...
    const char *operands;     // "FILE...", for the usage line
    const char *summary;      // one line for the command list
    const char *description;  // the paragraph of `pxinfo help NAME`
    std::vector<Option> options;
    int (*run)(const Invocation &invocation);
};

extern const Option kJsonOption;
extern const Option kForceOption;

// Every command, in the order the help lists them.
const std::vector<Command> &all_commands();
// The command of that name ("order check"), or null.
const Command *find_command_named(const std::string &name);

// Refuses to replace an existing file unless force is set (prints why).
bool may_write(const std::string &path, bool force);
// Prints that path exists and --force was not given.
void complain_exists(const std::string &path);

}  // namespace pxtool

#endif
