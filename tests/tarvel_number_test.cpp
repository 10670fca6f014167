// Tests of TarvelNumber: the image format, exact integer and floating round
// trips, rounding, accessor ranges, byte vectors, text and ordering.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "CountingAllocator.h"
#include "Utility/Generic/SUGErrorMessage.h"
#include "Utility/Generic/SUGTarvelNumber.h"

namespace {

using Bytes = std::vector<unsigned char>;
constexpr unsigned kSeed = 20240611;

Bytes ImageOf(const TarvelNumber& number) {
    return Bytes(number.GetImage(), number.GetImage() + number.GetImageLength());
}

TarvelNumber Parse(std::string_view text) {
    TarvelNumber number;
    EXPECT_TRUE(TarvelNumber::TryParse(text, number)) << text;
    return number;
}

// Runs `action` and checks that it raises `code` with `arguments`.
void ExpectError(const std::function<void()>& action, int32 code,
                 const std::vector<XTString>& arguments = {}) {
    try {
        action();
        ADD_FAILURE() << "no error, expected " << code;
    } catch (const ErrorMessage& error) {
        EXPECT_EQ(error.GetCode(), code) << error.what();
        if (!arguments.empty()) {
            EXPECT_EQ(error.GetArguments(), arguments) << error.what();
        }
    }
}

// ------------------------------------------------------------ images

struct ImageCase {
    std::string text;
    Bytes image;
    std::string canonicalText;
    int exponent;
    int digitCount;
};

void PrintTo(const ImageCase& row, std::ostream* out) {
    *out << row.text;
}

class TarvelNumberImageTest : public ::testing::TestWithParam<ImageCase> {};

TEST_P(TarvelNumberImageTest, TextGivesImageAndCanonicalText) {
    const ImageCase& row = GetParam();
    const TarvelNumber number = Parse(row.text);
    EXPECT_EQ(ImageOf(number), row.image);
    EXPECT_EQ(number.ToNString(), row.canonicalText);
    EXPECT_EQ(number.GetExponent(), row.exponent);
    EXPECT_EQ(number.GetDigitCount(), row.digitCount);
    EXPECT_TRUE(TarvelNumber::IsCanonicalImage(row.image.data(), row.image.size()));
    EXPECT_EQ(TarvelNumber::FromImage(row.image.data(), row.image.size()), number);
}

Bytes Repeat(Bytes head, unsigned char byte, int count, Bytes tail = {}) {
    head.insert(head.end(), static_cast<std::size_t>(count), byte);
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
}

// `head` followed by `count` copies of `cycle`.
Bytes Cycle(Bytes head, const Bytes& cycle, int count) {
    for (int i = 0; i < count; ++i)
        head.insert(head.end(), cycle.begin(), cycle.end());
    return head;
}

const std::string k40Nines(40, '9');
const std::string k40Digits = "1234567890123456789012345678901234567890";
const std::string k39Digits = "1.23456789012345678901234567890123456789";

INSTANTIATE_TEST_SUITE_P(
    Examples, TarvelNumberImageTest,
    ::testing::Values(
        ImageCase{"0", {0x80}, "0", 0, 0}, ImageCase{"-0.000", {0x80}, "0", 0, 0},
        ImageCase{"1", {0xC1, 0x02}, "1", 0, 1}, ImageCase{"100", {0xC2, 0x02}, "100", 1, 1},
        ImageCase{"123.45", {0xC2, 0x02, 0x18, 0x2E}, "123.45", 1, 3},
        ImageCase{"0.5", {0xC0, 0x33}, "0.5", -1, 1},
        ImageCase{"-1", {0x3E, 0x64, 0x66}, "-1", 0, 1},
        ImageCase{"-123.45", {0x3D, 0x64, 0x4E, 0x38, 0x66}, "-123.45", 1, 3},
        ImageCase{"0.01", {0xC0, 0x02}, "0.01", -1, 1},
        ImageCase{"0.005", {0xBF, 0x33}, "0.005", -2, 1}, ImageCase{"99", {0xC1, 0x64}, "99", 0, 1},
        ImageCase{"9999", {0xC2, 0x64, 0x64}, "9999", 1, 2},
        ImageCase{"-99", {0x3E, 0x02, 0x66}, "-99", 0, 1},
        ImageCase{"10", {0xC1, 0x0B}, "10", 0, 1}, ImageCase{"1000", {0xC2, 0x0B}, "1000", 1, 1},
        ImageCase{"101", {0xC2, 0x02, 0x02}, "101", 1, 2},
        ImageCase{"1e-128", {0x81, 0x02}, "0." + std::string(127, '0') + "1", -64, 1},
        ImageCase{"-1e-128", {0x7E, 0x64, 0x66}, "-0." + std::string(127, '0') + "1", -64, 1},
        ImageCase{"1e124", {0xFF, 0x02}, "1" + std::string(124, '0'), 62, 1},
        ImageCase{"1e125", {0xFF, 0x0B}, "1" + std::string(125, '0'), 62, 1},
        ImageCase{"-1e124", {0x00, 0x64, 0x66}, "-1" + std::string(124, '0'), 62, 1},
        ImageCase{k40Nines + "e86", Repeat({0xFF}, 0x64, 20), k40Nines + std::string(86, '0'), 62,
                  20},
        ImageCase{"-" + k40Nines + "e86", Repeat({0x00}, 0x02, 20),
                  "-" + k40Nines + std::string(86, '0'), 62, 20},
        ImageCase{"-" + k40Nines.substr(2), Repeat({0x2C}, 0x02, 19, {0x66}),
                  "-" + k40Nines.substr(2), 18, 19},
        ImageCase{k39Digits, Cycle({0xC1}, {0x02, 0x18, 0x2E, 0x44, 0x5A}, 4), k39Digits, 0, 20}));

TEST(TarvelNumberImageTest, FieldConstantsHoldTheLongestByteVector) {
    EXPECT_EQ(TarvelNumber::kMaxImageLength, 22u);
    EXPECT_EQ(TarvelNumber::kFieldLength, 28u);
    const TarvelNumber longest = Parse("-" + k40Nines);  // 20 digits, no terminator
    EXPECT_EQ(longest.GetImageLength(), TarvelNumber::kMaxCanonicalImageLength);
    const TarvelNumber longestTerminated = Parse("-" + k40Nines.substr(2));
    EXPECT_EQ(longestTerminated.GetImageLength(), TarvelNumber::kMaxCanonicalImageLength);
    EXPECT_LE(longest.GetByteVectorLength(), TarvelNumber::kFieldLength);
}

// ------------------------------------------------------------ integers

template <class T>
class TarvelNumberIntegerTest : public ::testing::Test {};
using IntegerTypes = ::testing::Types<signed char, unsigned char, short, unsigned short, int,
                                      unsigned, long, unsigned long, long long, unsigned long long>;
TYPED_TEST_SUITE(TarvelNumberIntegerTest, IntegerTypes);

TYPED_TEST(TarvelNumberIntegerTest, ExtremesAndNeighboursAreExact) {
    using Limits = std::numeric_limits<TypeParam>;
    std::vector<TypeParam> values = {Limits::min(),
                                     static_cast<TypeParam>(Limits::min() + 1),
                                     0,
                                     1,
                                     99,
                                     100,
                                     static_cast<TypeParam>(Limits::max() - 1),
                                     Limits::max()};
    if constexpr (Limits::is_signed) values.insert(values.end(), {-1, -99, -100});
    for (const TypeParam value : values) {
        const TarvelNumber number(value);
        const std::string text = Limits::is_signed
                                     ? std::to_string(static_cast<long long>(value))
                                     : std::to_string(static_cast<unsigned long long>(value));
        EXPECT_EQ(number.ToNString(), text);
        EXPECT_EQ(number, Parse(text));
        EXPECT_TRUE(TarvelNumber::IsCanonicalImage(number.GetImage(), number.GetImageLength()));
        if constexpr (Limits::is_signed)
            EXPECT_EQ(number.asInt64(), static_cast<int64>(value));
        else
            EXPECT_EQ(number.asUInt64(), static_cast<uint64>(value));
    }
}

TEST(TarvelNumberIntegerTest, Int32RangeRoundTripsExactly) {
    std::mt19937 random(kSeed);
    std::vector<int32> values;
    for (int32 v = -100000; v <= 100000; ++v)
        values.push_back(v);
    for (int64 p = 1; p <= 2147483647; p *= 10)
        for (int64 d : {-1, 0, 1})
            for (int64 s : {-1, 1}) {
                const int64 v = s * (p + d);
                if (v >= INT32_MIN && v <= INT32_MAX) values.push_back(static_cast<int32>(v));
            }
    values.insert(values.end(), {INT32_MIN, INT32_MIN + 1, INT32_MAX - 1, INT32_MAX});
    for (int i = 0; i < 300000; ++i)
        values.push_back(static_cast<int32>(random()));
    for (const int32 value : values) {
        const TarvelNumber number(value);
        ASSERT_EQ(number.asInt4(), value);
        ASSERT_EQ(number.asInt64(), value);
        ASSERT_EQ(number.ToNString(), std::to_string(value));
        const uint32 unsignedValue = static_cast<uint32>(value);
        ASSERT_EQ(TarvelNumber(unsignedValue).asUInt4(), unsignedValue);
        ASSERT_EQ(TarvelNumber(unsignedValue).ToNString(), std::to_string(unsignedValue));
    }
}

TEST(TarvelNumberIntegerTest, Int64BoundariesAndPowersRoundTrip) {
    std::vector<uint64> magnitudes = {UINT64_MAX, UINT64_MAX - 1, uint64{INT64_MAX},
                                      uint64{INT64_MAX} + 1, uint64{INT64_MAX} - 1};
    for (uint64 p = 1; p <= UINT64_MAX / 10; p *= 10)
        magnitudes.insert(magnitudes.end(), {p - 1, p, p + 1});
    std::mt19937_64 random(kSeed);
    for (int i = 0; i < 100000; ++i)
        magnitudes.push_back(random() >> (random() % 64));
    for (const uint64 magnitude : magnitudes) {
        const TarvelNumber number(magnitude);
        ASSERT_EQ(number.asUInt64(), magnitude);
        ASSERT_EQ(number.ToNString(), std::to_string(magnitude));
        const int64 asSigned = static_cast<int64>(magnitude);
        ASSERT_EQ(TarvelNumber(asSigned).asInt64(), asSigned);
        ASSERT_EQ(TarvelNumber(asSigned).ToNString(), std::to_string(asSigned));
        ByteVector bytes;
        TarvelNumber(asSigned).ToByteVector(bytes);
        TarvelNumber read;
        ASSERT_EQ(read.FromByteVector(bytes.data(), bytes.data() + bytes.size()),
                  bytes.data() + bytes.size());
        ASSERT_EQ(read.asInt64(), asSigned);
    }
}

// ------------------------------------------------------------ accessors

struct AccessorCase {
    std::string accessor;
    std::string text;
    std::string expected;  // empty when an error is expected
    int32 code;
};

const char* TargetName(const std::string& accessor) {
    static const std::pair<const char*, const char*> kNames[] = {
        {"asInt1", "TINYINT"},  {"asUInt1", "UNSIGNED TINYINT"},
        {"asInt2", "SMALLINT"}, {"asUInt2", "UNSIGNED SMALLINT"},
        {"asInt4", "INTEGER"},  {"asUInt4", "UNSIGNED INTEGER"},
        {"asInt8", "BIGINT"},   {"asUInt8", "UNSIGNED BIGINT"},
        {"asFloat32", "FLOAT"}, {"asDouble", "DOUBLE PRECISION"}};
    for (const auto& [name, target] : kNames)
        if (accessor == name) return target;
    return "?";
}

std::string Call(const std::string& accessor, const TarvelNumber& n) {
    if (accessor == "asInt1") return std::to_string(n.asInt1());
    if (accessor == "asUInt1") return std::to_string(n.asUInt1());
    if (accessor == "asInt2") return std::to_string(n.asInt2());
    if (accessor == "asUInt2") return std::to_string(n.asUInt2());
    if (accessor == "asInt4") return std::to_string(n.asInt4());
    if (accessor == "asUInt4") return std::to_string(n.asUInt4());
    if (accessor == "asInt8") return std::to_string(n.asInt8());
    if (accessor == "asUInt8") return std::to_string(n.asUInt8());
    return "?";
}

// Rows derived from each target's limits: exactly at them, one past, and
// fractions beyond them that truncate back inside.
std::vector<AccessorCase> IntegerAccessorCases() {
    struct Target {
        const char* accessor;
        const char* min;
        const char* max;
        const char* belowMin;
        const char* aboveMax;
    };
    const Target targets[] = {
        {"asInt1", "-128", "127", "-129", "128"},
        {"asUInt1", "0", "255", "-1", "256"},
        {"asInt2", "-32768", "32767", "-32769", "32768"},
        {"asUInt2", "0", "65535", "-1", "65536"},
        {"asInt4", "-2147483648", "2147483647", "-2147483649", "2147483648"},
        {"asUInt4", "0", "4294967295", "-1", "4294967296"},
        {"asInt8", "-9223372036854775808", "9223372036854775807", "-9223372036854775809",
         "9223372036854775808"},
        {"asUInt8", "0", "18446744073709551615", "-1", "18446744073709551616"},
    };
    std::vector<AccessorCase> rows;
    for (const Target& t : targets) {
        const std::string a = t.accessor;
        rows.push_back({a, t.max, t.max, 0});
        rows.push_back({a, std::string(t.max) + ".999", t.max, 0});
        rows.push_back({a, t.aboveMax, "", kMsgValueOverflow});
        rows.push_back({a, t.min, t.min, 0});
        rows.push_back({a, std::string(t.min) + (t.min[0] == '-' ? ".999" : ""), t.min, 0});
        rows.push_back({a, t.belowMin, "", kMsgValueUnderflow});
        rows.push_back({a, "-0.999", "0", 0});  // truncation first: no underflow
        rows.push_back({a, "0.5", "0", 0});
        rows.push_back({a, "1e-128", "0", 0});
        rows.push_back({a, "99.99", "99", 0});
        const bool fits64 = a == "asUInt8";
        rows.push_back(
            {a, "1e19", fits64 ? "10000000000000000000" : "", fits64 ? 0 : kMsgValueOverflow});
        rows.push_back({a, "99999999999999999999", "", kMsgValueOverflow});
        rows.push_back({a, "1e20", "", kMsgValueOverflow});
        rows.push_back({a, "9e125", "", kMsgValueOverflow});
        rows.push_back({a, "-1e20", "", kMsgValueUnderflow});
        rows.push_back({a, "-9e125", "", kMsgValueUnderflow});
    }
    return rows;
}

void PrintTo(const AccessorCase& row, std::ostream* out) {
    *out << row.accessor << "(" << row.text << ")";
}

class TarvelNumberAccessorTest : public ::testing::TestWithParam<AccessorCase> {};

TEST_P(TarvelNumberAccessorTest, TruncatesOrRaisesWithBothNames) {
    const AccessorCase& row = GetParam();
    const TarvelNumber number = Parse(row.text);
    if (row.code == 0) {
        EXPECT_EQ(Call(row.accessor, number), row.expected) << row.accessor << " " << row.text;
    } else {
        ExpectError([&] { Call(row.accessor, number); }, row.code,
                    {L"NUMERIC", ErrorMessage::ToArgument(TargetName(row.accessor))});
    }
}

INSTANTIATE_TEST_SUITE_P(Boundaries, TarvelNumberAccessorTest,
                         ::testing::ValuesIn(IntegerAccessorCases()));

TEST(TarvelNumberFloatingAccessorTest, FloatRangeAndRounding) {
    EXPECT_EQ(Parse("340282346638528859811704183484516925440").asFloat32(), FLT_MAX);
    // Below the midpoint between FLT_MAX and 2^128 the value still rounds to FLT_MAX.
    EXPECT_EQ(Parse("3.402823567e38").asFloat32(), FLT_MAX);
    EXPECT_EQ(Parse("-3.402823567e38").asFloat32(), -FLT_MAX);
    ExpectError([] { Parse("3.4028235678e38").asFloat32(); }, kMsgValueOverflow,
                {L"NUMERIC", L"FLOAT"});
    ExpectError([] { Parse("-1e39").asFloat32(); }, kMsgValueUnderflow, {L"NUMERIC", L"FLOAT"});
    ExpectError([] { Parse("9e125").asFloat32(); }, kMsgValueOverflow, {L"NUMERIC", L"FLOAT"});
    EXPECT_EQ(Parse("1e-50").asFloat32(), 0.0f);
    EXPECT_TRUE(std::signbit(Parse("-1e-50").asFloat32()));
    EXPECT_EQ(Parse("1.401298464324817e-45").asFloat32(), std::numeric_limits<float>::denorm_min());
    EXPECT_EQ(Parse("0.1").asFloat32(), 0.1f);
    EXPECT_EQ(Parse("16777217").asFloat32(), 16777216.0f);  // tie to even
    EXPECT_EQ(Parse("0.1").asDouble(), 0.1);
    EXPECT_EQ(Parse("9007199254740993").asDouble(), 9007199254740992.0);  // tie to even
    EXPECT_EQ(Parse("-1e-128").asDouble(), -1e-128);
    EXPECT_EQ(Parse(k40Nines + "e86").asDouble(), 1e126);
    EXPECT_EQ(Parse("0").asDouble(), 0.0);
}

TEST(TarvelNumberFloatingAccessorTest, ManyDigitsAreCorrectlyRounded) {
    std::mt19937_64 random(kSeed);
    for (int i = 0; i < 50000; ++i) {
        std::string text = random() % 2 ? "-" : "";
        text += static_cast<char>('1' + random() % 9);
        const int digits = static_cast<int>(random() % 40);
        for (int d = 0; d < digits; ++d)
            text += static_cast<char>('0' + random() % 10);
        text += "e" + std::to_string(static_cast<int>(random() % 120) - 80);
        const TarvelNumber number = Parse(text);
        const std::string exact = number.ToNString();
        ASSERT_EQ(number.asDouble(), std::strtod(exact.c_str(), nullptr)) << exact;
        const float reference = std::strtof(exact.c_str(), nullptr);
        if (std::isinf(reference)) {
            ExpectError([&] { number.asFloat32(); },
                        reference > 0 ? kMsgValueOverflow : kMsgValueUnderflow);
        } else {
            ASSERT_EQ(number.asFloat32(), reference) << exact;
        }
    }
}

// ------------------------------------------------------------ floating construction

TEST(TarvelNumberFloatingTest, NanAndInfinitiesRaise) {
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    ExpectError([&] { TarvelNumber{nan}; }, kMsgValueOverflow, {L"DOUBLE PRECISION", L"NUMERIC"});
    ExpectError([&] { TarvelNumber{-nan}; }, kMsgValueOverflow, {L"DOUBLE PRECISION", L"NUMERIC"});
    ExpectError([&] { TarvelNumber{inf}; }, kMsgValueOverflow, {L"DOUBLE PRECISION", L"NUMERIC"});
    ExpectError([&] { TarvelNumber{-inf}; }, kMsgValueUnderflow, {L"DOUBLE PRECISION", L"NUMERIC"});
    ExpectError([] { TarvelNumber{std::numeric_limits<float>::quiet_NaN()}; }, kMsgValueOverflow,
                {L"FLOAT", L"NUMERIC"});
    ExpectError([] { TarvelNumber{std::numeric_limits<float>::infinity()}; }, kMsgValueOverflow,
                {L"FLOAT", L"NUMERIC"});
    ExpectError([] { TarvelNumber{-std::numeric_limits<float>::infinity()}; }, kMsgValueUnderflow,
                {L"FLOAT", L"NUMERIC"});
}

TEST(TarvelNumberFloatingTest, RangeEdgesOfDoubles) {
    ExpectError([] { TarvelNumber{DBL_MAX}; }, kMsgValueOverflow,
                {L"DOUBLE PRECISION", L"NUMERIC"});
    ExpectError([] { TarvelNumber{-DBL_MAX}; }, kMsgValueUnderflow,
                {L"DOUBLE PRECISION", L"NUMERIC"});
    ExpectError([] { TarvelNumber{1e126}; }, kMsgValueOverflow);
    const double belowTop = std::nextafter(1e126, 0.0);
    EXPECT_EQ(TarvelNumber(belowTop).asDouble(), belowTop);
    EXPECT_EQ(TarvelNumber(-belowTop).asDouble(), -belowTop);
    EXPECT_EQ(ImageOf(TarvelNumber(1e-128)), (Bytes{0x81, 0x02}));
    EXPECT_TRUE(TarvelNumber(std::nextafter(1e-128, 0.0)).IsZero());
    EXPECT_TRUE(TarvelNumber(DBL_MIN).IsZero());
    EXPECT_TRUE(TarvelNumber(-std::numeric_limits<double>::denorm_min()).IsZero());
    EXPECT_EQ(ImageOf(TarvelNumber(-0.0)), Bytes{0x80});
    EXPECT_EQ(ImageOf(TarvelNumber(-0.0f)), Bytes{0x80});
    EXPECT_EQ(TarvelNumber(0.1).ToNString(), "0.1");
    EXPECT_EQ(TarvelNumber(0.1f).ToNString(), "0.1");  // shortest float digits
    EXPECT_EQ(TarvelNumber(-123.45).ToNString(), "-123.45");
}

TEST(TarvelNumberFloatingTest, PowersOfTenAreExact) {
    for (int k = -128; k <= 125; ++k) {
        const std::string text = "1e" + std::to_string(k);
        const double value = std::strtod(text.c_str(), nullptr);
        const TarvelNumber number(value);
        ASSERT_EQ(number, Parse(text)) << text;
        ASSERT_EQ(number.asDouble(), value) << text;
    }
}

TEST(TarvelNumberFloatingTest, RandomDoublesRoundTripOrLeaveTheRange) {
    std::mt19937_64 random(kSeed);
    std::vector<double> values = {DBL_MIN,
                                  DBL_MAX,
                                  std::numeric_limits<double>::denorm_min(),
                                  1.0,
                                  0.5,
                                  1e-128,
                                  9.999999999999999e125};
    for (int i = 0; i < 200000; ++i)
        values.push_back(std::bit_cast<double>(random()));
    for (int i = 0; i < 100000; ++i)  // uniform over the representable decades
        values.push_back(std::ldexp(static_cast<double>(random() >> 11),
                                    static_cast<int>(random() % 830) - 480));
    for (const double value : values) {
        if (!std::isfinite(value)) continue;
        const double magnitude = std::fabs(value);
        if (magnitude >= 1e126) {
            ExpectError([&] { TarvelNumber{value}; },
                        value > 0 ? kMsgValueOverflow : kMsgValueUnderflow);
        } else if (magnitude < 1e-128) {
            ASSERT_TRUE(TarvelNumber(value).IsZero()) << value;
        } else {
            const TarvelNumber number(value);
            ASSERT_EQ(std::bit_cast<uint64>(number.asDouble()), std::bit_cast<uint64>(value))
                << number.ToNString();
            ASSERT_EQ(number.IsNegative(), value < 0);
        }
    }
}

TEST(TarvelNumberFloatingTest, RandomFloatsRoundTripAsFloats) {
    std::mt19937 random(kSeed);
    std::vector<float> values = {
        FLT_MAX, -FLT_MAX, FLT_MIN, std::numeric_limits<float>::denorm_min(), 16777216.0f, 0.1f};
    for (int i = 0; i < 300000; ++i)
        values.push_back(std::bit_cast<float>(static_cast<uint32>(random())));
    for (const float value : values) {
        if (!std::isfinite(value) || value == 0) continue;
        const TarvelNumber number(value);
        ASSERT_EQ(std::bit_cast<uint32>(number.asFloat32()), std::bit_cast<uint32>(value))
            << number.ToNString();
        ASSERT_EQ(number.asDouble(), std::strtod(number.ToNString().c_str(), nullptr));
    }
}

// ------------------------------------------------------------ rounding

struct RoundingCase {
    std::string text;
    std::string expected;
};

void PrintTo(const RoundingCase& row, std::ostream* out) {
    *out << row.text;
}

class TarvelNumberRoundingTest : public ::testing::TestWithParam<RoundingCase> {};

TEST_P(TarvelNumberRoundingTest, KeepsTwentyBase100Digits) {
    EXPECT_EQ(Parse(GetParam().text).ToNString(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    HalfAwayFromZero, TarvelNumberRoundingTest,
    ::testing::Values(
        RoundingCase{k40Digits, k40Digits},  // exactly 20 digits
        RoundingCase{k40Digits + ".4", k40Digits},
        RoundingCase{k40Digits + ".5", "1234567890123456789012345678901234567891"},
        RoundingCase{"-" + k40Digits + ".5", "-1234567890123456789012345678901234567891"},
        RoundingCase{"-" + k40Digits + ".49999", "-" + k40Digits},
        // 41 digits with an odd point: the leading base-100 digit holds one
        // decimal digit, so 39 are kept.
        RoundingCase{"12345678901234567890123456789012345678956",
                     "12345678901234567890123456789012345679000"},
        RoundingCase{"12345678901234567890123456789012345678949",
                     "12345678901234567890123456789012345678900"},
        RoundingCase{k39Digits, k39Digits},
        RoundingCase{k39Digits + "5", "1.2345678901234567890123456789012345679"},
        RoundingCase{k39Digits + "4999", k39Digits},
        RoundingCase{"0.00" + k40Digits + "5", "0.001234567890123456789012345678901234567891"},
        RoundingCase{k40Nines + "5", "1" + std::string(41, '0')},
        RoundingCase{k40Nines + ".5", "1" + std::string(40, '0')},
        RoundingCase{"-" + k40Nines + "5", "-1" + std::string(41, '0')},
        RoundingCase{"9." + std::string(40, '9') + "e-129", "0." + std::string(127, '0') + "1"},
        RoundingCase{"9.99e-129", "0"}, RoundingCase{"-1e-400", "0"},
        RoundingCase{"0e99999999999999999999", "0"},
        RoundingCase{"1" + std::string(60, '0') + "1", "1" + std::string(61, '0')}));

TEST(TarvelNumberRoundingTest, RoundingIntoOverflowFails) {
    TarvelNumber number;
    EXPECT_TRUE(TarvelNumber::TryParse(k40Nines + "e86", number));
    EXPECT_FALSE(TarvelNumber::TryParse(k40Nines + "5e85", number));
    EXPECT_FALSE(TarvelNumber::TryParse("1e126", number));
    EXPECT_FALSE(TarvelNumber::TryParse("-1e126", number));
    EXPECT_FALSE(TarvelNumber::TryParse("1e99999999999999999999", number));
}

// ------------------------------------------------------------ text

struct ParseCase {
    const char* text;
    const char* expected;  // null when the text is rejected
};

void PrintTo(const ParseCase& row, std::ostream* out) {
    *out << '"' << row.text << '"';
}

class TarvelNumberParseTest : public ::testing::TestWithParam<ParseCase> {};

TEST_P(TarvelNumberParseTest, NarrowAndWideAgree) {
    const ParseCase& row = GetParam();
    const std::string narrow = row.text;
    const XTString wide(narrow.begin(), narrow.end());
    TarvelNumber fromNarrow = TarvelNumber(7);
    TarvelNumber fromWide = TarvelNumber(7);
    const bool narrowOk = TarvelNumber::TryParse(std::string_view(narrow), fromNarrow);
    const bool wideOk = TarvelNumber::TryParse(std::wstring_view(wide), fromWide);
    EXPECT_EQ(narrowOk, row.expected != nullptr) << narrow;
    EXPECT_EQ(wideOk, narrowOk);
    EXPECT_EQ(fromNarrow, fromWide);
    if (row.expected != nullptr) {
        EXPECT_EQ(fromNarrow.ToNString(), row.expected);
        EXPECT_EQ(fromWide.ToString(),
                  XTString(row.expected, row.expected + std::strlen(row.expected)));
    } else {
        EXPECT_EQ(fromNarrow, TarvelNumber(7));  // unchanged on failure
    }
}

INSTANTIATE_TEST_SUITE_P(
    Grammar, TarvelNumberParseTest,
    ::testing::Values(ParseCase{" 12 ", "12"}, ParseCase{"\t+1\r\n", "1"}, ParseCase{"-0", "0"},
                      ParseCase{".5", "0.5"}, ParseCase{"5.", "5"}, ParseCase{"-.5e1", "-5"},
                      ParseCase{"1e5", "100000"}, ParseCase{"1E-5", "0.00001"},
                      ParseCase{"1e+05", "100000"}, ParseCase{"000123.4500", "123.45"},
                      ParseCase{"0.000", "0"}, ParseCase{"12e-3", "0.012"}, ParseCase{"", nullptr},
                      ParseCase{"  ", nullptr}, ParseCase{".", nullptr}, ParseCase{"+", nullptr},
                      ParseCase{"-", nullptr}, ParseCase{"e5", nullptr}, ParseCase{".e5", nullptr},
                      ParseCase{"1e", nullptr}, ParseCase{"1e+", nullptr},
                      ParseCase{"1.2.3", nullptr}, ParseCase{"1 2", nullptr},
                      ParseCase{"0x10", nullptr}, ParseCase{"1,5", nullptr},
                      ParseCase{"--1", nullptr}, ParseCase{"+-1", nullptr},
                      ParseCase{"nan", nullptr}, ParseCase{"inf", nullptr},
                      ParseCase{"1e5.5", nullptr}, ParseCase{"1.5x", nullptr}));

TEST(TarvelNumberParseTest, WideRejectsNonAsciiDigitsAndEmbeddedNul) {
    TarvelNumber number;
    EXPECT_FALSE(TarvelNumber::TryParse(std::wstring_view(L"\xFF11"), number));  // fullwidth 1
    EXPECT_FALSE(TarvelNumber::TryParse(std::wstring_view(L"1\x0101"), number));
    EXPECT_FALSE(TarvelNumber::TryParse(std::string_view("1\0", 2), number));
}

TEST(TarvelNumberTextTest, ToCharsNeedsRoomAndFitsTheLongestText) {
    const TarvelNumber longest = Parse("-" + k39Digits + "e-128");
    const std::string text = longest.ToNString();
    EXPECT_EQ(text.size(), TarvelNumber::kMaxTextLength);
    EXPECT_EQ(text.substr(0, 4), "-0.0");
    char buffer[TarvelNumber::kMaxTextLength];
    EXPECT_EQ(longest.ToChars(buffer, buffer + sizeof buffer), buffer + sizeof buffer);
    EXPECT_EQ(longest.ToChars(buffer, buffer + sizeof buffer - 1), nullptr);
    wchar_t wide[4];
    EXPECT_EQ(Parse("-12").ToChars(wide, wide + 3), wide + 3);
    EXPECT_EQ(XTString(wide, 3), L"-12");
    EXPECT_EQ(Parse("-123").ToChars(wide, wide + 3), nullptr);
}

// Random texts: parse, print, parse again gives the same image, and the
// value agrees with the C library's reading.
TEST(TarvelNumberTextTest, RandomTextRoundTrips) {
    std::mt19937_64 random(kSeed);
    for (int i = 0; i < 100000; ++i) {
        std::string text = random() % 2 ? "-" : "";
        const int integerDigits = static_cast<int>(random() % 25);
        const int fractionDigits = static_cast<int>(random() % 25);
        for (int d = 0; d < integerDigits; ++d)
            text += static_cast<char>('0' + random() % 10);
        if (fractionDigits > 0 || integerDigits == 0) text += '.';
        for (int d = 0; d < std::max(fractionDigits, integerDigits == 0 ? 1 : 0); ++d)
            text += static_cast<char>('0' + random() % 10);
        if (random() % 2) text += "e" + std::to_string(static_cast<int>(random() % 200) - 120);
        TarvelNumber number;
        const double reference = std::strtod(text.c_str(), nullptr);
        if (!TarvelNumber::TryParse(text, number)) {
            ASSERT_GE(std::fabs(reference), 9.99e125) << text;
            continue;
        }
        const std::string printed = number.ToNString();
        TarvelNumber again;
        ASSERT_TRUE(TarvelNumber::TryParse(printed, again)) << printed;
        ASSERT_EQ(ImageOf(again), ImageOf(number)) << text;
        ASSERT_EQ(again.ToString(), number.ToString());
        const double magnitude = std::fabs(reference);
        if (magnitude > 1.000001e-128) {
            ASSERT_NEAR(number.asDouble() / reference, 1.0, 1e-15) << text;
        } else if (magnitude < 0.999999e-128) {
            ASSERT_TRUE(number.IsZero()) << text;
        }
    }
}

// ------------------------------------------------------------ byte vectors

TEST(TarvelNumberByteVectorTest, AppendsCountAndImage) {
    ByteVector bytes = {0xAA};
    Parse("-123.45").ToByteVector(bytes);
    EXPECT_EQ(bytes, (ByteVector{0xAA, 5, 0, 0, 0, 0x3D, 0x64, 0x4E, 0x38, 0x66}));
    unsigned char buffer[TarvelNumber::kFieldLength] = {};
    EXPECT_EQ(TarvelNumber(1).ToBuffer(buffer), buffer + 6);
    EXPECT_EQ(ByteVector(buffer, buffer + 7), (ByteVector{2, 0, 0, 0, 0xC1, 0x02, 0}));
    TarvelNumber read(5);
    bytes.push_back(0xEE);  // data after the number is left alone
    EXPECT_EQ(read.FromByteVector(bytes.data() + 1), bytes.data() + 10);
    EXPECT_EQ(read.ToNString(), "-123.45");
}

TEST(TarvelNumberByteVectorTest, CountZeroReadsAsZero) {
    const unsigned char nullColumn[TarvelNumber::kFieldLength] = {};
    TarvelNumber number(9);
    EXPECT_EQ(number.FromByteVector(nullColumn), nullColumn + 4);
    EXPECT_TRUE(number.IsZero());
    number = TarvelNumber(9);
    EXPECT_EQ(number.FromByteVector(nullColumn, nullColumn + 4), nullColumn + 4);
    EXPECT_TRUE(number.IsZero());
}

TEST(TarvelNumberByteVectorTest, EveryTruncatedPrefixIsRejected) {
    std::vector<TarvelNumber> numbers = {TarvelNumber(),
                                         TarvelNumber(1),
                                         Parse("-1"),
                                         Parse("-" + k40Nines),
                                         Parse("-" + k40Nines.substr(2)),
                                         Parse(k39Digits),
                                         Parse("-123.45e-100")};
    for (const TarvelNumber& number : numbers) {
        ByteVector bytes;
        number.ToByteVector(bytes);
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            const ByteVector prefix(bytes.begin(), bytes.begin() + static_cast<long>(length));
            TarvelNumber read(42);
            ExpectError([&] { read.FromByteVector(prefix.data(), prefix.data() + prefix.size()); },
                        kMsgTruncatedByteVector);
            EXPECT_EQ(read, TarvelNumber(42));
        }
        TarvelNumber read;
        EXPECT_EQ(read.FromByteVector(bytes.data(), bytes.data() + bytes.size()),
                  bytes.data() + bytes.size());
        EXPECT_EQ(read, number);
    }
    TarvelNumber read;
    ExpectError([&] { read.FromByteVector(nullptr, nullptr); }, kMsgTruncatedByteVector,
                {L"NUMERIC", L"4", L"0"});
}

class TarvelNumberBadImageTest : public ::testing::TestWithParam<Bytes> {};

TEST_P(TarvelNumberBadImageTest, AllReadersReject) {
    const Bytes& image = GetParam();
    EXPECT_FALSE(TarvelNumber::IsCanonicalImage(image.data(), image.size()));
    ExpectError([&] { TarvelNumber::FromImage(image.data(), image.size()); },
                kMsgTruncatedByteVector);
    ByteVector bytes(4);
    DataBlobUtil::PutLittleEndianUInt32(bytes.data(), static_cast<uint32>(image.size()));
    bytes.insert(bytes.end(), image.begin(), image.end());
    bytes.resize(TarvelNumber::kFieldLength + 8);  // room: only the content is wrong
    TarvelNumber read(3);
    ExpectError([&] { read.FromByteVector(bytes.data(), bytes.data() + bytes.size()); },
                kMsgTruncatedByteVector);
    ExpectError([&] { read.FromByteVector(bytes.data()); }, kMsgTruncatedByteVector);
    EXPECT_EQ(read, TarvelNumber(3));
}

INSTANTIATE_TEST_SUITE_P(
    NotCanonical, TarvelNumberBadImageTest,
    ::testing::Values(Bytes{0x80, 0x02}, Bytes{0xC1}, Bytes{0x3E}, Bytes{0x66}, Bytes{0xC1, 0x01},
                      Bytes{0xC1, 0x02, 0x01}, Bytes{0xC1, 0x00}, Bytes{0xC1, 0x65},
                      Bytes{0xC1, 0x66}, Bytes{0x7F, 0x02}, Bytes{0x7F, 0x64, 0x66},
                      Bytes{0x3E, 0x64}, Bytes{0x3E, 0x66}, Bytes{0x3E, 0x65, 0x66},
                      Bytes{0x3E, 0x64, 0x65, 0x66}, Bytes{0x3E, 0x01, 0x66},
                      Bytes{0x3E, 0x66, 0x66}, Bytes{0x3E, 0x64, 0x66, 0x64, 0x66},
                      Repeat({0xC1}, 0x02, 21),          // 21 digits
                      Repeat({0x3E}, 0x02, 20, {0x66}),  // 20 digits and a terminator
                      Repeat({0x3E}, 0x02, 19),          // 19 digits, no terminator
                      Repeat({0xC1}, 0x02, 22)));        // more than 22 bytes

TEST(TarvelNumberByteVectorTest, CountAboveTheCapacityIsRejectedBeforeReading) {
    const unsigned char bytes[] = {0xFF, 0xFF, 0xFF, 0xFF, 0xC1, 0x02};
    TarvelNumber read;
    ExpectError([&] { read.FromByteVector(bytes, bytes + sizeof bytes); }, kMsgTruncatedByteVector,
                {L"NUMERIC image", L"4294967295", L"22"});
    ExpectError([&] { read.FromByteVector(bytes); }, kMsgTruncatedByteVector);
}

// Every image of up to three bytes against the rules of the format.
TEST(TarvelNumberByteVectorTest, ShortImagesAreCanonicalExactlyByTheRules) {
    auto digitByte = [](unsigned b) { return b >= 2 && b <= 100; };  // non-zero digit
    for (unsigned b0 = 0; b0 < 256; ++b0) {
        const unsigned char one[] = {static_cast<unsigned char>(b0)};
        EXPECT_EQ(TarvelNumber::IsCanonicalImage(one, 1), b0 == 0x80);
        for (unsigned b1 = 0; b1 < 256; ++b1) {
            const unsigned char two[] = {one[0], static_cast<unsigned char>(b1)};
            ASSERT_EQ(TarvelNumber::IsCanonicalImage(two, 2), b0 > 0x80 && digitByte(b1));
            for (unsigned b2 = 0; b2 < 256; ++b2) {
                const unsigned char three[] = {one[0], two[1], static_cast<unsigned char>(b2)};
                const bool expected = b0 > 0x80   ? digitByte(b1) && digitByte(b2)
                                      : b0 < 0x7F ? digitByte(b1) && b2 == 102
                                                  : false;
                ASSERT_EQ(TarvelNumber::IsCanonicalImage(three, 3), expected) << b0 << " " << b1;
            }
        }
    }
}

// ------------------------------------------------------------ order

TEST(TarvelNumberOrderTest, ImagesSortInNumericOrder) {
    const std::string kJustAboveOne = "1." + std::string(37, '0') + "1";  // 20 digits
    const std::vector<std::string> ascending = {"-" + k40Nines + "e86",
                                                "-1e20",
                                                "-99",
                                                "-1.5",
                                                "-" + kJustAboveOne,
                                                "-1",
                                                "-0.99",
                                                "-0.5",
                                                "-1e-128",
                                                "0",
                                                "1e-128",
                                                "0.5",
                                                "0.99",
                                                "1",
                                                kJustAboveOne,
                                                "1.5",
                                                "99",
                                                "100",
                                                "1e20",
                                                k40Nines + "e86"};
    for (std::size_t i = 0; i < ascending.size(); ++i)
        for (std::size_t j = 0; j < ascending.size(); ++j) {
            const TarvelNumber a = Parse(ascending[i]);
            const TarvelNumber b = Parse(ascending[j]);
            EXPECT_EQ(a <=> b, i <=> j) << ascending[i] << " vs " << ascending[j];
            EXPECT_EQ(a == b, i == j);
        }
}

// memcmp of the common length, then the shorter first, follows numeric order
// for positive and negative numbers alike.
TEST(TarvelNumberOrderTest, ByteOrderFollowsDoubleOrder) {
    auto byteLess = [](const TarvelNumber& a, const TarvelNumber& b) {
        const int c = std::memcmp(a.GetImage(), b.GetImage(),
                                  std::min(a.GetImageLength(), b.GetImageLength()));
        return c != 0 ? c < 0 : a.GetImageLength() < b.GetImageLength();
    };
    std::mt19937_64 random(kSeed);
    std::vector<double> values;
    for (int i = 0; i < 20000; ++i) {
        const double value =
            std::ldexp(static_cast<double>(random() >> 11), static_cast<int>(random() % 500) - 300);
        values.push_back(random() % 2 ? -value : value);
        values.push_back(std::nextafter(values.back(), 0.0));  // close neighbours too
    }
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
    for (std::size_t i = 1; i < values.size(); ++i) {
        const TarvelNumber a(values[i - 1]);
        const TarvelNumber b(values[i]);
        ASSERT_TRUE(a < b) << values[i - 1] << " " << values[i];
        ASSERT_TRUE(byteLess(a, b));
        ASSERT_FALSE(byteLess(b, a));
    }
}

// ------------------------------------------------------------ allocation

TEST(TarvelNumberAllocationTest, PerValueOperationsDoNotAllocate) {
    ByteVector bytes;
    bytes.reserve(64);
    std::size_t total = 0;
    xts::test::AllocationCounter counter;
    for (int64 value : {int64{0}, int64{-1}, INT64_MIN, INT64_MAX, int64{123456789}}) {
        const TarvelNumber number(value);
        bytes.clear();
        number.ToByteVector(bytes);
        TarvelNumber read;
        read.FromByteVector(bytes.data());
        read.FromByteVector(bytes.data(), bytes.data() + bytes.size());
        total += static_cast<std::size_t>(read.asInt64()) + read.IsZero();
        total += static_cast<std::size_t>(TarvelNumber(static_cast<int16>(value)).asInt2());
        total += static_cast<std::size_t>(TarvelNumber(static_cast<uint32>(value)).asUInt4());
        total += static_cast<std::size_t>(read.asDouble() != 0) + (read.asFloat32() != 0);
        total += read == number;
    }
    const TarvelNumber fractional(-1234.5678901234567);
    total += static_cast<std::size_t>(fractional.asDouble() < 0);
    char text[TarvelNumber::kMaxTextLength];
    total += static_cast<std::size_t>(fractional.ToChars(text, text + sizeof text) - text);
    TarvelNumber parsed;
    total += TarvelNumber::TryParse(std::string_view("-12.5e3"), parsed);
    EXPECT_EQ(counter.Count(), 0u);
    EXPECT_NE(total, 0u);
}

}  // namespace
