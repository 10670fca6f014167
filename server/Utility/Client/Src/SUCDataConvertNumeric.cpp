// The numeric converters: Bit, Boolean, the six integers, Float32, Float64
// and Numeric among each other.
#include <cmath>
#include <concepts>
#include <limits>
#include <utility>

#include "SUCDataConvertCore.h"
#include "SUCDataConvertNumber.h"
#include "Utility/Generic/SUGErrorMessage.h"
#include "Utility/Generic/SUGTarvelNumber.h"

namespace xts::convert {
namespace {

#define XT_RANGE_ERROR(code, Source, Target) \
    ThrowRangeError(code, Source::kType, Target::kType, __FILE__, __LINE__)

// An integer value (Bit and Boolean count as unsigned 8-bit integers) into an
// integer target: checked against the target's limits, then stored as is.
template <class Source, class Target, class Value>
XT_ALWAYS_INLINE Native<Target> IntegerToInteger(Value value) {
    using Result = Native<Target>;
    if (std::cmp_greater(value, std::numeric_limits<Result>::max()))
        XT_RANGE_ERROR(kMsgValueOverflow, Source, Target);
    if (std::cmp_less(value, std::numeric_limits<Result>::min()))
        XT_RANGE_ERROR(kMsgValueUnderflow, Source, Target);
    return static_cast<Result>(value);
}

// A floating value into an integer target. The bounds are the target's limits
// in the source's own type, compared strictly before truncation: a Float32
// bound of a 32-bit target rounds up to the next power of two, so exactly
// 2^31 (or 2^32) passes and is stored through a 32-bit truncation as its low
// bytes. NaN passes both tests and stores 0, or INT32_MIN into Int32, the
// low bytes of the processor's "integer indefinite".
template <class Source, class Target>
XT_ALWAYS_INLINE Native<Target> FloatingToInteger(Native<Source> value) {
    using Result = Native<Target>;
    using Floating = Native<Source>;
    constexpr auto upper = static_cast<Floating>(std::numeric_limits<Result>::max());
    constexpr auto lower = static_cast<Floating>(std::numeric_limits<Result>::min());
    if (value > upper) XT_RANGE_ERROR(kMsgValueOverflow, Source, Target);
    if (value < lower) XT_RANGE_ERROR(kMsgValueUnderflow, Source, Target);
    if (std::isnan(value))
        return std::same_as<Result, int32> ? static_cast<Result>(std::numeric_limits<int32>::min())
                                           : Result{0};
    return static_cast<Result>(static_cast<int64>(value));
}

template <class Source, class Target>
XT_ALWAYS_INLINE Native<Target> ConvertFixed(Native<Source> value) {
    using Result = Native<Target>;
    if constexpr (FlagWord<Target>) {
        if constexpr (FlagWord<Source>)
            return value;  // the byte as it is, not folded to 0 or 1
        else if constexpr (FloatingWord<Source>)
            return value == 0 ? 0 : 1;  // both zeros give 0; NaN gives 1
        else
            return value != 0 ? 1 : 0;
    } else if constexpr (FloatingWord<Target>) {
        if constexpr (std::same_as<Source, word::Float64> && std::same_as<Target, word::Float32>)
            return NarrowToFloat32(value);
        else
            return static_cast<Result>(value);
    } else if constexpr (FloatingWord<Source>) {
        return FloatingToInteger<Source, Target>(value);
    } else {
        return IntegerToInteger<Source, Target>(value);
    }
}

// The accessor of the decimal number for each fixed-width target.
template <class Target>
XT_ALWAYS_INLINE Native<Target> FromNumber(const TarvelNumber& number) {
    if constexpr (std::same_as<Target, word::Bit>)
        return number.IsZero() ? 0 : 1;
    else if constexpr (std::same_as<Target, word::Boolean>)
        return static_cast<uint8>(number.asInt1());  // stored as it is, not folded
    else if constexpr (std::same_as<Target, word::Int8>)
        return number.asInt1();
    else if constexpr (std::same_as<Target, word::UnsignedInt8>)
        return number.asUInt1();
    else if constexpr (std::same_as<Target, word::Int16>)
        return number.asInt2();
    else if constexpr (std::same_as<Target, word::UnsignedInt16>)
        return number.asUInt2();
    else if constexpr (std::same_as<Target, word::Int32>)
        return number.asInt4();
    else if constexpr (std::same_as<Target, word::UnsignedInt32>)
        return number.asUInt4();
    else if constexpr (std::same_as<Target, word::Float32>)
        return number.asFloat32();
    else
        return number.asDouble();
}

// Writes `number` as its byte vector (32-bit count and image) into the target.
XT_ALWAYS_INLINE void StoreNumber(const TarvelNumber& number, ConvertCall& call) {
    const std::size_t length = number.GetByteVectorLength();
    if (length > call.toLength) SUGThrow(kMsgValueTooLong, length, call.toLength);
    number.ToBuffer(call.to);
    call.toIsNull = 0;
    call.returnLength = length;
}

}  // namespace

// Fixed-width numbers among each other.
template <FixedNumberWord Source, FixedNumberWord Target>
struct ConvertOp<Source, Target> : FixedWidthNulls<sizeof(Native<Target>)> {
    XT_ALWAYS_INLINE static void Convert(ConvertCall& call) {
        const Native<Target> result = ConvertFixed<Source, Target>(Load<Native<Source>>(call.from));
        Store(call.to, result);
        call.toIsNull = 0;
        call.returnLength = sizeof(Native<Target>);
    }
};

// A fixed-width number into Numeric. A null source into a non-nullable
// Numeric target becomes the number zero.
template <FixedNumberWord Source>
struct ConvertOp<Source, word::Numeric> : NumericTargetNulls {
    XT_ALWAYS_INLINE static void Convert(ConvertCall& call) {
        StoreNumber(TarvelNumber(Load<Native<Source>>(call.from)), call);
    }
};

// Numeric into a fixed-width number, through the number's accessors.
template <FixedNumberWord Target>
struct ConvertOp<word::Numeric, Target> : FixedWidthNulls<sizeof(Native<Target>)> {
    XT_ALWAYS_INLINE static void Convert(ConvertCall& call) {
        TarvelNumber number;
        number.FromByteVector(call.from);
        Store(call.to, FromNumber<Target>(number));
        call.toIsNull = 0;
        call.returnLength = sizeof(Native<Target>);
    }
};

// Numeric into Numeric copies the source's bytes as they are; the target's
// capacity is deliberately not consulted.
template <>
struct ConvertOp<word::Numeric, word::Numeric> : NumericTargetNulls {
    XT_ALWAYS_INLINE static void Convert(ConvertCall& call) {
        std::memmove(call.to, call.from, call.fromLength);
        call.toIsNull = 0;
        call.returnLength = call.fromLength;
    }
};

}  // namespace xts::convert

XT_DEFINE_CONVERTERS(XT_NUMERIC_CONVERTERS)
