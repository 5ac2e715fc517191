// Record layouts: every public record keeps the size and field offsets that
// the tables in tests/layout/ pin for x86-64 and for i386 (the product's
// platform), and the two tables agree wherever a record does not hold
// pointers or system time records. scripts/layout-table rewrites the tables
// after a deliberate change; a change that nobody meant fails here.
#include <gtest/gtest.h>

#include <cstddef>
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

}  // namespace
