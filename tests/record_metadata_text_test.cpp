// XTRecordMetaData: reading columns of a binary record (GetInt64FromRecord,
// GetStringFromRecord) and the exact diagnostic formats (PrintRecordMetaData,
// ToString).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "RecordLayoutTestSupport.h"
#include "Utility/Client/SUCXTRecordDescriptor.h"
#include "Utility/Generic/SUGErrorMessage.h"
#include "Utility/Generic/SUGTarvelNumber.h"
#include "Utility/Generic/SUGXTDateTime.h"

namespace {

using xts::test::CaptureOutput;
using xts::test::MakeRawTypeDescriptor;
using xts::test::RaisesError;
using Util = SUXTDataTypeUtility;

// A record description with its buffer, and writers of values by column.
class RecordUnderTest {
  public:
    void Add(XTDataType type, uint32 length = 0, bool nullable = false, int16 precision = 0,
             SUXTDataTypeUtility::ColumnUnicodeProperty unicode = Util::kAcceptRecordDefault) {
        m_columns.push_back({type, length, nullable, precision, unicode});
    }
    void Layout(bool wide, bool packed = false) {
        m_metaData.SetFieldCount(static_cast<int32>(m_columns.size()));
        for (std::size_t i = 0; i < m_columns.size(); ++i) {
            const Column& c = m_columns[i];
            m_metaData.DescribleField(static_cast<int32>(i), c.type, c.length, c.nullable,
                                      c.precision, 0, L"", L"", c.unicode);
        }
        if (packed)
            m_metaData.GeneratePackedFieldOffset(wide);
        else
            m_metaData.GenerateAlignedFieldOffset(wide, 0);
        m_buffer.assign(m_metaData.GetBinaryRecordSize(), 0);
    }
    template <class T>
    void Set(int32 column, const T& value) {
        std::memcpy(At(column), &value, sizeof value);
    }
    void SetWide(int32 column, const std::wstring& text, bool withPrefix, uint32 prefix = 0) {
        unsigned char* p = At(column);
        if (withPrefix) {
            std::memcpy(p, &prefix, sizeof prefix);
            p += sizeof prefix;
        }
        std::memcpy(p, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    }
    void SetNumeric(int32 column, const wchar_t* text) {
        TarvelNumber number;
        ASSERT_TRUE(TarvelNumber::TryParse(text, number));
        number.ToBuffer(At(column));
    }
    void SetNull(int32 column, unsigned char value = 1) {
        m_buffer.at(m_metaData.GetFieldDescriptor(column)->GetNullOffset()) = value;
    }
    XTString Text(int32 column) const {
        return XTRecordMetaData::GetStringFromRecord(m_metaData, m_buffer.data(), column);
    }
    int64 Int64(int32 column) const {
        return XTRecordMetaData::GetInt64FromRecord(m_buffer.data(),
                                                    *m_metaData.GetFieldDescriptor(column));
    }
    const XTRecordMetaData& MetaData() const { return m_metaData; }
    XTRecordMetaData& MetaData() { return m_metaData; }
    const unsigned char* Data() const { return m_buffer.data(); }

  private:
    struct Column {
        XTDataType type;
        uint32 length;
        bool nullable;
        int16 precision;
        SUXTDataTypeUtility::ColumnUnicodeProperty unicode;
    };
    unsigned char* At(int32 column) {
        return m_buffer.data() + m_metaData.GetFieldDescriptor(column)->GetByteOffset();
    }

    std::vector<Column> m_columns;
    XTRecordMetaData m_metaData;
    std::vector<unsigned char> m_buffer;
};

// ---- GetInt64FromRecord ----

class Int64FromRecord : public ::testing::Test {
  protected:
    void SetUp() override {
        // Packed, so that most values lie at unaligned offsets.
        for (const XTDataType type :
             {XTInt1Data, XTUInt1Data, XTInt2Data, XTUInt2Data, XTInt4Data, XTUInt4Data,
              XTFloatData, XTDoubleData, XTNumericData, XTCharData})
            m_record.Add(type, 4);
        m_record.Add(XTInt4Data, 0, true);
        m_record.Layout(false, true);
    }
    RecordUnderTest m_record;
};

TEST_F(Int64FromRecord, WidensEveryIntegerType) {
    m_record.Set<int8>(0, -128);
    m_record.Set<uint8>(1, 255);
    m_record.Set<int16>(2, -32768);
    m_record.Set<uint16>(3, 65535);
    m_record.Set<int32>(4, std::numeric_limits<int32>::min());
    m_record.Set<uint32>(5, 4294967295u);
    m_record.SetNumeric(8, L"-123.45");
    m_record.Set<int32>(10, 77);
    EXPECT_EQ(m_record.Int64(0), -128);
    EXPECT_EQ(m_record.Int64(1), 255);
    EXPECT_EQ(m_record.Int64(2), -32768);
    EXPECT_EQ(m_record.Int64(3), 65535);
    EXPECT_EQ(m_record.Int64(4), std::numeric_limits<int32>::min());
    EXPECT_EQ(m_record.Int64(5), 4294967295LL);
    EXPECT_EQ(m_record.Int64(8), -123);
    EXPECT_EQ(m_record.Int64(10), 77);  // nullable, null byte 0
}

TEST_F(Int64FromRecord, FloatingValuesTruncateTowardZero) {
    struct Case {
        float f;
        double d;
        int64 fExpected, dExpected;
    };
    for (const Case& c : {Case{-2.9f, 2.9, -2, 2}, Case{0.5f, -0.99, 0, 0},
                          Case{16777216.0f, 9007199254740993.0, 16777216, 9007199254740992},
                          Case{-1e18f, -9223372036854775808.0, -999999984306749440LL,
                               std::numeric_limits<int64>::min()}}) {
        m_record.Set<float>(6, c.f);
        m_record.Set<double>(7, c.d);
        EXPECT_EQ(m_record.Int64(6), c.fExpected) << c.f;
        EXPECT_EQ(m_record.Int64(7), c.dExpected) << c.d;
    }
}

TEST_F(Int64FromRecord, OutOfRangeFloatingValuesOverflow) {
    const std::vector<XTString> doubleArgs{L"DOUBLE PRECISION", L"BIGINT"};
    for (const double value :
         {std::nan(""), 9223372036854775808.0, 1e300, std::numeric_limits<double>::infinity()}) {
        m_record.Set<double>(7, value);
        EXPECT_TRUE(RaisesError([&] { m_record.Int64(7); }, kMsgValueOverflow, doubleArgs));
    }
    for (const double value : {-9223372036854777856.0, -std::numeric_limits<double>::infinity()}) {
        m_record.Set<double>(7, value);
        EXPECT_TRUE(RaisesError([&] { m_record.Int64(7); }, kMsgValueUnderflow, doubleArgs));
    }
    m_record.Set<float>(6, 3e38f);
    EXPECT_TRUE(RaisesError([&] { m_record.Int64(6); }, kMsgValueOverflow, {L"FLOAT", L"BIGINT"}));
    m_record.SetNumeric(8, L"1e20");
    EXPECT_TRUE(
        RaisesError([&] { m_record.Int64(8); }, kMsgValueOverflow, {L"NUMERIC", L"BIGINT"}));
}

TEST_F(Int64FromRecord, NullAndOtherTypesRaise) {
    m_record.SetNull(10);
    EXPECT_TRUE(RaisesError([&] { m_record.Int64(10); }, kMsgIntegerReadOfNull));
    m_record.SetNull(10, 0x80);  // any non-zero byte is null
    EXPECT_TRUE(RaisesError([&] { m_record.Int64(10); }, kMsgIntegerReadOfNull));
    EXPECT_TRUE(RaisesError([&] { m_record.Int64(9); }, kMsgUnsupportedDataType, {L"1"}));
    for (const XTDataType type : {XTBitData, XTBoolean, XTIntervalData, XTDateData, XTUnknown}) {
        XTFieldDescriptor desc(0, type, 0, false, 0, 0, L"", L"");
        const unsigned char zeros[16] = {};
        EXPECT_TRUE(RaisesError([&] { XTRecordMetaData::GetInt64FromRecord(zeros, desc); },
                                kMsgUnsupportedDataType, {std::to_wstring(type)}));
    }
}

// ---- GetStringFromRecord ----

class StringFromRecord : public ::testing::Test {
  protected:
    void Build(bool wide) {
        m_record.Add(XTBitData, 0, true);                                 // 0
        m_record.Add(XTInt1Data);                                         // 1
        m_record.Add(XTUInt1Data);                                        // 2
        m_record.Add(XTInt2Data);                                         // 3
        m_record.Add(XTUInt2Data);                                        // 4
        m_record.Add(XTInt4Data);                                         // 5
        m_record.Add(XTUInt4Data);                                        // 6
        m_record.Add(XTFloatData, 0, false, 2);                           // 7: width 22
        m_record.Add(XTDoubleData, 0, false, 3);                          // 8: width 23
        m_record.Add(XTCharData, 5, true);                                // 9
        m_record.Add(XTVarCharData, 6);                                   // 10
        m_record.Add(XTNumericData);                                      // 11
        m_record.Add(XTDateData);                                         // 12
        m_record.Add(XTTimeData);                                         // 13
        m_record.Add(XTDateTimeData);                                     // 14
        m_record.Add(XTTimeStampData);                                    // 15
        m_record.Add(XTIntervalData);                                     // 16
        m_record.Add(XTBoolean);                                          // 17
        m_record.Add(XTBinaryData, 4);                                    // 18
        m_record.Add(XTObjectData, 8);                                    // 19
        m_record.Add(XTInt4Data, 0, true);                                // 20
        m_record.Add(XTLongVarCharData, 3);                               // 21
        m_record.Add(XTCharData, 4, false, 0, Util::kOverrideAsUnicode);  // 22
        m_record.Layout(wide);
        m_record.Set<uint8>(0, 1);
        m_record.Set<int8>(1, -5);
        m_record.Set<uint8>(2, 200);
        m_record.Set<int16>(3, -300);
        m_record.Set<uint16>(4, 65535);
        m_record.Set<int32>(5, -123456);
        m_record.Set<uint32>(6, 4000000000u);
        m_record.Set<float>(7, 1.5f);
        m_record.Set<double>(8, -2.25);
        m_record.SetWide(9, L"ab", false);
        m_record.SetWide(10, L"hello", true, 5);
        m_record.SetNumeric(11, L"123.45");
        m_record.Set(12, XTDate{2024, 3, 5});
        m_record.Set(13, XTTime{12, 34, 56, 0, 789123456});
        m_record.Set(14, XTDateTime{2024, 3, 5, 12, 34, 56, 789999999});
        m_record.Set(15, XTDateTime{33, 1, 2, 3, 4, 5, 999});
        m_record.Set<int32>(16, -7);
        m_record.Set<uint8>(17, 1);
        m_record.Set<uint32>(18, 0x41414141);
        m_record.Set<int32>(20, 99);
        m_record.SetNull(20);
        m_record.SetWide(21, L"xyz", true, 1000);  // a prefix beyond the column
        m_record.SetWide(22, L"wxyz", false);
    }
    RecordUnderTest m_record;
};

const std::vector<XTString> kWideTexts = {
    L"1",
    L"  -5",
    L"200",
    L"  -300",
    L"65535",
    L"     -123456",
    L" 4000000000",
    XTString(18, L' ') + L"1.50",
    XTString(17, L' ') + L"-2.250",
    L"ab   ",
    L"hello ",
    L"123.45",
    L"2024-03-05",
    L"12:34:56",  // "12:34:56.789" cut to the text length 8
    L"2024-03-05 12:34:56.789",
    L"0033-01-02 03:04:05.000",
    L"         -7",
    L"1",
    L"",
    L"",
    L"        NULL",
    L"xyz",
    L"wxyz",
};

TEST_F(StringFromRecord, EveryTypeInAWideRecord) {
    Build(true);
    XTString joined;
    for (int32 i = 0; i < static_cast<int32>(kWideTexts.size()); ++i) {
        EXPECT_EQ(m_record.Text(i), kWideTexts[i]) << "column " << i;
        joined += kWideTexts[i];
    }
    EXPECT_EQ(XTRecordMetaData::GetStringFromRecord(m_record.MetaData(), m_record.Data()), joined);
}

TEST_F(StringFromRecord, NarrowCharacterColumnsAddNothing) {
    Build(false);
    EXPECT_EQ(m_record.Text(9), L"");
    EXPECT_EQ(m_record.Text(10), L"");
    EXPECT_EQ(m_record.Text(21), L"");
    EXPECT_EQ(m_record.Text(22), L"wxyz");  // overrides as Unicode
    EXPECT_EQ(m_record.Text(5), L"     -123456");
}

TEST_F(StringFromRecord, NullValuesAreNullCutToTheTextLength) {
    Build(true);
    m_record.SetNull(0);
    m_record.SetNull(9);
    EXPECT_EQ(m_record.Text(0), L"N");
    EXPECT_EQ(m_record.Text(9), L" NULL");
}

TEST_F(StringFromRecord, PositionsOutOfRangeAndUnknownTypesRaise) {
    Build(true);
    EXPECT_TRUE(
        RaisesError([&] { m_record.Text(23); }, kMsgFieldPositionOutOfRange, {L"23", L"23"}));
    EXPECT_TRUE(
        RaisesError([&] { m_record.Text(-1); }, kMsgFieldPositionOutOfRange, {L"-1", L"23"}));

    // Tolerated unknown columns take 0 bytes; the Int4 puts the null byte of
    // the first column at offset 4.
    XTRecordMetaData record;
    record.SetSupportUnknownDataType(true);
    record.SetFieldCount(5);
    record.DescribleField(0, XTUnknown, 0, true, 0, 0, L"", L"");
    record.SetFieldDescriptor(1, MakeRawTypeDescriptor(XTMaxType));
    record.SetFieldDescriptor(2, MakeRawTypeDescriptor(XTMoneyData, 8));
    record.SetFieldDescriptor(3, MakeRawTypeDescriptor(static_cast<XTDataType>(-3)));
    record.DescribleField(4, XTInt4Data, 0, false, 0, 0, L"", L"");
    record.GenerateAlignedFieldOffset(true, 0);
    ASSERT_EQ(record.GetFieldDescriptor(0)->GetNullOffset(), 4u);
    ASSERT_EQ(record.GetBinaryRecordSize(), 8u);
    std::vector<unsigned char> buffer(8, 0);
    const auto text = [&](int32 i) {
        return XTRecordMetaData::GetStringFromRecord(record, buffer.data(), i);
    };
    EXPECT_TRUE(RaisesError([&] { text(0); }, kMsgUnsupportedDataType, {L"25"}));
    EXPECT_TRUE(RaisesError([&] { text(1); }, kMsgUnsupportedDataType, {L"26"}));
    EXPECT_EQ(text(2), L"");
    EXPECT_TRUE(RaisesError([&] { text(3); }, kMsgUnsupportedDataType, {L"-3"}));
    EXPECT_TRUE(RaisesError([&] { XTRecordMetaData::GetStringFromRecord(record, buffer.data()); },
                            kMsgUnsupportedDataType, {L"25"}));
    // The null test comes first: a null Unknown column is "NULL" cut to 0.
    buffer[4] = 1;
    EXPECT_EQ(text(0), L"");
}

TEST(StringFromRecordEdges, FloatingFormatsAndLongTexts) {
    RecordUnderTest record;
    record.Add(XTDoubleData, 0, false, -3);  // a negative precision is the default, 6
    record.Add(XTDoubleData, 0, false, 0);   // wider than its width of 20
    record.Add(XTFloatData, 0, false, 32000);
    record.Add(XTCharData, 9000, false, 0, Util::kOverrideAsUnicode);
    record.Layout(false);
    record.Set<double>(0, 1.5);
    record.Set<double>(1, 1e25);
    record.Set<float>(2, 0.25f);
    record.SetWide(3, std::wstring(9000, L'q'), false);
    EXPECT_EQ(record.Text(0), XTString(9, L' ') + L"1.500000");
    EXPECT_EQ(record.Text(1), L"10000000000000000905969664");
    // Each column is rendered into 8192 characters at most.
    const XTString longFloat = record.Text(2);
    EXPECT_EQ(longFloat.size(), 8191u);
    EXPECT_EQ(longFloat.substr(0, 6), L"0.2500");
    EXPECT_EQ(record.Text(3), XTString(8191, L'q'));

    RecordUnderTest numeric;
    numeric.Add(XTNumericData);
    numeric.Layout(false);
    numeric.Set<uint32>(0, 23);  // a count beyond the 22 image bytes
    // A damaged Numeric value is a data error, not a read past the column.
    EXPECT_TRUE(RaisesError([&] { numeric.Text(0); }, kMsgTruncatedByteVector,
                            {L"NUMERIC image", L"23", L"22"}));
    numeric.Set<uint32>(0, 0);  // a count of 0 reads as zero
    EXPECT_EQ(numeric.Text(0), L"0");
}

// ---- Diagnostics ----

XTRecordMetaData WorkedExample() {
    XTRecordMetaData record;
    record.SetFieldCount(3);
    record.DescribleField(0, XTInt1Data, 0, false, 0, 0, L"c0", L"");
    record.DescribleField(1, XTDoubleData, 0, false, 0, 0, L"c1", L"");
    record.DescribleField(2, XTInt2Data, 0, true, 0, 0, L"c2", L"");
    record.GenerateAlignedFieldOffset(false, 0);
    return record;
}

TEST(RecordMetaDataText, PrintRecordMetaData) {
    const XTRecordMetaData record = WorkedExample();
    const std::string columns =
        "c0: ID(0) DataType(TINYINT) BinLen(1), BinOff(0) Null(0) TextOff(0) TextLen(4) Pre(0) "
        "Sca(0) Uni(0) CPag(0)\n"
        "c1: ID(1) DataType(DOUBLE PRECISION) BinLen(8), BinOff(8) Null(0) TextOff(5) "
        "TextLen(20) Pre(0) Sca(0) Uni(0) CPag(0)\n"
        "c2: ID(2) DataType(SMALLINT) BinLen(2), BinOff(16) Null(18) TextOff(26) TextLen(6) "
        "Pre(0) Sca(0) Uni(0) CPag(0)\n";
    EXPECT_EQ(
        CaptureOutput([&](FILE* fp) { XTRecordMetaData::PrintRecordMetaData(fp, record); }),
        "BinRecSiz(24) TexRecSiz(33) FCount(3) NullCount(1) NullOff(18) IsUni(0) IsAlign(1)\n" +
            columns);
    EXPECT_EQ(CaptureOutput([&](FILE* fp) {
                  XTRecordMetaData::PrintRecordMetaData(fp, record.GetFieldDescriptorArray());
              }),
              columns);

    XTRecordMetaData packed;
    packed.SetFieldCount(2);
    packed.DescribleField(1, XTBitData, 0, false, 0, 0, L"", L"");
    EXPECT_EQ(
        CaptureOutput([&](FILE* fp) { XTRecordMetaData::PrintRecordMetaData(fp, packed); }),
        "BinRecSiz(0) TexRecSiz(0) FCount(2) NullCount(0) NullOff(0) IsUni(0) IsAlign(0)\n"
        "(empty)\n"
        "ID(1) DataType(BIT) BinLen(1), BinOff(0) Null(0) TextOff(0) TextLen(1) Pre(0) Sca(0) "
        "Uni(0) CPag(0)\n");
}

TEST(RecordMetaDataText, ToStringNumbersTheColumnsFromOne) {
    XTRecordMetaData record;
    EXPECT_EQ(record.ToString(), L"--RecordMetadata--\nIsUnicodeRecord() 0\n");
    record.SetFieldCount(1);
    record.DescribleField(0, XTBoolean, 0, false, 0, 0, L"flag", L"f");
    record.GenerateAlignedFieldOffset(true, 0);
    EXPECT_EQ(record.ToString(),
              L"--RecordMetadata--\nIsUnicodeRecord() 1\n"
              L"\n1) \t--FieldDescriptor--\n\tfieldId_ 0\n\tfieldName_ flag\n\taliasName_ f"
              L"\n\txtDataType_ BOOL\n\tobjectLength_ 1\n\tbyteOffset_ 0\n\tnullOffset_ 0"
              L"\n\ttextOffset_ 0\n\ttextLength_ 1\n\tdecimalPrecision_ 0\n\tscale_ 0\n");

    const XTRecordMetaData three = WorkedExample();
    XTString expected = L"--RecordMetadata--\nIsUnicodeRecord() 0\n";
    for (int32 i = 0; i < 3; ++i)
        expected += L"\n" + std::to_wstring(i + 1) + L") " +
                    three.GetFieldDescriptor(i)->ToString() + L"\n";
    EXPECT_EQ(three.ToString(), expected);
}

}  // namespace
