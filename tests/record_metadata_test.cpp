// XTRecordMetaData: building descriptions, the aligned and packed layouts
// (worked examples, every rule, errors and partial results), copies,
// appending, sorting, shared descriptors, and layout properties over many
// generated records.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "RecordLayoutTestSupport.h"
#include "Utility/Client/SUCXTRecordDescriptor.h"
#include "Utility/Generic/SUGErrorMessage.h"

namespace {

using xts::test::MakeRawTypeDescriptor;
using xts::test::RaisesError;
using Util = SUXTDataTypeUtility;
using Unicode = SUXTDataTypeUtility::ColumnUnicodeProperty;

struct Column {
    XTDataType type;
    uint32 length = 0;
    bool nullable = false;
    Unicode unicode = Util::kAcceptRecordDefault;
    int16 precision = 0;
};

XTRecordMetaData MakeRecord(const std::vector<Column>& columns) {
    XTRecordMetaData record;
    record.SetFieldCount(static_cast<int32>(columns.size()));
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const Column& c = columns[i];
        record.DescribleField(static_cast<int32>(i), c.type, c.length, c.nullable, c.precision, 0,
                              L"c" + std::to_wstring(i), L"", c.unicode);
    }
    return record;
}

uint32 ByteOffset(const XTRecordMetaData& record, int32 i) {
    return record.GetFieldDescriptor(i)->GetByteOffset();
}
uint32 NullOffset(const XTRecordMetaData& record, int32 i) {
    return record.GetFieldDescriptor(i)->GetNullOffset();
}

std::vector<uint32> ByteOffsets(const XTRecordMetaData& record) {
    std::vector<uint32> offsets;
    for (int32 i = 0; i < record.GetFieldCount(); ++i)
        offsets.push_back(ByteOffset(record, i));
    return offsets;
}

// ---- Worked examples ----

TEST(AlignedLayout, Int1DoubleNullableInt2) {
    XTRecordMetaData record = MakeRecord({{XTInt1Data}, {XTDoubleData}, {XTInt2Data, 0, true}});
    record.GenerateAlignedFieldOffset(false, 0);
    EXPECT_EQ(ByteOffsets(record), (std::vector<uint32>{0, 8, 16}));
    EXPECT_EQ(record.GetNullsOffset(), 18u);
    EXPECT_EQ(NullOffset(record, 2), 18u);
    EXPECT_EQ(NullOffset(record, 0), 0u);
    EXPECT_EQ(record.GetNullIndicatorCount(), 1);
    EXPECT_EQ(record.GetBinaryRecordSize(), 24u);  // rounded to Double's 8
    EXPECT_EQ(record.GetTextRecordSize(), (4u + 1) + (20u + 1) + (6u + 1));
    EXPECT_EQ(record.GetFieldDescriptor(1)->GetTextOffset(), 5u);
    EXPECT_EQ(record.GetFieldDescriptor(2)->GetTextOffset(), 26u);
    EXPECT_TRUE(record.IsAligned());
    EXPECT_FALSE(record.IsUnicodeRecord());
}

TEST(PackedLayout, Int1DoubleNullableInt2) {
    XTRecordMetaData record = MakeRecord({{XTInt1Data}, {XTDoubleData}, {XTInt2Data, 0, true}});
    record.GeneratePackedFieldOffset(true);
    EXPECT_EQ(ByteOffsets(record), (std::vector<uint32>{0, 1, 9}));
    EXPECT_EQ(record.GetNullsOffset(), 11u);
    EXPECT_EQ(NullOffset(record, 2), 11u);
    EXPECT_EQ(record.GetBinaryRecordSize(), 12u);
    EXPECT_EQ(record.GetTextRecordSize(), 33u);
    EXPECT_FALSE(record.IsAligned());
    EXPECT_TRUE(record.IsUnicodeRecord());
}

TEST(AlignedLayout, CharLengthAndAlignmentFollowTheEncoding) {
    struct Case {
        bool wideRecord;
        Unicode unicode;
        uint32 charOffset;
        uint32 recordSize;
    };
    // Int1 at 0, then Char(10): narrow 11 bytes at alignment 1, wide 44 at 4,
    // UTF-8 33 at 1. The record rounds to Char's alignment in the record's
    // own encoding (Char has the largest boundary of the descriptor table).
    for (const Case& c : {Case{false, Util::kAcceptRecordDefault, 1, 12},
                          Case{true, Util::kAcceptRecordDefault, 4, 48},
                          Case{false, Util::kOverrideAsUnicode, 4, 48},
                          Case{false, Util::kOverrideAsNarrowUTF8Code, 1, 34},
                          Case{false, Util::kOverrideAsNarrowCode, 1, 12},
                          Case{true, Util::kOverrideAsNarrowCode, 4, 48},
                          Case{true, Util::kOverrideAsNarrowUTF8Code, 4, 48}}) {
        XTRecordMetaData record = MakeRecord({{XTInt1Data}, {XTCharData, 10, false, c.unicode}});
        record.GenerateAlignedFieldOffset(c.wideRecord, 0);
        EXPECT_EQ(ByteOffset(record, 1), c.charOffset) << c.wideRecord << " " << c.unicode;
        EXPECT_EQ(record.GetBinaryRecordSize(), c.recordSize) << c.wideRecord << " " << c.unicode;
    }
    // A wide override in a narrow record: the column is wide, the rounding is
    // by the record's (narrow) alignment of Char, 1.
    XTRecordMetaData record = MakeRecord({{XTCharData, 2, true, Util::kOverrideAsUnicode}});
    record.GenerateAlignedFieldOffset(false, 0);
    EXPECT_EQ(record.GetNullsOffset(), 12u);
    EXPECT_EQ(record.GetBinaryRecordSize(), 13u);
}

TEST(AlignedLayout, RoundingFollowsTheTypeWithTheLargestDescriptorBoundary) {
    struct Case {
        std::vector<Column> columns;
        uint32 nullsOffset;
        uint32 recordSize;
    };
    const std::vector<Case> cases = {
        // Numeric: boundary 1 in the descriptor table, alignment 4 here. Int1
        // comes first with the same boundary 1, so no rounding at all.
        {{{XTInt1Data, 0, true}, {XTNumericData}}, 32, 33},
        // Date: boundary 2, alignment 4.
        {{{XTDateData}, {XTInt1Data}}, 7, 8},
        // Object: 8 and 8.
        {{{XTInt1Data}, {XTObjectData, 3}}, 11, 16},
        // Ties keep the earlier column: Int4 (4) before VarChar (4).
        {{{XTInt4Data}, {XTVarCharData, 1, true}}, 10, 12},
        // Binary's alignment is 1 whatever its length.
        {{{XTBinaryData, 3, true}}, 3, 4},
        {{{XTBitData, 0, true}, {XTBoolean, 0, true}}, 2, 4},
    };
    for (const Case& c : cases) {
        XTRecordMetaData record = MakeRecord(c.columns);
        record.GenerateAlignedFieldOffset(false, 0);
        EXPECT_EQ(record.GetNullsOffset(), c.nullsOffset);
        EXPECT_EQ(record.GetBinaryRecordSize(), c.recordSize);
    }
}

TEST(AlignedLayout, ForcedDoubleWordStepAddsTheLowThreeBits) {
    struct Case {
        uint32 firstLength;  // a Binary column at offset 0
        uint32 secondOffset;
    };
    // offset + (offset AND 7): 4 -> 8, 6 -> 12, 9 -> 10, 16 -> 16, 0 -> 0.
    for (const Case& c : {Case{4, 8}, Case{6, 12}, Case{9, 10}, Case{16, 16}, Case{0, 0},
                          Case{7, 14}, Case{15, 22}}) {
        XTRecordMetaData record = MakeRecord({{XTBinaryData, c.firstLength}, {XTInt1Data}});
        record.GenerateAlignedFieldOffset(false, 1);
        EXPECT_EQ(ByteOffset(record, 1), c.secondOffset) << c.firstLength;
        record.GenerateAlignedFieldOffset(false, 0);
        EXPECT_EQ(ByteOffset(record, 1), c.firstLength) << c.firstLength;
    }
    // After a 6-byte Date the second column starts at 12 before its own
    // alignment; a Double then goes to 16.
    XTRecordMetaData record = MakeRecord({{XTDateData}, {XTInt2Data}, {XTDoubleData}});
    record.GenerateAlignedFieldOffset(false, 1);
    EXPECT_EQ(ByteOffsets(record), (std::vector<uint32>{0, 12, 16}));
    // An index beyond the columns, or negative, forces nothing.
    for (const int32 at : {3, 100, -1}) {
        record.GenerateAlignedFieldOffset(false, at);
        EXPECT_EQ(ByteOffsets(record), (std::vector<uint32>{0, 6, 8}));
    }
}

TEST(AlignedLayout, ToleratedUnknownColumnResetsTheRunningOffset) {
    XTRecordMetaData record;
    record.SetFieldCount(3);
    record.DescribleField(0, XTInt4Data, 0, false, 0, 0, L"a", L"");
    record.DescribleField(1, XTUnknown, 0, false, 0, 0, L"u", L"");
    record.DescribleField(2, XTInt2Data, 0, false, 0, 0, L"b", L"");
    EXPECT_TRUE(RaisesError([&] { record.GenerateAlignedFieldOffset(false, 0); },
                            kMsgUnsupportedDataType, {L"25"}));
    record.SetSupportUnknownDataType(true);
    record.GenerateAlignedFieldOffset(false, 0);
    // Alignment 0 puts the Unknown column at 0 and the next one starts again
    // at 0: the tolerance is for descriptions that are inspected, not filled.
    EXPECT_EQ(ByteOffsets(record), (std::vector<uint32>{0, 0, 0}));
    EXPECT_EQ(record.GetNullsOffset(), 2u);
    EXPECT_EQ(record.GetBinaryRecordSize(), 4u);
    EXPECT_EQ(record.GetTextRecordSize(), 13u + 1 + 7);
    // The packed layout never tolerates it.
    EXPECT_TRUE(RaisesError([&] { record.GeneratePackedFieldOffset(false); },
                            kMsgUnsupportedDataType, {L"25"}));
}

TEST(AlignedLayout, ToleratedTypesWithoutAnyBoundaryRoundToZero) {
    XTRecordMetaData record;
    record.SetSupportUnknownDataType(true);
    record.SetFieldCount(3);
    record.SetFieldDescriptor(0, MakeRawTypeDescriptor(XTMoneyData, 8, true));
    record.SetFieldDescriptor(1, MakeRawTypeDescriptor(XTDecimalData, 8));
    record.SetFieldDescriptor(2, MakeRawTypeDescriptor(static_cast<XTDataType>(40), 8));
    record.GenerateAlignedFieldOffset(false, 0);
    EXPECT_EQ(ByteOffsets(record), (std::vector<uint32>{0, 0, 0}));
    EXPECT_EQ(NullOffset(record, 0), 0u);  // a null byte at 0 ...
    EXPECT_EQ(record.GetNullIndicatorCount(), 1);
    EXPECT_EQ(record.GetBinaryRecordSize(), 0u);  // ... of a record of size 0
}

TEST(Layout, EmptyRecordHasSizesZero) {
    XTRecordMetaData record;
    EXPECT_EQ(record.GetFieldCount(), 0);
    EXPECT_FALSE(record.IsAligned());
    EXPECT_FALSE(record.IsUnicodeRecord());
    EXPECT_FALSE(record.GetSupportUnknownDataType());
    record.GenerateAlignedFieldOffset(true, 0);
    EXPECT_EQ(record.GetBinaryRecordSize(), 0u);
    EXPECT_EQ(record.GetTextRecordSize(), 0u);
    EXPECT_EQ(record.GetNullsOffset(), 0u);
    EXPECT_TRUE(record.IsAligned());
    EXPECT_TRUE(record.IsUnicodeRecord());
    record.GeneratePackedFieldOffset(false);
    EXPECT_EQ(record.GetBinaryRecordSize(), 0u);
    EXPECT_FALSE(record.IsAligned());
}

TEST(Layout, RerunRecognisesEarlierOffsetsAsNullableMarkers) {
    XTRecordMetaData record =
        MakeRecord({{XTInt4Data, 0, true}, {XTCharData, 3, false}, {XTDoubleData, 0, true}});
    record.GenerateAlignedFieldOffset(false, 0);
    const std::vector<uint32> aligned = ByteOffsets(record);
    const uint32 firstNull = NullOffset(record, 0);
    const uint32 lastNull = NullOffset(record, 2);
    record.GeneratePackedFieldOffset(false);
    EXPECT_EQ(record.GetNullIndicatorCount(), 2);
    EXPECT_EQ(NullOffset(record, 1), 0u);
    record.GenerateAlignedFieldOffset(false, 0);
    EXPECT_EQ(ByteOffsets(record), aligned);
    EXPECT_EQ(NullOffset(record, 0), firstNull);
    EXPECT_EQ(NullOffset(record, 2), lastNull);
    EXPECT_EQ(record.GetNullIndicatorCount(), 2);
}

// ---- Errors and partial results ----

TEST(LayoutErrors, EmptySlotStopsTheLayoutHalfway) {
    XTRecordMetaData record = MakeRecord({{XTInt1Data}, {XTDoubleData, 0, true}, {XTInt2Data}});
    record.GeneratePackedFieldOffset(false);
    const uint32 packedSize = record.GetBinaryRecordSize();
    const uint32 packedNulls = record.GetNullsOffset();
    record.SetFieldDescriptor(2, RefCnt<XTFieldDescriptor>());
    EXPECT_TRUE(RaisesError([&] { record.GenerateAlignedFieldOffset(true, 0); },
                            kMsgEmptyFieldDescriptor, {L"2"}));
    // The visited columns have their new offsets, the null count is 0, the
    // other numbers and flags are those of the packed layout.
    EXPECT_EQ(ByteOffset(record, 1), 8u);
    EXPECT_EQ(NullOffset(record, 1), packedNulls);
    EXPECT_EQ(record.GetNullIndicatorCount(), 0);
    EXPECT_EQ(record.GetBinaryRecordSize(), packedSize);
    EXPECT_EQ(record.GetNullsOffset(), packedNulls);
    EXPECT_FALSE(record.IsAligned());
    EXPECT_FALSE(record.IsUnicodeRecord());
    EXPECT_TRUE(RaisesError([&] { record.GeneratePackedFieldOffset(false); },
                            kMsgEmptyFieldDescriptor, {L"2"}));

    XTRecordMetaData grown;
    grown.SetFieldCount(1);
    EXPECT_TRUE(RaisesError([&] { grown.GenerateAlignedFieldOffset(false, 0); },
                            kMsgEmptyFieldDescriptor, {L"0"}));
}

TEST(LayoutErrors, UnsupportedTypesRaiseWithTheirCode) {
    for (const XTDataType type :
         {XTMoneyData, XTDecimalData, XTMaxType, static_cast<XTDataType>(-7)}) {
        XTRecordMetaData record;
        record.SetFieldCount(2);
        record.DescribleField(0, XTInt4Data, 0, false, 0, 0, L"", L"");
        record.SetFieldDescriptor(1, MakeRawTypeDescriptor(type, 4));
        const std::vector<XTString> code{std::to_wstring(type)};
        record.GetFieldDescriptor(1)->SetByteOffset(99);
        EXPECT_TRUE(RaisesError([&] { record.GenerateAlignedFieldOffset(false, 0); },
                                kMsgUnsupportedDataType, code));
        EXPECT_EQ(ByteOffset(record, 1), 99u);  // refused before its offset is stored
        EXPECT_TRUE(RaisesError([&] { record.GeneratePackedFieldOffset(false); },
                                kMsgUnsupportedDataType, code));
        EXPECT_EQ(ByteOffset(record, 1), 4u);  // the packed walk stores it first
    }
}

TEST(LayoutErrors, RecordsBeyond32BitsAreRefused) {
    XTRecordMetaData record =
        MakeRecord({{XTBinaryData, 0x80000000u}, {XTBinaryData, 0x80000000u}});
    EXPECT_TRUE(RaisesError([&] { record.GeneratePackedFieldOffset(false); }, kMsgValueTooLong,
                            {L"4294967296", L"4294967295"}));
    XTRecordMetaData wide = MakeRecord({{XTCharData, 0x40000000u}});
    EXPECT_TRUE(RaisesError([&] { wide.GenerateAlignedFieldOffset(true, 0); }, kMsgValueTooLong,
                            {L"4294967300", L"4294967295"}));
    wide.GenerateAlignedFieldOffset(false, 0);  // narrow it fits
    EXPECT_EQ(wide.GetBinaryRecordSize(), 0x40000001u);
    // The last byte of a 32-bit record is usable; one null byte more is not.
    // A wide Char(0x3FFFFFFE) takes 0xFFFFFFFC bytes but only 0x3FFFFFFF
    // characters of text.
    const Column huge{XTCharData, 0x3FFFFFFEu};
    XTRecordMetaData full = MakeRecord({huge, {XTInt1Data, 0, true}, {XTInt1Data}});
    full.GeneratePackedFieldOffset(true);
    EXPECT_EQ(full.GetBinaryRecordSize(), 0xFFFFFFFFu);
    EXPECT_EQ(full.GetNullsOffset(), 0xFFFFFFFEu);
    // Aligned, the same record would round up to 2^32.
    EXPECT_TRUE(RaisesError([&] { full.GenerateAlignedFieldOffset(true, 0); }, kMsgValueTooLong,
                            {L"4294967296", L"4294967295"}));
    EXPECT_EQ(full.GetBinaryRecordSize(), 0xFFFFFFFFu);  // the previous layout's
    XTRecordMetaData over = MakeRecord({huge, {XTInt1Data, 0, true}, {XTInt1Data, 0, true}});
    EXPECT_TRUE(RaisesError([&] { over.GeneratePackedFieldOffset(true); }, kMsgValueTooLong,
                            {L"4294967296", L"4294967295"}));
    EXPECT_EQ(over.GetNullIndicatorCount(), 0);
    EXPECT_EQ(NullOffset(over, 1), 1u);  // still the marker
    // The text record has the same bound.
    XTRecordMetaData text = MakeRecord({{XTBinaryData, 0xFFFFFFFFu}});
    EXPECT_TRUE(RaisesError([&] { text.GeneratePackedFieldOffset(false); }, kMsgValueTooLong,
                            {L"4294967296", L"4294967295"}));
}

TEST(Layout, ANullByteAtOffsetZeroReadsAsNotNullable) {
    // Only when every value takes 0 bytes: the null byte's offset 0 is also
    // the "not nullable" marker, so the next layout drops it.
    XTRecordMetaData record = MakeRecord({{XTBinaryData, 0, true}, {XTObjectData, 0, true}});
    record.GenerateAlignedFieldOffset(false, 0);
    EXPECT_EQ(NullOffset(record, 0), 0u);
    EXPECT_EQ(NullOffset(record, 1), 1u);
    EXPECT_EQ(record.GetNullIndicatorCount(), 2);
    EXPECT_EQ(record.GetBinaryRecordSize(), 8u);
    record.GenerateAlignedFieldOffset(false, 0);
    EXPECT_FALSE(record.GetFieldDescriptor(0)->IsNullable());
    EXPECT_EQ(NullOffset(record, 1), 0u);
    EXPECT_EQ(record.GetNullIndicatorCount(), 1);
}

TEST(BuildingErrors, PositionsOutOfRangeRaise46030WithPositionAndCount) {
    XTRecordMetaData record = MakeRecord({{XTInt4Data}, {XTInt2Data}});
    const auto descriptor = MakeRefCnt<XTFieldDescriptor>();
    for (const int32 position : {2, 3, -1}) {
        const std::vector<XTString> args{std::to_wstring(position), L"2"};
        EXPECT_TRUE(RaisesError(
            [&] { record.DescribleField(position, XTInt1Data, 0, false, 0, 0, L"", L""); },
            kMsgFieldPositionOutOfRange, args));
        EXPECT_TRUE(RaisesError([&] { record.SetFieldDescriptor(position, descriptor); },
                                kMsgFieldPositionOutOfRange, args));
        EXPECT_TRUE(RaisesError([&] { record.GetFieldDescriptor(position); },
                                kMsgFieldPositionOutOfRange, args));
    }
    EXPECT_EQ(descriptor->GetRefCount(), 1);
    // A refused type leaves the slot as it was.
    const RefCnt<XTFieldDescriptor> before = record.GetFieldDescriptor(1);
    EXPECT_TRUE(
        RaisesError([&] { record.DescribleField(1, XTMoneyData, 8, false, 0, 0, L"", L""); },
                    kMsgUnsupportedDataType, {L"15"}));
    EXPECT_EQ(record.GetFieldDescriptor(1), before);
}

TEST(BuildingErrors, FieldByDescriptorIdFindsTheFirstMatch) {
    XTRecordMetaData record = MakeRecord({{XTInt4Data}, {XTInt2Data}, {XTInt1Data}});
    record.SetFieldDescriptor(
        0, MakeRefCnt<XTFieldDescriptor>(7, XTBitData, 0, false, 0, 0, L"first", L""));
    record.SetFieldDescriptor(
        2, MakeRefCnt<XTFieldDescriptor>(7, XTBitData, 0, false, 0, 0, L"second", L""));
    EXPECT_EQ(record.GetFieldByDescriptorId(7)->GetFieldName(), L"first");
    EXPECT_EQ(record.GetFieldByDescriptorId(1)->GetFieldName(), L"c1");
    EXPECT_TRUE(
        RaisesError([&] { record.GetFieldByDescriptorId(0); }, kMsgNoFieldWithIdentifier, {L"0"}));
    EXPECT_TRUE(RaisesError([&] { record.GetFieldByDescriptorId(70000); },
                            kMsgNoFieldWithIdentifier, {L"70000"}));
}

TEST(SetFieldNullable, MarksTheRangeAndLaysOutAligned) {
    XTRecordMetaData record = MakeRecord({{XTInt1Data}, {XTDoubleData}, {XTInt2Data}, {XTBitData}});
    record.GeneratePackedFieldOffset(true);
    record.SetFieldNullable(1, 2);
    EXPECT_TRUE(record.IsAligned());
    EXPECT_TRUE(record.IsUnicodeRecord());  // the record's own flag is kept
    EXPECT_EQ(ByteOffsets(record), (std::vector<uint32>{0, 8, 16, 18}));
    EXPECT_EQ(record.GetNullIndicatorCount(), 2);
    EXPECT_EQ(NullOffset(record, 1), 19u);
    EXPECT_EQ(NullOffset(record, 2), 20u);
    EXPECT_EQ(NullOffset(record, 3), 0u);
    record.SetFieldNullable(0, 0);  // nothing marked, still laid out again
    EXPECT_EQ(record.GetNullIndicatorCount(), 2);

    XTRecordMetaData all = MakeRecord({{XTInt1Data}, {XTDoubleData}});
    all.GeneratePackedFieldOffset(false);
    all.SetFieldNullable(0, all.GetFieldCount());
    EXPECT_TRUE(all.IsAligned());
    EXPECT_EQ(all.GetNullIndicatorCount(), 2);
    EXPECT_EQ(all.GetBinaryRecordSize(), 24u);
}

TEST(SetFieldNullable, BadRangesChangeNothing) {
    XTRecordMetaData record = MakeRecord({{XTInt1Data}, {XTDoubleData}, {XTInt2Data}});
    record.GeneratePackedFieldOffset(false);
    const XTString before = record.ToString();
    EXPECT_TRUE(RaisesError([&] { record.SetFieldNullable(2, 2); }, kMsgFieldPositionOutOfRange,
                            {L"4", L"3"}));
    EXPECT_TRUE(RaisesError([&] { record.SetFieldNullable(0, -1); }, kMsgFieldPositionOutOfRange,
                            {L"-1", L"3"}));
    EXPECT_TRUE(RaisesError([&] { record.SetFieldNullable(-2, 3); }, kMsgFieldPositionOutOfRange,
                            {L"-2", L"3"}));
    EXPECT_TRUE(RaisesError([&] { record.SetFieldNullable(0x7FFFFFFF, 0x7FFFFFFF); },
                            kMsgFieldPositionOutOfRange, {L"4294967294", L"3"}));
    EXPECT_EQ(record.ToString(), before);
    EXPECT_FALSE(record.IsAligned());
}

TEST(SetFieldCount, ResizesAndReleases) {
    XTRecordMetaData record = MakeRecord({{XTInt1Data}, {XTDoubleData}, {XTInt2Data}});
    const RefCnt<XTFieldDescriptor> last = record.GetFieldDescriptor(2);
    EXPECT_EQ(last->GetRefCount(), 2);
    record.SetFieldCount(2);
    EXPECT_EQ(last->GetRefCount(), 1);
    record.SetFieldCount(4);
    EXPECT_EQ(record.GetFieldCount(), 4);
    EXPECT_TRUE(record.GetFieldDescriptor(3).IsNull());
    EXPECT_FALSE(record.GetFieldDescriptor(1).IsNull());
}

TEST(Queries, UnicodeColumnsAndSimpleDescriptors) {
    XTRecordMetaData record =
        MakeRecord({{XTCharData, 4},
                    {XTCharData, 4, true, Util::kOverrideAsUnicode},
                    {XTVarCharData, 4, false, Util::kOverrideAsNarrowUTF8Code}});
    record.GenerateAlignedFieldOffset(false, 0);
    EXPECT_FALSE(record.IsUnicodeColumn(0));
    EXPECT_TRUE(record.IsUnicodeColumn(1));
    EXPECT_FALSE(record.IsUnicodeColumn(2));
    std::vector<XTSimpleFieldDescriptor> simple{XTSimpleFieldDescriptor{}};
    record.GetXTSimpleFieldDescriptorVector(simple);  // appends
    ASSERT_EQ(simple.size(), 4u);
    EXPECT_EQ(simple[1], (XTSimpleFieldDescriptor{XTCharData, 4, 0, 0, 1}));
    EXPECT_EQ(simple[2], (XTSimpleFieldDescriptor{XTCharData, 4, 8, 47, 4}));
    EXPECT_EQ(simple[3], (XTSimpleFieldDescriptor{XTVarCharData, 4, 28, 0, 4}));
    record.GenerateAlignedFieldOffset(true, 0);
    for (int32 i = 0; i < 3; ++i)
        EXPECT_TRUE(record.IsUnicodeColumn(i));
}

TEST(QueriesDeathTest, UnicodeColumnBeyondTheCountAsserts) {
    XTRecordMetaData record = MakeRecord({{XTCharData, 4}});
    EXPECT_DEATH((void)record.IsUnicodeColumn(1), "Assertion failed: columnIndex < fieldCount_");
    EXPECT_DEATH((void)record.IsUnicodeColumn(-1), "Assertion failed");
}

TEST(QueriesDeathTest, EmptySlotsMetByQueriesAssert) {
    XTRecordMetaData record;
    record.SetFieldCount(2);
    EXPECT_DEATH((void)record.GetFieldByDescriptorId(3), "Assertion failed");
    EXPECT_DEATH((void)record.IsUnicodeColumn(0), "Assertion failed");
}

// ---- Static tables ----

TEST(AlignmentBoundary, MaskAndModuloPaths) {
    struct Case {
        uint32 boundary;
        uint32 offset;
        uint32 mask;
        uint32 modulo;
    };
    const Case cases[] = {
        {4, 0, 0, 0}, {4, 1, 4, 4},  {4, 4, 4, 4},           {4, 5, 8, 8}, {8, 9, 16, 16},
        {1, 7, 7, 7}, {2, 3, 4, 4},  {0, 0, 0, 0},           {0, 5, 0, 0}, {0, 0xFFFFFFFF, 0, 0},
        {3, 4, 4, 6}, {6, 7, 8, 12}, {8, 0xFFFFFFF9u, 0, 0},  // wraps past 32 bits
    };
    ASSERT_TRUE(bIsDivisorPowerOfTwo);  // the value at load
    for (const Case& c : cases)
        EXPECT_EQ(XTRecordMetaData::GetAlignmentBoundary(c.boundary, c.offset), c.mask)
            << c.boundary << " " << c.offset;
    bIsDivisorPowerOfTwo = false;
    for (const Case& c : cases)
        EXPECT_EQ(XTRecordMetaData::GetAlignmentBoundary(c.boundary, c.offset), c.modulo)
            << c.boundary << " " << c.offset;
    // The layout follows the flag too and agrees for the tables' boundaries.
    XTRecordMetaData record = MakeRecord({{XTInt1Data}, {XTDoubleData}, {XTInt2Data, 0, true}});
    record.GenerateAlignedFieldOffset(false, 0);
    bIsDivisorPowerOfTwo = true;
    EXPECT_EQ(ByteOffsets(record), (std::vector<uint32>{0, 8, 16}));
    EXPECT_EQ(record.GetBinaryRecordSize(), 24u);

    EXPECT_EQ(XTRecordMetaData::GetAlignmentBoundary(XTDoubleData, 9, false, false), 16u);
    EXPECT_EQ(XTRecordMetaData::GetAlignmentBoundary(XTCharData, 9, false, false), 9u);
    EXPECT_EQ(XTRecordMetaData::GetAlignmentBoundary(XTCharData, 9, true, false), 12u);
    EXPECT_EQ(XTRecordMetaData::GetAlignmentBoundary(XTUnknown, 9, false, true), 0u);
}

struct LayoutTypeRow {
    XTDataType type;
    uint32 alignNarrow, alignWide;
    uint32 bytesNarrow, bytesUtf8, bytesWide;  // with L = 10
};

class LayoutTypeTable : public ::testing::TestWithParam<LayoutTypeRow> {};

TEST_P(LayoutTypeTable, AlignmentAndByteLength) {
    const LayoutTypeRow& r = GetParam();
    for (const bool tolerate : {false, true}) {
        EXPECT_EQ(XTRecordMetaData::GetAlignmentBoundaryForDataType(r.type, false, tolerate),
                  r.alignNarrow);
        EXPECT_EQ(XTRecordMetaData::GetAlignmentBoundaryForDataType(r.type, true, tolerate),
                  r.alignWide);
        EXPECT_EQ(XTRecordMetaData::GetByteLength(r.type, 10, false, false, tolerate),
                  r.bytesNarrow);
        EXPECT_EQ(XTRecordMetaData::GetByteLength(r.type, 10, false, true, tolerate), r.bytesUtf8);
        EXPECT_EQ(XTRecordMetaData::GetByteLength(r.type, 10, true, false, tolerate), r.bytesWide);
        EXPECT_EQ(XTRecordMetaData::GetByteLength(r.type, 10, true, true, tolerate), r.bytesWide);
    }
}

INSTANTIATE_TEST_SUITE_P(
    AllTypes, LayoutTypeTable,
    ::testing::Values(
        LayoutTypeRow{XTBitData, 1, 1, 1, 1, 1}, LayoutTypeRow{XTCharData, 1, 4, 11, 33, 44},
        LayoutTypeRow{XTVarCharData, 4, 4, 15, 37, 48},
        LayoutTypeRow{XTLongVarCharData, 4, 4, 15, 37, 48},
        LayoutTypeRow{XTBinaryData, 1, 1, 10, 10, 10},
        LayoutTypeRow{XTVarBinaryData, 4, 4, 14, 14, 14},
        LayoutTypeRow{XTLongVarBinaryData, 4, 4, 14, 14, 14},
        LayoutTypeRow{XTInt1Data, 1, 1, 1, 1, 1}, LayoutTypeRow{XTUInt1Data, 1, 1, 1, 1, 1},
        LayoutTypeRow{XTInt2Data, 2, 2, 2, 2, 2}, LayoutTypeRow{XTUInt2Data, 2, 2, 2, 2, 2},
        LayoutTypeRow{XTInt4Data, 4, 4, 4, 4, 4}, LayoutTypeRow{XTUInt4Data, 4, 4, 4, 4, 4},
        LayoutTypeRow{XTFloatData, 4, 4, 4, 4, 4}, LayoutTypeRow{XTDoubleData, 8, 8, 8, 8, 8},
        LayoutTypeRow{XTNumericData, 4, 4, 28, 28, 28}, LayoutTypeRow{XTDateData, 4, 4, 6, 6, 6},
        LayoutTypeRow{XTTimeData, 4, 4, 12, 12, 12},
        LayoutTypeRow{XTDateTimeData, 4, 4, 16, 16, 16},
        LayoutTypeRow{XTTimeStampData, 4, 4, 16, 16, 16},
        LayoutTypeRow{XTIntervalData, 4, 4, 4, 4, 4}, LayoutTypeRow{XTObjectData, 8, 8, 10, 10, 10},
        LayoutTypeRow{XTBoolean, 1, 1, 1, 1, 1}));

TEST(LayoutTypeTableErrors, UnsupportedTypesAreZeroOnlyWhenTolerated) {
    for (const XTDataType type :
         {XTMoneyData, XTDecimalData, XTUnknown, XTMaxType, static_cast<XTDataType>(-1)}) {
        const std::vector<XTString> code{std::to_wstring(type)};
        EXPECT_EQ(XTRecordMetaData::GetAlignmentBoundaryForDataType(type, true, true), 0u);
        EXPECT_EQ(XTRecordMetaData::GetByteLength(type, 10, true, false, true), 0u);
        EXPECT_TRUE(RaisesError(
            [&] { XTRecordMetaData::GetAlignmentBoundaryForDataType(type, false, false); },
            kMsgUnsupportedDataType, code));
        EXPECT_TRUE(
            RaisesError([&] { XTRecordMetaData::GetByteLength(type, 10, false, false, false); },
                        kMsgUnsupportedDataType, code));
        EXPECT_TRUE(
            RaisesError([&] { XTRecordMetaData::GetAlignmentBoundary(type, 3, false, false); },
                        kMsgUnsupportedDataType, code));
    }
    EXPECT_TRUE(RaisesError(
        [] { XTRecordMetaData::GetByteLength(XTCharData, 0xFFFFFFFFu, false, false, false); },
        kMsgValueTooLong, {L"4294967296", L"4294967295"}));
    EXPECT_EQ(XTRecordMetaData::GetByteLength(XTBinaryData, 0xFFFFFFFFu, false, false, false),
              0xFFFFFFFFu);
}

// ---- Copies, shared descriptors, appending, sorting ----

TEST(Assignment, AlignedSourceIsCopiedDeeplyAndLaidOutAgain) {
    XTRecordMetaData source =
        MakeRecord({{XTInt1Data}, {XTCharData, 3, true}, {XTDoubleData, 0, true}});
    source.SetSupportUnknownDataType(true);
    source.GenerateAlignedFieldOffset(true, 0);
    XTRecordMetaData target = MakeRecord({{XTBitData}});
    target.GeneratePackedFieldOffset(false);
    target = source;
    EXPECT_EQ(target.ToString(), source.ToString());
    EXPECT_TRUE(target.IsAligned());
    EXPECT_TRUE(target.IsUnicodeRecord());
    EXPECT_TRUE(target.GetSupportUnknownDataType());
    EXPECT_EQ(target.GetBinaryRecordSize(), source.GetBinaryRecordSize());
    EXPECT_EQ(target.GetNullIndicatorCount(), 2);
    for (int32 i = 0; i < 3; ++i) {
        EXPECT_NE(target.GetFieldDescriptor(i).Get(), source.GetFieldDescriptor(i).Get());
        EXPECT_EQ(target.GetFieldDescriptorArray()[static_cast<std::size_t>(i)]->GetRefCount(), 1);
    }
    // The copies are independent of the source's descriptors.
    source.GetFieldDescriptor(1)->ResetFieldName(L"changed", L"");
    EXPECT_EQ(target.GetFieldDescriptor(1)->GetFieldName(), L"c1");
    XTRecordMetaData constructed(source);
    EXPECT_EQ(constructed.ToString(), source.ToString());
    EXPECT_TRUE(constructed.IsAligned());
}

TEST(Assignment, PackedSourceKeepsTheTargetFlags) {
    XTRecordMetaData source = MakeRecord({{XTInt1Data}, {XTDoubleData, 0, true}});
    source.GeneratePackedFieldOffset(false);
    XTRecordMetaData target = MakeRecord({{XTBitData}});
    target.GenerateAlignedFieldOffset(true, 0);
    target = source;
    // Copied packed offsets and numbers under the target's own flags.
    EXPECT_TRUE(target.IsAligned());
    EXPECT_TRUE(target.IsUnicodeRecord());
    EXPECT_EQ(ByteOffsets(target), (std::vector<uint32>{0, 1}));
    EXPECT_EQ(target.GetBinaryRecordSize(), 10u);
    EXPECT_EQ(target.GetNullsOffset(), 9u);
    EXPECT_EQ(NullOffset(target, 1), 9u);
    XTRecordMetaData constructed(source);
    EXPECT_FALSE(constructed.IsAligned());
    EXPECT_EQ(ByteOffsets(constructed), (std::vector<uint32>{0, 1}));
}

TEST(Assignment, SelfAssignmentAndEmptySlots) {
    XTRecordMetaData record = MakeRecord({{XTInt1Data}, {XTDoubleData}});
    record.GeneratePackedFieldOffset(false);
    const RefCnt<XTFieldDescriptor> first = record.GetFieldDescriptor(0);
    XTRecordMetaData& alias = record;
    record = alias;
    EXPECT_EQ(record.GetFieldDescriptor(0), first);
    EXPECT_EQ(ByteOffsets(record), (std::vector<uint32>{0, 1}));

    XTRecordMetaData holes;
    holes.SetFieldCount(2);
    holes.DescribleField(1, XTInt4Data, 0, false, 0, 0, L"", L"");
    XTRecordMetaData copy;
    copy = holes;  // a packed (never laid out) source: no layout, empty slot kept
    EXPECT_TRUE(copy.GetFieldDescriptor(0).IsNull());
    EXPECT_EQ(copy.GetFieldDescriptor(1)->GetXTDataType(), XTInt4Data);
}

TEST(SharedDescriptors, ALayoutRewritesTheSharedOffsetsForBothRecords) {
    const auto shared =
        MakeRefCnt<XTFieldDescriptor>(9, XTDoubleData, 0, true, 0, 0, L"shared", L"");
    XTRecordMetaData first = MakeRecord({{XTInt1Data}, {XTInt1Data}});
    XTRecordMetaData second = MakeRecord({{XTInt2Data}, {XTInt2Data}});
    first.SetFieldDescriptor(1, shared);
    second.SetFieldDescriptor(0, shared);
    EXPECT_EQ(shared->GetRefCount(), 3);
    first.GenerateAlignedFieldOffset(false, 0);
    EXPECT_EQ(first.GetFieldDescriptor(1)->GetByteOffset(), 8u);
    EXPECT_EQ(first.GetFieldDescriptor(1)->GetNullOffset(), 16u);
    second.GeneratePackedFieldOffset(false);
    // The first record's description now shows the second one's offsets.
    EXPECT_EQ(first.GetFieldDescriptor(1)->GetByteOffset(), 0u);
    EXPECT_EQ(first.GetFieldDescriptor(1)->GetNullOffset(), 10u);
    EXPECT_EQ(first.GetBinaryRecordSize(), 24u);  // its own numbers are unchanged
    first.SetFieldCount(0);
    EXPECT_EQ(shared->GetRefCount(), 2);
}

TEST(AppendRecordMetaData, AppendsCopiesWithNewIdentifiersAndTheInputWideFlag) {
    XTRecordMetaData output = MakeRecord({{XTInt4Data}});
    XTRecordMetaData input;
    input.SetFieldCount(2);
    input.SetFieldDescriptor(
        0, MakeRefCnt<XTFieldDescriptor>(40, XTCharData, 5, false, 0, 0, L"name", L"n",
                                         Util::kOverrideAsNarrowUTF8Code, 1252));
    input.SetFieldDescriptor(
        1, MakeRefCnt<XTFieldDescriptor>(41, XTDoubleData, 0, true, 15, 3, L"amount", L"a"));
    input.GenerateAlignedFieldOffset(true, 0);
    XTRecordMetaData::AppendRecordMetaData(output, input);
    ASSERT_EQ(output.GetFieldCount(), 3);
    EXPECT_TRUE(output.IsUnicodeRecord());
    EXPECT_TRUE(output.IsAligned());
    const auto name = output.GetFieldDescriptor(1);
    EXPECT_NE(name.Get(), input.GetFieldDescriptor(0).Get());
    EXPECT_EQ(name->GetFieldId(), 1);
    EXPECT_EQ(name->GetFieldName(), L"name");
    EXPECT_EQ(name->GetAliasName(), L"n");
    EXPECT_EQ(name->GetColumnUnicodeProperty(), Util::kOverrideAsNarrowUTF8Code);
    EXPECT_EQ(name->GetColumnCodePage(), 1252u);
    const auto amount = output.GetFieldDescriptor(2);
    EXPECT_EQ(amount->GetFieldId(), 2);
    EXPECT_TRUE(amount->IsNullable());
    EXPECT_EQ(amount->GetDecimalPrecision(), 15);
    EXPECT_EQ(amount->GetScale(), 3);
    // Int4 at 0, wide Char(5) at 4 (24 bytes), Double at 28 -> 32.
    EXPECT_EQ(ByteOffsets(output), (std::vector<uint32>{0, 4, 32}));
    EXPECT_EQ(output.GetBinaryRecordSize(), 48u);

    // Appending a description to itself doubles it; appending an empty one
    // lays the output out again with the empty one's (narrow) flag.
    XTRecordMetaData::AppendRecordMetaData(output, output);
    EXPECT_EQ(output.GetFieldCount(), 6);
    EXPECT_EQ(output.GetFieldDescriptor(5)->GetFieldName(), L"amount");
    EXPECT_EQ(output.GetFieldDescriptor(5)->GetFieldId(), 5);
    XTRecordMetaData::AppendRecordMetaData(output, XTRecordMetaData());
    EXPECT_EQ(output.GetFieldCount(), 6);
    EXPECT_FALSE(output.IsUnicodeRecord());
}

TEST(SortRecordMetaDataOnFieldId, OrdersByIdentifierKeepingOffsetsAndTies) {
    XTRecordMetaData record;
    record.SetFieldCount(5);
    const int16 ids[] = {3, 1, 2, -4, 1};
    for (int32 i = 0; i < 5; ++i) {
        record.SetFieldDescriptor(i,
                                  MakeRefCnt<XTFieldDescriptor>(ids[i], XTInt4Data, 0, false, 0, 0,
                                                                L"p" + std::to_wstring(i), L""));
    }
    record.GenerateAlignedFieldOffset(false, 0);
    XTRecordMetaData::SortRecordMetaDataOnFieldId(record);
    std::vector<std::pair<int16, XTString>> order;
    for (int32 i = 0; i < 5; ++i) {
        const auto column = record.GetFieldDescriptor(i);
        order.emplace_back(column->GetFieldId(), column->GetFieldName());
    }
    EXPECT_EQ(order, (std::vector<std::pair<int16, XTString>>{
                         {-4, L"p3"}, {1, L"p1"}, {1, L"p4"}, {2, L"p2"}, {3, L"p0"}}));
    EXPECT_EQ(ByteOffsets(record), (std::vector<uint32>{12, 4, 16, 8, 0}));

    XTRecordMetaData single = MakeRecord({{XTInt1Data}});
    XTRecordMetaData::SortRecordMetaDataOnFieldId(single);
    EXPECT_EQ(single.GetFieldCount(), 1);
    XTRecordMetaData none;
    XTRecordMetaData::SortRecordMetaDataOnFieldId(none);
}

}  // namespace
