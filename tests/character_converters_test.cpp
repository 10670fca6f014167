// The character converters, value by value: text into numbers, numbers and
// flags into text, the fixed and variable text layouts with their padding,
// trimming, capacities and null forms, and Numeric to and from text.
// Code pages, round trips, allocation and assertions are in
// character_transcoding_test.cpp; the walk over every converter is in
// character_converter_matrix_test.cpp.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "CharacterTestSupport.h"
#include "Utility/Client/SUCDataConvert.h"
#include "Utility/Generic/SUGErrorMessage.h"
#include "Utility/Generic/SUGTarvelNumber.h"

namespace {

using namespace std::string_view_literals;
using xts::test::Call;
using xts::test::ConverterNamed;
using xts::test::ConvertResult;
using xts::test::GuardedBuffer;
using xts::test::SourceBuffer;
using xts::test::TextShape;

using Params = DataConvertParams;

Params Codes(int32 fromCode, int32 toCode) {
    Params params;
    params.charDataFromDataCode = fromCode;
    params.charDataToDataCode = toCode;
    return params;
}

// Extents in bytes of each target layout of capacity `toLength`.
std::size_t NarrowVariable(uint32 toLength) {
    return 4 + toLength;
}
std::size_t WideFixed(uint32 toLength) {
    return 4 * std::size_t{toLength};
}
std::size_t WideVariable(uint32 toLength) {
    return 4 + 4 * std::size_t{toLength};
}

// A converter call on a fresh guarded target; the guards are checked.
struct Outcome {
    ConvertResult result;
    GuardedBuffer target;
};

Outcome ConvertInto(DataConvert_t convert, const Params& params, const SourceBuffer& source,
                    std::size_t extent, uint32 toLength, uint8 fromIsNull = 0) {
    Outcome outcome{{}, GuardedBuffer(extent)};
    outcome.result = Call(convert, params, source, fromIsNull, outcome.target, toLength);
    EXPECT_TRUE(outcome.target.GuardsIntact()) << "written outside " << extent << " bytes";
    return outcome;
}

SourceBuffer NarrowChar(std::string_view bytes) {
    return SourceBuffer::Narrow(TextShape::kFixed, bytes);
}

template <class T>
SourceBuffer NumberSource(T value) {
    return SourceBuffer::Raw(&value, sizeof value, sizeof value);
}

// Bytes that no converter wrote: the fill of a fresh guarded buffer.
std::string Unwritten(std::size_t count) {
    return std::string(count, static_cast<char>(GuardedBuffer::kFill));
}

template <class T>
T ValueIn(const GuardedBuffer& buffer) {
    T value;
    std::memcpy(&value, buffer.data(), sizeof value);
    return value;
}

// Runs `action`; returns the error it raised, or nullopt.
template <class Action>
std::optional<ErrorMessage> ErrorOf(Action action) {
    try {
        action();
    } catch (const ErrorMessage& error) {
        return error;
    }
    return std::nullopt;
}

// ---- Text into numbers ----

template <class T>
T TextInto(DataConvert_t convert, std::string_view text) {
    const Outcome out = ConvertInto(convert, Params{}, NarrowChar(text), sizeof(T), 0);
    EXPECT_EQ(out.result.isNull, 0);
    EXPECT_EQ(out.result.length, sizeof(T));
    return ValueIn<T>(out.target);
}

TEST(TextIntoNumberTest, IntegersBetweenBlanksWithFractionsAndWords) {
    EXPECT_EQ(TextInto<int32>(SUDataConvert::ConvertCharToInt32, "  42  "), 42);
    EXPECT_EQ(TextInto<int32>(SUDataConvert::ConvertCharToInt32, "42.9"), 42);
    EXPECT_EQ(TextInto<int32>(SUDataConvert::ConvertCharToInt32, "-42.9"), -42);
    EXPECT_EQ(TextInto<int32>(SUDataConvert::ConvertCharToInt32, "TRUE"), 1);
    EXPECT_EQ(TextInto<int32>(SUDataConvert::ConvertCharToInt32, "False"), 0);
    EXPECT_EQ(TextInto<int8>(SUDataConvert::ConvertCharToInt8, "true"), 1);
    EXPECT_EQ(TextInto<int16>(SUDataConvert::ConvertCharToInt16, "FALSE"), 0);
    EXPECT_EQ(TextInto<uint32>(SUDataConvert::ConvertCharToUnsignedInt32, "4294967295"),
              4294967295u);
}

// Only the upper bound is checked: the low bytes of a value below the
// minimum are stored.
TEST(TextIntoNumberTest, BelowTheMinimumStoresTheLowBytes) {
    EXPECT_EQ(TextInto<int8>(SUDataConvert::ConvertCharToInt8, "-129"), 127);
    EXPECT_EQ(TextInto<int8>(SUDataConvert::ConvertCharToInt8, "-200"), 56);
    EXPECT_EQ(TextInto<int16>(SUDataConvert::ConvertCharToInt16, "-40000"), 25536);
    EXPECT_EQ(TextInto<uint8>(SUDataConvert::ConvertCharToUnsignedInt8, "300.5"), 44);
}

TEST(TextIntoNumberTest, BadIntegerTextRaises46044WithTheText) {
    const struct {
        DataConvert_t convert;
        std::string_view text;
    } rows[] = {
        {SUDataConvert::ConvertCharToInt32, "4x"},
        {SUDataConvert::ConvertCharToInt8, "128"},
        {SUDataConvert::ConvertCharToInt16, "32768"},
        {SUDataConvert::ConvertCharToUnsignedInt8, "256"},
        {SUDataConvert::ConvertCharToUnsignedInt16, "-1"},
        {SUDataConvert::ConvertCharToUnsignedInt32, "TRUE"},
        {SUDataConvert::ConvertCharNullableToInt32Nullable, "12345678901"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        GuardedBuffer target(8);
        uint8 isNull = xts::test::kUnsetNull;
        uint64 length = xts::test::kUnsetLength;
        const SourceBuffer source = NarrowChar(row.text);
        const auto error = ErrorOf([&] {
            row.convert(Params{}, source.data(), source.fromLength(), 0, target.data(), 8, isNull,
                        length);
        });
        ASSERT_TRUE(error.has_value());
        EXPECT_EQ(error->GetCode(), kMsgInvalidIntegerText);
        EXPECT_EQ(error->GetArguments(), std::vector<XTString>{xts::test::Widen(row.text)});
        // Nothing is written when an error is raised.
        EXPECT_TRUE(target.Untouched());
        EXPECT_EQ(isNull, xts::test::kUnsetNull);
        EXPECT_EQ(length, xts::test::kUnsetLength);
    }
}

TEST(TextIntoNumberTest, FloatingText) {
    EXPECT_EQ(TextInto<double>(SUDataConvert::ConvertCharToFloat64, " 2.5 "), 2.5);
    EXPECT_EQ(TextInto<double>(SUDataConvert::ConvertCharToFloat64, "-1e-3x"), -1e-3);
    EXPECT_EQ(TextInto<float>(SUDataConvert::ConvertCharToFloat32, "0.1"), 0.1f);
    EXPECT_EQ(TextInto<float>(SUDataConvert::ConvertCharToFloat32, "1e39"),
              std::numeric_limits<float>::infinity());
    const auto error =
        ErrorOf([] { TextInto<double>(SUDataConvert::ConvertCharToFloat64, "   "); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->GetCode(), kMsgInvalidFloatText);
}

// A Bit is 1 exactly when the text starts with '1'; a Boolean is true
// exactly when it starts with an upper-case 'T'.
TEST(TextIntoNumberTest, BitAndBooleanLookAtTheFirstCharacterOnly) {
    const struct {
        std::string_view text;
        uint8 bit;
        uint8 boolean;
    } rows[] = {{"1", 1, 0},    {"10", 1, 0},   {"0", 0, 0}, {"x", 0, 0},  {"T", 0, 1},
                {"True", 0, 1}, {"true", 0, 0}, {"t", 0, 0}, {" 1", 0, 0}, {"TRUE", 0, 1}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(TextInto<uint8>(SUDataConvert::ConvertCharToBit, row.text), row.bit);
        EXPECT_EQ(TextInto<uint8>(SUDataConvert::ConvertCharToBoolean, row.text), row.boolean);
    }
}

constexpr const char* kNumberWords[] = {"Bit",     "Boolean",       "Int8",  "UnsignedInt8",
                                        "Int16",   "UnsignedInt16", "Int32", "UnsignedInt32",
                                        "Float32", "Float64"};

// An empty text (no units, or a terminator first) is a null with length 0,
// whatever the number and the null form; the target is not written.
TEST(TextIntoNumberTest, EmptyTextIntoAnyNumberIsNull) {
    for (const char* word : kNumberWords) {
        for (const char* form : {"To", "NullableTo"}) {
            for (const std::string_view text : {""sv,
                                                "\0"
                                                "12"sv}) {
                const std::string name = std::string("ConvertChar") + form + word;
                SCOPED_TRACE(name);
                const DataConvert_t convert = ConverterNamed(name);
                ASSERT_NE(convert, nullptr);
                const Outcome out = ConvertInto(convert, Params{}, NarrowChar(text), 8, 0);
                EXPECT_EQ(out.result.isNull, 1);
                EXPECT_EQ(out.result.length, 0u);
                EXPECT_TRUE(out.target.Untouched());
            }
        }
    }
}

TEST(TextIntoNumberTest, NullSourcesAndNullPointers) {
    // Nullable to plain: zero bytes, null, the width of the number.
    Outcome out =
        ConvertInto(SUDataConvert::ConvertCharNullableToInt32, Params{}, NarrowChar("42"), 4, 0, 1);
    EXPECT_EQ(ValueIn<int32>(out.target), 0);
    EXPECT_EQ(out.result.isNull, 1);
    EXPECT_EQ(out.result.length, 4u);
    out = ConvertInto(SUDataConvert::ConvertCharNullableToFloat64Nullable, Params{},
                      NarrowChar("42"), 8, 0, 1);
    EXPECT_TRUE(out.target.Untouched());
    EXPECT_EQ(out.result.isNull, 1);
    EXPECT_EQ(out.result.length, 0u);
    // The plain form ignores the flag.
    out = ConvertInto(SUDataConvert::ConvertCharToInt16, Params{}, NarrowChar("42"), 2, 0, 1);
    EXPECT_EQ(ValueIn<int16>(out.target), 42);
    EXPECT_EQ(out.result.isNull, 0);
    // A client that gives no buffer at all has a null value.
    GuardedBuffer target(4);
    const ConvertResult result =
        Call(SUDataConvert::ConvertCharToInt32, Params{}, nullptr, 0, 0, target.data(), 4);
    EXPECT_EQ(result.isNull, 1);
    EXPECT_EQ(result.length, 0u);
    EXPECT_TRUE(target.Untouched());
}

// A narrow word whose buffer the parameters call wide is read as wide text:
// 32-bit units for kCharDataUniCode, 16-bit ones for kCharDataUTF16 or with
// bTwoByteToFourByte.
TEST(TextIntoNumberTest, NarrowWordsReadWideBuffersWhenTheCodeSaysSo) {
    Params wide = Codes(kCharDataUniCode, kCharDataNarrowCode);
    Outcome out = ConvertInto(SUDataConvert::ConvertCharToInt32, wide,
                              SourceBuffer::Wide(TextShape::kExternal, L" -42 "), 4, 0);
    EXPECT_EQ(ValueIn<int32>(out.target), -42);

    Params utf16 = Codes(kCharDataUTF16, kCharDataNarrowCode);
    out = ConvertInto(SUDataConvert::ConvertCharToUnsignedInt16, utf16,
                      SourceBuffer::Wide16(TextShape::kExternal, u"65535"), 2, 0);
    EXPECT_EQ(ValueIn<uint16>(out.target), 65535);

    wide.bTwoByteToFourByte = true;
    out = ConvertInto(SUDataConvert::ConvertCharToFloat64, wide,
                      SourceBuffer::Wide16(TextShape::kExternal, u"2.5"), 8, 0);
    EXPECT_EQ(ValueIn<double>(out.target), 2.5);

    // A wide word reads wide text without being told.
    out = ConvertInto(SUDataConvert::ConvertVarXTCharToInt8, Params{},
                      SourceBuffer::Wide(TextShape::kVariable, L"TRUE"), 1, 0);
    EXPECT_EQ(ValueIn<int8>(out.target), 1);
}

// ---- Numeric and text ----

std::vector<unsigned char> NumericBytes(std::string_view text) {
    TarvelNumber number;
    EXPECT_TRUE(TarvelNumber::TryParse(text, number));
    std::vector<unsigned char> bytes(number.GetByteVectorLength());
    number.ToBuffer(bytes.data());
    return bytes;
}

TEST(NumericTextTest, TextIntoNumeric) {
    const std::vector<unsigned char> expected = NumericBytes("12.5");
    Outcome out = ConvertInto(SUDataConvert::ConvertExternalCharToNumeric, Params{},
                              SourceBuffer::Narrow(TextShape::kExternal, "  12.5 "), 28, 28);
    EXPECT_EQ(out.result.isNull, 0);
    EXPECT_EQ(out.result.length, expected.size());
    EXPECT_EQ(std::vector<unsigned char>(out.target.data(), out.target.data() + expected.size()),
              expected);

    // Bad text raises 46044 with the text; a capacity too small raises 46034.
    const SourceBuffer bad = SourceBuffer::Narrow(TextShape::kExternal, "abc");
    GuardedBuffer target(28);
    uint8 isNull = 0;
    uint64 length = 0;
    auto error = ErrorOf([&] {
        SUDataConvert::ConvertExternalCharToNumeric(Params{}, bad.data(), bad.fromLength(), 0,
                                                    target.data(), 28, isNull, length);
    });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->GetCode(), kMsgInvalidIntegerText);
    EXPECT_EQ(error->GetArguments(), std::vector<XTString>{L"abc"});

    const SourceBuffer good = SourceBuffer::Narrow(TextShape::kExternal, "12.5");
    const auto small = static_cast<uint32>(expected.size() - 1);
    error = ErrorOf([&] {
        SUDataConvert::ConvertExternalCharToNumeric(Params{}, good.data(), good.fromLength(), 0,
                                                    target.data(), small, isNull, length);
    });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->GetCode(), kMsgValueTooLong);
    EXPECT_EQ(error->GetArguments(),
              (std::vector<XTString>{std::to_wstring(expected.size()), std::to_wstring(small)}));
    EXPECT_TRUE(target.Untouched());

    // A null into a plain Numeric is the number zero.
    out = ConvertInto(SUDataConvert::ConvertExternalVarCharNullableToNumeric, Params{}, bad, 28, 28,
                      1);
    EXPECT_EQ(out.result.isNull, 1);
    EXPECT_EQ(out.result.length, 5u);
    EXPECT_EQ(out.target.data()[4], 0x80);
}

TEST(NumericTextTest, NumericIntoWideTextFillsTheCapacity) {
    const std::vector<unsigned char> number = NumericBytes("-123.45");
    const SourceBuffer source =
        SourceBuffer::Raw(number.data(), number.size(), static_cast<uint32>(number.size()));
    Outcome out = ConvertInto(SUDataConvert::ConvertNumericToXTChar, Params{}, source, 4 * 10, 9);
    EXPECT_EQ(out.target.Wide(0, 10), std::wstring(L"-123.45  \0", 10));
    EXPECT_EQ(out.result.length, 9u);
    EXPECT_EQ(out.result.isNull, 0);

    out = ConvertInto(SUDataConvert::ConvertNumericToVarXTChar, Params{}, source, 4 + 4 * 8, 7);
    EXPECT_EQ(out.target.Count(), 7u);
    EXPECT_EQ(out.target.Wide(4, 8), std::wstring(L"-123.45\0", 8));
    EXPECT_EQ(out.result.length, 7u);

    // One unit short: 46034 with the length needed and the capacity.
    GuardedBuffer target(4 * 8);
    uint8 isNull = 0;
    uint64 length = 0;
    const auto error = ErrorOf([&] {
        SUDataConvert::ConvertNumericToXTChar(Params{}, source.data(), source.fromLength(), 0,
                                              target.data(), 6, isNull, length);
    });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->GetCode(), kMsgValueTooLong);
    EXPECT_EQ(error->GetArguments(), (std::vector<XTString>{L"7", L"6"}));
    EXPECT_TRUE(target.Untouched());
}

// ---- Numbers into text ----

TEST(NumberIntoTextTest, NarrowCharKeepsTheLowDigitsWithoutPadding) {
    Outcome out = ConvertInto(SUDataConvert::ConvertInt32ToChar, Params{},
                              NumberSource<int32>(1234567), 5, 5);
    EXPECT_EQ(out.target.Narrow(0, 5), std::string("4567\0", 5));
    EXPECT_EQ(out.result.length, 4u);
    EXPECT_EQ(out.result.isNull, 0);

    out = ConvertInto(SUDataConvert::ConvertInt16ToChar, Params{}, NumberSource<int16>(-42), 8, 8);
    EXPECT_EQ(out.target.Narrow(0, 4), std::string("-42\0", 4));
    EXPECT_EQ(out.result.length, 3u);

    // No room for a digit: an empty text marked null.
    out = ConvertInto(SUDataConvert::ConvertUnsignedInt8ToChar, Params{}, NumberSource<uint8>(7), 1,
                      1);
    EXPECT_EQ(out.target.data()[0], 0);
    EXPECT_EQ(out.result.isNull, 1);
    EXPECT_EQ(out.result.length, 0u);
}

TEST(NumberIntoTextTest, FloatingValuesIntoChar) {
    const struct {
        double value;
        const char* text;
    } rows[] = {{3.14159, "3.14"},
                {1e300, "1.000000000000e+300"},
                {std::numeric_limits<double>::infinity(), "INFINITY"},
                {-2.5, "-2.50"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        const Outcome out = ConvertInto(SUDataConvert::ConvertFloat64ToChar, Params{},
                                        NumberSource<double>(row.value), 20, 20);
        EXPECT_STREQ(reinterpret_cast<const char*>(out.target.data()), row.text);
        EXPECT_EQ(out.result.length, std::strlen(row.text));
    }
    const Outcome out = ConvertInto(SUDataConvert::ConvertFloat32ToChar, Params{},
                                    NumberSource<float>(0.5f), 20, 20);
    EXPECT_STREQ(reinterpret_cast<const char*>(out.target.data()), "0.50");
}

TEST(NumberIntoTextTest, NullNumberIntoCharIsARightAlignedZero) {
    Outcome out = ConvertInto(SUDataConvert::ConvertInt32NullableToChar, Params{},
                              NumberSource<int32>(5), 5, 5, 1);
    EXPECT_EQ(out.target.Narrow(0, 5), std::string("   0\0", 5));
    EXPECT_EQ(out.result.isNull, 1);
    EXPECT_EQ(out.result.length, 5u);

    out = ConvertInto(SUDataConvert::ConvertFloat64NullableToCharNullable, Params{},
                      NumberSource<double>(5), 5, 5, 1);
    EXPECT_TRUE(out.target.Untouched());
    EXPECT_EQ(out.result.isNull, 1);
    EXPECT_EQ(out.result.length, 0u);
}

// Wide targets of numbers are filled to their capacity: toLength units of
// text and blanks, then a zero unit at index toLength.
TEST(NumberIntoTextTest, WideTargetsAreFilledToTheCapacity) {
    Outcome out = ConvertInto(SUDataConvert::ConvertInt32ToXTChar, Params{},
                              NumberSource<int32>(42), 4 * 6, 5);
    EXPECT_EQ(out.target.Wide(0, 6), std::wstring(L"42   \0", 6));
    EXPECT_EQ(out.result.length, 5u);
    EXPECT_EQ(out.result.isNull, 0);

    out = ConvertInto(SUDataConvert::ConvertFloat64ToVarXTChar, Params{}, NumberSource<double>(2.5),
                      4 + 4 * 7, 6);
    EXPECT_EQ(out.target.Count(), 6u);
    EXPECT_EQ(out.target.Wide(4, 7), std::wstring(L"2.50  \0", 7));
    EXPECT_EQ(out.result.length, 6u);

    // A null into XTChar: blanks to toLength - 1 and a zero unit, length toLength.
    out = ConvertInto(SUDataConvert::ConvertUnsignedInt16NullableToXTChar, Params{},
                      NumberSource<uint16>(1), 4 * 4, 4, 1);
    EXPECT_EQ(out.target.Wide(0, 4), std::wstring(L"   \0", 4));
    EXPECT_EQ(out.result.isNull, 1);
    EXPECT_EQ(out.result.length, 4u);

    // A null into VarXTChar: count 0 and a zero unit.
    out = ConvertInto(SUDataConvert::ConvertInt8NullableToVarXTChar, Params{},
                      NumberSource<int8>(1), 4 + 4 * 4, 4, 1);
    EXPECT_EQ(out.target.Count(), 0u);
    EXPECT_EQ(out.target.Wide(4, 1), std::wstring(1, L'\0'));
    EXPECT_EQ(out.result.isNull, 1);
    EXPECT_EQ(out.result.length, 0u);
}

TEST(NumberIntoTextTest, Float64IntoVarCharCountsInThePrefix) {
    Outcome out = ConvertInto(SUDataConvert::ConvertFloat64ToVarChar, Params{},
                              NumberSource<double>(-2.5), NarrowVariable(10), 10);
    EXPECT_EQ(out.target.Count(), 5u);
    EXPECT_EQ(out.target.Narrow(4, 6), std::string("-2.50\0", 6));
    EXPECT_EQ(out.result.length, 5u);

    out = ConvertInto(SUDataConvert::ConvertFloat64NullableToVarCharNullable, Params{},
                      NumberSource<double>(1), NarrowVariable(10), 10, 1);
    EXPECT_EQ(out.target.Count(), 0u);
    EXPECT_EQ(out.target.data()[4], 0);
    EXPECT_EQ(out.result.isNull, 1);
    EXPECT_EQ(out.result.length, 0u);
}

TEST(FlagIntoTextTest, OneLetterInEachLayout) {
    const uint8 set = 1;
    const uint8 clear = 0;
    Outcome out = ConvertInto(SUDataConvert::ConvertBitToChar, Params{}, NumberSource(set), 4, 4);
    EXPECT_EQ(out.target.Narrow(0, 2), std::string("1\0", 2));
    EXPECT_EQ(out.result.length, 1u);
    out = ConvertInto(SUDataConvert::ConvertBooleanToChar, Params{}, NumberSource(clear), 4, 4);
    EXPECT_EQ(out.target.Narrow(0, 2), std::string("F\0", 2));

    // Into XTChar: the letter, blanks up to toLength units, a zero unit after.
    out = ConvertInto(SUDataConvert::ConvertBooleanToXTChar, Params{}, NumberSource(set), 4 * 4, 3);
    EXPECT_EQ(out.target.Wide(0, 4), std::wstring(L"T  \0", 4));
    EXPECT_EQ(out.result.length, 3u);

    out = ConvertInto(SUDataConvert::ConvertBitToVarXTChar, Params{}, NumberSource(clear),
                      WideVariable(5), 5);
    EXPECT_EQ(out.target.Count(), 1u);
    EXPECT_EQ(out.target.Wide(4, 2), std::wstring(L"0\0", 2));
    EXPECT_EQ(out.result.length, 1u);
    EXPECT_EQ(out.result.isNull, 0);
}

// A null Boolean or Bit into a plain Char: with a UTF-8 target, the room a
// UTF-8 column reserves (toLength x 3 - 3 blanks) and a NUL; else an empty
// text. Length toLength either way.
TEST(FlagIntoTextTest, NullIntoCharFollowsTheUtf8Rule) {
    const uint8 set = 1;
    Outcome out = ConvertInto(SUDataConvert::ConvertBooleanNullableToChar,
                              Codes(kCharDataNarrowCode, kCharDataNarrowUTF8Code),
                              NumberSource(set), 10, 4, 1);
    EXPECT_EQ(out.target.Narrow(0, 10), std::string(9, ' ') + '\0');
    EXPECT_EQ(out.result.isNull, 1);
    EXPECT_EQ(out.result.length, 4u);

    out =
        ConvertInto(SUDataConvert::ConvertBitNullableToChar, Params{}, NumberSource(set), 4, 4, 1);
    EXPECT_EQ(out.target.data()[0], 0);
    EXPECT_EQ(out.result.length, 4u);

    out = ConvertInto(SUDataConvert::ConvertBitNullableToCharNullable, Params{}, NumberSource(set),
                      4, 4, 1);
    EXPECT_TRUE(out.target.Untouched());
    EXPECT_EQ(out.result.length, 0u);
}

// ---- Text among its forms: fixed targets ----

TEST(FixedTextTest, XTCharOfFiveHoldsTwoLettersTwoBlanksAndAZeroUnit) {
    for (const DataConvert_t convert :
         {SUDataConvert::ConvertCharToXTChar, SUDataConvert::ConvertXTCharToXTChar}) {
        const SourceBuffer source = convert == SUDataConvert::ConvertCharToXTChar
                                        ? NarrowChar("ab")
                                        : SourceBuffer::Wide(TextShape::kFixed, L"ab");
        const Outcome out = ConvertInto(convert, Params{}, source, WideFixed(5), 5);
        EXPECT_EQ(out.target.Wide(0, 5), std::wstring(L"ab  \0", 5));
        EXPECT_EQ(out.result.length, 4u);
        EXPECT_EQ(out.result.isNull, 0);
    }
}

TEST(FixedTextTest, PaddingOfNarrowCharCanBeSwitchedOff) {
    Params noPadding;
    noPadding.bAvoidPaddingToChar = true;
    const struct {
        DataConvert_t convert;
        SourceBuffer source;
    } rows[] = {
        {SUDataConvert::ConvertCharToChar, NarrowChar("ab")},
        {SUDataConvert::ConvertExternalCharToChar,
         SourceBuffer::Narrow(TextShape::kExternal, "ab")},
        {SUDataConvert::ConvertXTCharToChar, SourceBuffer::Wide(TextShape::kFixed, L"ab")},
        {SUDataConvert::ConvertVarXTCharToChar, SourceBuffer::Wide(TextShape::kVariable, L"ab")},
    };
    for (const auto& row : rows) {
        Outcome out = ConvertInto(row.convert, Params{}, row.source, 6, 6);
        EXPECT_EQ(out.target.Narrow(0, 6), std::string("ab   \0", 6));
        EXPECT_EQ(out.result.length, 5u);
        out = ConvertInto(row.convert, noPadding, row.source, 6, 6);
        EXPECT_EQ(out.target.Narrow(0, 3), std::string("ab\0", 3));
        EXPECT_EQ(out.target.Narrow(3, 3), Unwritten(3));
        // The reported length stays toLength - 1 without padding.
        EXPECT_EQ(out.result.length, 5u);
    }
    // Wide targets are always padded.
    const Outcome out = ConvertInto(SUDataConvert::ConvertCharToXTChar, noPadding, NarrowChar("ab"),
                                    WideFixed(4), 4);
    EXPECT_EQ(out.target.Wide(0, 4), std::wstring(L"ab \0", 4));
}

TEST(FixedTextTest, ATextLongerThanTheRoomIsCut) {
    Outcome out =
        ConvertInto(SUDataConvert::ConvertCharToChar, Params{}, NarrowChar("abcdef"), 4, 4);
    EXPECT_EQ(out.target.Narrow(0, 4), std::string("abc\0", 4));
    EXPECT_EQ(out.result.length, 3u);
    out = ConvertInto(SUDataConvert::ConvertVarXTCharToXTChar, Params{},
                      SourceBuffer::Wide(TextShape::kVariable, L"abcdef"), WideFixed(3), 3);
    EXPECT_EQ(out.target.Wide(0, 3), std::wstring(L"ab\0", 3));
    EXPECT_EQ(out.result.length, 2u);
}

TEST(FixedTextTest, NoRoomForACharacterIsAnEmptyNullText) {
    for (const uint32 toLength : {0u, 1u}) {
        Outcome out = ConvertInto(SUDataConvert::ConvertCharToChar, Params{}, NarrowChar("ab"),
                                  toLength, toLength);
        EXPECT_EQ(out.result.isNull, 1);
        EXPECT_EQ(out.result.length, 0u);
        if (toLength == 1) {
            EXPECT_EQ(out.target.data()[0], 0);
        }
        out = ConvertInto(SUDataConvert::ConvertXTCharToXTChar, Params{},
                          SourceBuffer::Wide(TextShape::kFixed, L"ab"), WideFixed(toLength),
                          toLength);
        EXPECT_EQ(out.result.isNull, 1);
        EXPECT_EQ(out.result.length, 0u);
        if (toLength == 1) {
            EXPECT_EQ(out.target.Wide(0, 1), std::wstring(1, L'\0'));
        }
    }
}

TEST(FixedTextTest, NullTextSources) {
    // Nullable to plain Char: the UTF-8 rule.
    Outcome out = ConvertInto(SUDataConvert::ConvertXTCharNullableToChar,
                              Codes(kCharDataNarrowCode, kCharDataNarrowUTF8Code),
                              SourceBuffer::Wide(TextShape::kFixed, L"ab"), 7, 3, 1);
    EXPECT_EQ(out.target.Narrow(0, 7), std::string(6, ' ') + '\0');
    EXPECT_EQ(out.result.isNull, 1);
    EXPECT_EQ(out.result.length, 3u);
    out =
        ConvertInto(SUDataConvert::ConvertCharNullableToChar, Params{}, NarrowChar("ab"), 3, 3, 1);
    EXPECT_EQ(out.target.data()[0], 0);
    EXPECT_EQ(out.result.length, 3u);

    // Nullable to plain XTChar: blanks and a zero unit, length toLength.
    out = ConvertInto(SUDataConvert::ConvertCharNullableToXTChar, Params{}, NarrowChar("ab"),
                      WideFixed(4), 4, 1);
    EXPECT_EQ(out.target.Wide(0, 4), std::wstring(L"   \0", 4));
    EXPECT_EQ(out.result.isNull, 1);
    EXPECT_EQ(out.result.length, 4u);

    // Nullable to nullable: an empty text, null, length 0.
    out = ConvertInto(SUDataConvert::ConvertXTCharNullableToXTCharNullable, Params{},
                      SourceBuffer::Wide(TextShape::kFixed, L"ab"), WideFixed(4), 4, 1);
    EXPECT_EQ(out.target.Wide(0, 1), std::wstring(1, L'\0'));
    EXPECT_EQ(out.target.Narrow(4, 12), Unwritten(12));
    EXPECT_EQ(out.result.isNull, 1);
    EXPECT_EQ(out.result.length, 0u);
}

TEST(FixedTextTest, FixedSourcesEndAtTheirTerminatorExternalOnesDoNot) {
    const std::string_view withZero = "a\0b"sv;
    Outcome out = ConvertInto(SUDataConvert::ConvertCharToXTChar, Params{},
                              SourceBuffer::Narrow(TextShape::kFixed, withZero), WideFixed(5), 5);
    EXPECT_EQ(out.target.Wide(0, 5), std::wstring(L"a   \0", 5));
    out = ConvertInto(SUDataConvert::ConvertExternalVarCharToVarXTChar, Params{},
                      SourceBuffer::Narrow(TextShape::kExternal, withZero), WideVariable(5), 5);
    EXPECT_EQ(out.target.Count(), 3u);
    EXPECT_EQ(out.target.Wide(4, 4), std::wstring(L"a\0b\0", 4));
}

// ---- Text among its forms: variable targets ----

TEST(VariableTextTest, TrailingBlanksAreTrimmedAnAllBlankTextIsEmptyNotNull) {
    const struct {
        std::wstring_view text;
        uint32 count;
    } rows[] = {{L"ab   ", 2}, {L"     ", 0}, {L" a b ", 4}, {L"ab\t ", 3}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << '"' << xts::test::Utf8(row.text) << '"');
        Outcome out =
            ConvertInto(SUDataConvert::ConvertXTCharToVarXTChar, Params{},
                        SourceBuffer::Wide(TextShape::kFixed, row.text), WideVariable(10), 10);
        EXPECT_EQ(out.target.Count(), row.count);
        EXPECT_EQ(out.target.Wide(4, row.count + 1),
                  std::wstring(row.text.substr(0, row.count)) + L'\0');
        EXPECT_EQ(out.result.length, row.count);
        EXPECT_EQ(out.result.isNull, 0);

        out = ConvertInto(SUDataConvert::ConvertCharToVarChar, Params{},
                          NarrowChar(xts::test::Utf8(row.text)), NarrowVariable(10), 10);
        EXPECT_EQ(out.target.Count(), row.count);
        EXPECT_EQ(out.result.isNull, 0);
    }
}

TEST(VariableTextTest, TrimmingCanBeSwitchedOff) {
    Params keep;
    keep.bAvoidRtrimToVarChar = true;
    const Outcome out =
        ConvertInto(SUDataConvert::ConvertXTCharToVarXTChar, keep,
                    SourceBuffer::Wide(TextShape::kFixed, L"ab   "), WideVariable(10), 10);
    EXPECT_EQ(out.target.Count(), 5u);
    EXPECT_EQ(out.target.Wide(4, 6), std::wstring(L"ab   \0", 6));
}

// The source is trimmed before it is cut to the capacity, so blanks inside
// the text survive at the cut.
TEST(VariableTextTest, TrimmingComesBeforeTheCut) {
    Outcome out = ConvertInto(SUDataConvert::ConvertCharToVarChar, Params{}, NarrowChar("ab  cd"),
                              NarrowVariable(5), 5);
    EXPECT_EQ(out.target.Count(), 4u);
    EXPECT_EQ(out.target.Narrow(4, 5), std::string("ab  \0", 5));
    out = ConvertInto(SUDataConvert::ConvertCharToVarXTChar, Params{}, NarrowChar("abcdef  "),
                      WideVariable(4), 4);
    EXPECT_EQ(out.target.Count(), 3u);
    EXPECT_EQ(out.target.Wide(4, 4), std::wstring(L"abc\0", 4));
}

// The client's variable buffers trim trailing blanks, tabs, vertical tabs
// and form feeds, but keep a final CR or LF, which shields the blanks before it.
TEST(VariableTextTest, ClientBuffersKeepAFinalLineEnd) {
    const struct {
        std::string_view text;
        std::string_view trimmed;
    } rows[] = {{"ab \r", "ab \r"},  {"ab  \n", "ab  \n"}, {"ab \n \t", "ab \n"},
                {"ab \t\v\f", "ab"}, {"\r\n  ", "\r\n"},   {" \t ", ""}};
    Params keep;
    keep.bAvoidRtrimToVarChar = true;
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << '"' << row.text << '"');
        const std::wstring wide = xts::test::Widen(row.text);
        const struct {
            DataConvert_t convert;
            SourceBuffer source;
        } converters[] = {
            {SUDataConvert::ConvertExternalVarCharToVarXTChar,
             SourceBuffer::Narrow(TextShape::kExternal, row.text)},
            {SUDataConvert::ConvertExternalVarXTCharToVarXTChar,
             SourceBuffer::Wide(TextShape::kExternal, wide)},
            {SUDataConvert::ConvertExternalVarCharToLongVarXTChar,
             SourceBuffer::Narrow(TextShape::kExternal, row.text)},
        };
        for (const auto& c : converters) {
            Outcome out = ConvertInto(c.convert, Params{}, c.source, WideVariable(10), 10);
            EXPECT_EQ(out.target.Wide(4, out.target.Count()), xts::test::Widen(row.trimmed));
            EXPECT_EQ(out.result.length, row.trimmed.size());
            out = ConvertInto(c.convert, keep, c.source, WideVariable(10), 10);
            EXPECT_EQ(out.target.Wide(4, out.target.Count()), wide);
        }
    }
}

TEST(VariableTextTest, TooSmallCapacitiesAndNullSources) {
    for (const uint32 toLength : {0u, 1u}) {
        const Outcome out = ConvertInto(SUDataConvert::ConvertCharToVarXTChar, Params{},
                                        NarrowChar("ab"), WideVariable(toLength), toLength);
        EXPECT_EQ(out.target.Count(), 0u);
        if (toLength == 1) {
            EXPECT_EQ(out.target.Wide(4, 1), std::wstring(1, L'\0'));
        }
        EXPECT_EQ(out.result.isNull, 1);
        EXPECT_EQ(out.result.length, 0u);
    }
    for (const DataConvert_t convert : {SUDataConvert::ConvertCharNullableToVarChar,
                                        SUDataConvert::ConvertCharNullableToVarCharNullable}) {
        const Outcome out =
            ConvertInto(convert, Params{}, NarrowChar("ab"), NarrowVariable(6), 6, 1);
        EXPECT_EQ(out.target.Count(), 0u);
        EXPECT_EQ(out.target.data()[4], 0);
        EXPECT_EQ(out.result.isNull, 1);
        EXPECT_EQ(out.result.length, 0u);
    }
    // A client's null pointer, even into the plain form.
    GuardedBuffer target(NarrowVariable(6));
    const ConvertResult result = Call(SUDataConvert::ConvertExternalCharToVarChar, Params{},
                                      nullptr, 3, 0, target.data(), 6);
    EXPECT_EQ(target.Count(), 0u);
    EXPECT_EQ(result.isNull, 1);
    EXPECT_EQ(result.length, 0u);
    EXPECT_TRUE(target.GuardsIntact());
}

// The client's narrow buffer as a target: the text and a NUL, no padding.
TEST(VariableTextTest, LongVarXTCharIntoTheClientsNarrowBuffer) {
    const SourceBuffer source = SourceBuffer::Wide(TextShape::kVariable, L"ab  ");
    Outcome out =
        ConvertInto(SUDataConvert::ConvertLongVarXTCharToExternalVarChar, Params{}, source, 8, 8);
    EXPECT_EQ(out.target.Narrow(0, 5), std::string("ab  \0", 5));
    EXPECT_EQ(out.result.length, 4u);
    out = ConvertInto(SUDataConvert::ConvertLongVarXTCharToExternalVarChar, Params{}, source, 3, 3);
    EXPECT_EQ(out.target.Narrow(0, 3), std::string("ab\0", 3));
    EXPECT_EQ(out.result.length, 2u);
}

// ---- Binary values ----

TEST(BinaryTest, FixedTargetsAreZeroPaddedLongValuesRaise46034) {
    const unsigned char bytes[] = {1, 2, 3};
    const SourceBuffer fixed = SourceBuffer::Raw(bytes, 3, 3);
    Outcome out = ConvertInto(SUDataConvert::ConvertBinaryToBinary, Params{}, fixed, 5, 5);
    EXPECT_EQ(out.target.Narrow(0, 5), std::string("\1\2\3\0\0", 5));
    EXPECT_EQ(out.result.length, 3u);

    const unsigned char counted[] = {3, 0, 0, 0, 1, 2, 3};
    const SourceBuffer variable = SourceBuffer::Raw(counted, 7, 3);
    out = ConvertInto(SUDataConvert::ConvertVarBinaryToLongVarBinary, Params{}, variable, 4 + 3, 3);
    EXPECT_EQ(out.target.Count(), 3u);
    EXPECT_EQ(out.target.Narrow(4, 3), "\1\2\3");

    GuardedBuffer target(6);
    uint8 isNull = 0;
    uint64 length = 0;
    const auto error = ErrorOf([&] {
        SUDataConvert::ConvertBinaryToVarBinary(Params{}, fixed.data(), 3, 0, target.data(), 2,
                                                isNull, length);
    });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->GetCode(), kMsgValueTooLong);
    EXPECT_EQ(error->GetArguments(), (std::vector<XTString>{L"3", L"2"}));
    EXPECT_TRUE(target.Untouched());
}

}  // namespace
