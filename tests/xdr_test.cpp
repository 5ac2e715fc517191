// The record routines: every kind of the record table round trips and refuses
// every truncation without a leak; hand-written bytes pin the rules of their
// own (text bounds, tags without an arm, the version-6 dependency list) and
// hostile counts. Field order and wire forms are checked against rpcgen's
// routines over every kind by the differential fuzz target's corpus;
// exhausted storage while decoding by fault_injection_test.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "../fuzz/record_routines.h"
#include "fixtures.h"
#include "stg.h"

namespace {

using Bytes = std::vector<uint8_t>;
using pxfix::wire;
using pxfuzz::RecordBuffer;
using pxfuzz::RecordRoutine;

const RecordRoutine &kind(const std::string &name) {
    for (const RecordRoutine &k : pxfuzz::record_routines()) {
        if (name == k.name) { return k; }
    }
    throw std::invalid_argument(name);
}

Bytes encoded(const RecordRoutine &k, void *record) {
    Bytes bytes;
    EXPECT_TRUE(pxfuzz::encode_record(k, record, &bytes)) << k.name;
    return bytes;
}

// Decodes into record; false when refused or when bytes are left over.
bool decodes(const RecordRoutine &k, const Bytes &bytes, RecordBuffer *record) {
    size_t used = 0;
    return pxfuzz::decode_record(k, bytes.data(), bytes.size(), record->get(), &used) && used == bytes.size();
}

// Decoding fails, and freeing what it made releases everything.
void expect_refused(const RecordRoutine &k, const Bytes &bytes) {
    const unsigned long live = stg_live_block_count();
    RecordBuffer record(k.size);
    EXPECT_FALSE(decodes(k, bytes, &record)) << k.name;
    xdr_ez_free(record.get(), k.routine, 0);
    EXPECT_EQ(live, stg_live_block_count()) << k.name;
}

// The record's bytes, which decode (all of them) into a record that encodes
// the same again.
Bytes round_trip(const RecordRoutine &k, void *record) {
    const Bytes bytes = encoded(k, record);
    RecordBuffer back(k.size);
    EXPECT_TRUE(decodes(k, bytes, &back)) << k.name;
    EXPECT_EQ(bytes, encoded(k, back.get())) << k.name;
    xdr_ez_free(back.get(), k.routine, 0);
    return bytes;
}

// Zero and filled records (from filler words) round trip; every proper prefix
// of their bytes is refused without a leak. Scalars and enumerations: any
// 32-bit value, member or not, is one word.
TEST(EveryRecordKind, RoundTripsAndRefusesEveryTruncation) {
    for (const RecordRoutine &k : pxfuzz::record_routines()) {
        size_t sound = 0;
        const unsigned long live = stg_live_block_count();
        for (const std::vector<long> &words : {std::vector<long>{}, {1}, {2}, {1, 2}, {2, 1}}) {
            RecordBuffer record(k.size);
            pxfix::FillerStream filler(words);
            Bytes bytes;
            if ((words.empty() || k.routine(filler.xdrs(), record.get(), 0)) &&
                pxfuzz::encode_record(k, record.get(), &bytes)) {
                ++sound;
                EXPECT_EQ(bytes, round_trip(k, record.get()));
                for (size_t length = 0; length < bytes.size(); ++length) {
                    expect_refused(k, Bytes(bytes.begin(), bytes.begin() + static_cast<long>(length)));
                }
            }
            xdr_ez_free(record.get(), k.routine, 0);
        }
        EXPECT_GE(sound, 3u) << k.name << ": the zero record and filled ones code";
        EXPECT_EQ(live, stg_live_block_count()) << k.name;
        for (int32_t value : {7, -1, INT_MAX}) {
            EXPECT_TRUE(k.size != 4 || wire(value) == round_trip(k, &value)) << k.name << " " << value;
        }
    }
}

// A uuid text holds 51 characters, a name 255, a host name 63; a null text
// codes as an empty one; a selector tag without an arm codes alone and
// decodes with a zero body; setting type 4 has no arm and fails both ways.
TEST(RecordRules, TextBoundsAndTagsWithoutAnArm) {
    pxinfo_replica_set_selector_t set{"c", "s", {}};
    std::memset(set.replica_set_uuid, 'u', 51);
    EXPECT_EQ(wire("c", "s", std::string(51, 'u')), round_trip(kind("xdr_pxinfo_replica_set_selector_t"), &set));
    char key[] = "k";
    pxinfo_nvpair_t nv{key, nullptr};
    EXPECT_EQ(wire("k", 0), encoded(kind("xdr_pxinfo_nvpair_t"), &nv));
    pxinfo_selector_t selector{};
    selector.type = static_cast<pxinfo_component_type_t>(5);
    std::memset(&selector.u, 0xAB, sizeof selector.u);
    EXPECT_EQ(wire(5), encoded(kind("xdr_pxinfo_selector_t"), &selector));
    RecordBuffer back(sizeof selector);
    std::memset(back.get(), 0xAB, sizeof selector);
    ASSERT_TRUE(decodes(kind("xdr_pxinfo_selector_t"), wire(5), &back));
    const pxinfo_selector_u zero{};
    EXPECT_EQ(0, std::memcmp(&zero, &static_cast<pxinfo_selector_t *>(back.get())->u, sizeof zero));
    pxinfo_setting_val_t value{};
    value.type = static_cast<pxinfo_setting_type_t>(4);
    Bytes bytes;
    EXPECT_FALSE(pxfuzz::encode_record(kind("xdr_pxinfo_setting_val_t"), &value, &bytes));
}

// The count word is at most 1 both ways (the record's count is left alone
// when encoding), and the pointed-to dependency is coded whatever the count.
TEST(RecordRules, Version6DependencyListHoldsAtMostOne) {
    pxinfo_dep_info_t deps[2] = {{1, 2, {}}, {3, 4, {}}};
    const Bytes first = wire(1, 2, 0);
    const RecordRoutine &list_kind = kind("xdr_pxinfo_dep_info_list_v6_t");
    const RecordRoutine inner{"", &pxinfo::xdr::untyped<&xdr_pxinfo_dep_info_list_v6_s>,
                              sizeof(pxinfo_dep_info_list_v6_t)};
    for (uint32_t count : {2u, 0u}) {
        pxinfo_dep_info_list_v6_t list{count, deps}, none{count, nullptr};
        EXPECT_EQ(wire(count == 0 ? 0u : 1u, 1, first), encoded(list_kind, &list));
        EXPECT_EQ(count, list.count);
        EXPECT_EQ(wire(count, 1, first), encoded(inner, &list)) << "the inner routine codes the count as it is";
        EXPECT_EQ(wire(count == 0 ? 0u : 1u, 0), encoded(list_kind, &none));
    }
    RecordBuffer back(list_kind.size);
    ASSERT_TRUE(decodes(list_kind, wire(5, 1, first), &back));
    auto *read = static_cast<pxinfo_dep_info_list_v6_t *>(back.get());
    EXPECT_TRUE(read->count == 1u && read->deps->second_epoch == 2u);
    xdr_ez_free(back.get(), list_kind.routine, 0);
}

// An array whose own count word differs from the record's count field is
// refused either way, as are counts and lengths no memory could hold, texts
// beyond their bounds, presence words other than 0 and 1 and arm-less tags.
TEST(RecordRules, HostileCountsAndLengthsAreRefused) {
    const Bytes pair = wire(0, 0, 0, 0, 9, 1), target = wire(0, 0, 0, 0, 0), replica = wire(0, 0, 0, 0, 5);
    Bytes status;
    RecordBuffer zero(4096);
    EXPECT_TRUE(pxfuzz::encode_record(kind("xdr_pxinfo_replica_sync_status_t"), zero.get(), &status));
    const auto header = [&](uint32_t targets, uint32_t target_array, int elements, const Bytes &rest) {
        Bytes w = wire(0, 0, 0, 0, 0, 0, 0, 0, 0, targets, 0, 0, target_array);
        for (int i = 0; i < elements; ++i) { pxfix::put_wire(w, target); }
        return wire(w, rest);
    };
    // The well-formed forms the damaged rows start from.
    for (const auto &[name, good] : {std::pair{"xdr_pxinfo_kv_pkt_header_0_t", header(2, 2, 2, wire(0, 0))},
                                     {"xdr_pxinfo_family_sync_status_t", wire(0, 2, 2, status, status)}}) {
        RecordBuffer record(kind(name).size);
        EXPECT_TRUE(decodes(kind(name), good, &record)) << name;
        xdr_ez_free(record.get(), kind(name).routine, 0);
    }
    const std::pair<const char *, Bytes> rows[] = {
        {"xdr_pxinfo_sync_job_id_pair_list_t", wire(1, 2, pair, pair)},
        {"xdr_pxinfo_sync_job_id_pair_list_t", wire(2, 1, pair, pair)},
        {"xdr_pxinfo_sync_job_id_pair_list_t", wire(0xFFFFFFFFu, 0xFFFFFFFFu, pair)},
        {"xdr_pxinfo_epoch_row_t", wire("n", "h", 0xFFFFFFFFu, 0xFFFFFFFFu, 1, 1, 0)},
        {"xdr_pxinfo_epoch_row_t", wire("n", "h", 0xFFFFFFFFu, 1, 1, 1, 0, 0, 0)},
        {"xdr_pxinfo_epoch_row_t", wire("n", std::string(64, 'h'), 0, 0, 0, 0)},
        {"xdr_pxinfo_replica_epoch_status_t", wire("n", 0, "h", 2, 2, 1, 2, 1, 5, 0)},
        {"xdr_pxinfo_family_sync_status_t", wire(0, 3, 2, status, status)},
        {"xdr_pxinfo_nvpair_t", wire(0xFFFFFFF0u, 0)},
        {"xdr_pxinfo_nvpair_t", wire("n", 100, 0)},
        {"xdr_pxinfo_kv_pkt_header_0_t", header(1, 2, 2, wire(0, 0))},
        {"xdr_pxinfo_kv_pkt_header_0_t", header(3, 2, 2, wire(0, 0))},
        {"xdr_pxinfo_kv_pkt_header_0_t", header(0xFFFFFFFFu, 0xFFFFFFFFu, 1, wire(0, 0))},
        {"xdr_pxinfo_kv_pkt_header_0_t", header(0, 0, 0, wire(2, 1, replica))},
        {"xdr_pxinfo_kv_pkt_header_0_t", header(0, 0, 0, wire(1, 2, replica, replica))},
        {"xdr_pxinfo_replica_set_selector_t", wire("c", "s", std::string(52, 'u'))},
        {"xdr_pxinfo_replica_set_selector_t", wire(std::string(256, 'n'), "s", "u")},
        {"xdr_pxinfo_dep_info_list_v6_t", wire(1, 2, 1, 2, 0)},
        {"xdr_pxinfo_setting_val_t", wire(4, 7)},
    };
    for (const auto &[name, bytes] : rows) { expect_refused(kind(name), bytes); }
}

// A failed decode into the caller's own array leaves the block where it is
// and the caller's: a stack array (which must never reach the heap's free)
// and a heap block; strings decoded into its elements before the failure
// stay with them, released element by element.
TEST(RecordCallerArrays, AFailedDecodeKeepsTheCallersBlock) {
    const RecordRoutine &list_kind = kind("xdr_pxinfo_sync_job_id_pair_list_t");
    for (const Bytes &failing : {wire(2, 1, 1, 2, 3, 4, 7, 1), wire(2, 2, 1, 2, 3, 4, 7, 1), wire(2, 2, 1, 2)}) {
        pxinfo_sync_job_id_pair_t on_stack[2] = {};
        auto *on_heap = static_cast<pxinfo_sync_job_id_pair_t *>(std::calloc(2, sizeof(pxinfo_sync_job_id_pair_t)));
        for (pxinfo_sync_job_id_pair_t *block : {on_stack, on_heap}) {
            RecordBuffer list(list_kind.size);
            static_cast<pxinfo_sync_job_id_pair_list_t *>(list.get())->pairs = block;
            EXPECT_FALSE(decodes(list_kind, failing, &list));
            EXPECT_EQ(block, static_cast<pxinfo_sync_job_id_pair_list_t *>(list.get())->pairs);
        }
        on_heap[1].local_jobid = 9;  // still the caller's, writable, freed once
        std::free(on_heap);
    }
    pxinfo_replica_info_t replicas[2] = {};
    RecordBuffer attempt(sizeof(pxinfo_sync_attempt_data_t));
    static_cast<pxinfo_sync_attempt_data_t *>(attempt.get())->replicas = replicas;
    EXPECT_FALSE(decodes(kind("xdr_pxinfo_sync_attempt_data_t"), wire(1, 2, 3, 1, 1, 2, 2, 0, "nm", 0, 0), &attempt));
    EXPECT_EQ(replicas, static_cast<pxinfo_sync_attempt_data_t *>(attempt.get())->replicas);
    EXPECT_STREQ("nm", replicas[0].name);
    for (pxinfo_replica_info_t &r : replicas) { xdr_ez_free(&r, kind("xdr_pxinfo_replica_info_t").routine, 0); }
}

// The null procedure's filters of the generator glue: the argument is one
// int; the result one long, read only with a clear low byte.
TEST(RecordGlue, NullProcedureFilters) {
    using pxinfo::xdr::untyped;
    pxinfobase_xdr_makeprocs();
    pxinfobase_xdr_freeprocs();
    pxinfokvpktbase_xdr_makeprocs();
    pxinfokvpktbase_xdr_freeprocs();
    const RecordRoutine filters[2][2] = {{{"", &untyped<&xdr_pxinfobase_program_null_V1_back>, sizeof(int)},
                                          {"", &untyped<&xdr_pxinfobase_program_null_V1_over>, sizeof(long)}},
                                         {{"", &untyped<&xdr_pxinfokvpktbase_program_null_V1_back>, sizeof(int)},
                                          {"", &untyped<&xdr_pxinfokvpktbase_program_null_V1_over>, sizeof(long)}}};
    for (const auto &[back, over] : filters) {
        int argument = INT_MIN;
        long result = 0x1FF;  // encoding does not look at the low byte
        EXPECT_TRUE(wire(0x80000000u) == round_trip(back, &argument) && wire(0x1FF) == encoded(over, &result));
        for (uint32_t word : {0x100u, 0x1FFu, 1u}) {
            RecordBuffer decoded(sizeof(long));
            EXPECT_EQ(word == 0x100u, decodes(over, wire(word), &decoded)) << word;
            EXPECT_TRUE(word != 0x100u || *static_cast<long *>(decoded.get()) == 0x100);
        }
    }
}

}  // namespace
