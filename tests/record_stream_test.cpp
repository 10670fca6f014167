// The metadata stream of record descriptions and the native API structures:
// exact images, round trips of generated descriptions, the bounds-checked
// readers and the edge cases of LoadFrom and LoadInto.
#include <gtest/gtest.h>

#include <random>

#include "CountingAllocator.h"
#include "RecordWireTestSupport.h"

namespace {

using namespace xts::test;

ByteVector Stream(const XTRecordMetaData& description) {
    ByteVector bytes;
    description.StreamTo(bytes);
    return bytes;
}

// Every member the stream carries (the stream itself), the columns' layout
// and text numbers (ToString) and the record's numbers.
void ExpectSameDescription(const XTRecordMetaData& got, const XTRecordMetaData& want) {
    EXPECT_EQ(Stream(got), Stream(want));
    EXPECT_EQ(got.ToString(), want.ToString());
    EXPECT_EQ(got.GetBinaryRecordSize(), want.GetBinaryRecordSize());
    EXPECT_EQ(got.GetTextRecordSize(), want.GetTextRecordSize());
    EXPECT_EQ(got.GetNullsOffset(), want.GetNullsOffset());
    EXPECT_EQ(got.GetNullIndicatorCount(), want.GetNullIndicatorCount());
}

// The same description laid out aligned again, as a reader lays it out.
XTRecordMetaData AlignedCopy(const XTRecordMetaData& description) {
    XTRecordMetaData copy;
    copy = description;
    copy.GenerateAlignedFieldOffset(description.IsUnicodeRecord(), 0);
    return copy;
}

// ---- Exact images ----

TEST(MetadataStreamTest, ZeroColumnsStreamAsThreeItems) {
    XTRecordMetaData empty;
    empty.GenerateAlignedFieldOffset(true, 0);
    const ByteVector bytes = Stream(empty);
    EXPECT_EQ(bytes, (ByteVector{0, 0, 0, 0, 1, 1}));
    XTRecordMetaData read;
    read.SetFieldCount(2);
    EXPECT_EQ(read.DestreamFrom(bytes), bytes.data() + bytes.size());
    ExpectSameDescription(read, empty);
    EXPECT_EQ(read.GetBinaryRecordSize(), 0u);
    ByteVector appended = {9};
    empty.ToByteVector(appended);
    EXPECT_EQ(appended, (ByteVector{9, 0, 0, 0, 0, 1, 1}));
}

TEST(MetadataStreamTest, ColumnItemsInOrderAndAPackedDescriptionArrivesAligned) {
    XTRecordMetaData description;
    description.SetFieldCount(1);
    description.SetFieldDescriptor(
        0, MakeRefCnt<XTFieldDescriptor>(7, XTVarCharData, 300, true, -2, 3, L"ab", L"\U0001F600",
                                         SUXTDataTypeUtility::kOverrideAsNarrowUTF8Code, 65001));
    description.GeneratePackedFieldOffset(false);
    const ByteVector expected = {
        1, 0,    0,    0, 0,    0,                        // count, wide, aligned (packed)
        7, 0,    2,    0, 0,    0,    0x2C, 1,   0,   0,  // identifier, type, object length 300
        1, 0xFE, 0xFF, 3, 0,                              // nullable, precision, scale
        3, 0,    0,    0, 0xE9, 0xFD, 0,    0,            // unicode property, code page
        2, 0,    0,    0, 'a',  0,    0,    0,   'b', 0, 0, 0,  // name
        1, 0,    0,    0, 0x00, 0xF6, 0x01, 0x00};              // alias
    EXPECT_EQ(Stream(description), expected);
    XTRecordMetaData read;
    EXPECT_EQ(read.DestreamFrom(expected), expected.data() + expected.size());
    EXPECT_TRUE(read.IsAligned());
    EXPECT_EQ(read.GetFieldDescriptor(0)->GetFieldId(), 7);
    ExpectSameDescription(read, AlignedCopy(description));
}

// ---- Round trips and truncations ----

TEST(MetadataStreamTest, GeneratedDescriptionsRoundTripAndEveryTruncationIsRefused) {
    std::mt19937 random(1234);
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        XTRecordMetaData description = MakeRandomDescription(random);
        // Identifiers travel as they are, not as positions.
        for (int32 i = 0; i < description.GetFieldCount(); ++i) {
            const RefCnt<XTFieldDescriptor> c = description.GetFieldDescriptor(i);
            c->SetFieldDescription(static_cast<int32>(random() % 200) - 100, c->GetXTDataType(),
                                   c->GetObjectLength(), c->IsNullable(), c->GetDecimalPrecision(),
                                   c->GetScale(), c->GetFieldName(), c->GetAliasName(),
                                   c->GetColumnUnicodeProperty(), c->GetColumnCodePage());
        }
        if (random() % 2 == 0)
            description.GenerateAlignedFieldOffset(random() % 2 == 0, 0);
        else
            description.GeneratePackedFieldOffset(random() % 2 == 0);
        const ByteVector bytes = Stream(description);
        const XTRecordMetaData want = AlignedCopy(description);

        XTRecordMetaData trusting;
        trusting.SetSupportUnknownDataType(true);
        EXPECT_EQ(trusting.DestreamFrom(bytes), bytes.data() + bytes.size());
        ExpectSameDescription(trusting, want);
        EXPECT_TRUE(trusting.GetSupportUnknownDataType());  // the receiver's own value

        const ExactBuffer exact(bytes.data(), bytes.size());
        XTRecordMetaData checked;
        EXPECT_EQ(checked.DestreamFrom(exact.get(), exact.end()), exact.end());
        ExpectSameDescription(checked, want);
        if (round >= 60) continue;
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            const ExactBuffer prefix(bytes.data(), length);
            ASSERT_EQ(ErrorCodeOf([&] { checked.FromByteVector(prefix.get(), prefix.end()); }),
                      kMsgTruncatedByteVector)
                << "prefix of " << length << " bytes";
        }
        ExpectSameDescription(checked, want);  // unchanged by the refusals
    }
}

TEST(MetadataStreamTest, ColumnReaderKeepsOffsetsAndRefusesTruncation) {
    ByteVector bytes;
    XTFieldDescriptor(3, XTDoubleData, 0, true, 15, 2, L"price", L"p").StreamTo(bytes);
    XTFieldDescriptor read;
    read.SetByteOffset(40);
    read.SetTextOffset(12);
    const ExactBuffer exact(bytes.data(), bytes.size());
    EXPECT_EQ(read.DestreamFrom(exact.get(), exact.end()), exact.end());
    EXPECT_EQ(read.GetByteOffset(), 40u);
    EXPECT_EQ(read.GetTextOffset(), 12u);
    EXPECT_EQ(read.GetTextLength(), 35u);
    EXPECT_EQ(read.GetNullOffset(), 1u);
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        const ExactBuffer prefix(bytes.data(), length);
        EXPECT_EQ(ErrorCodeOf([&] { read.DestreamFrom(prefix.get(), prefix.end()); }),
                  kMsgTruncatedByteVector);
    }
    EXPECT_EQ(read.GetFieldName(), L"price");
}

// ---- Errors ----

// A column stream of type code `type` named "x".
ByteVector ColumnStreamOfType(int32 type) {
    ByteVector bytes;
    XTFieldDescriptor(4, XTInt4Data, 0, true, 1, 0, L"x", L"").StreamTo(bytes);
    DataBlobUtil::ToByteVectorAt(bytes, 2, type);
    return bytes;
}

TEST(MetadataStreamTest, UnsupportedTypePartlyFillsOnlyTheTrustingReaders) {
    for (const int32 type : {15, 17, 26, -1}) {
        SCOPED_TRACE(type);
        const ByteVector column = ColumnStreamOfType(type);
        XTFieldDescriptor trusting, checked;
        EXPECT_TRUE(RaisesError([&] { trusting.DestreamFrom(column.data()); },
                                kMsgUnsupportedDataType, {std::to_wstring(type)}));
        EXPECT_EQ(trusting.GetFieldId(), 4);
        EXPECT_EQ(trusting.GetFieldName(), L"x");
        EXPECT_EQ(ErrorCodeOf(
                      [&] { checked.DestreamFrom(column.data(), column.data() + column.size()); }),
                  kMsgUnsupportedDataType);
        EXPECT_EQ(checked.GetFieldName(), L"");
    }
    // An Int4 column, then a Money column.
    const XTRecordMetaData first = Describe({{XTInt4Data}});
    ByteVector record = Stream(first);
    DataBlobUtil::ToByteVectorAt(record, 0, int32{2});
    const ByteVector money = ColumnStreamOfType(XTMoneyData);
    record.insert(record.end(), money.begin(), money.end());
    XTRecordMetaData trusting, checked = AlignedCopy(first);
    EXPECT_EQ(ErrorCodeOf([&] { trusting.DestreamFrom(record); }), kMsgUnsupportedDataType);
    EXPECT_EQ(trusting.GetFieldCount(), 2);
    EXPECT_EQ(trusting.GetFieldDescriptor(0)->GetXTDataType(), XTInt4Data);
    EXPECT_EQ(
        ErrorCodeOf([&] { checked.DestreamFrom(record.data(), record.data() + record.size()); }),
        kMsgUnsupportedDataType);
    ExpectSameDescription(checked, AlignedCopy(first));
}

TEST(MetadataStreamTest, HugeOrNegativeCountsAreRefusedBeforeReserving) {
    for (const auto& [count, needed] :
         {std::pair<int32, const wchar_t*>{0x7FFFFFFF, L"66571993057"},
          {-1, L"133143986145"},
          {2, L"62"}}) {
        ByteVector bytes;
        DataBlobUtil::ToByteVector(bytes, count);
        bytes.resize(bytes.size() + 42, 0);  // two flags, one empty column, 9 bytes
        XTRecordMetaData description;
        const AllocationCounter counter;
        EXPECT_TRUE(RaisesError(
            [&] { description.FromByteVector(bytes.data(), bytes.data() + bytes.size()); },
            kMsgTruncatedByteVector, {L"column streams", needed, L"40"}));
        EXPECT_LT(counter.Count(), 20u);  // the error's own strings only
        EXPECT_EQ(description.GetFieldCount(), 0);
    }
}

TEST(MetadataStreamDeathTest, TrustingReaderAndWriterAssert) {
    ByteVector bytes;
    DataBlobUtil::ToByteVector(bytes, int32{-1});
    bytes.resize(64, 0);
    XTRecordMetaData description;
    EXPECT_DEATH(description.DestreamFrom(bytes), "fieldCount >= 0");
    description.SetFieldCount(1);
    EXPECT_DEATH(description.StreamTo(bytes), "false");
}

// ---- Native API structures ----

// A native description with room for `capacity` columns, filled with AB bytes.
struct NativeRecord {
    explicit NativeRecord(std::size_t capacity)
        : storage((GetXTSAPIRecordMetadataSize(capacity) + 3) / 4, 0xABABABABu) {
        get()->countFields = static_cast<uint32>(capacity);
    }
    XTSAPI_RecordMetadata* get() {
        return reinterpret_cast<XTSAPI_RecordMetadata*>(storage.data());
    }
    XTSAPI_FieldDescriptor& field(std::size_t i) {
        XTSAPI_FieldDescriptor* fields = get()->fieldDescriptorArray;
        return fields[i];
    }
    std::vector<uint32> storage;
};

TEST(NativeStructureTest, LoadIntoThenLoadFromRoundTrips) {
    std::mt19937 random(99);
    for (int round = 0; round < 100; ++round) {
        const XTRecordMetaData description = MakeRandomDescription(random);
        NativeRecord native(static_cast<std::size_t>(description.GetFieldCount()) + 3);
        description.LoadInto(*native.get());
        EXPECT_EQ(native.get()->countFields, static_cast<uint32>(description.GetFieldCount()));
        XTRecordMetaData loaded;
        loaded.LoadFrom(*native.get());
        // Identifiers become positions; the record is laid out aligned and narrow.
        XTRecordMetaData want;
        XTRecordMetaData::AppendRecordMetaData(want, description);
        want.GenerateAlignedFieldOffset(false, 0);
        ExpectSameDescription(loaded, want);
    }
}

TEST(NativeStructureTest, CapacityNamesAndCount) {
    XTRecordMetaData description;
    description.SetFieldCount(4);
    for (int32 i = 0; i < 4; ++i)
        description.DescribleField(i, XTInt4Data, 0, i == 1, 9, 2,
                                   i == 0 ? XTString(200, L'n') : L"", L"\U0001F600z");
    description.GenerateAlignedFieldOffset(false, 0);

    NativeRecord two(4);
    two.get()->countFields = 2;
    description.LoadInto(*two.get());
    EXPECT_EQ(two.get()->countFields, 2u);
    EXPECT_EQ(two.field(2).type, 0xABABu);  // beyond the capacity: untouched
    EXPECT_EQ(two.field(0).name[127], u'n');
    EXPECT_EQ(two.field(0).name[128], 0);
    EXPECT_EQ(two.field(1).name[0], 0);
    EXPECT_EQ(two.field(1).aliasName[0], 0xF600);  // cut to its low 16 bits
    EXPECT_EQ(two.field(1).aliasName[1], u'z');
    EXPECT_EQ(two.field(0).bNullable + 2 * two.field(1).bNullable, 2);

    NativeRecord ten(10);
    description.LoadInto(*ten.get());
    EXPECT_EQ(ten.get()->countFields, 4u);
    XTRecordMetaData loaded;
    loaded.LoadFrom(*ten.get());
    EXPECT_EQ(loaded.GetFieldDescriptor(0)->GetFieldName(), XTString(128, L'n'));
    EXPECT_EQ(loaded.GetFieldDescriptor(1)->GetAliasName(), L"\uF600z");

    NativeRecord none(1);
    none.get()->countFields = 0;
    description.LoadInto(*none.get());
    EXPECT_EQ(none.field(0).type, 0xABABu);
    loaded.LoadFrom(*none.get());
    EXPECT_EQ(loaded.GetFieldCount(), 0);
    EXPECT_EQ(loaded.GetBinaryRecordSize(), 0u);

    // A name filling all 129 units; a length recomputed by type.
    std::fill(std::begin(ten.field(0).name), std::end(ten.field(0).name), u'q');
    ten.field(0).length = 99;
    loaded.LoadFrom(*ten.get());
    EXPECT_EQ(loaded.GetFieldDescriptor(0)->GetFieldName(), XTString(129, L'q'));
    EXPECT_EQ(loaded.GetFieldDescriptor(0)->GetObjectLength(), 4u);
}

TEST(NativeStructureTest, BigEndianMachineOrderSwapsTheNativeFields) {
    XTRecordMetaData description;
    description.SetFieldCount(1);
    description.DescribleField(0, XTVarCharData, 0x01020304, true, 0x0102, -2, L"A", L"",
                               SUXTDataTypeUtility::kOverrideAsUnicode, 65001);
    description.GenerateAlignedFieldOffset(false, 0);
    NativeRecord native(1);
    description.LoadInto(*native.get(), kBigEndian);
    const XTSAPI_FieldDescriptor& field = native.field(0);
    EXPECT_EQ(field.name[0], 0x4100);
    EXPECT_EQ(field.type, 0x0200);
    EXPECT_EQ(field.precision, 0x0201);
    EXPECT_EQ(field.scale, static_cast<int16>(0xFEFF));
    EXPECT_EQ(field.length, 0x04030201u);
    EXPECT_EQ(field.bNullable, 1);
    EXPECT_EQ(field.unicodeOverride, 0x01000000);
    EXPECT_EQ(field.codePage, 0xE9FD0000u);
    XTRecordMetaData loaded;
    loaded.LoadFrom(*native.get(), kBigEndian);
    ExpectSameDescription(loaded, description);
}

}  // namespace
