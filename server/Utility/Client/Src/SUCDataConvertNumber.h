// Internal: the fixed-width number words and their native values, shared by
// the numeric, character and date/time converters.
#pragma once

#include <cmath>
#include <concepts>
#include <limits>

#include "SUCDataConvertCore.h"
#include "Utility/Generic/SUGTarvelNumber.h"

namespace xts::convert {

// The native value of each fixed-width number word.
template <class Word>
struct NativeOf;
template <>
struct NativeOf<word::Bit> {
    using Type = uint8;
};
template <>
struct NativeOf<word::Boolean> {
    using Type = uint8;
};
template <>
struct NativeOf<word::Int8> {
    using Type = int8;
};
template <>
struct NativeOf<word::UnsignedInt8> {
    using Type = uint8;
};
template <>
struct NativeOf<word::Int16> {
    using Type = int16;
};
template <>
struct NativeOf<word::UnsignedInt16> {
    using Type = uint16;
};
template <>
struct NativeOf<word::Int32> {
    using Type = int32;
};
template <>
struct NativeOf<word::UnsignedInt32> {
    using Type = uint32;
};
template <>
struct NativeOf<word::Float32> {
    using Type = float;
};
template <>
struct NativeOf<word::Float64> {
    using Type = double;
};

template <class Word>
using Native = typename NativeOf<Word>::Type;

template <class Word>
concept FixedNumberWord = requires {
    typename NativeOf<Word>::Type;
};
template <class Word>
concept FlagWord = std::same_as<Word, word::Bit> || std::same_as<Word, word::Boolean>;
template <class Word>
concept FloatingWord = std::same_as<Word, word::Float32> || std::same_as<Word, word::Float64>;
template <class Word>
concept IntegerWord = FixedNumberWord<Word> && !FlagWord<Word> && !FloatingWord<Word>;

// Float64 into Float32 by ordinary rounding, without a range check: values
// beyond the single range become infinities, as the hardware does.
XT_ALWAYS_INLINE float NarrowToFloat32(double value) {
    constexpr double kMax = std::numeric_limits<float>::max();
    if (value > kMax || value < -kMax) {
        // Above FLT_MAX by less than half its last unit still rounds to it.
        constexpr double kRoundsToInfinity = kMax + 0x1p103;
        const double magnitude = std::fabs(value);
        const float result = magnitude < kRoundsToInfinity ? std::numeric_limits<float>::max()
                                                           : std::numeric_limits<float>::infinity();
        return value < 0 ? -result : result;
    }
    return static_cast<float>(value);
}

// Null handling of a Numeric target: a null into a non-nullable Numeric
// becomes the number zero (when it fits the capacity).
struct NumericTargetNulls : FixedWidthNulls<0> {
    static void NullToPlain(ConvertCall& call) {
        const TarvelNumber zero;
        if (zero.GetByteVectorLength() <= call.toLength) {
            zero.ToBuffer(call.to);
            call.returnLength = zero.GetByteVectorLength();
        } else {
            call.returnLength = 0;
        }
        call.toIsNull = 1;
    }
};

}  // namespace xts::convert
