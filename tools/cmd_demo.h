#ifndef PXINFO_TOOL_CMD_DEMO_H
#define PXINFO_TOOL_CMD_DEMO_H

#include "commands.h"

namespace pxtool {
const std::vector<Command> &demo_commands();
}

#endif
