#ifndef PXINFO_TOOL_CMD_HEALTH_H
#define PXINFO_TOOL_CMD_HEALTH_H

#include "commands.h"

namespace pxtool {
const std::vector<Command> &health_commands();
}

#endif
