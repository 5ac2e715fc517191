// Packet commands and the pieces of them that other commands reuse.
#ifndef PXINFO_TOOL_CMD_PACKET_H
#define PXINFO_TOOL_CMD_PACKET_H

#include <string>
#include <vector>

#include "commands.h"
#include "pxinfo/pxinfo.h"

namespace pxtool {

// What a packet file to write holds.
struct PacketPlan {
    struct Target {
        tbs_uuid_t replica;
        std::string name;
    };
    struct Replica {
        tbs_uuid_t replica;
        uint32_t start_epoch;
        uint32_t end_epoch;
        int32_t ref_value;
    };
    int major_version = 7;
    int minor_version = 0;
    int sync_type = 1;  // update
    tbs_uuid_t family = TBS_UUID_NULL;
    tbs_uuid_t source = TBS_UUID_NULL;
    uint32_t sequence = 1;
    tbs_uuid_t log_uuid = TBS_UUID_NULL;
    std::string aux_string;
    std::vector<Target> targets;
    std::vector<Replica> replicas;
};

// Writes the packet header of plan to path with the library's writer
// through write_whole; returns its exit status.
int write_packet_file(const std::string &path, const PacketPlan &plan, bool replace);

// The packets in import order (pointers into packets).
std::vector<const pxinfo_packet_info_t *> import_order(const std::vector<pxinfo_packet_info_t> &packets);

const std::vector<Command> &packet_commands();

}  // namespace pxtool

#endif
