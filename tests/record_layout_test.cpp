// Record layout and byte order: layout properties over generated records (fixed seed) against
// the type rules, worked layouts, errors, copies, sorting, reading single columns, the exact
// diagnostic texts, and the data marshaller on this little-endian machine and on an injected
// big-endian one.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <sstream>

#include "RecordTestSupport.h"
#include "Utility/Client/SUCUtility.h"
#include "Utility/Generic/SUGTarvelNumber.h"
#include "Utility/Generic/SUGXTDateTime.h"

namespace {

using namespace xts::test;
using Offsets = std::vector<uint32>;
constexpr Unicode kWide = SUXTDataTypeUtility::kOverrideAsUnicode;
constexpr Unicode kUtf8 = SUXTDataTypeUtility::kOverrideAsNarrowUTF8Code;

// The byte offsets, then the nulls offset and the record size.
Offsets Layout(const M& record) {
    Offsets offsets;
    for (const auto& c : record.GetFieldDescriptorArray()) offsets.push_back(c->GetByteOffset());
    offsets.insert(offsets.end(), {record.GetNullsOffset(), record.GetBinaryRecordSize()});
    return offsets;
}
// A descriptor of any type code, even one that SetFieldDescription refuses.
struct Raw : D {
    explicit Raw(int type) { xtDataType_ = static_cast<XTDataType>(type); }
};
template <class T>
std::string Image(const T& value) {
    return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}

TEST(RecordLayout, PropertiesOfGeneratedRecordsFollowTheTypeRules) {
    // By type code: the alignment in a narrow and in a wide column, the descriptor's boundary
    // and the bytes of a value: a number, or L (the length), B (L + 4), C ((L + 1) characters
    // of 4 bytes when wide, 3 when UTF-8, else 1), V (C + 4). Money and Decimal are not made.
    std::istringstream rules(
        "1 1 1 1  1 4 4 C  4 4 4 V  4 4 4 V  1 1 1 L  4 4 4 B  4 4 4 B  1 1 1 1  1 1 1 1 "
        "2 2 2 2  2 2 2 2  4 4 4 4  4 4 4 4  4 4 4 4  8 8 8 8  0 0 0 0  4 4 1 28 0 0 0 0 "
        "4 4 2 6  4 4 4 12 4 4 4 16 4 4 4 16 4 4 4 4  8 8 8 L  1 1 1 1");
    uint32 aligns[25][2], boundary[25];
    std::string bytes[25];
    for (int t = 0; t < 25; ++t) rules >> aligns[t][0] >> aligns[t][1] >> boundary[t] >> bytes[t];
    std::mt19937 random(20240917);
    for (int round = 0; round < 600; ++round) {
        const auto count = int32(round % 100 == 99 ? 1200 + random() % 300 : random() % 40);
        const bool wide = random() % 2 == 0;
        M record;
        record.SetFieldCount(count);
        for (int32 i = 0; i < count; ++i) {
            auto type = static_cast<XTDataType>(random() % 25);
            if (type == XTMoneyData || type == XTDecimalData) type = XTObjectData;
            // The first value never takes 0 bytes, so no null byte lands at offset 0.
            const uint32 length = random() % 4 == 0 ? i == 0 : 1 + random() % 300;
            record.DescribleField(i, type, length, random() % 2 == 0, int16(int(random() % 40) - 5),
                                  0, L"", L"", Unicode(random() % 4));
        }
        const int32 forceAt = random() % 3 == 0 ? 0 : static_cast<int32>(random() % (count + 1));
        SCOPED_TRACE("round " + std::to_string(round) + ", force at " + std::to_string(forceAt));
        std::vector<Offsets> runs;  // the layouts of the five runs
        for (const bool aligned : {true, true, false, false, true}) {
            if (aligned) record.GenerateAlignedFieldOffset(wide, forceAt);
            if (!aligned) record.GeneratePackedFieldOffset(wide);
            ASSERT_TRUE(record.IsAligned() == aligned && record.IsUnicodeRecord() == wide);
            uint32 end = 0, text = 0, null = record.GetNullsOffset(), largest = 0, roundTo = 1;
            Offsets layout = Layout(record);
            for (int32 i = 0; i < count; ++i) {
                const D& c = *record.GetFieldDescriptor(i);
                const int t = c.GetXTDataType();
                const Unicode unicode = c.GetColumnUnicodeProperty();
                const bool columnWide = wide || unicode == kWide;
                const uint32 length = c.GetObjectLength(), align = aligns[t][columnWide];
                const uint32 textBytes = (length + 1) * (columnWide ? 4 : unicode == kUtf8 ? 3 : 1);
                // Each value at the next multiple of its alignment (after the forced step), or
                // right after the last one; so inside the record and apart from the others.
                if (aligned && i == forceAt) end += end & 7;
                ASSERT_EQ(c.GetByteOffset(), aligned ? (end + align - 1) / align * align : end);
                const uint32 sizes[] = {length, length + 4, textBytes, textBytes + 4};
                const std::size_t kind = std::string("LBCV").find(bytes[t]);
                end = c.GetByteOffset() + (kind < 4 ? sizes[kind] : std::stoul(bytes[t]));
                // The null bytes after the values, in column order.
                ASSERT_TRUE(!c.IsNullable() || c.GetNullOffset() == null++) << i;
                ASSERT_EQ(c.GetTextOffset(), text) << i;
                text += c.GetTextLength() + 1;
                if (boundary[t] > largest) largest = boundary[t], roundTo = aligns[t][wide];
                layout.insert(layout.end(), {c.GetNullOffset(), c.GetTextOffset()});
            }
            ASSERT_EQ(record.GetNullsOffset(), end);
            ASSERT_EQ(null - end, static_cast<uint32>(record.GetNullIndicatorCount()));
            ASSERT_EQ(record.GetTextRecordSize(), text);
            ASSERT_EQ(record.GetBinaryRecordSize(),
                      aligned ? (null + roundTo - 1) / roundTo * roundTo : null);
            runs.push_back(layout);
        }
        // Re-runs are stable, and an aligned layout after a packed one (whose null offsets
        // serve as nullability markers) is the same as before.
        ASSERT_TRUE(runs[1] == runs[0] && runs[3] == runs[2] && runs[4] == runs[0]);
    }
}

TEST(RecordLayout, WorkedLayouts) {
    enum Mode { kAligned, kWideRecord, kPacked, kTolerant };
    const Column int1{XTInt1Data}, int2{XTInt2Data, 0, true}, dbl{XTDoubleData};
    // Rows: columns, layout, the forced double-word step, the offsets, nulls offset and size.
    // Char(10) takes 11 bytes at alignment 1, wide 44 at 4, UTF-8 33; the force steps by the
    // running offset AND 7; a tolerated Unknown column's alignment 0 sends the running offset
    // back to 0; a record is rounded to the alignment of the type with the largest descriptor
    // boundary (Numeric's 1 ties with Int1's, Date's is 2).
    for (const auto& [columns, mode, forceAt, layout] :
         {std::tuple{std::vector<Column>{int1, dbl, int2}, kAligned, 0, Offsets{0, 8, 16, 18, 24}},
          {{int1, dbl, int2}, kPacked, 0, {0, 1, 9, 11, 12}},
          {{int1, {XTCharData, 10}}, kAligned, 0, {0, 1, 12, 12}},
          {{int1, {XTCharData, 10}}, kWideRecord, 0, {0, 4, 48, 48}},
          {{int1, {XTCharData, 10, false, kUtf8}}, kAligned, 0, {0, 1, 34, 34}},
          {{{XTDateData}, {XTInt2Data}, dbl}, kAligned, 1, {0, 12, 16, 24, 24}},
          {{{XTBinaryData, 9}, int1}, kAligned, 1, {0, 10, 11, 11}},
          {{{XTInt4Data}, {XTUnknown}, {XTInt2Data}}, kTolerant, 0, {0, 0, 0, 2, 4}},
          {{}, kAligned, 0, {0, 0}},
          {{{XTInt1Data, 0, true}, {XTNumericData}}, kAligned, 0, {0, 4, 32, 33}},
          {{{XTDateData}, int1}, kAligned, 0, {0, 6, 7, 8}}}) {
        M record = Describe(columns, false, false);
        record.SetSupportUnknownDataType(mode == kTolerant);
        if (mode == kPacked) record.GeneratePackedFieldOffset(false);
        if (mode != kPacked) record.GenerateAlignedFieldOffset(mode == kWideRecord, forceAt);
        EXPECT_EQ(Layout(record), layout);
    }
    // Floating text lengths: the precision as a signed 16-bit number, plus 20 (Double with
    // precision 15 in ExactDiagnostics).
    EXPECT_TRUE(D::GetTextLength(XTFloatData, 0, 7) == 27 &&
                D::GetTextLength(XTDoubleData, 0, -20) == 0);
    // Unsupported codes raise 46033 with the code, laying out a record too; tolerated, they
    // count 0.
    for (const int type : {15, 17, 25, 26, -1}) {
        const auto t = static_cast<XTDataType>(type);
        const Args code{std::to_wstring(type)};
        M record = Describe({{XTInt1Data}}, false, false);
        record.SetFieldDescriptor(0, MakeRefCnt<Raw>(type));
        ExpectError([&] { record.GeneratePackedFieldOffset(false); }, 46033, code);
        if (type != 25) ExpectError([&] { D::GetObjectLength(t, 1); }, 46033, code);
        if (type != 25) ExpectError([&] { D::GetTextLength(t, 1, 1); }, 46033, code);
        ExpectError([&] { D::GetDataTypeBoundaryOffset(t, false); }, 46033, code);
        ExpectError([&] { M::GetAlignmentBoundaryForDataType(t, false, false); }, 46033, code);
        ExpectError([&] { M::GetByteLength(t, 1, false, false, false); }, 46033, code);
        EXPECT_EQ(D::GetDataTypeBoundaryOffset(t, true) + M::GetAlignmentBoundary(0, 5), 0u);
        EXPECT_EQ(M::GetByteLength(t, 1, 1, 1, true), 0u);
        EXPECT_EQ(M::GetAlignmentBoundaryForDataType(t, true, true), 0u);
    }
}

TEST(RecordLayout, ErrorsAndTheirArguments) {
    M record = Describe({{XTInt1Data}, {XTDoubleData, 0, true}, {XTInt2Data}}, false, false);
    record.GeneratePackedFieldOffset(false);
    record.SetFieldDescriptor(2, nullptr);
    ExpectError([&] { record.GenerateAlignedFieldOffset(true, 0); }, 46032, {L"2"});
    // The visited columns have their new offsets, the null count is 0, the rest is as it was.
    EXPECT_EQ(Print(record),
              "BinRecSiz(12) TexRecSiz(33) FCount(3) NullCount(0) NullOff(11) IsUni(0) IsAlign(0)\n"
              "c0: ID(0) DataType(TINYINT) BinLen(1), BinOff(0) Null(0) TextOff(0) TextLen(4) "
              "Pre(0) Sca(0) Uni(0) CPag(0)\nc1: ID(1) DataType(DOUBLE PRECISION) BinLen(8), "
              "BinOff(8) Null(11) TextOff(5) TextLen(20) Pre(0) Sca(0) Uni(0) CPag(0)\n(empty)\n");
    record = Describe({{XTInt1Data}, {XTDoubleData}, {XTInt2Data}});
    for (const int32 at : {3, -1}) {
        const Args args{std::to_wstring(at), L"3"};
        ExpectError([&] { record.DescribleField(at, XTBitData, 0, 0, 0, 0, {}, {}); }, 46030, args);
        ExpectError([&] { record.SetFieldDescriptor(at, MakeRefCnt<D>()); }, 46030, args);
        ExpectError([&] { record.GetFieldDescriptor(at); }, 46030, args);
    }
    ExpectError([&] { record.GetFieldByDescriptorId(7); }, 46031, {L"7"});
    record.GeneratePackedFieldOffset(true);
    ExpectError([&] { record.SetFieldNullable(2, 2); }, 46030, {L"4", L"3"});
    EXPECT_FALSE(record.IsAligned() || record.GetFieldDescriptor(2)->IsNullable());  // unchanged
    record.SetFieldNullable(0, 3);  // a packed record comes out aligned (and still wide)
    EXPECT_TRUE(record.IsAligned() && record.IsUnicodeRecord());
    EXPECT_EQ(Layout(record), (Offsets{0, 8, 16, 18, 24}));
}

TEST(RecordLayoutDeathTest, AssertionsOnBadPositionsAndEmptySlots) {
    M record = Describe({{XTCharData, 4}});
    EXPECT_DEATH((void)record.IsUnicodeColumn(1), "Assertion failed: columnIndex < fieldCount_");
    record.SetFieldCount(2);
    EXPECT_DEATH((void)record.GetFieldByDescriptorId(3), "Assertion failed");
    EXPECT_DEATH((void)RefCnt<D>()->GetFieldId(), "Assertion failed");
}

TEST(RecordLayout, AssignmentAndSorting) {
    M source = Describe({{XTInt1Data}, {XTCharData, 3, true}, {XTDoubleData, 0, true}}, true);
    M target = Describe({{XTBitData}}, false, false);
    target.GeneratePackedFieldOffset(false);
    target = source;  // an aligned source: deep copies, laid out with the source's wide flag
    EXPECT_TRUE(Print(target) == Print(source) && target.ToString() == source.ToString());
    EXPECT_NE(target.GetFieldDescriptor(1).Get(), source.GetFieldDescriptor(1).Get());
    source.GeneratePackedFieldOffset(false);
    target = source;  // a packed source: its offsets under the target's own flags
    EXPECT_EQ(Layout(target), (Offsets{0, 1, 5, 13, 15}));
    EXPECT_TRUE(target.IsAligned() && target.IsUnicodeRecord());
    // Sorting by identifier keeps equal ones in order and the offsets unchanged (each column
    // known by its offset).
    M record;
    record.SetFieldCount(4);
    const int16 ids[] = {3, 1, 2, 1};
    for (int32 i = 0; i < 4; ++i)
        record.SetFieldDescriptor(i, MakeRefCnt<D>(ids[i], XTInt4Data, 0, false, 0, 0, L"", L""));
    record.GenerateAlignedFieldOffset(false, 0);
    M::SortRecordMetaDataOnFieldId(record);
    EXPECT_EQ(Layout(record), (Offsets{4, 12, 8, 0, 16, 16}));
}

// Copies and clones are new objects with every property, overrides included; appending gives
// the copies identifiers that follow the output's and lays it out with the input's wide flag.
TEST(RecordLayout, ClonesRenamesAndAppends) {
    const auto original = MakeRefCnt<D>(40, XTCharData, 5, false, 0, 0, L"name", L"n", kUtf8, 1252);
    D clone(1, XTBitData, 0, false, 0, 0, L"Other", L"O");
    original->CloneDescriptor(clone);
    const D copy(*original);
    for (const D* made : {static_cast<const D*>(&clone), &copy})
        EXPECT_TRUE(Print(*made) == Print(*original) && made->GetRefCount() == 0);
    EXPECT_EQ(original->GetRefCount(), 1);
    clone.ResetAliasName(L"Shown");
    EXPECT_EQ(clone.GetFieldName() + L"|" + clone.GetAliasName(), L"name|Shown");
    clone.ResetFieldName(L"Renamed", L"");
    EXPECT_EQ(clone.GetFieldName() + L"|" + clone.GetAliasName(), L"Renamed|");

    M output = Describe({{XTInt4Data}});
    M input = Describe({{XTBitData}, {XTBitData}}, true);  // a wide record
    input.SetFieldDescriptor(0, original);
    input.SetFieldDescriptor(1, MakeRefCnt<D>(41, XTDoubleData, 0, true, 15, 3, L"amount", L"a"));
    M::AppendRecordMetaData(output, input);
    ASSERT_EQ(output.GetFieldCount(), 3);
    EXPECT_NE(output.GetFieldDescriptor(1).Get(), original.Get());
    const D& name = *output.GetFieldDescriptor(1);
    EXPECT_TRUE(name.GetFieldId() == 1 && name.GetFieldName() == L"name" &&
                name.GetColumnCodePage() == 1252 &&
                output.GetFieldDescriptor(2)->GetFieldId() == 2);
    EXPECT_TRUE(output.IsUnicodeRecord() && output.IsAligned());
    EXPECT_EQ(Layout(output), (Offsets{0, 4, 32, 40, 48}));  // a wide Char(5) takes 24 bytes
    M::AppendRecordMetaData(output, output);                 // doubles it
    const D& last = *output.GetFieldDescriptor(5);
    EXPECT_TRUE(last.GetFieldName() == L"amount" && last.GetFieldId() == 5);
    M::AppendRecordMetaData(output, M());  // laid out again, narrow
    EXPECT_TRUE(output.GetFieldCount() == 6 && !output.IsUnicodeRecord());
}

// ---- Reading columns of a record, exact texts ----

std::string Numeric(double value) {  // the 28 bytes of a Numeric column
    unsigned char image[28] = {};
    TarvelNumber(value).ToBuffer(image);
    return Image(image);
}
// A one-column record holding `value` ("null": its null byte set), laid out wide unless `wide`
// is false, and what GetInt64FromRecord and GetStringFromRecord read from it.
struct Read {
    Read(const Column& column, const std::string& value, bool wide = true)
        : record(Describe({column}, wide)), bytes(record.GetBinaryRecordSize()) {
        if (value == "null") bytes[record.GetNullsOffset()] = 1;
        if (value != "null") std::memcpy(bytes.data(), value.data(), value.size());
    }
    int64 Int64() const {
        return M::GetInt64FromRecord(bytes.data(), *record.GetFieldDescriptor(0));
    }
    XTString Text() const { return M::GetStringFromRecord(record, bytes.data(), 0); }
    M record;
    Bytes bytes;
};

TEST(RecordColumns, Int64AndStringFromRecord) {
    for (const auto& [type, value, want] :
         {std::tuple{XTInt1Data, std::string("\x80"), int64{-128}},
          {XTUInt4Data, "\xff\xff\xff\xff", 4294967295},
          {XTFloatData, Image(-2.9f), -2},
          {XTNumericData, Numeric(-123.45), -123}})
        EXPECT_EQ(Read({type}, value).Int64(), want);
    ExpectError([] { Read({XTDoubleData}, Image(-HUGE_VAL)).Int64(); }, 46225,
                {L"DOUBLE PRECISION", L"BIGINT"});
    ExpectError([] { Read({XTInt4Data, 0, true}, "null").Int64(); }, 46186);
    ExpectError([] { Read({XTDateData}, "").Int64(); }, 46033, {L"18"});
    // One row per kind of text, each padded to the column's text length.
    EXPECT_EQ(Read({XTBitData, 0, true}, "null").Text(), L"N");  // "NULL" cut to the text length
    EXPECT_EQ(Read({XTInt4Data, 0, true}, "null").Text(), L"        NULL");
    EXPECT_EQ(Read({XTInt2Data}, Image(int16{-300})).Text(), L"  -300");
    EXPECT_EQ(Read({XTUInt4Data}, Image(4000000000u)).Text(), L" 4000000000");
    EXPECT_EQ(Read({XTDoubleData}, Image(-2.5)).Text(), XTString(18, ' ') + L"-2");
    EXPECT_EQ(Read({XTCharData, 5}, Image(L"ab")).Text(), L"ab   ");
    EXPECT_EQ(Read({XTLongVarCharData, 6}, Image(5u) + Image(L"hello")).Text(), L"hello ");
    EXPECT_EQ(Read({XTNumericData}, Numeric(123.45)).Text(), L"123.45");
    EXPECT_EQ(Read({XTDateData}, Image(XTDate{2024, 3, 5})).Text(), L"2024-03-05");
    EXPECT_EQ(Read({XTTimeData}, Image(XTTime{12, 34, 56, 0, 789123456})).Text(), L"12:34:56");
    EXPECT_EQ(Read({XTTimeStampData}, Image(XTDateTime{33, 1, 2, 3, 4, 5, 789999999})).Text(),
              L"0033-01-02 03:04:05.789");
    EXPECT_EQ(Read({XTBinaryData, 4}, "AAAA").Text(), L"");
    EXPECT_EQ(Read({XTCharData, 5}, "ab", false).Text(), L"");  // narrow text shows nothing ...
    EXPECT_EQ(Read({XTCharData, 2, false, kWide}, Image(L"ab"), false).Text(), L"ab");  // ... wide
    const Read int2({XTInt2Data}, "");
    ExpectError([&] { M::GetStringFromRecord(int2.record, int2.bytes.data(), 1); }, 46030,
                {L"1", L"1"});
    M unknown = Describe({{XTUnknown}}, true, false);
    unknown.SetSupportUnknownDataType(true);
    unknown.GenerateAlignedFieldOffset(true, 0);
    ExpectError([&] { M::GetStringFromRecord(unknown, int2.bytes.data(), 0); }, 46033, {L"25"});
}

TEST(RecordColumns, ExactDiagnostics) {
    D desc;  // an unnamed Unknown column of length 0
    EXPECT_EQ(Print(desc),
              "ID(0) DataType(UNKNOWN) BinLen(0), BinOff(0) Null(0) TextOff(0) "
              "TextLen(0) Pre(0) Sca(0) Uni(0) CPag(0)\n");
    desc.SetFieldDescription(2, XTCharData, 10, true, 0, 0, L"Name", L"N");
    ExpectError([&] { desc.SetFieldDescription(9, XTDecimalData, 8, false, 1, 1, L"X", L""); },
                46033, {L"17"});
    EXPECT_EQ(Print(desc),
              "Name: ID(2) DataType(CHAR) BinLen(10), BinOff(0) Null(1) TextOff(0) "
              "TextLen(10) Pre(0) Sca(0) Uni(0) CPag(0)\n");  // unchanged by it
    // Identifier and scale cut to 16 bits, the length fixed by type; the name in the default
    // code page (UTF-8 in the "C" locale), the code page unsigned.
    const D full(70000, XTDoubleData, 99, true, 15, 0x12345, L"Stra\u00dfe", L"A", kWide, ~0u);
    EXPECT_EQ(Print(full),
              "Stra\u00dfe: ID(4464) DataType(DOUBLE PRECISION) BinLen(8), "
              "BinOff(0) Null(1) TextOff(0) TextLen(35) Pre(15) Sca(9029) Uni(1) "
              "CPag(4294967295)\n");
    EXPECT_EQ(full.GetSimpleFieldDescriptor(), (XTSimpleFieldDescriptor{XTDoubleData, 8, 0, 1, 8}));
    M record = Describe({{XTInt1Data}, {XTDoubleData}, {XTInt2Data, 0, true}});
    record.SetFieldDescriptor(0, MakeRefCnt<D>(full));
    // The columns' lines as each column prints alone.
    EXPECT_EQ(
        Capture([&](FILE* fp) { M::PrintRecordMetaData(fp, record.GetFieldDescriptorArray()); }),
        Print(full) + Print(*record.GetFieldDescriptor(1)) + Print(*record.GetFieldDescriptor(2)));
    const XTString fullText =
        L"\t--FieldDescriptor--\n\tfieldId_ 4464\n\tfieldName_ Stra\u00dfe\n\taliasName_ A"
        L"\n\txtDataType_ DOUBLE PRECISION\n\tobjectLength_ 8\n\tbyteOffset_ 0\n\tnullOffset_ 1"
        L"\n\ttextOffset_ 0\n\ttextLength_ 35\n\tdecimalPrecision_ 15\n\tscale_ 9029";
    EXPECT_EQ(full.ToString(), fullText);
    EXPECT_EQ(record.ToString(), L"--RecordMetadata--\nIsUnicodeRecord() 0\n\n1) " + fullText +
                                     L"\n\n2) " + record.GetFieldDescriptor(1)->ToString() +
                                     L"\n\n3) " + record.GetFieldDescriptor(2)->ToString() + L"\n");
    // Type information is less only when each member is less: nullable 1 is not less than 0.
    EXPECT_FALSE(XTTypeInfoBase(XTInt4Data, 10, 2, 1) < XTTypeInfoBase(XTDoubleData, 12, 3, 0));
    EXPECT_TRUE(XTTypeInfoBase(XTInt4Data, -1, 2, 0) < XTTypeInfoBase(XTDoubleData, 12, 3, 1));
}

// ---- Data marshaller ----

TEST(DataMarshaller, EveryTypeOnBothMachineOrders) {
    // The units a big-endian machine reverses, by type code, from offset 0, each digit a unit's
    // width (1: a byte left alone). Binary's first 32 bits only in the raw-buffer forms.
    const char* const units[] = {"",    "",       "4",       "4",       "4", "4", "4", "", "",
                                 "2",   "2",      "4",       "4",       "4", "8", "",  "", "",
                                 "222", "222114", "2222224", "2222224", "4", "",  "",  "", ""};
    const Bytes ramp = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17};
    const unsigned char notNull = 0, null = 0x80;
    for (int type = 0; type <= XTMaxType; ++type) {
        const auto t = static_cast<XTDataType>(type);
        const Raw desc(type);
        Bytes want[2] = {ramp, ramp};  // the raw-buffer form, the field form
        for (int form = 0, at = 0; form < 2; ++form, at = 0)
            for (const char* u = form && type == 4 ? "" : units[type]; *u; at += *u++ - '0')
                std::reverse(&want[form][at], &want[form][at + *u - '0']);
        Bytes raw = ramp, field = ramp, skipped = ramp;
        // No-ops on this machine (else the big-endian results below differ).
        SUDataMarshaller::ConvertToMachineFormat(raw.data(), t);
        SUDataMarshaller::ConvertFromMachineFormat(field.data(), &notNull, desc);
        SUDataMarshaller::ConvertToMachineFormat(raw.data(), t, kBigEndian);
        SUDataMarshaller::ConvertFromMachineFormat(field.data(), &notNull, desc, kBigEndian);
        SUDataMarshaller::ConvertToMachineFormat(skipped.data(), &null, desc, kBigEndian);
        SUDataMarshaller::ConvertFromMachineFormat(skipped.data(), &null, desc, kBigEndian);
        // Null values are skipped.
        EXPECT_TRUE(raw == want[0] && field == want[1] && skipped == ramp) << type;
        SUDataMarshaller::ConvertFromMachineFormat(raw.data(), t, kBigEndian);
        SUDataMarshaller::ConvertToMachineFormat(field.data(), &notNull, desc, kBigEndian);
        EXPECT_TRUE(raw == ramp && field == ramp) << type;  // round trips restore the values
    }
}

TEST(DataMarshaller, NativeColumnDescriptions) {
    XTSAPI_LocalFieldDescriptor local{{0xFF, 0x1F600}, {L'z'}, 0x0102, -2,   0x0304,
                                      0x01020304,      1,      1,      65001};
    const XTSAPI_LocalFieldDescriptor original = local;
    SUDataMarshaller::ConvertToMachineFormat(local);
    EXPECT_EQ(std::memcmp(&local, &original, sizeof local), 0);
    // Name units as 16 bits, sign-extended; numbers by their width; bNullable untouched.
    SUDataMarshaller::ConvertToMachineFormat(local, kBigEndian);
    EXPECT_EQ((std::vector<int64>{local.name[0], local.name[1], local.aliasName[0], local.type,
                                  local.precision, local.scale, local.length, local.bNullable,
                                  local.unicodeOverride, local.codePage}),
              (std::vector<int64>{-256, 0xF6, 0x7A00, 0x0201, -257, 0x0403, 0x04030201, 1,
                                  0x01000000, 0xE9FD0000}));
    SUDataMarshaller::ConvertFromMachineFormat(local, kBigEndian);
    // Only the low 16 bits of a name unit come back.
    local.name[1] = local.name[1] == -2560 ? original.name[1] : 0;
    EXPECT_EQ(std::memcmp(&local, &original, sizeof local), 0);
}

}  // namespace
