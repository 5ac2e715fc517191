// pxinfo: inspect, check and create packets, shipping orders and health files.
#include <cstdio>
#include <cstring>

#include "pxinfo/pxinfo.h"

namespace {

int usage(FILE *out) {
    std::fputs("usage: pxinfo --version\n       pxinfo --help\n", out);
    return out == stdout ? 0 : 2;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc < 2) return usage(stderr);
    if (std::strcmp(argv[1], "--version") == 0) {
        libquentapxinfobase_print_verid();
        return 0;
    }
    if (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) return usage(stdout);
    std::fprintf(stderr, "pxinfo: unknown command '%s'\n", argv[1]);
    return usage(stderr);
}
