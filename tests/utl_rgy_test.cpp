// Oids of vault selectors and the registry search for local replicas, with
// the registry service and host check behind it.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <tuple>

#include "fileutl.h"
#include "pxinfo_utl_rgy.h"
#include "rgy.h"
#include "tbs.h"
#include "tbs_uuid.h"
#include "test_support.h"

namespace {

const std::string kReplica = "0a1b2c3d-0000-4000-8000-00000000a001", kVault = "0a1b2c3d-0000-4000-8000-00000000f001";

tbs_uuid_t uuid_of(const std::string &text) {
    tbs_uuid_t uuid;
    EXPECT_EQ(TBS_ST_OK, tbs_str_to_uuid(text.c_str(), &uuid)) << text;
    return uuid;
}

pxinfo_selector_t selector(int type = PXINFO_COMPONENT_VAULT) {
    pxinfo_selector_t s{};
    s.type = static_cast<pxinfo_component_type_t>(type);
    s.u.vault.vault_oid = uuid_of(kVault);
    s.u.vault.replica_oid = uuid_of(kReplica);
    return s;
}

std::string own_host_name() {
    char name[HOST_NAME_MAX + 1] = {};
    EXPECT_EQ(0, gethostname(name, sizeof name - 1));
    return name;
}

std::string entry_host(const rgy_entry_t *entry) {
    const char *host = nullptr;
    return entry && rgy_getstring_from_entry_const(entry, RGY_ATTR_HOST, &host) == TBS_ST_OK ? host : "";
}

// Vault selectors give their oids; others, and none, an internal error and nothing written.
TEST(OidReaders, VaultSelectorsGiveTheirOidsOthersAnInternalError) {
    const pxinfo_selector_t vault = selector(), bb = selector(PXINFO_COMPONENT_BB), seven = selector(7);
    tbs_oid_t replica{}, family{}, single{};
    ASSERT_EQ(TBS_ST_OK, pxinfo_selector_to_oids(&vault, &replica, &family));
    ASSERT_EQ(TBS_ST_OK, pxinfo_selector_to_vault_oid(&vault, &single));
    EXPECT_TRUE(tbs_oid_eq(&replica, &vault.u.vault.replica_oid) && tbs_oid_eq(&family, &vault.u.vault.vault_oid) &&
                tbs_oid_eq(&single, &family));
    pxtest::CapturedMessages messages;
    tbs_oid_t oid = TBS_UUID_NULL;
    replica = TBS_UUID_NULL;
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_selector_to_vault_oid(&seven, &oid));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_selector_to_replica_oid(nullptr, &oid));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_selector_to_oids(&bb, &oid, &replica));  // stops at the replica oid
    EXPECT_TRUE(tbs_oid_eq(&oid, &TBS_UUID_NULL) && tbs_oid_eq(&replica, &TBS_UUID_NULL));
    const std::string replica_error = "[6 pxinfo] Internal error in pxinfo_selector_to_replica_oid.\n";
    EXPECT_EQ("[6 pxinfo] Internal error in pxinfo_selector_to_vault_oid.\n" + replica_error + replica_error,
              messages.dump());
}

// Each test starts with an empty registry: no registry file and no test entries.
class Registry : public ::testing::Test {
  protected:
    void SetUp() override {
        config_dir_ = pxtest::temp_path("config-" + std::to_string(counter_++));
        ASSERT_EQ(0, mkdir(config_dir_.c_str(), 0700));
        ASSERT_EQ(0, mkdir((config_dir_ + "/services").c_str(), 0700));
        setenv("PXINFO_CONFIG_DIR", config_dir_.c_str(), 1);
        rgy_test_clear_entries();
        live_before_ = stg_live_block_count();
    }
    void TearDown() override {
        rgy_test_fail_call(0, TBS_ST_OK);
        rgy_test_clear_entries();
        unsetenv("PXINFO_CONFIG_DIR");
        EXPECT_EQ(live_before_, stg_live_block_count()) << "registry blocks leaked";
    }
    void add(const std::string &uuid_text, int indicator, const std::string &host) {
        const tbs_uuid_t uuid = uuid_of(uuid_text);
        ASSERT_EQ(TBS_ST_OK, rgy_test_add_entry(&uuid, indicator, host.c_str()));
    }
    // "status is_local host-of-entry-handed-over", with the entry released.
    std::string local(const pxinfo_selector_t &s, bool want_entry = true) {
        int is_local = -1;
        rgy_entry_t *entry = reinterpret_cast<rgy_entry_t *>(&is_local);  // must be set
        const tbs_status_t status = pxinfo_is_local_vault_replica(&s, &is_local, want_entry ? &entry : nullptr);
        if (want_entry && entry == reinterpret_cast<rgy_entry_t *>(&is_local)) { return "entry left unset"; }
        const std::string host = want_entry ? entry_host(entry) : "";
        if (want_entry && entry != nullptr) { rgy_delete_entry(&entry); }
        return std::to_string(status) + " " + std::to_string(is_local) + " " + host;
    }
    static inline int counter_ = 0;
    std::string config_dir_;
    unsigned long live_before_ = 0;
};

// Every entry of the replica is visited: one active entry on this host makes
// it local (a later remote one does not undo that), and then the last entry
// visited is handed over; a remote replica hands none over.
TEST_F(Registry, AnActiveEntryOnThisHostMakesTheReplicaLocal) {
    const std::string own = own_host_name();
    const struct {
        std::vector<std::tuple<std::string, int, std::string>> entries;
        std::string outcome;
    } cases[] = {{{{kReplica, 1, "far-away.invalid"}, {kReplica, 1, own}, {kVault, 1, "other.invalid"}}, "0 1 " + own},
                 {{{kReplica, 1, "localhost"}, {kReplica, 1, "far-away.invalid"}}, "0 1 far-away.invalid"},
                 {{{kReplica, 0, own}, {kReplica, 1, "far-away.invalid"}}, "0 0 "},
                 {{{kVault, 1, own}}, "0 0 "}};
    for (const auto &c : cases) {
        rgy_test_clear_entries();
        for (const auto &e : c.entries) { add(std::get<0>(e), std::get<1>(e), std::get<2>(e)); }
        pxtest::CapturedMessages messages(4, "pxinfo");
        EXPECT_EQ(c.outcome, local(selector())) << c.outcome;
        EXPECT_NE(std::string::npos,
                  messages.dump().find("check rgy for replica: " + kReplica + " in family: " + kVault + "\n"));
        EXPECT_EQ(c.outcome.substr(0, 4), local(selector(), false))
            << "without a place for the entry, it is released here";
    }
    pxtest::CapturedMessages messages(1, "pxinfo");
    EXPECT_EQ("1072 0 ", local(selector(PXINFO_COMPONENT_BB)));
    EXPECT_NE(std::string::npos,
              messages.dump().find("[6 pxinfo] Internal error in pxinfo_selector_to_replica_oid.\n"));
    EXPECT_NE(std::string::npos, messages.dump().find("operation 'pxinfo_selector_to_replica_oid' failed: " +
                                                      std::string(tbs_strerror(TBS_ST_INVALID_ARG)) + ".\n"));
}

// Calls: find, read host, find, read host, find (end). A failing call's
// status is passed on with what the entries examined so far gave, and
// nothing is kept (exhausted storage in the registry takes the same path).
TEST_F(Registry, RegistryFailuresArePassedOnAndReleaseEverything) {
    add(kReplica, RGY_IND_ACTIVE, "localhost");
    add(kReplica, RGY_IND_ACTIVE, "far-away.invalid");
    const std::pair<int, const char *> calls[] = {{0, "rgy_findbyuuid_entry"},
                                                  {0, "rgy_getstring_from_entry_const"},
                                                  {1, "rgy_findbyuuid_entry"},
                                                  {1, "rgy_getstring_from_entry_const"}};
    for (unsigned long call = 1; call <= 4; ++call) {
        pxtest::CapturedMessages messages(1, "pxinfo");
        rgy_test_fail_call(call, 0x4711);
        EXPECT_EQ("18193 " + std::to_string(calls[call - 1].first) + " ", local(selector())) << call;
        EXPECT_NE(std::string::npos,
                  messages.dump().find(std::string("operation '") + calls[call - 1].second + "' failed"));
        EXPECT_EQ(live_before_, stg_live_block_count()) << call;
    }
}

TEST_F(Registry, FileEntriesComeBeforeTestEntriesAndADamagedFileFailsTheSearch) {
    std::string upper_replica = kReplica;
    for (char &c : upper_replica) { c = static_cast<char>(std::toupper(static_cast<unsigned char>(c))); }
    const std::string file = "# replicas of this site\n\n" + kReplica + " 1 first.invalid\n  " + kVault +
                             "\t1\tvault.invalid\n" + upper_replica + " 0 retired.invalid\n";
    const std::string damaged[] = {"not-a-uuid 1 host\n", kReplica + " a host\n", kReplica + " 1\n"};
    add(kReplica, RGY_IND_ACTIVE, "added.invalid");
    const tbs_uuid_t key = uuid_of(kReplica);
    for (const std::string &text : {file, damaged[0], damaged[1], damaged[2]}) {
        pxtest::write_file(config_dir_ + "/" + RGY_FILE_NAME, std::vector<unsigned char>(text.begin(), text.end()));
        rgy_cursor_t *cursor = nullptr;
        rgy_entry_t *entry = nullptr;
        std::string found;
        tbs_status_t status;
        int indicator = -1;
        while ((status = rgy_findbyuuid_entry(RGY_CLASS_REPLICA, 0, RGY_KEY_UUID, 16, &key, &cursor, RGY_FETCH_ENTRY,
                                              &entry, &indicator)) == TBS_ST_OK &&
               cursor != nullptr) {
            found += std::to_string(indicator) + " " + entry_host(entry) + "|";
        }
        EXPECT_EQ(text == file ? "1 first.invalid|0 retired.invalid|1 added.invalid|" : "", found) << text;
        EXPECT_EQ(text == file ? TBS_ST_OK : TBS_ST_FAILED, status) << text;
        EXPECT_TRUE(text == file || (cursor == nullptr && entry == nullptr));
        const char *uuid_text = "";
        EXPECT_EQ(text == file ? TBS_ST_NOT_FOUND : TBS_ST_INVALID_ARG,
                  rgy_getstring_from_entry_const(entry, 2, &uuid_text));
        rgy_getstring_from_entry_const(entry, RGY_ATTR_UUID, &uuid_text);
        EXPECT_EQ(text == file ? kReplica : "", uuid_text);
        rgy_delete_entry(&entry);
    }
}

TEST(LocalHost, RecognisesThisHostInAnyCaseAndByItsFirstLabel) {
    const std::string own = own_host_name(), short_name = own.substr(0, own.find('.'));
    std::string upper = own;
    for (char &c : upper) { c = static_cast<char>(std::toupper(static_cast<unsigned char>(c))); }
    std::vector<int> seen;
    for (const std::string &host : {own, upper, std::string("LocalHost"), short_name, short_name + ".some.domain",
                                    own + "x", std::string("far-away.invalid"), std::string()}) {
        seen.push_back(fileutl_is_localhost(host.c_str()));
    }
    seen.push_back(fileutl_is_localhost(nullptr));
    EXPECT_EQ((std::vector<int>{1, 1, 1, 1, own == short_name, 0, 0, 0, 0}), seen);
}

}  // namespace
