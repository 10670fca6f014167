// Internal helpers of the packed record formats shared by the packers
// (SUCXTRecordPack.cpp) and the unpackers (SUCXTRecordUnpack.cpp): how each
// type travels, the rooms of character values and the length fields.
#pragma once

#include <algorithm>
#include <array>
#include <cstring>

#include "SUCXTRecordLayoutRules.h"
#include "Utility/Client/SUCXTRecordDescriptor.h"
#include "Utility/Generic/SUGErrorMessage.h"
#include "Utility/Generic/SUGTarvelNumber.h"

namespace record_wire {

using record_layout::ByteLengthRule;
using record_layout::TypeLayout;

inline constexpr std::size_t kHeaderSize = 8;
// Client and server versions from which format 2 is used, and from which
// format 2 sends Numeric values as their bytes rather than as doubles.
inline constexpr uint32 kFormat2Version = 13;
inline constexpr uint32 kNumericBytesVersion = 14;
// The 32-bit count that format 2 sends as the single byte 255, and the
// place where the unpacker puts it back: the first four bytes of the record.
inline constexpr uint32 kNumericMarkerCount = 0xFFFFFFFF;
inline constexpr unsigned char kNumericMarkerByte = 255;
inline constexpr std::size_t kNumericLength = TarvelNumber::kFieldLength;  // 28
inline constexpr std::size_t kNumericCountLength = TarvelNumber::kCountLength;
inline constexpr std::size_t kNumericImageRoom = kNumericLength - kNumericCountLength;  // 24
inline constexpr std::size_t kPrefixLength = record_layout::kLengthPrefixSize;
inline constexpr std::size_t kDoubleLength = 8;

// How a type travels.
enum class WireKind : uint8 {
    kUnsupported,  // Money, Decimal, Unknown, codes outside 0..25: 46033
    kFixed,        // WireRule::fixedLength bytes, as in the record
    kDeclared,     // objectLength_ bytes, as in the record (Binary, Object)
    kChar,         // (L + 1) x 3 bytes on the wire, the record's room of them read
    kVarChar,      // length prefix and characters (VarChar, LongVarChar)
    kVarBinary,    // length prefix and bytes (VarBinary, LongVarBinary)
    kNumeric,      // double or byte count and image
};

struct WireRule {
    WireKind kind;
    uint8 alignment;  // format 1: the record-layout alignment, narrow
    uint8 fixedLength;
};

inline constexpr std::array<WireRule, XTUnknown + 1> MakeWireRules() {
    std::array<WireRule, XTUnknown + 1> rules{};
    for (std::size_t code = 0; code < rules.size(); ++code) {
        const TypeLayout& layout = record_layout::kTypeLayouts[code];
        WireKind kind = WireKind::kUnsupported;
        if (code == XTNumericData) {
            kind = WireKind::kNumeric;
        } else if (layout.supported) {
            switch (layout.rule) {
                case ByteLengthRule::kFixed: kind = WireKind::kFixed; break;
                case ByteLengthRule::kDeclared: kind = WireKind::kDeclared; break;
                case ByteLengthRule::kCharacters: kind = WireKind::kChar; break;
                case ByteLengthRule::kCharactersWithPrefix: kind = WireKind::kVarChar; break;
                case ByteLengthRule::kDeclaredWithPrefix: kind = WireKind::kVarBinary; break;
            }
        }
        rules[code] = {kind, layout.alignment, static_cast<uint8>(layout.fixedLength)};
    }
    return rules;
}
inline constexpr std::array<WireRule, XTUnknown + 1> kWireRules = MakeWireRules();
static_assert(kWireRules[XTNumericData].alignment == 4 && kWireRules[XTCharData].alignment == 1);

inline const WireRule& RuleOf(const XTFieldDescriptor& column) {
    const auto code = static_cast<uint32>(column.GetXTDataType());
    if (code >= kWireRules.size() || kWireRules[code].kind == WireKind::kUnsupported)
        SUGThrow(kMsgUnsupportedDataType, column.GetXTDataType());
    return kWireRules[code];
}

// The bytes a character column's value may take in the record: its byte
// length in the column's own encoding.
inline uint64 CharacterRoom(const XTFieldDescriptor& column, bool recordIsWide) {
    const auto property = column.GetColumnUnicodeProperty();
    const bool wide = recordIsWide || property == SUXTDataTypeUtility::kOverrideAsUnicode;
    return record_layout::GetByteLength64(
        record_layout::kTypeLayouts[column.GetXTDataType()], column.GetObjectLength(), wide,
        property == SUXTDataTypeUtility::kOverrideAsNarrowUTF8Code);
}

// A Char value on the wire: (L + 1) characters of 3 bytes.
inline uint64 CharWireLength(const XTFieldDescriptor& column) {
    return (static_cast<uint64>(column.GetObjectLength()) + 1) * 3;
}

// Copies a value of a fixed length; the usual lengths as constant-size copies.
inline void CopyFixed(unsigned char* to, const unsigned char* from, std::size_t length) {
    switch (length) {
        case 1: *to = *from; return;
        case 2: std::memcpy(to, from, 2); return;
        case 4: std::memcpy(to, from, 4); return;
        case 6: std::memcpy(to, from, 6); return;
        case 8: std::memcpy(to, from, 8); return;
        case 12: std::memcpy(to, from, 12); return;
        case 16: std::memcpy(to, from, 16); return;
        default: std::memcpy(to, from, length); return;
    }
}

// The length of the zero-terminated text at `text`, reading at most `limit`
// bytes (`limit` when no terminator lies within them).
inline std::size_t BoundedLength(const unsigned char* text, uint64 limit) {
    const void* terminator = std::memchr(text, 0, limit);
    return terminator == nullptr
               ? limit
               : static_cast<std::size_t>(static_cast<const unsigned char*>(terminator) - text);
}

inline uint32 ReadPrefix(const unsigned char* value) {
    return DataBlobUtil::GetLittleEndianUInt32(value);
}

// The length prefix of a character value. The direct-query flag is part of
// the interface and changes nothing.
inline uint32 ReadCharacterLength(const unsigned char* value, [[maybe_unused]] bool bDirectQuery) {
    return ReadPrefix(value);
}

// Width of a format-2 length field, from the column's declared length.
inline std::size_t LengthFieldWidth(uint32 objectLength) {
    return objectLength <= 0xFF ? 1 : objectLength <= 0xFFFF ? 2 : 4;
}

// Writes a format-2 length field. A 1- or 2-byte field whose cut value would
// read 0 for a non-zero length holds 255 or 65535 instead. (The packers never
// pass a length that does not fit its width, but the rule is part of the
// format.)
inline unsigned char* PutLengthField(unsigned char* out, uint64 length, std::size_t width) {
    if (width == 1) {
        const auto cut = static_cast<unsigned char>(length);
        *out = cut == 0 && length != 0 ? 0xFF : cut;
        return out + 1;
    }
    if (width == 2) {
        const auto cut = static_cast<uint16>(length);
        return DataBlobUtil::ToBuffer(
            out, static_cast<int16>(cut == 0 && length != 0 ? uint16{0xFFFF} : cut));
    }
    return DataBlobUtil::ToBuffer(out, static_cast<uint32>(length));
}

inline uint32 GetLengthField(const unsigned char* in, std::size_t width) {
    if (width == 1) return *in;
    if (width == 2) return DataBlobUtil::GetLittleEndianUInt16(in);
    return DataBlobUtil::GetLittleEndianUInt32(in);
}

inline bool IsNullByte(const unsigned char* record, const XTFieldDescriptor& column) {
    return column.GetNullOffset() != 0 && record[column.GetNullOffset()] == 1;
}

// 46030 when the count promises more columns than the array holds.
inline void CheckColumnCount(int32 fieldCount, const XTFieldDescriptorArray& columns) {
    if (static_cast<std::size_t>(fieldCount) > columns.size())
        SUGThrow(kMsgFieldPositionOutOfRange, columns.size(), fieldCount);
}

}  // namespace record_wire
