// Reading a shipping order whose every destination is delivered (each
// delivery line looks its destination up), against a loop that only reads
// and tokenizes the same lines with stdio, at 2,000, 20,000 and 200,000
// destinations: the order must cost a small multiple of that loop and grow
// linearly with it.
#include <cstdio>
#include <cstring>
#include <map>
#include <string>

#include "bench_util.h"
#include "pxinfo_shp_order.h"

namespace {

std::string order_text(long destinations) {
    std::string text =
        "# Korvane Plexion Shipping Order\n# Version 1.0\n"
        "%IDENTIFIER 0f1e2d3c-4b5a-6978-8796-a5b4c3d2e1f0\n"
        "%CREATION-DATE 1700000000 2023-11-14\n"
        "%ORIGINAL-DATA-PATH \"/data/pkt\"\n%LOCAL-DATA-PATH \"/local/pkt\"\n%DESTINATIONS\n";
    for (long i = 0; i < destinations; ++i) { text += "    host-" + std::to_string(i) + ".example.com\n"; }
    text += "%ARRIVAL-ROUTE\n%DELIVERIES\n";
    for (long i = 0; i < destinations; ++i) {
        text += "    1700000100 2023-11-14 hub host-" + std::to_string(i) + ".example.com\n";
    }
    text += "%FAILED-ATTEMPTS\n%NOTIFICATION-ADDRESSES\n%COMMENT\n";
    return text;
}

// The order of a size in an unlinked temporary file, made once per size;
// the file stays in the page cache.
FILE *order_file(long destinations) {
    static std::map<long, FILE *> files;
    FILE *&file = files[destinations];
    if (file == nullptr) {
        const std::string text = order_text(destinations);
        file = tmpfile();
        if (file == nullptr || fwrite(text.data(), 1, text.size(), file) != text.size()) { std::abort(); }
    }
    return file;
}

// ---- Baseline: read every line and split it into words --------------------

// Splits line in place at blanks and tabs, a double-quoted word running to
// the next double quote; returns the number of words.
int tokenize(char *line, const char **words, int max_words) {
    int count = 0;
    char *p = line;
    for (;;) {
        while (*p == ' ' || *p == '\t') { ++p; }
        if (*p == '\0' || count == max_words) { return count; }
        if (*p == '"') {
            char *close = std::strchr(p + 1, '"');
            if (close == nullptr) { return -1; }
            words[count++] = p + 1;
            *close = '\0';
            p = close + 1;
            continue;
        }
        words[count++] = p;
        while (*p != '\0' && *p != ' ' && *p != '\t') { ++p; }
        if (*p != '\0') { *p++ = '\0'; }
    }
}

long read_and_tokenize(FILE *file) {
    char line[1024];
    const char *words[64];
    long total = 0;
    while (std::fgets(line, sizeof line, file) != nullptr) {
        size_t length = std::strlen(line);
        if (length > 0 && line[length - 1] == '\n') { line[length - 1] = '\0'; }
        total += tokenize(line, words, 64);
    }
    return total;
}

void order_read_library(benchmark::State &state) {
    FILE *file = order_file(state.range(0));
    for (auto _ : state) {
        rewind(file);
        pxinfo_shp_order_t *order = nullptr;
        if (pxinfo_shp_read_order(file, "bench.ord", &order) != TBS_ST_OK ||
            order->destination_count != static_cast<uint32_t>(state.range(0))) {
            state.SkipWithError("the order did not read");
            break;
        }
        pxinfo_shp_destroy_order(&order);
    }
}

void order_read_baseline(benchmark::State &state) {
    FILE *file = order_file(state.range(0));
    for (auto _ : state) {
        rewind(file);
        benchmark::DoNotOptimize(read_and_tokenize(file));
    }
}

BENCHMARK(order_read_library)->Name("shp_order_read/library")->Arg(2000)->Arg(20000)->Arg(200000)->Unit(bench::kUnit);
BENCHMARK(order_read_baseline)->Name("shp_order_read/baseline")->Arg(2000)->Arg(20000)->Arg(200000)->Unit(bench::kUnit);

}  // namespace

BENCHMARK_MAIN();
