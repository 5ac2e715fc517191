// Commands on shipping orders: check one, show one, and make a new one.
#include "cmd_order.h"

#include <cstring>
#include <ctime>
#include <set>

#include "commands.h"
#include "diagnose.h"
#include "report.h"
#include "tool_util.h"

namespace pxtool {

namespace {

// Calls visit for every element of a list of the order, in list order.
template <typename Element, typename Visit>
void for_each_element(const llist_d_head_t &head, Visit visit) {
    for (const llist_d_link_t *link = head.first; link != nullptr && link != LLIST_D_END(&head); link = link->next) {
        visit(*static_cast<const Element *>(link->element));
    }
}

// Reads the order; prints the library's messages (or that it is no shipping
// order) and returns null when it is not a good one.
pxinfo_shp_order_t *read_order(const Operand &file) {
    File stream(file.path(), "r");
    if (stream.get() == nullptr) {
        fail(file.name(), std::strerror(errno));
        return nullptr;
    }
    Subject subject(file.name(), file.path());
    pxinfo_shp_order_t *order = nullptr;
    std::string problem;
    {
        Capture capture;
        if (pxinfo_shp_read_order(stream.get(), file.path().c_str(), &order) != TBS_ST_OK) {
            problem = capture.first().empty() ? "not a shipping order" : capture.first();
        }
    }
    if (!problem.empty()) { fail(file.name(), problem); }
    return order;
}

Node hops_view(const llist_d_head_t &route) {
    Node hops = Node::list();
    for_each_element<pxinfo_shp_hop_t>(route, [&hops](const pxinfo_shp_hop_t &hop) {
        hops.push(Node::object()
                      .add("host", Node::text(hop.host))
                      .add("time", Node::number(hop.time))
                      .add("time_string", Node::text(hop.time_string)));
    });
    return hops;
}

Node texts_view(const llist_d_head_t &texts) {
    Node list = Node::list();
    for_each_element<pxinfo_shp_text_t>(texts, [&list](const pxinfo_shp_text_t &t) { list.push(Node::text(t.text)); });
    return list;
}

Node order_view(const pxinfo_shp_order_t &order, const std::string &name) {
    Node view = Node::object();
    view.add("file", Node::text(name))
        .add("identifier", Node::text(uuid_text(order.identifier)))
        .add("creation_time", Node::number(order.creation_time))
        .add("creation_string", Node::text(order.creation_string))
        .add("expiration_time", Node::number(order.expiration_time))
        .add("expiration_string", Node::text(order.expiration_string))
        .add("storage_class", Node::text(order.storage_class))
        .add("original_data_path", Node::text(order.original_data_path))
        .add("local_data_path", Node::text(order.local_data_path));
    Node destinations = Node::list();
    for_each_element<pxinfo_shp_destination_t>(order.destinations, [&destinations](const pxinfo_shp_destination_t &d) {
        bool delivered = d.delivery_string != nullptr;
        destinations.push(Node::object()
                              .add("host", Node::text(d.host))
                              .add("failed", Node::boolean(d.failed != 0))
                              .add("delivered", Node::boolean(delivered))
                              .add("delivery_time", delivered ? Node::number(d.delivery_time) : Node())
                              .add("delivery_string", Node::text(d.delivery_string))
                              .add("delivery_route", delivered ? Node::text(d.delivery_route) : Node()));
    });
    Node failures = Node::list();
    for_each_element<pxinfo_shp_failure_t>(order.failed_attempts, [&failures](const pxinfo_shp_failure_t &f) {
        failures.push(Node::object()
                          .add("type", Node::text(f.type ? "C" : "R"))
                          .add("time", Node::number(f.time))
                          .add("time_string", Node::text(f.time_string))
                          .add("route", Node::text(f.route))
                          .add("destination", Node::text(f.destination)));
    });
    view.add("destinations", std::move(destinations))
        .add("arrival_route", hops_view(order.arrival_route))
        .add("has_return_route", Node::boolean(order.has_return_route != 0))
        .add("return_route", hops_view(order.return_route))
        .add("failed_attempts", std::move(failures))
        .add("notification_addresses", texts_view(order.notification_addresses))
        .add("comment_lines", texts_view(order.comment_lines));
    return view;
}

// Shows every good order in full (or its check); exit status 1 when one is not good.
int each_order(const Invocation &call, bool full) {
    return show_per_operand(call, [full](const Operand &file, std::vector<Node> &views) {
        pxinfo_shp_order_t *order = read_order(file);
        if (order == nullptr) { return false; }
        if (full) {
            views.push_back(order_view(*order, file.name()));
        } else {
            views.push_back(Node::line()
                                .add("file", Node::text(file.name()))
                                .add("result", Node::text("ok"))
                                .add("destinations", Node::number(order->destination_count)));
        }
        pxinfo_shp_destroy_order(&order);
        return true;
    });
}

int run_order_check(const Invocation &call) { return each_order(call, false); }
int run_order_show(const Invocation &call) { return each_order(call, true); }

// ---- order new -------------------------------------------------------------

// The words the order reader sees in a line; false when it cannot split it.
bool words_of(const std::string &line, std::vector<std::string> &words) {
    int error = 0;
    cl_handle_t *handle = cl_parse_line(line.c_str(), &error);
    if (handle == nullptr) { return false; }
    while (const char *word = cl_getarg(handle)) { words.emplace_back(word); }
    bool split = cl_errno(handle) == 0;
    cl_destroy(&handle);
    return split;
}

bool is_keyword(const std::string &word) {
    static const std::set<std::string> keywords = {
        "%IDENTIFIER",      "%CREATION-DATE",          "%EXPIRATION-DATE", "%STORAGE-CLASS", "%ORIGINAL-DATA-PATH",
        "%LOCAL-DATA-PATH", "%DESTINATIONS",           "%ARRIVAL-ROUTE",   "%RETURN-ROUTE",  "%DELIVERIES",
        "%FAILED-ATTEMPTS", "%NOTIFICATION-ADDRESSES", "%COMMENT"};
    return keywords.count(word) != 0;
}

// The reader splits lines of at most 1022 characters into blank-separated
// words, a double-quoted word without its quotes; a line whose first word is
// a section keyword opens a section.
constexpr size_t kLongestLine = 1022;

bool reads_as(const std::string &line, const std::vector<std::string> &expected) {
    std::vector<std::string> words;
    return line.find('\n') == std::string::npos && line.size() <= kLongestLine && words_of(line, words) &&
           words == expected;
}

// Why value cannot be written so that the reader gives it back, or "".
std::string word_problem(const std::string &value, bool element) {
    if (!reads_as("    " + value, {value})) { return "must be one word without blanks, newlines or enclosing quotes"; }
    if (element && is_keyword(value)) { return "would be read as a section keyword"; }
    return "";
}

std::string path_problem(const std::string &path) {
    return reads_as("%ORIGINAL-DATA-PATH \"" + path + "\"", {"%ORIGINAL-DATA-PATH", path})
               ? ""
               : "must not hold a double quote or newline, nor make a line longer than 1022 characters";
}

std::string comment_problem(const std::string &line) {
    std::vector<std::string> words;
    if (line.find('\n') != std::string::npos || line.size() > kLongestLine || !words_of(line, words)) {
        return "must be one line of at most 1022 characters, its double quotes paired";
    }
    if (!words.empty() && is_keyword(words[0])) { return "would be read as a section keyword"; }
    return "";
}

// "TIME TEXT" or "TIME" (the text is then the time in UTC).
bool parse_date(const Invocation &call, const char *option, uint32_t &time, std::string &text) {
    std::string value;
    call.value(option, value);
    size_t blank = value.find(' ');
    if (!parse_u32(value.substr(0, blank), option, time)) { return false; }
    text = blank == std::string::npos ? utc_text(static_cast<time_t>(time)) : value.substr(blank + 1);
    std::string problem = word_problem(text, false);
    if (!problem.empty()) { complain(std::string(option) + ": the date text \"" + printable(text) + "\" " + problem); }
    return problem.empty();
}

// The first value the order file cannot carry, as "OPTION VALUE: why", or "".
std::string plan_problem(const OrderPlan &plan) {
    auto named = [](const char *option, const std::string &value, const std::string &problem) {
        return problem.empty() ? problem : std::string(option) + " \"" + printable(value) + "\" " + problem;
    };
    std::string problem;
    if (plan.has_storage_class &&
        !(problem = named("--storage-class", plan.storage_class, word_problem(plan.storage_class, false))).empty()) {
        return problem;
    }
    if (!(problem = named("--original-path", plan.original_data_path, path_problem(plan.original_data_path))).empty() ||
        !(problem = named("--local-path", plan.local_data_path, path_problem(plan.local_data_path))).empty()) {
        return problem;
    }
    std::set<std::string> hosts;
    for (const std::string &host : plan.destinations) {
        if (!(problem = named("--destination", host, word_problem(host, true))).empty()) { return problem; }
        if (host.size() > 63) { return named("--destination", host, "is longer than 63 characters"); }
        if (!hosts.insert(host).second) { return named("--destination", host, "is given twice"); }
    }
    for (const std::string &address : plan.notifications) {
        if (!(problem = named("--notify", address, word_problem(address, true))).empty()) { return problem; }
    }
    for (const std::string &line : plan.comment_lines) {
        if (!(problem = named("--comment", line, comment_problem(line))).empty()) { return problem; }
    }
    return "";
}

int run_order_new(const Invocation &call) {
    OrderPlan plan;
    std::string output, value;
    if (!call.value("--output", output)) { return call.usage("--output FILE is required"); }
    if (!call.operands.empty()) { return call.usage("unexpected \"" + printable(call.operands[0]) + "\""); }
    if (call.value("--id", value) && !parse_uuid(value, "identifier", plan.identifier)) { return kExitUsage; }
    plan.creation_time = static_cast<uint32_t>(std::time(nullptr));
    plan.creation_string = utc_text(static_cast<time_t>(plan.creation_time));
    if (call.flag("--created") && !parse_date(call, "--created", plan.creation_time, plan.creation_string)) {
        return kExitUsage;
    }
    plan.has_expiration = call.flag("--expires");
    if (plan.has_expiration && !parse_date(call, "--expires", plan.expiration_time, plan.expiration_string)) {
        return kExitUsage;
    }
    plan.has_storage_class = call.value("--storage-class", plan.storage_class);
    call.value("--original-path", plan.original_data_path);
    call.value("--local-path", plan.local_data_path);
    plan.destinations = call.values("--destination");
    plan.notifications = call.values("--notify");
    plan.comment_lines = call.values("--comment");
    std::string problem = plan_problem(plan);
    if (!problem.empty()) { return call.usage(problem); }
    if (!may_write(output, call.flag("--force"))) { return kExitExists; }
    return write_order_file(output, plan, call.flag("--force"));
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
    if (plan.has_storage_class) { order->storage_class = stg_area_strdup(area, plan.storage_class.c_str()); }
    order->original_data_path = stg_area_strdup(area, plan.original_data_path.c_str());
    order->local_data_path = stg_area_strdup(area, plan.local_data_path.c_str());
    if (order->creation_string == nullptr || order->original_data_path == nullptr ||
        order->local_data_path == nullptr) {
        return false;
    }
    for (const std::string &host : plan.destinations) {
        if (pxinfo_shp_create_destination(order, file, host.c_str(), 1, nullptr) != TBS_ST_OK) { return false; }
    }
    for (const std::string &address : plan.notifications) {
        if (pxinfo_shp_create_notification(order, file, address.c_str()) != TBS_ST_OK) { return false; }
    }
    for (const std::string &line : plan.comment_lines) {
        if (pxinfo_shp_create_comment(order, file, line.c_str()) != TBS_ST_OK) { return false; }
    }
    return true;
}

}  // namespace

int write_order_file(const std::string &path, const OrderPlan &plan, bool replace) {
    pxinfo_shp_order_t *order = nullptr;
    if (pxinfo_shp_new_order(&order) != TBS_ST_OK) {
        complain("out of memory");
        return kExitFailed;
    }
    Subject subject(path, path);
    int status = kExitFailed;
    if (build_order(path, plan, order)) {
        status = write_whole(
            path, replace,
            [&](FILE *stream) { return pxinfo_shp_write_order(stream, path.c_str(), order) == TBS_ST_OK; },
            [&](int error) { fail(path, std::string("cannot create: ") + std::strerror(error)); });
    }
    pxinfo_shp_destroy_order(&order);
    return status;
}

const std::vector<Command> &order_commands() {
    static const std::vector<Command> commands = {
        {"order check",
         "FILE...",
         "check that files are well-formed shipping orders",
         "Reads each order with the library's reader, which checks every line. Exit status 0 when\n"
         "all are well formed; otherwise the library's message names the file and line, exit 1.",
         {kJsonOption},
         run_order_check},
        {"order show",
         "FILE...",
         "show a shipping order",
         "Prints every field of each order as the library reads it.",
         {kJsonOption},
         run_order_show},
        {"order new",
         "",
         "write a new shipping order",
         "Writes an order with the library's writer, which forces it to stable storage. Values the\n"
         "order file cannot carry, or that its reader would read back differently, are refused: host\n"
         "names, addresses, storage classes and date texts are single words (hosts at most 63\n"
         "characters, each once), addresses and hosts are no section keyword, paths hold no double\n"
         "quote, comment lines do not start with a section keyword and pair their double quotes, and\n"
         "no line exceeds 1022 characters.",
         {{"--output", "FILE", "the order file to write (required)"},
          {"--id", "UUID", "the order's identifier (default: the null uuid)"},
          {"--created", "TIME[ TEXT]", "creation time in seconds and its text, one word (default: now)"},
          {"--expires", "TIME[ TEXT]", "expiration time and its text (default: none)"},
          {"--storage-class", "NAME", "storage class (default: none)"},
          {"--original-path", "PATH", "original data path"},
          {"--local-path", "PATH", "local data path"},
          {"--destination", "HOST", "a destination host; repeatable", true},
          {"--notify", "ADDRESS", "a notification address; repeatable", true},
          {"--comment", "LINE", "a comment line; repeatable", true},
          kForceOption},
         run_order_new},
    };
    return commands;
}

}  // namespace pxtool
