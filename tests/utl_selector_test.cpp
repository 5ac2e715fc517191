// Selectors: construction, text forms, field readers, the total order,
// equality and hashes; and sync job identifiers.
#include <gtest/gtest.h>

#include "fixtures.h"
#include "pfm.h"
#include "pxinfo_utl_jobid.h"
#include "pxinfo_utl_selector.h"
#include "pxinfo_utl_selector_internal.h"
#include "tbs.h"
#include "test_support.h"

namespace {

using pxfix::vault_selector;  // (replica, vault)

pxinfo_selector_t bb(const char *family, const char *clan, const char *replica_set, const char *uuid = "u-1") {
    pxinfo_selector_t selector;
    EXPECT_EQ(TBS_ST_OK, pxinfo_new_bb_selector(family, clan, replica_set, uuid, &selector));
    return selector;
}

// The four text forms, whole, replica, family and family for display, "-"
// for none; a selector of type 7 has no kind and so no name.
std::string texts(pxinfo_selector_t selector, int type = 0) {
    if (type != 0) { selector.type = static_cast<pxinfo_component_type_t>(type); }
    char text[PXINFO_SELECTOR_STR_SIZE];
    std::string all;
    for (auto form : {pxinfo_selector_to_str, pxinfo_selector_to_replica_str, pxinfo_selector_to_family_str,
                      pxinfo_selector_to_family_dstr}) {
        all += std::string(form(&selector, text) != nullptr ? text : "-") + "|";
    }
    return all;
}

TEST(Selector, ConstructionChecksTextsAndTheirSizes) {
    const pxinfo_selector_t vault = vault_selector(2, 1);
    pxinfo_selector_t made;
    ASSERT_EQ(TBS_ST_OK, pxinfo_new_vault_selector(&vault.u.vault.replica_oid, &vault.u.vault.vault_oid, &made));
    EXPECT_EQ(texts(vault), texts(made));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_new_vault_selector(nullptr, &vault.u.vault.vault_oid, &made));
    // An empty or missing text is refused before anything is written, a text
    // that does not fit after the type is set; each is an internal error.
    pxtest::CapturedMessages messages;
    const std::string f255(255, 'f'), f256(256, 'f'), u50(50, 'u'), u51(51, 'u');
    const struct {
        const char *family, *clan, *uuid;
        tbs_status_t status;
        int type_after;
    } rows[] = {{"f", "c", "", TBS_ST_INVALID_ARG, 7},
                {"f", nullptr, "u", TBS_ST_INVALID_ARG, 7},
                {f256.c_str(), "c", "u", TBS_ST_FAILED, 1},
                {f255.c_str(), "c", u50.c_str(), TBS_ST_OK, 1},
                {"f", "c", u51.c_str(), TBS_ST_FAILED, 1}};
    for (const auto &row : rows) {
        made.type = static_cast<pxinfo_component_type_t>(7);
        EXPECT_EQ(row.status, pxinfo_new_bb_selector(row.family, row.clan, "r", row.uuid, &made)) << row.uuid;
        EXPECT_EQ(row.type_after == 1 ? PXINFO_COMPONENT_BB : 7, made.type) << row.uuid;
    }
    EXPECT_EQ(PXINFO_COMPONENT_BB, pxinfo_get_selector_type(&made));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_new_bb_selector("f", "c", "r", "u", nullptr));
    const std::string line = "[6 pxinfo] internal error: Internal error in pxinfo_new_bb_selector.\n";
    EXPECT_EQ(line + line + line + line + line, messages.dump());

    // Type 7 is not null but has no type; nullify zeroes everything.
    made.type = static_cast<pxinfo_component_type_t>(7);
    EXPECT_EQ((std::vector<int>{0, 0, 1, 0}),
              (std::vector<int>{pxinfo_selector_is_null(&made), pxinfo_get_selector_type(&made),
                                pxinfo_selector_is_null(nullptr), pxinfo_get_selector_type(nullptr)}));
    pxinfo_selector_nullify(&made);
    pxinfo_selector_nullify(nullptr);  // only traced
    const pxinfo_selector_t zero = {};
    EXPECT_TRUE(std::memcmp(&zero, &made, sizeof made) == 0 && pxinfo_selector_is_null(&made));
}

TEST(Selector, TextFormsOfEachKindAndNoneWithoutAName) {
    char text[TBS_UUID_STR_SIZE];
    pxinfo_selector_t selector = vault_selector(2, 1);
    const std::string v = tbs_oid_to_str(&selector.u.vault.vault_oid, text);
    const std::string r = tbs_oid_to_str(&selector.u.vault.replica_oid, text);
    EXPECT_EQ(v + "." + r + "|" + r + "|" + v + "|oid:" + v + "|", texts(selector));
    char long_text[PXINFO_SELECTOR_STR_SIZE];
    EXPECT_EQ(v, pxinfo_selector_to_family_str_int(&selector, 0, long_text));
    EXPECT_EQ("f.c.r|r|f.c|f.c|", texts(bb("f", "c", "r", "the-uuid")));
    const std::string name(255, 'n');  // the longest names make the longest text, which still fits
    selector = bb(name.c_str(), name.c_str(), name.c_str());
    EXPECT_EQ(767u, std::strlen(pxinfo_selector_to_str(&selector, long_text)));
    // Nulled, type 7, and names filling their whole field without a
    // terminator (a text longer than the 768-byte buffer would need).
    pxtest::CapturedMessages messages;
    const unsigned long errors = tbs_int_error_count();
    std::memset(&selector.u.bb, 'x', sizeof selector.u.bb);
    EXPECT_EQ("-|-|-|-|", texts(selector));
    EXPECT_EQ("-|-|-|-|", texts(bb("f", "c", "r"), 7));
    EXPECT_EQ("-|-|-|-|", texts(pxinfo_selector_t{}));
    EXPECT_EQ(nullptr, pxinfo_selector_to_str(nullptr, long_text));
    EXPECT_EQ(errors + 13, tbs_int_error_count());
    EXPECT_NE(std::string::npos, messages.dump().find("Internal error in pxinfo_selector_to_family_str_int.\n"));
}

// Each reader copies one field; a uuid of 51 characters does not fit its
// 51-byte buffer, the readers before it having done their work; a vault
// selector fails at the family.
TEST(Selector, BbFieldReadersCopyOneFieldAndStopAtTheFirstFailure) {
    pxinfo_selector_t selector = bb("fam", "cl", "rs", "uu");
    char family[256], clan[256], replica_set[256], uuid[51];
    EXPECT_EQ(TBS_ST_OK, pxinfo_selector_to_bb_strs(&selector, family, clan, replica_set, uuid));
    EXPECT_EQ("fam cl rs uu", std::string(family) + " " + clan + " " + replica_set + " " + uuid);
    pxinfo_replica_set_selector_t set;
    ASSERT_EQ(TBS_ST_OK, pxinfo_selector_get_replica_set(&selector, &set));
    EXPECT_EQ("cl rs uu", std::string(set.clan) + " " + set.replica_set + " " + set.replica_set_uuid);
    pxtest::CapturedMessages messages;
    std::memset(selector.u.bb.replica_set_uuid, 'u', 51);
    selector.u.bb.replica_set_uuid[51] = '\0';
    std::strcpy(replica_set, "old");
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_selector_to_bb_strs(&selector, family, clan, replica_set, uuid));
    EXPECT_EQ(TBS_ST_FAILED, pxinfo_selector_get_replica_set(&selector, &set));
    EXPECT_STREQ("rs", replica_set);
    const pxinfo_selector_t vault = vault_selector(2, 1);
    std::strcpy(clan, "untouched");
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_selector_to_bb_strs(&vault, family, clan, replica_set, uuid));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_selector_to_bb_clan_str(nullptr, clan));
    EXPECT_STREQ("untouched", clan);
    EXPECT_NE(std::string::npos,
              messages.dump().find("[6 pxinfo] Internal error in pxinfo_selector_to_bb_family_str.\n"
                                   "[6 pxinfo] Internal error in pxinfo_selector_to_bb_clan_str.\n"));
}

TEST(Selector, OrderOfKindsFamiliesAndReplicaSets) {
    pxtest::CapturedMessages messages;
    const pxinfo_selector_t v = vault_selector(9, 9), b = bb("a", "a", "a"), other_family = vault_selector(9, 8);
    const pxinfo_selector_t clan_a = bb("b", "a", "r"), clan_b = bb("a", "b", "r"), null_selector = {};
    const pxinfo_selector_t uuid_1 = bb("f", "c", "r", "uuid-1"), uuid_2 = bb("f", "c", "r", "uuid-2");
    const unsigned long errors = tbs_int_error_count();
    // Vault before bb; replicas of different kinds or families have no
    // order; clan is the major key, family the minor one; replica set uuids
    // tell apart selectors of the same texts; null selectors have no order.
    EXPECT_EQ((std::vector<int>{-1, 1, -1, PXINFO_CMP_INVALID, PXINFO_CMP_INVALID, PXINFO_CMP_INVALID, 1, -1, -1, -1,
                                PXINFO_CMP_INVALID, PXINFO_CMP_INVALID}),
              (std::vector<int>{
                  pxinfo_selector_family_cmp(&v, &b), pxinfo_selector_family_cmp(&b, &v), pxinfo_selector_cmp(&v, &b),
                  pxinfo_selector_replica_cmp(&v, &b), trusted_pxinfo_selector_replica_cmp(&v, &b, 1),
                  pxinfo_selector_replica_cmp(&v, &other_family), pxinfo_selector_cmp(&v, &other_family),
                  pxinfo_selector_cmp(&clan_a, &clan_b), pxinfo_selector_family_cmp(&clan_a, &clan_b),
                  pxinfo_selector_cmp(&uuid_1, &uuid_2), pxinfo_selector_cmp(&null_selector, &null_selector),
                  pxinfo_selector_cmp(&v, nullptr)}));
    EXPECT_EQ(errors + 5, tbs_int_error_count()) << "comparisons without an order but the trusted one log errors";
    EXPECT_EQ(0, pxinfo_selector_eq(&uuid_1, &uuid_2) + pxinfo_selector_eq(&null_selector, &null_selector));
    EXPECT_EQ(texts(uuid_1), texts(uuid_2));

    // Replica set selectors order as bb selectors of a dummy family; an
    // operand that cannot become one fails the assertion naming it and then
    // compares as nothing.
    pxinfo_replica_set_selector_t set_a, set_b, scratch;
    ASSERT_EQ(TBS_ST_OK, pxinfo_new_replica_set_selector("clan", "set-a", "u", &set_a));
    ASSERT_EQ(TBS_ST_OK, pxinfo_new_replica_set_selector("clan", "set-b", "u", &set_b));
    char text[PXINFO_SELECTOR_STR_SIZE];
    EXPECT_STREQ("clan.set-a", pxinfo_replica_set_selector_to_str(&set_a, text));
    EXPECT_EQ(TBS_ST_FAILED, pxinfo_new_replica_set_selector("clan", std::string(256, 's').c_str(), "u", &scratch));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_new_replica_set_selector("clan", "", "uuid", &scratch));
    const unsigned long asserts = pfm_assert_fail_count();
    std::vector<int> orders = {
        pxinfo_replica_set_selector_cmp(&set_a, &set_b), pxinfo_replica_set_selector_cmp(&set_b, &set_a),
        pxinfo_replica_set_selector_eq(&set_a, &set_a), pxinfo_replica_set_selector_eq(&set_a, &set_b)};
    set_a.clan[0] = '\0';
    orders.push_back(pxinfo_replica_set_selector_cmp(&set_a, &set_b));
    EXPECT_EQ((std::vector<int>{-1, 1, 1, 0, PXINFO_CMP_INVALID}), orders);
    EXPECT_EQ(asserts + 1, pfm_assert_fail_count());
    EXPECT_NE(std::string::npos,
              messages.dump().find("(PXINFO_DUMMY_FAMILY, loc_set1_p->clan, loc_set1_p->replica_set, "
                                   "loc_set1_p->replica_set_uuid, &rep1) == TBS_ST_OK"));
}

// Vault selectors whose oids differ in one byte at either end and bb names
// that differ in whitespace, case and prefixes, sorted by a stable insertion
// sort that tolerates a broken comparison. A total order puts equal
// selectors side by side and orders every pair as their runs of equal
// neighbours are ordered; equality agrees, and equal selectors hash equal
// when their hashed names are written alike (the hashes read bytes, the
// order disregards whitespace).
TEST(Selector, TotalOrderThatEqualityAndHashesAgreeWith) {
    std::vector<pxinfo_selector_t> items;
    for (uint32_t v : {0x00u, 0x01u, 0x7fu, 0x80u}) {
        for (uint32_t r : {0x00u, 0x01u, 0x7fu, 0x80u, 0xffu, 0x80000000u}) {
            items.push_back(vault_selector(r, v << 24 | 1));
        }
    }
    const char *names[] = {"alpha", "al pha", "Alpha", "alp", " alpha\t", "alphabet", "beta"},
               *uuids[] = {"u1", "u 1", "u2"};
    for (unsigned n = 0; n < 343; n += 2) {
        items.push_back(bb(names[n / 7 % 7], names[n / 49], names[n % 7], uuids[n % 3]));
    }
    for (size_t i = 1; i < items.size(); ++i) {
        for (size_t j = i; j > 0 && pxinfo_selector_cmp(&items[j], &items[j - 1]) < 0; --j) {
            std::swap(items[j], items[j - 1]);
        }
    }
    std::vector<size_t> run(items.size(), 0);
    for (size_t i = 1; i < items.size(); ++i) {
        run[i] = run[i - 1] + (pxinfo_selector_cmp(&items[i - 1], &items[i]) != 0);
    }
    ASSERT_GT(run.back(), 50u);
    ASSERT_LT(run.back() + 1, items.size());  // some selectors are equal to others
    for (size_t i = 0; i < items.size(); ++i) {
        for (size_t j = 0; j < items.size(); ++j) {
            const pxinfo_selector_t &a = items[i], &b = items[j];
            const int order = pxinfo_selector_cmp(&a, &b);
            ASSERT_EQ(run[i] < run[j] ? -1 : run[i] > run[j] ? 1 : 0, order) << i << " " << j;
            ASSERT_EQ(order == 0, pxinfo_selector_eq(&a, &b) != 0);
            ASSERT_EQ(-order, pxinfo_selector_cmp(&b, &a));
            const bool vaults = a.type == PXINFO_COMPONENT_VAULT;
            EXPECT_TRUE(order != 0 || !(vaults || std::strcmp(a.u.bb.replica_set, b.u.bb.replica_set) == 0) ||
                        pxinfo_selector_to_replica_hash(&a) == pxinfo_selector_to_replica_hash(&b));
            EXPECT_TRUE(order != 0 || !(vaults || std::strcmp(a.u.bb.family, b.u.bb.family) == 0) ||
                        pxinfo_selector_to_family_hash(&a) == pxinfo_selector_to_family_hash(&b));
        }
    }
    EXPECT_EQ(PXINFO_COMPONENT_VAULT, items.front().type);
    EXPECT_EQ(PXINFO_COMPONENT_BB, items.back().type);
}

// bb hashes sum the signed bytes of the first four characters, each shifted
// by its place (the family hash reads the family, not the clan); vault
// hashes are those of the oids.
TEST(Selector, HashesOfSignedBytesOfTheFirstFourCharactersOrOfTheOid) {
    const uint32_t e9 = static_cast<uint32_t>(-23);
    const std::pair<const char *, uint32_t> names[] = {
        {"ab", 0x6261u},         {"\xE9", e9},      {"a\xE9", 0x61u + (e9 << 8)}, {"abcdef", 0x64636261u},
        {"abcdxy", 0x64636261u}, {"a b", 0x622061u}};
    for (const auto &name : names) {
        const pxinfo_selector_t selector = bb(name.first, "zz", name.first);
        EXPECT_EQ(std::make_pair(name.second, name.second), std::make_pair(pxinfo_selector_to_replica_hash(&selector),
                                                                           pxinfo_selector_to_family_hash(&selector)));
    }
    const pxinfo_selector_t vault = vault_selector(4, 3), zero = {};
    EXPECT_EQ(tbs_oid_to_hash32(&vault.u.vault.replica_oid), pxinfo_selector_to_replica_hash(&vault));
    EXPECT_EQ(tbs_oid_to_hash32(&vault.u.vault.vault_oid), pxinfo_selector_to_family_hash(&vault));
    pxtest::CapturedMessages messages;
    const unsigned long errors = tbs_int_error_count();
    EXPECT_EQ(0u, pxinfo_selector_to_replica_hash(&zero) + pxinfo_selector_to_family_hash(nullptr));
    EXPECT_EQ(errors + 2, tbs_int_error_count());
}

// A text reads as a job uuid first, then as a local job id, each traced;
// anything else is refused with a warning and changes nothing.
TEST(SyncJobId, TextsReadAsUuidFirstThenAsLocalIdAndBack) {
    pxtest::CapturedMessages messages(4, "pxinfo");
    pxinfo_sync_job_id_pair_t pair;
    ASSERT_EQ(TBS_ST_OK, pxinfo_str_to_sync_job_id_pair("0123ABCD-4567-89ef-abcd-0123456789ff", &pair));
    EXPECT_EQ(std::make_tuple(+PXINFO_JOB_ID_UUID, 0u, 0xcd),
              std::make_tuple(+pair.validity, pair.local_jobid, +pair.job_uuid.bytes[3]));
    ASSERT_EQ(TBS_ST_OK, pxinfo_str_to_sync_job_id_pair("42", &pair));
    EXPECT_EQ(std::make_tuple(+PXINFO_JOB_ID_LOCAL, 42u, 1),
              std::make_tuple(+pair.validity, pair.local_jobid, tbs_uuid_eq(&TBS_UUID_NULL, &pair.job_uuid)));
    const pxinfo_sync_job_id_pair_t before = pair;
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_str_to_sync_job_id_pair("job-7", &pair));
    EXPECT_EQ(0, std::memcmp(&before, &pair, sizeof pair));
    EXPECT_EQ(
        "[8 ] using job_uuid: 0123abcd-4567-89ef-abcd-0123456789ff.\n[8 ] using local_jobid: 42.\n"
        "[4 pxinfo] Cannot interpret the string \"job-7\" as a synchronization manager job identifier.  Ignoring it.\n",
        messages.dump());
    unsigned int local = 5;
    EXPECT_EQ(std::make_pair(TBS_ST_OK, 16u), std::make_pair(pxinfo_str_to_sync_job_id("0x10", local), local));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_str_to_sync_job_id("", local));
    char text[PXINFO_JOB_ID_STR_SIZE];
    EXPECT_EQ(TBS_ST_OK, pxinfo_sync_job_id_to_str(4294967295u, text));
    EXPECT_STREQ("4294967295", text);
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_sync_job_id_to_str(0, nullptr));
}

}  // namespace
