// Encoding, decoding and freeing the two largest shared records, the
// library's routines against routines that rpcgen generates from an
// XDR-language description of the same records (tests/xdr/records.x), on the
// same kind of memory stream:
// - a family sync status of 50 replicas, 8 attempts each, 3 replica infos per
//   attempt;
// - a packet information record with 100 targets and 100 references.
// The baseline record is the library's encoding decoded by the rpcgen
// routine, so both sides code the same bytes.
#include <vector>

#include "bench_records.h"
#include "gx_records.h"

namespace {

// Encode, decode and free one record per iteration, on one memory stream
// buffer; the source record is only read.
template <auto Routine, typename T>
void encode_decode_free(benchmark::State &state, const T &source) {
    T record = source;
    std::vector<char> buffer(4 << 20);
    for (auto _ : state) {
        size_t size = bench::encode<Routine>(&record, buffer);
        T decoded{};
        if (size == 0 || !bench::decode<Routine>(buffer, size, &decoded)) {
            state.SkipWithError("the record did not code");
            break;
        }
        benchmark::DoNotOptimize(decoded);
        bench::release<Routine>(&decoded);
    }
}

void family_sync_status_library(benchmark::State &state) {
    encode_decode_free<xdr_pxinfo_family_sync_status_t>(state, bench::records().family_sync);
}

void family_sync_status_baseline(benchmark::State &state) {
    encode_decode_free<xdr_gx_family_sync_status>(
        state,
        bench::baseline_record<xdr_pxinfo_family_sync_status_t, xdr_gx_family_sync_status, gx_family_sync_status>(
            bench::records().family_sync));
}

void packet_info_library(benchmark::State &state) {
    encode_decode_free<xdr_pxinfo_packet_info_t>(state, bench::records().packet);
}

void packet_info_baseline(benchmark::State &state) {
    encode_decode_free<xdr_gx_packet_info>(
        state,
        bench::baseline_record<xdr_pxinfo_packet_info_t, xdr_gx_packet_info, gx_packet_info>(bench::records().packet));
}

BENCHMARK(family_sync_status_library)->Name("records_family_sync_status/library")->Unit(bench::kUnit);
BENCHMARK(family_sync_status_baseline)->Name("records_family_sync_status/baseline")->Unit(bench::kUnit);
BENCHMARK(packet_info_library)->Name("records_packet_info/library")->Unit(bench::kUnit);
BENCHMARK(packet_info_baseline)->Name("records_packet_info/baseline")->Unit(bench::kUnit);

}  // namespace

BENCHMARK_MAIN();
