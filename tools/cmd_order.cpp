// Commands on shipping orders: check one, show one, and make a new one.
#include <cstring>
#include <ctime>

#include "cmd_order.h"
#include "commands.h"
#include "json_writer.h"
#include "tool_util.h"

namespace pxtool {

namespace {

// Calls visit for every element of a list of the order, in list order.
template <typename Element, typename Visit>
void for_each_element(const llist_d_head_t &head, Visit visit) {
    for (const llist_d_link_t *link = head.first; link != nullptr && link != LLIST_D_END(&head); link = link->next)
        visit(*static_cast<const Element *>(link->element));
}

// Reads the order at path; prints the library's messages (or that it is no
// shipping order) and returns null when it is not a good one.
pxinfo_shp_order_t *read_order(const std::string &path) {
    File file(path, "r");
    if (open_for_reading(file, path) == nullptr) return nullptr;
    pxinfo_shp_order_t *order = nullptr;
    tbs_status_t status = pxinfo_shp_read_order(file.get(), path.c_str(), &order);
    if (status == TBS_ST_NOT_FOUND && order == nullptr)
        std::fprintf(stderr, "pxinfo: \"%s\" is not a shipping order\n", path.c_str());
    return status == TBS_ST_OK ? order : nullptr;
}

const char *or_empty(const char *text) { return text != nullptr ? text : ""; }

void print_order_text(const pxinfo_shp_order_t &order) {
    std::printf("identifier:        %s\n", uuid_text(order.identifier).c_str());
    std::printf("created:           %u \"%s\"\n", order.creation_time, or_empty(order.creation_string));
    if (order.expiration_string != nullptr)
        std::printf("expires:           %u \"%s\"\n", order.expiration_time, order.expiration_string);
    if (order.storage_class != nullptr) std::printf("storage class:     %s\n", order.storage_class);
    std::printf("original data:     %s\n", or_empty(order.original_data_path));
    std::printf("local data:        %s\n", or_empty(order.local_data_path));
    std::printf("destinations:      %u\n", order.destination_count);
    for_each_element<pxinfo_shp_destination_t>(order.destinations, [](const pxinfo_shp_destination_t &d) {
        if (d.delivery_string != nullptr)
            std::printf("    %s delivered %u \"%s\" via %s\n", d.host, d.delivery_time, d.delivery_string,
                        d.delivery_route);
        else std::printf("    %s%s\n", d.host, d.failed ? " (failed)" : "");
    });
    auto print_hop = [](const pxinfo_shp_hop_t &hop) {
        std::printf("    %s %u \"%s\"\n", hop.host, hop.time, or_empty(hop.time_string));
    };
    std::printf("arrival route:     %u hops\n", order.arrival_count);
    for_each_element<pxinfo_shp_hop_t>(order.arrival_route, print_hop);
    if (order.has_return_route) {
        std::printf("return route:      %u hops\n", order.return_count);
        for_each_element<pxinfo_shp_hop_t>(order.return_route, print_hop);
    }
    std::printf("failed attempts:   %u\n", order.failure_count);
    for_each_element<pxinfo_shp_failure_t>(order.failed_attempts, [](const pxinfo_shp_failure_t &f) {
        std::printf("    %s %u \"%s\" via %s to %s\n", f.type ? "C" : "R", f.time, or_empty(f.time_string), f.route,
                    f.destination);
    });
    std::printf("notify:            %u\n", order.notification_count);
    for_each_element<pxinfo_shp_text_t>(order.notification_addresses,
                                        [](const pxinfo_shp_text_t &t) { std::printf("    %s\n", or_empty(t.text)); });
    std::printf("comment:           %u lines\n", order.comment_count);
    for_each_element<pxinfo_shp_text_t>(order.comment_lines,
                                        [](const pxinfo_shp_text_t &t) { std::printf("    %s\n", or_empty(t.text)); });
}

void json_hops(JsonWriter &json, const char *name, const llist_d_head_t &route) {
    json.key(name);
    json.begin_array();
    for_each_element<pxinfo_shp_hop_t>(route, [&json](const pxinfo_shp_hop_t &hop) {
        json.begin_object();
        json.field("host", hop.host);
        json.field("time", hop.time);
        json.field("time_string", hop.time_string);
        json.end_object();
    });
    json.end_array();
}

void json_texts(JsonWriter &json, const char *name, const llist_d_head_t &texts) {
    json.key(name);
    json.begin_array();
    for_each_element<pxinfo_shp_text_t>(texts, [&json](const pxinfo_shp_text_t &t) { json.value(t.text); });
    json.end_array();
}

void print_order_json(const pxinfo_shp_order_t &order) {
    JsonWriter json(stdout);
    json.begin_object();
    json.field("identifier", uuid_text(order.identifier));
    json.field("creation_time", order.creation_time);
    json.field("creation_string", order.creation_string);
    json.field("expiration_time", order.expiration_time);
    json.field("expiration_string", order.expiration_string);
    json.field("storage_class", order.storage_class);
    json.field("original_data_path", order.original_data_path);
    json.field("local_data_path", order.local_data_path);
    json.key("destinations");
    json.begin_array();
    for_each_element<pxinfo_shp_destination_t>(order.destinations, [&json](const pxinfo_shp_destination_t &d) {
        json.begin_object();
        json.field("host", d.host);
        json.key("failed");
        json.boolean(d.failed != 0);
        json.key("delivered");
        json.boolean(d.delivery_string != nullptr);
        if (d.delivery_string != nullptr) {
            json.field("delivery_time", d.delivery_time);
            json.field("delivery_string", d.delivery_string);
            json.field("delivery_route", d.delivery_route);
        }
        json.end_object();
    });
    json.end_array();
    json_hops(json, "arrival_route", order.arrival_route);
    json.key("has_return_route");
    json.boolean(order.has_return_route != 0);
    json_hops(json, "return_route", order.return_route);
    json.key("failed_attempts");
    json.begin_array();
    for_each_element<pxinfo_shp_failure_t>(order.failed_attempts, [&json](const pxinfo_shp_failure_t &f) {
        json.begin_object();
        json.field("type", f.type ? "C" : "R");
        json.field("time", f.time);
        json.field("time_string", f.time_string);
        json.field("route", f.route);
        json.field("destination", f.destination);
        json.end_object();
    });
    json.end_array();
    json_texts(json, "notification_addresses", order.notification_addresses);
    json_texts(json, "comment_lines", order.comment_lines);
    json.end_object();
}

int run_order_check(const Args &args) {
    if (args.size() != 1) return usage_error(*find_command_named("order check"), "give one file");
    pxinfo_shp_order_t *order = read_order(args[0]);
    if (order == nullptr) return kExitFailed;
    std::printf("%s: a well-formed shipping order with %u destination%s\n", args[0].c_str(), order->destination_count,
                order->destination_count == 1 ? "" : "s");
    pxinfo_shp_destroy_order(&order);
    return kExitOk;
}

int run_order_show(const Args &given) {
    Args args = given;
    bool as_json = take_flag(args, "--json");
    if (args.size() != 1) return usage_error(*find_command_named("order show"), "give one file");
    pxinfo_shp_order_t *order = read_order(args[0]);
    if (order == nullptr) return kExitFailed;
    if (as_json) print_order_json(*order);
    else print_order_text(*order);
    pxinfo_shp_destroy_order(&order);
    return kExitOk;
}

// "TIME TEXT" or "TIME" (the text is then the time in UTC).
bool parse_date(const std::string &value, const char *what, uint32_t &time, std::string &text) {
    size_t blank = value.find(' ');
    if (!parse_u32(value.substr(0, blank), what, time)) return false;
    text = blank == std::string::npos ? utc_text(static_cast<time_t>(time)) : value.substr(blank + 1);
    // Orders hold a date text as one bare word.
    if (text.empty() || text.find_first_of(" \t\"") != std::string::npos) {
        std::fprintf(stderr, "pxinfo: the %s text \"%s\" must be one word without quotes\n", what, text.c_str());
        return false;
    }
    return true;
}

int run_order_new(const Args &given) {
    const Command &command = *find_command_named("order new");
    Args args = given;
    OrderPlan plan;
    bool force = take_flag(args, "--force");
    std::string output, value;
    if (!take_option(args, "--output", output)) return usage_error(command, "--output FILE is required");
    if (take_option(args, "--id", value) && !parse_uuid(value, "identifier", plan.identifier)) return kExitUsage;
    plan.creation_time = static_cast<uint32_t>(std::time(nullptr));
    plan.creation_string = utc_text(static_cast<time_t>(plan.creation_time));
    if (take_option(args, "--created", value) &&
        !parse_date(value, "creation time", plan.creation_time, plan.creation_string))
        return kExitUsage;
    if (take_option(args, "--expires", value)) {
        plan.has_expiration = true;
        if (!parse_date(value, "expiration time", plan.expiration_time, plan.expiration_string)) return kExitUsage;
    }
    plan.has_storage_class = take_option(args, "--storage-class", plan.storage_class);
    take_option(args, "--original-path", plan.original_data_path);
    take_option(args, "--local-path", plan.local_data_path);
    plan.destinations = take_all(args, "--destination");
    plan.notifications = take_all(args, "--notify");
    plan.comment_lines = take_all(args, "--comment");
    if (!args.empty()) return usage_error(command, "unexpected \"" + args[0] + "\"");
    if (!may_write(output, force)) return kExitExists;
    return write_order_file(output, plan, true) ? kExitOk : kExitFailed;
}

// Builds the order in the library's record; false after the library's message.
bool build_order(const std::string &path, const OrderPlan &plan, pxinfo_shp_order_t *order) {
    const char *file = path.c_str();
    stg_area_t *area = order->area;
    order->identifier = plan.identifier;
    order->creation_time = plan.creation_time;
    order->creation_string = stg_area_strdup(area, plan.creation_string.c_str());
    if (plan.has_expiration) {
        order->expiration_time = plan.expiration_time;
        order->expiration_string = stg_area_strdup(area, plan.expiration_string.c_str());
    }
    if (plan.has_storage_class) order->storage_class = stg_area_strdup(area, plan.storage_class.c_str());
    order->original_data_path = stg_area_strdup(area, plan.original_data_path.c_str());
    order->local_data_path = stg_area_strdup(area, plan.local_data_path.c_str());
    if (order->creation_string == nullptr || order->original_data_path == nullptr || order->local_data_path == nullptr)
        return false;
    for (const std::string &host : plan.destinations)
        if (pxinfo_shp_create_destination(order, file, host.c_str(), 1, nullptr) != TBS_ST_OK) return false;
    for (const std::string &address : plan.notifications)
        if (pxinfo_shp_create_notification(order, file, address.c_str()) != TBS_ST_OK) return false;
    for (const std::string &line : plan.comment_lines)
        if (pxinfo_shp_create_comment(order, file, line.c_str()) != TBS_ST_OK) return false;
    return true;
}

}  // namespace

bool write_order_file(const std::string &path, const OrderPlan &plan, bool force) {
    if (!may_write(path, force)) return false;
    pxinfo_shp_order_t *order = nullptr;
    if (pxinfo_shp_new_order(&order) != TBS_ST_OK) {
        std::fprintf(stderr, "pxinfo: out of memory\n");
        return false;
    }
    bool written = false;
    if (build_order(path, plan, order)) {
        File out(path, "w");
        if (out.get() == nullptr) std::fprintf(stderr, "pxinfo: cannot create \"%s\"\n", path.c_str());
        else written = pxinfo_shp_write_order(out.get(), path.c_str(), order) == TBS_ST_OK && out.close();
    }
    pxinfo_shp_destroy_order(&order);
    return written;
}

const std::vector<Command> &order_commands() {
    static const std::vector<Command> commands = {
        {"order check", "check that a file is a well-formed shipping order",
         "usage: pxinfo order check FILE\n\n"
         "Reads the order with the library's reader, which checks every line. Exit status 0 when\n"
         "it is well formed; otherwise the library's message names the file and line, exit 1.\n",
         run_order_check},
        {"order show", "show a shipping order",
         "usage: pxinfo order show [--json] FILE\n\n"
         "  --json   print it as JSON\n",
         run_order_show},
        {"order new", "write a new shipping order",
         "usage: pxinfo order new --output FILE [options]\n\n"
         "  --id UUID                 the order's identifier (default: the null uuid)\n"
         "  --created \"TIME [TEXT]\"   creation time in seconds and its text, one word (default: now)\n"
         "  --expires \"TIME [TEXT]\"   expiration time and its text (default: none)\n"
         "  --storage-class NAME      storage class (default: none)\n"
         "  --original-path PATH      original data path\n"
         "  --local-path PATH         local data path\n"
         "  --destination HOST        a destination host; repeatable\n"
         "  --notify ADDRESS          a notification address; repeatable\n"
         "  --comment LINE            a comment line; repeatable\n"
         "  --force                   replace an existing FILE\n",
         run_order_new},
    };
    return commands;
}

}  // namespace pxtool
