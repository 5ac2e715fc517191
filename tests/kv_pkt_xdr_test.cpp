// The packet header records' XDR routines: golden bytes written by hand,
// round trips, a cross-check of layouts 0, 2 and 3 against routines that
// rpcgen generates from an independent description, and hostile input.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "gx_records.h"
#include "pxinfo_kv_pkt_xdr.h"
#include "stg.h"
#include "xdr_test_util.h"

using xt::Bytes;
using xt::text;
using xt::uuid_from;
using xt::Wire;

namespace {

// Headers of every layout with two targets and two replicas, sharing their
// storage.
struct Sample {
    pxinfo_kv_pkt_tgt_desc_t targets[2];
    pxinfo_kv_pkt_rep_desc_0_t reps0[2];
    pxinfo_kv_pkt_rep_desc_1_t reps1[2];
    pxinfo_kv_pkt_rep_desc_3_t reps3[2];
    pxinfo_kv_pkt_header_0_t h0{};
    pxinfo_kv_pkt_header_1_t h1{};
    pxinfo_kv_pkt_header_2_t h2{};
    pxinfo_kv_pkt_header_3_t h3{};

    Sample() {
        targets[0] = {uuid_from(0x10), text("target-one")};
        targets[1] = {uuid_from(0x20), nullptr};
        reps0[0] = {uuid_from(0x30), 5};
        reps0[1] = {uuid_from(0x40), 0xFFFFFFFFu};
        reps1[0] = {uuid_from(0x30), 5, -1};
        reps1[1] = {uuid_from(0x40), 6, INT32_MAX};
        reps3[0] = {uuid_from(0x30), 5, 9, INT32_MIN};
        reps3[1] = {uuid_from(0x40), 6, 0, 7};
        fill_opening(&h0);
        h0.replicas = reps0;
        fill_opening(&h1);
        h1.replicas = reps1;
        fill_opening(&h2);
        h2.replicas = reps1;
        h2.aux_string = text("aux text");
        fill_opening(&h3);
        h3.replicas = reps3;
        h3.pkt_seq_num = 3;
        h3.aux_count = 0xFFFFFFFFu;
        h3.aux_uuid2 = uuid_from(0x50);
        h3.log_pkt_uuid = uuid_from(0x60);
        h3.aux_uuid1 = uuid_from(0x70);
        h3.compress_type = static_cast<pxinfo_compress_type_t>(2);
        h3.aux_value1 = 11;
        h3.aux_value2 = 12;
        h3.oplog_desc_type = static_cast<pxinfo_kv_oplog_descriptor_type_t>(1);
        h3.aux_int2 = -13;
        h3.aux_string = text("three");
    }

    template <typename Header>
    void fill_opening(Header *h) {
        h->minor_version = 2;
        h->source_replica_uuid = uuid_from(0x80);
        h->family_uuid = uuid_from(0x90);
        h->target_count = 2;
        h->sync_type = 1;
        h->aux_int = -4;
        h->targets = targets;
        h->replica_count = 2;
    }
};

}  // namespace

// ---- Field-for-field comparison with the rpcgen records ---------------------
// Global, so that the cross-check template finds them by argument type.

using xt::expect_same_array;
using xt::expect_same_uuid;
using xt::str;

void expect_same(const pxinfo_kv_pkt_tgt_desc_t &a, const gx_tgt_desc &b) {
    expect_same_uuid(a.replica_uuid, b.replica_uuid);
    EXPECT_EQ(str(a.name), str(b.name));
}

void expect_same(const pxinfo_kv_pkt_rep_desc_0_t &a, const gx_rep_desc_0 &b) {
    expect_same_uuid(a.replica_uuid, b.replica_uuid);
    EXPECT_EQ(a.start_epoch, b.start_epoch);
}

void expect_same(const pxinfo_kv_pkt_rep_desc_1_t &a, const gx_rep_desc_1 &b) {
    expect_same_uuid(a.replica_uuid, b.replica_uuid);
    EXPECT_EQ(a.start_epoch, b.start_epoch);
    EXPECT_EQ(a.ref_value, b.ref_value);
}

void expect_same(const pxinfo_kv_pkt_rep_desc_3_t &a, const gx_rep_desc_3 &b) {
    expect_same_uuid(a.replica_uuid, b.replica_uuid);
    EXPECT_EQ(a.start_epoch, b.start_epoch);
    EXPECT_EQ(a.end_epoch, b.end_epoch);
    EXPECT_EQ(a.ref_value, b.ref_value);
}

template <typename Header, typename GxHeader>
void expect_same_opening_and_arrays(const Header &a, const GxHeader &b) {
    EXPECT_EQ(a.minor_version, b.minor_version);
    expect_same_uuid(a.source_replica_uuid, b.source_replica_uuid);
    expect_same_uuid(a.family_uuid, b.family_uuid);
    EXPECT_EQ(a.target_count, b.target_count);
    EXPECT_EQ(a.sync_type, b.sync_type);
    EXPECT_EQ(a.aux_int, b.aux_int);
    expect_same_array(a.targets, a.target_count, b.targets.targets_val, b.targets.targets_len);
    EXPECT_EQ(a.replica_count, b.replica_count);
    expect_same_array(a.replicas, a.replica_count, b.replicas.replicas_val, b.replicas.replicas_len);
}

void expect_same(const pxinfo_kv_pkt_header_0_t &a, const gx_header_0 &b) { expect_same_opening_and_arrays(a, b); }

void expect_same(const pxinfo_kv_pkt_header_2_t &a, const gx_header_2 &b) {
    expect_same_opening_and_arrays(a, b);
    EXPECT_EQ(str(a.aux_string), str(b.aux_string));
}

void expect_same(const pxinfo_kv_pkt_header_3_t &a, const gx_header_3 &b) {
    expect_same_opening_and_arrays(a, b);
    EXPECT_EQ(a.pkt_seq_num, b.pkt_seq_num);
    EXPECT_EQ(a.aux_count, b.aux_count);
    expect_same_uuid(a.aux_uuid2, b.aux_uuid2);
    expect_same_uuid(a.log_pkt_uuid, b.log_pkt_uuid);
    expect_same_uuid(a.aux_uuid1, b.aux_uuid1);
    EXPECT_EQ(static_cast<int>(a.compress_type), b.compress_type);
    EXPECT_EQ(a.aux_value1, b.aux_value1);
    EXPECT_EQ(a.aux_value2, b.aux_value2);
    EXPECT_EQ(static_cast<int>(a.oplog_desc_type), b.oplog_desc_type);
    EXPECT_EQ(a.aux_int2, b.aux_int2);
    EXPECT_EQ(str(a.aux_string), str(b.aux_string));
}

void expect_same(const pxinfo_kv_oplog_desc_1_t &a, const gx_oplog_desc &b) {
    EXPECT_EQ(static_cast<int>(a.first_compress_type), b.first_compress_type);
    EXPECT_EQ(a.first_value, b.first_value);
    EXPECT_EQ(a.second_value, b.second_value);
    EXPECT_EQ(static_cast<int>(a.second_compress_type), b.second_compress_type);
    EXPECT_EQ(a.first_offset, b.first_offset);
    EXPECT_EQ(a.second_offset, b.second_offset);
}

namespace {

using xt::cross_check;

// ---- Enumerations -----------------------------------------------------------

template <auto Inner, auto Outer, typename E>
void check_enum() {
    for (int value : {0, 3, 9, -1}) {
        E v = static_cast<E>(value);
        const Bytes word = Wire().w(static_cast<uint32_t>(value));
        EXPECT_EQ(word, xt::encoded<Inner>(&v));
        EXPECT_EQ(word, xt::encoded<Outer>(&v));
        E back = static_cast<E>(12345);
        ASSERT_TRUE(xt::decode<Outer>(word, &back).ok);
        EXPECT_EQ(value, static_cast<int>(back));
        back = static_cast<E>(12345);
        ASSERT_TRUE(xt::decode<Inner>(word, &back).ok);
        EXPECT_EQ(value, static_cast<int>(back));
    }
}

TEST(KvPktXdrEnumerations, EveryValueIsOneWordAndRoundTrips) {
    check_enum<xdr_pxinfo_kv_pkt_header_type_e, xdr_pxinfo_kv_pkt_header_type_t, pxinfo_kv_pkt_header_type_t>();
    check_enum<xdr_pxinfo_kv_pkt_major_version_e, xdr_pxinfo_kv_pkt_major_version_t, pxinfo_kv_pkt_major_version_t>();
    check_enum<xdr_pxinfo_kv_oplog_descriptor_type_e, xdr_pxinfo_kv_oplog_descriptor_type_t,
               pxinfo_kv_oplog_descriptor_type_t>();
}

// ---- Descriptors ------------------------------------------------------------

TEST(KvPktXdrDescriptors, GoldenBytes) {
    const tbs_uuid_t u = uuid_from(0x10);
    pxinfo_kv_pkt_tgt_desc_t target{u, text("abcde")};
    EXPECT_EQ(Wire().raw(u.bytes, 16).str("abcde").bytes(),
              xt::expect_round_trip<xdr_pxinfo_kv_pkt_tgt_desc_t>(&target));
    target.name = nullptr;
    EXPECT_EQ(Wire().raw(u.bytes, 16).w(0).bytes(), xt::encoded<xdr_pxinfo_kv_pkt_tgt_desc_s>(&target));

    pxinfo_kv_pkt_rep_desc_0_t rep0{u, 7};
    EXPECT_EQ(Wire().raw(u.bytes, 16).w(7).bytes(), xt::expect_round_trip<xdr_pxinfo_kv_pkt_rep_desc_0_t>(&rep0));
    pxinfo_kv_pkt_rep_desc_1_t rep1{u, 7, -2};
    const Bytes rep1_wire = Wire().raw(u.bytes, 16).ws({7, 0xFFFFFFFEu});
    EXPECT_EQ(rep1_wire, xt::expect_round_trip<xdr_pxinfo_kv_pkt_rep_desc_1_t>(&rep1));
    EXPECT_EQ(rep1_wire, xt::expect_round_trip<xdr_pxinfo_kv_pkt_rep_desc_2_t>(&rep1));
    EXPECT_EQ(rep1_wire, xt::encoded<xdr_pxinfo_kv_pkt_rep_desc_1_s>(&rep1));
    pxinfo_kv_pkt_rep_desc_3_t rep3{u, 7, 8, -2};
    const Bytes rep3_wire = Wire().raw(u.bytes, 16).ws({7, 8, 0xFFFFFFFEu});
    EXPECT_EQ(rep3_wire, xt::expect_round_trip<xdr_pxinfo_kv_pkt_rep_desc_3_t>(&rep3));
    EXPECT_EQ(rep3_wire, xt::expect_round_trip<xdr_pxinfo_kv_pkt_rep_desc_t>(&rep3));
    EXPECT_EQ(rep3_wire, xt::encoded<xdr_pxinfo_kv_pkt_rep_desc_3_s>(&rep3));
}

TEST(KvPktXdrDescriptors, OplogDescriptorGoldenBytesAndCrossCheck) {
    pxinfo_kv_oplog_desc_1_t desc{PXINFO_COMPRESS_DEFAULT, 0xFFFFFFFFu, 2, static_cast<pxinfo_compress_type_t>(5),
                                  0x0000000100000002LL,    -1};
    const Bytes wire = Wire().ws({1, 0xFFFFFFFFu, 2, 5, 1, 2, 0xFFFFFFFFu, 0xFFFFFFFFu}).bytes();
    EXPECT_EQ(wire, xt::expect_round_trip<xdr_pxinfo_kv_oplog_desc_1_t>(&desc));
    EXPECT_EQ(wire, xt::expect_sound<xdr_pxinfo_kv_oplog_desc_t>(&desc));
    EXPECT_EQ(wire, xt::encoded<xdr_pxinfo_kv_oplog_desc_1_s>(&desc));
    cross_check<xdr_pxinfo_kv_oplog_desc_1_t, xdr_gx_oplog_desc>(&desc);
}

// ---- Header records ---------------------------------------------------------

TEST(KvPktXdrHeaders, EmptyLayout3GoldenBytes) {
    pxinfo_kv_pkt_header_3_t h{};
    h.minor_version = 1;
    h.sync_type = 2;
    h.pkt_seq_num = 1;
    h.aux_count = 1;
    h.compress_type = PXINFO_COMPRESS_DEFAULT;
    const tbs_uuid_t null_uuid{};
    Wire wire;
    wire.w(1).raw(null_uuid.bytes, 16).raw(null_uuid.bytes, 16).ws({0, 2, 0, 1, 1});
    for (int i = 0; i < 3; ++i) wire.raw(null_uuid.bytes, 16);
    wire.ws({1, 0, 0, 0});  // compress type, aux values, oplog descriptor type
    wire.ws({0, 0, 0, 0});  // targets, replica count, replicas, aux_int2
    wire.w(0);              // the null aux_string as an empty string
    EXPECT_EQ(wire.bytes(), xt::expect_round_trip<xdr_pxinfo_kv_pkt_header_3_t>(&h));
    EXPECT_EQ(wire.bytes(), xt::encoded<xdr_pxinfo_kv_pkt_header_t>(&h));

    pxinfo_kv_pkt_header_t back{};
    ASSERT_TRUE(xt::decode<xdr_pxinfo_kv_pkt_header_t>(wire, &back).ok);
    EXPECT_EQ(0, back.target_count);
    EXPECT_EQ(0, back.replica_count);
    EXPECT_EQ(1u, back.pkt_seq_num);
    xt::release<xdr_pxinfo_kv_pkt_header_t>(&back);
}

TEST(KvPktXdrHeaders, Layout0GoldenBytes) {
    const tbs_uuid_t src = uuid_from(1), fam = uuid_from(2), rep = uuid_from(3), tgt = uuid_from(4);
    pxinfo_kv_pkt_tgt_desc_t target{tgt, text("t")};
    pxinfo_kv_pkt_rep_desc_0_t replica{rep, 9};
    pxinfo_kv_pkt_header_0_t h{};
    h.minor_version = 1;
    h.source_replica_uuid = src;
    h.family_uuid = fam;
    h.target_count = 1;
    h.sync_type = 1;
    h.aux_int = 6;
    h.targets = &target;
    h.replica_count = 1;
    h.replicas = &replica;
    const Bytes wire = Wire()
                           .w(1)
                           .raw(src.bytes, 16)
                           .raw(fam.bytes, 16)
                           .ws({1, 1, 6, 1})
                           .raw(tgt.bytes, 16)
                           .str("t")
                           .ws({1, 1})
                           .raw(rep.bytes, 16)
                           .w(9);
    EXPECT_EQ(wire, xt::expect_round_trip<xdr_pxinfo_kv_pkt_header_0_t>(&h));
}

TEST(KvPktXdrHeaders, EveryLayoutRoundTrips) {
    Sample s;
    xt::expect_sound<xdr_pxinfo_kv_pkt_header_0_t>(&s.h0);
    xt::expect_round_trip<xdr_pxinfo_kv_pkt_header_0_s>(&s.h0);
    const Bytes one = xt::expect_sound<xdr_pxinfo_kv_pkt_header_1_t>(&s.h1);
    xt::expect_round_trip<xdr_pxinfo_kv_pkt_header_1_s>(&s.h1);
    const Bytes two = xt::expect_sound<xdr_pxinfo_kv_pkt_header_2_t>(&s.h2);
    xt::expect_round_trip<xdr_pxinfo_kv_pkt_header_2_s>(&s.h2);
    // Layout 2 is layout 1 followed by aux_string.
    EXPECT_EQ(Wire().append(one).str("aux text").bytes(), two);
    const Bytes three = xt::expect_sound<xdr_pxinfo_kv_pkt_header_3_t>(&s.h3);
    EXPECT_EQ(three, xt::expect_round_trip<xdr_pxinfo_kv_pkt_header_t>(&s.h3));
    EXPECT_EQ(three, xt::encoded<xdr_pxinfo_kv_pkt_header_3_s>(&s.h3));
}

TEST(KvPktXdrCrossCheck, Layouts0To3AgreeWithRpcgen) {
    Sample s;
    cross_check<xdr_pxinfo_kv_pkt_header_0_t, xdr_gx_header_0>(&s.h0);
    cross_check<xdr_pxinfo_kv_pkt_header_2_t, xdr_gx_header_2>(&s.h2);
    cross_check<xdr_pxinfo_kv_pkt_header_3_t, xdr_gx_header_3>(&s.h3);
    s.h3.target_count = 0;
    s.h3.replica_count = 0;
    cross_check<xdr_pxinfo_kv_pkt_header_t, xdr_gx_header_3>(&s.h3);
}

TEST(KvPktXdrGlue, NullProcedureFilters) {
    pxinfokvpktbase_xdr_makeprocs();
    pxinfokvpktbase_xdr_freeprocs();
    int arg = 0;
    ASSERT_TRUE(xt::decode<xdr_pxinfokvpktbase_program_null_V1_back>(Wire().w(0x80000000u), &arg).ok);
    EXPECT_EQ(INT_MIN, arg);
    long result = 7;
    EXPECT_TRUE(xt::decode<xdr_pxinfokvpktbase_program_null_V1_over>(Wire().w(0), &result).ok);
    EXPECT_EQ(0, result);
    EXPECT_FALSE(xt::decode<xdr_pxinfokvpktbase_program_null_V1_over>(Wire().w(1), &result).ok);
}

// ---- Hostile input (truncations: expect_sound above) ------------------------

// The targets' count field comes long before their array: an array whose
// count word is above or below it is refused, as is a negative count.
TEST(KvPktXdrHostileInput, ArrayCountsBeyondTheirCountFields) {
    Sample s;
    const Bytes valid = xt::encoded<xdr_pxinfo_kv_pkt_header_3_t>(&s.h3);
    const size_t target_count_at = 4 + 16 + 16;
    const size_t targets_at = target_count_at + 4 * 5 + 16 * 3 + 4 * 4;
    ASSERT_EQ(2u, valid[targets_at + 3]);
    xt::expect_refused<xdr_pxinfo_kv_pkt_header_3_t, pxinfo_kv_pkt_header_3_t>(
        xt::with_word(valid, target_count_at, 1));
    xt::expect_refused<xdr_pxinfo_kv_pkt_header_3_t, pxinfo_kv_pkt_header_3_t>(
        xt::with_word(valid, target_count_at, 3));
    xt::expect_refused<xdr_pxinfo_kv_pkt_header_3_t, pxinfo_kv_pkt_header_3_t>(
        xt::with_word(valid, target_count_at, 0xFFFFFFFFu));
    xt::expect_refused<xdr_pxinfo_kv_pkt_header_3_t, pxinfo_kv_pkt_header_3_t>(
        xt::with_word(xt::with_word(valid, target_count_at, 0xFFFFFFFFu), targets_at, 0xFFFFFFFFu));

    // Replicas of layout 0: the count field just before the array.
    const Bytes zero = xt::encoded<xdr_pxinfo_kv_pkt_header_0_t>(&s.h0);
    const size_t replica_count_at = zero.size() - 4 - 4 - 2 * 20;
    ASSERT_EQ(2u, zero[replica_count_at + 3]);
    xt::expect_refused<xdr_pxinfo_kv_pkt_header_0_t, pxinfo_kv_pkt_header_0_t>(
        xt::with_word(zero, replica_count_at, 1));
    xt::expect_refused<xdr_pxinfo_kv_pkt_header_0_t, pxinfo_kv_pkt_header_0_t>(
        xt::with_word(zero, replica_count_at, 3));
}

TEST(KvPktXdrHostileInput, AllocationFailuresDuringDecodeLeakNothing) {
    Sample s;
    xt::expect_allocation_failures_clean<xdr_pxinfo_kv_pkt_header_3_t, pxinfo_kv_pkt_header_3_t>(
        xt::encoded<xdr_pxinfo_kv_pkt_header_3_t>(&s.h3));
    xt::expect_allocation_failures_clean<xdr_pxinfo_kv_pkt_header_2_t, pxinfo_kv_pkt_header_2_t>(
        xt::encoded<xdr_pxinfo_kv_pkt_header_2_t>(&s.h2));
}

}  // namespace
