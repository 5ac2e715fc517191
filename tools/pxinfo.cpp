// pxinfo: inspect, check and create packets, shipping orders and health files
// with the library's own readers and writers.
#include <cstdio>
#include <cstring>
#include <string>

#include "commands.h"
#include "pxinfo/pxinfo.h"
#include "report.h"

namespace pxtool {

namespace {

constexpr const char *kClosingHelp =
    "Wherever a FILE is read, - reads standard input; -- ends the options. Text output shows\n"
    "control characters in names as \\xNN; with --json, strings that are valid UTF-8 pass through\n"
    "unchanged and each ill-formed UTF-8 sequence becomes U+FFFD.\n\n"
    "Environment:\n"
    "  PXINFO_VERBOSITY=N   trace level of the library's trace lines (1 failure locations,\n"
    "                       3 function entry and exit, 4 details, 5 fine details)\n"
    "  PXINFO_TRACE=LIST    components to trace, comma-separated (pxinfo), or all\n\n"
    "Exit status: 0 success; 1 a file is damaged or the library reported a problem with it (the\n"
    "message, naming the file, is on standard error); 2 a wrong command line; 3 an output file\n"
    "exists and --force was not given.\n";

std::string usage_line(const Command &command) {
    std::string line = std::string("usage: pxinfo ") + command.name;
    for (const Option &option : command.options) {
        if (std::strcmp(option.name, "--output") == 0) { line += " --output FILE"; }
    }
    if (!command.options.empty()) { line += " [options]"; }
    if (*command.operands != '\0') { line += std::string(" ") + command.operands; }
    return line + "\n";
}

void print_usage(const Command &command, FILE *out) {
    std::fprintf(out, "%s\n%s\n", usage_line(command).c_str(), command.description);
    if (command.options.empty()) { return; }
    std::fputs("\nOptions:\n", out);
    for (const Option &option : command.options) {
        std::string left = option.short_name != '\0' ? std::string("-") + option.short_name + ", " : "";
        left += option.name;
        if (option.value != nullptr) { left += std::string(" ") + option.value; }
        std::fprintf(out, "  %-30s %s\n", left.c_str(), option.help);
    }
}

// Lists the commands whose names start with prefix ("" for all, "order " for a group).
void list_commands(const std::string &prefix, FILE *out) {
    for (const Command &command : all_commands()) {
        if (std::strncmp(command.name, prefix.c_str(), prefix.size()) == 0) {
            std::fprintf(out, "  %-14s %s\n", command.name, command.summary);
        }
    }
}

void print_overview(FILE *out) {
    std::fputs("usage: pxinfo [--version | --help] COMMAND [ARGS...]\n\nCommands:\n", out);
    list_commands("", out);
    std::fputs("\nRun 'pxinfo help COMMAND' (or 'pxinfo COMMAND --help') for the options of a command.\n\n", out);
    std::fputs(kClosingHelp, out);
}

bool is_group(const std::string &word) {
    for (const Command &command : all_commands()) {
        if (std::strncmp(command.name, (word + " ").c_str(), word.size() + 1) == 0) { return true; }
    }
    return false;
}

int help(const Args &words) {
    std::string name;
    for (const std::string &word : words) { name += (name.empty() ? "" : " ") + word; }
    if (name.empty()) {
        print_overview(stdout);
    } else if (const Command *command = find_command_named(name)) {
        print_usage(*command, stdout);
    } else if (is_group(name)) {
        std::printf("pxinfo %s commands:\n", name.c_str());
        list_commands(name + " ", stdout);
    } else {
        complain("no command '" + printable(name) + "'; see 'pxinfo --help'");
        return kExitUsage;
    }
    return kExitOk;
}

int print_version() {
    char line[256] = "";
    libquentapxinfobase_sprintf_verid(line);
    char version[64] = "?";
    std::sscanf(line, "%*s %63s", version);
    std::printf("pxinfo %s\n%s", version, line);
    return kExitOk;
}

const Option *find_option(const Command &command, const std::string &name) {
    for (const Option &option : command.options) {
        if (name == option.name || (name.size() == 2 && name[0] == '-' && name[1] == option.short_name)) {
            return &option;
        }
    }
    return nullptr;
}

// Fills call from the words after the command name; returns -1 to run the
// command, or the exit status (after the help or a usage message).
int parse(const Args &words, Invocation &call) {
    bool options_ended = false;
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string &word = words[i];
        if (options_ended || word == "-" || word.empty() || word[0] != '-') {
            call.operands.push_back(word);
            continue;
        }
        if (word == "--") {
            options_ended = true;
            continue;
        }
        if (word == "--help" || word == "-h") {
            print_usage(call.command, stdout);
            return kExitOk;
        }
        size_t equals = word.find('=');
        std::string name = word.substr(0, equals);
        const Option *option = find_option(call.command, name);
        if (option == nullptr) { return call.usage("unknown option '" + printable(name) + "'"); }
        if (call.given.count(option->name) != 0 && !option->repeatable) {
            return call.usage(std::string(option->name) + " is given twice");
        }
        std::vector<std::string> &values = call.given[option->name];
        if (option->value == nullptr) {
            if (equals != std::string::npos) { return call.usage(std::string(option->name) + " takes no value"); }
            values.emplace_back();
        } else if (equals != std::string::npos) {
            values.push_back(word.substr(equals + 1));
        } else if (i + 1 < words.size()) {
            values.push_back(words[++i]);
        } else {
            return call.usage(std::string(option->name) + " needs a value");
        }
    }
    return -1;
}

// The command named by the leading words (the longest match, e.g. "order
// check"), with the number of words its name takes.
const Command *match_command(const Args &args, size_t &words) {
    const Command *found = nullptr;
    std::string name;
    for (size_t i = 0; i < args.size() && i < 2; ++i) {
        name += (i > 0 ? " " : "") + args[i];
        if (const Command *command = find_command_named(name)) {
            found = command;
            words = i + 1;
        }
    }
    return found;
}

int dispatch(const Args &args) {
    if (args.empty()) {
        print_overview(stderr);
        return kExitUsage;
    }
    const std::string &first = args[0];
    if (first == "--version") { return print_version(); }
    if (first == "--help" || first == "-h") { return help(Args()); }
    if (first == "help") { return help(Args(args.begin() + 1, args.end())); }
    size_t words = 0;
    const Command *command = match_command(args, words);
    if (command == nullptr) {
        if (!first.empty() && first[0] == '-') {
            complain("unknown option '" + printable(first) + "'; see 'pxinfo --help'");
        } else if (is_group(first)) {
            std::string what = args.size() > 1 ? "unknown command '" + printable(first + " " + args[1]) + "'; "
                                               : "'" + first + "' needs a command; ";
            std::fprintf(stderr, "pxinfo: %spxinfo %s commands:\n", what.c_str(), first.c_str());
            list_commands(first + " ", stderr);
        } else {
            complain("unknown command '" + printable(first) + "'; see 'pxinfo --help'");
        }
        return kExitUsage;
    }
    Invocation call(*command);
    int status = parse(Args(args.begin() + static_cast<long>(words), args.end()), call);
    return status >= 0 ? status : command->run(call);
}

}  // namespace

}  // namespace pxtool

int main(int argc, char **argv) {
    pxtool::route_library_messages();
    int status = pxtool::dispatch(pxtool::Args(argv + 1, argv + argc));
    return pxtool::close_output(status);
}
