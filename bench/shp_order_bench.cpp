// Reading a shipping order is linear in its size: an order whose every
// destination is delivered (each delivery line looks its destination up)
// reads in time proportional to the number of destinations. The reported
// complexity should come out as O(N); a quadratic look-up shows as O(N^2).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include "pxinfo_shp_order.h"

namespace {

std::string order_text(long destinations) {
    std::string text =
        "# Korvane Plexion Shipping Order\n# Version 1.0\n"
        "%IDENTIFIER 0f1e2d3c-4b5a-6978-8796-a5b4c3d2e1f0\n"
        "%CREATION-DATE 1700000000 2023-11-14\n"
        "%ORIGINAL-DATA-PATH \"/data/pkt\"\n%LOCAL-DATA-PATH \"/local/pkt\"\n%DESTINATIONS\n";
    for (long i = 0; i < destinations; ++i)
        text += "    host-" + std::to_string(i) + ".example.com\n";
    text += "%ARRIVAL-ROUTE\n%DELIVERIES\n";
    for (long i = 0; i < destinations; ++i)
        text += "    1700000100 2023-11-14 hub host-" + std::to_string(i) + ".example.com\n";
    text += "%FAILED-ATTEMPTS\n%NOTIFICATION-ADDRESSES\n%COMMENT\n";
    return text;
}

void BM_ReadDeliveredOrder(benchmark::State &state) {
    const std::string text = order_text(state.range(0));
    FILE *stream = tmpfile();
    fwrite(text.data(), 1, text.size(), stream);
    for (auto _ : state) {
        rewind(stream);
        pxinfo_shp_order_t *order = nullptr;
        if (pxinfo_shp_read_order(stream, "bench.ord", &order) != TBS_ST_OK) {
            state.SkipWithError("the order did not read");
            break;
        }
        benchmark::DoNotOptimize(order->destination_count);
        pxinfo_shp_destroy_order(&order);
    }
    fclose(stream);
    state.SetComplexityN(state.range(0));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}

BENCHMARK(BM_ReadDeliveredOrder)->RangeMultiplier(2)->Range(1250, 20000)->Complexity();

}  // namespace

BENCHMARK_MAIN();
