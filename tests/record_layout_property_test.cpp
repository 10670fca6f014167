// Layout properties over many generated records (fixed seed): random column
// types, lengths, nullability, wide records and per-column encoding
// overrides, laid out aligned (with a random forced double-word column) and
// packed.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "Utility/Client/SUCXTRecordDescriptor.h"

namespace {

using Util = SUXTDataTypeUtility;
using Unicode = SUXTDataTypeUtility::ColumnUnicodeProperty;

constexpr XTDataType kLayoutTypes[] = {
    XTCharData,          XTVarCharData, XTLongVarCharData, XTBinaryData, XTVarBinaryData,
    XTLongVarBinaryData, XTNumericData, XTDateData,        XTTimeData,   XTDateTimeData,
    XTTimeStampData,     XTBoolean,     XTBitData,         XTObjectData, XTInt1Data,
    XTUInt1Data,         XTInt2Data,    XTUInt2Data,       XTInt4Data,   XTUInt4Data,
    XTFloatData,         XTDoubleData,  XTIntervalData};

// The expected numbers of a column, written from the type tables
// independently of the library.
struct Expected {
    uint32 alignment;
    uint32 bytes;
    uint32 descriptorBoundary;
};

Expected ExpectedFor(XTDataType type, uint32 length, bool wide, bool utf8) {
    const uint32 characterBytes = (length + 1) * (wide ? 4u : utf8 ? 3u : 1u);
    switch (type) {
        case XTCharData:
            return {wide ? 4u : 1u, characterBytes, 4};
        case XTVarCharData:
        case XTLongVarCharData:
            return {4, characterBytes + 4, 4};
        case XTBinaryData:
            return {1, length, 1};
        case XTVarBinaryData:
        case XTLongVarBinaryData:
            return {4, length + 4, 4};
        case XTNumericData:
            return {4, 28, 1};
        case XTDateData:
            return {4, 6, 2};
        case XTTimeData:
            return {4, 12, 4};
        case XTDateTimeData:
        case XTTimeStampData:
            return {4, 16, 4};
        case XTObjectData:
            return {8, length, 8};
        case XTInt2Data:
        case XTUInt2Data:
            return {2, 2, 2};
        case XTInt4Data:
        case XTUInt4Data:
        case XTFloatData:
        case XTIntervalData:
            return {4, 4, 4};
        case XTDoubleData:
            return {8, 8, 8};
        default:
            return {1, 1, 1};  // Bit, Boolean, Int1, UInt1
    }
}

uint32 RoundUp(uint32 value, uint32 alignment) {
    return (value + alignment - 1) / alignment * alignment;
}

struct GeneratedRecord {
    XTRecordMetaData record;
    bool wide = false;
};

GeneratedRecord Generate(std::mt19937& random, int32 columns) {
    GeneratedRecord generated;
    generated.wide = random() % 2 == 0;
    generated.record.SetFieldCount(columns);
    for (int32 i = 0; i < columns; ++i) {
        const XTDataType type = kLayoutTypes[random() % std::size(kLayoutTypes)];
        uint32 length = random() % 4 == 0 ? 0 : random() % 300;
        // The first value never takes 0 bytes, so no null byte lands at
        // offset 0 (where it would read as "not nullable"; tested apart).
        if (i == 0 && length == 0) length = 1;
        const bool nullable = random() % 2 == 0;
        const auto unicode = static_cast<Unicode>(random() % 4);
        const auto precision = static_cast<int16>(static_cast<int>(random() % 40) - 5);
        generated.record.DescribleField(i, type, length, nullable, precision, 0, L"", L"", unicode);
    }
    return generated;
}

struct Snapshot {
    std::vector<uint32> byteOffsets, nullOffsets, textOffsets;
    uint32 size, nulls, text;
    bool operator==(const Snapshot&) const = default;
};

Snapshot Take(const XTRecordMetaData& record) {
    Snapshot s{{},
               {},
               {},
               record.GetBinaryRecordSize(),
               record.GetNullsOffset(),
               record.GetTextRecordSize()};
    for (const auto& column : record.GetFieldDescriptorArray()) {
        s.byteOffsets.push_back(column->GetByteOffset());
        s.nullOffsets.push_back(column->GetNullOffset());
        s.textOffsets.push_back(column->GetTextOffset());
    }
    return s;
}

// Properties shared by both layouts: values inside the record and apart,
// null bytes after the values in column order, text offsets.
void CheckCommonProperties(const XTRecordMetaData& record, bool wide) {
    struct Extent {
        uint32 begin, end;
    };
    std::vector<Extent> extents;
    uint32 nextNull = record.GetNullsOffset();
    uint32 text = 0;
    int32 nullable = 0;
    for (int32 i = 0; i < record.GetFieldCount(); ++i) {
        const auto column = record.GetFieldDescriptor(i);
        const bool columnWide =
            wide || column->GetColumnUnicodeProperty() == Util::kOverrideAsUnicode;
        const bool utf8 = column->GetColumnUnicodeProperty() == Util::kOverrideAsNarrowUTF8Code;
        const Expected e =
            ExpectedFor(column->GetXTDataType(), column->GetObjectLength(), columnWide, utf8);
        const uint32 begin = column->GetByteOffset();
        ASSERT_LE(begin + e.bytes, record.GetNullsOffset()) << "column " << i;
        if (e.bytes > 0) extents.push_back({begin, begin + e.bytes});
        if (column->IsNullable()) {
            ASSERT_EQ(column->GetNullOffset(), nextNull++) << "column " << i;
            ++nullable;
        }
        ASSERT_EQ(column->GetTextOffset(), text);
        text += column->GetTextLength() + 1;
    }
    ASSERT_EQ(record.GetNullIndicatorCount(), nullable);
    ASSERT_EQ(record.GetTextRecordSize(), text);
    if (record.GetFieldCount() > 0) {
        ASSERT_LE(nextNull, record.GetBinaryRecordSize());
    }
    std::sort(extents.begin(), extents.end(),
              [](const Extent& a, const Extent& b) { return a.begin < b.begin; });
    for (std::size_t i = 1; i < extents.size(); ++i)
        ASSERT_LE(extents[i - 1].end, extents[i].begin) << "overlapping values";
}

// Aligned layout: every value at a multiple of its alignment with no more
// padding than that needs (after the forced step), and the record rounded to
// the alignment of the type with the largest descriptor boundary.
void CheckAlignedLayout(const XTRecordMetaData& record, bool wide, int32 forceAt) {
    uint32 offset = 0;
    uint32 largestBoundary = 0;
    uint32 roundTo = 1;
    for (int32 i = 0; i < record.GetFieldCount(); ++i) {
        const auto column = record.GetFieldDescriptor(i);
        const bool columnWide =
            wide || column->GetColumnUnicodeProperty() == Util::kOverrideAsUnicode;
        const bool utf8 = column->GetColumnUnicodeProperty() == Util::kOverrideAsNarrowUTF8Code;
        const XTDataType type = column->GetXTDataType();
        const Expected e = ExpectedFor(type, column->GetObjectLength(), columnWide, utf8);
        if (i == forceAt) offset += offset & 7;
        const uint32 begin = column->GetByteOffset();
        ASSERT_EQ(begin % e.alignment, 0u) << "column " << i;
        ASSERT_GE(begin, offset);
        ASSERT_LT(begin - offset, e.alignment) << "column " << i;
        offset = begin + e.bytes;
        if (e.descriptorBoundary > largestBoundary) {
            largestBoundary = e.descriptorBoundary;
            roundTo = ExpectedFor(type, 0, wide, false).alignment;  // the record's encoding
        }
    }
    ASSERT_EQ(record.GetNullsOffset(), offset);
    const uint32 end = offset + static_cast<uint32>(record.GetNullIndicatorCount());
    ASSERT_EQ(record.GetBinaryRecordSize(),
              record.GetFieldCount() == 0 ? 0 : RoundUp(end, roundTo));
    ASSERT_TRUE(record.IsAligned());
    ASSERT_EQ(record.IsUnicodeRecord(), wide);
}

// Packed layout: values back to back from 0, null bytes right after, no
// rounding.
void CheckPackedLayout(const XTRecordMetaData& record, bool wide) {
    uint32 offset = 0;
    for (int32 i = 0; i < record.GetFieldCount(); ++i) {
        const auto column = record.GetFieldDescriptor(i);
        const bool columnWide =
            wide || column->GetColumnUnicodeProperty() == Util::kOverrideAsUnicode;
        const bool utf8 = column->GetColumnUnicodeProperty() == Util::kOverrideAsNarrowUTF8Code;
        ASSERT_EQ(column->GetByteOffset(), offset) << "column " << i;
        offset +=
            ExpectedFor(column->GetXTDataType(), column->GetObjectLength(), columnWide, utf8).bytes;
    }
    ASSERT_EQ(record.GetNullsOffset(), offset);
    ASSERT_EQ(record.GetBinaryRecordSize(),
              offset + static_cast<uint32>(record.GetNullIndicatorCount()));
    ASSERT_FALSE(record.IsAligned());
}

TEST(LayoutProperties, GeneratedRecords) {
    std::mt19937 random(20240917);
    for (int iteration = 0; iteration < 600; ++iteration) {
        const int32 columns = iteration % 100 == 99 ? 1200 + static_cast<int32>(random() % 300)
                                                    : static_cast<int32>(random() % 40);
        GeneratedRecord g = Generate(random, columns);
        const int32 forceAt = random() % 3 == 0 ? 0 : static_cast<int32>(random() % (columns + 1));
        SCOPED_TRACE("iteration " + std::to_string(iteration) + ", " + std::to_string(columns) +
                     " columns, force at " + std::to_string(forceAt));

        g.record.GenerateAlignedFieldOffset(g.wide, forceAt);
        ASSERT_NO_FATAL_FAILURE(CheckCommonProperties(g.record, g.wide));
        ASSERT_NO_FATAL_FAILURE(CheckAlignedLayout(g.record, g.wide, forceAt));
        const Snapshot aligned = Take(g.record);
        g.record.GenerateAlignedFieldOffset(g.wide, forceAt);
        ASSERT_EQ(Take(g.record), aligned) << "a re-run moved something";

        g.record.GeneratePackedFieldOffset(g.wide);
        ASSERT_NO_FATAL_FAILURE(CheckCommonProperties(g.record, g.wide));
        ASSERT_NO_FATAL_FAILURE(CheckPackedLayout(g.record, g.wide));
        const Snapshot packed = Take(g.record);
        g.record.GeneratePackedFieldOffset(g.wide);
        ASSERT_EQ(Take(g.record), packed);

        // Back to aligned: the packed offsets count as nullability markers.
        g.record.GenerateAlignedFieldOffset(g.wide, forceAt);
        ASSERT_EQ(Take(g.record), aligned);

        // A deep copy of an aligned description is laid out again, without
        // a forced column.
        const XTRecordMetaData copy = g.record;
        g.record.GenerateAlignedFieldOffset(g.wide, 0);
        ASSERT_EQ(Take(copy), Take(g.record));
    }
}

}  // namespace
