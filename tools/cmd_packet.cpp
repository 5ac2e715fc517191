// Commands on packet files: what a path is, a packet's information and
// header, writing a test packet, and the import order of update packets.
#include "cmd_packet.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include "commands.h"
#include "diagnose.h"
#include "report.h"
#include "tool_util.h"

namespace pxtool {

namespace {

// ---- type ------------------------------------------------------------------

int run_type(const Invocation &call) {
    return show_per_operand(call, [](const Operand &file, std::vector<Node> &views) {
        const Finding finding = examine(file);
        if (!acceptable(file, finding)) { return false; }
        views.push_back(Node::line()
                            .add("file", Node::text(file.name()))
                            .add("kind", Node::text(finding.kind))
                            .add("changed", changed_time(file.path())));
        return true;
    });
}

// ---- info ------------------------------------------------------------------

Node references_view(const pxinfo_packet_reference_t &references) {
    Node list = Node::list();
    for (uint32_t i = 0; i < references.count; ++i) {
        const pxinfo_replica_reference_t &ref = references.refs[i];
        list.push(Node::object()
                      .add("replica", Node::text(selector_text(ref.replica)))
                      .add("start_epoch", Node::number(ref.start_epoch))
                      .add("end_epoch", Node::number(ref.end_epoch))
                      .add("ref_value", Node::number(ref.ref_value)));
    }
    return list;
}

Node info_view(const pxinfo_packet_info_t &info, const std::string &name) {
    Node view = Node::object();
    view.add("file", Node::text(name)).add("changed", Node::text(utc_text(info.file_time)));
    const pxinfo_packet_source_info_t &source = info.sources[0];
    view.add("kind", Node::text(source.packet_type == PXINFO_PACKET_CREATION ? "kvcreate" : "kvupdate"))
        .add("packet_type", Node::text(source.packet_type == PXINFO_PACKET_CREATION ? "creation" : "update"))
        .add("major_version", Node::number(info.major_version))
        .add("minor_version", Node::number(info.minor_version))
        .add("source", Node::text(selector_text(source.source)))
        .add("pkt_seq_num", Node::number(info.pkt_seq_num))
        .add("log_pkt_uuid", Node::text(uuid_text(info.log_pkt_uuid)))
        .add("compress_type", Node::number(static_cast<int>(info.compress_type)))
        .add("aux_string", Node::text(info.aux_string));
    Node targets = Node::list();
    for (uint32_t i = 0; i < info.target_count; ++i) {
        targets.push(Node::object()
                         .add("replica", Node::text(selector_text(info.targets[i].replica)))
                         .add("name", Node::text(info.targets[i].name)));
    }
    view.add("targets", std::move(targets)).add("references", references_view(source.references));
    return view;
}

// The view of one file, or false after a message.
bool info_of(const Operand &file, Area &area, std::vector<Node> &views) {
    Finding finding = examine(file);
    if (!acceptable(file, finding)) { return false; }
    if (finding.kind != "kvcreate" && finding.kind != "kvupdate") {
        views.push_back(Node::object()
                            .add("file", Node::text(file.name()))
                            .add("changed", changed_time(file.path()))
                            .add("kind", Node::text(finding.kind)));
        return true;
    }
    Subject subject(file.name(), file.path());
    pxinfo_packet_info_t info;
    tbs_status_t status = pxinfo_get_packet_info(file.path().c_str(), area.get(), 0, &info);
    if (status == TBS_ST_OK) { status = info.status; }
    if (status != TBS_ST_OK) {
        fail(file.name(), tbs_strerror(status));
        return false;
    }
    views.push_back(info_view(info, file.name()));
    return true;
}

int run_info(const Invocation &call) {
    Area area;
    return show_per_operand(
        call, [&area](const Operand &file, std::vector<Node> &views) { return info_of(file, area, views); });
}

// ---- header ----------------------------------------------------------------

Node header_view(const pxinfo_kv_pkt_header_t &header, int major, const std::string &name) {
    pxinfo_kv_pkt_header_type_t layout = PXINFO_KV_PKT_HEADER_TYPE_3;
    pxinfo_kv_pkt_major_version_to_header_type(major, 1, &layout);
    Node view = Node::object();
    view.add("file", Node::text(name))
        .add("major_version", Node::number(major))
        .add("minor_version", Node::number(header.minor_version))
        .add("layout", Node::number(static_cast<int>(layout)))
        .add("sync_type", Node::number(header.sync_type))
        .add("family_uuid", Node::text(uuid_text(header.family_uuid)))
        .add("source_replica_uuid", Node::text(uuid_text(header.source_replica_uuid)))
        .add("pkt_seq_num", Node::number(header.pkt_seq_num))
        .add("log_pkt_uuid", Node::text(uuid_text(header.log_pkt_uuid)))
        .add("aux_string", Node::text(header.aux_string));
    Node targets = Node::list();
    for (int32_t i = 0; i < header.target_count; ++i) {
        targets.push(Node::object()
                         .add("replica_uuid", Node::text(uuid_text(header.targets[i].replica_uuid)))
                         .add("name", Node::text(header.targets[i].name)));
    }
    Node replicas = Node::list();
    for (int32_t i = 0; i < header.replica_count; ++i) {
        const pxinfo_kv_pkt_rep_desc_t &replica = header.replicas[i];
        replicas.push(Node::object()
                          .add("replica_uuid", Node::text(uuid_text(replica.replica_uuid)))
                          .add("start_epoch", Node::number(replica.start_epoch))
                          .add("end_epoch", Node::number(replica.end_epoch))
                          .add("ref_value", Node::number(replica.ref_value)));
    }
    view.add("targets", std::move(targets)).add("replicas", std::move(replicas));
    return view;
}

bool header_of(const Operand &file, std::vector<Node> &views) {
    File stream(file.path(), "rb");
    if (stream.get() == nullptr) {
        fail(file.name(), std::strerror(errno));
        return false;
    }
    Subject subject(file.name(), file.path());
    pxinfo_kv_pkt_header_t header;
    int major = 0;
    tbs_status_t status = pxinfo_kv_pkt_read_import_header_no_xdr(stream.get(), 0, &major, &header);
    if (status == TBS_ST_OK) { views.push_back(header_view(header, major, file.name())); }
    pxinfo_kv_pkt_finish_import_header_no_xdr(stream.get(), &header);
    return status == TBS_ST_OK;
}

int run_header(const Invocation &call) { return show_per_operand(call, header_of); }

// ---- packet new ------------------------------------------------------------

// "UUID[:NAME]"
bool parse_target(const std::string &text, PacketPlan::Target &target) {
    size_t colon = text.find(':');
    target.name = colon == std::string::npos ? "" : text.substr(colon + 1);
    return parse_uuid(text.substr(0, colon), "target", target.replica);
}

// "UUID:START[:END[:REF]]"; END and REF stay unset (and read back as 0 in
// the older layouts) unless given.
bool parse_replica(const std::string &text, PacketPlan::Replica &replica, bool &end_given, bool &ref_given) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (size_t colon; (colon = text.find(':', start)) != std::string::npos; start = colon + 1) {
        parts.push_back(text.substr(start, colon - start));
    }
    parts.push_back(text.substr(start));
    if (parts.size() < 2 || parts.size() > 4) {
        complain("replica \"" + printable(text) + "\" is not UUID:START[:END[:REF]]");
        return false;
    }
    if (!parse_uuid(parts[0], "replica", replica.replica) || !parse_u32(parts[1], "start epoch", replica.start_epoch)) {
        return false;
    }
    end_given = parts.size() > 2;
    ref_given = parts.size() > 3;
    replica.end_epoch = 0;
    replica.ref_value = 0;
    return (!end_given || parse_u32(parts[2], "end epoch", replica.end_epoch)) &&
           (!ref_given || parse_i32(parts[3], "reference value", replica.ref_value));
}

// What the header layout of the major version cannot carry (and a reader
// would give back as a default), or "".
std::string beyond_layout(const PacketPlan &plan, bool end_given) {
    if (plan.major_version >= 6) { return ""; }
    if (plan.sequence != 1) { return "--seq (layouts before version 6 read back 1)"; }
    if (!tbs_uuid_eq(&plan.log_uuid, &TBS_UUID_NULL)) { return "--log-uuid (layouts before version 6 carry none)"; }
    if (end_given) { return "an end epoch in --replica (layouts before version 6 carry none)"; }
    if (plan.major_version > 0) { return ""; }
    if (!plan.aux_string.empty()) { return "--aux-string (version 0 carries none)"; }
    for (const PacketPlan::Replica &replica : plan.replicas) {
        if (replica.ref_value != 0) { return "a reference value in --replica (version 0 carries none)"; }
    }
    return "";
}

int run_packet_new(const Invocation &call) {
    PacketPlan plan;
    std::string output, value;
    if (!call.value("--output", output)) { return call.usage("--output FILE is required"); }
    if (!call.operands.empty()) { return call.usage("unexpected \"" + printable(call.operands[0]) + "\""); }
    uint32_t major = 7;
    if (call.value("--major", value) && !parse_u32(value, "major version", major)) { return kExitUsage; }
    if (major > 7) { return call.usage("--major is 0 to 7"); }
    plan.major_version = static_cast<int>(major);
    if (call.value("--sync-type", value)) {
        if (value == "update") {
            plan.sync_type = 1;
        } else if (value == "creation") {
            plan.sync_type = 2;
        } else {
            return call.usage("--sync-type is update or creation");
        }
    }
    if (!call.value("--family", value) || !parse_uuid(value, "family", plan.family)) {
        return call.usage("--family UUID is required");
    }
    if (!call.value("--source", value) || !parse_uuid(value, "source", plan.source)) {
        return call.usage("--source UUID is required");
    }
    if (call.value("--seq", value) && !parse_u32(value, "sequence number", plan.sequence)) { return kExitUsage; }
    if (call.value("--log-uuid", value) && !parse_uuid(value, "log uuid", plan.log_uuid)) { return kExitUsage; }
    call.value("--aux-string", plan.aux_string);
    for (const std::string &text : call.values("--target")) {
        PacketPlan::Target target;
        if (!parse_target(text, target)) { return kExitUsage; }
        plan.targets.push_back(target);
    }
    bool any_end = false;
    for (const std::string &text : call.values("--replica")) {
        PacketPlan::Replica replica;
        bool end_given = false, ref_given = false;
        if (!parse_replica(text, replica, end_given, ref_given)) { return kExitUsage; }
        if (!end_given && plan.major_version >= 6) { replica.end_epoch = replica.start_epoch; }
        any_end = any_end || end_given;
        plan.replicas.push_back(replica);
    }
    std::string lost = beyond_layout(plan, any_end);
    if (!lost.empty()) { return call.usage("version " + std::to_string(major) + " cannot carry " + lost); }
    if (!may_write(output, call.flag("--force"))) { return kExitExists; }
    return write_packet_file(output, plan, call.flag("--force"));
}

// ---- order-of --------------------------------------------------------------

int run_order_of(const Invocation &call) {
    if (call.operands.empty()) { return call.usage("give the update packets"); }
    Area area;
    std::vector<pxinfo_packet_info_t> packets(call.operands.size());
    std::vector<std::unique_ptr<Operand>> files;
    for (size_t i = 0; i < call.operands.size(); ++i) {
        files.emplace_back(new Operand(call.operands[i]));
        const Operand &file = *files.back();
        if (!file.ready()) { return kExitFailed; }
        Finding finding = examine(file);
        if (!acceptable(file, finding)) { return kExitFailed; }
        if (finding.kind != "kvupdate" && finding.kind != "kvcreate") {
            fail(file.name(), "not a packet but " + finding.kind);
            return kExitFailed;
        }
        Subject subject(file.name(), file.path());
        if (pxinfo_get_packet_info(file.path().c_str(), area.get(), static_cast<int>(i), &packets[i]) != TBS_ST_OK ||
            packets[i].status != 0) {
            return kExitFailed;
        }
    }
    Node order = Node::list();
    for (const pxinfo_packet_info_t *packet : import_order(packets)) {
        order.push(Node::text(files[static_cast<size_t>(packet->caller_value)]->name()));
    }
    show(order, call.flag("--json"));
    return kExitOk;
}

}  // namespace

std::vector<const pxinfo_packet_info_t *> import_order(const std::vector<pxinfo_packet_info_t> &packets) {
    // Insertion: each packet goes before the first one it must precede, so
    // packets the comparison leaves unordered keep the order they were given.
    std::vector<const pxinfo_packet_info_t *> order;
    for (const pxinfo_packet_info_t &packet : packets) {
        auto position = order.begin();
        while (position != order.end() && pxinfo_compare_pkt_dependencies(&packet, *position) >= 0) { ++position; }
        order.insert(position, &packet);
    }
    return order;
}

int write_packet_file(const std::string &path, const PacketPlan &plan, bool replace) {
    std::vector<pxinfo_kv_pkt_tgt_desc_t> targets;
    for (const PacketPlan::Target &target : plan.targets) {
        targets.push_back(pxinfo_kv_pkt_tgt_desc_t{target.replica, const_cast<char *>(target.name.c_str())});
    }
    std::vector<pxinfo_kv_pkt_rep_desc_t> replicas;
    for (const PacketPlan::Replica &replica : plan.replicas) {
        replicas.push_back(
            pxinfo_kv_pkt_rep_desc_t{replica.replica, replica.start_epoch, replica.end_epoch, replica.ref_value});
    }
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
        complain("out of memory");
        return kExitFailed;
    }
    Subject subject(path, path);
    u_int size = 0;
    int status = kExitFailed;
    if (pxinfo_kv_pkt_write_header(&header, plan.major_version, &xdrs, &size) == TBS_ST_OK) {
        status = write_file(path, replace, xdrs.x_base, size);
    }
    xdrstg_destroy(&xdrs);
    return status;
}

const std::vector<Command> &packet_commands() {
    static const std::vector<Command> commands = {
        {"type",
         "FILE...",
         "tell what each file is (kvcreate, kvupdate, shorder, health, other)",
         "Prints the kind of each file and the time its status last changed. Packets and shipping\n"
         "orders are told by the library; health files by reading them. A file that looks like one of\n"
         "these but does not read as one is reported damaged, with the reason, and gives exit status 1.",
         {kJsonOption},
         run_type},
        {"info",
         "FILE...",
         "show a packet's information",
         "Reads each packet's information as a receiving site sees it: kind, version, source,\n"
         "targets, replica references with their epochs, sequence number and log uuid. For a file\n"
         "that is no packet, its kind. A damaged file is reported with the reason (exit status 1).",
         {kJsonOption},
         run_info},
        {"header",
         "FILE...",
         "show a packet's header as read",
         "Reads each packet header (magic, version and checksum checked) and prints it in the\n"
         "newest layout, with the layout the file holds.",
         {kJsonOption},
         run_header},
        {"packet new",
         "",
         "write a packet file with a header built from options",
         "Writes a packet header in the layout the major version selects, for testing installations.\n"
         "Values the layout cannot carry (a sequence number, log uuid or end epoch before version 6,\n"
         "an auxiliary text or reference value in version 0) are refused.",
         {{"--output", "FILE", "the packet file to write (required)"},
          {"--family", "UUID", "the family (required)"},
          {"--source", "UUID", "the source replica (required)"},
          {"--major", "N", "major version, 0 to 7 (default 7)"},
          {"--sync-type", "TYPE", "update (default) or creation"},
          {"--target", "UUID[:NAME]", "a target replica; repeatable", true},
          {"--replica", "UUID:START[:END[:REF]]", "a replica descriptor with its epochs; repeatable", true},
          {"--seq", "N", "packet sequence number (default 1)"},
          {"--log-uuid", "UUID", "uuid of the packet log"},
          {"--aux-string", "TEXT", "auxiliary text"},
          kForceOption},
         run_packet_new},
        {"order-of",
         "PACKET...",
         "sort update packets into import order",
         "Prints the packets in the order they must be imported: by their epoch rows, then the\n"
         "packet log's uuid, then the sequence number. Packets the comparison leaves unordered\n"
         "keep the order given.",
         {kJsonOption},
         run_order_of},
    };
    return commands;
}

}  // namespace pxtool
