#ifndef PXINFO_TOOL_CMD_VERIFY_H
#define PXINFO_TOOL_CMD_VERIFY_H

#include "commands.h"

namespace pxtool {
const std::vector<Command> &verify_commands();
}

#endif
