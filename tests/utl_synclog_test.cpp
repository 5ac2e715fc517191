// The sync activity log: the switch file, the exact record format, and
// concurrent writers.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "date.h"
#include "pxinfo_utl_synclog.h"
#include "tbs.h"
#include "tbs_uuid.h"
#include "test_support.h"

namespace {

constexpr const char kFamily[] = "11111111-2222-4333-8444-555555555555";
constexpr const char kImporter[] = "aaaaaaaa-0000-4000-8000-000000000001";
constexpr const char kExporter[] = "bbbbbbbb-0000-4000-8000-000000000002";
constexpr const char kReplicaA[] = "cccccccc-0000-4000-8000-00000000000a";
constexpr const char kReplicaB[] = "dddddddd-0000-4000-8000-00000000000b";

tbs_uuid_t uuid_of(const char *text) {
    tbs_uuid_t uuid;
    EXPECT_EQ(TBS_ST_OK, tbs_str_to_uuid(text, &uuid)) << text;
    return uuid;
}

pxinfo_epoch_row_entry_t vault_entry(const char *replica, pxinfo_epoch_num_t epoch) {
    pxinfo_epoch_row_entry_t entry{};
    entry.epoch = epoch;
    entry.replica.type = PXINFO_COMPONENT_VAULT;
    entry.replica.u.vault.vault_oid = uuid_of(kFamily);
    entry.replica.u.vault.replica_oid = uuid_of(replica);
    return entry;
}

pxinfo_epoch_row_t row_of(pxinfo_epoch_row_entry_t *entries, int32_t count) {
    pxinfo_epoch_row_t row{};
    row.count = count;
    row.entries = entries;
    return row;
}

std::string text_of(const std::string &path) {
    const auto bytes = pxtest::read_file(path);
    return std::string(bytes.begin(), bytes.end());
}

size_t count_lines(const std::string &text, const std::string &line) {
    size_t count = 0;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        if (text.compare(start, end - start, line) == 0) ++count;
        start = end + 1;
    }
    return count;
}

// True for an ISO 8601 UTC token such as 2026-11-22T19:38:33Z.
bool is_utc_token(const std::string &text) {
    const std::string shape = "dddd-dd-ddTdd:dd:ddZ";
    if (text.size() != shape.size()) return false;
    for (size_t i = 0; i < shape.size(); ++i) {
        if (shape[i] == 'd' ? !std::isdigit(static_cast<unsigned char>(text[i])) : text[i] != shape[i]) return false;
    }
    return true;
}

// The timestamp line is the only one that varies; a well-formed one is
// replaced by a fixed text so that the rest can be compared exactly.
std::string with_fixed_timestamp(std::string record) {
    const std::string label = "\ntimestamp: ";
    const size_t at = record.find(label);
    if (at == std::string::npos) return record;
    const size_t start = at + label.size();
    const size_t end = record.find('\n', start);
    if (end != std::string::npos && is_utc_token(record.substr(start, end - start))) {
        record.replace(start, end - start, "T");
    }
    return record;
}

// Each test gets its own configuration and log directories.
class SyncLog : public ::testing::Test {
  protected:
    void SetUp() override {
        const std::string base = pxtest::temp_path("synclog-" + std::to_string(counter_++));
        config_dir_ = base + "/config";
        log_dir_ = base + "/log";
        ASSERT_EQ(0, mkdir(base.c_str(), 0700));
        ASSERT_EQ(0, mkdir(config_dir_.c_str(), 0700));
        ASSERT_EQ(0, mkdir((config_dir_ + "/services").c_str(), 0700));
        ASSERT_EQ(0, mkdir(log_dir_.c_str(), 0700));
        setenv("PXINFO_CONFIG_DIR", config_dir_.c_str(), 1);
        setenv("PXINFO_LOG_DIR", log_dir_.c_str(), 1);
    }
    void TearDown() override {
        unsetenv("PXINFO_CONFIG_DIR");
        unsetenv("PXINFO_LOG_DIR");
    }

    void write_switch(const std::string &text) {
        pxtest::write_file(config_dir_ + "/services/gm_log.conf", std::vector<unsigned char>(text.begin(), text.end()));
    }
    std::string log_text() const { return text_of(log_dir_ + "/gm_log"); }

    void log(const char *tag, const char *imp_name, const char *exp_name, const char *packet,
             pxinfo_epoch_row_t packet_row, pxinfo_epoch_row_t replica_row, int direction, const char *error,
             tbs_status_t status) {
        pxinfo_log_gm_sync_entry(uuid_of(kFamily), tag, uuid_of(kImporter), imp_name, uuid_of(kExporter), exp_name,
                                 packet, packet_row, replica_row, static_cast<pxinfo_sync_direction_t>(direction),
                                 error, status);
    }

    static inline int counter_ = 0;
    std::string config_dir_;
    std::string log_dir_;
};

TEST_F(SyncLog, SwitchCountsOnlyTheFirstLine) {
    EXPECT_EQ(0, pxinfo_do_gm_logging()) << "no switch file";
    const struct {
        const char *text;
        int on;
    } cases[] = {{"LOG=TRUE\n", 1},
                 {"# sync log: LOG=TRUE please", 1},
                 {"LOG=FALSE\nLOG=TRUE\n", 0},
                 {"", 0},
                 {"log=true\n", 0},
                 {"\nLOG=TRUE\n", 0}};
    for (const auto &c : cases) {
        write_switch(c.text);
        EXPECT_EQ(c.on, pxinfo_do_gm_logging()) << '"' << c.text << '"';
    }
    // Only the first 255 characters of the first line are read.
    write_switch(std::string(250, ' ') + "LOG=TRUE\n");
    EXPECT_EQ(0, pxinfo_do_gm_logging());
    write_switch(std::string(247, ' ') + "LOG=TRUE\n");
    EXPECT_EQ(1, pxinfo_do_gm_logging());
}

TEST_F(SyncLog, RecordOfTwoVaultReplicasAndAnEmptyRow) {
    pxinfo_epoch_row_entry_t entries[] = {vault_entry(kReplicaA, 17), vault_entry(kReplicaB, 4294967295u)};
    const std::time_t before = std::time(nullptr);
    log("site-7", "imp-rep", "exp-rep", "pkt_0001", row_of(entries, 2), row_of(nullptr, 0), PXINFO_SYNC_EXPORT,
        "packet refused", TBS_ST_FAILED);
    const std::time_t after = std::time(nullptr);

    const std::string text = log_text();
    // clang-format off
    const std::string expected = std::string("familu_uuid: ") + kFamily +
                                 "\nlocal_tag: site-7"
                                 "\nimp_rep_uuid: " + kImporter +
                                 "\nimp_name: imp-rep"
                                 "\nexp_rep_uuid: " + kExporter +
                                 "\nexp_name: exp-rep"
                                 "\ntimestamp: T"
                                 "\npkt_name: pkt_0001"
                                 "\npkt_epoch_row: "
                                 "\n" + kReplicaA + "=17"
                                 "\n" + kReplicaB + "=4294967295"
                                 "\nrep_epoch_row: unavailable"
                                 "\ndirection: export"
                                 "\nerror: packet refused"
                                 "\n*****\n\n";
    // clang-format on
    EXPECT_EQ(expected, with_fixed_timestamp(text));
    const size_t at = text.find("\ntimestamp: ");
    ASSERT_NE(std::string::npos, at);
    const std::string stamp = text.substr(at + 12, 20);
    EXPECT_TRUE(stamp == date_fmt_token_utc(before) || stamp == date_fmt_token_utc(after)) << stamp;
}

TEST_F(SyncLog, AbsentTextsAreUnavailableAndTheStatusStandsForAMissingError) {
    log(nullptr, "", nullptr, nullptr, row_of(nullptr, 0), row_of(nullptr, 0), PXINFO_SYNC_IMPORT, "", TBS_ST_OK);
    // clang-format off
    const std::string expected = std::string("familu_uuid: ") + kFamily +
                                 "\nlocal_tag: unavailable"
                                 "\nimp_rep_uuid: " + kImporter +
                                 "\nimp_name: unavailable"
                                 "\nexp_rep_uuid: " + kExporter +
                                 "\nexp_name: unavailable"
                                 "\ntimestamp: T"
                                 "\npkt_name: unavailable"
                                 "\npkt_epoch_row: unavailable"
                                 "\nrep_epoch_row: unavailable"
                                 "\ndirection: import"
                                 "\nerror: " + tbs_strerror(TBS_ST_OK) + "\n*****\n\n";
    // clang-format on
    EXPECT_EQ(expected, with_fixed_timestamp(log_text()));
}

TEST_F(SyncLog, RowsKeepOnlyVaultReplicasAndNegativeCountsPrintNothing) {
    pxtest::CapturedMessages messages;
    pxinfo_epoch_row_entry_t entries[] = {vault_entry(kReplicaA, 5), vault_entry(kReplicaB, 6)};
    entries[0].replica.type = PXINFO_COMPONENT_BB;
    log("t", "i", "e", "p", row_of(entries, 2), row_of(entries, -1), 7, nullptr, TBS_ST_NO_MEMORY);
    const std::string text = log_text();
    EXPECT_NE(std::string::npos, text.find(std::string("\npkt_epoch_row: \n") + kReplicaB + "=6\nrep_epoch_row: \n"))
        << text;
    EXPECT_NE(std::string::npos, text.find("\ndirection: import\n")) << "any direction but export is import";
    EXPECT_NE(std::string::npos, text.find(std::string("\nerror: ") + tbs_strerror(TBS_ST_NO_MEMORY) + "\n"));
    ASSERT_EQ(1u, messages.with_severity(IMSG_SEV_ERROR).size()) << messages.dump();
    EXPECT_EQ("Internal error in pxinfo_selector_to_replica_oid.\n", messages.with_severity(IMSG_SEV_ERROR)[0].text);
}

TEST_F(SyncLog, ConcurrentWritersLoseNoRecord) {
    constexpr int kWriters = 4;
    constexpr int kRecordsEach = 50;
    // Rows large enough that a record is several kilobytes.
    std::vector<pxinfo_epoch_row_entry_t> entries(120, vault_entry(kReplicaA, 1));
    std::vector<pid_t> writers;
    for (int w = 0; w < kWriters; ++w) {
        const pid_t pid = fork();
        ASSERT_NE(-1, pid);
        if (pid == 0) {
            const std::string tag = "writer-" + std::to_string(w);
            for (int r = 0; r < kRecordsEach; ++r) {
                log(tag.c_str(), "i", "e", "p", row_of(entries.data(), static_cast<int32_t>(entries.size())),
                    row_of(nullptr, 0), 1, "x", 0);
            }
            _exit(0);
        }
        writers.push_back(pid);
    }
    for (pid_t pid : writers) {
        int status = 0;
        ASSERT_EQ(pid, waitpid(pid, &status, 0));
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    const std::string text = log_text();
    EXPECT_EQ(static_cast<size_t>(kWriters * kRecordsEach), count_lines(text, "*****"));
    for (int w = 0; w < kWriters; ++w) {
        EXPECT_EQ(static_cast<size_t>(kRecordsEach), count_lines(text, "local_tag: writer-" + std::to_string(w)));
    }
}

TEST(DateToken, FormatsIso8601InUtc) {
    EXPECT_STREQ("2026-11-22T19:38:33Z", date_fmt_token_utc(1795376313));
    EXPECT_STREQ("1970-01-01T00:00:00Z", date_fmt_token_utc(0));
    struct timeval now {};
    date_get_timeval(&now);
    EXPECT_GT(now.tv_sec, 1795376313 - 86400 * 365 * 10);
    EXPECT_GE(now.tv_usec, 0);
    EXPECT_LT(now.tv_usec, 1000000);
}

TEST_F(SyncLog, UnopenableLogWarnsOnlyUnderDetailTracing) {
    setenv("PXINFO_LOG_DIR", (log_dir_ + "/missing").c_str(), 1);
    {
        pxtest::CapturedMessages quiet;
        log("t", "i", "e", "p", row_of(nullptr, 0), row_of(nullptr, 0), 1, "x", 0);
        EXPECT_TRUE(quiet.lines().empty()) << quiet.dump();
    }
    pxtest::CapturedMessages tracing(4, "pxinfo");
    log("t", "i", "e", "p", row_of(nullptr, 0), row_of(nullptr, 0), 1, "x", 0);
    const auto warnings = tracing.with_severity(IMSG_SEV_WARNING);
    ASSERT_EQ(1u, warnings.size()) << tracing.dump();
    EXPECT_EQ("Couldn't open logfile\n", warnings[0].text);
}

}  // namespace
