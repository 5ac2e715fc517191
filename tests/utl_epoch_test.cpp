// Epoch rows: the four-valued comparison with its miscompare callback, and
// copying, freeing and emptying rows.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "pxinfo_utl_epoch.h"
#include "pxinfo_utl_selector.h"
#include "stg.h"
#include "tbs.h"
#include "tbs_uuid.h"
#include "test_support.h"

namespace {

using Row = std::vector<pxinfo_epoch_row_entry_t>;

tbs_uuid_t oid(unsigned char first) {
    tbs_uuid_t value = TBS_UUID_NULL;
    value.bytes[0] = first;
    value.bytes[15] = 0x5a;
    return value;
}

// Replica 'A', 'B', ... of vault family 1.
pxinfo_selector_t replica(char name, unsigned char family = 1) {
    pxinfo_selector_t selector;
    tbs_uuid_t vault = oid(family), rep = oid(static_cast<unsigned char>(name));
    pxinfo_new_vault_selector(&rep, &vault, &selector);
    return selector;
}

// A row of (replica, epoch) columns, each replica made by make_replica.
template <typename Columns, typename MakeReplica>
Row row_of(const Columns &columns, MakeReplica make_replica) {
    Row entries;
    for (const auto &column : columns) {
        pxinfo_epoch_row_entry_t entry = {};
        entry.epoch = column.second;
        entry.replica = make_replica(column.first);
        entries.push_back(entry);
    }
    return entries;
}

Row row(std::initializer_list<std::pair<char, pxinfo_epoch_num_t>> columns) {
    return row_of(columns, [](char name) { return replica(name); });
}

// Records every call of the miscompare callback; answers with a set status.
struct Calls {
    std::vector<std::pair<const pxinfo_epoch_row_entry_t *, const pxinfo_epoch_row_entry_t *>> seen;
    tbs_status_t answer = TBS_ST_OK;

    static tbs_status_t record(const pxinfo_epoch_row_entry_t *packet_entry,
                               const pxinfo_epoch_row_entry_t *target_entry, void *context) {
        auto *calls = static_cast<Calls *>(context);
        calls->seen.emplace_back(packet_entry, target_entry);
        return calls->answer;
    }
    pxinfo_miscompare_functor_t functor() { return {&Calls::record, this}; }
};

struct Outcome {
    tbs_status_t status;
    int result;
};

Outcome compare(const Row &packet, const Row &target, Calls *calls = nullptr,
                const pxinfo_selector_t *excluded = nullptr) {
    Outcome outcome = {TBS_ST_OK, -1};
    pxinfo_miscompare_functor_t functor = calls != nullptr ? calls->functor() : pxinfo_miscompare_functor_t{};
    outcome.status = pxinfo_epoch_row_compare(static_cast<unsigned>(packet.size()), packet.data(),
                                              static_cast<unsigned>(target.size()), target.data(), excluded, functor,
                                              &outcome.result);
    return outcome;
}

// The detail traces of a comparison, entry and exit lines left out.
std::vector<std::string> detail_traces(const pxtest::CapturedMessages &messages) {
    std::vector<std::string> texts;
    for (const auto &line : messages.with_severity(8))
        if (line.text.rfind("into ", 0) != 0 && line.text.rfind("exiting ", 0) != 0) texts.push_back(line.text);
    return texts;
}

std::string joined(const std::vector<std::string> &texts) {
    std::string all;
    for (const auto &text : texts) all += text;
    return all;
}

// ---- Results ---------------------------------------------------------------

// Each case: the two rows, the result, and the calls of the miscompare
// callback as (packet entry, target entry) indexes, -1 for no target entry.
// A replica listed in one row only counts as epoch 0 in the other, and the
// callback is never called for target-only replicas. Epochs compare by their
// signed 32-bit difference: a difference of exactly 2^31 is behind either way.
struct ResultCase {
    const char *what;
    Row packet, target;
    int result;
    std::vector<std::pair<int, int>> calls;
};

TEST(EpochRowCompare, ResultsAndMiscompareCalls) {
    const ResultCase cases[] = {
        {"equal in any order", row({{'A', 5}, {'B', 3}}), row({{'B', 3}, {'A', 5}}), PXINFO_EPOCH_CMP_EQUAL, {}},
        {"less", row({{'A', 5}, {'B', 3}}), row({{'A', 5}, {'B', 4}}), PXINFO_EPOCH_CMP_LESS, {}},
        {"greater", row({{'A', 5}, {'B', 5}}), row({{'A', 5}, {'B', 4}}), PXINFO_EPOCH_CMP_GREATER, {{1, 1}}},
        {"mixed", row({{'A', 5}, {'B', 3}}), row({{'A', 4}, {'B', 4}}), PXINFO_EPOCH_CMP_MIXED, {{0, 0}}},
        {"mixed, every replica ahead still reported",
         row({{'A', 3}, {'B', 6}, {'C', 6}}),
         row({{'A', 4}, {'B', 5}, {'C', 5}}),
         PXINFO_EPOCH_CMP_MIXED,
         {{1, 1}, {2, 2}}},
        {"packet-only replica at 0", row({{'A', 5}, {'C', 0}}), row({{'A', 5}}), PXINFO_EPOCH_CMP_EQUAL, {}},
        {"packet-only replica ahead", row({{'A', 5}, {'C', 7}}), row({{'A', 5}}), PXINFO_EPOCH_CMP_GREATER, {{1, -1}}},
        {"target-only replica ahead", row({{'A', 5}}), row({{'A', 5}, {'C', 9}}), PXINFO_EPOCH_CMP_LESS, {}},
        {"target-only replica at 0", row({{'A', 5}}), row({{'A', 5}, {'C', 0}}), PXINFO_EPOCH_CMP_EQUAL, {}},
        {"1 after 2^32-1", row({{'A', 1}}), row({{'A', 4294967295u}}), PXINFO_EPOCH_CMP_GREATER, {{0, 0}}},
        {"2^32-1 before 1", row({{'A', 4294967295u}}), row({{'A', 1}}), PXINFO_EPOCH_CMP_LESS, {}},
        {"2^31 ahead", row({{'A', 0x80000000u}}), row({{'A', 0}}), PXINFO_EPOCH_CMP_LESS, {}},
        {"2^31 behind", row({{'A', 0}}), row({{'A', 0x80000000u}}), PXINFO_EPOCH_CMP_LESS, {}},
        {"2^31-1 ahead", row({{'A', 0x7fffffffu}}), row({{'A', 0}}), PXINFO_EPOCH_CMP_GREATER, {{0, 0}}},
    };
    for (const ResultCase &c : cases) {
        SCOPED_TRACE(c.what);
        Calls calls;
        Outcome outcome = compare(c.packet, c.target, &calls);
        EXPECT_EQ(TBS_ST_OK, outcome.status);
        EXPECT_EQ(c.result, outcome.result);
        std::vector<std::pair<const pxinfo_epoch_row_entry_t *, const pxinfo_epoch_row_entry_t *>> expected;
        for (const auto &call : c.calls)
            expected.emplace_back(&c.packet[call.first], call.second < 0 ? nullptr : &c.target[call.second]);
        EXPECT_EQ(expected, calls.seen);
    }
}

// ---- Failures ---------------------------------------------------------------

TEST(EpochRowCompare, CallbackFailureEndsTheWalkWithItsStatus) {
    pxtest::CapturedMessages messages(1, "pxinfo");
    Calls calls;
    calls.answer = 77;
    Outcome outcome = compare(row({{'A', 6}, {'B', 6}}), row({{'A', 5}, {'B', 5}}), &calls);
    EXPECT_EQ(77u, outcome.status);
    EXPECT_EQ(1u, calls.seen.size());
    EXPECT_EQ(PXINFO_EPOCH_CMP_EQUAL, outcome.result);  // the failing entry was not combined
    std::vector<std::string> traces = detail_traces(messages);
    ASSERT_EQ(2u, traces.size()) << joined(traces);
    EXPECT_EQ(0u, traces[0].rfind("lib/pxinfo/pxinfo_utl:", 0));
    EXPECT_NE(std::string::npos, traces[0].find(": operation 'functor.handle_miscompare' failed: "));
    EXPECT_EQ(0u, traces[1].rfind("lib/pxinfo/pxinfo_utl:", 0));
    EXPECT_NE(std::string::npos, traces[1].find(": failed.\n"));
}

TEST(EpochRowCompare, BadArgumentsEmptyRowsAndIncomparableFamilies) {
    Row a = row({{'A', 1}});
    EXPECT_EQ(TBS_ST_INVALID_ARG,
              pxinfo_epoch_row_compare(1, a.data(), 1, a.data(), nullptr, pxinfo_miscompare_functor_t{}, nullptr));
    int result = -1;
    EXPECT_EQ(TBS_ST_INVALID_ARG,
              pxinfo_epoch_row_compare(1, nullptr, 1, a.data(), nullptr, pxinfo_miscompare_functor_t{}, &result));
    pxtest::CapturedMessages messages;
    Row nulls(1);  // entries naming no replica
    Outcome outcome = compare(nulls, a);
    EXPECT_EQ(TBS_ST_FAILED, outcome.status);
    EXPECT_EQ(-1, outcome.result);  // left unset
    // Empty rows have no family to check; their replicas are all at 0.
    EXPECT_EQ(PXINFO_EPOCH_CMP_EQUAL, compare(Row(), Row()).result);
    EXPECT_EQ(PXINFO_EPOCH_CMP_LESS, compare(Row(), a).result);
    // A replica listed twice in the target row cannot be indexed.
    EXPECT_EQ(TBS_ST_INVALID_ARG, compare(a, row({{'A', 1}, {'A', 2}})).status);
}

TEST(EpochRowCompare, ExhaustedStorageGivesNoMemoryOrInvalidArgAndLeaksNothing) {
    Row packet = row({{'A', 5}, {'B', 3}, {'C', 1}});
    Row target = row({{'A', 5}, {'B', 4}, {'D', 2}});
    Outcome outcome = {TBS_ST_OK, -1};
    stg_fail_allocation(1);
    outcome = compare(packet, target);
    stg_fail_allocation(0);
    EXPECT_EQ(TBS_ST_NO_MEMORY, outcome.status);
    EXPECT_EQ(-1, outcome.result);

    size_t points = pxtest::sweep_allocation_failures(
        [&] { return (outcome = compare(packet, target)).status; },
        [&](tbs_status_t status, unsigned long nth) {
            // The table, its slots and the array of target epochs first;
            // then indexing the target row.
            EXPECT_EQ(nth <= 3 ? TBS_ST_NO_MEMORY : TBS_ST_INVALID_ARG, status) << nth;
        });
    EXPECT_GE(points, 4u);
    EXPECT_EQ(PXINFO_EPOCH_CMP_MIXED, outcome.result);
}

// ---- Traces -----------------------------------------------------------------

// ---- Long rows ----------------------------------------------------------------

// Rows longer than the comparison's look-ahead: replica n of vault family 1,
// for n up to 65535.
pxinfo_selector_t numbered_replica(unsigned n) {
    pxinfo_selector_t selector;
    tbs_uuid_t vault = oid(1), rep = oid(0);
    rep.bytes[1] = static_cast<unsigned char>(n >> 8);
    rep.bytes[2] = static_cast<unsigned char>(n);
    pxinfo_new_vault_selector(&rep, &vault, &selector);
    return selector;
}

Row numbered_row(const std::vector<std::pair<unsigned, pxinfo_epoch_num_t>> &columns) {
    return row_of(columns, numbered_replica);
}

TEST(EpochRowCompare, LongRowsAgreeWithAReplicaByReplicaModel) {
    std::mt19937 random(11);
    for (int round = 0; round < 40; ++round) {
        SCOPED_TRACE(round);
        // Replicas 0..299, each in either row or both, some listed twice in
        // the packet row, epochs mostly equal.
        std::vector<std::pair<unsigned, pxinfo_epoch_num_t>> packet_columns, target_columns;
        for (unsigned n = 0; n < 300; ++n) {
            pxinfo_epoch_num_t epoch = random() % 5;
            unsigned where = random() % 40;
            if (where != 0) packet_columns.emplace_back(n, where == 1 && round % 4 != 0 ? epoch + 1 : epoch);
            if (where != 1 || round % 2 == 0) target_columns.emplace_back(n, where == 2 ? epoch + 1 : epoch);
            if (where == 3) packet_columns.emplace_back(n, epoch);
        }
        std::shuffle(packet_columns.begin(), packet_columns.end(), random);
        std::shuffle(target_columns.begin(), target_columns.end(), random);
        Row packet = numbered_row(packet_columns), target = numbered_row(target_columns);

        // The model: match each packet entry with the first unmatched target
        // entry of its replica, in row order.
        std::map<unsigned, size_t> unmatched;
        for (size_t i = 0; i < target_columns.size(); ++i) unmatched[target_columns[i].first] = i;
        bool ahead = false, behind = false;
        std::vector<std::pair<const pxinfo_epoch_row_entry_t *, const pxinfo_epoch_row_entry_t *>> expected_calls;
        for (size_t i = 0; i < packet_columns.size(); ++i) {
            auto partner = unmatched.find(packet_columns[i].first);
            const pxinfo_epoch_row_entry_t *target_entry = nullptr;
            if (partner != unmatched.end()) {
                target_entry = &target[partner->second];
                unmatched.erase(partner);
            }
            int32_t difference = static_cast<int32_t>(packet[i].epoch - (target_entry ? target_entry->epoch : 0));
            if (difference > 0) expected_calls.emplace_back(&packet[i], target_entry);
            ahead |= difference > 0;
            behind |= difference < 0;
        }
        for (const auto &left : unmatched) behind |= static_cast<int32_t>(0u - target[left.second].epoch) < 0;
        int expected = ahead && behind ? PXINFO_EPOCH_CMP_MIXED
                       : ahead         ? PXINFO_EPOCH_CMP_GREATER
                       : behind        ? PXINFO_EPOCH_CMP_LESS
                                       : PXINFO_EPOCH_CMP_EQUAL;
        Calls calls;
        Outcome outcome = compare(packet, target, &calls);
        EXPECT_EQ(TBS_ST_OK, outcome.status);
        EXPECT_EQ(expected, outcome.result);
        EXPECT_EQ(expected_calls, calls.seen);
    }
}

// ---- Copy, free, null row ---------------------------------------------------

TEST(EpochRows, CopyOwnsItsEntriesAndFreeReleasesThem) {
    Row entries = row({{'A', 5}, {'B', 3}});
    pxinfo_epoch_row_t source = {};
    std::strcpy(source.name, "replica");
    source.count = 2;
    source.entries = entries.data();
    source.row_value2 = 9;
    pxinfo_epoch_row_t copy;
    unsigned long live = stg_live_block_count();
    ASSERT_EQ(TBS_ST_OK, pxinfo_create_new_epoch_row(&source, &copy));
    EXPECT_NE(source.entries, copy.entries);
    EXPECT_STREQ("replica", copy.name);
    EXPECT_EQ(9, copy.row_value2);
    entries[1].epoch = 99;  // the copy does not follow its source
    EXPECT_EQ(3u, copy.entries[1].epoch);
    EXPECT_TRUE(pxinfo_selector_eq(&copy.entries[0].replica, &entries[0].replica));
    EXPECT_EQ(TBS_ST_OK, pxinfo_free_new_epoch_row_entry(&copy));
    EXPECT_EQ(live, stg_live_block_count());

    // Exhaustion leaves a shallow copy; an empty row still gets its own block.
    stg_fail_allocation(1);
    EXPECT_EQ(TBS_ST_NO_MEMORY, pxinfo_create_new_epoch_row(&source, &copy));
    stg_fail_allocation(0);
    EXPECT_EQ(source.entries, copy.entries);
    source.count = -3;
    ASSERT_EQ(TBS_ST_OK, pxinfo_create_new_epoch_row(&source, &copy));
    EXPECT_NE(nullptr, copy.entries);
    EXPECT_EQ(TBS_ST_OK, pxinfo_free_new_epoch_row_entry(&copy));
    EXPECT_EQ(live, stg_live_block_count());

    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_create_new_epoch_row(nullptr, &copy));
    EXPECT_EQ(TBS_ST_INVALID_ARG, pxinfo_free_new_epoch_row_entry(nullptr));
}

TEST(EpochRowCompare, TheExcludedReplicaIsIgnoredInBothRows) {
    pxinfo_selector_t b = replica('B');
    Calls calls;
    EXPECT_EQ(PXINFO_EPOCH_CMP_EQUAL, compare(row({{'A', 5}, {'B', 9}}), row({{'A', 5}, {'B', 1}}), &calls, &b).result);
    EXPECT_EQ(PXINFO_EPOCH_CMP_EQUAL, compare(row({{'A', 5}}), row({{'B', 1}, {'A', 5}}), &calls, &b).result);
    EXPECT_TRUE(calls.seen.empty());
    pxinfo_selector_t none = {};  // a null selector excludes nothing
    EXPECT_EQ(PXINFO_EPOCH_CMP_GREATER, compare(row({{'A', 5}, {'B', 9}}), row({{'A', 5}}), nullptr, &none).result);
}

TEST(EpochRowCompare, RowsOfDifferentFamiliesAreOrderedByFamilyAlone) {
    Row vault_row = row({{'A', 1}});
    Row bb_row(1);
    bb_row[0].epoch = 100;
    ASSERT_EQ(TBS_ST_OK, pxinfo_new_bb_selector("f", "c", "r", "u", &bb_row[0].replica));
    Calls calls;
    unsigned long allocations = stg_allocation_count();
    EXPECT_EQ(PXINFO_EPOCH_CMP_LESS, compare(vault_row, bb_row, &calls).result);
    EXPECT_EQ(PXINFO_EPOCH_CMP_GREATER, compare(bb_row, vault_row, &calls).result);
    EXPECT_EQ(allocations, stg_allocation_count());  // no table was made
    Row other_family = row({{'A', 1}});
    other_family[0].replica = replica('A', 2);
    EXPECT_EQ(PXINFO_EPOCH_CMP_LESS, compare(vault_row, other_family).result);
    EXPECT_TRUE(calls.seen.empty());
}

TEST(EpochRows, NullRowIsEmptyAndTracedOnEntryOnly) {
    Row entries = row({{'A', 5}});
    pxinfo_epoch_row_t target;
    std::memset(&target, 0x55, sizeof target);
    pxtest::CapturedMessages messages(3, "pxinfo");
    pxinfo_make_null_row(&target);
    EXPECT_STREQ("", target.name);
    EXPECT_STREQ("", target.host);
    EXPECT_EQ(0, target.count);
    EXPECT_EQ(nullptr, target.entries);
    EXPECT_EQ(0, target.row_value1);
    EXPECT_EQ(0, target.row_value2);
    ASSERT_EQ(1u, messages.lines().size());
    EXPECT_EQ("into pxinfo_make_null_row..\n", messages.lines()[0].text);
}

}  // namespace

namespace {

// An entry of one vault family whose replicas are numbered.
pxinfo_epoch_row_entry_t numbered_entry(unsigned n, pxinfo_epoch_num_t epoch) {
    pxinfo_epoch_row_entry_t entry{};
    tbs_uuid_t family{}, replica{};
    family.bytes[0] = 0xfa;
    replica.bytes[15] = static_cast<unsigned char>(n);
    EXPECT_EQ(TBS_ST_OK, pxinfo_new_vault_selector(&replica, &family, &entry.replica));
    entry.epoch = epoch;
    return entry;
}

// Rows whose miscompare callback makes one change to them at its first call.
struct ChangingRows {
    std::vector<pxinfo_epoch_row_entry_t> packet, target;
    void (*change)(ChangingRows &);
    int calls = 0;
    static tbs_status_t on_miscompare(const pxinfo_epoch_row_entry_t *, const pxinfo_epoch_row_entry_t *, void *rows) {
        auto &self = *static_cast<ChangingRows *>(rows);
        if (self.calls++ == 0) self.change(self);
        return TBS_ST_OK;
    }
};

// Replicas 0 to 63 at epoch 10, the target's in reverse order and followed by
// replica 100 at epoch 0; the packet is ahead at replica 1, where the callback
// changes a later entry of either row. The outcome is that of taking each
// entry at its own turn, with entry traces on or off.
TEST(EpochRowTurns, ACallbackChangingALaterEntryIsSeenAtThatEntrysTurn) {
    const struct {
        void (*change)(ChangingRows &);
        int result, calls;
    } cases[] = {
        {[](ChangingRows &r) { r.target[63 - 40].epoch = 12; }, PXINFO_EPOCH_CMP_MIXED, 1},
        {[](ChangingRows &r) { r.packet[3].replica = r.target[64].replica; }, PXINFO_EPOCH_CMP_MIXED, 2},
        {[](ChangingRows &r) { r.packet[20].epoch = 9; }, PXINFO_EPOCH_CMP_MIXED, 1},
    };
    for (int verbosity : {0, 5}) {
        for (const auto &c : cases) {
            SCOPED_TRACE(testing::Message() << "case " << (&c - cases) << ", verbosity " << verbosity);
            ChangingRows rows;
            for (unsigned i = 0; i < 64; ++i) {
                rows.packet.push_back(numbered_entry(i, i == 1 ? 11 : 10));
                rows.target.insert(rows.target.begin(), numbered_entry(i, 10));
            }
            rows.target.push_back(numbered_entry(100, 0));
            rows.change = c.change;
            pxtest::CapturedMessages captured(verbosity, "pxinfo");
            int result = 0;
            ASSERT_EQ(TBS_ST_OK, pxinfo_epoch_row_compare(64, rows.packet.data(), 65, rows.target.data(), nullptr,
                                                          {&ChangingRows::on_miscompare, &rows}, &result));
            EXPECT_EQ(c.result, result);
            EXPECT_EQ(c.calls, rows.calls);
        }
    }
}

// An excluded replica that is present but null excludes nothing: it is
// compared with every entry of both rows, each comparison logging the
// internal error that pxinfo_selector_eq logs for it.
TEST(EpochRowTurns, ANullExcludedReplicaIsComparedWithEveryEntry) {
    const pxinfo_selector_t null_selector{};
    const pxinfo_epoch_row_entry_t packet[] = {numbered_entry(1, 5)},
                                   target[] = {numbered_entry(1, 5), numbered_entry(2, 4)};
    pxtest::CapturedMessages captured;
    const unsigned long before = tbs_int_error_count();
    EXPECT_EQ(0, pxinfo_selector_eq(&packet[0].replica, &null_selector));
    const unsigned long per_comparison = tbs_int_error_count() - before;
    int result = 0;
    ASSERT_EQ(TBS_ST_OK, pxinfo_epoch_row_compare(1, packet, 2, target, &null_selector, {}, &result));
    EXPECT_EQ(PXINFO_EPOCH_CMP_LESS, result);
    EXPECT_EQ(4 * per_comparison, tbs_int_error_count() - before);
    EXPECT_GT(per_comparison, 0u);
}

}  // namespace
