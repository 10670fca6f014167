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
