// Epoch rows: two rows decoded from the input (replicas of one vault family,
// some listed twice, some of no kind, epochs around the 2^32 wrap), an
// excluded replica and a callback that may fail. The comparison must never
// crash or keep a block; on rows of valid replicas, each listed once in the
// target row, with a callback that succeeds, its result and callback calls
// must be those of a replica-by-replica model.
#include <cstdint>
#include <cstdlib>
#include <map>
#include <utility>
#include <vector>

#include "imsg.h"
#include "pxinfo_utl_epoch.h"
#include "pxinfo_utl_selector.h"
#include "stg.h"

namespace {

using Entry = pxinfo_epoch_row_entry_t;

constexpr uint8_t kFirstOfNoKind = 250;

void check(bool condition) {
    if (!condition) { std::abort(); }
}

void discard(void *, int, const char *, const char *) {}

// Replica n of vault family 1; from kFirstOfNoKind on, a selector of no kind.
pxinfo_selector_t replica(uint8_t n) {
    pxinfo_selector_t selector = {};
    tbs_uuid_t vault = {}, rep = {};
    vault.bytes[0] = 1;
    rep.bytes[0] = 2;
    rep.bytes[15] = n;
    pxinfo_new_vault_selector(&rep, &vault, &selector);
    if (n >= kFirstOfNoKind) { selector.type = static_cast<pxinfo_component_type_t>(7); }
    return selector;
}

struct Calls {
    std::vector<std::pair<const Entry *, const Entry *>> seen;
    size_t fail_at = 0;  // 0: never

    static tbs_status_t record(const Entry *packet, const Entry *target, void *context) {
        auto *calls = static_cast<Calls *>(context);
        calls->seen.emplace_back(packet, target);
        return calls->seen.size() == calls->fail_at ? 77 : TBS_ST_OK;
    }
};

int model_result(const std::vector<Entry> &packet, const std::vector<uint8_t> &packet_ids,
                 const std::vector<Entry> &target, const std::vector<uint8_t> &target_ids, int excluded,
                 std::vector<std::pair<const Entry *, const Entry *>> *calls) {
    std::map<uint8_t, const Entry *> unmatched;
    for (size_t i = 0; i < target.size(); ++i) {
        if (target_ids[i] != excluded) { unmatched[target_ids[i]] = &target[i]; }
    }
    bool ahead = false, behind = false;
    for (size_t i = 0; i < packet.size(); ++i) {
        if (packet_ids[i] == excluded) { continue; }
        auto partner = unmatched.find(packet_ids[i]);
        const Entry *target_entry = partner != unmatched.end() ? partner->second : nullptr;
        if (partner != unmatched.end()) { unmatched.erase(partner); }
        auto difference = static_cast<int32_t>(packet[i].epoch - (target_entry ? target_entry->epoch : 0u));
        if (difference > 0) { calls->emplace_back(&packet[i], target_entry); }
        ahead |= difference > 0;
        behind |= difference < 0;
    }
    // A replica only the target lists is at 0 in the packet row: 0 - epoch,
    // read as a signed difference like any other.
    for (const auto &left : unmatched) {
        auto difference = static_cast<int32_t>(0u - left.second->epoch);
        ahead |= difference > 0;
        behind |= difference < 0;
    }
    return ahead && behind ? PXINFO_EPOCH_CMP_MIXED
           : ahead         ? PXINFO_EPOCH_CMP_GREATER
           : behind        ? PXINFO_EPOCH_CMP_LESS
                           : PXINFO_EPOCH_CMP_EQUAL;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 4) { return 0; }
    imsg_set_sink(discard, nullptr);
    const size_t packet_count = data[0], target_count = data[1];
    const uint8_t excluded_id = data[2];
    Calls calls;
    calls.fail_at = data[3] >= 200 ? data[3] - 199u : 0;  // most inputs never fail
    data += 4;
    size -= 4;

    std::vector<Entry> packet, target;
    std::vector<uint8_t> packet_ids, target_ids;
    bool all_valid = true;
    for (size_t i = 0; i + 3 <= size && packet.size() + target.size() < packet_count + target_count; i += 3) {
        Entry entry = {};
        entry.replica = replica(data[i]);
        entry.epoch = static_cast<pxinfo_epoch_num_t>(data[i + 1]) << 24 | data[i + 2];
        all_valid &= data[i] < kFirstOfNoKind;
        bool to_packet = packet.size() < packet_count;
        (to_packet ? packet : target).push_back(entry);
        (to_packet ? packet_ids : target_ids).push_back(data[i]);
    }
    pxinfo_selector_t excluded = replica(excluded_id);
    const bool excluding = excluded_id != 0 && excluded_id < kFirstOfNoKind;

    unsigned long live_before = stg_live_block_count();
    int result = -1;
    tbs_status_t status =
        pxinfo_epoch_row_compare(static_cast<unsigned>(packet.size()), packet.empty() ? nullptr : packet.data(),
                                 static_cast<unsigned>(target.size()), target.empty() ? nullptr : target.data(),
                                 excluding ? &excluded : nullptr, {&Calls::record, &calls}, &result);
    check(stg_live_block_count() == live_before);

    std::map<uint8_t, int> listed;
    bool target_unique = true;
    for (uint8_t id : target_ids) {
        if (!excluding || id != excluded_id) { target_unique &= ++listed[id] == 1; }
    }
    if (all_valid && target_unique && calls.fail_at == 0) {
        std::vector<std::pair<const Entry *, const Entry *>> expected_calls;
        int expected =
            model_result(packet, packet_ids, target, target_ids, excluding ? excluded_id : -1, &expected_calls);
        check(status == TBS_ST_OK && result == expected && calls.seen == expected_calls);
    }
    imsg_set_sink(nullptr, nullptr);
    return 0;
}
