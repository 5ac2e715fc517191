// Selectors: construction, text forms, field readers, the total order,
// equality and hashes.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "pfm.h"
#include "pxinfo_utl_jobid.h"
#include "pxinfo_utl_selector.h"
#include "pxinfo_utl_selector_internal.h"
#include "tbs.h"
#include "tbs_uuid.h"
#include "test_support.h"

namespace {

tbs_uuid_t oid(unsigned char first, unsigned char last = 0) {
    tbs_uuid_t value = TBS_UUID_NULL;
    value.bytes[0] = first;
    value.bytes[15] = last;
    return value;
}

std::string oid_text(const tbs_uuid_t &value) {
    char text[TBS_UUID_STR_SIZE];
    return tbs_oid_to_str(&value, text);
}

pxinfo_selector_t vault(const tbs_uuid_t &vault_oid, const tbs_uuid_t &replica_oid) {
    pxinfo_selector_t selector;
    EXPECT_EQ(TBS_ST_OK, pxinfo_new_vault_selector(&replica_oid, &vault_oid, &selector));
    return selector;
}

pxinfo_selector_t bb(const char *family, const char *clan, const char *replica_set, const char *uuid = "u-1") {
    pxinfo_selector_t selector;
    EXPECT_EQ(TBS_ST_OK, pxinfo_new_bb_selector(family, clan, replica_set, uuid, &selector));
    return selector;
}

// A selector whose type is 7: no kind, so no name.
pxinfo_selector_t typeless() {
    pxinfo_selector_t selector = bb("f", "c", "r");
    selector.type = static_cast<pxinfo_component_type_t>(7);
    return selector;
}

// Runs text with the internal-error count watched; returns how many were logged.
template <typename Op>
unsigned long internal_errors(Op op) {
    unsigned long before = tbs_int_error_count();
    op();
    return tbs_int_error_count() - before;
}

// ---- Construction -----------------------------------------------------------

TEST(SelectorConstruction, VaultTakesTheReplicaFirstAndBbChecksBeforeSettingType) {
    tbs_uuid_t v = oid(1), r = oid(2);
    pxinfo_selector_t selector = vault(v, r);
    EXPECT_EQ(PXINFO_COMPONENT_VAULT, selector.type);
    EXPECT_TRUE(tbs_oid_eq(&v, &selector.u.vault.vault_oid));
    EXPECT_TRUE(tbs_oid_eq(&r, &selector.u.vault.replica_oid));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_new_vault_selector(nullptr, &v, &selector));

    pxtest::CapturedMessages messages;
    pxinfo_selector_t target = typeless();
    // An empty text is refused before anything is written.
    EXPECT_EQ(1u, internal_errors(
                      [&] { EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_new_bb_selector("f", "c", "r", "", &target)); }));
    EXPECT_EQ(7, target.type);
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_new_bb_selector("f", nullptr, "r", "u", &target));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_new_bb_selector("f", "c", "r", "u", nullptr));
    // A text that does not fit fails after the type is set.
    std::string long_family(300, 'f');
    EXPECT_EQ(1u, internal_errors([&] {
                  EXPECT_EQ(TBS_ST_FAILED, pxinfo_new_bb_selector(long_family.c_str(), "c", "r", "u", &target));
              }));
    EXPECT_EQ(PXINFO_COMPONENT_BB, target.type);
    EXPECT_EQ(TBS_ST_OK,
              pxinfo_new_bb_selector(std::string(255, 'f').c_str(), "c", "r", std::string(50, 'u').c_str(), &target));
    EXPECT_EQ(TBS_ST_FAILED, pxinfo_new_bb_selector("f", "c", "r", std::string(51, 'u').c_str(), &target));
    EXPECT_NE(std::string::npos, messages.dump().find("Internal error in pxinfo_new_bb_selector.\n"));
}

TEST(SelectorConstruction, ReplicaSetSelectorsAndTheirExtraction) {
    pxinfo_replica_set_selector_t set;
    EXPECT_EQ(TBS_ST_OK, pxinfo_new_replica_set_selector("clan", "set", "uuid", &set));
    char text[PXINFO_SELECTOR_STR_SIZE];
    EXPECT_STREQ("clan.set", pxinfo_replica_set_selector_to_str(&set, text));
    pxtest::CapturedMessages messages;
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_new_replica_set_selector("clan", "", "uuid", &set));
    EXPECT_EQ(TBS_ST_FAILED, pxinfo_new_replica_set_selector("clan", std::string(256, 's').c_str(), "u", &set));
    // The catalog's "too long" message is not printed: only the internal error.
    EXPECT_EQ(std::string::npos, messages.dump().find("too long"));

    pxinfo_selector_t selector = bb("fam", "cl", "rs", "uu");
    pxinfo_replica_set_selector_t extracted;
    ASSERT_EQ(TBS_ST_OK, pxinfo_selector_get_replica_set(&selector, &extracted));
    EXPECT_STREQ("cl", extracted.clan);
    EXPECT_STREQ("rs", extracted.replica_set);
    EXPECT_STREQ("uu", extracted.replica_set_uuid);
    std::memset(selector.u.bb.replica_set_uuid, 'u', sizeof selector.u.bb.replica_set_uuid);
    EXPECT_EQ(TBS_ST_FAILED, pxinfo_selector_get_replica_set(&selector, &extracted));
}

TEST(SelectorInspection, NullTypeAndNullify) {
    pxinfo_selector_t selector = typeless();
    EXPECT_FALSE(pxinfo_selector_is_null(&selector));   // type 7 is not null...
    EXPECT_EQ(0, pxinfo_get_selector_type(&selector));  // ...but has no type
    EXPECT_TRUE(pxinfo_selector_is_null(nullptr));
    EXPECT_EQ(0, pxinfo_get_selector_type(nullptr));
    selector = bb("f", "c", "r");
    EXPECT_EQ(PXINFO_COMPONENT_BB, pxinfo_get_selector_type(&selector));
    pxinfo_selector_nullify(&selector);
    EXPECT_TRUE(pxinfo_selector_is_null(&selector));
    pxinfo_selector_t zero = {};
    EXPECT_EQ(0, std::memcmp(&zero, &selector, sizeof selector));
    pxinfo_selector_nullify(nullptr);  // only traced
}

// ---- Text forms -------------------------------------------------------------

TEST(SelectorText, VaultAndBbForms) {
    tbs_uuid_t v = oid(0xaa, 1), r = oid(0xbb, 2);
    pxinfo_selector_t selector = vault(v, r);
    char text[PXINFO_SELECTOR_STR_SIZE];
    EXPECT_EQ(oid_text(v) + "." + oid_text(r), pxinfo_selector_to_str(&selector, text));
    EXPECT_EQ(oid_text(r), pxinfo_selector_to_replica_str(&selector, text));
    EXPECT_EQ(oid_text(v), pxinfo_selector_to_family_str(&selector, text));
    EXPECT_EQ("oid:" + oid_text(v), pxinfo_selector_to_family_dstr(&selector, text));
    EXPECT_EQ(oid_text(v), pxinfo_selector_to_family_str_int(&selector, 0, text));

    selector = bb("f", "c", "r", "the-uuid");
    EXPECT_STREQ("f.c.r", pxinfo_selector_to_str(&selector, text));
    EXPECT_STREQ("r", pxinfo_selector_to_replica_str(&selector, text));
    EXPECT_STREQ("f.c", pxinfo_selector_to_family_str(&selector, text));
    EXPECT_STREQ("f.c", pxinfo_selector_to_family_dstr(&selector, text));

    // The longest names make the longest text, which still fits.
    std::string name(255, 'n');
    selector = bb(name.c_str(), name.c_str(), name.c_str());
    ASSERT_NE(nullptr, pxinfo_selector_to_str(&selector, text));
    EXPECT_EQ(767u, std::strlen(text));
}

TEST(SelectorFields, BbReadersCopyOneFieldAndRefuseOtherSelectors) {
    pxinfo_selector_t selector = bb("fam", "cl", "rs", "uu");
    char family[256], clan[256], replica_set[256], uuid[51];
    EXPECT_EQ(TBS_ST_OK, pxinfo_selector_to_bb_strs(&selector, family, clan, replica_set, uuid));
    EXPECT_STREQ("fam", family);
    EXPECT_STREQ("cl", clan);
    EXPECT_STREQ("rs", replica_set);
    EXPECT_STREQ("uu", uuid);

    pxtest::CapturedMessages messages;
    pxinfo_selector_t vault_selector = vault(oid(1), oid(2));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_selector_to_bb_family_str(&vault_selector, family));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_selector_to_bb_clan_str(nullptr, clan));
    ASSERT_EQ(2u, messages.with_severity(6).size());
    EXPECT_EQ("Internal error in pxinfo_selector_to_bb_family_str.\n", messages.with_severity(6)[0].text);
    EXPECT_EQ("pxinfo", messages.with_severity(6)[0].component);

    // A uuid of 51 characters does not fit the 51-byte buffer; the readers
    // before it have done their work.
    std::memset(selector.u.bb.replica_set_uuid, 'u', 51);
    selector.u.bb.replica_set_uuid[51] = '\0';
    std::strcpy(family, "old");
    std::strcpy(replica_set, "old");
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_selector_to_bb_strs(&selector, family, clan, replica_set, uuid));
    EXPECT_STREQ("fam", family);
    EXPECT_STREQ("rs", replica_set);
    // Stopping at the first failure: a vault selector fails at the family.
    std::strcpy(clan, "untouched");
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_selector_to_bb_strs(&vault_selector, family, clan, replica_set, uuid));
    EXPECT_STREQ("untouched", clan);
}

// ---- Order and equality -----------------------------------------------------

TEST(SelectorOrder, SpecificCases) {
    pxtest::CapturedMessages messages;
    pxinfo_selector_t v = vault(oid(9), oid(9));
    pxinfo_selector_t b = bb("a", "a", "a");
    EXPECT_EQ(-1, pxinfo_selector_family_cmp(&v, &b));
    EXPECT_EQ(1, pxinfo_selector_family_cmp(&b, &v));
    EXPECT_EQ(-1, pxinfo_selector_cmp(&v, &b));
    EXPECT_EQ(1u, internal_errors([&] { EXPECT_EQ(PXINFO_CMP_INVALID, pxinfo_selector_replica_cmp(&v, &b)); }));
    EXPECT_EQ(PXINFO_CMP_INVALID, trusted_pxinfo_selector_replica_cmp(&v, &b, 1));

    // Clan is the major key, family the minor one.
    pxinfo_selector_t family_b_clan_a = bb("b", "a", "r");
    pxinfo_selector_t family_a_clan_b = bb("a", "b", "r");
    EXPECT_EQ(-1, pxinfo_selector_cmp(&family_b_clan_a, &family_a_clan_b));
    EXPECT_EQ(-1, pxinfo_selector_family_cmp(&family_b_clan_a, &family_a_clan_b));

    // Different replica set uuids: different selectors with the same texts.
    pxinfo_selector_t first = bb("f", "c", "r", "uuid-1");
    pxinfo_selector_t second = bb("f", "c", "r", "uuid-2");
    EXPECT_EQ(-1, pxinfo_selector_cmp(&first, &second));
    EXPECT_FALSE(pxinfo_selector_eq(&first, &second));
    char text1[PXINFO_SELECTOR_STR_SIZE], text2[PXINFO_SELECTOR_STR_SIZE];
    EXPECT_STREQ(pxinfo_selector_to_str(&first, text1), pxinfo_selector_to_str(&second, text2));

    // Two null selectors cannot be compared.
    pxinfo_selector_t null1 = {}, null2 = {};
    EXPECT_EQ(PXINFO_CMP_INVALID, pxinfo_selector_cmp(&null1, &null2));
    EXPECT_FALSE(pxinfo_selector_eq(&null1, &null2));
    EXPECT_EQ(PXINFO_CMP_INVALID, pxinfo_selector_cmp(&v, nullptr));

    // Replicas of two families: no order.
    pxinfo_selector_t other_family = vault(oid(8), oid(9));
    EXPECT_EQ(PXINFO_CMP_INVALID, pxinfo_selector_replica_cmp(&v, &other_family));
    EXPECT_EQ(1, pxinfo_selector_cmp(&v, &other_family));
}

// A stable insertion sort that tolerates a broken comparison (std::sort does not).
std::vector<pxinfo_selector_t> sorted(std::vector<pxinfo_selector_t> items) {
    for (size_t i = 1; i < items.size(); ++i)
        for (size_t j = i; j > 0 && pxinfo_selector_cmp(&items[j], &items[j - 1]) < 0; --j)
            std::swap(items[j], items[j - 1]);
    return items;
}

std::vector<pxinfo_selector_t> generated_selectors() {
    std::vector<pxinfo_selector_t> selectors;
    // Vault selectors whose oids differ in one byte, at either end.
    for (unsigned char v : {0x00, 0x01, 0x7f, 0x80}) {
        for (unsigned char r : {0x00, 0x01, 0x7f, 0x80, 0xff}) {
            selectors.push_back(vault(oid(v, 1), oid(1, r)));
            selectors.push_back(vault(oid(v, 2), oid(r, 1)));
        }
    }
    // bb names that differ in whitespace, case and prefixes.
    const char *names[] = {"alpha", "al pha", "Alpha", "alp", " alpha\t", "alphabet", "beta"};
    const char *uuids[] = {"u1", "u 1", "u2"};
    unsigned n = 0;
    for (const char *clan : names)
        for (const char *family : names)
            for (const char *replica_set : names)
                if ((n++ % 2) == 0) selectors.push_back(bb(family, clan, replica_set, uuids[n % 3]));
    return selectors;
}

TEST(SelectorOrder, IsATotalOrderThatEqualityAndHashesAgreeWith) {
    std::vector<pxinfo_selector_t> items = sorted(generated_selectors());
    ASSERT_GE(items.size(), 100u);
    // Runs of neighbours that compare equal: a total order puts equal
    // selectors side by side and orders every pair as its runs are ordered.
    std::vector<size_t> run(items.size(), 0);
    for (size_t i = 1; i < items.size(); ++i)
        run[i] = run[i - 1] + (pxinfo_selector_cmp(&items[i - 1], &items[i]) == 0 ? 0 : 1);
    ASSERT_GT(run.back(), 50u);
    ASSERT_LT(run.back() + 1, items.size());  // some selectors are equal to others
    for (size_t i = 0; i < items.size(); ++i) {
        for (size_t j = 0; j < items.size(); ++j) {
            int order = pxinfo_selector_cmp(&items[i], &items[j]);
            int expected = run[i] < run[j] ? -1 : run[i] > run[j] ? 1 : 0;
            ASSERT_EQ(expected, order) << i << " " << j;
            ASSERT_EQ(order == 0, pxinfo_selector_eq(&items[i], &items[j]) != 0);
            ASSERT_EQ(-order, pxinfo_selector_cmp(&items[j], &items[i]));
            // Equal selectors hash equal when their hashed names are written
            // alike (the hashes read bytes; the order disregards whitespace).
            if (order == 0 && items[i].type == PXINFO_COMPONENT_VAULT) {
                EXPECT_EQ(pxinfo_selector_to_replica_hash(&items[i]), pxinfo_selector_to_replica_hash(&items[j]));
                EXPECT_EQ(pxinfo_selector_to_family_hash(&items[i]), pxinfo_selector_to_family_hash(&items[j]));
            }
            if (order == 0 && items[i].type == PXINFO_COMPONENT_BB) {
                if (std::strcmp(items[i].u.bb.replica_set, items[j].u.bb.replica_set) == 0) {
                    EXPECT_EQ(pxinfo_selector_to_replica_hash(&items[i]), pxinfo_selector_to_replica_hash(&items[j]));
                }
                if (std::strcmp(items[i].u.bb.family, items[j].u.bb.family) == 0) {
                    EXPECT_EQ(pxinfo_selector_to_family_hash(&items[i]), pxinfo_selector_to_family_hash(&items[j]));
                }
            }
        }
    }
    EXPECT_EQ(PXINFO_COMPONENT_VAULT, items.front().type);
    EXPECT_EQ(PXINFO_COMPONENT_BB, items.back().type);
}

// ---- Hashes -----------------------------------------------------------------

TEST(SelectorHash, SignedBytesOfTheFirstFourCharacters) {
    pxinfo_selector_t selector = bb("family", "clan", "ab");
    EXPECT_EQ(0x6261u, pxinfo_selector_to_replica_hash(&selector));
    selector = bb("f", "c", "\xE9");
    EXPECT_EQ(static_cast<uint32_t>(-23), pxinfo_selector_to_replica_hash(&selector));
    selector = bb("f", "c", "a\xE9");
    EXPECT_EQ(0x61u + (static_cast<uint32_t>(-23) << 8), pxinfo_selector_to_replica_hash(&selector));
    pxinfo_selector_t abcdef = bb("f", "c", "abcdef"), abcdxy = bb("f", "c", "abcdxy");
    EXPECT_EQ(0x64636261u, pxinfo_selector_to_replica_hash(&abcdef));
    EXPECT_EQ(pxinfo_selector_to_replica_hash(&abcdef), pxinfo_selector_to_replica_hash(&abcdxy));
    selector.u.bb.replica_set[0] = '\0';
    EXPECT_EQ(0u, pxinfo_selector_to_replica_hash(&selector));
    // The family hash reads the family, not the clan.
    selector = bb("ab", "zz", "r");
    EXPECT_EQ(0x6261u, pxinfo_selector_to_family_hash(&selector));
    // The order disregards whitespace, the hashes read bytes: these two are
    // equal selectors with different hashes.
    pxinfo_selector_t spaced = bb("f", "c", "a b"), tight = bb("f", "c", "ab");
    EXPECT_EQ(1, pxinfo_selector_eq(&spaced, &tight));
    EXPECT_EQ(0x622061u, pxinfo_selector_to_replica_hash(&spaced));
    EXPECT_EQ(0x6261u, pxinfo_selector_to_replica_hash(&tight));

    tbs_uuid_t v = oid(3), r = oid(4);
    selector = vault(v, r);
    EXPECT_EQ(tbs_oid_to_hash32(&r), pxinfo_selector_to_replica_hash(&selector));
    EXPECT_EQ(tbs_oid_to_hash32(&v), pxinfo_selector_to_family_hash(&selector));

    pxtest::CapturedMessages messages;
    pxinfo_selector_t seven = typeless();
    EXPECT_EQ(2u, internal_errors([&] {
                  EXPECT_EQ(0u, pxinfo_selector_to_replica_hash(&seven));
                  EXPECT_EQ(0u, pxinfo_selector_to_family_hash(nullptr));
              }));
}

// ---- Sync job identifiers --------------------------------------------------

TEST(SyncJobId, TextsReadAsUuidFirstThenAsLocalIdAndBack) {
    pxtest::CapturedMessages messages(4, "pxinfo");
    pxinfo_sync_job_id_pair_t pair;
    ASSERT_EQ(TBS_ST_OK, pxinfo_str_to_sync_job_id_pair("0123ABCD-4567-89ef-abcd-0123456789ff", &pair));
    EXPECT_EQ(PXINFO_JOB_ID_UUID, pair.validity);
    EXPECT_EQ(0u, pair.local_jobid);
    EXPECT_EQ(0xcd, pair.job_uuid.bytes[3]);
    ASSERT_EQ(TBS_ST_OK, pxinfo_str_to_sync_job_id_pair("42", &pair));
    EXPECT_EQ(PXINFO_JOB_ID_LOCAL, pair.validity);
    EXPECT_EQ(42u, pair.local_jobid);
    EXPECT_TRUE(tbs_uuid_eq(&TBS_UUID_NULL, &pair.job_uuid));
    ASSERT_EQ(2u, messages.lines().size());
    EXPECT_EQ("using job_uuid: 0123abcd-4567-89ef-abcd-0123456789ff.\n", messages.lines()[0].text);
    EXPECT_EQ("using local_jobid: 42.\n", messages.lines()[1].text);

    messages.clear();
    pxinfo_sync_job_id_pair_t before = pair;
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_str_to_sync_job_id_pair("job-7", &pair));
    EXPECT_EQ(0, std::memcmp(&before, &pair, sizeof pair));
    ASSERT_EQ(1u, messages.lines().size());
    EXPECT_EQ(4, messages.lines()[0].severity);
    EXPECT_EQ(
        "Cannot interpret the string \"job-7\" as a synchronization manager job identifier.  "
        "Ignoring it.\n",
        messages.lines()[0].text);

    unsigned int local = 5;
    EXPECT_EQ(TBS_ST_OK, pxinfo_str_to_sync_job_id("0x10", local));
    EXPECT_EQ(16u, local);
    EXPECT_EQ(TBS_ST_OK, pxinfo_str_to_sync_job_id("-1", local));
    EXPECT_EQ(4294967295u, local);
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_str_to_sync_job_id("", local));
    EXPECT_EQ(4294967295u, local);

    char text[PXINFO_JOB_ID_STR_SIZE];
    EXPECT_EQ(TBS_ST_OK, pxinfo_sync_job_id_to_str(4294967295u, text));
    EXPECT_STREQ("4294967295", text);
    EXPECT_EQ(TBS_ST_OK, pxinfo_sync_job_id_to_str(0, text));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_sync_job_id_to_str(0, nullptr));
    EXPECT_STREQ("0", text);
}

TEST(SelectorText, SelectorsWithoutANameGiveNoText) {
    char text[PXINFO_SELECTOR_STR_SIZE];
    pxinfo_selector_t nulled = bb("f", "c", "r");
    pxinfo_selector_nullify(&nulled);
    pxinfo_selector_t seven = typeless();
    // Names that fill their whole field have no terminator: a text longer
    // than the 768-byte buffer would need.
    pxinfo_selector_t unterminated = bb("f", "c", "r");
    std::memset(unterminated.u.bb.family, 'f', sizeof unterminated.u.bb.family);
    std::memset(unterminated.u.bb.clan, 'c', sizeof unterminated.u.bb.clan);
    std::memset(unterminated.u.bb.replica_set, 'r', sizeof unterminated.u.bb.replica_set);

    pxtest::CapturedMessages messages;
    for (const pxinfo_selector_t *selector : {&nulled, &seven, &unterminated}) {
        EXPECT_EQ(4u, internal_errors([&] {
                      EXPECT_EQ(nullptr, pxinfo_selector_to_str(selector, text));
                      EXPECT_EQ(nullptr, pxinfo_selector_to_replica_str(selector, text));
                      EXPECT_EQ(nullptr, pxinfo_selector_to_family_str(selector, text));
                      EXPECT_EQ(nullptr, pxinfo_selector_to_family_dstr(selector, text));
                  }));
    }
    EXPECT_EQ(nullptr, pxinfo_selector_to_str(nullptr, text));
    EXPECT_NE(std::string::npos, messages.dump().find("Internal error in pxinfo_selector_to_str.\n"));
    EXPECT_NE(std::string::npos, messages.dump().find("Internal error in pxinfo_selector_to_family_str_int.\n"));
}

TEST(SelectorOrder, ReplicaSetSelectorsOrderAsDummyFamilyBbSelectors) {
    pxinfo_replica_set_selector_t a, b;
    ASSERT_EQ(TBS_ST_OK, pxinfo_new_replica_set_selector("clan", "set-a", "u", &a));
    ASSERT_EQ(TBS_ST_OK, pxinfo_new_replica_set_selector("clan", "set-b", "u", &b));
    EXPECT_EQ(-1, pxinfo_replica_set_selector_cmp(&a, &b));
    EXPECT_EQ(1, pxinfo_replica_set_selector_cmp(&b, &a));
    EXPECT_TRUE(pxinfo_replica_set_selector_eq(&a, &a));
    EXPECT_FALSE(pxinfo_replica_set_selector_eq(&a, &b));

    // An operand that cannot become a selector fails the assertion naming it
    // and then compares as nothing.
    pxtest::CapturedMessages messages;
    a.clan[0] = '\0';
    unsigned long asserts = pfm_assert_fail_count();
    EXPECT_EQ(PXINFO_CMP_INVALID, pxinfo_replica_set_selector_cmp(&a, &b));
    EXPECT_EQ(asserts + 1, pfm_assert_fail_count());
    EXPECT_NE(std::string::npos,
              messages.dump().find("pxinfo_new_bb_selector(PXINFO_DUMMY_FAMILY, loc_set1_p->clan, "
                                   "loc_set1_p->replica_set, loc_set1_p->replica_set_uuid, &rep1) == TBS_ST_OK"));
}

}  // namespace
