// Record layouts: every public record keeps the size and field offsets that
// the tables in tests/layout/ pin for x86-64 and for i386 (the product's
// platform), and the two tables agree wherever a record does not hold
// pointers or system time records. scripts/layout-table rewrites the tables
// after a deliberate change; a change that nobody meant fails here.
#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "pxinfo/pxinfo.h"

namespace {

// What a field holds: only a fixed field has the same size everywhere.
enum class Kind { fixed, pointer, native };

struct RecordRow {
    const char *record;
    size_t size;
};

struct FieldRow {
    const char *record;
    const char *field;
    size_t offset;
    size_t size;
    Kind kind;
};

struct Table {
    std::vector<RecordRow> records;
    std::vector<FieldRow> fields;
};

// --- the tables as written ------------------------------------------------

#define PXINFO_LAYOUT_RECORD(record, size) {#record, size},
#define PXINFO_LAYOUT_FIELD(record, field, offset, size, kind)
const RecordRow kX86_64Records[] = {
#include "layout/x86_64.inc"
};
const RecordRow kI386Records[] = {
#include "layout/i386.inc"
};
#undef PXINFO_LAYOUT_RECORD
#undef PXINFO_LAYOUT_FIELD

#define PXINFO_LAYOUT_RECORD(record, size)
#define PXINFO_LAYOUT_FIELD(record, field, offset, size, kind) {#record, #field, offset, size, Kind::kind},
const FieldRow kX86_64Fields[] = {
#include "layout/x86_64.inc"
};
const FieldRow kI386Fields[] = {
#include "layout/i386.inc"
};
#undef PXINFO_LAYOUT_RECORD
#undef PXINFO_LAYOUT_FIELD

template <size_t R, size_t F>
Table make_table(const RecordRow (&records)[R], const FieldRow (&fields)[F]) {
    return Table{std::vector<RecordRow>(records, records + R), std::vector<FieldRow>(fields, fields + F)};
}

const Table &x86_64_table() {
    static const Table table = make_table(kX86_64Records, kX86_64Fields);
    return table;
}

const Table &i386_table() {
    static const Table table = make_table(kI386Records, kI386Fields);
    return table;
}

// --- the same records as this compiler lays them out ----------------------

#if defined(__i386__)
#define PXINFO_LAYOUT_THIS_TABLE "layout/i386.inc"
const char *const kThisPlatform = "i386";
const Table &this_table() { return i386_table(); }
#elif defined(__x86_64__)
#define PXINFO_LAYOUT_THIS_TABLE "layout/x86_64.inc"
const char *const kThisPlatform = "x86_64";
const Table &this_table() { return x86_64_table(); }
#endif

#ifdef PXINFO_LAYOUT_THIS_TABLE
#define PXINFO_LAYOUT_RECORD(record, size) {#record, sizeof(record)},
#define PXINFO_LAYOUT_FIELD(record, field, offset, size, kind)
const RecordRow kMeasuredRecords[] = {
#include PXINFO_LAYOUT_THIS_TABLE
};
#undef PXINFO_LAYOUT_RECORD
#undef PXINFO_LAYOUT_FIELD

#define PXINFO_LAYOUT_RECORD(record, size)
#define PXINFO_LAYOUT_FIELD(record, field, offset, size, kind) \
    {#record, #field, offsetof(record, field), sizeof(static_cast<record *>(nullptr)->field), Kind::kind},
const FieldRow kMeasuredFields[] = {
#include PXINFO_LAYOUT_THIS_TABLE
};
#undef PXINFO_LAYOUT_RECORD
#undef PXINFO_LAYOUT_FIELD
#endif

std::string field_name(const FieldRow &f) { return std::string(f.record) + "." + f.field; }

// The fields of each record, in order, by record name.
std::map<std::string, std::vector<FieldRow>> fields_by_record(const Table &table) {
    std::map<std::string, std::vector<FieldRow>> by_record;
    for (const FieldRow &f : table.fields) by_record[f.record].push_back(f);
    return by_record;
}

std::map<std::string, size_t> sizes_by_record(const Table &table) {
    std::map<std::string, size_t> sizes;
    for (const RecordRow &r : table.records) sizes[r.record] = r.size;
    return sizes;
}

TEST(Layout, EveryRecordHasThePinnedSizeAndFieldOffsetsOnThisPlatform) {
#ifndef PXINFO_LAYOUT_THIS_TABLE
    GTEST_SKIP() << "no layout table for this platform";
#else
    const Table &pinned = this_table();
    ASSERT_EQ(std::size(kMeasuredRecords), pinned.records.size());
    ASSERT_EQ(std::size(kMeasuredFields), pinned.fields.size());
    for (size_t i = 0; i < pinned.records.size(); ++i)
        EXPECT_EQ(kMeasuredRecords[i].size, pinned.records[i].size)
            << "size of " << pinned.records[i].record << " on " << kThisPlatform;
    for (size_t i = 0; i < pinned.fields.size(); ++i) {
        const FieldRow &want = pinned.fields[i];
        EXPECT_EQ(kMeasuredFields[i].offset, want.offset)
            << "offset of " << field_name(want) << " on " << kThisPlatform;
        EXPECT_EQ(kMeasuredFields[i].size, want.size) << "size of " << field_name(want) << " on " << kThisPlatform;
    }
#endif
}

// The core records of the interface are pinned on both platforms, so that a
// table that lost records cannot pass unnoticed.
TEST(Layout, BothTablesHoldTheInterfacesRecords) {
    // clang-format off
    const char *const core[] = {
        "tbs_uuid_t", "imsg_msg_table_t", "pxinfo_selector_t", "pxinfo_replica_set_selector_t",
        "pxinfo_sync_job_id_pair_t", "pxinfo_replica_reference_t", "pxinfo_replica_info_t",
        "pxinfo_epoch_row_t", "pxinfo_epoch_row_entry_t", "pxinfo_family_epoch_status_t",
        "pxinfo_family_sync_status_t", "pxinfo_sync_attempt_data_t", "pxinfo_msg_list_t",
        "pxinfo_packet_info_t", "pxinfo_packet_info_v6_t", "pxinfo_setting_val_t",
        "pxinfo_kv_pkt_header_3_t", "pxinfo_shp_order_t",
    };
    // clang-format on
    const auto x86_64 = sizes_by_record(x86_64_table());
    const auto i386 = sizes_by_record(i386_table());
    for (const char *name : core) {
        EXPECT_EQ(x86_64.count(name), 1u) << name << " missing from the x86_64 table";
        EXPECT_EQ(i386.count(name), 1u) << name << " missing from the i386 table";
    }
}

TEST(Layout, BothTablesListTheSameRecordsAndFieldsOfTheSameKinds) {
    const Table &a = x86_64_table();
    const Table &b = i386_table();
    ASSERT_EQ(a.records.size(), b.records.size()) << "regenerate both tables with scripts/layout-table";
    for (size_t i = 0; i < a.records.size(); ++i) EXPECT_STREQ(a.records[i].record, b.records[i].record);
    ASSERT_EQ(a.fields.size(), b.fields.size()) << "regenerate both tables with scripts/layout-table";
    for (size_t i = 0; i < a.fields.size(); ++i) {
        EXPECT_EQ(field_name(a.fields[i]), field_name(b.fields[i]));
        EXPECT_EQ(a.fields[i].kind, b.fields[i].kind) << field_name(a.fields[i]);
    }
}

// Fields that hold no pointer and no system time record have one size on
// both platforms, and so does a record made only of them; fixed fields keep
// the same offset up to the first field whose size follows the platform. A
// `long` where 32 bits are meant, or a 64-bit field that i386 aligns to 4
// bytes after an odd number of words, breaks this.
TEST(Layout, FixedWidthFieldsHaveOneSizeAndPlaceOnBothPlatforms) {
    const auto x86_64 = fields_by_record(x86_64_table());
    const auto i386 = fields_by_record(i386_table());
    const auto x86_64_sizes = sizes_by_record(x86_64_table());
    const auto i386_sizes = sizes_by_record(i386_table());
    for (const auto &[record, wide] : x86_64) {
        auto it = i386.find(record);
        if (it == i386.end() || it->second.size() != wide.size()) continue;  // reported by the test above
        const std::vector<FieldRow> &narrow = it->second;
        bool same_places = true;
        bool all_fixed = true;
        for (size_t i = 0; i < wide.size(); ++i) {
            const std::string name = field_name(wide[i]);
            switch (wide[i].kind) {
            case Kind::fixed:
                EXPECT_EQ(wide[i].size, narrow[i].size) << "size of " << name;
                if (same_places) {
                    EXPECT_EQ(wide[i].offset, narrow[i].offset) << "offset of " << name;
                }
                break;
            case Kind::pointer:
                EXPECT_EQ(wide[i].size, 8u) << name;
                EXPECT_EQ(narrow[i].size, 4u) << name;
                same_places = all_fixed = false;
                break;
            case Kind::native: same_places = all_fixed = false; break;
            }
        }
        if (all_fixed) {
            EXPECT_EQ(x86_64_sizes.at(record), i386_sizes.at(record)) << "size of " << record;
        }
    }
}

}  // namespace
