// Writing and reading back a health file of a 50-replica family (its epoch
// status, then its sync status of 8 attempts per replica), against the rpcgen
// routines of the same records over a stdio XDR stream on the same kind of
// file. Both sides write the same bytes into a temporary file, read them
// back and release what reading allocated.
#include <cstdio>

#include "bench_records.h"
#include "gx_records.h"
#include "pxinfo_fileutl.h"

namespace {

// A temporary file of the program's own, rewound before every use.
FILE *scratch_file() {
    static FILE *file = tmpfile();
    if (file == nullptr) { std::abort(); }
    rewind(file);
    return file;
}

void health_file_library(benchmark::State &state) {
    const bench::Records &records = bench::records();
    for (auto _ : state) {
        FILE *file = scratch_file();
        pxinfo_family_sync_status_t sync{};
        pxinfo_family_epoch_status_t epoch{};
        if (pxinfo_write_health_file(&records.family_sync, &records.family_epoch, file) != TBS_ST_OK) {
            state.SkipWithError("the health file was not written");
            break;
        }
        rewind(file);
        if (pxinfo_read_health_file(&sync, &epoch, file, 0) != TBS_ST_OK) {
            state.SkipWithError("the health file was not read");
            break;
        }
        benchmark::DoNotOptimize(sync);
        pxinfo_free_family_epoch_status_from_file(&epoch);
        pxinfo_free_family_sync_status_from_file(&sync);
    }
}

// The two records through one stdio XDR stream in direction op.
bool code_both(FILE *file, xdr_op op, gx_family_epoch_status *epoch, gx_family_sync_status *sync) {
    XDR xdrs;
    xdrstdio_create(&xdrs, file, op);
    bool ok = xdr_gx_family_epoch_status(&xdrs, epoch) && xdr_gx_family_sync_status(&xdrs, sync);
    xdr_destroy(&xdrs);  // flushes the file
    return ok;
}

void health_file_baseline(benchmark::State &state) {
    const bench::Records &records = bench::records();
    gx_family_epoch_status epoch_source =
        bench::baseline_record<xdr_pxinfo_family_epoch_status_t, xdr_gx_family_epoch_status, gx_family_epoch_status>(
            records.family_epoch);
    gx_family_sync_status sync_source =
        bench::baseline_record<xdr_pxinfo_family_sync_status_t, xdr_gx_family_sync_status, gx_family_sync_status>(
            records.family_sync);
    for (auto _ : state) {
        FILE *file = scratch_file();
        gx_family_epoch_status epoch{};
        gx_family_sync_status sync{};
        if (!code_both(file, XDR_ENCODE, &epoch_source, &sync_source)) {
            state.SkipWithError("the health file was not written");
            break;
        }
        rewind(file);
        if (!code_both(file, XDR_DECODE, &epoch, &sync)) {
            state.SkipWithError("the health file was not read");
            break;
        }
        benchmark::DoNotOptimize(sync);
        bench::release<xdr_gx_family_epoch_status>(&epoch);
        bench::release<xdr_gx_family_sync_status>(&sync);
    }
}

BENCHMARK(health_file_library)->Name("health_file_write_read/library")->Unit(bench::kUnit);
BENCHMARK(health_file_baseline)->Name("health_file_write_read/baseline")->Unit(bench::kUnit);

}  // namespace

BENCHMARK_MAIN();
