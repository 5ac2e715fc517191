// Epoch rows: the four-valued comparison with its miscompare callback, checked
// against a replica-by-replica model, and copying, freeing and emptying rows.
#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "fixtures.h"
#include "pxinfo_utl_epoch.h"
#include "pxinfo_utl_selector.h"
#include "tbs.h"
#include "test_support.h"

namespace {

using Row = std::vector<pxinfo_epoch_row_entry_t>;
using Columns = std::vector<std::pair<uint32_t, pxinfo_epoch_num_t>>;  // (replica number, epoch)
using Calls = std::vector<std::pair<const pxinfo_epoch_row_entry_t *, const pxinfo_epoch_row_entry_t *>>;

pxinfo_epoch_row_entry_t entry(uint32_t replica, pxinfo_epoch_num_t epoch, uint32_t family = 1) {
    pxinfo_epoch_row_entry_t e{};
    e.replica = pxfix::vault_selector(replica, family);
    e.epoch = epoch;
    return e;
}

Row row(const Columns &columns) {
    Row entries;
    for (const auto &c : columns) { entries.push_back(entry(c.first, c.second)); }
    return entries;
}

// Records the miscompare callback's calls and answers with a set status.
struct Recorder {
    Calls calls;
    tbs_status_t answer = TBS_ST_OK;
    static tbs_status_t record(const pxinfo_epoch_row_entry_t *packet_entry,
                               const pxinfo_epoch_row_entry_t *target_entry, void *context) {
        auto *self = static_cast<Recorder *>(context);
        self->calls.emplace_back(packet_entry, target_entry);
        return self->answer;
    }
};

// Status and result (-1 when left unset) of comparing two rows.
std::pair<tbs_status_t, int> compare(const Row &packet, const Row &target, Recorder *recorder = nullptr,
                                     const pxinfo_selector_t *excluded = nullptr) {
    int result = -1;
    const pxinfo_miscompare_functor_t functor = {recorder ? &Recorder::record : nullptr, recorder};
    const tbs_status_t status =
        pxinfo_epoch_row_compare(static_cast<unsigned>(packet.size()), packet.data(),
                                 static_cast<unsigned>(target.size()), target.data(), excluded, functor, &result);
    return {status, result};
}

// The model: each packet entry is matched with the first unmatched target
// entry of its replica, in row order, a replica missing from a row counting
// as epoch 0 there; epochs compare by their signed 32-bit difference; the
// callback hears of every packet entry ahead. Compares the library with it.
void expect_as_model(const Columns &packet_columns, const Columns &target_columns) {
    const Row packet = row(packet_columns), target = row(target_columns);
    std::multimap<uint32_t, size_t> unmatched;
    for (size_t i = 0; i < target_columns.size(); ++i) { unmatched.emplace(target_columns[i].first, i); }
    bool ahead = false, behind = false;
    Calls expected_calls;
    for (size_t i = 0; i < packet.size(); ++i) {
        const auto partner = unmatched.find(packet_columns[i].first);
        const pxinfo_epoch_row_entry_t *target_entry = partner != unmatched.end() ? &target[partner->second] : nullptr;
        if (partner != unmatched.end()) { unmatched.erase(partner); }
        const int32_t difference = static_cast<int32_t>(packet[i].epoch - (target_entry ? target_entry->epoch : 0));
        if (difference > 0) { expected_calls.emplace_back(&packet[i], target_entry); }
        ahead |= difference > 0;
        behind |= difference < 0;
    }
    for (const auto &left : unmatched) { behind |= static_cast<int32_t>(0u - target[left.second].epoch) < 0; }
    const int expected = ahead && behind ? PXINFO_EPOCH_CMP_MIXED
                         : ahead         ? PXINFO_EPOCH_CMP_GREATER
                         : behind        ? PXINFO_EPOCH_CMP_LESS
                                         : PXINFO_EPOCH_CMP_EQUAL;
    Recorder recorder;
    EXPECT_EQ(std::make_pair(TBS_ST_OK, expected), compare(packet, target, &recorder));
    EXPECT_EQ(expected_calls, recorder.calls);
}

// Rows listed in a table; long and random rows are the epoch_rows fuzz
// target's, whose corpus ctest replays against the same model.
TEST(EpochRowCompare, ResultsAndCallbackCallsAgreeWithTheModel) {
    for (const auto &fields : pxtest::data_rows("epoch_rows.tsv")) {
        Columns rows[2];
        for (int r = 0; r < 2; ++r) {
            std::istringstream columns(fields[r]);
            for (std::string column; columns >> column;) {
                rows[r].emplace_back(std::stoul(column), std::stoul(column.substr(column.find('=') + 1)));
            }
        }
        expect_as_model(rows[0], rows[1]);
    }
    EXPECT_EQ(PXINFO_EPOCH_CMP_MIXED, compare(row({{1, 3}, {2, 6}}), row({{1, 4}, {2, 5}})).second) << "no callback";
}

TEST(EpochRowCompare, ExcludedReplicaAndOtherFamilies) {
    const pxinfo_selector_t excluded = entry(2, 0).replica, none = {};
    Recorder recorder;
    EXPECT_EQ(PXINFO_EPOCH_CMP_EQUAL,
              compare(row({{1, 5}, {2, 9}}), row({{1, 5}, {2, 1}}), &recorder, &excluded).second);
    EXPECT_EQ(PXINFO_EPOCH_CMP_EQUAL, compare(row({{1, 5}}), row({{2, 1}, {1, 5}}), &recorder, &excluded).second);
    EXPECT_TRUE(recorder.calls.empty());
    // A null excluded replica excludes nothing, and is compared with every
    // entry of both rows, each comparison logging the internal error that
    // pxinfo_selector_eq logs for it.
    pxtest::CapturedMessages captured;
    const unsigned long before = tbs_int_error_count();
    EXPECT_EQ(0, pxinfo_selector_eq(&excluded, &none));
    const unsigned long per_comparison = tbs_int_error_count() - before;
    EXPECT_EQ(PXINFO_EPOCH_CMP_LESS, compare(row({{1, 5}}), row({{1, 5}, {2, 4}}), nullptr, &none).second);
    EXPECT_EQ(4 * per_comparison, tbs_int_error_count() - before);
    EXPECT_GT(per_comparison, 0u);

    // Rows of different families are ordered by family alone, without a table.
    Row vault_row = row({{1, 1}}), bb_row = {entry(1, 100)}, other_family = {entry(1, 1, 2)};
    ASSERT_EQ(TBS_ST_OK, pxinfo_new_bb_selector("f", "c", "r", "u", &bb_row[0].replica));
    const unsigned long allocations = stg_allocation_count();
    EXPECT_EQ(PXINFO_EPOCH_CMP_LESS, compare(vault_row, bb_row, &recorder).second);
    EXPECT_EQ(PXINFO_EPOCH_CMP_GREATER, compare(bb_row, vault_row, &recorder).second);
    EXPECT_EQ(allocations, stg_allocation_count());
    EXPECT_EQ(PXINFO_EPOCH_CMP_LESS, compare(vault_row, other_family, &recorder).second);
    EXPECT_TRUE(recorder.calls.empty());
}

TEST(EpochRowCompare, FailuresGiveTheirOwnStatus) {
    const Row a = row({{1, 1}});
    pxtest::CapturedMessages messages(1, "pxinfo");
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_epoch_row_compare(1, a.data(), 1, a.data(), nullptr, {}, nullptr));
    int result = -1;
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_epoch_row_compare(1, nullptr, 1, a.data(), nullptr, {}, &result));
    EXPECT_EQ(std::make_pair(TBS_ST_FAILED, -1), compare(Row(1), a)) << "entries naming no replica";
    EXPECT_EQ(TBS_ST_INVALID_ARG, compare(a, row({{1, 1}, {1, 2}})).first) << "a replica twice in the target row";

    // A failing callback ends the walk with its status; the failing entry is
    // not combined, and two trace lines say where it failed.
    messages.clear();
    Recorder recorder;
    recorder.answer = 77;
    EXPECT_EQ(std::make_pair(tbs_status_t{77}, static_cast<int>(PXINFO_EPOCH_CMP_EQUAL)),
              compare(row({{1, 6}, {2, 6}}), row({{1, 5}, {2, 5}}), &recorder));
    EXPECT_EQ(1u, recorder.calls.size());
    std::string traces;
    for (const auto &line : messages.with_severity(8)) {
        if (line.text.rfind("into ", 0) != 0 && line.text.rfind("exiting ", 0) != 0) {
            traces += line.text.substr(0, line.text.find(':')) + line.text.substr(line.text.find(": ")) + "|";
        }
    }
    EXPECT_EQ("lib/pxinfo/pxinfo_utl: operation 'functor.handle_miscompare' failed: " + std::string(tbs_strerror(77)) +
                  ".\n|lib/pxinfo/pxinfo_utl: failed.\n|",
              traces);

    // Exhausted storage: the table, its slots and the array of target epochs
    // give no memory and no result, a failure indexing the target row an
    // invalid argument after the result was begun, as for a failing callback.
    const Row packet = row({{1, 5}, {2, 3}, {3, 1}}), target = row({{1, 5}, {2, 4}, {4, 2}});
    std::pair<tbs_status_t, int> outcome;
    const size_t points = pxtest::sweep_allocation_failures(
        [&] { return (outcome = compare(packet, target)).first; },
        [&](tbs_status_t, unsigned long nth) {
            EXPECT_EQ(nth <= 3 ? TBS_ST_NO_MEMORY : TBS_ST_INVALID_ARG, outcome.first) << nth;
            EXPECT_EQ(nth <= 3 ? -1 : PXINFO_EPOCH_CMP_EQUAL, outcome.second) << "the walk had begun, " << nth;
        });
    EXPECT_GE(points, 4u);
    EXPECT_EQ(PXINFO_EPOCH_CMP_MIXED, outcome.second);
}

// Rows whose miscompare callback makes one change to them at its first call.
struct ChangingRows {
    Row packet, target;
    void (*change)(ChangingRows &);
    int calls = 0;
    static tbs_status_t on_miscompare(const pxinfo_epoch_row_entry_t *, const pxinfo_epoch_row_entry_t *, void *rows) {
        auto &self = *static_cast<ChangingRows *>(rows);
        if (self.calls++ == 0) { self.change(self); }
        return TBS_ST_OK;
    }
};

// Replicas 0 to 63 at epoch 10, the target's in reverse order and followed by
// replica 100 at epoch 0; the packet is ahead at replica 1, where the callback
// changes a later entry of either row. The outcome is that of taking each
// entry at its own turn, with entry traces on or off.
TEST(EpochRowCompare, ACallbackChangingALaterEntryIsSeenAtThatEntrysTurn) {
    const std::pair<void (*)(ChangingRows &), int> cases[] = {
        {[](ChangingRows &r) { r.target[63 - 40].epoch = 12; }, 1},
        {[](ChangingRows &r) { r.packet[3].replica = r.target[64].replica; }, 2},
        {[](ChangingRows &r) { r.packet[20].epoch = 9; }, 1}};
    for (int verbosity : {0, 5}) {
        for (const auto &c : cases) {
            ChangingRows rows;
            for (uint32_t i = 0; i < 64; ++i) {
                rows.packet.push_back(entry(i, i == 1 ? 11 : 10));
                rows.target.insert(rows.target.begin(), entry(i, 10));
            }
            rows.target.push_back(entry(100, 0));
            rows.change = c.first;
            pxtest::CapturedMessages captured(verbosity, "pxinfo");
            int result = 0;
            ASSERT_EQ(TBS_ST_OK, pxinfo_epoch_row_compare(64, rows.packet.data(), 65, rows.target.data(), nullptr,
                                                          {&ChangingRows::on_miscompare, &rows}, &result));
            EXPECT_EQ(std::make_pair(static_cast<int>(PXINFO_EPOCH_CMP_MIXED), c.second),
                      std::make_pair(result, rows.calls));
        }
    }
}

TEST(EpochRows, CopyOwnsItsEntriesFreeReleasesThemAndANullRowIsEmpty) {
    Row entries = row({{1, 5}, {2, 3}});
    pxinfo_epoch_row_t source = {"replica", "", 2, entries.data(), 0, 9}, copy;
    const unsigned long live = stg_live_block_count();
    ASSERT_EQ(TBS_ST_OK, pxinfo_create_new_epoch_row(&source, &copy));
    entries[1].epoch = 99;  // the copy does not follow its source
    EXPECT_TRUE(copy.entries != source.entries && copy.entries[1].epoch == 3 && copy.row_value2 == 9);
    EXPECT_STREQ("replica", copy.name);
    EXPECT_TRUE(pxinfo_selector_eq(&copy.entries[0].replica, &entries[0].replica));
    EXPECT_EQ(TBS_ST_OK, pxinfo_free_new_epoch_row_entry(&copy));
    source.count = -3;  // an empty row still gets its own block
    ASSERT_EQ(TBS_ST_OK, pxinfo_create_new_epoch_row(&source, &copy));
    EXPECT_NE(nullptr, copy.entries);
    EXPECT_EQ(TBS_ST_OK, pxinfo_free_new_epoch_row_entry(&copy));
    EXPECT_EQ(live, stg_live_block_count());
    EXPECT_EQ(std::make_pair(TBS_ST_INVALID_ARG, TBS_ST_INVALID_ARG),
              std::make_pair(pxinfo_create_new_epoch_row(nullptr, &copy), pxinfo_free_new_epoch_row_entry(nullptr)));

    pxinfo_epoch_row_t target;
    std::memset(&target, 0x55, sizeof target);
    pxtest::CapturedMessages messages(3, "pxinfo");
    pxinfo_make_null_row(&target);
    EXPECT_TRUE(!target.name[0] && !target.host[0] && !target.count && !target.entries && !target.row_value1 &&
                !target.row_value2);
    EXPECT_EQ("[8 pxinfo] into pxinfo_make_null_row..\n", messages.dump()) << "traced on entry only";
}

}  // namespace
