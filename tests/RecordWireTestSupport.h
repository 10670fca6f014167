// Helpers for the metadata stream and record pack tests: random record
// descriptions and records (fixed seeds), exactly sized heap buffers (so that
// AddressSanitizer reports any access past them) and error checks.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "RecordLayoutTestSupport.h"
#include "Utility/Client/SUCXTRecordDescriptor.h"
#include "Utility/Generic/SUGErrorMessage.h"
#include "Utility/Generic/SUGTarvelNumber.h"

namespace xts::test {

// Every type a record may hold.
inline constexpr XTDataType kSupportedTypes[] = {
    XTBitData,       XTCharData,          XTVarCharData, XTLongVarCharData, XTBinaryData,
    XTVarBinaryData, XTLongVarBinaryData, XTInt1Data,    XTUInt1Data,       XTInt2Data,
    XTUInt2Data,     XTInt4Data,          XTUInt4Data,   XTFloatData,       XTDoubleData,
    XTNumericData,   XTDateData,          XTTimeData,    XTDateTimeData,    XTTimeStampData,
    XTIntervalData,  XTObjectData,        XTBoolean};

inline bool IsVarCharType(XTDataType type) {
    return type == XTVarCharData || type == XTLongVarCharData;
}
inline bool IsVarBinaryType(XTDataType type) {
    return type == XTVarBinaryData || type == XTLongVarBinaryData;
}

// A heap buffer of exactly `size` bytes, filled with `fill`.
struct ExactBuffer {
    explicit ExactBuffer(uint64 size, unsigned char fill = 0)
        : bytes(new unsigned char[size]), size(size) {
        std::memset(bytes.get(), fill, size);
    }
    ExactBuffer(const unsigned char* from, std::size_t size) : ExactBuffer(size) {
        if (size != 0) std::memcpy(bytes.get(), from, size);
    }
    unsigned char* get() const { return bytes.get(); }
    unsigned char* end() const { return bytes.get() + size; }
    std::vector<unsigned char> ToVector() const { return {get(), end()}; }

    std::unique_ptr<unsigned char[]> bytes;
    std::size_t size;
};

// The error code raised by `action`, or 0.
template <class Action>
int32 ErrorCodeOf(Action&& action) {
    try {
        action();
    } catch (const ErrorMessage& error) {
        return error.GetCode();
    }
    return 0;
}

// A column of a hand-made description.
struct TestColumn {
    XTDataType type;
    uint32 length = 0;
    bool nullable = false;
};

// A narrow description of the columns, laid out aligned, identifiers = positions.
inline XTRecordMetaData Describe(const std::vector<TestColumn>& columns) {
    XTRecordMetaData description;
    description.SetFieldCount(static_cast<int32>(columns.size()));
    for (std::size_t i = 0; i < columns.size(); ++i)
        description.DescribleField(static_cast<int32>(i), columns[i].type, columns[i].length,
                                   columns[i].nullable, 0, 0, L"", L"");
    description.GenerateAlignedFieldOffset(false, 0);
    return description;
}

// Bytes from hexadecimal pairs separated by blanks: "0A FF 01".
inline std::vector<unsigned char> FromHex(const std::string& hex) {
    std::vector<unsigned char> bytes;
    for (std::size_t at = hex.find_first_not_of(' '); at != std::string::npos;
         at = hex.find_first_not_of(' ', at + 2))
        bytes.push_back(static_cast<unsigned char>(std::stoul(hex.substr(at, 2), nullptr, 16)));
    return bytes;
}

struct DescriptionOptions {
    int maxColumns = 12;
    bool numeric = true;       // Numeric columns allowed
    bool longLengths = false;  // variable-length columns up to 70000
};

inline std::wstring RandomName(std::mt19937& random, std::size_t maxLength) {
    std::wstring name(random() % (maxLength + 1), L'\0');
    for (wchar_t& character : name)
        character = static_cast<wchar_t>(random() % 3 == 0 ? 0x100 + random() % 0xD000
                                                           : L'a' + random() % 26);
    return name;
}

// A random description, laid out aligned (narrow or wide) or packed, with
// random nullability, encoding overrides, names and identifiers.
inline XTRecordMetaData MakeRandomDescription(std::mt19937& random,
                                              const DescriptionOptions& options = {}) {
    XTRecordMetaData description;
    const int columns = static_cast<int>(random() % (options.maxColumns + 1));
    description.SetFieldCount(columns);
    for (int i = 0; i < columns; ++i) {
        XTDataType type;
        do {
            type = kSupportedTypes[random() % std::size(kSupportedTypes)];
        } while (type == XTNumericData && !options.numeric);
        uint32 length = 1 + random() % 24;
        if ((IsVarCharType(type) || IsVarBinaryType(type)) && random() % 4 == 0) {
            static constexpr uint32 kWidthEdges[] = {255, 256, 65535, 65536, 70000};
            length = options.longLengths ? kWidthEdges[random() % 5] : kWidthEdges[random() % 2];
        }
        const auto property = static_cast<SUXTDataTypeUtility::ColumnUnicodeProperty>(random() % 4);
        auto column = MakeRefCnt<XTFieldDescriptor>(
            i, type, length, random() % 2 == 0, static_cast<int16>(random() % 40),
            static_cast<int32>(random() % 10), RandomName(random, 6), RandomName(random, 3),
            property, static_cast<uint32>(random() % 3 == 0 ? 65001 : 0));
        description.SetFieldDescriptor(i, column);
    }
    switch (random() % 3) {
        case 0:
            description.GenerateAlignedFieldOffset(false, 0);
            break;
        case 1:
            description.GenerateAlignedFieldOffset(true, 0);
            break;
        default:
            description.GeneratePackedFieldOffset(random() % 2 == 0);
            break;
    }
    return description;
}

// The room of a column in a record of `description`.
inline uint32 RoomOf(const XTRecordMetaData& description, int32 i) {
    const XTFieldDescriptor& column = *description.GetFieldDescriptor(i);
    const auto property = column.GetColumnUnicodeProperty();
    return XTRecordMetaData::GetByteLength(
        column.GetXTDataType(), column.GetObjectLength(), description.IsUnicodeColumn(i),
        property == SUXTDataTypeUtility::kOverrideAsNarrowUTF8Code, false);
}

struct RecordOptions {
    bool overlongBinary = false;  // VarBinary prefixes up to L + 5 (format 1 cuts them)
    bool oddNullBytes = false;    // null bytes of 2 besides 0 and 1
};

// A record of `description` with random values and nulls. Character values
// are narrow text (bytes 1..127) of at most L characters, terminated; null
// variable-length values have the prefix 0, as format 1 requires.
inline ExactBuffer MakeRandomRecord(std::mt19937& random, const XTRecordMetaData& description,
                                    const RecordOptions& options = {}) {
    ExactBuffer record(description.GetBinaryRecordSize());
    for (std::size_t i = 0; i < record.size; ++i)
        record.get()[i] = static_cast<unsigned char>(random());
    for (int32 i = 0; i < description.GetFieldCount(); ++i) {
        const XTFieldDescriptor& column = *description.GetFieldDescriptor(i);
        unsigned char* value = record.get() + column.GetByteOffset();
        const uint32 length = column.GetObjectLength();
        bool isNull = false;
        if (column.IsNullable()) {
            const unsigned nullChoice = random() % 10;
            const unsigned char nullByte =
                nullChoice < 3 ? 1 : (options.oddNullBytes && nullChoice == 3 ? 2 : 0);
            record.get()[column.GetNullOffset()] = nullByte;
            isNull = nullByte == 1;
        }
        const XTDataType type = column.GetXTDataType();
        if (IsVarCharType(type)) {
            const uint32 count = isNull ? 0 : random() % (std::min<uint32>(length, 40) + 1);
            DataBlobUtil::ToBuffer(value, count);
            for (uint32 c = 0; c < count; ++c)
                value[4 + c] = static_cast<unsigned char>(1 + random() % 127);
            value[4 + count] = 0;
        } else if (IsVarBinaryType(type)) {
            const uint32 limit = std::min<uint32>(length, 40) + (options.overlongBinary ? 5 : 0);
            const uint32 prefix = isNull ? 0 : random() % (limit + 1);
            DataBlobUtil::ToBuffer(value, prefix);
        } else if (type == XTNumericData) {
            const TarvelNumber number(static_cast<long long>(random()) - (1LL << 31));
            const TarvelNumber scaled(static_cast<double>(random()) / 997.0);
            (random() % 2 == 0 ? number : scaled).ToBuffer(value);
            if (random() % 8 == 0) DataBlobUtil::ToBuffer(value, uint32{0});
        }
    }
    return record;
}

// Packs with PackRecordVersion1/2 into an exactly sized buffer whose
// reserved header bytes read 0xEE.
inline ExactBuffer Pack(const XTRecordMetaData& description, const unsigned char* record,
                        int format, uint32 clientVersion = 14, bool numericBytes = false) {
    ExactBuffer out(static_cast<std::size_t>(description.GetMaxPackedRecordSize()), 0xEE);
    const uint32 total =
        format == 1 ? description.PackRecordVersion1(out.get(), record, false, numericBytes)
                    : description.PackRecordVersion2(out.get(), record, clientVersion, false);
    EXPECT_LE(total, out.size);
    EXPECT_EQ(DataBlobUtil::GetLittleEndianUInt32(out.get()), total);
    return ExactBuffer(out.get(), total);
}

}  // namespace xts::test
