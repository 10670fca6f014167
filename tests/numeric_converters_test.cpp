// The numeric converters. Bit, Boolean, the six integers, Float32 and Float64
// among each other are checked against one reference conversion written from
// the rules (integer limits from std::numeric_limits, the bounds table of
// floating sources) at every limit and one past and over random values (fixed
// seeds); Numeric by round trips, written-out cases and its capacity error;
// every numeric converter in its three null forms. Every call into a
// fixed-width target is also checked not to allocate.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "CountingAllocator.h"
#include "Utility/Client/SUCDataConvert.h"
#include "Utility/Generic/SUGErrorMessage.h"
#include "Utility/Generic/SUGTarvelNumber.h"

namespace {

using Bytes = std::vector<unsigned char>;
enum class Kind { kFlag, kInteger, kFloating, kNumeric };
using enum Kind;

// A number word. For integers, `upperFromFloat32` is the bound a Float32
// source is compared with (a Float64 source uses `max`, both `min`), strictly
// and before truncation: the 32-bit limits rounded to single precision, 2^31
// and 2^32.
// clang-format off
struct Word { const char* name; const wchar_t* displayName; Kind kind; std::size_t width; double min, max, upperFromFloat32; };
template <class T> constexpr double kMin = std::numeric_limits<T>::min();
template <class T> constexpr double kMax = std::numeric_limits<T>::max();
const Word kWords[] = {
    {"Bit", L"BIT", kFlag, 1, 0, 255, 0}, {"Boolean", L"BOOL", kFlag, 1, 0, 255, 0},
    {"Int8", L"TINYINT", kInteger, 1, kMin<int8>, kMax<int8>, 127.0},
    {"UnsignedInt8", L"UNSIGNED TINYINT", kInteger, 1, kMin<uint8>, kMax<uint8>, 255.0},
    {"Int16", L"SMALLINT", kInteger, 2, kMin<int16>, kMax<int16>, 32767.0},
    {"UnsignedInt16", L"UNSIGNED SMALLINT", kInteger, 2, kMin<uint16>, kMax<uint16>, 65535.0},
    {"Int32", L"INTEGER", kInteger, 4, kMin<int32>, kMax<int32>, 2147483648.0},
    {"UnsignedInt32", L"UNSIGNED INTEGER", kInteger, 4, kMin<uint32>, kMax<uint32>, 4294967296.0},
    {"Float32", L"FLOAT", kFloating, 4, 0, 0, 0},
    {"Float64", L"DOUBLE PRECISION", kFloating, 8, 0, 0, 0},
    {"Numeric", L"NUMERIC", kNumeric, TarvelNumber::kFieldLength, 0, 0, 0},
};
constexpr double kInf = std::numeric_limits<double>::infinity(), kFloatMax = std::numeric_limits<float>::max();
// Floating values worth trying besides the bounds: signed zeros, fractions, subnormals,
// infinities, NaN, the single range's edge and just beyond it, and beyond the 32-bit bounds.
const double kSpecialReals[] = {
    -0.0, 0.5, -0.5, 0.999, -2.9, 1e-40, -1e-45, 1e-310, kInf, -kInf, std::nan(""), kFloatMax,
    -kFloatMax, kFloatMax + 0x1p102, kFloatMax + 0x1p103, 1e300, -std::numeric_limits<double>::max(),
    2147483647.9, -2147483648.9, 4294967295.5};
// clang-format on
const Word* FindWord(const std::string& name) {
    const Word* found = std::ranges::find(kWords, name, [](const Word& w) { return w.name; });
    return found == std::end(kWords) ? nullptr : found;
}
constexpr XTConverterForm kForms[] = {XTConverterForm::kPlain, XTConverterForm::kNullableToPlain,
                                      XTConverterForm::kNullableToNullable};
std::string Name(const std::string& source, XTConverterForm form, const std::string& target) {
    return "Convert" + source + (form == XTConverterForm::kPlain ? "" : "Nullable") + "To" +
           target + (form == XTConverterForm::kNullableToNullable ? "Nullable" : "");
}

// A value of any type the number is built from, serialised.
const auto Num = [](auto value) {
    Bytes bytes;
    TarvelNumber(value).ToByteVector(bytes);
    return bytes;
};

// Values are doubles: every value of the integer words is exact in one.
Bytes Encode(const Word& word, double value) {
    if (word.kind == kNumeric) return Num(static_cast<int64>(value));
    const uint64 bits = word.kind != kFloating ? uint64(int64(value))  // its low bytes
                        : word.width == 4      ? std::bit_cast<uint32>(float(value))
                                               : std::bit_cast<uint64>(value);
    const auto* bytes = reinterpret_cast<const unsigned char*>(&bits);
    return Bytes(bytes, bytes + word.width);
}
const auto Fixed = [](const char* word, double value) { return Encode(*FindWord(word), value); };

// What a converter should do: store `bytes` and set `toIsNull`, or raise
// `error` with `arguments` and write nothing at all.
// clang-format off
struct Expected { Bytes bytes{}; uint8 toIsNull = 0; int32 error = 0; std::vector<XTString> arguments{}; };
Expected Error(int32 code, std::vector<XTString> arguments) { return {{}, 0, code, arguments}; }
// clang-format on

// Calls the named converter with sentinels in every output and checks what it
// did, and that a call into a fixed-width target did not allocate.
::testing::AssertionResult Converts(const std::string& converter, const Bytes& from,
                                    const Expected& expected, uint8 fromIsNull = 0,
                                    uint32 toLength = TarvelNumber::kFieldLength) {
    static std::map<std::string, DataConvert_t> byName;
    if (byName.empty())
        for (const XTConverterInfo& info : SUDataConvert::GetAllConverters())
            byName.emplace(info.name, info.function);
    Bytes to(40, 0xA5), want = to;
    std::copy(expected.bytes.begin(), expected.bytes.end(), want.begin());
    uint8 toIsNull = 0x5A;
    uint64 returnLength = 99999, allocations = 0;
    Expected got;
    try {
        const xts::test::AllocationCounter counter;
        byName.at(converter)(DataConvertParams{}, from.data(), static_cast<uint32>(from.size()),
                             fromIsNull, to.data(), toLength, toIsNull, returnLength);
        allocations = converter.find("ToNumeric") == std::string::npos ? counter.Count() : 0;
    } catch (const ErrorMessage& error) {
        got = Error(error.GetCode(), error.GetArguments());
    }
    const bool error = expected.error != 0;
    const auto outcome =
        std::tuple(got.error, got.arguments, toIsNull, returnLength, to, allocations);
    if (outcome == std::tuple(expected.error, expected.arguments, error ? 0x5A : expected.toIsNull,
                              error ? 99999 : expected.bytes.size(), want, 0))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << converter << ": " << ::testing::PrintToString(outcome);
}

// Float64 into Float32 rounding to nearest: beyond the single range, less than half a
// unit (2^103) past the largest single rounds to it, anything further to an infinity.
float Narrow(double value) {
    if (!(std::fabs(value) > kFloatMax)) return static_cast<float>(value);  // NaN too
    return float(std::copysign(std::fabs(value) < kFloatMax + 0x1p103 ? kFloatMax : kInf, value));
}

// The reference conversion of the fixed-width family.
Expected Reference(const Word& source, const Word& target, double value) {
    if (target.kind == kFlag)  // both zeros give 0, NaN 1
        return {Encode(target, source.kind == kFlag ? value : value != 0)};
    if (target.kind == kFloating)
        return {Encode(target, target.width == 4 ? Narrow(value) : value)};
    const bool single = source.kind == kFloating && source.width == 4;
    const double upper = single ? target.upperFromFloat32 : target.max;
    if (value > upper || value < target.min)
        return Error(value > upper ? kMsgValueOverflow : kMsgValueUnderflow,
                     {source.displayName, target.displayName});
    // A NaN fails both tests and gives 0, or INT32_MIN into Int32.
    return {Encode(target, std::isnan(value) ? (target.min == kMin<int32> ? INT32_MIN : 0)
                                             : std::trunc(value))};
}

// Every limit of every integer word at and one past; for floating sources also each bound
// a half and one unit of the source's type either side, special values and values beyond
// the single range. Then 1000 random values: near an integer limit, anywhere in the
// source's range (within 5e9 for floating sources) and raw floating bit patterns. Only
// values the source holds are kept.
std::vector<double> Values(const Word& source, uint32 seed) {
    const bool floating = source.kind == kFloating, single = floating && source.width == 4;
    std::vector<double> limits, values, candidates = {0, 1, -1, 2, 7, 200};
    for (const Word& word : kWords)
        if (word.kind == kInteger) limits.insert(limits.end(), {word.min, word.max});
    for (const double limit : limits)
        candidates.insert(candidates.end(), {limit - 1, limit, limit + 1});
    if (floating)
        candidates.insert(candidates.end(), std::begin(kSpecialReals), std::end(kSpecialReals));
    for (const Word& t : kWords)
        for (const double b : {single ? t.upperFromFloat32 : t.max, t.min})
            for (const double to : {-kInf, kInf})
                if (floating)
                    candidates.insert(
                        candidates.end(),
                        {b + std::copysign(0.5, to),
                         single ? std::nextafter(float(b), float(to)) : std::nextafter(b, to)});
    std::mt19937_64 random(seed);
    for (int i = 0; i < 1000; ++i) {
        const uint64 bits = random();
        const double uniform = std::uniform_real_distribution<double>(0, 1)(random);
        const double offset = double((bits >> 32) % 601) / 100 - 3;
        const double near = limits[bits % limits.size()] + (floating ? offset : std::round(offset));
        const double anywhere =
            floating ? (uniform - 0.5) * 1e10
                     : std::floor(source.min + uniform * (source.max - source.min + 1));
        const double raw =
            single ? std::bit_cast<float>(uint32(bits)) : std::bit_cast<double>(bits);
        candidates.push_back(i % 3 == 0 ? near : i % 3 == 1 || !floating ? anywhere : raw);
    }
    for (const double v : candidates)
        if (floating ? !single || !std::isfinite(v) || std::fabs(v) <= kFloatMax
                     : v >= source.min && v <= source.max)
            values.push_back(single ? float(v) : v);
    return values;
}

// Source kWords[p / 10], target kWords[p % 10].
class FixedWidthPair : public ::testing::TestWithParam<int> {};

TEST_P(FixedWidthPair, MatchesTheReferenceAtEveryLimitAndOnRandomValues) {
    const Word &source = kWords[GetParam() / 10], &target = kWords[GetParam() % 10];
    for (const XTConverterForm form : kForms)
        for (const double v : Values(source, 20240611u + GetParam()))
            ASSERT_TRUE(Converts(Name(source.name, form, target.name), Encode(source, v),
                                 Reference(source, target, v)))
                << v;
}

INSTANTIATE_TEST_SUITE_P(AllPairs, FixedWidthPair, ::testing::Range(0, 100));

class NumericWithWord : public ::testing::TestWithParam<int> {};

// value -> Numeric -> the same word, in every form, into a capacity of
// exactly the serialised length and one byte short (46034 with the needed
// length and the capacity).
TEST_P(NumericWithWord, RoundTripsAndCapacity) {
    const Word& word = kWords[GetParam()];
    for (const double v : Values(word, 77u + GetParam())) {
        if (!std::isfinite(v) || std::fabs(v) >= 1e125 || (v != 0 && std::fabs(v) < 1e-127))
            continue;  // beyond what a number holds
        const Bytes image = word.kind == kInteger ? Num(int64(v))
                            : word.width == 4     ? Num(float(v))
                                                  : Num(v);
        const auto length = static_cast<uint32>(image.size());
        const Expected tooLong =
            Error(kMsgValueTooLong, {std::to_wstring(length), std::to_wstring(length - 1)});
        for (const XTConverterForm form : kForms) {
            const std::string into = Name(word.name, form, "Numeric");
            // A negative zero comes back as zero: the number has no sign for it.
            for (const auto& result :
                 {Converts(into, Encode(word, v), {image}, 0, length),
                  Converts(into, Encode(word, v), tooLong, 0, length - 1),
                  Converts(Name("Numeric", form, word.name), image, {Encode(word, v + 0.0)})})
                ASSERT_TRUE(result) << v;
        }
    }
}

// Bit and Boolean have no converter into Numeric.
INSTANTIATE_TEST_SUITE_P(IntegersAndFloating, NumericWithWord, ::testing::Range(2, 10));

// Written-out cases: the fixed-width pairs, into Numeric (a 32-bit count and
// the image) and out of it (the accessors truncate; Bit folds, Boolean not).
TEST(NumericConverters, WrittenOutCases) {
    const int32 kOver = kMsgValueOverflow, kUnder = kMsgValueUnderflow;
    // clang-format off
    const struct { std::string converter; Bytes from; Expected expected; uint8 fromIsNull = 0; uint32 toLength = 28; } kCases[] = {
        {"ConvertInt32ToInt16", Fixed("Int32", 32767), {Fixed("Int16", 32767)}},
        {"ConvertInt32ToInt16", Fixed("Int32", 32768), Error(kOver, {L"INTEGER", L"SMALLINT"})},
        {"ConvertInt32ToInt16", Fixed("Int32", -32769), Error(kUnder, {L"INTEGER", L"SMALLINT"})},
        {"ConvertUnsignedInt32ToInt32", Fixed("UnsignedInt32", 2147483648.0), Error(kOver, {L"UNSIGNED INTEGER", L"INTEGER"})},
        {"ConvertInt32ToUnsignedInt32", Fixed("Int32", -1), Error(kUnder, {L"INTEGER", L"UNSIGNED INTEGER"})},
        {"ConvertInt8ToUnsignedInt16", Fixed("Int8", -1), Error(kUnder, {L"TINYINT", L"UNSIGNED SMALLINT"})},
        // Checked before truncation, strictly against the bound (docs/converters.md).
        {"ConvertFloat64ToInt32", Fixed("Float64", 2147483647.9), Error(kOver, {L"DOUBLE PRECISION", L"INTEGER"})},
        {"ConvertFloat64ToInt32", Fixed("Float64", -2.9), {Fixed("Int32", -2)}},
        {"ConvertFloat32ToInt32", Fixed("Float32", 2147483648.0), {Fixed("Int32", INT32_MIN)}},
        {"ConvertFloat32ToUnsignedInt32", Fixed("Float32", 4294967296.0), {Fixed("UnsignedInt32", 0)}},
        {"ConvertFloat32ToUnsignedInt16", Fixed("Float32", 65535), {Fixed("UnsignedInt16", 65535)}},
        {"ConvertFloat32ToUnsignedInt16", Fixed("Float32", 65536), Error(kOver, {L"FLOAT", L"UNSIGNED SMALLINT"})},
        {"ConvertFloat32ToUnsignedInt16", Fixed("Float32", -0.5), Error(kUnder, {L"FLOAT", L"UNSIGNED SMALLINT"})},
        {"ConvertFloat64ToInt32", Fixed("Float64", std::nan("")), {Fixed("Int32", INT32_MIN)}},
        {"ConvertFloat64ToBoolean", Fixed("Float64", -0.0), {{0}}},
        {"ConvertFloat64ToBoolean", Fixed("Float64", std::nan("")), {{1}}},
        {"ConvertBooleanToInt32", {7}, {Fixed("Int32", 7)}},
        {"ConvertInt32ToNumeric", Fixed("Int32", 1), {{2, 0, 0, 0, 0xC1, 0x02}}},
        {"ConvertFloat64ToNumeric", Fixed("Float64", std::nan("")), Error(kOver, {L"DOUBLE PRECISION", L"NUMERIC"})},
        // A null into a plain Numeric without room for the number zero writes nothing.
        {"ConvertInt32NullableToNumeric", Fixed("Int32", 1), {{}, 1}, 1, 4},
        {"ConvertNumericToUnsignedInt8", Num(-0.5), {{0}}},
        {"ConvertNumericToUnsignedInt16", Num(-1), Error(kUnder, {L"NUMERIC", L"UNSIGNED SMALLINT"})},
        {"ConvertNumericToInt32", Num(2147483648), Error(kOver, {L"NUMERIC", L"INTEGER"})},
        {"ConvertNumericToBit", Num(0), {{0}}},
        {"ConvertNumericToBit", Num(0.001), {{1}}},
        {"ConvertNumericToBoolean", Num(7), {{7}}},
        {"ConvertNumericToBoolean", Num(-1), {{255}}},
        {"ConvertNumericToBoolean", Num(200), Error(kOver, {L"NUMERIC", L"TINYINT"})},  // asInt1
        // Numeric to Numeric copies fromLength bytes, whatever the capacity.
        {"ConvertNumericToNumeric", Bytes(13, 0xEE), {Bytes(13, 0xEE)}, 0, 1},  // not decoded
    };
    // clang-format on
    for (const auto& c : kCases)
        EXPECT_TRUE(Converts(c.converter, c.from, c.expected, c.fromIsNull, c.toLength));
}

// Every numeric converter, not null and null: plain ignores the flag; Nullable
// to plain writes the target's zero (the number zero into Numeric) with the
// flag set, without reading the source; Nullable to Nullable leaves the target
// alone. With the checks of Converts, no converter into a fixed-width number
// allocates.
TEST(NumericConverters, NullFormsOfEveryNumericConverter) {
    int converters = 0;
    for (const XTConverterInfo& info : SUDataConvert::GetAllConverters()) {
        const Word *source = FindWord(info.sourceWord), *target = FindWord(info.targetWord);
        if (source == nullptr || target == nullptr) continue;
        ++converters;
        // By form: the value, the target's zero and the flag, the flag alone; the source of a
        // null is not read.
        const Expected byForm[] = {{Encode(*target, 1)}, {Encode(*target, 0), 1}, {{}, 1}};
        for (const uint8 isNull : {0, 1, 2, 255}) {
            const int form = isNull ? int(info.form) : 0;  // a plain form ignores the flag
            EXPECT_TRUE(Converts(info.name, form ? Bytes(source->width, 0xFF) : Encode(*source, 1),
                                 byForm[form], isNull));
        }
    }
    EXPECT_EQ(converters, (11 * 10 + 9) * 3);
}

}  // namespace
