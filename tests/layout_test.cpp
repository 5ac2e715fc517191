// Record layouts: every public record keeps the size and field offsets that
// the tables in tests/layout/ pin for x86-64 and for i386 (the product's
// platform), and the two tables describe the same fields, of the same kinds,
// a fixed field with the same size on both. scripts/layout-table rewrites the
// tables after a deliberate change; a change that nobody meant fails here.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "pxinfo/pxinfo.h"

namespace {

// What a field holds: only a fixed field has the same size everywhere.
enum class Kind { fixed, pointer, native };

// A record is a row without a field name (offset 0, the record's size).
struct Row {
    const char *record, *field;
    size_t offset, size;
    Kind kind;
};

#define PXINFO_LAYOUT_RECORD(record, size) {#record, "", 0, size, Kind::fixed},
#define PXINFO_LAYOUT_FIELD(record, field, offset, size, kind) {#record, #field, offset, size, Kind::kind},
const Row kX86_64[] = {
#include "layout/x86_64.inc"
};
const Row kI386[] = {
#include "layout/i386.inc"
};
#undef PXINFO_LAYOUT_RECORD
#undef PXINFO_LAYOUT_FIELD

// The same records as this compiler lays them out.
#if defined(__x86_64__) || defined(__i386__)
#if defined(__x86_64__)
#define PXINFO_LAYOUT_THIS_TABLE "layout/x86_64.inc"
const auto &kPinned = kX86_64;
#else
#define PXINFO_LAYOUT_THIS_TABLE "layout/i386.inc"
const auto &kPinned = kI386;
#endif
#define PXINFO_LAYOUT_RECORD(record, size) {#record, "", 0, sizeof(record), Kind::fixed},
#define PXINFO_LAYOUT_FIELD(record, field, offset, size, kind) \
    {#record, #field, offsetof(record, field), sizeof(static_cast<record *>(nullptr)->field), Kind::kind},
const Row kMeasured[] = {
#include PXINFO_LAYOUT_THIS_TABLE
};
#undef PXINFO_LAYOUT_RECORD
#undef PXINFO_LAYOUT_FIELD
#endif

std::string name_of(const Row &row) { return std::string(row.record) + "." + row.field; }

// This compiler's layout matches its platform's table; both tables list the
// same fields of the same kinds, a fixed field with one size on both.
TEST(Layout, RecordsKeepThePinnedSizesAndOffsets) {
    ASSERT_EQ(std::size(kX86_64), std::size(kI386)) << "regenerate both tables with scripts/layout-table";
    for (size_t i = 0; i < std::size(kI386); ++i) {
        const bool fixed_field = kI386[i].kind == Kind::fixed && kI386[i].field[0] != '\0';
        EXPECT_TRUE(name_of(kX86_64[i]) == name_of(kI386[i]) && kX86_64[i].kind == kI386[i].kind &&
                    (!fixed_field || kX86_64[i].size == kI386[i].size))
            << name_of(kI386[i]);
#ifdef PXINFO_LAYOUT_THIS_TABLE
        EXPECT_TRUE(kPinned[i].offset == kMeasured[i].offset && kPinned[i].size == kMeasured[i].size)
            << name_of(kPinned[i]) << " at " << kMeasured[i].offset << ", " << kMeasured[i].size << " bytes";
#endif
    }
}

}  // namespace
