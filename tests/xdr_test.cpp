// The shared records' XDR routines: golden bytes written by hand, round
// trips, a cross-check against routines that rpcgen generates from an
// independent description of the records, and hostile input.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "gx_records.h"
#include "pxinfo_xdr.h"
#include "stg.h"
#include "xdr_test_util.h"

using xt::Bytes;
using xt::text;
using xt::uuid_from;
using xt::Wire;

namespace {

// ---- Sample records ---------------------------------------------------------

const char kUuidText[] = "01234567-89ab-cdef-0123-456789abcdef";

pxinfo_selector_t vault_selector(unsigned char base) {
    pxinfo_selector_t s{};
    s.type = PXINFO_COMPONENT_VAULT;
    s.u.vault.vault_oid = uuid_from(base);
    s.u.vault.replica_oid = uuid_from(static_cast<unsigned char>(base + 0x40));
    return s;
}

pxinfo_selector_t bb_selector(const char *replica_set) {
    pxinfo_selector_t s{};
    s.type = PXINFO_COMPONENT_BB;
    std::strcpy(s.u.bb.family, "fam");
    std::strcpy(s.u.bb.clan, "clan-a");
    std::strcpy(s.u.bb.replica_set, replica_set);
    std::strcpy(s.u.bb.replica_set_uuid, kUuidText);
    return s;
}

pxinfo_selector_t tag_only_selector(int type) {
    pxinfo_selector_t s{};
    s.type = static_cast<pxinfo_component_type_t>(type);
    return s;
}

// Rich records of every kind that has arrays or strings, with storage that
// lives as long as the sample. Selectors of both kinds and of an unknown
// kind appear throughout.
struct Sample {
    pxinfo_replica_info_t infos[3];
    pxinfo_replica_reference_t refs[2];
    pxinfo_epoch_row_entry_t entries[3];
    pxinfo_epoch_row_t row{};
    int32_t times[2][3] = {{1000, -1, INT32_MAX}, {7, 8, 9}};
    pxinfo_epoch_num_t epochs[2][3] = {{1, 2, 0xFFFFFFFFu}, {4, 5, 6}};
    pxinfo_replica_epoch_status_t epoch_status[2];
    pxinfo_family_epoch_status_t family_epoch{};
    pxinfo_sync_attempt_data_t attempts[2];
    pxinfo_replica_sync_status_t sync_status[2];
    pxinfo_family_sync_status_t family_sync{};
    pxinfo_packet_info_t info{};
    pxinfo_packet_info_v6_t info_v6{};
    pxinfo_sync_job_id_pair_t pairs[2];
    pxinfo_sync_job_id_pair_list_t pair_list{};
    pxinfo_one_sleep_point_t points[4] = {0, 1, 0, -3};
    pxinfo_st_sleep_points_t sleep_points{};
    pxinfo_msg_t msgs[2];
    pxinfo_msg_list_t msg_list{};
    pxinfo_dep_info_t deps[2];
    pxinfo_dep_info_list_t dep_list{};

    Sample() {
        infos[0] = {vault_selector(0x10), text("replica one"), nullptr};
        infos[1] = {bb_selector("rs"), text("two"), text("extra")};
        infos[2] = {tag_only_selector(9), nullptr, text("")};

        refs[0] = {vault_selector(0x20), -5, 3, 4};
        refs[1] = {bb_selector("set-b"), 6, 0xFFFFFFFFu, 0};

        entries[0] = {11, 0, vault_selector(0x30)};
        entries[1] = {12, -12, bb_selector("x")};
        entries[2] = {13, INT32_MIN, tag_only_selector(0)};
        std::strcpy(row.name, "row-name");
        std::strcpy(row.host, "host.example");
        row.count = 3;
        row.entries = entries;
        row.row_value1 = -1;
        row.row_value2 = 2;

        for (int i = 0; i < 2; ++i) {
            pxinfo_replica_epoch_status_t &e = epoch_status[i];
            e = {};
            std::strcpy(e.name, i == 0 ? "alpha" : "beta");
            e.replica = i == 0 ? vault_selector(0x50) : bb_selector("beta-set");
            std::strcpy(e.host, "h");
            e.count = 3;
            e.times = times[i];
            e.epochs = epochs[i];
            e.value = 100 + i;
        }
        family_epoch = {1700000000, 2, epoch_status};

        attempts[0] = {-10, PXINFO_SYNC_EXPORT, static_cast<pxinfo_sync_transport_t>(3), 1, 0, 2, infos};
        attempts[1] = {20, static_cast<pxinfo_sync_direction_t>(77), PXINFO_SYNC_TRANSPORT_DEFAULT, 0, 1, 0, nullptr};
        for (int i = 0; i < 2; ++i) {
            pxinfo_replica_sync_status_t &s = sync_status[i];
            s = {};
            std::strcpy(s.name, i == 0 ? "gamma" : "delta");
            std::strcpy(s.host, i == 0 ? "host-g" : "");
            s.replica = i == 0 ? bb_selector("g") : vault_selector(0x60);
            s.sync_value = 0x80000001u;
            s.level = static_cast<pxinfo_settings_level_t>(i + 4);
            s.count = i == 0 ? 2 : 0;
            s.attempts = i == 0 ? attempts : nullptr;
            s.last_status = 1033;
            s.status_value = PXINFO_SYNC_STATUS_FAILED;
        }
        family_sync = {-1, 2, sync_status};

        fill_packet_info(&info);
        info.log_pkt_uuid = uuid_from(0x70);
        info.aux_uuid1 = uuid_from(0x80);
        info.pkt_seq_num = 3;
        info.aux_count = 4;
        info.aux_uuid2 = uuid_from(0x90);
        info.compress_type = static_cast<pxinfo_compress_type_t>(6);
        info.aux_value1 = 0xFFFFFFFFu;
        info.aux_value2 = 1;
        info.aux_int2 = -2;
        fill_packet_info(&info_v6);

        pairs[0] = {uuid_from(0xA0), 17, PXINFO_JOB_ID_BOTH};
        pairs[1] = {{}, 0, static_cast<pxinfo_sync_job_id_validity_t>(-4)};
        pair_list = {2, pairs};

        sleep_points = {4, points};

        msgs[0] = {text("abc"), 3, 6, {12, 345}};
        msgs[1] = {nullptr, 0, 0, {-1, 999999}};
        msg_list = {2, msgs};

        deps[0] = {1, 2, vault_selector(0xB0)};
        deps[1] = {3, 4, bb_selector("dep")};
        dep_list = {2, deps};
    }

    template <typename Info>
    void fill_packet_info(Info *p) {
        p->pkt_name = text("/var/packets/sync_1.pkt");
        p->component_type = PXINFO_COMPONENT_VAULT;
        p->status = 1001;
        p->file_time = 1234567;
        p->caller_value = -9;
        p->major_version = 7;
        p->minor_version = 0;
        p->source_count = 1;
        p->sources[0].packet_type = PXINFO_PACKET_UPDATE;
        p->sources[0].source = vault_selector(0xC0);
        p->sources[0].references = {2, refs, 0, nullptr};
        p->sources[1].packet_type = static_cast<pxinfo_packet_type_t>(0);
        p->sources[1].source = bb_selector("second");
        p->sources[1].references = {0, nullptr, 8, text("ref text")};
        p->aux_int = 5;
        p->target_count = 3;
        p->targets = infos;
        p->aux_string = text("aux");
    }
};

}  // namespace

// ---- Field-for-field comparison with the rpcgen records ---------------------
// Global, so that the cross-check template finds them by argument type.

using xt::expect_same_array;
using xt::expect_same_uuid;
using xt::str;

void expect_same(const pxinfo_selector_t &a, const gx_selector &b) {
    ASSERT_EQ(static_cast<int>(a.type), b.type);
    if (a.type == PXINFO_COMPONENT_VAULT) {
        expect_same_uuid(a.u.vault.vault_oid, b.gx_selector_u.vault.vault_oid);
        expect_same_uuid(a.u.vault.replica_oid, b.gx_selector_u.vault.replica_oid);
    } else if (a.type == PXINFO_COMPONENT_BB) {
        EXPECT_EQ(str(a.u.bb.family), str(b.gx_selector_u.bb.family));
        EXPECT_EQ(str(a.u.bb.clan), str(b.gx_selector_u.bb.clan));
        EXPECT_EQ(str(a.u.bb.replica_set), str(b.gx_selector_u.bb.replica_set));
        EXPECT_EQ(str(a.u.bb.replica_set_uuid), str(b.gx_selector_u.bb.replica_set_uuid));
    }
}

void expect_same(const pxinfo_replica_info_t &a, const gx_replica_info &b) {
    expect_same(a.replica, b.replica);
    EXPECT_EQ(str(a.name), str(b.name));
    EXPECT_EQ(str(a.extra_name), str(b.extra_name));
}

// Scalar fields are compared as one tuple each, so a failure shows them all.
using std::make_tuple;

void expect_same(const pxinfo_replica_reference_t &a, const gx_replica_reference &b) {
    expect_same(a.replica, b.replica);
    EXPECT_EQ(make_tuple(a.ref_value, a.start_epoch, a.end_epoch), make_tuple(b.ref_value, b.start_epoch, b.end_epoch));
}

void expect_same(const pxinfo_packet_source_info_t &a, const gx_packet_source_info &b) {
    const pxinfo_packet_reference_t &ar = a.references;
    const auto &br = b.references;
    EXPECT_EQ(make_tuple(static_cast<int>(a.packet_type), ar.count, ar.ref_int, str(ar.ref_str)),
              make_tuple(b.packet_type, br.count, br.ref_int, str(br.ref_str)));
    expect_same(a.source, b.source);
    expect_same_array(ar.refs, ar.count, br.refs.refs_val, br.refs.refs_len);
}

template <typename Info, typename GxInfo>
void expect_same_v6_fields(const Info &a, const GxInfo &b) {
    EXPECT_EQ(
        make_tuple(str(a.pkt_name), static_cast<int>(a.component_type), a.status, a.file_time, a.caller_value,
                   a.major_version, a.minor_version, a.source_count, a.aux_int, a.target_count, str(a.aux_string)),
        make_tuple(str(b.pkt_name), b.component_type, b.status, b.file_time, b.caller_value, b.major_version,
                   b.minor_version, b.source_count, b.aux_int, b.target_count, str(b.aux_string)));
    for (int i = 0; i < 2; ++i) {
        SCOPED_TRACE("source " + std::to_string(i));
        expect_same(a.sources[i], b.sources[i]);
    }
    expect_same_array(a.targets, a.target_count, b.targets.targets_val, b.targets.targets_len);
}

void expect_same(const pxinfo_packet_info_v6_t &a, const gx_packet_info_v6 &b) { expect_same_v6_fields(a, b); }

void expect_same(const pxinfo_packet_info_t &a, const gx_packet_info &b) {
    expect_same_v6_fields(a, b);
    expect_same_uuid(a.log_pkt_uuid, b.log_pkt_uuid);
    expect_same_uuid(a.aux_uuid1, b.aux_uuid1);
    expect_same_uuid(a.aux_uuid2, b.aux_uuid2);
    EXPECT_EQ(make_tuple(a.pkt_seq_num, a.aux_count, static_cast<int>(a.compress_type), a.aux_value1, a.aux_value2,
                         a.aux_int2),
              make_tuple(b.pkt_seq_num, b.aux_count, b.compress_type, b.aux_value1, b.aux_value2, b.aux_int2));
}

void expect_same(const pxinfo_epoch_row_entry_t &a, const gx_epoch_row_entry &b) {
    EXPECT_EQ(make_tuple(a.epoch, a.entry_value), make_tuple(b.epoch, b.entry_value));
    expect_same(a.replica, b.replica);
}

void expect_same(const pxinfo_epoch_row_t &a, const gx_epoch_row &b) {
    EXPECT_EQ(make_tuple(str(a.name), str(a.host), a.count, a.row_value1, a.row_value2),
              make_tuple(str(b.name), str(b.host), b.count, b.row_value1, b.row_value2));
    expect_same_array(a.entries, static_cast<uint32_t>(a.count), b.entries.entries_val, b.entries.entries_len);
}

void expect_same(const pxinfo_replica_epoch_status_t &a, const gx_replica_epoch_status &b) {
    EXPECT_EQ(make_tuple(str(a.name), str(a.host), a.count, a.value),
              make_tuple(str(b.name), str(b.host), b.count, b.value));
    expect_same(a.replica, b.replica);
    expect_same_array(a.times, static_cast<uint32_t>(a.count), b.times.times_val, b.times.times_len);
    expect_same_array(a.epochs, static_cast<uint32_t>(a.count), b.epochs.epochs_val, b.epochs.epochs_len);
}

void expect_same(const pxinfo_family_epoch_status_t &a, const gx_family_epoch_status &b) {
    EXPECT_EQ(make_tuple(a.timestamp, a.count), make_tuple(b.timestamp, b.count));
    expect_same_array(a.replicas, static_cast<uint32_t>(a.count), b.replicas.replicas_val, b.replicas.replicas_len);
}

void expect_same(const pxinfo_sync_attempt_data_t &a, const gx_sync_attempt_data &b) {
    EXPECT_EQ(make_tuple(a.time, static_cast<int>(a.direction), static_cast<int>(a.transport), a.attempted, a.succeeded,
                         a.count),
              make_tuple(b.time, b.direction, b.transport, b.attempted, b.succeeded, b.count));
    expect_same_array(a.replicas, a.count, b.replicas.replicas_val, b.replicas.replicas_len);
}

void expect_same(const pxinfo_replica_sync_status_t &a, const gx_replica_sync_status &b) {
    EXPECT_EQ(make_tuple(str(a.name), str(a.host), a.sync_value, static_cast<int>(a.level), a.count, a.last_status,
                         static_cast<int>(a.status_value)),
              make_tuple(str(b.name), str(b.host), b.sync_value, b.level, b.count, b.last_status, b.status_value));
    expect_same(a.replica, b.replica);
    expect_same_array(a.attempts, static_cast<uint32_t>(a.count), b.attempts.attempts_val, b.attempts.attempts_len);
}

void expect_same(const pxinfo_family_sync_status_t &a, const gx_family_sync_status &b) {
    EXPECT_EQ(make_tuple(a.timestamp, a.count), make_tuple(b.timestamp, b.count));
    expect_same_array(a.replicas, static_cast<uint32_t>(a.count), b.replicas.replicas_val, b.replicas.replicas_len);
}

namespace {

using xt::cross_check;

// ---- Enumerations and scalars -----------------------------------------------

// Both routines of an enumeration code any value, member or not, as one word.
template <auto Inner, auto Outer, typename E>
void check_enum() {
    for (int value : {7, 0, -1, INT_MAX}) {
        E v = static_cast<E>(value);
        const Bytes word = Wire().w(static_cast<uint32_t>(value));
        EXPECT_EQ(word, xt::encoded<Inner>(&v));
        EXPECT_EQ(word, xt::encoded<Outer>(&v));
        E back = static_cast<E>(12345);
        xt::Run run = xt::decode<Outer>(word, &back);
        EXPECT_TRUE(run.ok);
        EXPECT_EQ(value, static_cast<int>(back));
        back = static_cast<E>(12345);
        EXPECT_TRUE(xt::decode<Inner>(word, &back).ok);
        EXPECT_EQ(value, static_cast<int>(back));
    }
    E v{};
    EXPECT_FALSE(xt::decode<Outer>(Bytes{0, 0, 1}, &v).ok);
}

TEST(XdrEnumerations, EveryValueIsOneWordAndRoundTrips) {
    check_enum<xdr_pxinfo_component_type_s, xdr_pxinfo_component_type_t, pxinfo_component_type_t>();
    check_enum<xdr_pxinfo_packet_type_e, xdr_pxinfo_packet_type_t, pxinfo_packet_type_t>();
    check_enum<xdr_pxinfo_compress_type_e, xdr_pxinfo_compress_type_t, pxinfo_compress_type_t>();
    check_enum<xdr_pxinfo_st_progress_e, xdr_pxinfo_st_progress_t, pxinfo_st_progress_t>();
    check_enum<xdr_pxinfo_setting_type_e, xdr_pxinfo_setting_type_t, pxinfo_setting_type_t>();
    check_enum<xdr_pxinfo_sync_status_value_s, xdr_pxinfo_sync_status_value_t, pxinfo_sync_status_value_t>();
    check_enum<xdr_pxinfo_sync_transport_s, xdr_pxinfo_sync_transport_t, pxinfo_sync_transport_t>();
    check_enum<xdr_pxinfo_sync_direction_s, xdr_pxinfo_sync_direction_t, pxinfo_sync_direction_t>();
    check_enum<xdr_pxinfo_settings_level_e, xdr_pxinfo_settings_level_t, pxinfo_settings_level_t>();
    check_enum<xdr_pxinfo_file_type_e, xdr_pxinfo_file_type_t, pxinfo_file_type_t>();
    check_enum<xdr_pxinfo_sync_job_id_validity_e, xdr_pxinfo_sync_job_id_validity_t, pxinfo_sync_job_id_validity_t>();
}

TEST(XdrEnumerations, OuterRoutineAnswersExactlyOne) {
    pxinfo_file_type_t type = PXINFO_FILE_OTHER;
    Bytes buffer(4);
    XDR xdrs;
    xdrmem_create(&xdrs, reinterpret_cast<char *>(buffer.data()), 4, XDR_ENCODE);
    EXPECT_EQ(1, xdr_pxinfo_file_type_t(&xdrs, &type, 12));
    EXPECT_EQ(0, xdr_pxinfo_file_type_t(&xdrs, &type, 12));  // the stream is full
    xdr_destroy(&xdrs);
}

TEST(XdrScalars, GoldenWords) {
    pxinfo_epoch_num_t epoch = 0xFFFFFFFEu;
    EXPECT_EQ(Wire().w(0xFFFFFFFEu).bytes(), xt::expect_round_trip<xdr_pxinfo_epoch_num_t>(&epoch));
    pxinfo_sync_job_id_t job = 0x01020304u;
    EXPECT_EQ((Bytes{1, 2, 3, 4}), xt::expect_round_trip<xdr_pxinfo_sync_job_id_t>(&job));
    pxinfo_one_sleep_point_t point = INT32_MIN;
    EXPECT_EQ((Bytes{0x80, 0, 0, 0}), xt::expect_round_trip<xdr_pxinfo_one_sleep_point_t>(&point));
}

// ---- Identity and selector records ------------------------------------------

TEST(XdrSelectors, VaultAndBbGoldenBytes) {
    pxinfo_selector_t vault = vault_selector(0x10);
    tbs_uuid_t vault_oid = uuid_from(0x10), replica_oid = uuid_from(0x50);
    EXPECT_EQ(Wire().w(1).raw(vault_oid.bytes, 16).raw(replica_oid.bytes, 16).bytes(),
              xt::expect_round_trip<xdr_pxinfo_selector_t>(&vault));
    pxinfo_selector_t bb = bb_selector("rs");
    EXPECT_EQ(Wire().w(2).str("fam").str("clan-a").str("rs").str(kUuidText).bytes(),
              xt::expect_round_trip<xdr_pxinfo_selector_t>(&bb));
    // Every field of a bb selector is inline: freeing leaves them alone.
    xt::release<xdr_pxinfo_selector_t>(&bb);
    EXPECT_STREQ(kUuidText, bb.u.bb.replica_set_uuid);
}

TEST(XdrSelectors, UnknownTagCodesAloneAndDecodesWithZeroBody) {
    for (int type : {5, 0}) {
        SCOPED_TRACE(type);
        pxinfo_selector_t s = tag_only_selector(type);
        std::memset(&s.u, 0xAB, sizeof s.u);  // the body is never written
        const Bytes tag = Wire().w(static_cast<uint32_t>(type));
        EXPECT_EQ(tag, xt::encoded<xdr_pxinfo_selector_t>(&s));
        pxinfo_selector_t dirty = bb_selector("stale");
        ASSERT_TRUE(xt::decode<xdr_pxinfo_selector_t>(tag, &dirty).ok);
        EXPECT_EQ(type, static_cast<int>(dirty.type));
        const pxinfo_selector_u zero{};
        EXPECT_EQ(0, std::memcmp(&zero, &dirty.u, sizeof zero));
    }
}

TEST(XdrSelectors, UuidTextIsLimitedTo51Characters) {
    const std::string longest(51, 'u');
    pxinfo_replica_set_selector_t set{};
    std::strcpy(set.clan, "c");
    std::strcpy(set.replica_set, "s");
    std::strcpy(set.replica_set_uuid, longest.c_str());
    EXPECT_EQ(Wire().str("c").str("s").str(longest).bytes(), xt::expect_sound<xdr_pxinfo_replica_set_selector_t>(&set));

    xt::expect_refused<xdr_pxinfo_replica_set_selector_t, pxinfo_replica_set_selector_t>(
        Wire().str("c").str("s").str(std::string(52, 'u')));
    // A name buffer holds at most 255 characters.
    xt::expect_refused<xdr_pxinfo_replica_set_selector_t, pxinfo_replica_set_selector_t>(
        Wire().str(std::string(256, 'n')).str("s").str("u"));
}

TEST(XdrIdentity, GoldenBytes) {
    pxinfo_sync_job_id_pair_t pair{uuid_from(0x10), 42, PXINFO_JOB_ID_BOTH};
    EXPECT_EQ(Wire().raw(pair.job_uuid.bytes, 16).ws({42, 3}).bytes(),
              xt::encoded<xdr_pxinfo_sync_job_id_pair_t>(&pair));
    pxinfo_sync_job_id_pair_list_t empty{0, nullptr};
    EXPECT_EQ(Wire().ws({0, 0}).bytes(), xt::expect_round_trip<xdr_pxinfo_sync_job_id_pair_list_t>(&empty));
    pxinfo_replica_reference_t ref{tag_only_selector(0), -1, 7, 8};
    EXPECT_EQ(Wire().ws({0, 0xFFFFFFFFu, 7, 8}).bytes(), xt::expect_round_trip<xdr_pxinfo_replica_reference_t>(&ref));

    // Null strings code as empty strings.
    pxinfo_replica_info_t info{tag_only_selector(0), nullptr, nullptr};
    EXPECT_EQ(Wire().ws({0, 0, 0}).bytes(), xt::encoded<xdr_pxinfo_replica_info_t>(&info));
    pxinfo_nvpair_t nv{text("k"), nullptr};
    EXPECT_EQ(Wire().str("k").w(0).bytes(), xt::encoded<xdr_pxinfo_nvpair_t>(&nv));
    EXPECT_EQ(Wire().str("k").w(0).bytes(), xt::encoded<xdr_pxinfo_nvpair_s>(&nv));
}

TEST(XdrIdentity, EveryRecordRoundTrips) {
    Sample s;
    xt::expect_sound<xdr_pxinfo_sync_job_id_pair_list_t>(&s.pair_list);
    xt::expect_round_trip<xdr_pxinfo_sync_job_id_pair_list_s>(&s.pair_list);
    xt::expect_round_trip<xdr_pxinfo_sync_job_id_pair_s>(&s.pairs[1]);
    xt::expect_round_trip<xdr_pxinfo_selector_vault_s>(&s.refs[0].replica.u.vault);
    xt::expect_round_trip<xdr_pxinfo_selector_bb_s>(&s.refs[1].replica.u.bb);
    xt::expect_round_trip<xdr_pxinfo_replica_reference_t>(&s.refs[1]);
    xt::expect_round_trip<xdr_pxinfo_replica_reference_s>(&s.refs[0]);
    for (auto &info : s.infos) {
        xt::expect_round_trip<xdr_pxinfo_replica_info_t>(&info);
        xt::expect_round_trip<xdr_pxinfo_replica_info_s>(&info);
    }
    pxinfo_rep_info_pair_t rep_pair{vault_selector(1), bb_selector("p")};
    EXPECT_EQ(xt::expect_sound<xdr_pxinfo_rep_info_pair_t>(&rep_pair),
              xt::encoded<xdr_pxinfo_rep_info_pair_s>(&rep_pair));
    pxinfo_nvpair_t nv{text("name"), text("value")};
    xt::expect_sound<xdr_pxinfo_nvpair_t>(&nv);
}

// ---- Epoch and sync-status records ------------------------------------------

TEST(XdrEpochRecords, GoldenBytes) {
    pxinfo_epoch_row_entry_t entry{9, -1, tag_only_selector(0)};
    pxinfo_epoch_row_t row{};
    std::strcpy(row.name, "r1");
    std::strcpy(row.host, "host");
    row.count = 1;
    row.entries = &entry;
    row.row_value1 = 7;
    row.row_value2 = 8;
    EXPECT_EQ(Wire().str("r1").str("host").ws({1, 1, 9, 0xFFFFFFFFu, 0, 7, 8}).bytes(),
              xt::expect_round_trip<xdr_pxinfo_epoch_row_t>(&row));
    pxinfo_epoch_row_t empty{};
    EXPECT_EQ(Wire().ws({0, 0, 0, 0, 0, 0}).bytes(), xt::expect_round_trip<xdr_pxinfo_epoch_row_t>(&empty));

    // One count field, then each of the two arrays with its own count word.
    int32_t times[3] = {10, 20, -30};
    pxinfo_epoch_num_t epochs[3] = {1, 2, 3};
    pxinfo_replica_epoch_status_t status{};
    std::strcpy(status.name, "n");
    status.replica = tag_only_selector(0);
    std::strcpy(status.host, "h");
    status.count = 3;
    status.times = times;
    status.epochs = epochs;
    status.value = 4;
    EXPECT_EQ(Wire().str("n").w(0).str("h").ws({3, 3, 10, 20, static_cast<uint32_t>(-30), 3, 1, 2, 3, 4}).bytes(),
              xt::expect_round_trip<xdr_pxinfo_replica_epoch_status_t>(&status));

    pxinfo_msg_t msg{text("abc"), 3, 4, {5, 6}};
    const Bytes msg_wire = Wire().str("abc").ws({3, 4, 5, 6});
    EXPECT_EQ(msg_wire, xt::expect_round_trip<xdr_pxinfo_msg_t>(&msg));
    EXPECT_EQ(msg_wire, xt::encoded<xdr_pxinfo_msg_s>(&msg));
}

TEST(XdrEpochRecords, EveryRecordRoundTrips) {
    Sample s;
    xt::expect_sound<xdr_pxinfo_epoch_row_t>(&s.row);
    xt::expect_round_trip<xdr_pxinfo_epoch_row_s>(&s.row);
    xt::expect_round_trip<xdr_pxinfo_epoch_row_entry_s>(&s.entries[1]);
    xt::expect_round_trip<xdr_pxinfo_replica_epoch_status_s>(&s.epoch_status[0]);
    xt::expect_sound<xdr_pxinfo_family_epoch_status_t>(&s.family_epoch);
    xt::expect_round_trip<xdr_pxinfo_family_epoch_status_s>(&s.family_epoch);
    xt::expect_round_trip<xdr_pxinfo_sync_attempt_data_s>(&s.attempts[0]);
    xt::expect_round_trip<xdr_pxinfo_replica_sync_status_s>(&s.sync_status[0]);
    xt::expect_sound<xdr_pxinfo_family_sync_status_t>(&s.family_sync);
    xt::expect_round_trip<xdr_pxinfo_family_sync_status_t>(&s.family_sync, 12);
    xt::expect_round_trip<xdr_pxinfo_family_sync_status_s>(&s.family_sync);
    pxinfo_sync_status_summary_t summary{bb_selector("sum"), PXINFO_SYNC_STATUS_UNKNOWN, -7};
    const Bytes wire = xt::expect_sound<xdr_pxinfo_sync_status_summary_t>(&summary);
    EXPECT_EQ(wire, xt::encoded<xdr_pxinfo_sync_status_summary_s>(&summary));
    EXPECT_EQ(Wire().ws({2, 0xFFFFFFF9u}).bytes(), Bytes(wire.end() - 8, wire.end()));
    EXPECT_EQ(Wire().ws({4, 4, 0, 1, 0, static_cast<uint32_t>(-3)}).bytes(),
              xt::expect_sound<xdr_pxinfo_st_sleep_points_t>(&s.sleep_points));
    xt::expect_round_trip<xdr_pxinfo_st_sleep_points_s>(&s.sleep_points);
    xt::expect_sound<xdr_pxinfo_msg_list_t>(&s.msg_list);
    xt::expect_round_trip<xdr_pxinfo_msg_list_s>(&s.msg_list);
}

// A stream that ends inside host stops the routine there: the selector and
// every later field keep what they held.
TEST(XdrEpochRecords, CodingStopsAtTheFirstFailingField) {
    const Bytes wire = Wire().str("name").w(20).str("abcd");  // host claims 20 bytes
    pxinfo_replica_sync_status_t status{};
    status.replica = tag_only_selector(77);
    status.sync_value = 5;
    status.last_status = 6;
    EXPECT_FALSE(xt::decode<xdr_pxinfo_replica_sync_status_t>(wire, &status).ok);
    EXPECT_STREQ("name", status.name);
    EXPECT_EQ(77, static_cast<int>(status.replica.type));
    EXPECT_EQ(5u, status.sync_value);
    EXPECT_EQ(6, status.last_status);
}

TEST(XdrCrossCheck, EpochAndSyncStatusAgreeWithRpcgen) {
    Sample s;
    cross_check<xdr_pxinfo_epoch_row_t, xdr_gx_epoch_row>(&s.row);
    cross_check<xdr_pxinfo_family_epoch_status_t, xdr_gx_family_epoch_status>(&s.family_epoch);
    cross_check<xdr_pxinfo_family_sync_status_t, xdr_gx_family_sync_status>(&s.family_sync);
}

// ---- Packet description records ---------------------------------------------

TEST(XdrPacketRecords, SettingValueCodesTheArmOfItsType) {
    struct Case {
        int type;
        uint32_t word;  // the uint or int arm
        const char *str;
        Bytes wire;
    };
    const Case cases[] = {
        {3, 7, nullptr, Wire().ws({3, 7})},
        {0, 0xFFFFFFFFu, nullptr, Wire().ws({0, 0xFFFFFFFFu})},
        {PXINFO_SETTING_INT, static_cast<uint32_t>(-3), nullptr, Wire().ws({1, static_cast<uint32_t>(-3)})},
        {PXINFO_SETTING_STR, 0, "on", Wire().w(2).str("on")},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.type);
        pxinfo_setting_val_t value{};
        value.type = static_cast<pxinfo_setting_type_t>(c.type);
        if (c.str != nullptr) {
            value.data.str_value = text(c.str);
        } else if (c.type == PXINFO_SETTING_INT) {
            value.data.int_value = static_cast<int32_t>(c.word);
        } else {
            value.data.uint_value = c.word;
        }
        EXPECT_EQ(c.wire, xt::expect_sound<xdr_pxinfo_setting_val_t>(&value));
        EXPECT_EQ(c.wire, xt::encoded<xdr_pxinfo_setting_val_s>(&value));
    }

    // Type 4 has no arm: coding fails after the type word, both ways.
    pxinfo_setting_val_t value{};
    value.type = static_cast<pxinfo_setting_type_t>(4);
    xt::Run run = xt::encode<xdr_pxinfo_setting_val_t>(&value);
    EXPECT_FALSE(run.ok);
    EXPECT_EQ(Wire().w(4).bytes(), run.bytes);
    run = xt::decode<xdr_pxinfo_setting_val_t>(Wire().ws({4, 7}), &value);
    EXPECT_FALSE(run.ok);
    EXPECT_EQ(4u, run.position);
    Bytes buffer(16);
    XDR xdrs;
    xdrmem_create(&xdrs, reinterpret_cast<char *>(buffer.data()), 16, XDR_ENCODE);
    pxinfo_setting_data_u data{};
    EXPECT_FALSE(xdr_pxinfo_setting_data_u(&xdrs, &data, static_cast<pxinfo_setting_type_t>(-1)));
    EXPECT_EQ(0u, xdr_getpos(&xdrs));
    xdr_destroy(&xdrs);
}

TEST(XdrPacketRecords, Version6DependencyListHoldsAtMostOne) {
    pxinfo_dep_info_t deps[2] = {{1, 2, tag_only_selector(0)}, {3, 4, tag_only_selector(0)}};
    const Wire first_dep = Wire().ws({1, 2, 0});

    // count 2 is written as 1, with the first dependency only.
    pxinfo_dep_info_list_v6_t list{2, deps};
    EXPECT_EQ(Wire().ws({1, 1}).append(first_dep).bytes(), xt::encoded<xdr_pxinfo_dep_info_list_v6_t>(&list));
    EXPECT_EQ(2u, list.count);
    // The inner routine writes the count as it is.
    EXPECT_EQ(Wire().ws({2, 1}).append(first_dep).bytes(), xt::encoded<xdr_pxinfo_dep_info_list_v6_s>(&list));

    // count 0 still codes the pointed-to dependency.
    list.count = 0;
    EXPECT_EQ(Wire().ws({0, 1}).append(first_dep).bytes(), xt::encoded<xdr_pxinfo_dep_info_list_v6_t>(&list));
    list = {0, nullptr};
    EXPECT_EQ(Wire().ws({0, 0}).bytes(), xt::encoded<xdr_pxinfo_dep_info_list_v6_t>(&list));

    // A count word above 1 is read as 1.
    const unsigned long live = stg_live_block_count();
    pxinfo_dep_info_list_v6_t back{};
    ASSERT_TRUE(xt::decode<xdr_pxinfo_dep_info_list_v6_t>(Wire().ws({5, 1}).append(first_dep), &back).ok);
    EXPECT_EQ(1u, back.count);
    ASSERT_NE(nullptr, back.deps);
    EXPECT_EQ(2u, back.deps->second_epoch);
    xt::release<xdr_pxinfo_dep_info_list_v6_t>(&back);
    EXPECT_EQ(live, stg_live_block_count());
}

TEST(XdrPacketRecords, PacketInformationGoldenBytes) {
    // Nothing filled in: both source slots are still coded, and the targets
    // are an empty array.
    pxinfo_packet_info_v6_t info{};
    info.pkt_name = text("p");
    info.component_type = PXINFO_COMPONENT_VAULT;
    info.file_time = 100;
    info.caller_value = 5;
    info.major_version = 7;
    const Wire empty_source = Wire().ws({0, 0, 0, 0, 0, 0});
    const Bytes v6 =
        Wire().str("p").ws({1, 0, 100, 5, 7, 0, 0}).append(empty_source).append(empty_source).ws({0, 0, 0, 0});
    EXPECT_EQ(v6, xt::expect_round_trip<xdr_pxinfo_packet_info_v6_t>(&info));

    pxinfo_packet_info_t current{};
    current.pkt_name = info.pkt_name;
    current.component_type = info.component_type;
    current.file_time = 100;
    current.caller_value = 5;
    current.major_version = 7;
    current.log_pkt_uuid = uuid_from(1);
    current.pkt_seq_num = 1;
    current.aux_count = 1;
    current.compress_type = PXINFO_COMPRESS_DEFAULT;
    const tbs_uuid_t log_uuid = uuid_from(1), null_uuid{};
    const Bytes wire = Wire()
                           .append(v6)
                           .raw(log_uuid.bytes, 16)
                           .raw(null_uuid.bytes, 16)
                           .ws({1, 1})
                           .raw(null_uuid.bytes, 16)
                           .ws({1, 0, 0, 0});
    EXPECT_EQ(wire, xt::expect_round_trip<xdr_pxinfo_packet_info_t>(&current));
}

TEST(XdrPacketRecords, Version6RoutineConsumesOnlyTheFirst13Fields) {
    Sample s;
    const Bytes current = xt::encoded<xdr_pxinfo_packet_info_t>(&s.info);
    const Bytes v6 = xt::encoded<xdr_pxinfo_packet_info_v6_t>(&s.info_v6);
    ASSERT_LT(v6.size(), current.size());
    EXPECT_EQ(v6, Bytes(current.begin(), current.begin() + static_cast<std::ptrdiff_t>(v6.size())));

    const unsigned long live = stg_live_block_count();
    pxinfo_packet_info_v6_t back{};
    xt::Run run = xt::decode<xdr_pxinfo_packet_info_v6_t>(current, &back);
    EXPECT_TRUE(run.ok);
    EXPECT_EQ(v6.size(), run.position);
    EXPECT_STREQ("aux", back.aux_string);
    xt::release<xdr_pxinfo_packet_info_v6_t>(&back);
    EXPECT_EQ(live, stg_live_block_count());
}

TEST(XdrPacketRecords, EveryRecordRoundTrips) {
    Sample s;
    xt::expect_sound<xdr_pxinfo_packet_info_t>(&s.info);
    xt::expect_round_trip<xdr_pxinfo_packet_info_s>(&s.info);
    xt::expect_sound<xdr_pxinfo_packet_info_v6_t>(&s.info_v6);
    xt::expect_round_trip<xdr_pxinfo_packet_info_v6_s>(&s.info_v6);
    xt::expect_round_trip<xdr_pxinfo_packet_source_info_t>(&s.info.sources[0]);
    xt::expect_round_trip<xdr_pxinfo_packet_source_info_s>(&s.info.sources[1]);
    xt::expect_round_trip<xdr_pxinfo_packet_reference_s>(&s.info.sources[0].references);
    xt::expect_sound<xdr_pxinfo_dep_info_list_t>(&s.dep_list);
    xt::expect_round_trip<xdr_pxinfo_dep_info_list_s>(&s.dep_list);
    xt::expect_round_trip<xdr_pxinfo_dep_info_s>(&s.deps[1]);
    pxinfo_dep_info_list_v6_t v6{1, s.deps};
    xt::expect_sound<xdr_pxinfo_dep_info_list_v6_t>(&v6);
    xt::expect_round_trip<xdr_pxinfo_dep_info_list_v6_s>(&v6);
}

TEST(XdrCrossCheck, PacketInformationAgreesWithRpcgen) {
    Sample s;
    cross_check<xdr_pxinfo_packet_info_t, xdr_gx_packet_info>(&s.info);
    cross_check<xdr_pxinfo_packet_info_v6_t, xdr_gx_packet_info_v6>(&s.info_v6);
}

TEST(XdrGlue, NullProcedureFilters) {
    pxinfobase_xdr_makeprocs();
    pxinfobase_xdr_freeprocs();

    int arg = -6;
    EXPECT_EQ(Wire().w(static_cast<uint32_t>(-6)).bytes(), xt::encoded<xdr_pxinfobase_program_null_V1_back>(&arg));
    long result = 0x1234;
    ASSERT_TRUE(xt::decode<xdr_pxinfobase_program_null_V1_over>(Wire().w(0), &result).ok);
    EXPECT_EQ(0, result);
    EXPECT_TRUE(xt::decode<xdr_pxinfobase_program_null_V1_over>(Wire().w(0x100), &result).ok);
    EXPECT_FALSE(xt::decode<xdr_pxinfobase_program_null_V1_over>(Wire().w(1), &result).ok);
    EXPECT_FALSE(xt::decode<xdr_pxinfobase_program_null_V1_over>(Wire().w(0x1FF), &result).ok);
    // Encoding does not look at the value.
    result = 1;
    EXPECT_EQ(Wire().w(1).bytes(), xt::encoded<xdr_pxinfobase_program_null_V1_over>(&result));
}

// ---- Hostile input (truncations: expect_sound above) ------------------------

// An array whose own count word differs from the record's count field is
// refused either way, as are counts and lengths no memory could hold.
TEST(XdrHostileInput, CountsAndLengthsBeyondTheirBounds) {
    const Wire pair = Wire().ws({0, 0, 0, 0, 9, 1});
    // Count field 1, array count 2.
    xt::expect_refused<xdr_pxinfo_sync_job_id_pair_list_t, pxinfo_sync_job_id_pair_list_t>(
        Wire().ws({1, 2}).append(pair).append(pair));
    // Count field 2, array count 1: the record would claim an element it
    // does not have.
    xt::expect_refused<xdr_pxinfo_sync_job_id_pair_list_t, pxinfo_sync_job_id_pair_list_t>(
        Wire().ws({2, 1}).append(pair).append(pair));
    // A huge count with a matching array count.
    xt::expect_refused<xdr_pxinfo_sync_job_id_pair_list_t, pxinfo_sync_job_id_pair_list_t>(
        Wire().ws({0xFFFFFFFFu, 0xFFFFFFFFu}).append(pair));

    // A negative signed count reaches the array routine as a huge size.
    xt::expect_refused<xdr_pxinfo_epoch_row_t, pxinfo_epoch_row_t>(
        Wire().str("n").str("h").ws({0xFFFFFFFFu, 0xFFFFFFFFu, 1, 1, 0}));
    xt::expect_refused<xdr_pxinfo_epoch_row_t, pxinfo_epoch_row_t>(
        Wire().str("n").str("h").ws({0xFFFFFFFFu, 1, 1, 1, 0, 0, 0}));

    // The second array of a replica epoch status disagrees with the count.
    xt::expect_refused<xdr_pxinfo_replica_epoch_status_t, pxinfo_replica_epoch_status_t>(
        Wire().str("n").w(0).str("h").ws({2, 2, 1, 2, 1, 5, 0}));

    // A family that claims more replica statuses than its array carries.
    Sample s;
    Bytes family = xt::encoded<xdr_pxinfo_family_sync_status_t>(&s.family_sync);
    xt::expect_refused<xdr_pxinfo_family_sync_status_t, pxinfo_family_sync_status_t>(xt::with_word(family, 4, 3));

    // Strings longer than the input or than any allocation allowed.
    xt::expect_refused<xdr_pxinfo_nvpair_t, pxinfo_nvpair_t>(Wire().w(0xFFFFFFF0u).w(0));
    xt::expect_refused<xdr_pxinfo_nvpair_t, pxinfo_nvpair_t>(Wire().str("n").w(100).w(0));
    // Host names hold at most 63 characters.
    xt::expect_refused<xdr_pxinfo_epoch_row_t, pxinfo_epoch_row_t>(
        Wire().str("n").str(std::string(64, 'h')).ws({0, 0, 0, 0}));
}

TEST(XdrHostileInput, AllocationFailuresDuringDecodeLeakNothing) {
    Sample s;
    xt::expect_allocation_failures_clean<xdr_pxinfo_packet_info_t, pxinfo_packet_info_t>(
        xt::encoded<xdr_pxinfo_packet_info_t>(&s.info));
    xt::expect_allocation_failures_clean<xdr_pxinfo_family_epoch_status_t, pxinfo_family_epoch_status_t>(
        xt::encoded<xdr_pxinfo_family_epoch_status_t>(&s.family_epoch));
    xt::expect_allocation_failures_clean<xdr_pxinfo_family_sync_status_t, pxinfo_family_sync_status_t>(
        xt::encoded<xdr_pxinfo_family_sync_status_t>(&s.family_sync));
    xt::expect_allocation_failures_clean<xdr_pxinfo_msg_list_t, pxinfo_msg_list_t>(
        xt::encoded<xdr_pxinfo_msg_list_t>(&s.msg_list));
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
