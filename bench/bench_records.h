// Records the benchmarks code: a family sync status of 50 replicas, 8
// attempts each, 3 replica infos per attempt; a family epoch status of the
// same 50 replicas; a packet information record with 100 targets and 100
// references. Built once, with vault selectors, in storage the program keeps.
#ifndef PXINFO_BENCH_RECORDS_H
#define PXINFO_BENCH_RECORDS_H

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "bench_util.h"
#include "pxinfo_xdr.h"

namespace bench {

// Storage behind a record built for encoding: the arrays and texts it points
// into.
struct Arena {
    std::vector<std::unique_ptr<char[]>> blocks;

    template <typename T>
    T *array(size_t count) {
        blocks.emplace_back(new char[count * sizeof(T)]());
        return reinterpret_cast<T *>(blocks.back().get());
    }
    char *text(const std::string &value) {
        char *copy = array<char>(value.size() + 1);
        std::memcpy(copy, value.data(), value.size());
        return copy;
    }
};

using pxfix::vault_selector;

inline void fill_replica_info(Arena &arena, uint32_t replica, pxinfo_replica_info_t *info) {
    info->replica = vault_selector(replica);
    info->name = arena.text("replica-" + std::to_string(replica));
    info->extra_name = arena.text("host-" + std::to_string(replica) + ".example.com");
}

constexpr int kReplicas = 50;
constexpr int kAttempts = 8;
constexpr int kInfosPerAttempt = 3;

// A family record (epoch or sync status) of kReplicas replicas, each named,
// hosted and selected after its number.
template <typename Family>
Family make_family(Arena &arena) {
    Family family = {};
    family.timestamp = 1700000000;
    family.count = kReplicas;
    family.replicas = arena.array<std::remove_pointer_t<decltype(family.replicas)>>(kReplicas);
    for (int r = 0; r < kReplicas; ++r) {
        auto &replica = family.replicas[r];
        std::snprintf(replica.name, sizeof replica.name, "replica-%d", r);
        std::snprintf(replica.host, sizeof replica.host, "host-%d.example.com", r);
        replica.replica = vault_selector(static_cast<uint32_t>(r));
    }
    return family;
}

inline pxinfo_family_sync_status_t make_family_sync_status(Arena &arena) {
    auto family = make_family<pxinfo_family_sync_status_t>(arena);
    for (int r = 0; r < kReplicas; ++r) {
        pxinfo_replica_sync_status_t &replica = family.replicas[r];
        replica.sync_value = 3;
        replica.level = static_cast<pxinfo_settings_level_t>(1);
        replica.count = kAttempts;
        replica.attempts = arena.array<pxinfo_sync_attempt_data_t>(kAttempts);
        for (int a = 0; a < kAttempts; ++a) {
            pxinfo_sync_attempt_data_t &attempt = replica.attempts[a];
            attempt.time = 1700000000 + a;
            attempt.direction = static_cast<pxinfo_sync_direction_t>(1 + a % 2);
            attempt.transport = static_cast<pxinfo_sync_transport_t>(1);
            attempt.attempted = 1;
            attempt.succeeded = a % 3 != 0;
            attempt.count = kInfosPerAttempt;
            attempt.replicas = arena.array<pxinfo_replica_info_t>(kInfosPerAttempt);
            for (int i = 0; i < kInfosPerAttempt; ++i) {
                fill_replica_info(arena, static_cast<uint32_t>((r + i + 1) % kReplicas), &attempt.replicas[i]);
            }
        }
        replica.last_status = 0;
        replica.status_value = static_cast<pxinfo_sync_status_value_t>(1);
    }
    return family;
}

constexpr int kTargets = 100;
constexpr int kReferences = 100;

inline pxinfo_packet_info_t make_packet_info(Arena &arena) {
    pxinfo_packet_info_t info = {};
    info.pkt_name = arena.text("/var/opt/quenta/packets/sync_0f1e2d3c.xpkt");
    info.component_type = PXINFO_COMPONENT_VAULT;
    info.file_time = 1700000000;
    info.major_version = 3;
    info.minor_version = 1;
    info.source_count = 1;
    info.sources[0].packet_type = static_cast<pxinfo_packet_type_t>(1);
    info.sources[0].source = vault_selector(0);
    pxinfo_packet_reference_t &references = info.sources[0].references;
    references.count = kReferences;
    references.refs = arena.array<pxinfo_replica_reference_t>(kReferences);
    for (int i = 0; i < kReferences; ++i) {
        references.refs[i].replica = vault_selector(static_cast<uint32_t>(i));
        references.refs[i].ref_value = i;
        references.refs[i].start_epoch = 1000u + static_cast<uint32_t>(i);
        references.refs[i].end_epoch = 2000u + static_cast<uint32_t>(i);
    }
    references.ref_str = arena.text("refs");
    info.sources[1].references.ref_str = arena.text("");
    info.target_count = kTargets;
    info.targets = arena.array<pxinfo_replica_info_t>(kTargets);
    for (int i = 0; i < kTargets; ++i) { fill_replica_info(arena, static_cast<uint32_t>(i), &info.targets[i]); }
    info.aux_string = arena.text("");
    info.log_pkt_uuid = numbered_uuid(7, 0x10);
    info.pkt_seq_num = 42;
    return info;
}

inline pxinfo_family_epoch_status_t make_family_epoch_status(Arena &arena) {
    auto family = make_family<pxinfo_family_epoch_status_t>(arena);
    for (int r = 0; r < kReplicas; ++r) {
        pxinfo_replica_epoch_status_t &replica = family.replicas[r];
        replica.count = kReplicas;
        replica.times = arena.array<int32_t>(kReplicas);
        replica.epochs = arena.array<pxinfo_epoch_num_t>(kReplicas);
        for (int i = 0; i < kReplicas; ++i) {
            replica.times[i] = 1700000000 - i;
            replica.epochs[i] = static_cast<pxinfo_epoch_num_t>(1000 + r * kReplicas + i);
        }
    }
    return family;
}

// One record of each kind, made once.
struct Records {
    Arena arena;
    pxinfo_family_sync_status_t family_sync = make_family_sync_status(arena);
    pxinfo_family_epoch_status_t family_epoch = make_family_epoch_status(arena);
    pxinfo_packet_info_t packet = make_packet_info(arena);
};

inline const Records &records() {
    static const Records made;
    return made;
}

// The rpcgen record holding the same fields as a record of the library: its
// encoding by the library decoded by the rpcgen routine. Made once per record
// type and kept for the life of the program.
template <auto Ours, auto Theirs, typename G, typename T>
const G &baseline_record(const T &ours) {
    static G theirs = [&] {
        T record = ours;
        std::vector<char> buffer(4 << 20);
        G decoded{};
        size_t size = encode<Ours>(&record, buffer);
        if (size == 0 || !decode<Theirs>(buffer, size, &decoded)) { std::abort(); }
        return decoded;
    }();
    return theirs;
}

}  // namespace bench

#endif
