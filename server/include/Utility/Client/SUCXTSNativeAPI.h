// Native API structures: fixed binary layouts shared with applications of the
// call-level interface.
#pragma once

#include <cstddef>
#include <type_traits>

#include "Utility/Generic/Portable/SUPTypes.h"

// Characters of a column name in the native descriptors, terminator included.
inline constexpr std::size_t kXTSAPINameLength = 129;

// The in-process twin of the native column descriptor, with wide-character
// names: the unit on which SUDataMarshaller converts a native column
// description between wire and machine byte order. Natural alignment; the
// offsets are fixed by the static_asserts below.
struct XTSAPI_LocalFieldDescriptor {
    wchar_t name[kXTSAPINameLength];       // column name, zero-terminated
    wchar_t aliasName[kXTSAPINameLength];  // alias, zero-terminated
    uint16 type;                           // XTDataType code
    int16 precision;
    int16 scale;
    uint32 length;          // object length
    uint8 bNullable;        // non-zero = nullable
    int32 unicodeOverride;  // ColumnUnicodeProperty value
    uint32 codePage;
};

static_assert(std::is_standard_layout_v<XTSAPI_LocalFieldDescriptor> &&
              std::is_trivially_copyable_v<XTSAPI_LocalFieldDescriptor>);
static_assert(offsetof(XTSAPI_LocalFieldDescriptor, name) == 0);
static_assert(offsetof(XTSAPI_LocalFieldDescriptor, aliasName) == 516);
static_assert(offsetof(XTSAPI_LocalFieldDescriptor, type) == 1032);
static_assert(offsetof(XTSAPI_LocalFieldDescriptor, precision) == 1034);
static_assert(offsetof(XTSAPI_LocalFieldDescriptor, scale) == 1036);
static_assert(offsetof(XTSAPI_LocalFieldDescriptor, length) == 1040);
static_assert(offsetof(XTSAPI_LocalFieldDescriptor, bNullable) == 1044);
static_assert(offsetof(XTSAPI_LocalFieldDescriptor, unicodeOverride) == 1048);
static_assert(offsetof(XTSAPI_LocalFieldDescriptor, codePage) == 1052);
static_assert(sizeof(XTSAPI_LocalFieldDescriptor) == 1056 &&
              alignof(XTSAPI_LocalFieldDescriptor) == 4);

// The native column descriptor handed to applications of the call-level
// interface: 16-bit names (UTF-16 units, characters above the basic plane
// are not encoded as surrogate pairs by this library) and seven numbers in
// wire (little-endian) order. 540 bytes with natural alignment; the offsets
// are fixed by the static_asserts below and must not change.
struct XTSAPI_FieldDescriptor {
    uint16 name[kXTSAPINameLength];       // column name, zero-terminated
    uint16 aliasName[kXTSAPINameLength];  // alias, zero-terminated
    uint16 type;                          // XTDataType code
    int16 precision;
    int16 scale;
    uint32 length;          // object length
    uint8 bNullable;        // non-zero = nullable
    int32 unicodeOverride;  // ColumnUnicodeProperty value
    uint32 codePage;
};

static_assert(std::is_standard_layout_v<XTSAPI_FieldDescriptor> &&
              std::is_trivially_copyable_v<XTSAPI_FieldDescriptor>);
static_assert(offsetof(XTSAPI_FieldDescriptor, name) == 0);
static_assert(offsetof(XTSAPI_FieldDescriptor, aliasName) == 258);
static_assert(offsetof(XTSAPI_FieldDescriptor, type) == 516);
static_assert(offsetof(XTSAPI_FieldDescriptor, precision) == 518);
static_assert(offsetof(XTSAPI_FieldDescriptor, scale) == 520);
static_assert(offsetof(XTSAPI_FieldDescriptor, length) == 524);
static_assert(offsetof(XTSAPI_FieldDescriptor, bNullable) == 528);
static_assert(offsetof(XTSAPI_FieldDescriptor, unicodeOverride) == 532);
static_assert(offsetof(XTSAPI_FieldDescriptor, codePage) == 536);
static_assert(sizeof(XTSAPI_FieldDescriptor) == 540 && alignof(XTSAPI_FieldDescriptor) == 4);

// A native record description: the column count followed by that many
// column descriptors. Declared with one element; the caller allocates
// GetXTSAPIRecordMetadataSize(n) bytes for n columns (544 for one).
struct XTSAPI_RecordMetadata {
    uint32 countFields;
    XTSAPI_FieldDescriptor fieldDescriptorArray[1];
};

static_assert(std::is_standard_layout_v<XTSAPI_RecordMetadata> &&
              std::is_trivially_copyable_v<XTSAPI_RecordMetadata>);
static_assert(offsetof(XTSAPI_RecordMetadata, countFields) == 0);
static_assert(offsetof(XTSAPI_RecordMetadata, fieldDescriptorArray) == 4);
static_assert(sizeof(XTSAPI_RecordMetadata) == 544 && alignof(XTSAPI_RecordMetadata) == 4);

// Bytes of a native record description with `countFields` columns (at least
// the one declared element): 4 + 540 x max(countFields, 1).
constexpr std::size_t GetXTSAPIRecordMetadataSize(std::size_t countFields) noexcept {
    return offsetof(XTSAPI_RecordMetadata, fieldDescriptorArray) +
           sizeof(XTSAPI_FieldDescriptor) * (countFields == 0 ? 1 : countFields);
}
