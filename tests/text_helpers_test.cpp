// The text helpers of the character converters: the integer and floating
// parsers (narrow and wide twins alike), the number formatters and their wide
// twins, and the wide text builders BuildChar and BuildVarchar.
#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "CharacterTestSupport.h"
#include "Utility/Client/SUCDataConvert.h"
#include "Utility/Generic/SUGErrorMessage.h"

namespace {

using namespace std::string_view_literals;
using xts::test::Widen;

constexpr unsigned kSeed = 20240611;
constexpr int32 kInt8Max = 127;
constexpr int32 kInt16Max = 32767;
constexpr int32 kInt32Max = std::numeric_limits<int32>::max();
constexpr int32 kInt32Min = std::numeric_limits<int32>::min();
constexpr uint32 kUInt8Max = 255;
constexpr uint32 kUInt16Max = 65535;
constexpr uint32 kUInt32Max = std::numeric_limits<uint32>::max();

enum class Width { kNarrow, kWide };

std::string WidthName(const testing::TestParamInfo<Width>& info) {
    return info.param == Width::kNarrow ? "Narrow" : "Wide";
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

// ---- Integer parsers ----

int32 ParseSigned(Width width, std::string_view text, int32 maximum) {
    const auto length = static_cast<uint32>(text.size());
    if (width == Width::kNarrow) return SUDataConvert::CharToLongData(text.data(), length, maximum);
    const std::wstring wide = Widen(text);
    return SUDataConvert::XTCharToLongData(wide.data(), length, maximum);
}

uint32 ParseUnsigned(Width width, std::string_view text, uint32 maximum) {
    const auto length = static_cast<uint32>(text.size());
    if (width == Width::kNarrow)
        return SUDataConvert::CharToUnsignedLongData(text.data(), length, maximum);
    const std::wstring wide = Widen(text);
    return SUDataConvert::XTCharToUnsignedLongData(wide.data(), length, maximum);
}

double ParseFloat(Width width, std::string_view text) {
    const auto length = static_cast<uint32>(text.size());
    if (width == Width::kNarrow) return SUDataConvert::CharToFloat64Data(text.data(), length);
    const std::wstring wide = Widen(text);
    return SUDataConvert::XTCharToFloat64Data(wide.data(), length);
}

// A text, the maximum handed to the parser, and the value returned or the
// error raised (46044 with the text, up to its terminator, as the argument).
struct SignedCase {
    std::string_view text;
    int32 maximum;
    int32 expected;
    bool fails = false;
};

constexpr SignedCase kSignedCases[] = {
    {"42", kInt32Max, 42},
    {"  42  ", kInt32Max, 42},
    {"\t42\n", kInt32Max, 42},
    {"+42", kInt32Max, 42},
    {" -42 ", kInt32Max, -42},
    // A fraction is cut toward zero.
    {"42.9", kInt32Max, 42},
    {"-42.9", kInt32Max, -42},
    {"42.", kInt32Max, 42},
    {" 42.5 ", kInt32Max, 42},
    {"-0.99", kInt32Max, 0},
    {".5", kInt32Max, 0},
    // The words, whole and in any case.
    {"true", kInt32Max, 1},
    {"TRUE", kInt32Max, 1},
    {"False", kInt32Max, 0},
    {"fAlSe", kInt8Max, 0},
    {"true ", kInt32Max, 0, true},
    {" TRUE", kInt32Max, 0, true},
    // Each maximum and one past it; below the minimum only the low bytes count.
    {"127", kInt8Max, 127},
    {"128", kInt8Max, 0, true},
    {"-128", kInt8Max, -128},
    {"-129", kInt8Max, -129},
    {"32767", kInt16Max, 32767},
    {"32768", kInt16Max, 0, true},
    {"-32769", kInt16Max, -32769},
    {"2147483647", kInt32Max, kInt32Max},
    {"2147483648", kInt32Max, 0, true},
    {"-2147483648", kInt32Max, kInt32Min},
    {"-2147483649", kInt32Max, kInt32Max},  // low 32 bits of -2147483649
    // The fraction path applies no range test and keeps the low 32 bits of
    // the integer part; beyond 64 bits the value is 0.
    {"300.5", kInt8Max, 300},
    {"123456789012.5", kInt32Max, -1097262572},
    {"-9223372036854775808.5", kInt32Max, 0},
    {"1234567890123456789012345.5", kInt32Max, 0},
    // Ten digits are allowed, eleven are not (leading zeros count).
    {"1234567890", kInt32Max, 1234567890},
    {"0000000042", kInt32Max, 42},
    {"12345678901", kInt32Max, 0, true},
    {"-12345678901", kInt32Max, 0, true},
    {"00000000042", kInt32Max, 0, true},
    // Not numbers.
    {"4x", kInt32Max, 0, true},
    {"x4", kInt32Max, 0, true},
    {"abc", kInt32Max, 0, true},
    {"1 2", kInt32Max, 0, true},
    {"1.2.3", kInt32Max, 0, true},
    {"1.5x", kInt32Max, 0, true},
    {"- 4", kInt32Max, 0, true},
    {"--4", kInt32Max, 0, true},
    // No digits at all reads as zero.
    {"", kInt32Max, 0},
    {"   ", kInt32Max, 0},
    {"-", kInt32Max, 0},
    {"+", kInt32Max, 0},
    // The text ends at its terminator.
    {"12\0xy"sv, kInt32Max, 12},
};

class SignedParserTest : public testing::TestWithParam<Width> {};

TEST_P(SignedParserTest, ReadsEveryRowOfTheTable) {
    for (const SignedCase& row : kSignedCases) {
        SCOPED_TRACE(testing::Message() << '"' << row.text << "\" max " << row.maximum);
        if (!row.fails) {
            EXPECT_EQ(ParseSigned(GetParam(), row.text, row.maximum), row.expected);
            continue;
        }
        const auto error = ErrorOf([&] { ParseSigned(GetParam(), row.text, row.maximum); });
        ASSERT_TRUE(error.has_value());
        EXPECT_EQ(error->GetCode(), kMsgInvalidIntegerText);
        ASSERT_EQ(error->GetArguments().size(), 1u);
        EXPECT_EQ(error->GetArguments()[0], Widen(row.text));
    }
}

TEST_P(SignedParserTest, ReadsOnlyTheGivenLength) {
    EXPECT_EQ(ParseSigned(GetParam(), "4x"sv.substr(0, 1), kInt32Max), 4);
    EXPECT_EQ(ParseSigned(GetParam(), "-12.7x"sv.substr(0, 5), kInt32Max), -12);
    EXPECT_EQ(ParseSigned(GetParam(), "truex"sv.substr(0, 4), kInt32Max), 1);
}

INSTANTIATE_TEST_SUITE_P(BothWidths, SignedParserTest,
                         testing::Values(Width::kNarrow, Width::kWide), WidthName);

struct UnsignedCase {
    std::string_view text;
    uint32 maximum;
    uint32 expected;
    bool fails = false;
};

constexpr UnsignedCase kUnsignedCases[] = {
    {"0", kUInt32Max, 0},
    {" 7 ", kUInt32Max, 7},
    {"7.9", kUInt32Max, 7},
    {"255", kUInt8Max, 255},
    {"256", kUInt8Max, 0, true},
    {"65535", kUInt16Max, 65535},
    {"65536", kUInt16Max, 0, true},
    {"4294967295", kUInt32Max, kUInt32Max},
    {"4294967296", kUInt32Max, 0, true},
    {"9999999999", kUInt32Max, 0, true},
    {"12345678901", kUInt32Max, 0, true},
    {"300.5", kUInt8Max, 300},  // no range test on the fraction path
    // No sign and no words.
    {"-1", kUInt32Max, 0, true},
    {"-0", kUInt32Max, 0, true},
    {"+1", kUInt32Max, 0, true},
    {"TRUE", kUInt32Max, 0, true},
    {"false", kUInt8Max, 0, true},
    {"4x", kUInt32Max, 0, true},
    {"", kUInt32Max, 0},
    {"  ", kUInt32Max, 0},
};

class UnsignedParserTest : public testing::TestWithParam<Width> {};

TEST_P(UnsignedParserTest, ReadsEveryRowOfTheTable) {
    for (const UnsignedCase& row : kUnsignedCases) {
        SCOPED_TRACE(testing::Message() << '"' << row.text << "\" max " << row.maximum);
        if (!row.fails) {
            EXPECT_EQ(ParseUnsigned(GetParam(), row.text, row.maximum), row.expected);
            continue;
        }
        const auto error = ErrorOf([&] { ParseUnsigned(GetParam(), row.text, row.maximum); });
        ASSERT_TRUE(error.has_value());
        EXPECT_EQ(error->GetCode(), kMsgInvalidIntegerText);
        ASSERT_EQ(error->GetArguments().size(), 1u);
        EXPECT_EQ(error->GetArguments()[0], Widen(row.text));
    }
}

INSTANTIATE_TEST_SUITE_P(BothWidths, UnsignedParserTest,
                         testing::Values(Width::kNarrow, Width::kWide), WidthName);

// ---- Floating parser ----

constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct FloatCase {
    std::string_view text;
    double expected;
};

// Read after leading white space as far as the text is a decimal number,
// independent of the locale; nothing after it is checked.
constexpr FloatCase kFloatCases[] = {
    {"3.14", 3.14},
    {"  -2.5e3", -2500.0},
    {"\t0.5", 0.5},
    {"+7", 7.0},
    {"1.5abc", 1.5},
    {"3,5", 3.0},
    {"abc", 0.0},
    {"0x10", 0.0},
    {"1e308", 1e308},
    {"inf", kInfinity},
    {"INF", kInfinity},
    {"-infinity", -kInfinity},
    {"1e400", kInfinity},
    {"-1e400", -kInfinity},
    {"1e-400", 0.0},
    {"12\0"
     "5"sv,
     12.0},
};

class FloatParserTest : public testing::TestWithParam<Width> {};

TEST_P(FloatParserTest, ReadsEveryRowOfTheTable) {
    for (const FloatCase& row : kFloatCases) {
        SCOPED_TRACE(testing::Message() << '"' << row.text << '"');
        EXPECT_EQ(ParseFloat(GetParam(), row.text), row.expected);
    }
    EXPECT_TRUE(std::isnan(ParseFloat(GetParam(), "nan")));
    EXPECT_TRUE(std::isnan(ParseFloat(GetParam(), " NaN")));
}

TEST_P(FloatParserTest, EmptyOrBlankTextRaises46045) {
    for (const std::string_view text : {""sv, "   "sv, " \t\n"sv,
                                        "  \0"
                                        "5"sv}) {
        SCOPED_TRACE(testing::Message() << '"' << text << '"');
        const auto error = ErrorOf([&] { ParseFloat(GetParam(), text); });
        ASSERT_TRUE(error.has_value());
        EXPECT_EQ(error->GetCode(), kMsgInvalidFloatText);
        ASSERT_EQ(error->GetArguments().size(), 1u);
        EXPECT_EQ(error->GetArguments()[0], L"");
    }
}

// A long text is read whole: its digits beyond any scratch size still count.
TEST_P(FloatParserTest, ReadsLongTextsWhole) {
    const std::string seventyDigits = "1" + std::string(69, '0');
    EXPECT_DOUBLE_EQ(ParseFloat(GetParam(), seventyDigits), 1e69);
    const std::string longFraction = "0." + std::string(80, '0') + "1";
    EXPECT_DOUBLE_EQ(ParseFloat(GetParam(), longFraction), 1e-81);
    const std::string padded = std::string(100, ' ') + "2.5";
    EXPECT_EQ(ParseFloat(GetParam(), padded), 2.5);
}

INSTANTIATE_TEST_SUITE_P(BothWidths, FloatParserTest, testing::Values(Width::kNarrow, Width::kWide),
                         WidthName);

// ---- Integer formatters ----

// Calls a narrow formatter on a buffer of exactly `size` bytes with guards.
template <class Format>
std::string FormatGuarded(Format format, int32 size, int32* returned) {
    xts::test::GuardedBuffer buffer(static_cast<std::size_t>(size));
    auto* text = reinterpret_cast<char*>(buffer.data());
    *returned = format(text, size);
    EXPECT_TRUE(buffer.GuardsIntact());
    if (size < 1) {
        EXPECT_TRUE(buffer.Untouched());
        return {};
    }
    EXPECT_LT(*returned, size);
    EXPECT_EQ(text[*returned], '\0');
    return std::string(text, static_cast<std::size_t>(*returned));
}

struct SignedFormatCase {
    int32 value;
    int32 size;
    const char* expected;
};

// When the text does not fit, the sign and the low-order digits survive.
constexpr SignedFormatCase kSignedFormatCases[] = {
    {0, 12, "0"},
    {7, 12, "7"},
    {-7, 12, "-7"},
    {kInt32Max, 12, "2147483647"},
    {kInt32Min, 12, "-2147483648"},
    {1234567, 8, "1234567"},
    {1234567, 7, "234567"},
    {1234567, 5, "4567"},
    {-1234567, 5, "-567"},
    {-5, 2, "-"},
    {42, 2, "2"},
    {42, 1, ""},
    {42, 0, ""},
};

TEST(DigitizeBinaryLongDataTest, WritesTheSignAndTheLowDigitsThatFit) {
    for (const SignedFormatCase& row : kSignedFormatCases) {
        SCOPED_TRACE(testing::Message() << row.value << " in " << row.size);
        int32 returned = -1;
        const std::string text = FormatGuarded(
            [&](char* buffer, int32 size) {
                return SUDataConvert::DigitizeBinaryLongData(row.value, buffer, size);
            },
            row.size, &returned);
        EXPECT_EQ(text, row.expected);
        EXPECT_EQ(returned, static_cast<int32>(std::strlen(row.expected)));
    }
}

TEST(DigitizeBinaryUnsignedLongDataTest, WritesTheLowDigitsThatFit) {
    const struct {
        uint32 value;
        int32 size;
        const char* expected;
    } rows[] = {{0, 11, "0"},
                {kUInt32Max, 11, "4294967295"},
                {kUInt32Max, 5, "7295"},
                {2147483648u, 11, "2147483648"},
                {9, 1, ""}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.value << " in " << row.size);
        int32 returned = -1;
        const std::string text = FormatGuarded(
            [&](char* buffer, int32 size) {
                return SUDataConvert::DigitizeBinaryUnsignedLongData(row.value, buffer, size);
            },
            row.size, &returned);
        EXPECT_EQ(text, row.expected);
    }
}

// ---- Floating formatter ----

struct FloatFormatCase {
    double value;
    int32 size;
    const char* expected;
};

constexpr FloatFormatCase kFloatFormatCases[] = {
    {3.14159, 20, "3.14"},
    {2.5, 20, "2.50"},
    {0.0, 20, "0.00"},
    {-0.0, 20, "0.00"},  // no sign for a negative zero
    {-1.5, 20, "-1.50"},
    {0.005, 20, "0.01"},
    {0.125, 20, "0.13"},  // an exact tie rounds half up
    {0.625, 20, "0.63"},
    {-0.125, 20, "-0.13"},  // ... in magnitude
    {9.999, 20, "10.00"},   // the carry reaches the integer part
    {0.001, 20, "0.00"},
    {-0.001, 20, "-0.00"},
    {1e9, 20, "1000000000.00"},
    {1e10, 20, "10000000000.00"},
    {123.456, 7, "123.46"},
    // The exponent form: size - 7 fraction digits, room for a two-digit
    // exponent; fewer when the exponent is longer. The exponent is written
    // with its own digits, without leading zeros.
    {1e300, 20, "1.000000000000e+300"},
    {-1e300, 20, "-1.00000000000e+300"},
    {1e-20, 20, "1.0000000000000e-20"},
    {1e-5, 8, "1.0e-5"},
    // Too small to show: at most 0.1 to the power of (room - 2).
    {1e-17, 20, "1.0000000000000e-17"},
    {2e-17, 20, "0.00"},
    {1e-320, 500, "0.00"},
    {123.456, 6, "1e+2"},
    {9.9999999e300, 12, "1.0000e+301"},
    {0.5, 3, "5e"},  // too little room even for the exponent: cut
    {std::numeric_limits<double>::quiet_NaN(), 20, "NAN"},
    {kInfinity, 20, "INFINITY"},
    {-kInfinity, 20, "INFINITY"},
    {kInfinity, 4, "INF"},
    {1.5, 1, ""},
    {1.5, 0, ""},
};

TEST(DigitizeFloat64DataTest, WritesEveryRowOfTheTable) {
    for (const FloatFormatCase& row : kFloatFormatCases) {
        SCOPED_TRACE(testing::Message() << row.value << " in " << row.size);
        int32 returned = -1;
        const std::string text = FormatGuarded(
            [&](char* buffer, int32 size) {
                return SUDataConvert::DigitizeFloat64Data(row.value, buffer, size);
            },
            row.size, &returned);
        EXPECT_EQ(text, row.expected);
    }
}

TEST(DigitizeFloat64DataTest, TheLargestFiniteValueIsNotInfinity) {
    char text[32];
    SUDataConvert::DigitizeFloat64Data(std::numeric_limits<double>::max(), text, sizeof text);
    EXPECT_EQ(std::string(text).substr(0, 2), "1.");
    EXPECT_NE(std::string(text).find("e+308"), std::string::npos) << text;
}

// ---- Wide formatters ----

// Calls a wide formatter on `size` + 1 units with guards; returns the units.
template <class Format>
std::wstring FormatWideGuarded(Format format, int32 size, int32 expectedReturn) {
    const auto units = static_cast<std::size_t>(size) + 1;
    xts::test::GuardedBuffer buffer(units * sizeof(wchar_t));
    EXPECT_EQ(format(buffer.WideData(), size), expectedReturn);
    EXPECT_TRUE(buffer.GuardsIntact());
    return buffer.Wide(0, units);
}

TEST(WideFormattersTest, PadWithBlanksToTheSizeAndTerminateThere) {
    EXPECT_EQ(
        FormatWideGuarded(
            [](wchar_t* b, int32 s) { return SUDataConvert::XTDigitizeBinaryLongData(-42, b, s); },
            6, 6),
        std::wstring(L"-42   \0", 7));
    EXPECT_EQ(FormatWideGuarded(
                  [](wchar_t* b, int32 s) {
                      return SUDataConvert::XTDigitizeBinaryUnsignedLongData(kUInt32Max, b, s);
                  },
                  12, 12),
              std::wstring(L"4294967295  \0", 13));
    EXPECT_EQ(FormatWideGuarded(
                  [](wchar_t* b, int32 s) {
                      return SUDataConvert::XTCharDigitizeFloat64Data(3.14159, b, s);
                  },
                  8, 8),
              std::wstring(L"3.14    \0", 9));
    EXPECT_EQ(
        FormatWideGuarded(
            [](wchar_t* b, int32 s) { return SUDataConvert::XTDigitizeBinaryLongData(7, b, s); }, 0,
            0),
        std::wstring(L"\0", 1));
}

// The wide twins format the whole text first and keep the units that fit:
// unlike the narrow formatter, the leading characters survive.
TEST(WideFormattersTest, KeepTheLeadingCharactersThatFit) {
    EXPECT_EQ(FormatWideGuarded(
                  [](wchar_t* b, int32 s) {
                      return SUDataConvert::XTDigitizeBinaryLongData(1234567, b, s);
                  },
                  5, 5),
              std::wstring(L"12345\0", 6));
    EXPECT_EQ(FormatWideGuarded(
                  [](wchar_t* b, int32 s) {
                      return SUDataConvert::XTCharDigitizeFloat64Data(-1234.5, b, s);
                  },
                  4, 4),
              std::wstring(L"-123\0", 5));
}

TEST(WideFormattersTest, TheFloatingTwinCapsTheSizeAt256) {
    const std::wstring units = FormatWideGuarded(
        [](wchar_t* b, int32 s) { return SUDataConvert::XTCharDigitizeFloat64Data(1.5, b, s); },
        300, 256);
    EXPECT_EQ(units.substr(0, 4), L"1.50");
    EXPECT_EQ(units.substr(4, 252), std::wstring(252, L' '));
    EXPECT_EQ(units[256], L'\0');
}

// ---- Properties ----

TEST(FormatterPropertyTest, SignedIntegersRoundTripThroughText) {
    std::mt19937 random(kSeed);
    std::vector<int32> values = {0, 1, -1, 9, 10, -10, kInt32Max, kInt32Min, kInt32Min + 1};
    std::uniform_int_distribution<int32> any(kInt32Min, kInt32Max);
    for (int i = 0; i < 20000; ++i)
        values.push_back(any(random) >> (random() % 31));
    for (const int32 value : values) {
        char text[12];
        const int32 length = SUDataConvert::DigitizeBinaryLongData(value, text, sizeof text);
        char expected[16];
        const auto end = std::to_chars(expected, expected + sizeof expected, value).ptr;
        ASSERT_EQ(std::string(text, static_cast<std::size_t>(length)), std::string(expected, end));
        ASSERT_EQ(SUDataConvert::CharToLongData(text, static_cast<uint32>(length), kInt32Max),
                  value);

        wchar_t wide[13];
        ASSERT_EQ(SUDataConvert::XTDigitizeBinaryLongData(value, wide, 12), 12);
        ASSERT_EQ(SUDataConvert::XTCharToLongData(wide, 12, kInt32Max), value);
    }
}

TEST(FormatterPropertyTest, UnsignedIntegersRoundTripThroughText) {
    std::mt19937 random(kSeed + 1);
    std::vector<uint32> values = {0, 1, 9, 10, kUInt32Max, kUInt32Max - 1, 2147483648u};
    for (int i = 0; i < 20000; ++i)
        values.push_back(static_cast<uint32>(random()) >> (random() % 32));
    for (const uint32 value : values) {
        char text[11];
        const int32 length =
            SUDataConvert::DigitizeBinaryUnsignedLongData(value, text, sizeof text);
        char expected[16];
        const auto end = std::to_chars(expected, expected + sizeof expected, value).ptr;
        ASSERT_EQ(std::string(text, static_cast<std::size_t>(length)), std::string(expected, end));
        ASSERT_EQ(
            SUDataConvert::CharToUnsignedLongData(text, static_cast<uint32>(length), kUInt32Max),
            value);

        wchar_t wide[12];
        ASSERT_EQ(SUDataConvert::XTDigitizeBinaryUnsignedLongData(value, wide, 11), 11);
        ASSERT_EQ(SUDataConvert::XTCharToUnsignedLongData(wide, 11, kUInt32Max), value);
    }
}

// DigitizeFloat64Data against printf's "%.2f". The two differ in three ways,
// all intended: an exact tie (x.xx5 exactly representable, such as 0.125)
// rounds half up in magnitude where printf rounds to even; a value within one
// rounding step of a tie may round either way, as the fraction is scaled in
// double arithmetic; and a negative zero prints without its sign.
TEST(FormatterPropertyTest, FloatingTextMatchesPrintfAwayFromTies) {
    std::mt19937 random(kSeed + 2);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    int ties = 0;
    for (int i = 0; i < 50000; ++i) {
        double value = unit(random) * std::pow(10.0, static_cast<int>(random() % 12) - 3);
        if (i % 10 == 0) value = std::round(value * 1000) / 1000;  // many near-ties
        if (i % 97 == 0) value = std::round(value * 8) / 8;        // exact ties
        char ours[64];
        const int32 length = SUDataConvert::DigitizeFloat64Data(value, ours, sizeof ours);
        ASSERT_EQ(length, static_cast<int32>(std::strlen(ours)));
        char printed[64];
        std::snprintf(printed, sizeof printed, "%.2f", value);
        if (std::strcmp(ours, printed) == 0) continue;

        // value * 100 is exact in long double for these magnitudes.
        const long double scaled = std::fabs(static_cast<long double>(value)) * 100;
        const long double fraction = scaled - std::floor(scaled);
        SCOPED_TRACE(testing::Message()
                     << std::hexfloat << value << " ours " << ours << " printf " << printed);
        if (value == 0 || std::fabs(value) < 0.005) {
            // Only the sign of a value that rounds to zero may differ.
            ASSERT_EQ(std::string(printed), std::string("-") + ours);
            continue;
        }
        ASSERT_LT(std::fabs(fraction - 0.5L), 1e-6L) << "not near a tie";
        // Either way, ours is one of the two neighbours of the tie.
        char down[64];
        char up[64];
        const long double magnitude = std::floor(scaled);
        std::snprintf(down, sizeof down, "%s%.2Lf", value < 0 ? "-" : "", magnitude / 100);
        std::snprintf(up, sizeof up, "%s%.2Lf", value < 0 ? "-" : "", (magnitude + 1) / 100);
        ASSERT_TRUE(std::strcmp(ours, down) == 0 || std::strcmp(ours, up) == 0);
        if (fraction == 0.5L) {
            ASSERT_STREQ(ours, up) << "an exact tie rounds half up";
        }
        ++ties;
    }
    EXPECT_GT(ties, 0);
}

// ---- Builders ----

std::vector<unsigned char> WideBytes(std::wstring_view units) {
    std::vector<unsigned char> bytes(units.size() * sizeof(wchar_t));
    std::memcpy(bytes.data(), units.data(), bytes.size());
    return bytes;
}

TEST(BuildCharTest, LaysOutWidthUnitsAndOneByte) {
    ByteVector out = {9, 9, 9};
    SUDataConvert::BuildChar(L"ab", out, 4);
    std::vector<unsigned char> expected = WideBytes(std::wstring_view(L"ab\0\0\0", 5));
    expected.resize(17, 0);
    EXPECT_EQ(std::vector<unsigned char>(out.begin(), out.end()), expected);

    // A text as wide as the width: its terminator is cut where the vector ends.
    SUDataConvert::BuildChar(L"\U0001F600b", out, 2);
    expected = WideBytes(L"\U0001F600b");
    expected.push_back(0);
    EXPECT_EQ(std::vector<unsigned char>(out.begin(), out.end()), expected);

    SUDataConvert::BuildChar(L"", out, 0);
    EXPECT_EQ(std::vector<unsigned char>(out.begin(), out.end()), std::vector<unsigned char>{0});
}

TEST(BuildCharDeathTest, ATextLongerThanTheWidthAborts) {
    ByteVector out;
    EXPECT_DEATH(SUDataConvert::BuildChar(L"abc", out, 2), "width");
}

TEST(BuildVarcharTest, WritesTheCountTheUnitsAndAZeroUnit) {
    ByteVector out = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21};
    SUDataConvert::BuildVarchar(XTString(L"a\u00e9\U0001F600"), out);
    std::vector<unsigned char> expected = {3, 0, 0, 0};
    const auto units = WideBytes(std::wstring_view(L"a\u00e9\U0001F600\0", 4));
    expected.insert(expected.end(), units.begin(), units.end());
    EXPECT_EQ(std::vector<unsigned char>(out.begin(), out.end()), expected);

    SUDataConvert::BuildVarchar(L"xy", out);
    EXPECT_EQ(out.size(), 4u + 3 * sizeof(wchar_t));
    EXPECT_EQ(out[0], 2);

    SUDataConvert::BuildVarchar(static_cast<const wchar_t*>(nullptr), out);
    EXPECT_EQ(std::vector<unsigned char>(out.begin(), out.end()), std::vector<unsigned char>(8, 0));
}

}  // namespace
