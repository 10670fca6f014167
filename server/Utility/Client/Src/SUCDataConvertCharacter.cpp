// The character converters: numbers into text, text into numbers, text among
// its forms, and binary values.
#include "SUCDataConvertNumber.h"
#include "SUCDataConvertText.h"
#include "Utility/Generic/SUGErrorMessage.h"
#include "Utility/Generic/SUGTarvelNumber.h"

namespace xts::convert {
namespace {

template <class Word>
concept SignedIntegerWord = std::same_as<Word, word::Int8> || std::same_as<Word, word::Int16> ||
    std::same_as<Word, word::Int32>;

// ---- Numbers into text ----

// The narrow text of a number in `size` bytes (see DigitizeBinaryLongData).
template <FixedNumberWord Source>
int32 DigitizeNarrow(Native<Source> value, char* buffer, int32 size) {
    if constexpr (FloatingWord<Source>)
        return SUDataConvert::DigitizeFloat64Data(value, buffer, size);
    else if constexpr (SignedIntegerWord<Source>)
        return SUDataConvert::DigitizeBinaryLongData(value, buffer, size);
    else
        return SUDataConvert::DigitizeBinaryUnsignedLongData(value, buffer, size);
}

// The wide text of a number padded to exactly `size` units (plus a terminator).
template <FixedNumberWord Source>
int32 DigitizeWide(Native<Source> value, wchar_t* buffer, int32 size) {
    if constexpr (FloatingWord<Source>)
        return SUDataConvert::XTCharDigitizeFloat64Data(value, buffer, size);
    else if constexpr (SignedIntegerWord<Source>)
        return SUDataConvert::XTDigitizeBinaryLongData(value, buffer, size);
    else
        return SUDataConvert::XTDigitizeBinaryUnsignedLongData(value, buffer, size);
}

inline int32 ClampSize(uint32 size) noexcept {
    return size > 0x7FFFFFFFu ? 0x7FFFFFFF : static_cast<int32>(size);
}

}  // namespace

// A number into a narrow Char: left-aligned, terminated, no padding; the
// length is the count written. A null becomes blanks with a right-aligned 0.
template <FixedNumberWord Source>
requires(!FlagWord<Source>) struct ConvertOp<Source, word::Char> : FixedWidthNulls<0> {
    static void Convert(ConvertCall& call) {
        if (call.toLength <= 1) return TooSmallFixed(call, false);
        const int32 count =
            DigitizeNarrow<Source>(Load<Native<Source>>(call.from),
                                   reinterpret_cast<char*>(call.to), ClampSize(call.toLength));
        call.toIsNull = 0;
        call.returnLength = static_cast<uint64>(count);
    }
    static void NullToPlain(ConvertCall& call) {
        if (call.toLength >= 2) {
            std::memset(call.to, ' ', call.toLength - 2);
            call.to[call.toLength - 2] = '0';
        }
        if (call.toLength >= 1) call.to[call.toLength - 1] = 0;
        call.toIsNull = 1;
        call.returnLength = call.toLength;
    }
};

// A number into a wide XTChar fills the whole capacity: the text padded with
// blanks to toLength units and a zero unit at index toLength.
template <FixedNumberWord Source>
requires(!FlagWord<Source>) struct ConvertOp<Source, word::XTChar> : FixedWidthNulls<0> {
    static void Convert(ConvertCall& call) {
        if (call.toLength == 0) return TooSmallFixed(call, true);
        const int32 size = DigitizeWide<Source>(Load<Native<Source>>(call.from),
                                                WideTarget(call.to), ClampSize(call.toLength));
        call.toIsNull = 0;
        call.returnLength = static_cast<uint64>(size);
    }
    static void NullToPlain(ConvertCall& call) { NullIntoWideChar(call); }
};

// A number into a variable text: the text after the count, the count in the
// prefix. Wide targets are filled to their capacity like XTChar.
template <FixedNumberWord Source, class Target>
requires(!FlagWord<Source> &&
         kTextLayout<Target> == TextLayout::kVariable) struct ConvertOp<Source, Target> {
    static void Convert(ConvertCall& call) {
        if (call.toLength < 2) return NullIntoVariable(call, kIsWideWord<Target>);
        const Native<Source> value = Load<Native<Source>>(call.from);
        unsigned char* data = call.to + sizeof(uint32);
        int32 count = 0;
        if constexpr (kIsWideWord<Target>)
            count = DigitizeWide<Source>(value, WideTarget(data), ClampSize(call.toLength));
        else
            count = DigitizeNarrow<Source>(value, reinterpret_cast<char*>(data),
                                           ClampSize(call.toLength));
        StoreCount(call.to, static_cast<uint32>(count));
        call.toIsNull = 0;
        call.returnLength = static_cast<uint64>(count);
    }
    static void NullToPlain(ConvertCall& call) { NullIntoVariable(call, kIsWideWord<Target>); }
    static void NullToNullable(ConvertCall& call) { NullIntoVariable(call, kIsWideWord<Target>); }
};

// Bit and Boolean into text: one character, "1"/"0" or "T"/"F".
template <FlagWord Source, TextWord Target>
struct ConvertOp<Source, Target> {
    static wchar_t Letter(ConvertCall& call) {
        const bool set = *call.from != 0;
        if constexpr (std::same_as<Source, word::Bit>)
            return set ? L'1' : L'0';
        else
            return set ? L'T' : L'F';
    }
    static void Convert(ConvertCall& call) {
        if constexpr (std::same_as<Target, word::Char>) {
            XTAssert(call.toLength >= 1);
            call.to[0] = static_cast<unsigned char>(Letter(call));
            if (call.toLength >= 2) call.to[1] = 0;
            call.returnLength = 1;
        } else if constexpr (std::same_as<Target, word::XTChar>) {
            XTAssert(call.toLength >= 1);
            wchar_t* units = WideTarget(call.to);
            units[0] = Letter(call);
            FillWide(units + 1, L' ', call.toLength - 1);
            units[call.toLength] = 0;
            call.returnLength = call.toLength;
        } else {
            XTAssert(call.toLength >= sizeof(uint32) + 1);
            StoreCount(call.to, 1);
            wchar_t* units = WideTarget(call.to + sizeof(uint32));
            units[0] = Letter(call);
            units[1] = 0;
            call.returnLength = 1;
        }
        call.toIsNull = 0;
    }
    static void NullToPlain(ConvertCall& call) {
        if constexpr (std::same_as<Target, word::Char>)
            NullIntoNarrowChar(call);
        else if constexpr (std::same_as<Target, word::XTChar>)
            NullIntoWideChar(call);
        else
            NullIntoVariable(call, true);
    }
    static void NullToNullable(ConvertCall& call) {
        if constexpr (kTextLayout<Target> == TextLayout::kVariable) {
            NullIntoVariable(call, true);
        } else {
            call.toIsNull = 1;
            call.returnLength = 0;
        }
    }
};

// Numeric into wide text: the number's plain decimal text, padded with
// blanks to the capacity like the other numbers; a text longer than the
// capacity raises 46034 rather than losing digits.
template <class Target>
requires(kIsWideWord<Target>) struct ConvertOp<word::Numeric, Target> {
    static void Convert(ConvertCall& call) {
        TarvelNumber number;
        number.FromByteVector(call.from);
        wchar_t digits[TarvelNumber::kMaxTextLength];
        const auto length = static_cast<uint32>(number.ToChars(digits, std::end(digits)) - digits);
        const uint32 room = call.toLength;
        if (length > room) SUGThrow(kMsgValueTooLong, length, room);
        unsigned char* data =
            kTextLayout<Target> == TextLayout::kVariable ? call.to + sizeof(uint32) : call.to;
        wchar_t* units = WideTarget(data);
        std::memcpy(units, digits, length * sizeof(wchar_t));
        FillWide(units + length, L' ', room - length);
        units[room] = 0;
        if constexpr (kTextLayout<Target> == TextLayout::kVariable) StoreCount(call.to, room);
        call.toIsNull = 0;
        call.returnLength = room;
    }
    static void NullToPlain(ConvertCall& call) {
        if constexpr (kTextLayout<Target> == TextLayout::kVariable)
            NullIntoVariable(call, true);
        else
            NullIntoWideChar(call);
    }
    static void NullToNullable(ConvertCall& call) {
        if constexpr (kTextLayout<Target> == TextLayout::kVariable) {
            NullIntoVariable(call, true);
        } else {
            call.toIsNull = 1;
            call.returnLength = 0;
        }
    }
};

// ---- Text into numbers ----

namespace {

// Parses a source text into the native value of `Target`.
template <FixedNumberWord Target, class Unit>
Native<Target> ParseNumber(const Unit* text, uint32 length) {
    constexpr bool kWide = sizeof(Unit) != 1;
    using Result = Native<Target>;
    if constexpr (std::same_as<Target, word::Bit>) {
        return text[0] == '1' ? 1 : 0;
    } else if constexpr (std::same_as<Target, word::Boolean>) {
        return text[0] == 'T' ? 1 : 0;
    } else if constexpr (FloatingWord<Target>) {
        const double value =
            kWide
                ? SUDataConvert::XTCharToFloat64Data(reinterpret_cast<const wchar_t*>(text), length)
                : SUDataConvert::CharToFloat64Data(reinterpret_cast<const char*>(text), length);
        if constexpr (std::same_as<Target, word::Float32>)
            return NarrowToFloat32(value);
        else
            return value;
    } else if constexpr (SignedIntegerWord<Target>) {
        constexpr auto maximum = static_cast<int32>(std::numeric_limits<Result>::max());
        const int32 value = kWide ? SUDataConvert::XTCharToLongData(
                                        reinterpret_cast<const wchar_t*>(text), length, maximum)
                                  : SUDataConvert::CharToLongData(
                                        reinterpret_cast<const char*>(text), length, maximum);
        return static_cast<Result>(value);  // the low bytes, as stored
    } else {
        constexpr auto maximum = static_cast<uint32>(std::numeric_limits<Result>::max());
        const uint32 value = kWide ? SUDataConvert::XTCharToUnsignedLongData(
                                         reinterpret_cast<const wchar_t*>(text), length, maximum)
                                   : SUDataConvert::CharToUnsignedLongData(
                                         reinterpret_cast<const char*>(text), length, maximum);
        return static_cast<Result>(value);
    }
}

// Parses a source text into a decimal number; text that is not one raises 46044.
TarvelNumber ParseDecimal(const SourceText& text) {
    TarvelNumber number;
    const bool parsed =
        text.IsWide() ? TarvelNumber::TryParse(std::wstring_view(text.wide, text.length), number)
                      : TarvelNumber::TryParse(std::string_view(text.narrow, text.length), number);
    if (!parsed) {
        if (text.IsWide()) SUGThrow(kMsgInvalidIntegerText, XTString(text.wide, text.length));
        SUGThrow(kMsgInvalidIntegerText, std::string_view(text.narrow, text.length));
    }
    return number;
}

}  // namespace

// Text into a fixed-width number. An empty text gives null with length 0.
template <TextWord Source, FixedNumberWord Target>
struct ConvertOp<Source, Target> : FixedWidthNulls<sizeof(Native<Target>)> {
    static void Convert(ConvertCall& call) {
        WideScratch scratch(1);
        const SourceText text = ReadSource<Source>(call, scratch);
        if (text.isNull || text.IsEmpty()) {
            call.toIsNull = 1;
            call.returnLength = 0;
            return;
        }
        const Native<Target> value = text.IsWide() ? ParseNumber<Target>(text.wide, text.length)
                                                   : ParseNumber<Target>(text.narrow, text.length);
        Store(call.to, value);
        call.toIsNull = 0;
        call.returnLength = sizeof(Native<Target>);
    }
};

// Text into Numeric.
template <TextWord Source>
struct ConvertOp<Source, word::Numeric> : NumericTargetNulls {
    static void Convert(ConvertCall& call) {
        WideScratch scratch(1);
        const SourceText text = ReadSource<Source>(call, scratch);
        if (text.isNull || text.IsEmpty()) {
            call.toIsNull = 1;
            call.returnLength = 0;
            return;
        }
        const TarvelNumber number = ParseDecimal(text);
        const std::size_t length = number.GetByteVectorLength();
        if (length > call.toLength) SUGThrow(kMsgValueTooLong, length, call.toLength);
        number.ToBuffer(call.to);
        call.toIsNull = 0;
        call.returnLength = length;
    }
};

// ---- Text among its forms ----

template <TextWord Source, TextWord Target>
struct ConvertOp<Source, Target> {
    static void Convert(ConvertCall& call) {
        WideScratch scratch(1);
        const SourceText text = ReadSource<Source>(call, scratch);
        if (text.isNull) return NullToNullable(call);
        WriteText<Target>(call, text, kTrimRule<Source>);
    }
    static void NullToPlain(ConvertCall& call) {
        if constexpr (std::same_as<Target, word::Char>)
            NullIntoNarrowChar(call);
        else if constexpr (std::same_as<Target, word::XTChar>)
            NullIntoWideChar(call);
        else
            NullToNullable(call);
    }
    static void NullToNullable(ConvertCall& call) {
        if constexpr (kTextLayout<Target> == TextLayout::kVariable) {
            NullIntoVariable(call, kIsWideWord<Target>);
        } else {
            if (call.toLength >= 1) {
                if constexpr (kIsWideWord<Target>)
                    WideTarget(call.to)[0] = 0;
                else
                    call.to[0] = 0;
            }
            call.toIsNull = 1;
            call.returnLength = 0;
        }
    }
};

// ---- Binary values ----

template <class Word>
concept BinaryWord = std::same_as<Word, word::Binary> || std::same_as<Word, word::VarBinary> ||
    std::same_as<Word, word::LongVarBinary>;

// Binary into binary. A fixed Binary holds `fromLength` bytes; the variable
// forms a 32-bit count and the bytes. A value longer than the target's
// capacity raises 46034 instead of being cut. A fixed target is padded with
// zero bytes to its capacity.
template <BinaryWord Source, BinaryWord Target>
struct ConvertOp<Source, Target> {
    static constexpr bool kVariableTarget = !std::same_as<Target, word::Binary>;

    static void Convert(ConvertCall& call) {
        const unsigned char* data =
            std::same_as<Source, word::Binary> ? call.from : call.from + sizeof(uint32);
        const uint32 length = call.fromLength;
        if (length > call.toLength) SUGThrow(kMsgValueTooLong, length, call.toLength);
        if constexpr (kVariableTarget) {
            StoreCount(call.to, length);
            std::memmove(call.to + sizeof(uint32), data, length);
        } else {
            std::memmove(call.to, data, length);
            std::memset(call.to + length, 0, call.toLength - length);
        }
        call.toIsNull = 0;
        call.returnLength = length;
    }
    static void NullToPlain(ConvertCall& call) {
        if constexpr (kVariableTarget)
            StoreCount(call.to, 0);
        else
            std::memset(call.to, 0, call.toLength);
        call.toIsNull = 1;
        call.returnLength = kVariableTarget ? 0 : call.toLength;
    }
    static void NullToNullable(ConvertCall& call) {
        if constexpr (kVariableTarget) StoreCount(call.to, 0);
        call.toIsNull = 1;
        call.returnLength = 0;
    }
};

}  // namespace xts::convert

XT_DEFINE_CONVERTERS(XT_CHARACTER_CONVERTERS)
