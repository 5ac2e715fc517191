// Reading and writing a layout-3 packet header with 200 named targets and
// 200 replica descriptors.
// - Reading, through pxinfo_kv_pkt_read_header from a file in the page cache,
//   against reading the same file into memory, decoding it with the rpcgen
//   routine of the same record and checking zlib's crc32 over it.
// - Writing, with pxinfo_kv_pkt_write_header onto an in-memory stream made
//   for it, against encoding the magic number, version and record with the
//   rpcgen routine into a buffer made for it and appending zlib's crc32.
// Both sides release everything they allocated in each iteration.
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench_records.h"
#include "gx_records.h"
#include "pxinfo_kv_pkt.h"
#include "xdr_ez.h"

namespace {

constexpr int kTargets = 200;
constexpr int kReplicas = 200;
constexpr int kMajorVersion = 7;
constexpr u_int kStreamSize = 32768;

struct Header {
    bench::Arena arena;
    pxinfo_kv_pkt_header_t header{};

    Header() {
        header.minor_version = 0;
        header.source_replica_uuid = bench::numbered_uuid(0, 0x0e);
        header.family_uuid = bench::numbered_uuid(1, 0xfa);
        header.target_count = kTargets;
        header.sync_type = 1;
        header.pkt_seq_num = 1;
        header.aux_count = 1;
        header.log_pkt_uuid = bench::numbered_uuid(7, 0x10);
        header.compress_type = static_cast<pxinfo_compress_type_t>(1);
        header.targets = arena.array<pxinfo_kv_pkt_tgt_desc_t>(kTargets);
        for (int i = 0; i < kTargets; ++i) {
            header.targets[i].replica_uuid = bench::numbered_uuid(static_cast<uint32_t>(i), 0x0e);
            header.targets[i].name =
                arena.text("host-" + std::to_string(i) + ".example.com:/vaults/replica-" + std::to_string(i));
        }
        header.replica_count = kReplicas;
        header.replicas = arena.array<pxinfo_kv_pkt_rep_desc_t>(kReplicas);
        for (int i = 0; i < kReplicas; ++i) {
            header.replicas[i].replica_uuid = bench::numbered_uuid(static_cast<uint32_t>(i), 0x0e);
            header.replicas[i].start_epoch = 1000u + static_cast<uint32_t>(i);
            header.replicas[i].end_epoch = 2000u + static_cast<uint32_t>(i);
            header.replicas[i].ref_value = i;
        }
        header.aux_string = arena.text("bench");
    }
};

const Header &header() {
    static const Header made;
    return made;
}

// The header as the library writes it: the bytes of a packet file's start.
const std::string &header_bytes() {
    static const std::string bytes = [] {
        XDR xdrs;
        u_int size = 0;
        if (xdrstg_create(&xdrs, kStreamSize, 0) != TBS_ST_OK ||
            pxinfo_kv_pkt_write_header(&header().header, kMajorVersion, &xdrs, &size) != TBS_ST_OK) {
            std::abort();
        }
        std::string made(xdrs.x_base, size);
        xdrstg_destroy(&xdrs);
        return made;
    }();
    return bytes;
}

// The packet file: the header, in an unlinked temporary file kept open.
FILE *packet_file() {
    static FILE *file = [] {
        FILE *made = tmpfile();
        const std::string &bytes = header_bytes();
        if (made == nullptr || fwrite(bytes.data(), 1, bytes.size(), made) != bytes.size()) { std::abort(); }
        fflush(made);
        return made;
    }();
    return file;
}

// The same header as an rpcgen record.
const gx_header_3 &baseline_header() {
    static const gx_header_3 record = [] {
        const std::string &bytes = header_bytes();
        XDR xdrs;
        xdrmem_create(&xdrs, const_cast<char *>(bytes.data()), static_cast<u_int>(bytes.size()), XDR_DECODE);
        u_long magic = 0;
        int major = 0;
        gx_header_3 decoded{};
        if (!xdr_u_long(&xdrs, &magic) || !xdr_int(&xdrs, &major) || !xdr_gx_header_3(&xdrs, &decoded)) {
            std::abort();
        }
        return decoded;
    }();
    return record;
}

void read_library(benchmark::State &state) {
    FILE *file = packet_file();
    for (auto _ : state) {
        rewind(file);
        XDR xdrs;
        int major = 0;
        pxinfo_kv_pkt_header_t read{};
        tbs_status_t status = pxinfo_kv_pkt_read_header(file, &xdrs, 1, &major, &read);
        XDR_DESTROY(&xdrs);
        if (status != TBS_ST_OK || read.target_count != kTargets) {
            state.SkipWithError("the header did not read");
            break;
        }
        pxinfo_free_kv_pkt_hdr(&read);
    }
}

void read_baseline(benchmark::State &state) {
    FILE *file = packet_file();
    const size_t size = header_bytes().size();
    for (auto _ : state) {
        rewind(file);
        std::vector<char> bytes(size);
        if (fread(bytes.data(), 1, size, file) != size) {
            state.SkipWithError("the file did not read");
            break;
        }
        XDR xdrs;
        xdrmem_create(&xdrs, bytes.data(), static_cast<u_int>(size), XDR_DECODE);
        u_long magic = 0;
        u_long stored = 0;
        int major = 0;
        gx_header_3 read{};
        bool ok = xdr_u_long(&xdrs, &magic) && xdr_int(&xdrs, &major) && xdr_gx_header_3(&xdrs, &read);
        const u_int checked = xdr_getpos(&xdrs);
        ok = ok && xdr_u_long(&xdrs, &stored) &&
             crc32(0, reinterpret_cast<const Bytef *>(bytes.data()), checked) == stored;
        xdr_destroy(&xdrs);
        if (!ok || read.targets.targets_len != kTargets) {
            state.SkipWithError("the header did not decode");
            break;
        }
        bench::release<xdr_gx_header_3>(&read);
    }
}

void write_library(benchmark::State &state) {
    for (auto _ : state) {
        XDR xdrs;
        u_int size = 0;
        if (xdrstg_create(&xdrs, kStreamSize, 0) != TBS_ST_OK ||
            pxinfo_kv_pkt_write_header(&header().header, kMajorVersion, &xdrs, &size) != TBS_ST_OK) {
            state.SkipWithError("the header was not written");
            break;
        }
        benchmark::DoNotOptimize(xdrs.x_base[size - 1]);
        xdrstg_destroy(&xdrs);
    }
}

void write_baseline(benchmark::State &state) {
    gx_header_3 record = baseline_header();
    for (auto _ : state) {
        char *buffer = static_cast<char *>(std::malloc(kStreamSize));
        XDR xdrs;
        xdrmem_create(&xdrs, buffer, kStreamSize, XDR_ENCODE);
        u_long magic = PXINFO_KV_PKT_MAGIC;
        int major = kMajorVersion;
        bool ok = xdr_u_long(&xdrs, &magic) && xdr_int(&xdrs, &major) && xdr_gx_header_3(&xdrs, &record);
        u_long checksum = crc32(0, reinterpret_cast<const Bytef *>(buffer), xdr_getpos(&xdrs));
        ok = ok && xdr_u_long(&xdrs, &checksum);
        if (!ok || xdr_getpos(&xdrs) != header_bytes().size()) {
            state.SkipWithError("the header was not encoded");
            break;
        }
        benchmark::DoNotOptimize(buffer[xdr_getpos(&xdrs) - 1]);
        xdr_destroy(&xdrs);
        std::free(buffer);
    }
}

BENCHMARK(read_library)->Name("pkt_header_read/library")->Unit(bench::kUnit);
BENCHMARK(read_baseline)->Name("pkt_header_read/baseline")->Unit(bench::kUnit);
BENCHMARK(write_library)->Name("pkt_header_write/library")->Unit(bench::kUnit);
BENCHMARK(write_baseline)->Name("pkt_header_write/baseline")->Unit(bench::kUnit);

}  // namespace

BENCHMARK_MAIN();
