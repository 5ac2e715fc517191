// Shipping-order commands and the order writer the demo reuses.
#ifndef PXINFO_TOOL_CMD_ORDER_H
#define PXINFO_TOOL_CMD_ORDER_H

#include <string>
#include <vector>

#include "commands.h"
#include "pxinfo/pxinfo.h"

namespace pxtool {

struct OrderPlan {
    tbs_uuid_t identifier = TBS_UUID_NULL;
    uint32_t creation_time = 0;
    std::string creation_string;
    bool has_expiration = false;
    uint32_t expiration_time = 0;
    std::string expiration_string;
    bool has_storage_class = false;
    std::string storage_class;
    std::string original_data_path;
    std::string local_data_path;
    std::vector<std::string> destinations;
    std::vector<std::string> notifications;
    std::vector<std::string> comment_lines;
};

// Writes the order with the library's writer (which forces it to storage)
// through write_whole; returns its exit status.
int write_order_file(const std::string &path, const OrderPlan &plan, bool replace);

const std::vector<Command> &order_commands();

}  // namespace pxtool

#endif
