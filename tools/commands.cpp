// The command table. Each group of commands defines its entries in its own
// file; this list fixes the order the help shows them in.
#include "commands.h"

namespace pxtool {

const std::vector<Command> &all_commands() {
    static const std::vector<Command> commands = {};
    return commands;
}

}  // namespace pxtool
