// Commands on packet files: what a path is, a packet's information and
// header, writing a test packet, and the import order of update packets.
#include <sys/stat.h>

#include <cstring>
#include <vector>

#include "cmd_packet.h"
#include "commands.h"
#include "json_writer.h"
#include "tool_util.h"

namespace pxtool {

namespace {

// ---- type ------------------------------------------------------------------

int run_type(const Args &args) {
    if (args.empty()) return usage_error(*find_command_named("type"), "give one or more files");
    int exit_status = kExitOk;
    for (const std::string &path : args) {
        pxinfo_file_type_t type = PXINFO_FILE_OTHER;
        if (pxinfo_get_file_type(path.c_str(), &type) != TBS_ST_OK) {
            exit_status = kExitFailed;
            continue;
        }
        struct stat info;
        std::string changed = ::stat(path.c_str(), &info) == 0 ? utc_text(info.st_ctime) : "?";
        std::printf("%s: %s (status changed %s)\n", path.c_str(), file_type_name(type).c_str(), changed.c_str());
    }
    return exit_status;
}

// ---- info ------------------------------------------------------------------

void print_references(const pxinfo_packet_reference_t &references) {
    for (uint32_t i = 0; i < references.count; ++i) {
        const pxinfo_replica_reference_t &ref = references.refs[i];
        std::printf("    %s epochs %u..%u ref %d\n", selector_text(ref.replica).c_str(), ref.start_epoch, ref.end_epoch,
                    ref.ref_value);
    }
}

void print_info_text(const pxinfo_packet_info_t &info) {
    std::printf("file:            %s\n", info.pkt_name);
    std::printf("status changed:  %s\n", utc_text(info.file_time).c_str());
    if (info.component_type != PXINFO_COMPONENT_VAULT) {
        std::printf("kind:            not a packet\n");
        return;
    }
    const pxinfo_packet_source_info_t &source = info.sources[0];
    std::printf("kind:            %s packet\n", source.packet_type == PXINFO_PACKET_CREATION ? "creation" : "update");
    std::printf("version:         %d.%d\n", info.major_version, info.minor_version);
    std::printf("source:          %s\n", selector_text(source.source).c_str());
    std::printf("sequence number: %u\n", info.pkt_seq_num);
    std::printf("log uuid:        %s\n", uuid_text(info.log_pkt_uuid).c_str());
    std::printf("compress type:   %d\n", static_cast<int>(info.compress_type));
    std::printf("targets:         %u\n", info.target_count);
    for (uint32_t i = 0; i < info.target_count; ++i)
        std::printf("    %s name \"%s\"\n", selector_text(info.targets[i].replica).c_str(),
                    info.targets[i].name != nullptr ? info.targets[i].name : "");
    std::printf("references:      %u\n", source.references.count);
    print_references(source.references);
    if (info.aux_string != nullptr && info.aux_string[0] != '\0') std::printf("aux string:      %s\n", info.aux_string);
}

void json_selector(JsonWriter &json, const char *name, const pxinfo_selector_t &selector) {
    json.field(name, selector_text(selector));
}

void print_info_json(const pxinfo_packet_info_t &info) {
    JsonWriter json(stdout);
    json.begin_object();
    json.field("file", info.pkt_name);
    json.field("status", info.status);
    json.field("file_time", info.file_time);
    json.field("component_type", static_cast<int>(info.component_type));
    if (info.component_type == PXINFO_COMPONENT_VAULT) {
        const pxinfo_packet_source_info_t &source = info.sources[0];
        json.field("packet_type", source.packet_type == PXINFO_PACKET_CREATION ? "creation" : "update");
        json.field("major_version", info.major_version);
        json.field("minor_version", info.minor_version);
        json_selector(json, "source", source.source);
        json.field("pkt_seq_num", info.pkt_seq_num);
        json.field("log_pkt_uuid", uuid_text(info.log_pkt_uuid));
        json.field("compress_type", static_cast<int>(info.compress_type));
        json.field("aux_string", info.aux_string);
        json.key("targets");
        json.begin_array();
        for (uint32_t i = 0; i < info.target_count; ++i) {
            json.begin_object();
            json_selector(json, "replica", info.targets[i].replica);
            json.field("name", info.targets[i].name);
            json.end_object();
        }
        json.end_array();
        json.key("references");
        json.begin_array();
        for (uint32_t i = 0; i < source.references.count; ++i) {
            const pxinfo_replica_reference_t &ref = source.references.refs[i];
            json.begin_object();
            json_selector(json, "replica", ref.replica);
            json.field("start_epoch", ref.start_epoch);
            json.field("end_epoch", ref.end_epoch);
            json.field("ref_value", ref.ref_value);
            json.end_object();
        }
        json.end_array();
    }
    json.end_object();
}

int run_info(const Args &given) {
    Args args = given;
    bool as_json = take_flag(args, "--json");
    if (args.size() != 1) return usage_error(*find_command_named("info"), "give one file");
    Area area;
    pxinfo_packet_info_t info;
    tbs_status_t status = pxinfo_get_packet_info(args[0].c_str(), area.get(), 0, &info);
    if (status != TBS_ST_OK) {
        std::fprintf(stderr, "pxinfo: %s: %s\n", args[0].c_str(), tbs_strerror(status));
        return kExitFailed;
    }
    if (info.status != 0) return kExitFailed;  // the library printed why
    if (as_json) print_info_json(info);
    else print_info_text(info);
    return kExitOk;
}

// ---- header ----------------------------------------------------------------

void print_header_text(const pxinfo_kv_pkt_header_t &header, int major) {
    pxinfo_kv_pkt_header_type_t layout = PXINFO_KV_PKT_HEADER_TYPE_3;
    pxinfo_kv_pkt_major_version_to_header_type(major, 1, &layout);
    std::printf("version:         %d.%d (header layout %d)\n", major, header.minor_version, static_cast<int>(layout));
    std::printf("sync type:       %d (%s)\n", header.sync_type,
                file_type_name(pxinfo_kv_pkt_sync_type_to_file_type(header.sync_type)).c_str());
    std::printf("family:          %s\n", uuid_text(header.family_uuid).c_str());
    std::printf("source replica:  %s\n", uuid_text(header.source_replica_uuid).c_str());
    std::printf("sequence number: %u\n", header.pkt_seq_num);
    std::printf("log uuid:        %s\n", uuid_text(header.log_pkt_uuid).c_str());
    std::printf("targets:         %d\n", header.target_count);
    for (int32_t i = 0; i < header.target_count; ++i)
        std::printf("    %s \"%s\"\n", uuid_text(header.targets[i].replica_uuid).c_str(),
                    header.targets[i].name != nullptr ? header.targets[i].name : "");
    std::printf("replicas:        %d\n", header.replica_count);
    for (int32_t i = 0; i < header.replica_count; ++i) {
        const pxinfo_kv_pkt_rep_desc_t &replica = header.replicas[i];
        std::printf("    %s epochs %u..%u ref %d\n", uuid_text(replica.replica_uuid).c_str(), replica.start_epoch,
                    replica.end_epoch, replica.ref_value);
    }
}

void print_header_json(const pxinfo_kv_pkt_header_t &header, int major) {
    pxinfo_kv_pkt_header_type_t layout = PXINFO_KV_PKT_HEADER_TYPE_3;
    pxinfo_kv_pkt_major_version_to_header_type(major, 1, &layout);
    JsonWriter json(stdout);
    json.begin_object();
    json.field("major_version", major);
    json.field("minor_version", header.minor_version);
    json.field("layout", static_cast<int>(layout));
    json.field("sync_type", header.sync_type);
    json.field("family_uuid", uuid_text(header.family_uuid));
    json.field("source_replica_uuid", uuid_text(header.source_replica_uuid));
    json.field("pkt_seq_num", header.pkt_seq_num);
    json.field("log_pkt_uuid", uuid_text(header.log_pkt_uuid));
    json.field("aux_string", header.aux_string);
    json.key("targets");
    json.begin_array();
    for (int32_t i = 0; i < header.target_count; ++i) {
        json.begin_object();
        json.field("replica_uuid", uuid_text(header.targets[i].replica_uuid));
        json.field("name", header.targets[i].name);
        json.end_object();
    }
    json.end_array();
    json.key("replicas");
    json.begin_array();
    for (int32_t i = 0; i < header.replica_count; ++i) {
        const pxinfo_kv_pkt_rep_desc_t &replica = header.replicas[i];
        json.begin_object();
        json.field("replica_uuid", uuid_text(replica.replica_uuid));
        json.field("start_epoch", replica.start_epoch);
        json.field("end_epoch", replica.end_epoch);
        json.field("ref_value", replica.ref_value);
        json.end_object();
    }
    json.end_array();
    json.end_object();
}

int run_header(const Args &given) {
    Args args = given;
    bool as_json = take_flag(args, "--json");
    if (args.size() != 1) return usage_error(*find_command_named("header"), "give one file");
    File file(args[0], "rb");
    if (open_for_reading(file, args[0]) == nullptr) return kExitFailed;
    pxinfo_kv_pkt_header_t header;
    int major = 0;
    tbs_status_t status = pxinfo_kv_pkt_read_import_header_no_xdr(file.get(), 0, &major, &header);
    if (status == TBS_ST_OK) {
        if (as_json) print_header_json(header, major);
        else print_header_text(header, major);
    }
    pxinfo_kv_pkt_finish_import_header_no_xdr(file.get(), &header);
    return status == TBS_ST_OK ? kExitOk : kExitFailed;
}

// ---- packet new ------------------------------------------------------------

// "UUID[:NAME]"
bool parse_target(const std::string &text, PacketPlan::Target &target) {
    size_t colon = text.find(':');
    target.name = colon == std::string::npos ? "" : text.substr(colon + 1);
    return parse_uuid(text.substr(0, colon), "target", target.replica);
}

// "UUID:START[:END[:REF]]"
bool parse_replica(const std::string &text, PacketPlan::Replica &replica) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (size_t colon; (colon = text.find(':', start)) != std::string::npos; start = colon + 1)
        parts.push_back(text.substr(start, colon - start));
    parts.push_back(text.substr(start));
    if (parts.size() < 2 || parts.size() > 4) {
        std::fprintf(stderr, "pxinfo: replica \"%s\" is not UUID:START[:END[:REF]]\n", text.c_str());
        return false;
    }
    uint32_t ref = 0;
    replica.end_epoch = 0;
    if (!parse_uuid(parts[0], "replica", replica.replica) || !parse_u32(parts[1], "start epoch", replica.start_epoch))
        return false;
    replica.end_epoch = replica.start_epoch;
    if (parts.size() > 2 && !parse_u32(parts[2], "end epoch", replica.end_epoch)) return false;
    if (parts.size() > 3 && !parse_u32(parts[3], "reference value", ref)) return false;
    replica.ref_value = static_cast<int32_t>(ref);
    return true;
}

int run_packet_new(const Args &given) {
    const Command &command = *find_command_named("packet new");
    Args args = given;
    PacketPlan plan;
    bool force = take_flag(args, "--force");
    std::string output, value;
    if (!take_option(args, "--output", output)) return usage_error(command, "--output FILE is required");
    if (take_option(args, "--major", value)) {
        uint32_t major = 0;
        if (!parse_u32(value, "major version", major)) return kExitUsage;
        plan.major_version = static_cast<int>(major);
    }
    if (take_option(args, "--sync-type", value)) {
        if (value == "update") plan.sync_type = 1;
        else if (value == "creation") plan.sync_type = 2;
        else return usage_error(command, "--sync-type is update or creation");
    }
    if (!take_option(args, "--family", value) || !parse_uuid(value, "family", plan.family))
        return usage_error(command, "--family UUID is required");
    if (!take_option(args, "--source", value) || !parse_uuid(value, "source", plan.source))
        return usage_error(command, "--source UUID is required");
    if (take_option(args, "--seq", value) && !parse_u32(value, "sequence number", plan.sequence)) return kExitUsage;
    if (take_option(args, "--log-uuid", value) && !parse_uuid(value, "log uuid", plan.log_uuid)) return kExitUsage;
    take_option(args, "--aux-string", plan.aux_string);
    for (const std::string &text : take_all(args, "--target")) {
        PacketPlan::Target target;
        if (!parse_target(text, target)) return kExitUsage;
        plan.targets.push_back(target);
    }
    for (const std::string &text : take_all(args, "--replica")) {
        PacketPlan::Replica replica;
        if (!parse_replica(text, replica)) return kExitUsage;
        plan.replicas.push_back(replica);
    }
    if (!args.empty()) return usage_error(command, "unexpected \"" + args[0] + "\"");
    if (!may_write(output, force)) return kExitExists;
    return write_packet_file(output, plan, true) ? kExitOk : kExitFailed;
}

// ---- order-of --------------------------------------------------------------

int run_order_of(const Args &args) {
    if (args.empty()) return usage_error(*find_command_named("order-of"), "give the update packets");
    Area area;
    std::vector<pxinfo_packet_info_t> packets(args.size());
    for (size_t i = 0; i < args.size(); ++i) {
        if (pxinfo_get_packet_info(args[i].c_str(), area.get(), static_cast<int>(i), &packets[i]) != TBS_ST_OK ||
            packets[i].status != 0)
            return kExitFailed;
        if (packets[i].component_type != PXINFO_COMPONENT_VAULT) {
            std::fprintf(stderr, "pxinfo: \"%s\" is not a packet\n", args[i].c_str());
            return kExitFailed;
        }
    }
    std::vector<const pxinfo_packet_info_t *> order = import_order(packets);
    for (const pxinfo_packet_info_t *packet : order) std::printf("%s\n", packet->pkt_name);
    return kExitOk;
}

}  // namespace

std::vector<const pxinfo_packet_info_t *> import_order(const std::vector<pxinfo_packet_info_t> &packets) {
    // Insertion: each packet goes before the first one it must precede, so
    // packets the comparison leaves unordered keep the order they were given.
    std::vector<const pxinfo_packet_info_t *> order;
    for (const pxinfo_packet_info_t &packet : packets) {
        auto position = order.begin();
        while (position != order.end() && pxinfo_compare_pkt_dependencies(&packet, *position) >= 0) ++position;
        order.insert(position, &packet);
    }
    return order;
}

bool write_packet_file(const std::string &path, const PacketPlan &plan, bool force) {
    std::vector<pxinfo_kv_pkt_tgt_desc_t> targets;
    for (const PacketPlan::Target &target : plan.targets)
        targets.push_back(pxinfo_kv_pkt_tgt_desc_t{target.replica, const_cast<char *>(target.name.c_str())});
    std::vector<pxinfo_kv_pkt_rep_desc_t> replicas;
    for (const PacketPlan::Replica &replica : plan.replicas)
        replicas.push_back(
            pxinfo_kv_pkt_rep_desc_t{replica.replica, replica.start_epoch, replica.end_epoch, replica.ref_value});
    pxinfo_kv_pkt_header_t header;
    std::memset(&header, 0, sizeof header);
    header.minor_version = plan.minor_version;
    header.source_replica_uuid = plan.source;
    header.family_uuid = plan.family;
    header.target_count = static_cast<int32_t>(targets.size());
    header.sync_type = plan.sync_type;
    header.pkt_seq_num = plan.sequence;
    header.aux_count = 1;
    header.log_pkt_uuid = plan.log_uuid;
    header.compress_type = PXINFO_COMPRESS_DEFAULT;
    header.targets = targets.empty() ? nullptr : targets.data();
    header.replica_count = static_cast<int32_t>(replicas.size());
    header.replicas = replicas.empty() ? nullptr : replicas.data();
    header.aux_string = const_cast<char *>(plan.aux_string.c_str());

    XDR xdrs;
    if (xdrstg_create(&xdrs, 32768, 0) != TBS_ST_OK) {
        std::fprintf(stderr, "pxinfo: out of memory\n");
        return false;
    }
    u_int size = 0;
    tbs_status_t status = pxinfo_kv_pkt_write_header(&header, plan.major_version, &xdrs, &size);
    bool written = status == TBS_ST_OK && write_new_file(path, xdrs.x_base, size, force);
    xdrstg_destroy(&xdrs);
    return written;
}

const std::vector<Command> &packet_commands() {
    static const std::vector<Command> commands = {
        {"type", "tell what each file is (shorder, kvcreate, kvupdate, other)",
         "usage: pxinfo type FILE...\n\n"
         "Prints the type of each file as the library classifies it, and the time its status last\n"
         "changed. A file that cannot be examined gives the library's message and exit status 1.\n",
         run_type},
        {"info", "show a packet's information",
         "usage: pxinfo info [--json] FILE\n\n"
         "Reads the packet's information as a receiving site sees it: kind, version, source,\n"
         "targets, replica references with their epochs, sequence number and log uuid.\n"
         "  --json   print it as JSON\n",
         run_info},
        {"header", "show a packet's header as read",
         "usage: pxinfo header [--json] FILE\n\n"
         "Reads the packet header (magic, version and checksum checked) and prints it in the\n"
         "newest layout, with the layout the file holds.\n"
         "  --json   print it as JSON\n",
         run_header},
        {"packet new", "write a packet file with a header built from options",
         "usage: pxinfo packet new --output FILE --family UUID --source UUID [options]\n\n"
         "Writes a packet header in the layout the major version selects, for testing\n"
         "installations.\n"
         "  --major N              major version, 0 to 7 (default 7)\n"
         "  --sync-type T          update (default) or creation\n"
         "  --target UUID[:NAME]   a target replica; repeatable\n"
         "  --replica UUID:START[:END[:REF]]  a replica descriptor with its epochs; repeatable\n"
         "  --seq N                packet sequence number (default 1)\n"
         "  --log-uuid UUID        uuid of the packet log\n"
         "  --aux-string TEXT      auxiliary text\n"
         "  --force                replace an existing FILE\n",
         run_packet_new},
        {"order-of", "sort update packets into import order",
         "usage: pxinfo order-of PACKET...\n\n"
         "Prints the packets in the order they must be imported: by their epoch rows, then the\n"
         "packet log's uuid, then the sequence number. Packets the comparison leaves unordered\n"
         "keep the order given.\n",
         run_order_of},
    };
    return commands;
}

}  // namespace pxtool
