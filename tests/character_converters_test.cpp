// The character converters and their text helpers: the parsers and
// formatters (narrow and wide twins), the builders, worked examples of the
// converters across layouts, flags and code pages, generated text at every
// capacity, allocation (every guarded call of a short value checks it), the
// assertions, and a walk over every converter of the family.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <optional>

#include "CountingAllocator.h"
#include "TranscodeTestSupport.h"
#include "Utility/Client/SUCDataConvert.h"
#include "Utility/Client/SUCDataConvertList.h"
#include "Utility/Generic/SUGErrorMessage.h"
#include "Utility/Generic/SUGSystemUtility.h"
#include "Utility/Generic/SUGTarvelNumber.h"

namespace {

using namespace std::literals;
using namespace xts::test;
using Params = DataConvertParams;
using Raised = std::pair<int32, std::vector<XTString>>;  // code 0: nothing raised
// What a converter did: what it raised, its out-parameters, its whole target.
using Outcome = std::tuple<Raised, uint8, uint64, std::string>;

constexpr uint32 k8 = 127, k16 = 32767, k32 = 2147483647, kU8 = 255, kU16 = 65535, kU32 = ~0u;
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr uint8 kUnsetNull = 0xEE;  // sentinels in the out-parameters
constexpr uint64 kUnsetLength = 0xDEADBEEF;

template <class Action>
Raised RaisedBy(Action action) {
    try {
        action();
    } catch (const ErrorMessage& error) {
        return {error.GetCode(), error.GetArguments()};
    }
    return {0, {}};
}

const XTConverterInfo* InfoNamed(std::string_view name) {
    for (const XTConverterInfo& info : SUDataConvert::GetAllConverters())
        if (name == info.name) return &info;
    return nullptr;
}

// UTF-8 bytes of wide text, encoded here independently of the library.
std::string Utf8(std::wstring_view text) {
    static constexpr unsigned char kLead[] = {0, 0xC0, 0xE0, 0xF0};
    std::string out;
    for (const char32_t c : text) {
        const int tail = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
        out += static_cast<char>(kLead[tail] | (c >> (6 * tail)));
        for (int i = tail - 1; i >= 0; --i) out += char(0x80 | ((c >> (6 * i)) & 0x3F));
    }
    return out;
}

// Bytes as the tables write them: raw values, wide units, variable texts
// (count, units, terminator), and bytes that nothing wrote.
const auto Widen = [](std::string_view text) { return XTString(text.begin(), text.end()); };
const auto Raw = [](const auto& value) {
    return std::string(reinterpret_cast<const char*>(&value), sizeof value);
};
const auto W = [](std::wstring_view units) {
    return std::string(reinterpret_cast<const char*>(units.data()), units.size() * 4);
};
const auto VarN = [](std::string_view text) {
    return Raw(static_cast<uint32>(text.size())) + std::string(text) + '\0';
};
const auto VarW = [](std::wstring_view text) {
    return Raw(static_cast<uint32>(text.size())) + W(text) + W(L"\0"s);
};
const auto Unwritten = [](std::size_t count) { return std::string(count, '\xA5'); };

// How a text word lays out its units: a fixed text ends at its first
// terminator, a variable one has a 4-byte count first, and the client's
// buffers hold exactly fromLength units.
enum class TextShape { kFixed, kVariable, kExternal };
using enum TextShape;

// A source value: 4-byte aligned bytes and the fromLength that goes with them.
struct SourceBuffer {
    std::vector<uint32> words;
    uint32 fromLength = 0;
    const unsigned char* data() const {  // none for SourceBuffer{}: the client gave no buffer
        return words.empty() ? nullptr : reinterpret_cast<const unsigned char*>(words.data());
    }
};

// A text of 1-, 2- or 4-byte units (any string or view) laid out as `shape` says.
template <class Units>
SourceBuffer Source(TextShape shape, const Units& units) {
    const std::size_t offset = shape == kVariable ? 4 : 0, bytes = units.size() * sizeof units[0];
    SourceBuffer source{std::vector<uint32>((offset + bytes + sizeof units[0]) / 4 + 1),
                        static_cast<uint32>(units.size())};
    auto* base = reinterpret_cast<unsigned char*>(source.words.data());
    std::memcpy(base, &source.fromLength, offset);
    if (bytes != 0) std::memcpy(base + offset, units.data(), bytes);
    return source;
}
const auto Chr = [](std::string_view text) { return Source(kFixed, text); };
const auto Ext = [](std::string_view text) { return Source(kExternal, text); };
const auto XT = [](std::wstring_view text) { return Source(kFixed, text); };
const auto VarXT = [](std::wstring_view text) { return Source(kVariable, text); };
const auto Num = [](auto value) { return Ext(Raw(value)); };  // a number's bytes

// Narrow codes of the source and the target; 16-bit units behind a wide source.
const auto Codes = [](int32 from, int32 to, bool widen = false) { return Params{to, from, widen}; };

// A target of `extent` bytes, 4-byte aligned, between guard zones of 16
// bytes; every byte starts as 0xA5, so that what was written shows.
struct Guarded {
    explicit Guarded(std::size_t size) : extent(size), words(8 + (size + 3) / 4, 0xA5A5A5A5u) {}
    unsigned char* data() { return reinterpret_cast<unsigned char*>(words.data()) + 16; }
    // The extent, once it is checked that nothing was written around it.
    std::string Written() const {
        const std::string all(reinterpret_cast<const char*>(words.data()), words.size() * 4);
        EXPECT_EQ(all.substr(0, 16) + all.substr(16 + extent), Unwritten(all.size() - extent))
            << "written outside " << extent << " bytes";
        return all.substr(16, extent);
    }
    std::size_t extent;
    std::vector<uint32> words;
};

// Calls `convert` on a target of exactly `extent` bytes between guards. A value
// shorter than the inline scratch (512 units) that raises nothing takes no memory.
Outcome CallGuarded(DataConvert_t convert, const Params& params, const SourceBuffer& source,
                    uint8 fromIsNull, uint32 toLength, std::size_t extent) {
    Guarded target(extent);
    uint8 isNull = kUnsetNull;
    uint64 length = kUnsetLength;
    const Raised raised = RaisedBy([&] {
        const AllocationCounter counter;
        convert(params, source.data(), source.fromLength, fromIsNull, target.data(), toLength,
                isNull, length);
        EXPECT_TRUE(source.fromLength >= 512 || counter.Count() == 0) << "allocated";
    });
    return {raised, isNull, length, target.Written()};
}

// A target larger than any write the rules allow; compared whole.
constexpr std::size_t kLargeTarget = 128;

// What a call that raises leaves: the sentinels and an untouched target of kLargeTarget bytes.
Outcome Failed(Raised raised) {
    return {std::move(raised), kUnsetNull, kUnsetLength, Unwritten(kLargeTarget)};
}

// ---- Parsers ----

// The parser of `kind` ('S' signed, 'U' unsigned, 'F' floating), narrow or wide.
template <class Unit>
double Parse(char kind, const Unit* text, uint32 length, uint32 maximum) {
    using C = SUDataConvert;
    if constexpr (sizeof(Unit) == 1) {
        if (kind == 'S') return C::CharToLongData(text, length, int32(maximum));
        return kind == 'U' ? C::CharToUnsignedLongData(text, length, maximum)
                           : C::CharToFloat64Data(text, length);
    } else {
        if (kind == 'S') return C::XTCharToLongData(text, length, int32(maximum));
        return kind == 'U' ? C::XTCharToUnsignedLongData(text, length, maximum)
                           : C::XTCharToFloat64Data(text, length);
    }
}

// A bad integer raises 46044 with the text; a text without a number for a
// floating value raises 46045 with what follows the white space.
TEST(TextParserTest, BothTwinsReadEveryRow) {
    constexpr char S = 'S', U = 'U', F = 'F';
    constexpr std::nullopt_t kFails = std::nullopt;
    // clang-format off
    const struct {
        std::string text; char parser; uint32 maximum; std::optional<double> expected;
        std::size_t length = std::string::npos;  // of the text handed over
    } rows[] = {
        // Blanks, signs and fractions (cut toward zero); no digits at all reads as zero.
        {"  42  ", S, k32, 42}, {"\t+42\n", S, k32, 42}, {" -42.9 ", S, k32, -42},
        {"7.9", U, kU32, 7}, {"   ", S, k32, 0}, {"-", S, k32, 0}, {"+", S, k32, 0},
        {"", U, kU32, 0},
        // The words, whole and in any case, for signed targets only.
        {"true", S, k32, 1}, {"fAlSe", S, k8, 0}, {"true ", S, k32, kFails},
        {"TRUE", U, kU32, kFails},
        // Each maximum and one past it; below the minimum the low bytes are the caller's.
        {"127", S, k8, 127}, {"128", S, k8, kFails}, {"-129", S, k8, -129},
        {"32767", S, k16, 32767}, {"32768", S, k16, kFails}, {"2147483647", S, k32, k32},
        {"2147483648", S, k32, kFails}, {"-2147483648", S, k32, -2147483648.0},
        {"-2147483649", S, k32, k32}, {"255", U, kU8, 255}, {"256", U, kU8, kFails},
        {"65535", U, kU16, 65535}, {"65536", U, kU16, kFails}, {"4294967295", U, kU32, kU32},
        {"4294967296", U, kU32, kFails},
        // The fraction path has no range test and keeps the low 32 bits; past 64 bits, 0.
        {"300.5", U, kU8, 300}, {"123456789012.5", S, k32, -1097262572},
        {"1234567890123456789012345.5", S, k32, 0},
        // Ten digits are allowed, eleven are not (leading zeros count).
        {"0000000042", S, k32, 42}, {"12345678901", S, k32, kFails},
        {"00000000042", U, kU32, kFails},
        // Not numbers, and a sign on an unsigned target.
        {"4x", S, k32, kFails}, {"1 2", S, k32, kFails}, {"1.2.3", S, k32, kFails},
        {"- 4", S, k32, kFails}, {"-1", U, kU32, kFails}, {"+1", U, kU32, kFails},
        // The text ends at its length or at its terminator.
        {"4x", S, k32, 4, 1}, {"truex", S, k32, 1, 4}, {"12\0xy"s, S, k32, 12},
        // Floating text: as far as it is a decimal number, in any locale.
        {"  -2.5e3", F, 0, -2500.0}, {"1.5abc", F, 0, 1.5}, {"3,5", F, 0, 3.0}, {"0x10", F, 0, 0.0},
        {"12\0" "5"s, F, 0, 12.0}, {"1e400", F, 0, kInf}, {"-1e-400", F, 0, 0.0},
        {"-infinity", F, 0, -kInf}, {" NaN", F, 0, NAN}, {"1" + std::string(69, '0'), F, 0, 1e69},
        {std::string(100, ' ') + "2.5", F, 0, 2.5}, {"", F, 0, kFails}, {" \t\n", F, 0, kFails},
        {"  \0" "5"s, F, 0, kFails}};
    // clang-format on
    for (const auto& row : rows) {
        const XTString units = Widen(row.text);
        const auto length = static_cast<uint32>(std::min(row.length, row.text.size()));
        const Raised expected = row.expected      ? Raised{}
                                : row.parser == F ? Raised(kMsgInvalidFloatText, {L""})
                                                  : Raised(kMsgInvalidIntegerText, {units});
        const double want = row.expected.value_or(0);  // nothing is returned on a throw
        const auto check = [&](const auto* text) {     // the narrow twin, then the wide one
            double value = 0;
            EXPECT_EQ(RaisedBy([&] { value = Parse(row.parser, text, length, row.maximum); }),
                      expected);
            EXPECT_TRUE(value == want || (std::isnan(value) && std::isnan(want))) << value;
        };
        SCOPED_TRACE(testing::Message() << '"' << row.text << '"');
        check(row.text.data());
        check(units.data());
    }
}

// ---- Formatters ----

template <auto Digitize, class Value, class Unit>
int32 FormatAs(double value, unsigned char* buffer, int32 size) {
    return Digitize(static_cast<Value>(value), reinterpret_cast<Unit*>(buffer), size);
}

// Each formatter on a buffer of exactly `size` bytes (narrow) or `size` + 1
// units (wide). A narrow one writes the text and a NUL and returns the
// text's length; a wide one pads with blanks to `size` units (at most 256),
// puts a zero unit there and returns that size.
TEST(TextFormatterTest, WritesEveryRowWithinItsBuffer) {
    const auto I = FormatAs<SUDataConvert::DigitizeBinaryLongData, int32, char>;
    const auto N = FormatAs<SUDataConvert::DigitizeBinaryUnsignedLongData, uint32, char>;
    const auto F = FormatAs<SUDataConvert::DigitizeFloat64Data, double, char>;
    const auto WI = FormatAs<SUDataConvert::XTDigitizeBinaryLongData, int32, wchar_t>;
    const auto WN = FormatAs<SUDataConvert::XTDigitizeBinaryUnsignedLongData, uint32, wchar_t>;
    const auto WF = FormatAs<SUDataConvert::XTCharDigitizeFloat64Data, double, wchar_t>;
    // clang-format off
    const struct {
        int32 (*format)(double, unsigned char*, int32); double value; int32 size; std::string text;
    } rows[] = {
        // Integers: the sign and the low-order digits that fit survive.
        {I, 1234567, 5, "4567"}, {I, -1234567, 5, "-567"}, {I, -5, 2, "-"}, {I, 42, 1, ""},
        {I, 42, 0, ""}, {N, kU32, 5, "7295"},
        // Two fraction digits, half up in magnitude; the exponent form gets size - 7
        // fraction digits, fewer for a longer exponent, also for a value too small to
        // show; cut when even the exponent does not fit.
        {F, -0.0, 20, "0.00"}, {F, -0.001, 20, "-0.00"}, {F, 9.999, 20, "10.00"},
        {F, 3.14159, 20, "3.14"}, {F, 123.456, 7, "123.46"}, {F, 1e10, 20, "10000000000.00"},
        {F, 1e300, 20, "1.000000000000e+300"}, {F, -1e300, 20, "-1.00000000000e+300"},
        {F, 1e-5, 8, "1.0e-5"}, {F, 1e-17, 20, "1.0000000000000e-17"}, {F, 2e-17, 20, "0.00"},
        {F, 123.456, 6, "1e+2"}, {F, 9.9999999e300, 12, "1.0000e+301"}, {F, 0.5, 3, "5e"},
        {F, std::numeric_limits<double>::max(), 12, "1.7977e+308"}, {F, -kInf, 20, "INFINITY"},
        {F, kInf, 4, "INF"}, {F, NAN, 20, "NAN"},
        // Wide twins: padded, and the leading characters that fit survive.
        {WI, -42, 6, "-42   "}, {WN, kU32, 10, "4294967295"}, {WF, 3.14159, 8, "3.14    "},
        {WI, 7, 0, ""}, {WI, 1234567, 5, "12345"}, {WF, 1.5, 300, "1.50" + std::string(252, ' ')}};
    // clang-format on
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.value << " in " << row.size);
        const bool wide = row.format == WI || row.format == WN || row.format == WF;
        const std::size_t extent = wide ? 4 * (row.size + 1u) : row.size;
        Guarded buffer(extent);
        const int32 returned = row.format(row.value, buffer.data(), row.size);
        std::string expected = wide ? W(Widen(row.text) + L'\0') : row.text + '\0';
        expected.resize(extent, '\xA5');
        const int32 length = wide ? std::min(row.size, 256) : row.text.size();
        EXPECT_EQ(std::pair(returned, buffer.Written()), std::pair(length, expected));
    }
}

// Integers of every length written in full and read back (the wide twins share this code
// and are held to every row of the tables above).
TEST(TextFormatterTest, IntegersRoundTripThroughText) {
    std::mt19937 random(20240611);
    std::vector<uint32> values = {0, 1, 9, 10, 2147483647u, 2147483648u, 2147483649u, kU32};
    for (int i = 0; i < 20000; ++i) values.push_back(uint32(random()) >> (random() % 32));
    char text[12];
    for (const uint32 value : values) {
        int32 length = SUDataConvert::DigitizeBinaryUnsignedLongData(value, text, 11);
        ASSERT_EQ(std::string(text, length), std::to_string(value));
        ASSERT_EQ(SUDataConvert::CharToUnsignedLongData(text, length, kU32), value);
        for (const auto number : {static_cast<int32>(value), static_cast<int32>(0u - value)}) {
            length = SUDataConvert::DigitizeBinaryLongData(number, text, 12);
            ASSERT_EQ(std::string(text, length), std::to_string(number));
            ASSERT_EQ(SUDataConvert::CharToLongData(text, length, k32), number);
        }
    }
}

// DigitizeFloat64Data against printf's "%.2f". They differ only where
// intended: an exact tie rounds half up in magnitude (printf: to even), a
// value within one rounding step of a tie may go either way (the fraction is
// scaled in double arithmetic), and a negative zero prints without its sign.
TEST(TextFormatterTest, FloatingTextMatchesPrintfAwayFromTies) {
    std::mt19937 random(20240612);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    for (int i = 0; i < 50000; ++i) {
        double value = unit(random) * std::pow(10.0, static_cast<int>(random() % 12) - 3);
        if (i % 10 == 0) value = std::round(value * 1000) / 1000;  // many near-ties
        if (i % 97 == 0) value = std::round(value * 8) / 8;        // exact ties
        char ours[64], printed[64];
        const int32 length = SUDataConvert::DigitizeFloat64Data(value, ours, sizeof ours);
        ASSERT_EQ(length, static_cast<int32>(std::strlen(ours)));
        std::snprintf(printed, sizeof printed, "%.2f", value);
        if (std::strcmp(ours, printed) == 0) continue;
        SCOPED_TRACE(testing::Message()
                     << std::hexfloat << value << " ours " << ours << " printf " << printed);
        // Only the sign of a zero may differ.
        ASSERT_TRUE(std::fabs(value) >= 0.005 || std::string(printed) == "-"s + ours);
        if (std::fabs(value) < 0.005) continue;
        // value * 100 is exact in long double for these magnitudes.
        const long double scaled = std::fabs(static_cast<long double>(value)) * 100;
        const long double fraction = scaled - std::floor(scaled);
        ASSERT_LT(std::fabs(fraction - 0.5L), 1e-6L) << "not near a tie";
        // Ours is the other neighbour of the tie; an exact tie goes up.
        const double shown = std::strtod(ours, nullptr);
        ASSERT_LT(std::fabs(shown - value), 0.0051);
        ASSERT_TRUE(fraction != 0.5L || std::fabs(shown) > std::fabs(value));
    }
}

TEST(TextBuilderTest, CharAndVarcharLayOutTheirUnits) {
    ByteVector out = {9, 9, 9};
    const auto bytes = [&] { return std::string(out.begin(), out.end()); };
    SUDataConvert::BuildChar(L"ab", out, 4);
    EXPECT_EQ(bytes(), W(L"ab") + std::string(9, '\0'));
    SUDataConvert::BuildChar(L"\U0001F600b", out, 2);  // the terminator is cut at the end
    EXPECT_EQ(bytes(), W(L"\U0001F600b") + '\0');
    out.assign(21, 7);
    SUDataConvert::BuildVarchar(XTString(L"a\u00e9\U0001F600"), out);
    EXPECT_EQ(bytes(), VarW(L"a\u00e9\U0001F600"));
    SUDataConvert::BuildVarchar(static_cast<const wchar_t*>(nullptr), out);
    EXPECT_EQ(bytes(), std::string(8, '\0'));
}

// ---- Worked examples of the converters ----

// The converter's name after "Convert", its arguments, and what it must do: write `expected`
// (the whole target) and report `length` and `isNull`, or raise `error` with `expected`.
// clang-format off
struct Example {
    const char* converter; Params params; SourceBuffer source; uint32 toLength;
    std::string expected = {}; uint64 length = 0; int32 error = 0; uint8 isNull = 0;
};
// clang-format on

// Runs the example on a target of exactly its expected size.
void Check(const Example& row) {
    SCOPED_TRACE(testing::Message() << row.converter << " toLength " << row.toLength);
    const XTConverterInfo* info = InfoNamed("Convert"s + row.converter);
    ASSERT_NE(info, nullptr);
    const std::size_t extent = row.error != 0 ? kLargeTarget : row.expected.size();
    EXPECT_EQ(CallGuarded(info->function, row.params, row.source, 0, row.toLength, extent),
              row.error != 0 ? Failed(Raised(row.error, {Widen(row.expected)}))
                             : Outcome({}, row.isNull, row.length, row.expected));
}

TEST(CharacterConverterTest, WorkedExamples) {
    const Params keepBlanks{.bAvoidRtrimToVarChar = true}, utf16 = Codes(kCharDataUTF16, 0);
    const std::wstring mixedWide = L"a\u00e9\u20ac\U0001F600", longWide(3000, L'\u20ac');
    const std::string mixed = Utf8(mixedWide), invalid = "ab\xC3\x28";  // 1+2+3+4 bytes
    const std::string longText = Utf8(std::wstring(3000, L'\u00e9'));
    // clang-format off
    std::vector<Example> rows = {
        {"CharToInt32", {}, Chr("4x"), 4, "4x", 0, kMsgInvalidIntegerText},
        {"CharToUnsignedInt32", {}, Chr("TRUE"), 4, "TRUE", 0, kMsgInvalidIntegerText},
        {"CharToInt8", {}, Chr("128"), 1, "128", 0, kMsgInvalidIntegerText},
        {"CharToInt8", {}, Chr("-129"), 1, Raw(int8{127}), 1},
        {"CharToFloat64", {}, Chr("   "), 8, "", 0, kMsgInvalidFloatText},
        // A client that gives no buffer at all has a null value, whatever the form.
        {"CharToInt32", {}, {}, 4, Unwritten(4), 0, 0, 1},
        {"ExternalCharToVarChar", {}, {}, 6, VarN("") + Unwritten(5), 0, 0, 1},
        {"ExternalCharToNumeric", {}, Ext("abc"), 28, "abc", 0, kMsgInvalidIntegerText},
        {"CharToXTChar", {}, Chr("ab"), 5, W(L"ab  \0"s), 4},
        {"XTCharToVarXTChar", {}, XT(L"ab   "), 3, VarW(L"ab"), 2},
        {"XTCharToVarXTChar", {}, XT(L"     "), 2, VarW(L"") + Unwritten(4), 0},
        {"ExternalVarCharToVarXTChar", {}, Ext("ab \r"), 5, VarW(L"ab \r"), 4},
        {"ExternalVarCharToVarXTChar", keepBlanks, Ext("ab \r"), 5, VarW(L"ab \r"), 4},
        // A Bit is 1 when the text starts with '1'; a Boolean is true when it starts with 'T'.
        {"CharToBit", {}, Chr("10"), 1, "\1", 1}, {"CharToBit", {}, Chr(" 1"), 1, "\0"s, 1},
        {"CharToBoolean", {}, Chr("True"), 1, "\1", 1},
        {"CharToBoolean", {}, Chr("t"), 1, "\0"s, 1},
        // Fixed sources end at their terminator, the client's buffers do not; trimming
        // comes before the cut; the client's buffers trim white space up to a line end.
        {"CharToXTChar", {}, Chr("a\0b"s), 5, W(L"a   \0"s), 4},
        {"ExternalVarCharToVarXTChar", {}, Ext("a\0b"s), 4, VarW(L"a\0b"s), 3},
        {"CharToVarChar", {}, Chr("ab  cd"), 5, VarN("ab  "), 4},
        {"ExternalVarCharToVarXTChar", {}, Ext("ab \n \t"), 5, VarW(L"ab \n"), 4},
        {"ExternalVarCharToVarXTChar", {}, Ext("ab \t\v\f"), 3, VarW(L"ab"), 2},
        // Under the C locale code 0 is UTF-8: codes 0 and 2 give the same bytes.
        {"XTCharToChar", Codes(2, 2), XT(mixedWide), 12, mixed + " \0"s, 11},
        {"CharToVarChar", Codes(0, 2), Chr(mixed), 11, VarN(mixed), 10},
        // Invalid input gives an empty text, not a null; equal codes copy the bytes.
        {"CharToXTChar", {}, Chr(invalid), 5, W(L"    \0"s), 4},
        {"CharToChar", Codes(2, 0), Chr(invalid), 6, "     \0"s, 5},
        {"CharToChar", {}, Chr(invalid), 6, invalid + " \0"s, 5},
        {"XTCharToVarChar", {}, XT(std::wstring(1, wchar_t{0x110000})), 2, VarN("") + "\xA5", 0},
        // Characters above U+FFFF; wide targets hold whole characters.
        {"VarXTCharToVarChar", {}, VarXT(L"\U0001F600\U0010FFFF"), 9,
         VarN("\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF"), 8},
        // 16-bit sources are widened unit by unit: a surrogate pair stays two units.
        {"VarXTCharToChar", utf16, Source(kVariable, u"a\u00e9"sv), 5, "a\xC3\xA9 \0"s, 4},
        {"ExternalVarXTCharToVarXTChar", Codes(0, 0, true), Source(kExternal, u"\U0001F600  "sv),
         3, VarW(L"\xD83D\xDE00"), 2},
        {"CharToXTChar", utf16, Source(kFixed, u"xy"sv), 3, W(L"xy\0"s), 2},
        // Texts longer than the inline scratch are converted whole.
        {"CharToChar", Codes(2, 0), Chr(longText), 6001, longText + '\0', 6000},
        {"XTCharToChar", {}, XT(longWide), 5000, Utf8(longWide).substr(0, 4999) + '\0', 4999}};
    // clang-format on
    // The mixed text, then generated text of several scripts (some with trailing blanks,
    // which variable targets trim), from UTF-8 to wide text and back, at every capacity: a
    // narrow target holds the first bytes of the full encoding, which may end inside a
    // character, a wide one the first characters.
    std::mt19937 random(20240611);
    for (int i = 0; i < 100; ++i) {
        std::wstring wide = i ? RandomText(random, Script(i % 4), 1 + random() % 12) : mixedWide;
        if (i % 5 == 4) wide += L"  ";
        const std::wstring kept = wide.substr(0, wide.find_last_not_of(L' ') + 1);
        const std::string narrow = Utf8(wide), keptNarrow = Utf8(kept);
        for (uint32 toLength = 2; toLength <= narrow.size() + 2; ++toLength) {
            const uint32 room = toLength - 1, bytes = std::min<uint32>(room, keptNarrow.size());
            const uint32 units = std::min<uint32>(room, kept.size());
            const std::string text = (narrow + std::string(room, ' ')).substr(0, room) + '\0';
            const std::string wideText = W((wide + std::wstring(room, L' ')).substr(0, room));
            const std::string cut = VarN(keptNarrow.substr(0, bytes)) + Unwritten(room - bytes);
            const std::string wideCut = VarW(kept.substr(0, units)) + Unwritten(4 * (room - units));
            rows.push_back({"XTCharToChar", {}, XT(wide), toLength, text, room});
            rows.push_back({"CharToChar", Codes(2, 0), Chr(narrow), toLength, text, room});
            rows.push_back({"CharToXTChar", {}, Chr(narrow), toLength, wideText + W(L"\0"s), room});
            rows.push_back({"VarXTCharToLongVarChar", {}, VarXT(wide), toLength, cut, bytes});
            rows.push_back({"CharToVarXTChar", {}, Chr(narrow), toLength, wideCut, units});
        }
    }
    for (const Example& row : rows)
        if (!HasFailure()) Check(row);
}

// With an ISO-8859-1 default code page, codes 0 and 2 are different code pages.
TEST(CharacterConverterTest, Latin1AsTheDefaultCodePage) {
    const auto directory = std::filesystem::temp_directory_path() /
                           ("xts_character_locales_" + std::to_string(getpid()));
    std::filesystem::create_directories(directory);
    const locale_t latin1 = MakeCtypeLocale("en_US", "ISO-8859-1", directory);
    const locale_t previous = latin1 ? uselocale(latin1) : static_cast<locale_t>(0);
    // clang-format off
    const Example rows[] = {
        {"CharToChar", Codes(2, 0), Chr("caf\xC3\xA9"), 6, "caf\xE9 \0"s, 5},
        {"CharToVarChar", Codes(0, 2), Chr("\xE9t\xE9"), 6, VarN("\xC3\xA9t\xC3\xA9"), 5},
        {"CharToChar", Codes(2, 0), Chr("\xE2\x82\xAC"), 4, "   \0"s, 3},
        {"CharToXTChar", {}, Chr("\xE9"), 2, W(L"\u00e9\0"s), 1},
        {"XTCharToChar", {}, XT(L"\u00e9\u00ff"), 3, "\xE9\xFF\0"s, 2},
        {"XTCharToChar", Codes(0, 2), XT(L"\u00e9"), 3, "\xC3\xA9\0"s, 2}};
    // clang-format on
    if (latin1) {
        EXPECT_EQ(SystemUtility::GetMultiByteCodePage(), SystemUtility::kLatin1CodePage);
        for (const Example& row : rows) Check(row);
        uselocale(previous);
        freelocale(latin1);
    }
    std::filesystem::remove_all(directory);
    if (!latin1) GTEST_SKIP() << "no ISO-8859-1 locale can be made here";
}

// Values just short of the inline scratch (512 wide units, 2,049 bytes), and a wide
// number target beyond the 256-byte digit buffer, take no memory either (CallGuarded checks).
TEST(CharacterConverterTest, ValuesNearTheScratchSizesDoNotAllocate) {
    const std::string utf8 = Utf8(std::wstring(100, L'\u00e9') + L"\U0001F600 42 ");
    const std::wstring wide(200, L'\u20ac');
    const std::u16string sixteen(300, u'x');
    // clang-format off
    const Example calls[] = {
        {"CharToChar", Codes(2, 0), Chr(utf8), 1024}, {"CharToXTChar", {}, Chr(utf8), 1000},
        {"XTCharToVarChar", {}, XT(wide), 100}, {"ExternalVarCharToVarXTChar", {}, Ext(utf8), 1000},
        {"VarXTCharToVarXTChar", Codes(0, 0, true), Source(kVariable, sixteen), 1000},
        {"Float64ToXTChar", {}, Num(12.5), 300}};
    // clang-format on
    for (const Example& call : calls) {
        SCOPED_TRACE(call.converter);
        CallGuarded(InfoNamed("Convert"s + call.converter)->function, call.params, call.source, 0,
                    call.toLength, 4 + 4 * 1024);
    }
}

TEST(CharacterConverterDeathTest, CapacitiesAndCodesThatAreDefectsAbort) {
    const SourceBuffer set = Num(uint8{1});
    ByteVector out;
    EXPECT_DEATH(CallGuarded(SUDataConvert::ConvertBitToChar, {}, set, 0, 0, 64), "toLength >= 1");
    EXPECT_DEATH(CallGuarded(SUDataConvert::ConvertBooleanNullableToXTChar, {}, set, 0, 0, 64),
                 "toLength >= 1");
    EXPECT_DEATH(CallGuarded(SUDataConvert::ConvertBooleanToVarXTChar, {}, set, 0, 4, 64),
                 "toLength >= sizeof\\(uint32\\) \\+ 1");
    // Narrow codes other than 0 and 2.
    EXPECT_DEATH(CallGuarded(SUDataConvert::ConvertXTCharToChar, Codes(0, 1), XT(L"ab"), 0, 8, 64),
                 "narrow character code");
    EXPECT_DEATH(CallGuarded(SUDataConvert::ConvertCharToVarChar, Codes(0, 3), Chr("ab"), 0, 8, 64),
                 "narrow character code");
    EXPECT_DEATH(SUDataConvert::BuildChar(L"abc", out, 2), "width");
}

// ---- The walk over every converter of the family ----
//
// Each converter, found by name, is called in its null forms and at the
// capacities around its value's length, on a guarded target, with the flags
// and codes that concern it. What it must write, byte for byte, follows from
// the layout rules of its source and target words, written out once below.

std::vector<std::string> CharacterConverterNames() {
    std::vector<std::string> names;
#define XT_PLAIN(S, D) names.push_back("Convert" #S "To" #D);
#define XT_NULLABLE_TO_PLAIN(S, D) names.push_back("Convert" #S "NullableTo" #D);
#define XT_NULLABLE(S, D) names.push_back("Convert" #S "NullableTo" #D "Nullable");
#define XT_THREE(S, D) XT_PLAIN(S, D) XT_NULLABLE_TO_PLAIN(S, D) XT_NULLABLE(S, D)
#define XT_TWO(S, D) XT_PLAIN(S, D) XT_NULLABLE(S, D)
    XT_CHARACTER_CONVERTERS(XT_THREE, XT_TWO, XT_PLAIN, XT_NULLABLE_TO_PLAIN, XT_NULLABLE)
    return names;
}

// A word of a converter's name, and what it says of the value and its layout.
struct Word {
    std::string_view name;
    bool Has(std::string_view part) const { return name.find(part) != name.npos; }
    bool Text() const { return Has("Char"); }
    bool Flag() const { return name == "Bit" || name == "Boolean"; }
    bool Number() const { return !Text() && !Has("Binary"); }  // flags and Numeric too
    bool Wide() const { return Has("XTChar"); }
    bool Variable() const { return Has("Var") && !Has("External"); }
    TextShape Shape() const {
        return Has("External") ? kExternal : Variable() ? kVariable : kFixed;
    }
    std::size_t Width() const { return Has("64") ? 8 : Has("32") ? 4 : Has("16") ? 2 : 1; }
};

// The value of each number source in the walk, its bytes, and its text as
// the narrow formatters write it into `size` bytes.
double NumberValue(const Word& word) {
    if (word.Flag()) return 1;
    return word.Has("Float") ? -2.5 : word.name.starts_with("Int") ? -12 : 123;
}
std::string NumericImage(double value) {
    ByteVector bytes;
    TarvelNumber(value).ToByteVector(bytes);
    return std::string(bytes.begin(), bytes.end());
}
std::string NumberBytes(const Word& word, double value) {
    if (word.Has("Float")) return word.Width() == 4 ? Raw(static_cast<float>(value)) : Raw(value);
    return Raw(static_cast<int64>(value)).substr(0, word.Width());
}

std::string Formatted(const Word& word, int32 size = 32) {
    if (word.Flag()) return word.name == "Bit" ? "1" : "T";
    if (word.name == "Numeric") return "-12.5";
    char text[32] = {};
    const double value = NumberValue(word);
    // The unsigned value 123 is written alike by the signed formatter, in any size.
    word.Has("Float") ? SUDataConvert::DigitizeFloat64Data(value, text, size)
                      : SUDataConvert::DigitizeBinaryLongData(int32(value), text, size);
    return text;
}

// `text` as the text word `target` lays it out.
std::string Laid(const Word& target, std::string_view text) {
    if (target.Variable()) return target.Wide() ? VarW(Widen(text)) : VarN(text);
    return target.Wide() ? W(Widen(text) + L'\0') : std::string(text) + '\0';
}

constexpr std::string_view kText = "ab c\t ";

// A source of the walk and the parameters it is converted with.
// clang-format off
struct Variant { Params params; SourceBuffer source; const char* label; };
// clang-format on

// The outcome the rules give for a converter from `s` to `t`.
Outcome Expect(const Word& s, const Word& t, XTConverterForm form, bool isNull, uint32 toLength,
               const Variant& variant) {
    const auto value = [&](const std::string& bytes, uint64 length, uint8 isNull = 0) {
        return Outcome({}, isNull, length, bytes + Unwritten(kLargeTarget - bytes.size()));
    };
    const auto null = [&](std::string bytes, uint64 length = 0) { return value(bytes, length, 1); };
    const auto tooLong = [&](std::size_t needed) {
        return Failed({kMsgValueTooLong, {std::to_wstring(needed), std::to_wstring(toLength)}});
    };
    const bool nullable = form == XTConverterForm::kNullableToNullable;
    // An empty text where it fits; a variable one always has its count.
    const std::string empty = toLength >= 1 ? Laid(t, "") : t.Variable() ? Raw(uint32{0}) : "";
    const std::string blanks(toLength == 0 ? 0 : toLength - 1, ' ');
    if (t.Has("Binary")) {  // a fixed target is filled with zero bytes
        if (isNull && t.Variable()) return null(Raw(uint32{0}));
        if (isNull) return nullable ? null("") : null(std::string(toLength, '\0'), toLength);
        if (toLength < 3) return tooLong(3);
        if (t.Variable()) return value(Raw(uint32{3}) + "\1\2\3", 3);
        return value("\1\2\3" + std::string(toLength - 3, '\0'), 3);
    }
    if (!t.Text()) {  // text into numbers
        if ((isNull && nullable) || (!isNull && variant.source.fromLength == 0)) return null("");
        if (t.name == "Numeric") {  // the number zero for a null
            const std::string image = NumericImage(isNull ? 0 : 42);
            if (image.size() > toLength) return isNull ? null("") : tooLong(image.size());
            return value(image, image.size(), isNull);
        }
        return value(NumberBytes(t, isNull ? 0 : t.Flag() ? 1 : 42), t.Width(), isNull);
    }
    if (isNull) {
        if (t.Variable()) return null(empty);
        if (nullable) return null(s.Text() ? empty : "");
        if (t.Wide()) return null(toLength >= 1 ? Laid(t, blanks) : "", toLength);
        if (s.Number() && !s.Flag())  // a right-aligned zero
            return null(toLength >= 2 ? Laid(t, blanks.substr(1) + "0") : empty, toLength);
        if (toLength >= 1 && variant.params.charDataToDataCode == kCharDataNarrowUTF8Code)
            return null(Laid(t, std::string(3 * toLength - 3, ' ')), toLength);
        return null(empty, toLength);
    }
    if (s.Flag()) {
        const std::string letter = Formatted(s);
        if (t.Variable()) return value(Laid(t, letter), 1);
        if (t.Wide()) return value(Laid(t, letter + blanks), toLength);
        return value(toLength == 1 ? letter : Laid(t, letter), 1);
    }
    if (s.Number()) {
        const std::string text = Formatted(s);
        if (t.Wide()) {  // filled to the capacity
            if (s.name == "Numeric" && text.size() > toLength) return tooLong(text.size());
            if (toLength < (t.Variable() ? 2u : 1u)) return null(empty);
            return value(Laid(t, (text + blanks).substr(0, toLength)), toLength);
        }
        if (toLength < 2) return null(empty);
        const std::string written = Formatted(s, toLength);
        return value(Laid(t, written), written.size());
    }
    std::string text(kText);  // text into text
    if (toLength < 2) return null(empty);
    if (t.Variable() && !variant.params.bAvoidRtrimToVarChar) {
        const bool lineEnds = s.Shape() == kExternal && s.name != "ExternalChar";
        text.erase(text.find_last_not_of(lineEnds ? " \t\v\f" : " ") + 1);
    }
    text.resize(std::min<std::size_t>(text.size(), toLength - 1));
    if (t.Shape() != kFixed) return value(Laid(t, text), text.size());
    if (t.Wide() || !variant.params.bAvoidPaddingToChar) text.resize(toLength - 1, ' ');
    return value(Laid(t, text), toLength - 1);
}

// The sources of a converter (its value under the default parameters, with
// UTF-8 codes, with each flag, and in the other unit sizes that a text word
// can be handed) and the length of that value, to place the capacities.
std::pair<std::vector<Variant>, uint32> VariantsOf(const Word& s, const Word& t) {
    const Params utf8 =
        Codes(s.Wide() ? kCharDataUniCode : kCharDataNarrowUTF8Code, kCharDataNarrowUTF8Code);
    if (s.Has("Binary"))  // a count and the bytes, or the bytes alone
        return {{{{}, Source(s.Variable() ? kVariable : kExternal, "\1\2\3"sv), ""}}, 3};
    if (s.Number()) {
        const std::string text = Formatted(s);
        const SourceBuffer source =
            Ext(s.name == "Numeric" ? NumericImage(-12.5) : NumberBytes(s, NumberValue(s)));
        return {{{{}, source, ""}, {utf8, source, " UTF-8"}}, uint32(text.size())};
    }
    const std::string text = t.Text() ? std::string(kText) : t.Flag() ? Formatted(t) : "42";
    const SourceBuffer source = s.Wide() ? Source(s.Shape(), Widen(text)) : Source(s.Shape(), text);
    // 16-bit units behind wide words; the client's wide buffers behind narrow ones.
    const std::u16string units(text.begin(), text.end());
    const Variant other =
        s.Wide() ? Variant{Codes(0, 0, true), Source(s.Shape(), units), " 16-bit"}
                 : Variant{Codes(kCharDataUniCode, 0), Source(s.Shape(), Widen(text)), " wide"};
    // clang-format off
    std::vector<Variant> variants = {{{}, source, ""}, {utf8, source, " UTF-8"}, other,
        {{.bAvoidRtrimToVarChar = true}, source, " keep blanks"},
        {{.bAvoidPaddingToChar = true}, source, " no padding"}};
    // clang-format on
    // An empty text into a number is a null.
    if (!t.Text()) variants.push_back({{}, Source(s.Shape(), ""s), " empty"});
    // The value's length in the target, to place the capacities around.
    const std::size_t inTarget = t.name == "Numeric" ? NumericImage(42).size() : t.Width();
    return {variants, uint32(t.Text() ? kText.size() : inTarget)};
}

class CharacterConverterWalk : public testing::TestWithParam<std::string> {};

TEST_P(CharacterConverterWalk, WritesWhatItsLayoutsSayAndNothingElse) {
    const XTConverterInfo* info = InfoNamed(GetParam());
    ASSERT_NE(info, nullptr);
    const Word s = Word{info->sourceWord}, t = Word{info->targetWord};
    const auto [variants, n] = VariantsOf(s, t);
    for (const Variant& variant : variants)
        for (const uint32 toLength : {0u, 1u, 2u, n - 1, n, n + 1, 20u})
            for (const uint8 fromIsNull : {0, 1}) {
                const bool isNull = fromIsNull != 0 && info->form != XTConverterForm::kPlain;
                // A flag without room for its letter is an assertion (a death test above).
                if (s.Flag() && !isNull && toLength < (t.Variable() ? 5u : 1u)) continue;
                SCOPED_TRACE(testing::Message() << "toLength " << toLength << " fromIsNull "
                                                << int{fromIsNull} << variant.label);
                EXPECT_EQ(CallGuarded(info->function, variant.params, variant.source, fromIsNull,
                                      toLength, kLargeTarget),
                          Expect(s, t, info->form, isNull, toLength, variant));
            }
}

INSTANTIATE_TEST_SUITE_P(EveryCharacterConverter, CharacterConverterWalk,
                         testing::ValuesIn(CharacterConverterNames()),
                         [](const auto& info) { return info.param; });

}  // namespace
