// The sync activity log: the switch file, the exact record format, and
// concurrent writers.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ctime>
#include <map>
#include <sstream>

#include "date.h"
#include "pxinfo_utl_synclog.h"
#include "tbs.h"
#include "tbs_uuid.h"
#include "test_support.h"

namespace {

tbs_uuid_t uuid_of(const char *text) {
    tbs_uuid_t uuid;
    EXPECT_EQ(TBS_ST_OK, tbs_str_to_uuid(text, &uuid)) << text;
    return uuid;
}

pxinfo_epoch_row_entry_t vault_entry(const char *replica, pxinfo_epoch_num_t epoch) {
    pxinfo_epoch_row_entry_t entry{};
    entry.epoch = epoch;
    entry.replica.type = PXINFO_COMPONENT_VAULT;
    entry.replica.u.vault.vault_oid = uuid_of("11111111-2222-4333-8444-555555555555");
    entry.replica.u.vault.replica_oid = uuid_of(replica);
    return entry;
}

pxinfo_epoch_row_t row_of(pxinfo_epoch_row_entry_t *entries, int32_t count) { return {"", "", count, entries, 0, 0}; }

std::string text_of(const std::string &path) {
    const auto bytes = pxtest::read_file(path);
    return std::string(bytes.begin(), bytes.end());
}

// Each test gets its own configuration and log directories.
class SyncLog : public ::testing::Test {
  protected:
    void SetUp() override {
        const std::string base = pxtest::temp_path("synclog-" + std::to_string(counter_++));
        for (const std::string &dir : {base, base + "/config", base + "/config/services", base + "/log"}) {
            ASSERT_EQ(0, mkdir(dir.c_str(), 0700));
        }
        config_dir_ = base + "/config";
        log_dir_ = base + "/log";
        setenv("PXINFO_CONFIG_DIR", config_dir_.c_str(), 1);
        setenv("PXINFO_LOG_DIR", log_dir_.c_str(), 1);
    }
    void TearDown() override {
        unsetenv("PXINFO_CONFIG_DIR");
        unsetenv("PXINFO_LOG_DIR");
    }
    // The log's text, with a timestamp of the given span replaced by "T".
    std::string log_text(std::time_t from = 0, std::time_t to = 0) const {
        std::string text = text_of(log_dir_ + "/gm_log");
        const size_t at = text.find("\ntimestamp: ") + 12;
        const std::string stamp = text.substr(at, 20);
        if (at > 12 && (stamp == date_fmt_token_utc(from) || stamp == date_fmt_token_utc(to))) {
            text.replace(at, 20, "T");
        }
        return text;
    }
    void log(const char *tag, const char *imp_name, const char *exp_name, const char *packet,
             pxinfo_epoch_row_t packet_row, pxinfo_epoch_row_t replica_row, int direction, const char *error,
             tbs_status_t status) {
        pxinfo_log_gm_sync_entry(uuid_of("11111111-2222-4333-8444-555555555555"), tag,
                                 uuid_of("aaaaaaaa-0000-4000-8000-000000000001"), imp_name,
                                 uuid_of("bbbbbbbb-0000-4000-8000-000000000002"), exp_name, packet, packet_row,
                                 replica_row, static_cast<pxinfo_sync_direction_t>(direction), error, status);
    }
    static inline int counter_ = 0;
    std::string config_dir_, log_dir_;
};

// Only the first 255 characters of the first line are read.
TEST_F(SyncLog, TheSwitchCountsOnlyTheStartOfTheFirstLine) {
    EXPECT_EQ(0, pxinfo_do_gm_logging()) << "no switch file";
    const std::pair<std::string, int> cases[] = {{"LOG=TRUE\n", 1},
                                                 {"# sync log: LOG=TRUE please", 1},
                                                 {"LOG=FALSE\nLOG=TRUE\n", 0},
                                                 {"", 0},
                                                 {"log=true\n", 0},
                                                 {"\nLOG=TRUE\n", 0},
                                                 {std::string(250, ' ') + "LOG=TRUE\n", 0},
                                                 {std::string(247, ' ') + "LOG=TRUE\n", 1}};
    for (const auto &c : cases) {
        pxtest::write_file(config_dir_ + "/services/gm_log.conf",
                           std::vector<unsigned char>(c.first.begin(), c.first.end()));
        EXPECT_EQ(c.second, pxinfo_do_gm_logging()) << '"' << c.first << '"';
    }
}

// Texts that are absent or empty are "unavailable", as is an empty row; the
// status stands for a missing error text.
TEST_F(SyncLog, RecordsHaveTheirExactFormat) {
    pxinfo_epoch_row_entry_t entries[] = {vault_entry("cccccccc-0000-4000-8000-00000000000a", 17),
                                          vault_entry("dddddddd-0000-4000-8000-00000000000b", 4294967295u)};
    const std::time_t before = std::time(nullptr);
    log("site-7", "imp-rep", "exp-rep", "pkt_0001", row_of(entries, 2), row_of(nullptr, 0), PXINFO_SYNC_EXPORT,
        "packet refused", TBS_ST_FAILED);
    EXPECT_EQ(text_of(PXINFO_SOURCE_DIR "/tests/data/synclog_record.txt"), log_text(before, std::time(nullptr)));
    unlink((log_dir_ + "/gm_log").c_str());
    const std::time_t again = std::time(nullptr);
    log(nullptr, "", nullptr, nullptr, row_of(nullptr, 0), row_of(nullptr, 0), PXINFO_SYNC_IMPORT, "", TBS_ST_OK);
    EXPECT_EQ(text_of(PXINFO_SOURCE_DIR "/tests/data/synclog_unavailable.txt"), log_text(again, std::time(nullptr)));
}

TEST_F(SyncLog, RowsKeepOnlyVaultReplicasAndNegativeCountsPrintNothing) {
    pxtest::CapturedMessages messages;
    pxinfo_epoch_row_entry_t entries[] = {vault_entry("cccccccc-0000-4000-8000-00000000000a", 5),
                                          vault_entry("dddddddd-0000-4000-8000-00000000000b", 6)};
    entries[0].replica.type = PXINFO_COMPONENT_BB;
    log("t", "i", "e", "p", row_of(entries, 2), row_of(entries, -1), 7, nullptr, TBS_ST_NO_MEMORY);
    const std::string text = log_text();
    EXPECT_NE(std::string::npos,
              text.find("\npkt_epoch_row: \ndddddddd-0000-4000-8000-00000000000b=6\nrep_epoch_row: \n"
                        "direction: import\nerror: out of memory\n"))  // any direction but export
        << text;
    EXPECT_EQ("[6 pxinfo] Internal error in pxinfo_selector_to_replica_oid.\n", messages.dump());
}

TEST_F(SyncLog, ConcurrentWritersLoseNoRecordAndAnUnopenableLogWarnsOnlyWhenTracing) {
    // Rows large enough that a record is several kilobytes.
    std::vector<pxinfo_epoch_row_entry_t> entries(120, vault_entry("cccccccc-0000-4000-8000-00000000000a", 1));
    std::vector<pid_t> writers;
    for (int w = 0; w < 4; ++w) {
        const pid_t pid = fork();
        ASSERT_NE(-1, pid);
        for (int r = 0; pid == 0 && r < 50; ++r) {
            log(("writer-" + std::to_string(w)).c_str(), "i", "e", "p", row_of(entries.data(), 120), row_of(nullptr, 0),
                1, "x", 0);
        }
        if (pid == 0) { _exit(0); }
        writers.push_back(pid);
    }
    for (pid_t pid : writers) {
        int status = 0;
        ASSERT_EQ(pid, waitpid(pid, &status, 0));
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    std::map<std::string, int> lines;
    std::istringstream text(log_text());
    for (std::string line; std::getline(text, line);) { ++lines[line]; }
    EXPECT_EQ(200, lines["*****"]);
    EXPECT_EQ(50, lines["local_tag: writer-3"]);

    setenv("PXINFO_LOG_DIR", (log_dir_ + "/missing").c_str(), 1);
    for (int verbosity : {0, 4}) {
        pxtest::CapturedMessages messages(verbosity, "pxinfo");
        log("t", "i", "e", "p", row_of(nullptr, 0), row_of(nullptr, 0), 1, "x", 0);
        const auto warnings = messages.with_severity(IMSG_SEV_WARNING);
        EXPECT_EQ(verbosity ? 1u : 0u, warnings.size());
        EXPECT_TRUE(warnings.empty() || warnings[0].text == "Couldn't open logfile\n");
        EXPECT_TRUE(verbosity || messages.lines().empty());
    }
}

}  // namespace
