// Fixed-width integer names used throughout the library and its interfaces.
#pragma once

#include <cstddef>
#include <cstdint>

using int8 = std::int8_t;
using uint8 = std::uint8_t;
using int16 = std::int16_t;
using uint16 = std::uint16_t;
using int32 = std::int32_t;
using uint32 = std::uint32_t;
using int64 = std::int64_t;
using uint64 = std::uint64_t;

// One UTF-16 code unit, as handed over by callers that hold 16-bit text.
using UTF16Char = unsigned short;

static_assert(sizeof(wchar_t) == 4, "wide text is made of 32-bit units");
static_assert(sizeof(UTF16Char) == 2, "UTF-16 code units are 16 bits");
