// The epoch row comparison against rows of 1,000, 10,000 and 100,000
// replicas, next to a baseline: the same comparison (index the target row,
// walk the packet row removing matches, then walk what is left) over a hash
// map keyed by the raw 32 bytes of the vault and replica oids, with no text
// forms, tracing or storage service. The comparison should stay within 4
// times the baseline at 10,000 replicas and grow linearly.
#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <random>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "bench_util.h"
#include "pxinfo_utl_epoch.h"
#include "pxinfo_utl_selector.h"

namespace {

using Entry = pxinfo_epoch_row_entry_t;

struct Rows {
    std::vector<Entry> packet;
    std::vector<Entry> target;
};

// Two rows of one family listing the same replicas in different orders, most
// at the same epoch, a few ahead or behind, and a few listed in one row only.
Rows make_rows(uint32_t replicas) {
    Rows rows;
    tbs_uuid_t family = bench::numbered_uuid(1, 0xfa);
    std::mt19937 random(replicas);
    for (uint32_t i = 0; i < replicas; ++i) {
        Entry entry = {};
        tbs_uuid_t replica = bench::numbered_uuid(i, 0x0e);
        pxinfo_new_vault_selector(&replica, &family, &entry.replica);
        entry.epoch = 1000 + i;
        Entry packet_entry = entry;
        if (i % 97 == 1) { packet_entry.epoch += 1; }
        if (i % 89 == 2) { packet_entry.epoch -= 1; }
        if (i % 101 != 3) { rows.target.push_back(entry); }
        if (i % 103 != 4) { rows.packet.push_back(packet_entry); }
    }
    std::shuffle(rows.target.begin(), rows.target.end(), random);
    return rows;
}

const Rows &rows_of(uint32_t replicas) {
    static std::map<uint32_t, Rows> made;
    auto found = made.find(replicas);
    if (found == made.end()) { found = made.emplace(replicas, make_rows(replicas)).first; }
    return found->second;
}

// ---- Baseline -------------------------------------------------------------

using OidPair = std::array<unsigned char, 32>;

struct OidPairHash {
    size_t operator()(const OidPair &key) const {
        return std::hash<std::string_view>()(std::string_view(reinterpret_cast<const char *>(key.data()), key.size()));
    }
};

OidPair key_of(const Entry &entry) {
    OidPair key;
    std::memcpy(key.data(), entry.replica.u.vault.vault_oid.bytes, 16);
    std::memcpy(key.data() + 16, entry.replica.u.vault.replica_oid.bytes, 16);
    return key;
}

int epoch_result(pxinfo_epoch_num_t packet_epoch, pxinfo_epoch_num_t target_epoch) {
    uint32_t difference = packet_epoch - target_epoch;
    if (difference == 0) { return PXINFO_EPOCH_CMP_EQUAL; }
    return difference >= 0x80000000u ? PXINFO_EPOCH_CMP_LESS : PXINFO_EPOCH_CMP_GREATER;
}

int combine(int overall, int current) {
    if (overall == PXINFO_EPOCH_CMP_MIXED || current == PXINFO_EPOCH_CMP_EQUAL) { return overall; }
    if (overall == PXINFO_EPOCH_CMP_EQUAL || overall == current) { return current; }
    return PXINFO_EPOCH_CMP_MIXED;
}

int baseline_compare(const std::vector<Entry> &packet, const std::vector<Entry> &target) {
    std::unordered_map<OidPair, const Entry *, OidPairHash> table;
    table.reserve(target.size());
    for (const Entry &entry : target) { table.emplace(key_of(entry), &entry); }
    int result = PXINFO_EPOCH_CMP_EQUAL;
    for (const Entry &entry : packet) {
        auto found = table.find(key_of(entry));
        pxinfo_epoch_num_t target_epoch = 0;
        if (found != table.end()) {
            target_epoch = found->second->epoch;
            table.erase(found);
        }
        result = combine(result, epoch_result(entry.epoch, target_epoch));
    }
    for (const auto &left : table) { result = combine(result, epoch_result(0, left.second->epoch)); }
    return result;
}

// ---- Benchmarks -------------------------------------------------------------

void epoch_compare_library(benchmark::State &state) {
    const Rows &rows = rows_of(static_cast<uint32_t>(state.range(0)));
    for (auto _ : state) {
        int result = 0;
        tbs_status_t status = pxinfo_epoch_row_compare(static_cast<unsigned>(rows.packet.size()), rows.packet.data(),
                                                       static_cast<unsigned>(rows.target.size()), rows.target.data(),
                                                       nullptr, pxinfo_miscompare_functor_t{}, &result);
        if (status != TBS_ST_OK || result != PXINFO_EPOCH_CMP_MIXED) {
            state.SkipWithError("unexpected comparison");
            break;
        }
        benchmark::DoNotOptimize(result);
    }
}

void epoch_compare_baseline(benchmark::State &state) {
    const Rows &rows = rows_of(static_cast<uint32_t>(state.range(0)));
    for (auto _ : state) {
        int result = baseline_compare(rows.packet, rows.target);
        if (result != PXINFO_EPOCH_CMP_MIXED) {
            state.SkipWithError("unexpected comparison");
            break;
        }
        benchmark::DoNotOptimize(result);
    }
}

BENCHMARK(epoch_compare_library)
    ->Name("epoch_row_compare/library")
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(bench::kUnit);
BENCHMARK(epoch_compare_baseline)
    ->Name("epoch_row_compare/baseline")
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(bench::kUnit);

}  // namespace

BENCHMARK_MAIN();
