// pxinfo: inspect, check and create packets, shipping orders and health files
// with the library's own readers and writers.
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "commands.h"
#include "pxinfo/pxinfo.h"

namespace pxtool {

namespace {

constexpr const char *kExitStatusHelp =
    "Exit status: 0 success; 1 the library reported a problem with the input (its message is on\n"
    "standard error); 2 a wrong command line; 3 an output file exists and --force was not given.\n";

void print_overview(FILE *out) {
    std::fputs("usage: pxinfo [--version | --help] COMMAND [ARGS...]\n\nCommands:\n", out);
    for (const Command &command : all_commands()) std::fprintf(out, "  %-14s %s\n", command.name, command.summary);
    std::fputs("\nRun 'pxinfo help COMMAND' for the options of a command.\n\n", out);
    std::fputs(kExitStatusHelp, out);
}

int help(const Args &args) {
    if (args.empty()) {
        print_overview(stdout);
        return kExitOk;
    }
    std::string name = args[0];
    for (size_t i = 1; i < args.size(); ++i) name += " " + args[i];
    const Command *command = find_command_named(name);
    if (command == nullptr) {
        std::fprintf(stderr, "pxinfo: no command '%s'; see 'pxinfo --help'\n", name.c_str());
        return kExitUsage;
    }
    std::fputs(command->usage, stdout);
    return kExitOk;
}

// The longest command name made of the leading words, e.g. "order check".
const Command *match_command(int argc, char **argv, int &words) {
    const Command *found = nullptr;
    std::string name;
    for (int i = 1; i < argc && i <= 2; ++i) {
        name += (i > 1 ? " " : "") + std::string(argv[i]);
        if (const Command *command = find_command_named(name)) {
            found = command;
            words = i;
        }
    }
    return found;
}

}  // namespace

int usage_error(const Command &command, const std::string &problem) {
    std::fprintf(stderr, "pxinfo %s: %s\n%s", command.name, problem.c_str(), command.usage);
    return kExitUsage;
}

bool take_flag(Args &args, const char *flag) {
    for (auto it = args.begin(); it != args.end(); ++it) {
        if (*it == flag) {
            args.erase(it);
            return true;
        }
    }
    return false;
}

bool take_option(Args &args, const char *name, std::string &value) {
    std::string prefix = std::string(name) + "=";
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i].compare(0, prefix.size(), prefix) == 0) {
            value = args[i].substr(prefix.size());
            args.erase(args.begin() + static_cast<long>(i));
            return true;
        }
        if (args[i] == name && i + 1 < args.size()) {
            value = args[i + 1];
            args.erase(args.begin() + static_cast<long>(i), args.begin() + static_cast<long>(i) + 2);
            return true;
        }
    }
    return false;
}

std::vector<std::string> take_all(Args &args, const char *name) {
    std::vector<std::string> values;
    std::string value;
    while (take_option(args, name, value)) values.push_back(value);
    return values;
}

bool may_write(const std::string &path, bool force) {
    struct stat info;
    if (force || ::stat(path.c_str(), &info) != 0) return true;
    std::fprintf(stderr, "pxinfo: \"%s\" exists; give --force to replace it\n", path.c_str());
    return false;
}

}  // namespace pxtool

int main(int argc, char **argv) {
    using namespace pxtool;
    if (argc < 2) {
        print_overview(stderr);
        return kExitUsage;
    }
    std::string first = argv[1];
    if (first == "--version" || first == "version") {
        libquentapxinfobase_print_verid();
        return kExitOk;
    }
    if (first == "--help" || first == "-h") return help(Args());
    if (first == "help") return help(Args(argv + 2, argv + argc));
    int words = 0;
    const Command *command = match_command(argc, argv, words);
    if (command == nullptr) {
        std::fprintf(stderr, "pxinfo: unknown command '%s'; see 'pxinfo --help'\n", first.c_str());
        return kExitUsage;
    }
    Args args(argv + 1 + words, argv + argc);
    if (take_flag(args, "--help") || take_flag(args, "-h")) {
        std::fputs(command->usage, stdout);
        return kExitOk;
    }
    return command->run(args);
}
