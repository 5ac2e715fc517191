// The record routines: every kind of the record table round trips and refuses
// every truncation without a leak; golden bytes written by hand pin the
// fields that hold values of one type side by side and the kinds with rules
// of their own; hostile counts are refused. Agreement with the routines that
// rpcgen generates is checked over every kind by the differential fuzz
// target's corpus; exhausted storage while decoding by fault_injection_test.
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
using pxfuzz::RecordBuffer;
using pxfuzz::RecordRoutine;

char *text(const char *literal) { return const_cast<char *>(literal); }

using pxfix::wire;

const RecordRoutine &kind(const std::string &name) {
    for (const RecordRoutine &k : pxfuzz::record_routines())
        if (name == k.name) return k;
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
void expect_refused(const std::string &name, const Bytes &bytes) {
    const RecordRoutine &k = kind(name);
    const unsigned long live = stg_live_block_count();
    RecordBuffer record(k.size);
    EXPECT_FALSE(decodes(k, bytes, &record)) << name;
    xdr_ez_free(record.get(), k.routine, 0);
    EXPECT_EQ(live, stg_live_block_count()) << name;
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
template <typename T>
Bytes golden(const char *name, T record) {
    return round_trip(kind(name), &record);
}

// The encoding of a record of the kind decoded from filler words (none: the
// zero record); empty when the kind refuses such a record.
Bytes filled_bytes(const RecordRoutine &k, const std::vector<long> &words) {
    RecordBuffer record(k.size);
    pxfix::FillerStream filler(words);
    Bytes bytes;
    const bool ok =
        (words.empty() || k.routine(filler.xdrs(), record.get(), 0)) && pxfuzz::encode_record(k, record.get(), &bytes);
    xdr_ez_free(record.get(), k.routine, 0);
    return ok ? bytes : Bytes{};
}

// Zero and filled records round trip; every proper prefix of their bytes is
// refused, and freeing what the refused decode made leaves nothing behind.
// Scalars and enumerations: any 32-bit value, member or not, is one word.
TEST(EveryRecordKind, RoundTripsAndRefusesEveryTruncation) {
    for (const RecordRoutine &k : pxfuzz::record_routines()) {
        size_t sound = 0;
        for (const std::vector<long> &words : {std::vector<long>{}, {1}, {2}, {1, 2}, {2, 1}}) {
            const Bytes bytes = filled_bytes(k, words);
            if (bytes.empty()) continue;  // a kind that refuses such a record
            ++sound;
            const unsigned long live = stg_live_block_count();
            RecordBuffer record(k.size);
            ASSERT_TRUE(decodes(k, bytes, &record)) << k.name;
            EXPECT_EQ(bytes, round_trip(k, record.get()));
            xdr_ez_free(record.get(), k.routine, 0);
            for (size_t length = 0; length < bytes.size(); ++length)
                expect_refused(k.name, Bytes(bytes.begin(), bytes.begin() + static_cast<long>(length)));
            EXPECT_EQ(live, stg_live_block_count()) << k.name;
        }
        EXPECT_GE(sound, 3u) << k.name << ": the zero record and filled ones code";
        for (int32_t value : {7, -1, INT_MAX})
            EXPECT_TRUE(k.size != 4 || wire(value) == round_trip(k, &value)) << k.name << " " << value;
    }
}

// ---- Golden bytes -------------------------------------------------------------

TEST(RecordGoldenBytes, SelectorsAndTheirTexts) {
    const pxinfo_selector_t vault = pxfix::vault_selector(3, 4);
    EXPECT_EQ(wire(1, vault.u.vault.vault_oid, vault.u.vault.replica_oid), golden("xdr_pxinfo_selector_t", vault));
    const pxinfo_selector_t bb = pxfix::bb_selector("fam", "clan-a", "rs", "0123-u");
    EXPECT_EQ(wire(2, "fam", "clan-a", "rs", "0123-u"), golden("xdr_pxinfo_selector_t", bb));
    // An unknown tag codes alone and decodes with a zero body.
    pxinfo_selector_t tag_only{};
    tag_only.type = static_cast<pxinfo_component_type_t>(5);
    std::memset(&tag_only.u, 0xAB, sizeof tag_only.u);
    EXPECT_EQ(wire(5), encoded(kind("xdr_pxinfo_selector_t"), &tag_only));
    RecordBuffer back(sizeof bb);
    std::memcpy(back.get(), &bb, sizeof bb);
    ASSERT_TRUE(decodes(kind("xdr_pxinfo_selector_t"), wire(5), &back));
    const pxinfo_selector_u zero{};
    EXPECT_EQ(0, std::memcmp(&zero, &static_cast<pxinfo_selector_t *>(back.get())->u, sizeof zero));
    // A uuid text holds 51 characters, a name 255, a host name 63.
    pxinfo_replica_set_selector_t set{"c", "s", {}};
    std::memset(set.replica_set_uuid, 'u', 51);
    EXPECT_EQ(wire("c", "s", std::string(51, 'u')), golden("xdr_pxinfo_replica_set_selector_t", set));
    expect_refused("xdr_pxinfo_replica_set_selector_t", wire("c", "s", std::string(52, 'u')));
    expect_refused("xdr_pxinfo_replica_set_selector_t", wire(std::string(256, 'n'), "s", "u"));
    expect_refused("xdr_pxinfo_epoch_row_t", wire("n", std::string(64, 'h'), 0, 0, 0, 0));
}

TEST(RecordGoldenBytes, FieldsOfOneTypeInTheirOrder) {
    const pxinfo_sync_job_id_pair_t pair{pxfix::numbered_uuid(1, 2), 42, PXINFO_JOB_ID_BOTH};
    EXPECT_EQ(wire(pair.job_uuid, 42, 3), golden("xdr_pxinfo_sync_job_id_pair_t", pair));
    EXPECT_EQ(wire(0, 0xFFFFFFFFu, 7, 8),
              golden("xdr_pxinfo_replica_reference_t", pxinfo_replica_reference_t{{}, -1, 7, 8}));
    pxinfo_nvpair_t nv{text("k"), nullptr};  // a null text codes as an empty one
    EXPECT_EQ(wire("k", 0), encoded(kind("xdr_pxinfo_nvpair_t"), &nv));
    pxinfo_epoch_row_entry_t entry{9, -1, {}};
    EXPECT_EQ(wire("r1", "host", 1, 1, 9, 0xFFFFFFFFu, 0, 7, 8),
              golden("xdr_pxinfo_epoch_row_t", pxinfo_epoch_row_t{"r1", "host", 1, &entry, 7, 8}));
    // One count field, then each of the two arrays with its own count word.
    int32_t times[3] = {10, 20, -30};
    pxinfo_epoch_num_t epochs[3] = {1, 2, 3};
    EXPECT_EQ(
        wire("n", 0, "h", 3, 3, 10, 20, 0xFFFFFFE2u, 3, 1, 2, 3, 4),
        golden("xdr_pxinfo_replica_epoch_status_t", pxinfo_replica_epoch_status_t{"n", {}, "h", 3, times, epochs, 4}));
    EXPECT_EQ(wire("abc", 3, 4, 5, 6), golden("xdr_pxinfo_msg_t", pxinfo_msg_t{text("abc"), 3, 4, {5, 6}}));
    EXPECT_EQ(wire(0, 2, 0xFFFFFFF9u), golden("xdr_pxinfo_sync_status_summary_t",
                                              pxinfo_sync_status_summary_t{{}, PXINFO_SYNC_STATUS_UNKNOWN, -7}));
    EXPECT_EQ(wire(1, 0xFFFFFFFFu, 2, 5, 1, 2, 0xFFFFFFFFu, 0xFFFFFFFFu),
              golden("xdr_pxinfo_kv_oplog_desc_t",
                     pxinfo_kv_oplog_desc_1_t{PXINFO_COMPRESS_DEFAULT, 0xFFFFFFFFu, 2,
                                              static_cast<pxinfo_compress_type_t>(5), 0x0000000100000002LL, -1}));
}

// The version-6 layout is a prefix of the current one, and its routine reads
// only that prefix; both source slots are coded whatever source_count says.
TEST(RecordGoldenBytes, PacketInformationAndItsVersion6Prefix) {
    const Bytes no_source = wire(0, 0, 0, 0, 0, 0);
    const Bytes v6 = wire("p", 1, 2, 100, 5, 7, 1, 0, no_source, no_source, 6, 0, 0, "x");
    const Bytes current = wire(v6, pxfix::numbered_uuid(1, 1), pxfix::numbered_uuid(2, 1), 3, 4,
                               pxfix::numbered_uuid(3, 1), 1, 8, 9, 0xFFFFFFF6u);
    for (const auto &[name, bytes] :
         {std::pair{"xdr_pxinfo_packet_info_t", current}, {"xdr_pxinfo_packet_info_v6_t", v6}}) {
        RecordBuffer record(kind(name).size);
        size_t used = 0;
        EXPECT_TRUE(pxfuzz::decode_record(kind(name), current.data(), current.size(), record.get(), &used));
        EXPECT_EQ(bytes.size(), used);
        EXPECT_EQ(bytes, round_trip(kind(name), record.get()));
        const auto *info = static_cast<pxinfo_packet_info_t *>(record.get());
        EXPECT_TRUE(info->file_time == 100 && info->major_version == 7 && info->aux_int == 6);
        EXPECT_TRUE(bytes == v6 || (info->pkt_seq_num == 3 && info->aux_count == 4 && info->aux_int2 == -10));
        xdr_ez_free(record.get(), kind(name).routine, 0);
    }
}

// Types 0 and 3 code a word, 1 a signed word, 2 a text; type 4 has no arm and
// fails after the type word, both ways.
TEST(RecordGoldenBytes, SettingValueCodesTheArmOfItsType) {
    pxinfo_setting_val_t value{};
    const std::pair<int, Bytes> rows[] = {
        {0, wire(0, 0xFFFFFFFFu)}, {1, wire(1, 0xFFFFFFFFu)}, {2, wire(2, "on")}, {3, wire(3, 0xFFFFFFFFu)}};
    for (const auto &[type, wire] : rows) {
        value.type = static_cast<pxinfo_setting_type_t>(type);
        if (type == 2) value.data.str_value = text("on");
        else value.data.int_value = -1;
        EXPECT_EQ(wire, golden("xdr_pxinfo_setting_val_t", value)) << type;
    }
    value.type = static_cast<pxinfo_setting_type_t>(4);
    Bytes bytes;
    EXPECT_FALSE(pxfuzz::encode_record(kind("xdr_pxinfo_setting_val_t"), &value, &bytes));
    expect_refused("xdr_pxinfo_setting_val_t", wire(4, 7));
}

// The count word is at most 1 both ways (the record's count is left alone
// when encoding), and the pointed-to dependency is coded whatever the count.
TEST(RecordGoldenBytes, Version6DependencyListHoldsAtMostOne) {
    pxinfo_dep_info_t deps[2] = {{1, 2, {}}, {3, 4, {}}};
    const Bytes first = wire(1, 2, 0);
    const RecordRoutine &list_kind = kind("xdr_pxinfo_dep_info_list_v6_t");
    for (uint32_t count : {2u, 0u}) {
        pxinfo_dep_info_list_v6_t list{count, deps};
        EXPECT_EQ(wire(count == 0 ? 0u : 1u, 1, first), encoded(list_kind, &list));
        EXPECT_EQ(count, list.count);
        const RecordRoutine inner{"", &pxinfo::xdr::untyped<&xdr_pxinfo_dep_info_list_v6_s>,
                                  sizeof list};
        EXPECT_EQ(wire(count, 1, first), encoded(inner, &list)) << "the inner routine codes the count as it is";
        pxinfo_dep_info_list_v6_t none{count, nullptr};
        EXPECT_EQ(wire(count == 0 ? 0u : 1u, 0), encoded(list_kind, &none));
    }
    RecordBuffer back(list_kind.size);
    ASSERT_TRUE(decodes(list_kind, wire(5, 1, first), &back));
    auto *read = static_cast<pxinfo_dep_info_list_v6_t *>(back.get());
    EXPECT_EQ(1u, read->count);
    EXPECT_EQ(2u, read->deps->second_epoch);
    xdr_ez_free(back.get(), list_kind.routine, 0);
    expect_refused("xdr_pxinfo_dep_info_list_v6_t", wire(1, 2, first));  // presence is 0 or 1
}

// ---- Hostile input ------------------------------------------------------------

// An array whose own count word differs from the record's count field is
// refused either way, as are counts and lengths no memory could hold.
TEST(RecordHostileInput, CountsAndLengthsBeyondTheirBounds) {
    const Bytes pair = wire(0, 0, 0, 0, 9, 1), status = filled_bytes(kind("xdr_pxinfo_replica_sync_status_t"), {});
    const Bytes target = wire(0, 0, 0, 0, 0), replica = wire(0, 0, 0, 0, 5);
    const auto header = [&](uint32_t targets, uint32_t target_array, int elements, const Bytes &rest) {
        Bytes w = wire(0, 0, 0, 0, 0, 0, 0, 0, 0, targets, 0, 0, target_array);
        for (int i = 0; i < elements; ++i) pxfix::put_wire(w, target);
        return wire(w, rest);
    };
    // The well-formed forms the damaged rows start from.
    RecordBuffer good_header(kind("xdr_pxinfo_kv_pkt_header_0_t").size), good_family(4096);
    EXPECT_TRUE(decodes(kind("xdr_pxinfo_kv_pkt_header_0_t"), header(2, 2, 2, wire(0, 0)), &good_header));
    EXPECT_TRUE(decodes(kind("xdr_pxinfo_family_sync_status_t"), wire(0, 2, 2, status, status), &good_family));
    xdr_ez_free(good_header.get(), kind("xdr_pxinfo_kv_pkt_header_0_t").routine, 0);
    xdr_ez_free(good_family.get(), kind("xdr_pxinfo_family_sync_status_t").routine, 0);
    const std::pair<const char *, Bytes> rows[] = {
        {"xdr_pxinfo_sync_job_id_pair_list_t", wire(1, 2, pair, pair)},
        {"xdr_pxinfo_sync_job_id_pair_list_t", wire(2, 1, pair, pair)},
        {"xdr_pxinfo_sync_job_id_pair_list_t", wire(0xFFFFFFFFu, 0xFFFFFFFFu, pair)},
        {"xdr_pxinfo_epoch_row_t", wire("n", "h", 0xFFFFFFFFu, 0xFFFFFFFFu, 1, 1, 0)},
        {"xdr_pxinfo_epoch_row_t", wire("n", "h", 0xFFFFFFFFu, 1, 1, 1, 0, 0, 0)},
        {"xdr_pxinfo_replica_epoch_status_t", wire("n", 0, "h", 2, 2, 1, 2, 1, 5, 0)},
        {"xdr_pxinfo_family_sync_status_t", wire(0, 3, 2, status, status)},
        {"xdr_pxinfo_nvpair_t", wire(0xFFFFFFF0u, 0)},
        {"xdr_pxinfo_nvpair_t", wire("n", 100, 0)},
        {"xdr_pxinfo_kv_pkt_header_0_t", header(1, 2, 2, wire(0, 0))},
        {"xdr_pxinfo_kv_pkt_header_0_t", header(3, 2, 2, wire(0, 0))},
        {"xdr_pxinfo_kv_pkt_header_0_t", header(0xFFFFFFFFu, 0xFFFFFFFFu, 1, wire(0, 0))},
        {"xdr_pxinfo_kv_pkt_header_0_t", header(0, 0, 0, wire(2, 1, replica))},
        {"xdr_pxinfo_kv_pkt_header_0_t", header(0, 0, 0, wire(1, 2, replica, replica))},
    };
    for (const auto &[name, wire] : rows) expect_refused(name, wire);
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
    for (pxinfo_replica_info_t &r : replicas) xdr_ez_free(&r, kind("xdr_pxinfo_replica_info_t").routine, 0);
}

// The null procedure's filters of the generator glue: the argument is one
// int; the result one long, read only with a clear low byte.
TEST(RecordGlue, NullProcedureFilters) {
    using pxinfo::xdr::untyped;
    pxinfobase_xdr_makeprocs();
    pxinfobase_xdr_freeprocs();
    pxinfokvpktbase_xdr_makeprocs();
    pxinfokvpktbase_xdr_freeprocs();
    const RecordRoutine backs[] = {{"", &untyped<&xdr_pxinfobase_program_null_V1_back>, sizeof(int)},
                                   {"", &untyped<&xdr_pxinfokvpktbase_program_null_V1_back>, sizeof(int)}};
    const RecordRoutine overs[] = {{"", &untyped<&xdr_pxinfobase_program_null_V1_over>, sizeof(long)},
                                   {"", &untyped<&xdr_pxinfokvpktbase_program_null_V1_over>, sizeof(long)}};
    for (int i = 0; i < 2; ++i) {
        int argument = INT_MIN;
        EXPECT_EQ(wire(0x80000000u), round_trip(backs[i], &argument));
        long result = 0x1FF;  // encoding does not look at the low byte
        EXPECT_EQ(wire(0x1FF), encoded(overs[i], &result));
        for (uint32_t word : {0x100u, 0x1FFu, 1u}) {
            RecordBuffer decoded(sizeof(long));
            EXPECT_EQ(word == 0x100u, decodes(overs[i], wire(word), &decoded)) << word;
            EXPECT_TRUE(word != 0x100u || *static_cast<long *>(decoded.get()) == 0x100);
        }
    }
}

}  // namespace
