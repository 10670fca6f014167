// SUDataMarshaller: the little-endian machine passes everything through
// unchanged; an injected big-endian machine reverses exactly the units of each
// type, round trips restore the values, and null values are never touched.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include "CountingAllocator.h"
#include "RecordLayoutTestSupport.h"
#include "Utility/Client/SUCUtility.h"
#include "Utility/Client/SUCXTRecordDescriptor.h"
#include "Utility/Client/SUCXTSNativeAPI.h"
#include "Utility/Generic/SUGXTDateTime.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Units = std::vector<std::pair<int, int>>;  // (offset, width) of each converted unit

constexpr std::size_t kValueBytes = 32;

// The units that the big-endian machine converts, by type; Binary's first
// 32 bits only in the raw-buffer forms.
Units UnitsOf(XTDataType type, bool rawBuffer) {
    switch (type) {
        case XTVarCharData:
        case XTLongVarCharData:
        case XTVarBinaryData:
        case XTLongVarBinaryData:
        case XTInt4Data:
        case XTUInt4Data:
        case XTFloatData:
        case XTIntervalData:
            return {{0, 4}};
        case XTBinaryData:
            return rawBuffer ? Units{{0, 4}} : Units{};
        case XTInt2Data:
        case XTUInt2Data:
            return {{0, 2}};
        case XTDoubleData:
            return {{0, 8}};
        case XTDateData:
            return {{0, 2}, {2, 2}, {4, 2}};
        case XTTimeData:
            return {{0, 2}, {2, 2}, {4, 2}, {8, 4}};
        case XTDateTimeData:
        case XTTimeStampData:
            return {{0, 2}, {2, 2}, {4, 2}, {6, 2}, {8, 2}, {10, 2}, {12, 4}};
        default:
            return {};
    }
}

Bytes Ramp() {
    Bytes bytes(kValueBytes);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<unsigned char>(i + 1);
    return bytes;
}

Bytes Swapped(Bytes bytes, const Units& units) {
    for (const auto& [offset, width] : units)
        std::reverse(bytes.begin() + offset, bytes.begin() + offset + width);
    return bytes;
}

XTFieldDescriptor DescriptorOf(XTDataType type) {
    return xts::test::RawTypeDescriptor(type, 8);
}

class EveryType : public ::testing::TestWithParam<int> {
  protected:
    XTDataType Type() const { return static_cast<XTDataType>(GetParam()); }
};

TEST_P(EveryType, LittleEndianMachineChangesNothing) {
    ASSERT_EQ(SUDataMarshaller::GetMachineType(), kLittleEndian);
    const XTFieldDescriptor desc = DescriptorOf(Type());
    const unsigned char notNull = 0;
    const unsigned char null = 1;
    Bytes value = Ramp();
    SUDataMarshaller::ConvertToMachineFormat(value.data(), Type());
    SUDataMarshaller::ConvertFromMachineFormat(value.data(), Type());
    SUDataMarshaller::ConvertToMachineFormat(value.data(), &notNull, desc);
    SUDataMarshaller::ConvertFromMachineFormat(value.data(), &notNull, desc);
    SUDataMarshaller::ConvertToMachineFormat(value.data(), &null, desc);
    SUDataMarshaller::ConvertToMachineFormat(value.data(), nullptr, desc, kLittleEndian);
    SUDataMarshaller::ConvertToMachineFormat(value.data(), Type(), kLittleEndian);
    EXPECT_EQ(value, Ramp());
}

TEST_P(EveryType, BigEndianMachineReversesExactlyTheUnitsOfTheType) {
    const XTFieldDescriptor desc = DescriptorOf(Type());
    for (const bool toMachine : {true, false}) {
        Bytes raw = Ramp();
        Bytes field = Ramp();
        if (toMachine) {
            SUDataMarshaller::ConvertToMachineFormat(raw.data(), Type(), kBigEndian);
            SUDataMarshaller::ConvertToMachineFormat(field.data(), nullptr, desc, kBigEndian);
        } else {
            SUDataMarshaller::ConvertFromMachineFormat(raw.data(), Type(), kBigEndian);
            SUDataMarshaller::ConvertFromMachineFormat(field.data(), nullptr, desc, kBigEndian);
        }
        EXPECT_EQ(raw, Swapped(Ramp(), UnitsOf(Type(), true)));
        EXPECT_EQ(field, Swapped(Ramp(), UnitsOf(Type(), false)));
    }
}

TEST_P(EveryType, BigEndianRoundTripRestoresTheValue) {
    std::mt19937 random(1234 + GetParam());
    const XTFieldDescriptor desc = DescriptorOf(Type());
    for (int i = 0; i < 50; ++i) {
        Bytes original(kValueBytes);
        for (unsigned char& byte : original)
            byte = static_cast<unsigned char>(random());
        Bytes value = original;
        SUDataMarshaller::ConvertToMachineFormat(value.data(), Type(), kBigEndian);
        SUDataMarshaller::ConvertFromMachineFormat(value.data(), Type(), kBigEndian);
        ASSERT_EQ(value, original);
        SUDataMarshaller::ConvertFromMachineFormat(value.data(), nullptr, desc, kBigEndian);
        SUDataMarshaller::ConvertToMachineFormat(value.data(), nullptr, desc, kBigEndian);
        ASSERT_EQ(value, original);
    }
}

TEST_P(EveryType, NullValuesAreNeverConverted) {
    const XTFieldDescriptor desc = DescriptorOf(Type());
    for (const unsigned char null : {1, 0x80, 0xFF}) {
        Bytes value = Ramp();
        SUDataMarshaller::ConvertToMachineFormat(value.data(), &null, desc, kBigEndian);
        SUDataMarshaller::ConvertFromMachineFormat(value.data(), &null, desc, kBigEndian);
        EXPECT_EQ(value, Ramp());
    }
    const unsigned char notNull = 0;
    Bytes value = Ramp();
    SUDataMarshaller::ConvertToMachineFormat(value.data(), &notNull, desc, kBigEndian);
    EXPECT_EQ(value, Swapped(Ramp(), UnitsOf(Type(), false)));
}

INSTANTIATE_TEST_SUITE_P(TypeCodes, EveryType, ::testing::Range(0, 27));

TEST(BigEndianMachine, SpecificByteImages) {
    struct Case {
        XTDataType type;
        Bytes expected;  // the first 16 bytes of the ramp 01 02 03 ...
    };
    const Case cases[] = {
        {XTInt4Data, {4, 3, 2, 1, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}},
        {XTInt2Data, {2, 1, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}},
        {XTDoubleData, {8, 7, 6, 5, 4, 3, 2, 1, 9, 10, 11, 12, 13, 14, 15, 16}},
        {XTDateData, {2, 1, 4, 3, 6, 5, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}},
        {XTTimeData, {2, 1, 4, 3, 6, 5, 7, 8, 12, 11, 10, 9, 13, 14, 15, 16}},
        {XTDateTimeData, {2, 1, 4, 3, 6, 5, 8, 7, 10, 9, 12, 11, 16, 15, 14, 13}},
        {XTVarCharData, {4, 3, 2, 1, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}},
        {XTNumericData, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}},
    };
    for (const Case& c : cases) {
        Bytes value = Ramp();
        SUDataMarshaller::ConvertToMachineFormat(value.data(), c.type, kBigEndian);
        EXPECT_EQ(Bytes(value.begin(), value.begin() + 16), c.expected) << "type " << c.type;
    }
}

TEST(BigEndianMachine, ValuesArriveInMachineOrder) {
    // Wire values (little-endian) become their big-endian images.
    unsigned char int4[4] = {0x44, 0x33, 0x22, 0x11};  // 0x11223344
    SUDataMarshaller::ConvertToMachineFormat(int4, XTInt4Data, kBigEndian);
    EXPECT_EQ(Bytes(int4, int4 + 4), (Bytes{0x11, 0x22, 0x33, 0x44}));

    unsigned char dbl[8];
    const double value = 1.5;  // 3FF8000000000000
    std::memcpy(dbl, &value, sizeof dbl);
    SUDataMarshaller::ConvertToMachineFormat(dbl, XTDoubleData, kBigEndian);
    EXPECT_EQ(Bytes(dbl, dbl + 8), (Bytes{0x3F, 0xF8, 0, 0, 0, 0, 0, 0}));
    SUDataMarshaller::ConvertFromMachineFormat(dbl, XTDoubleData, kBigEndian);
    double back = 0;
    std::memcpy(&back, dbl, sizeof back);
    EXPECT_EQ(back, 1.5);

    // A VarChar value: the prefix is swapped, the characters are not.
    unsigned char varChar[4 + 6 * 4] = {5, 0, 0, 0};
    const wchar_t hello[] = L"hello";
    std::memcpy(varChar + 4, hello, sizeof hello);
    const XTFieldDescriptor desc(0, XTVarCharData, 5, false, 0, 0, L"", L"");
    SUDataMarshaller::ConvertToMachineFormat(varChar, nullptr, desc, kBigEndian);
    EXPECT_EQ(Bytes(varChar, varChar + 4), (Bytes{0, 0, 0, 5}));
    EXPECT_EQ(std::memcmp(varChar + 4, hello, sizeof hello), 0);
}

TEST(BigEndianMachine, ConversionsAllocateNothing) {
    Bytes value = Ramp();
    const XTFieldDescriptor desc(0, XTDateTimeData, 0, false, 0, 0, L"", L"");
    XTSAPI_LocalFieldDescriptor local{};
    const xts::test::AllocationCounter counter;
    for (int type = 0; type < XTMaxType; ++type) {
        SUDataMarshaller::ConvertToMachineFormat(value.data(), static_cast<XTDataType>(type),
                                                 kBigEndian);
    }
    SUDataMarshaller::ConvertFromMachineFormat(value.data(), nullptr, desc, kBigEndian);
    SUDataMarshaller::ConvertToMachineFormat(local, kBigEndian);
    EXPECT_EQ(counter.Count(), 0u);
}

// ---- A whole record, column by column ----

TEST(RecordMarshalling, EveryColumnOfARecord) {
    std::mt19937 random(77);
    XTRecordMetaData record;
    record.SetFieldCount(XTUnknown);
    int32 position = 0;
    for (int type = 0; type < XTUnknown; ++type) {
        if (type == XTMoneyData || type == XTDecimalData) continue;
        record.DescribleField(position++, static_cast<XTDataType>(type), 5, type % 2 == 0, 0, 0,
                              L"", L"");
    }
    record.SetFieldCount(position);
    record.GenerateAlignedFieldOffset(false, 0);
    Bytes original(record.GetBinaryRecordSize());
    for (unsigned char& byte : original)
        byte = static_cast<unsigned char>(random());
    // Half of the nullable columns are null.
    for (int32 i = 0; i < position; ++i) {
        const auto column = record.GetFieldDescriptor(i);
        if (column->IsNullable()) original[column->GetNullOffset()] = i % 4 == 0 ? 1 : 0;
    }

    const auto pass = [&](Bytes& buffer, bool toMachine, MachineType machine) {
        for (const auto& column : record.GetFieldDescriptorArray()) {
            unsigned char* data = buffer.data() + column->GetByteOffset();
            const unsigned char* null =
                column->IsNullable() ? buffer.data() + column->GetNullOffset() : nullptr;
            if (toMachine)
                SUDataMarshaller::ConvertToMachineFormat(data, null, *column, machine);
            else
                SUDataMarshaller::ConvertFromMachineFormat(data, null, *column, machine);
        }
    };

    Bytes buffer = original;
    pass(buffer, true, SUDataMarshaller::GetMachineType());
    EXPECT_EQ(buffer, original);

    pass(buffer, true, kBigEndian);
    Bytes expected = original;
    for (const auto& column : record.GetFieldDescriptorArray()) {
        if (column->IsNullable() && original[column->GetNullOffset()] != 0) continue;
        for (const auto& [offset, width] : UnitsOf(column->GetXTDataType(), false)) {
            auto first = expected.begin() + column->GetByteOffset() + offset;
            std::reverse(first, first + width);
        }
    }
    EXPECT_EQ(buffer, expected);  // nothing else moved: padding, data, null bytes
    pass(buffer, false, kBigEndian);
    EXPECT_EQ(buffer, original);
}

// ---- Native column descriptions ----

XTSAPI_LocalFieldDescriptor SampleLocalDescriptor() {
    XTSAPI_LocalFieldDescriptor local{};
    local.name[0] = L'A';
    local.name[1] = L'B';
    local.name[2] = static_cast<wchar_t>(0x00FF);
    local.name[3] = static_cast<wchar_t>(0x1F600);
    local.aliasName[0] = static_cast<wchar_t>(0x8001);
    local.aliasName[128] = L'z';
    local.type = 0x0102;
    local.precision = -2;
    local.scale = 0x0304;
    local.length = 0x01020304;
    local.bNullable = 1;
    local.unicodeOverride = 1;
    local.codePage = 65001;
    return local;
}

TEST(LocalFieldDescriptor, LittleEndianMachineChangesNothing) {
    const XTSAPI_LocalFieldDescriptor original = SampleLocalDescriptor();
    XTSAPI_LocalFieldDescriptor local = original;
    SUDataMarshaller::ConvertToMachineFormat(local);
    SUDataMarshaller::ConvertFromMachineFormat(local);
    EXPECT_EQ(std::memcmp(&local, &original, sizeof local), 0);
}

TEST(LocalFieldDescriptor, BigEndianMachineSwapsEveryNumberAndNameUnit) {
    XTSAPI_LocalFieldDescriptor local = SampleLocalDescriptor();
    SUDataMarshaller::ConvertToMachineFormat(local, kBigEndian);
    EXPECT_EQ(local.name[0], static_cast<wchar_t>(0x4100));
    EXPECT_EQ(local.name[1], static_cast<wchar_t>(0x4200));
    EXPECT_EQ(local.name[2], static_cast<wchar_t>(-256));    // 0xFF00, sign-extended
    EXPECT_EQ(local.name[3], static_cast<wchar_t>(0x00F6));  // the low 16 bits only
    EXPECT_EQ(local.name[4], 0);
    EXPECT_EQ(local.aliasName[0], static_cast<wchar_t>(0x0180));
    EXPECT_EQ(local.aliasName[128], static_cast<wchar_t>(0x7A00));
    EXPECT_EQ(local.type, 0x0201);
    EXPECT_EQ(local.precision, static_cast<int16>(0xFEFF));
    EXPECT_EQ(local.scale, 0x0403);
    EXPECT_EQ(local.length, 0x04030201u);
    EXPECT_EQ(local.bNullable, 1);
    EXPECT_EQ(local.unicodeOverride, 0x01000000);
    EXPECT_EQ(local.codePage, 0xE9FD0000u);

    // Back to wire order: everything is restored except what did not fit in
    // 16 bits, and units with the top bit set come back sign-extended.
    SUDataMarshaller::ConvertFromMachineFormat(local, kBigEndian);
    XTSAPI_LocalFieldDescriptor expected = SampleLocalDescriptor();
    expected.name[3] = static_cast<wchar_t>(static_cast<int16>(0xF600));
    expected.aliasName[0] = static_cast<wchar_t>(static_cast<int16>(0x8001));
    EXPECT_EQ(std::memcmp(&local, &expected, sizeof local), 0);
}

// ---- Date and time helpers ----

template <class Record>
Bytes BytesOf(const Record& record) {
    Bytes bytes(sizeof record);
    std::memcpy(bytes.data(), &record, sizeof record);
    return bytes;
}

TEST(DateTimeHelpers, FieldsSwapByTheirWidthAndComeBack) {
    XTDate date{2024, 3, 5};
    SUDataMarshaller::ConvertXTDateToBigEndian(date);
    EXPECT_EQ(BytesOf(date), (Bytes{0x07, 0xE8, 0, 3, 0, 5}));
    SUDataMarshaller::ConvertXTDateToLittleEndian(date);
    EXPECT_EQ(date, (XTDate{2024, 3, 5}));

    XTTime time{1, 2, 3, 0xABCD, 0x01020304};
    SUDataMarshaller::ConvertXTTimeToBigEndian(time);
    EXPECT_EQ(BytesOf(time), (Bytes{0, 1, 0, 2, 0, 3, 0xCD, 0xAB, 1, 2, 3, 4}));
    SUDataMarshaller::ConvertXTTimeToLittleEndian(time);
    EXPECT_EQ(time, (XTTime{1, 2, 3, 0, 0x01020304}));
    EXPECT_EQ(time.reserved_, 0xABCD);  // the filler is not part of the value

    const XTDateTime original{-2, 12, 31, 23, 59, 58, 999999999};
    XTDateTime dateTime = original;
    SUDataMarshaller::ConvertXTDateTimeToBigEndian(dateTime);
    EXPECT_EQ(BytesOf(dateTime),
              (Bytes{0xFF, 0xFE, 0, 12, 0, 31, 0, 23, 0, 59, 0, 58, 0x3B, 0x9A, 0xC9, 0xFF}));
    SUDataMarshaller::ConvertXTDateTimeToLittleEndian(dateTime);
    EXPECT_EQ(dateTime, original);
}

}  // namespace
