// Internal helpers of the record layout shared by its source files: one table
// of the per-type layout numbers, read by the layout passes and the public
// table functions of XTRecordMetaData.
#pragma once

#include <cstddef>
#include <iterator>

#include "Utility/Client/SUCXTDataTypes.h"
#include "Utility/Generic/Portable/SUPTypes.h"

namespace record_layout {

// The 32-bit length in front of variable-length values.
inline constexpr uint32 kLengthPrefixSize = 4;
// The largest record (and text record) a 32-bit size can describe.
inline constexpr uint64 kMaxRecordBytes = 0xFFFFFFFFu;

// How the bytes of a value follow from the declared length L.
enum class ByteLengthRule : uint8 {
    kFixed,                 // the row's fixedLength
    kCharacters,            // (L + 1) characters of 4 (wide), 3 (UTF-8) or 1 byte
    kCharactersWithPrefix,  // the same and a 32-bit length prefix
    kDeclared,              // L bytes
    kDeclaredWithPrefix,    // L bytes and a 32-bit length prefix
};

struct TypeLayout {
    bool supported;            // false: Money, Decimal, Unknown (0 when tolerated)
    uint8 alignment;           // alignment of a value in a narrow column
    uint8 wideAlignment;       // alignment of a value in a wide column
    uint8 descriptorBoundary;  // XTFieldDescriptor::GetDataTypeBoundaryOffset
    ByteLengthRule rule;
    uint32 fixedLength;
};

using enum ByteLengthRule;

// One row per type code 0..25, in code order.
inline constexpr TypeLayout kTypeLayouts[] = {
    {true, 1, 1, 1, kFixed, 1},                 // Bit
    {true, 1, 4, 4, kCharacters, 0},            // Char
    {true, 4, 4, 4, kCharactersWithPrefix, 0},  // VarChar
    {true, 4, 4, 4, kCharactersWithPrefix, 0},  // LongVarChar
    {true, 1, 1, 1, kDeclared, 0},              // Binary
    {true, 4, 4, 4, kDeclaredWithPrefix, 0},    // VarBinary
    {true, 4, 4, 4, kDeclaredWithPrefix, 0},    // LongVarBinary
    {true, 1, 1, 1, kFixed, 1},                 // Int1
    {true, 1, 1, 1, kFixed, 1},                 // UInt1
    {true, 2, 2, 2, kFixed, 2},                 // Int2
    {true, 2, 2, 2, kFixed, 2},                 // UInt2
    {true, 4, 4, 4, kFixed, 4},                 // Int4
    {true, 4, 4, 4, kFixed, 4},                 // UInt4
    {true, 4, 4, 4, kFixed, 4},                 // Float
    {true, 8, 8, 8, kFixed, 8},                 // Double
    {false, 0, 0, 0, kFixed, 0},                // Money
    {true, 4, 4, 1, kFixed, 28},                // Numeric
    {false, 0, 0, 0, kFixed, 0},                // Decimal
    {true, 4, 4, 2, kFixed, 6},                 // Date
    {true, 4, 4, 4, kFixed, 12},                // Time
    {true, 4, 4, 4, kFixed, 16},                // DateTime
    {true, 4, 4, 4, kFixed, 16},                // TimeStamp
    {true, 4, 4, 4, kFixed, 4},                 // Interval
    {true, 8, 8, 8, kDeclared, 0},              // Object
    {true, 1, 1, 1, kFixed, 1},                 // Boolean
    {false, 0, 0, 0, kFixed, 0},                // Unknown
};
static_assert(std::size(kTypeLayouts) == XTUnknown + 1);

// The row of a supported type, or null (Money, Decimal, Unknown, codes
// outside the enumeration).
inline const TypeLayout* FindTypeLayout(XTDataType type) noexcept {
    const auto code = static_cast<uint32>(type);
    if (code > static_cast<uint32>(XTUnknown) || !kTypeLayouts[code].supported) return nullptr;
    return &kTypeLayouts[code];
}

// Bytes a value takes in a record, computed without overflow.
inline uint64 GetByteLength64(const TypeLayout& layout, uint32 objectLength,
                              bool isUnicodeCharacter, bool isUTF8Character) noexcept {
    const uint64 declared = objectLength;
    switch (layout.rule) {
        case kFixed: return layout.fixedLength;
        case kDeclared: return declared;
        case kDeclaredWithPrefix: return declared + kLengthPrefixSize;
        case kCharacters:
        case kCharactersWithPrefix: break;
    }
    const uint64 characters = declared + 1;  // with the terminator
    const uint64 bytes = isUnicodeCharacter ? characters * 4
                         : isUTF8Character  ? characters * 3
                                            : characters;
    return layout.rule == kCharactersWithPrefix ? bytes + kLengthPrefixSize : bytes;
}

// `offset` rounded up as XTRecordMetaData::GetAlignmentBoundary does (mask
// path when `powerOfTwo`), on 64 bits. A boundary of 0 gives 0.
inline uint64 AlignOffset(uint32 boundary, uint64 offset, bool powerOfTwo) noexcept {
    uint64 remainder;
    if (powerOfTwo) {
        remainder = offset & (static_cast<uint64>(boundary) - 1);  // all bits for boundary 0
    } else {
        remainder = boundary == 0 ? offset : offset % boundary;
    }
    return remainder == 0 ? offset : offset + boundary - remainder;
}

}  // namespace record_layout
