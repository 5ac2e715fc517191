// Oids of vault selectors and the registry search for local replicas, with
// the registry service and host check behind it.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>

#include "fileutl.h"
#include "pxinfo_utl_rgy.h"
#include "rgy.h"
#include "tbs.h"
#include "tbs_uuid.h"
#include "test_support.h"

namespace {

constexpr const char kReplicaText[] = "0a1b2c3d-0000-4000-8000-00000000a001";
constexpr const char kVaultText[] = "0a1b2c3d-0000-4000-8000-00000000f001";

tbs_uuid_t uuid_of(const char *text) {
    tbs_uuid_t uuid;
    EXPECT_EQ(TBS_ST_OK, tbs_str_to_uuid(text, &uuid)) << text;
    return uuid;
}

pxinfo_selector_t vault_selector() {
    pxinfo_selector_t selector{};
    selector.type = PXINFO_COMPONENT_VAULT;
    selector.u.vault.vault_oid = uuid_of(kVaultText);
    selector.u.vault.replica_oid = uuid_of(kReplicaText);
    return selector;
}

pxinfo_selector_t bb_selector() {
    pxinfo_selector_t selector{};
    selector.type = PXINFO_COMPONENT_BB;
    std::strcpy(selector.u.bb.family, "fam");
    return selector;
}

std::string own_host_name() {
    char name[HOST_NAME_MAX + 1] = {};
    EXPECT_EQ(0, gethostname(name, sizeof name - 1));
    return name;
}

std::string upper(std::string text) {
    for (char &c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

std::string entry_host(const rgy_entry_t *entry) {
    const char *host = nullptr;
    EXPECT_EQ(TBS_ST_OK, rgy_getstring_from_entry_const(entry, RGY_ATTR_HOST, &host));
    return host != nullptr ? host : "";
}

bool printed(const pxtest::CapturedMessages &messages, int severity, const std::string &fragment) {
    for (const pxtest::PrintedLine &line : messages.with_severity(severity))
        if (line.text.find(fragment) != std::string::npos) return true;
    return false;
}

// Each test starts with an empty registry: no registry file and no test
// entries.
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
    void add(const char *uuid_text, int indicator, const std::string &host) {
        const tbs_uuid_t uuid = uuid_of(uuid_text);
        ASSERT_EQ(TBS_ST_OK, rgy_test_add_entry(&uuid, indicator, host.c_str()));
    }
    void write_registry(const std::string &text) {
        pxtest::write_file(config_dir_ + "/" + RGY_FILE_NAME, std::vector<unsigned char>(text.begin(), text.end()));
    }

    static inline int counter_ = 0;
    std::string config_dir_;
    unsigned long live_before_ = 0;
};

TEST(OidReaders, VaultSelectorGivesItsOids) {
    const pxinfo_selector_t selector = vault_selector();
    tbs_oid_t replica{}, vault{};
    ASSERT_EQ(TBS_ST_OK, pxinfo_selector_to_oids(&selector, &replica, &vault));
    EXPECT_TRUE(tbs_oid_eq(&replica, &selector.u.vault.replica_oid));
    EXPECT_TRUE(tbs_oid_eq(&vault, &selector.u.vault.vault_oid));
    tbs_oid_t single{};
    ASSERT_EQ(TBS_ST_OK, pxinfo_selector_to_vault_oid(&selector, &single));
    EXPECT_TRUE(tbs_oid_eq(&single, &vault));
}

TEST(OidReaders, OtherSelectorsGiveInvalidArgWithInternalErrorMessage) {
    pxtest::CapturedMessages messages;
    const pxinfo_selector_t bb = bb_selector();
    pxinfo_selector_t unknown = vault_selector();
    unknown.type = static_cast<pxinfo_component_type_t>(7);
    const tbs_oid_t untouched = uuid_of(kVaultText);
    tbs_oid_t oid = untouched;
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_selector_to_replica_oid(&bb, &oid));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_selector_to_vault_oid(&unknown, &oid));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_selector_to_replica_oid(nullptr, &oid));
    EXPECT_TRUE(tbs_oid_eq(&oid, &untouched)) << "nothing is written on failure";
    const auto errors = messages.with_severity(IMSG_SEV_ERROR);
    ASSERT_EQ(3u, errors.size()) << messages.dump();
    EXPECT_EQ("Internal error in pxinfo_selector_to_replica_oid.\n", errors[0].text);
    EXPECT_EQ("pxinfo", errors[0].component);
    EXPECT_EQ("Internal error in pxinfo_selector_to_vault_oid.\n", errors[1].text);

    // The pair stops at the replica oid: the vault oid is not written.
    tbs_oid_t replica = untouched, vault = untouched;
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_selector_to_oids(&bb, &replica, &vault));
    EXPECT_TRUE(tbs_oid_eq(&vault, &untouched));
    EXPECT_EQ(4u, messages.with_severity(IMSG_SEV_ERROR).size()) << "one message, from the replica reader";
}

// Every entry of the replica is visited: one active entry on this host makes
// it local (a later remote one does not undo that), and then the last entry
// visited is handed over; a remote replica hands none over.
TEST_F(Registry, ActiveEntryOnThisHostMakesTheReplicaLocal) {
    const std::string own = own_host_name();
    const struct {
        const char *what;
        std::vector<std::tuple<const char *, int, std::string>> entries;
        int is_local;
        std::string handed_over;  // empty: none
    } cases[] = {
        {"second of two on this host",
         {{kReplicaText, RGY_IND_ACTIVE, "far-away.invalid"},
          {kReplicaText, RGY_IND_ACTIVE, own},
          {kVaultText, RGY_IND_ACTIVE, "other-uuid.invalid"}},
         1,
         own},
        {"local, then remote",
         {{kReplicaText, RGY_IND_ACTIVE, "localhost"}, {kReplicaText, RGY_IND_ACTIVE, "far-away.invalid"}},
         1,
         "far-away.invalid"},
        {"inactive on this host", {{kReplicaText, 0, own}, {kReplicaText, RGY_IND_ACTIVE, "far-away.invalid"}}, 0, ""},
        {"unknown replica", {{kVaultText, RGY_IND_ACTIVE, own}}, 0, ""},
    };
    const pxinfo_selector_t selector = vault_selector();
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        rgy_test_clear_entries();
        for (const auto &e : c.entries) add(std::get<0>(e), std::get<1>(e), std::get<2>(e));
        pxtest::CapturedMessages messages(4, "pxinfo");
        int is_local = -1;
        rgy_entry_t *entry = reinterpret_cast<rgy_entry_t *>(&is_local);  // must be set
        ASSERT_EQ(TBS_ST_OK, pxinfo_is_local_vault_replica(&selector, &is_local, &entry));
        EXPECT_EQ(c.is_local, is_local);
        EXPECT_EQ(c.handed_over, entry != nullptr ? entry_host(entry) : "");
        if (entry != nullptr) rgy_delete_entry(&entry);
        EXPECT_TRUE(printed(messages, IMSG_SEV_TRACE,
                            std::string("check rgy for replica: ") + kReplicaText + " in family: " + kVaultText + "\n"))
            << messages.dump();
        // Without a place for the entry, it is released here.
        is_local = -1;
        ASSERT_EQ(TBS_ST_OK, pxinfo_is_local_vault_replica(&selector, &is_local, nullptr));
        EXPECT_EQ(c.is_local, is_local);
    }
}

TEST_F(Registry, BbSelectorGivesInvalidArgWithTheOidReadersMessage) {
    pxtest::CapturedMessages messages(1, "pxinfo");
    const pxinfo_selector_t selector = bb_selector();
    int is_local = 1;
    rgy_entry_t *entry = nullptr;
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_is_local_vault_replica(&selector, &is_local, &entry));
    EXPECT_EQ(0, is_local);
    EXPECT_EQ(nullptr, entry);
    EXPECT_TRUE(printed(messages, IMSG_SEV_ERROR, "Internal error in pxinfo_selector_to_replica_oid.\n"))
        << messages.dump();
    EXPECT_TRUE(printed(
        messages, IMSG_SEV_TRACE,
        "operation 'pxinfo_selector_to_replica_oid' failed: " + std::string(tbs_strerror(TBS_ST_INVALID_ARG)) + ".\n"))
        << messages.dump();
}

TEST_F(Registry, RegistryFailuresArePassedOnAndReleaseEverything) {
    constexpr tbs_status_t kRegistryDown = 0x4711;
    add(kReplicaText, RGY_IND_ACTIVE, "localhost");
    add(kReplicaText, RGY_IND_ACTIVE, "far-away.invalid");
    const pxinfo_selector_t selector = vault_selector();
    // Calls: find, read host, find, read host, find (end).
    const struct {
        unsigned long call;
        int is_local;
        const char *operation;
    } cases[] = {{1, 0, "rgy_findbyuuid_entry"},
                 {2, 0, "rgy_getstring_from_entry_const"},
                 {3, 1, "rgy_findbyuuid_entry"},
                 {4, 1, "rgy_getstring_from_entry_const"}};
    for (const auto &c : cases) {
        pxtest::CapturedMessages messages(1, "pxinfo");
        rgy_test_fail_call(c.call, kRegistryDown);
        int is_local = -1;
        rgy_entry_t *entry = nullptr;
        EXPECT_EQ(kRegistryDown, pxinfo_is_local_vault_replica(&selector, &is_local, &entry)) << c.call;
        EXPECT_EQ(c.is_local, is_local) << "what the entries examined so far gave, call " << c.call;
        EXPECT_EQ(nullptr, entry) << c.call;
        EXPECT_TRUE(printed(messages, IMSG_SEV_TRACE, std::string("operation '") + c.operation + "' failed"))
            << messages.dump();
        EXPECT_EQ(live_before_, stg_live_block_count()) << "call " << c.call;
    }
}

TEST_F(Registry, ExhaustedStorageGivesNoMemoryWithoutLeaks) {
    add(kReplicaText, RGY_IND_ACTIVE, "far-away.invalid");
    add(kReplicaText, RGY_IND_ACTIVE, "localhost");
    const pxinfo_selector_t selector = vault_selector();
    rgy_entry_t *entry = nullptr;
    const size_t points = pxtest::sweep_allocation_failures(
        [&] {
            int is_local = 0;
            return pxinfo_is_local_vault_replica(&selector, &is_local, &entry);
        },
        [&](tbs_status_t status, unsigned long nth) {
            EXPECT_EQ(TBS_ST_NO_MEMORY, status) << nth;
            EXPECT_EQ(nullptr, entry);
        });
    EXPECT_GE(points, 2u);
    rgy_delete_entry(&entry);
}

TEST(LocalHost, RecognisesThisHostInAnyCase) {
    const std::string own = own_host_name();
    EXPECT_TRUE(fileutl_is_localhost(own.c_str()));
    EXPECT_TRUE(fileutl_is_localhost(upper(own).c_str()));
    EXPECT_TRUE(fileutl_is_localhost("LocalHost"));
    const std::string short_name = own.substr(0, own.find('.'));
    EXPECT_TRUE(fileutl_is_localhost(short_name.c_str()));
    EXPECT_TRUE(fileutl_is_localhost((short_name + ".some.domain").c_str()) == (own == short_name))
        << "a qualified name matches an unqualified own name by its first label";
    EXPECT_FALSE(fileutl_is_localhost((own + "x").c_str()));
    EXPECT_FALSE(fileutl_is_localhost("far-away.invalid"));
    EXPECT_FALSE(fileutl_is_localhost(""));
}

TEST_F(Registry, FileEntriesComeBeforeTestEntries) {
    write_registry(std::string("# replicas of this site\n\n") + kReplicaText + " 1 first.invalid\n" + "  " +
                   kVaultText + "\t1\tvault.invalid\n" + upper(kReplicaText) + " 0 retired.invalid\n");
    add(kReplicaText, RGY_IND_ACTIVE, "added.invalid");
    const tbs_uuid_t key = uuid_of(kReplicaText);
    rgy_cursor_t *cursor = nullptr;
    rgy_entry_t *entry = nullptr;
    std::vector<std::pair<int, std::string>> found;
    for (;;) {
        int indicator = -1;
        ASSERT_EQ(TBS_ST_OK, rgy_findbyuuid_entry(RGY_CLASS_REPLICA, 0, RGY_KEY_UUID, 16, &key, &cursor,
                                                  RGY_FETCH_ENTRY, &entry, &indicator));
        if (cursor == nullptr) break;
        found.emplace_back(indicator, entry_host(entry));
    }
    EXPECT_EQ(
        (std::vector<std::pair<int, std::string>>{{1, "first.invalid"}, {0, "retired.invalid"}, {1, "added.invalid"}}),
        found);
    const char *uuid_text = nullptr;
    ASSERT_EQ(TBS_ST_OK, rgy_getstring_from_entry_const(entry, RGY_ATTR_UUID, &uuid_text));
    EXPECT_STREQ(kReplicaText, uuid_text);
    EXPECT_EQ(TBS_ST_NOT_FOUND, rgy_getstring_from_entry_const(entry, 2, &uuid_text));
    rgy_delete_entry(&entry);
}

TEST_F(Registry, DamagedRegistryFileFailsTheSearch) {
    const tbs_uuid_t key = uuid_of(kReplicaText);
    const char *damaged[] = {"not-a-uuid 1 host\n", "0a1b2c3d-0000-4000-8000-00000000a001 one host\n",
                             "0a1b2c3d-0000-4000-8000-00000000a001 1\n"};
    for (const char *line : damaged) {
        write_registry(line);
        rgy_cursor_t *cursor = nullptr;
        rgy_entry_t *entry = nullptr;
        int indicator = 0;
        EXPECT_EQ(TBS_ST_FAILED, rgy_findbyuuid_entry(RGY_CLASS_REPLICA, 0, RGY_KEY_UUID, 16, &key, &cursor,
                                                      RGY_FETCH_ENTRY, &entry, &indicator))
            << line;
        EXPECT_EQ(nullptr, cursor);
        EXPECT_EQ(nullptr, entry);
    }
}

}  // namespace
