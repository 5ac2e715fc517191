// The record routines: every kind of the record table round trips, refuses
// every truncation and agrees on the wire with routines that rpcgen generates
// from an independent description of the records (tests/xdr/records.x);
// golden bytes written by hand pin each field's place; hostile counts are
// refused. Exhausted storage while decoding: fault_injection_test.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "../fuzz/record_routines.h"
#include "fixtures.h"
#include "gx_records.h"
#include "stg.h"

namespace {

using Bytes = std::vector<uint8_t>;
using pxfuzz::RecordBuffer;
using pxfuzz::RecordRoutine;

char *text(const char *literal) { return const_cast<char *>(literal); }

// Big-endian words and XDR strings, written by hand.
struct Wire {
    Bytes bytes;
    Wire &w(uint32_t word) {
        for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<uint8_t>(word >> shift));
        return *this;
    }
    Wire &ws(std::initializer_list<uint32_t> words) {
        for (uint32_t word : words) w(word);
        return *this;
    }
    Wire &str(const std::string &s) {
        w(static_cast<uint32_t>(s.size()));
        bytes.insert(bytes.end(), s.begin(), s.end());
        while (bytes.size() % 4 != 0) bytes.push_back(0);
        return *this;
    }
    Wire &uuid(const tbs_uuid_t &u) {
        bytes.insert(bytes.end(), u.bytes, u.bytes + 16);
        return *this;
    }
    Wire &append(const Bytes &more) {
        bytes.insert(bytes.end(), more.begin(), more.end());
        return *this;
    }
};

const RecordRoutine &kind(const std::string &name) {
    for (const RecordRoutine &k : pxfuzz::record_routines())
        if (name == k.name) return k;
    throw std::invalid_argument(name);
}

// Runs a routine of either signature on a record of its own type.
template <auto Routine, typename T>
bool_t thunk(XDR *xdrs, void *record, int extra) {
    if constexpr (std::is_invocable_v<decltype(Routine), XDR *, T *, int>)
        return Routine(xdrs, static_cast<T *>(record), extra);
    else return Routine(xdrs, static_cast<T *>(record));
}

Bytes encoded(xdr_ez_proc_t routine, void *record) {
    std::vector<uint8_t> bytes;
    EXPECT_TRUE(pxfuzz::encode_record({"", routine, 0}, record, &bytes));
    return bytes;
}

// Decodes into a fresh record, which the caller releases; false when refused
// or when bytes are left over.
bool decodes(const RecordRoutine &k, const Bytes &bytes, RecordBuffer *record) {
    size_t used = 0;
    return pxfuzz::decode_record(k, bytes.data(), bytes.size(), record->get(), &used) && used == bytes.size();
}

// Decoding fails, and freeing what it made releases everything.
void expect_refused(const std::string &name, const Bytes &bytes) {
    const RecordRoutine &k = kind(name);
    const unsigned long live = stg_live_block_count();
    RecordBuffer record(k.size);
    size_t used = 0;
    EXPECT_FALSE(pxfuzz::decode_record(k, bytes.data(), bytes.size(), record.get(), &used)) << name;
    xdr_ez_free(record.get(), k.routine, 0);
    EXPECT_EQ(live, stg_live_block_count()) << name;
}

// The bytes round trip through a fresh record of the kind and come back the same.
Bytes expect_round_trip(const std::string &name, void *record) {
    const RecordRoutine &k = kind(name);
    const Bytes bytes = encoded(k.routine, record);
    RecordBuffer back(k.size);
    EXPECT_TRUE(decodes(k, bytes, &back)) << name;
    EXPECT_EQ(bytes, encoded(k.routine, back.get())) << name;
    xdr_ez_free(back.get(), k.routine, 0);
    return bytes;
}

// A record of the kind decoded from filler words (none: the zero record).
Bytes filled_bytes(const RecordRoutine &k, const std::vector<long> &words) {
    RecordBuffer record(k.size);
    bool ok = true;
    if (!words.empty()) {
        pxfix::FillerStream filler(words);
        ok = k.routine(filler.xdrs(), record.get(), 0) != 0;
    }
    Bytes bytes;
    if (ok) ok = pxfuzz::encode_record(k, record.get(), &bytes);
    xdr_ez_free(record.get(), k.routine, 0);
    return ok ? bytes : Bytes{};
}

const std::vector<std::vector<long>> kFillers = {{}, {1}, {2}, {1, 2}, {2, 1}};

// Decoding the encoding of a zero or filled record and encoding again gives
// the same bytes, all of them consumed; freeing leaves nothing behind; every
// proper prefix is refused without a leak.
void expect_sound_kind(const RecordRoutine &k) {
    size_t sound = 0;
    for (const auto &words : kFillers) {
        const Bytes bytes = filled_bytes(k, words);
        if (bytes.empty()) continue;  // a kind that refuses such a record
        ++sound;
        const unsigned long live = stg_live_block_count();
        RecordBuffer back(k.size);
        EXPECT_TRUE(decodes(k, bytes, &back));
        EXPECT_EQ(bytes, encoded(k.routine, back.get()));
        xdr_ez_free(back.get(), k.routine, 0);
        for (size_t length = 0; length < bytes.size(); ++length)
            expect_refused(k.name, Bytes(bytes.begin(), bytes.begin() + static_cast<long>(length)));
        EXPECT_EQ(live, stg_live_block_count());
    }
    EXPECT_GE(sound, 3u) << "the zero record and filled ones code";
}

TEST(EveryRecordKind, RoundTripsAndRefusesEveryTruncation) {
    for (const RecordRoutine &k : pxfuzz::record_routines()) {
        SCOPED_TRACE(k.name);
        expect_sound_kind(k);
    }
}

// Scalars and enumerations: any 32-bit value, member or not, is one
// big-endian word.
TEST(RecordScalars, AreOneWordForAnyValue) {
    for (const RecordRoutine &k : pxfuzz::record_routines()) {
        for (int32_t value : {7, 0, -1, INT_MAX}) {
            if (k.size != 4) continue;
            RecordBuffer record(4);
            std::memcpy(record.get(), &value, 4);
            EXPECT_EQ(Wire().w(static_cast<uint32_t>(value)).bytes, expect_round_trip(k.name, record.get())) << k.name;
        }
    }
}

// The rpcgen routine of each kind that records.x describes.
const std::map<std::string, xdrproc_t> kRpcgenRoutines = {
    {"xdr_pxinfo_selector_t", xdrproc_t(xdr_gx_selector)},
    {"xdr_pxinfo_selector_vault_t", xdrproc_t(xdr_gx_selector_vault)},
    {"xdr_pxinfo_selector_bb_t", xdrproc_t(xdr_gx_selector_bb)},
    {"xdr_pxinfo_replica_reference_t", xdrproc_t(xdr_gx_replica_reference)},
    {"xdr_pxinfo_replica_info_t", xdrproc_t(xdr_gx_replica_info)},
    {"xdr_pxinfo_epoch_row_entry_t", xdrproc_t(xdr_gx_epoch_row_entry)},
    {"xdr_pxinfo_epoch_row_t", xdrproc_t(xdr_gx_epoch_row)},
    {"xdr_pxinfo_replica_epoch_status_t", xdrproc_t(xdr_gx_replica_epoch_status)},
    {"xdr_pxinfo_family_epoch_status_t", xdrproc_t(xdr_gx_family_epoch_status)},
    {"xdr_pxinfo_sync_attempt_data_t", xdrproc_t(xdr_gx_sync_attempt_data)},
    {"xdr_pxinfo_replica_sync_status_t", xdrproc_t(xdr_gx_replica_sync_status)},
    {"xdr_pxinfo_family_sync_status_t", xdrproc_t(xdr_gx_family_sync_status)},
    {"xdr_pxinfo_packet_reference_t", xdrproc_t(xdr_gx_packet_reference)},
    {"xdr_pxinfo_packet_source_info_t", xdrproc_t(xdr_gx_packet_source_info)},
    {"xdr_pxinfo_packet_info_v6_t", xdrproc_t(xdr_gx_packet_info_v6)},
    {"xdr_pxinfo_packet_info_t", xdrproc_t(xdr_gx_packet_info)},
    {"xdr_pxinfo_kv_pkt_tgt_desc_t", xdrproc_t(xdr_gx_tgt_desc)},
    {"xdr_pxinfo_kv_pkt_rep_desc_0_t", xdrproc_t(xdr_gx_rep_desc_0)},
    {"xdr_pxinfo_kv_pkt_rep_desc_1_t", xdrproc_t(xdr_gx_rep_desc_1)},
    {"xdr_pxinfo_kv_pkt_rep_desc_2_t", xdrproc_t(xdr_gx_rep_desc_1)},
    {"xdr_pxinfo_kv_pkt_rep_desc_3_t", xdrproc_t(xdr_gx_rep_desc_3)},
    {"xdr_pxinfo_kv_pkt_rep_desc_t", xdrproc_t(xdr_gx_rep_desc_3)},
    {"xdr_pxinfo_kv_oplog_desc_1_t", xdrproc_t(xdr_gx_oplog_desc)},
    {"xdr_pxinfo_kv_oplog_desc_t", xdrproc_t(xdr_gx_oplog_desc)},
    {"xdr_pxinfo_kv_pkt_header_0_t", xdrproc_t(xdr_gx_header_0)},
    {"xdr_pxinfo_kv_pkt_header_2_t", xdrproc_t(xdr_gx_header_2)},
    {"xdr_pxinfo_kv_pkt_header_3_t", xdrproc_t(xdr_gx_header_3)},
    {"xdr_pxinfo_kv_pkt_header_t", xdrproc_t(xdr_gx_header_3)},
};

// rpcgen's routine decodes our encoding of every zero and filled record,
// consuming all of it, and encodes what it read into the same bytes.
void expect_rpcgen_agreement(const RecordRoutine &k) {
    const auto theirs = kRpcgenRoutines.find(k.name);
    if (theirs == kRpcgenRoutines.end()) return;
    for (const auto &words : kFillers) {
        const Bytes ours = filled_bytes(k, words);
        if (ours.empty()) continue;
        RecordBuffer record(4096);
        Bytes copy(ours);
        XDR xdrs;
        xdrmem_create(&xdrs, reinterpret_cast<char *>(copy.data()), static_cast<u_int>(copy.size()), XDR_DECODE);
        ASSERT_TRUE(theirs->second(&xdrs, record.get(), 0));
        EXPECT_EQ(ours.size(), xdr_getpos(&xdrs));
        xdr_destroy(&xdrs);
        Bytes again(ours.size() + 64);
        xdrmem_create(&xdrs, reinterpret_cast<char *>(again.data()), static_cast<u_int>(again.size()), XDR_ENCODE);
        EXPECT_TRUE(theirs->second(&xdrs, record.get(), 0));
        again.resize(xdr_getpos(&xdrs));
        xdr_destroy(&xdrs);
        EXPECT_EQ(ours, again);
        xdr_free(theirs->second, static_cast<char *>(record.get()));
    }
}

TEST(EveryRecordKind, AgreesWithRpcgen) {
    for (const RecordRoutine &k : pxfuzz::record_routines()) {
        SCOPED_TRACE(k.name);
        expect_rpcgen_agreement(k);
    }
}

// ---- Golden bytes: each field in its place ----------------------------------

TEST(RecordGoldenBytes, SelectorsOfBothKindsAndTagOnlySelectors) {
    pxinfo_selector_t vault = pxfix::vault_selector(3, 4);
    EXPECT_EQ(Wire().w(1).uuid(vault.u.vault.vault_oid).uuid(vault.u.vault.replica_oid).bytes,
              expect_round_trip("xdr_pxinfo_selector_t", &vault));
    pxinfo_selector_t bb = pxfix::bb_selector("fam", "clan-a", "rs", "0123-u");
    EXPECT_EQ(Wire().w(2).str("fam").str("clan-a").str("rs").str("0123-u").bytes,
              expect_round_trip("xdr_pxinfo_selector_t", &bb));
    // An unknown tag codes alone and decodes with a zero body.
    pxinfo_selector_t tag_only{};
    tag_only.type = static_cast<pxinfo_component_type_t>(5);
    std::memset(&tag_only.u, 0xAB, sizeof tag_only.u);
    EXPECT_EQ(Wire().w(5).bytes, encoded(kind("xdr_pxinfo_selector_t").routine, &tag_only));
    RecordBuffer back(sizeof bb);
    std::memcpy(back.get(), &bb, sizeof bb);
    ASSERT_TRUE(decodes(kind("xdr_pxinfo_selector_t"), Wire().w(5).bytes, &back));
    const pxinfo_selector_u zero{};
    EXPECT_EQ(0, std::memcmp(&zero, &static_cast<pxinfo_selector_t *>(back.get())->u, sizeof zero));
    // Texts fit their buffers: 51 characters of uuid text, 255 of a name.
    pxinfo_replica_set_selector_t set{};
    std::strcpy(set.replica_set_uuid, std::string(51, 'u').c_str());
    EXPECT_EQ(Wire().w(0).w(0).str(std::string(51, 'u')).bytes,
              expect_round_trip("xdr_pxinfo_replica_set_selector_t", &set));
    expect_refused("xdr_pxinfo_replica_set_selector_t", Wire().str("c").str("s").str(std::string(52, 'u')).bytes);
    expect_refused("xdr_pxinfo_replica_set_selector_t", Wire().str(std::string(256, 'n')).str("s").str("u").bytes);
    expect_refused("xdr_pxinfo_epoch_row_t", Wire().str("n").str(std::string(64, 'h')).ws({0, 0, 0, 0}).bytes);
}

TEST(RecordGoldenBytes, IdentityEpochAndMessageRecords) {
    pxinfo_sync_job_id_pair_t pair{pxfix::numbered_uuid(1, 2), 42, PXINFO_JOB_ID_BOTH};
    EXPECT_EQ(Wire().uuid(pair.job_uuid).ws({42, 3}).bytes, expect_round_trip("xdr_pxinfo_sync_job_id_pair_t", &pair));
    pxinfo_replica_reference_t ref{{}, -1, 7, 8};
    EXPECT_EQ(Wire().ws({0, 0xFFFFFFFFu, 7, 8}).bytes, expect_round_trip("xdr_pxinfo_replica_reference_t", &ref));
    pxinfo_nvpair_t nv{text("k"), nullptr};  // a null text codes as an empty one
    EXPECT_EQ(Wire().str("k").w(0).bytes, encoded(kind("xdr_pxinfo_nvpair_t").routine, &nv));

    pxinfo_epoch_row_entry_t entry{9, -1, {}};
    pxinfo_epoch_row_t row{{}, {}, 1, &entry, 7, 8};
    std::strcpy(row.name, "r1");
    std::strcpy(row.host, "host");
    EXPECT_EQ(Wire().str("r1").str("host").ws({1, 1, 9, 0xFFFFFFFFu, 0, 7, 8}).bytes,
              expect_round_trip("xdr_pxinfo_epoch_row_t", &row));
    // One count field, then each of the two arrays with its own count word.
    int32_t times[3] = {10, 20, -30};
    pxinfo_epoch_num_t epochs[3] = {1, 2, 3};
    pxinfo_replica_epoch_status_t status{};
    std::strcpy(status.name, "n");
    std::strcpy(status.host, "h");
    status.count = 3;
    status.times = times;
    status.epochs = epochs;
    status.value = 4;
    EXPECT_EQ(Wire().str("n").w(0).str("h").ws({3, 3, 10, 20, static_cast<uint32_t>(-30), 3, 1, 2, 3, 4}).bytes,
              expect_round_trip("xdr_pxinfo_replica_epoch_status_t", &status));
    pxinfo_msg_t msg{text("abc"), 3, 4, {5, 6}};
    EXPECT_EQ(Wire().str("abc").ws({3, 4, 5, 6}).bytes, expect_round_trip("xdr_pxinfo_msg_t", &msg));
    pxinfo_sync_status_summary_t summary{{}, PXINFO_SYNC_STATUS_UNKNOWN, -7};
    EXPECT_EQ(Wire().ws({0, 2, 0xFFFFFFF9u}).bytes, expect_round_trip("xdr_pxinfo_sync_status_summary_t", &summary));
}

TEST(RecordGoldenBytes, PacketInformationAndItsVersion6Form) {
    pxinfo_packet_info_t info{};
    info.pkt_name = text("p");
    info.component_type = PXINFO_COMPONENT_VAULT;
    info.status = 2;
    info.file_time = 100;
    info.caller_value = 5;
    info.major_version = 7;
    info.minor_version = 1;
    info.aux_int = 6;
    info.aux_string = text("x");
    info.log_pkt_uuid = pxfix::numbered_uuid(1, 1);
    info.aux_uuid1 = pxfix::numbered_uuid(2, 1);
    info.pkt_seq_num = 3;
    info.aux_count = 4;
    info.aux_uuid2 = pxfix::numbered_uuid(3, 1);
    info.compress_type = PXINFO_COMPRESS_DEFAULT;
    info.aux_value1 = 8;
    info.aux_value2 = 9;
    info.aux_int2 = -10;
    const Bytes empty_source = Wire().ws({0, 0, 0, 0, 0, 0}).bytes;
    const Bytes v6 = Wire()
                         .str("p")
                         .ws({1, 2, 100, 5, 7, 1, 0})
                         .append(empty_source)
                         .append(empty_source)
                         .ws({6, 0, 0})
                         .str("x")
                         .bytes;
    const Bytes current = Wire()
                              .append(v6)
                              .uuid(info.log_pkt_uuid)
                              .uuid(info.aux_uuid1)
                              .ws({3, 4})
                              .uuid(info.aux_uuid2)
                              .ws({1, 8, 9, 0xFFFFFFF6u})
                              .bytes;
    EXPECT_EQ(current, expect_round_trip("xdr_pxinfo_packet_info_t", &info));
    // The version-6 routine consumes only the fields that form has.
    const RecordRoutine &old = kind("xdr_pxinfo_packet_info_v6_t");
    RecordBuffer back(old.size);
    size_t used = 0;
    EXPECT_TRUE(pxfuzz::decode_record(old, current.data(), current.size(), back.get(), &used));
    EXPECT_EQ(v6.size(), used);
    EXPECT_EQ(v6, encoded(old.routine, back.get()));
    xdr_ez_free(back.get(), old.routine, 0);
}

TEST(RecordGoldenBytes, SettingValueCodesTheArmOfItsType) {
    struct Row {
        int type;
        int32_t word;
        const char *str;
        Bytes wire;
    };
    const Row rows[] = {
        {3, 7, nullptr, Wire().ws({3, 7}).bytes},
        {0, -1, nullptr, Wire().ws({0, 0xFFFFFFFFu}).bytes},
        {PXINFO_SETTING_INT, -3, nullptr, Wire().ws({1, static_cast<uint32_t>(-3)}).bytes},
        {PXINFO_SETTING_STR, 0, "on", Wire().w(2).str("on").bytes},
    };
    for (const Row &row : rows) {
        pxinfo_setting_val_t value{};
        value.type = static_cast<pxinfo_setting_type_t>(row.type);
        if (row.str != nullptr) value.data.str_value = text(row.str);
        else if (row.type == PXINFO_SETTING_INT) value.data.int_value = row.word;
        else value.data.uint_value = static_cast<uint32_t>(row.word);
        EXPECT_EQ(row.wire, expect_round_trip("xdr_pxinfo_setting_val_t", &value)) << row.type;
    }
    // Type 4 has no arm: coding fails after the type word, both ways.
    pxinfo_setting_val_t value{};
    value.type = static_cast<pxinfo_setting_type_t>(4);
    Bytes bytes;
    EXPECT_FALSE(pxfuzz::encode_record(kind("xdr_pxinfo_setting_val_t"), &value, &bytes));
    expect_refused("xdr_pxinfo_setting_val_t", Wire().ws({4, 7}).bytes);
}

TEST(RecordGoldenBytes, Version6DependencyListHoldsAtMostOne) {
    pxinfo_dep_info_t deps[2] = {{1, 2, {}}, {3, 4, {}}};
    const Bytes first = Wire().ws({1, 2, 0}).bytes;
    const xdr_ez_proc_t outer = kind("xdr_pxinfo_dep_info_list_v6_t").routine;
    pxinfo_dep_info_list_v6_t list{2, deps};
    EXPECT_EQ(Wire().ws({1, 1}).append(first).bytes, encoded(outer, &list));
    EXPECT_EQ(Wire().ws({2, 1}).append(first).bytes,
              encoded(&thunk<xdr_pxinfo_dep_info_list_v6_s, pxinfo_dep_info_list_v6_t>, &list));  // the count as it is
    list.count = 0;  // the pointed-to dependency is still coded
    EXPECT_EQ(Wire().ws({0, 1}).append(first).bytes, encoded(outer, &list));
    list = {0, nullptr};
    EXPECT_EQ(Wire().ws({0, 0}).bytes, encoded(outer, &list));
    // A count word above 1 is read as 1.
    RecordBuffer back(sizeof list);
    ASSERT_TRUE(decodes(kind("xdr_pxinfo_dep_info_list_v6_t"), Wire().ws({5, 1}).append(first).bytes, &back));
    auto *read = static_cast<pxinfo_dep_info_list_v6_t *>(back.get());
    EXPECT_EQ(1u, read->count);
    EXPECT_EQ(2u, read->deps->second_epoch);
    xdr_ez_free(back.get(), outer, 0);
}

// Packet headers have their own independent encoder in kv_pkt_test.
TEST(RecordGoldenBytes, OplogDescriptor) {
    pxinfo_kv_oplog_desc_1_t desc{PXINFO_COMPRESS_DEFAULT, 0xFFFFFFFFu, 2, static_cast<pxinfo_compress_type_t>(5),
                                  0x0000000100000002LL,    -1};
    EXPECT_EQ(Wire().ws({1, 0xFFFFFFFFu, 2, 5, 1, 2, 0xFFFFFFFFu, 0xFFFFFFFFu}).bytes,
              expect_round_trip("xdr_pxinfo_kv_oplog_desc_t", &desc));
}

// ---- Hostile input ----------------------------------------------------------

// An array whose own count word differs from the record's count field is
// refused either way, as are counts and lengths no memory could hold.
TEST(RecordHostileInput, CountsAndLengthsBeyondTheirBounds) {
    const Bytes pair = Wire().ws({0, 0, 0, 0, 9, 1}).bytes;
    const Bytes status = filled_bytes(kind("xdr_pxinfo_replica_sync_status_t"), {});
    const Bytes target = Wire().ws({0, 0, 0, 0, 0}).bytes, replica = Wire().ws({0, 0, 0, 0, 5}).bytes;
    const auto header = [&](uint32_t targets, uint32_t target_array, int elements, const Bytes &rest) {
        Wire w;
        w.ws({0, 0, 0, 0, 0, 0, 0, 0, 0, targets, 0, 0, target_array});
        for (int i = 0; i < elements; ++i) w.append(target);
        return w.append(rest).bytes;
    };
    // The well-formed forms the damaged rows start from.
    for (const auto &good : {std::make_pair("xdr_pxinfo_kv_pkt_header_0_t", header(2, 2, 2, Wire().ws({0, 0}).bytes)),
                             std::make_pair("xdr_pxinfo_family_sync_status_t",
                                            Wire().ws({0, 2, 2}).append(status).append(status).bytes)}) {
        RecordBuffer record(kind(good.first).size);
        EXPECT_TRUE(decodes(kind(good.first), good.second, &record)) << good.first;
        xdr_ez_free(record.get(), kind(good.first).routine, 0);
    }
    const std::pair<const char *, Bytes> rows[] = {
        {"xdr_pxinfo_sync_job_id_pair_list_t", Wire().ws({1, 2}).append(pair).append(pair).bytes},
        {"xdr_pxinfo_sync_job_id_pair_list_t", Wire().ws({2, 1}).append(pair).append(pair).bytes},
        {"xdr_pxinfo_sync_job_id_pair_list_t", Wire().ws({0xFFFFFFFFu, 0xFFFFFFFFu}).append(pair).bytes},
        {"xdr_pxinfo_epoch_row_t", Wire().str("n").str("h").ws({0xFFFFFFFFu, 0xFFFFFFFFu, 1, 1, 0}).bytes},
        {"xdr_pxinfo_epoch_row_t", Wire().str("n").str("h").ws({0xFFFFFFFFu, 1, 1, 1, 0, 0, 0}).bytes},
        {"xdr_pxinfo_replica_epoch_status_t", Wire().str("n").w(0).str("h").ws({2, 2, 1, 2, 1, 5, 0}).bytes},
        {"xdr_pxinfo_family_sync_status_t", Wire().ws({0, 3, 2}).append(status).append(status).bytes},
        {"xdr_pxinfo_nvpair_t", Wire().w(0xFFFFFFF0u).w(0).bytes},
        {"xdr_pxinfo_nvpair_t", Wire().str("n").w(100).w(0).bytes},
        {"xdr_pxinfo_kv_pkt_header_0_t", header(1, 2, 2, Wire().ws({0, 0}).bytes)},
        {"xdr_pxinfo_kv_pkt_header_0_t", header(3, 2, 2, Wire().ws({0, 0}).bytes)},
        {"xdr_pxinfo_kv_pkt_header_0_t", header(0xFFFFFFFFu, 0xFFFFFFFFu, 1, Wire().ws({0, 0}).bytes)},
        {"xdr_pxinfo_kv_pkt_header_0_t", header(0, 0, 0, Wire().ws({2, 1}).append(replica).bytes)},
        {"xdr_pxinfo_kv_pkt_header_0_t", header(0, 0, 0, Wire().ws({1, 2}).append(replica).append(replica).bytes)},
    };
    for (const auto &row : rows) expect_refused(row.first, row.second);
}

TEST(RecordGlue, NullProcedureFilters) {
    pxinfobase_xdr_makeprocs();
    pxinfobase_xdr_freeprocs();
    pxinfokvpktbase_xdr_makeprocs();
    pxinfokvpktbase_xdr_freeprocs();
    int arg = -6;
    EXPECT_EQ(Wire().w(static_cast<uint32_t>(-6)).bytes,
              encoded(&thunk<xdr_pxinfobase_program_null_V1_back, int>, &arg));
    RecordBuffer back(sizeof(int));
    ASSERT_TRUE(
        decodes({"", &thunk<xdr_pxinfokvpktbase_program_null_V1_back, int>, 4}, Wire().w(0x80000000u).bytes, &back));
    EXPECT_EQ(INT_MIN, *static_cast<int *>(back.get()));
    // The result filter reads a zero word as zero and refuses one.
    for (auto over :
         {&thunk<xdr_pxinfobase_program_null_V1_over, long>, &thunk<xdr_pxinfokvpktbase_program_null_V1_over, long>}) {
        const RecordRoutine filter{"", over, sizeof(long)};
        for (uint32_t word : {0u, 1u}) {
            RecordBuffer result(sizeof(long));
            *static_cast<long *>(result.get()) = 0x1234;
            EXPECT_EQ(word == 0, decodes(filter, Wire().w(word).bytes, &result)) << word;
            EXPECT_TRUE(word != 0 || *static_cast<long *>(result.get()) == 0);
        }
        long one = 1;  // encoding does not look at the value
        EXPECT_EQ(Wire().w(1).bytes, encoded(over, &one));
    }
    const RecordRoutine base{"", &thunk<xdr_pxinfobase_program_null_V1_over, long>, sizeof(long)};
    RecordBuffer result(sizeof(long));
    EXPECT_TRUE(decodes(base, Wire().w(0x100).bytes, &result));
    EXPECT_FALSE(decodes(base, Wire().w(0x1FF).bytes, &result));
}

}  // namespace

// ---- Decoding into the caller's own array -----------------------------------

#include <cstdlib>
#include <initializer_list>

#include "xdr_ez.h"

namespace caller_arrays {

// Big-endian words, as a decoding stream reads them.
std::vector<char> words(std::initializer_list<uint32_t> values) {
    std::vector<char> bytes;
    for (uint32_t v : values)
        for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<char>(v >> shift));
    return bytes;
}

template <typename Record>
bool decode(std::vector<char> bytes, Record *record, bool_t (*routine)(XDR *, Record *, int)) {
    XDR xdrs;
    xdrmem_create(&xdrs, bytes.data(), static_cast<u_int>(bytes.size()), XDR_DECODE);
    return routine(&xdrs, record, 0) != 0;
}

// A failed decode leaves the caller's block where it is and usable: a stack
// array (which the decode must never hand to the heap) and a heap block.
TEST(XdrCallerArray, FailedDecodeKeepsTheCallersBlock) {
    const std::vector<std::vector<char>> failing = {
        words({2, 1, 1, 2, 3, 4, 7, 1}),  // array word below the count field
        words({2, 2, 1, 2, 3, 4, 7, 1}),  // stream ends after the first element
        words({2, 2, 1, 2}),              // stream ends inside the first element
    };
    for (size_t i = 0; i < failing.size(); ++i) {
        SCOPED_TRACE(i);
        pxinfo_sync_job_id_pair_t on_stack[2] = {};
        pxinfo_sync_job_id_pair_list_t list{0, on_stack};
        EXPECT_FALSE(decode(failing[i], &list, xdr_pxinfo_sync_job_id_pair_list_t));
        EXPECT_EQ(on_stack, list.pairs);
        auto *on_heap = static_cast<pxinfo_sync_job_id_pair_t *>(std::calloc(2, sizeof(pxinfo_sync_job_id_pair_t)));
        list = pxinfo_sync_job_id_pair_list_t{0, on_heap};
        EXPECT_FALSE(decode(failing[i], &list, xdr_pxinfo_sync_job_id_pair_list_t));
        ASSERT_EQ(on_heap, list.pairs);
        on_heap[1].local_jobid = 9;  // still the caller's, writable, freed once
        std::free(on_heap);
    }
}

bool_t release_replica_info(XDR *xdrs, void *record, int extra) {
    return xdr_pxinfo_replica_info_t(xdrs, static_cast<pxinfo_replica_info_t *>(record), extra);
}

// Strings decoded into the caller's elements before the failure stay with
// them, released element by element without touching the array.
TEST(XdrCallerArray, ElementsDecodedBeforeTheFailureAreReleasable) {
    pxinfo_replica_info_t replicas[2] = {};
    pxinfo_sync_attempt_data_t attempt{};
    attempt.replicas = replicas;
    EXPECT_FALSE(
        decode(words({1, 2, 3, 1, 1, 2, 2, 0, 2, 0x6e6d0000, 0, 0}), &attempt, xdr_pxinfo_sync_attempt_data_t));
    EXPECT_EQ(replicas, attempt.replicas);
    EXPECT_STREQ("nm", replicas[0].name);
    for (pxinfo_replica_info_t &r : replicas) xdr_ez_free(&r, release_replica_info, 0);
}

}  // namespace caller_arrays
