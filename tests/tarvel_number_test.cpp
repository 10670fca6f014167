// TarvelNumber: images and their order, exact integer and floating round
// trips, rounding, accessor ranges, text, byte vectors, allocation.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "CountingAllocator.h"
#include "Utility/Generic/SUGErrorMessage.h"
#include "Utility/Generic/SUGTarvelNumber.h"

namespace {

using Bytes = std::vector<unsigned char>;
constexpr unsigned kSeed = 20240611;
const std::string k39Digits = "1.23456789012345678901234567890123456789";

// Splits a table at `separator`, after expanding each "{n*s}" to n copies of s.
std::vector<std::string> Split(std::string text, char separator = ';') {
    for (std::size_t open; (open = text.find('{')) != std::string::npos;) {
        const std::size_t star = text.find('*', open), close = text.find('}', open);
        std::string copies;
        for (int n = std::stoi(text.substr(open + 1)); n > 0; --n)
            copies += text.substr(star + 1, close - star - 1);
        text.replace(open, close + 1 - open, copies);
    }
    std::vector<std::string> items;
    std::istringstream in(text);
    for (std::string item; std::getline(in, item, separator);) items.push_back(item);
    return items;
}

Bytes Hex(const std::string& text) {  // "C2 02 18 2E"
    Bytes out;
    for (const std::string& byte : Split(text, ' '))
        out.push_back(static_cast<unsigned char>(std::stoul(byte, nullptr, 16)));
    return out;
}

// memcmp order of the images, a proper prefix first.
bool ByteLess(const TarvelNumber& a, const TarvelNumber& b) {
    return std::lexicographical_compare(a.GetImage(), a.GetImage() + a.GetImageLength(),
                                        b.GetImage(), b.GetImage() + b.GetImageLength());
}

TarvelNumber Parse(const std::string& text) {
    TarvelNumber number;
    EXPECT_TRUE(TarvelNumber::TryParse(text, number)) << text;
    return number;
}

template <class Action>
void ExpectError(Action&& action, int32 code, const std::vector<XTString>& arguments = {}) {
    try {
        action();
        ADD_FAILURE() << "no error, expected " << code;
    } catch (const ErrorMessage& error) {
        EXPECT_EQ(error.GetCode(), code) << error.what();
        EXPECT_TRUE(arguments.empty() || error.GetArguments() == arguments) << error.what();
    }
}

// text=image, in ascending numeric order. Text without an exponent is the printed form.
TEST(TarvelNumber, ImagesAndTheirOrder) {
    const std::vector<std::string> rows = Split(
        "-{40*9}e86=00 {20*02 };-1e124=00 64 66;-{38*9}=2C {19*02 }66;-1e20=34 64 66;"
        "-123.45=3D 64 4E 38 66;-99=3E 02 66;-1.5=3E 64 33 66;-1.{37*0}1=3E 64 {18*65 }64;"
        "-1=3E 64 66;-0.99=3F 02 66;-0.5=3F 33 66;-1e-128=7E 64 66;0=80;1e-128=81 02;0.005=BF 33;"
        "0.01=C0 02;0.5=C0 33;0.99=C0 64;1=C1 02;1.{37*0}1=C1 02 {18*01 }02;"
        "1.23456789012345678901234567890123456789=C1 {4*02 18 2E 44 5A };1.5=C1 02 33;10=C1 0B;"
        "99=C1 64;100=C2 02;101=C2 02 02;123.45=C2 02 18 2E;9999=C2 64 64;1e20=CB 02;1e125=FF 0B;"
        "{40*9}e86=FF {20*64 }");
    std::vector<TarvelNumber> numbers;
    for (const std::string& row : rows) {
        const std::string text = row.substr(0, row.find('='));
        const Bytes image = Hex(row.substr(row.find('=') + 1));
        const TarvelNumber number = TarvelNumber::FromImage(image.data(), image.size());
        EXPECT_EQ(Parse(text), number) << text;
        EXPECT_TRUE(text.find('e') != std::string::npos || number.ToNString() == text) << text;
        ByteVector bytes;  // the count and the image, read back by the checked reader
        number.ToByteVector(bytes);
        EXPECT_EQ(numbers.emplace_back().FromByteVector(bytes.data(), bytes.data() + bytes.size()),
                  bytes.data() + bytes.size());
        EXPECT_TRUE(numbers.back() == number && bytes.size() == 4 + image.size()) << text;
    }
    for (std::size_t i = 0; i < numbers.size(); ++i)
        for (std::size_t j = 0; j < numbers.size(); ++j)
            EXPECT_TRUE((numbers[i] <=> numbers[j]) == (i <=> j) &&
                        (numbers[i] == numbers[j]) == (i == j) &&
                        ByteLess(numbers[i], numbers[j]) == (i < j))
                << rows[i] << " vs " << rows[j];
}

// Construction from each integer type agrees with construction from int64.
template <class... T>
bool SameFromEveryType(int64 value) {
    return (
        (!std::in_range<T>(value) || TarvelNumber(static_cast<T>(value)) == TarvelNumber(value)) &&
        ...);
}

TEST(TarvelNumber, IntegersRoundTripExactly) {
    std::vector<int64> values = {INT64_MIN, INT64_MIN + 1, INT64_MAX - 1, INT64_MAX,
                                 int64{UINT32_MAX} + 1};
    for (int64 p = 10; p <= INT64_MAX / 10; p *= 10)
        values.insert(values.end(), {p - 1, p, p + 1, 1 - p, -p, -p - 1});
    for (int64 edge :
         {INT8_MIN, INT16_MIN, INT32_MIN, INT8_MAX, UINT8_MAX, INT16_MAX, UINT16_MAX, INT32_MAX})
        values.insert(values.end(), {edge - 1, edge, edge + 1, int64{UINT32_MAX} - edge});
    std::mt19937_64 random(kSeed);
    for (int i = 0; i < 300000; ++i)
        values.push_back(i % 2 ? static_cast<int32>(random())
                               : static_cast<int64>(random()) >> (random() % 64));
    for (const int64 value : values) {
        const uint64 asUnsigned = static_cast<uint64>(value);  // covers the top half of uint64 too
        ASSERT_EQ(TarvelNumber(value).asInt64(), value);
        ASSERT_EQ(TarvelNumber(value).ToNString(), std::to_string(value));
        ASSERT_EQ(TarvelNumber(asUnsigned).asUInt64(), asUnsigned);
        ASSERT_EQ(TarvelNumber(asUnsigned).ToNString(), std::to_string(asUnsigned));
        ASSERT_TRUE(
            (SameFromEveryType<signed char, unsigned char, short, unsigned short, int, unsigned,
                               long, unsigned long, long long, unsigned long long>(value)));
        ASSERT_TRUE(!std::in_range<int32>(value) || TarvelNumber(value).asInt4() == value);
        ASSERT_TRUE(!std::in_range<uint32>(value) || TarvelNumber(value).asUInt4() == asUnsigned);
    }
}

template <auto Accessor>
std::string Call(const TarvelNumber& number) {
    return std::to_string((number.*Accessor)());
}

// Each accessor at its limits and one past; truncation comes before the range check.
TEST(TarvelNumber, IntegerAccessorsTruncateThenCheckTheRange) {
    const std::vector<std::string> targets = Split(  // name|min|max|one below min|one above max
        "TINYINT|-128|127|-129|128;UNSIGNED TINYINT|0|255|-1|256;"
        "SMALLINT|-32768|32767|-32769|32768;"
        "UNSIGNED SMALLINT|0|65535|-1|65536;INTEGER|-2147483648|2147483647|-2147483649|2147483648;"
        "UNSIGNED INTEGER|0|4294967295|-1|4294967296;"
        "BIGINT|-9223372036854775808|9223372036854775807|-9223372036854775809|9223372036854775808;"
        "UNSIGNED BIGINT|0|18446744073709551615|-1|18446744073709551616");
    std::string (*const get[])(const TarvelNumber&) = {
        Call<&TarvelNumber::asInt1>,  Call<&TarvelNumber::asUInt1>, Call<&TarvelNumber::asInt2>,
        Call<&TarvelNumber::asUInt2>, Call<&TarvelNumber::asInt4>,  Call<&TarvelNumber::asUInt4>,
        Call<&TarvelNumber::asInt8>,  Call<&TarvelNumber::asUInt8>};
    for (std::size_t t = 0; t < targets.size(); ++t) {
        const std::vector<std::string> f = Split(targets[t], '|');
        const std::string nearMin = f[1][0] == '-' ? f[1] + ".999" : "0.999";
        auto fails = [&](const std::string& text, int32 code) {
            ExpectError([&] { get[t](Parse(text)); }, code,
                        {L"NUMERIC", ErrorMessage::ToArgument(f[0])});
        };
        for (const std::string& text : {f[2], f[2] + ".999"})
            EXPECT_EQ(get[t](Parse(text)), f[2]) << text;
        for (const std::string& text : {f[1], nearMin})
            EXPECT_EQ(get[t](Parse(text)), f[1]) << text;
        for (const char* text : {"-0.999", "1e-128"}) EXPECT_EQ(get[t](Parse(text)), "0") << text;
        EXPECT_EQ(get[t](Parse("99.99")), "99");
        fails(f[4], kMsgValueOverflow);
        fails(f[3], kMsgValueUnderflow);
        fails("1e20", kMsgValueOverflow);
        fails("-9e125", kMsgValueUnderflow);
    }
}

TEST(TarvelNumber, FloatingEdges) {
    for (const double value :
         {std::nan(""), -std::nan(""), HUGE_VAL, -HUGE_VAL, DBL_MAX, -DBL_MAX, 1e126, -1e126}) {
        const int32 code = value < 0 ? kMsgValueUnderflow : kMsgValueOverflow;
        ExpectError([&] { TarvelNumber{value}; }, code, {L"DOUBLE PRECISION", L"NUMERIC"});
        if (!std::isfinite(value))
            ExpectError([&] { TarvelNumber{static_cast<float>(value)}; }, code,
                        {L"FLOAT", L"NUMERIC"});
    }
    EXPECT_TRUE(TarvelNumber(-0.0).IsZero() && TarvelNumber(-0.0f).IsZero() &&
                TarvelNumber(DBL_MIN).IsZero());
    EXPECT_EQ(TarvelNumber(0.1f).ToNString(), "0.1");  // a float keeps its own shortest digits
    EXPECT_EQ(Parse("3.402823567e38").asFloat32(), FLT_MAX);  // below the midpoint to 2^128
    EXPECT_EQ(Parse("-3.402823567e38").asFloat32(), -FLT_MAX);
    ExpectError([] { Parse("3.4028235678e38").asFloat32(); }, kMsgValueOverflow,
                {L"NUMERIC", L"FLOAT"});
    ExpectError([] { Parse("-1e39").asFloat32(); }, kMsgValueUnderflow, {L"NUMERIC", L"FLOAT"});
    EXPECT_TRUE(std::signbit(Parse("-1e-50").asFloat32()));
    EXPECT_EQ(Parse("16777217").asFloat32(), 16777216.0f);                // tie to even
    EXPECT_EQ(Parse("9007199254740993").asDouble(), 9007199254740992.0);  // tie to even
}

// Finite doubles and floats give themselves back bit for bit (doubles: or zero
// below 1e-128, or the range error); ascending doubles give ascending images.
TEST(TarvelNumber, DoublesAndFloatsRoundTripAndKeepTheirOrder) {
    std::mt19937_64 random(kSeed);
    std::vector<double> values = {DBL_TRUE_MIN, std::nextafter(1e-128, 0.0), 1e-128, 0.1,
                                  1e125,        std::nextafter(1e126, 0.0),  1e126};
    const float fixed[] = {FLT_MAX, -FLT_MAX, FLT_MIN, FLT_TRUE_MIN};
    for (int i = 0; i < 200000; ++i) {  // random bits; uniform over the decades, with neighbours
        const double value =
            (random() % 2 ? -1 : 1) *
            std::ldexp(static_cast<double>(random() >> 11), static_cast<int>(random() % 830) - 480);
        values.insert(values.end(),
                      {std::bit_cast<double>(random()), value, std::nextafter(value, 0.0)});
        const float single = i < 4 ? fixed[i] : std::bit_cast<float>(static_cast<uint32>(random()));
        if (!std::isfinite(single) || single == 0) continue;
        ASSERT_EQ(std::bit_cast<uint32>(TarvelNumber(single).asFloat32()),
                  std::bit_cast<uint32>(single));
    }
    std::erase_if(values, [](double value) { return !std::isfinite(value); });
    std::sort(values.begin(), values.end());
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (std::fabs(values[i]) >= 1e126) {
            ExpectError([&] { TarvelNumber{values[i]}; },
                        values[i] > 0 ? kMsgValueOverflow : kMsgValueUnderflow);
            continue;
        }
        const TarvelNumber number(values[i]);
        ASSERT_EQ(number.IsZero(), std::fabs(values[i]) < 1e-128) << values[i];
        ASSERT_TRUE(number.IsZero() ||
                    std::bit_cast<uint64>(number.asDouble()) == std::bit_cast<uint64>(values[i]));
        if (i == 0 || std::fabs(values[i - 1]) >= 1e126 || values[i - 1] == values[i]) continue;
        const TarvelNumber previous(values[i - 1]);
        ASSERT_TRUE((previous.IsZero() && number.IsZero()) ||
                    (previous < number && ByteLess(previous, number)));
    }
}

// text|printed, narrow and wide alike; a text without "|" is rejected (the output unchanged).
TEST(TarvelNumber, ParseRoundsToTwentyBase100DigitsHalfAwayFromZero) {
    std::vector<std::string> rows = Split(
        " 12 |12;\t+1\r\n|1;-0|0;-0.000|0;.5|0.5;5.|5;-.5e1|-5;1E-5|0.00001;1e+05|100000;"
        "12e-3|0.012;000123.4500|123.45;-1e-400|0;0e99999999999999999999|0;9.99e-129|0;"
        "9.{40*9}e-129|0.{127*0}1;{4*1234567890}.4|{4*1234567890};"
        "{4*1234567890}.5|{3*1234567890}1234567891;-{4*1234567890}.5|-{3*1234567890}1234567891;"
        "-{4*1234567890}.49999|-{4*1234567890};"
        // An odd number of integer digits: the leading base-100 digit holds one, so 39 are kept.
        "{3*1234567890}12345678956|{3*1234567890}12345679000;"
        "{3*1234567890}12345678949|{3*1234567890}12345678900;"
        "1.234567890123456789012345678901234567895|1.2345678901234567890123456789012345679;"
        "1.234567890123456789012345678901234567894999|1.23456789012345678901234567890123456789;"
        "0.00{4*1234567890}5|0.00{3*1234567890}1234567891;{40*9}.5|1{40*0};-{40*9}5|-1{41*0};"
        "1{60*0}1|1{61*0};{40*9}e86|{40*9}{86*0};;  ;.;+;-;e5;.e5;1e;1e+;1.2.3;1 2;0x10;1,5;"
        "--1;+-1;nan;inf;1e5.5;1.5x;{40*9}5e85;1e126;-1e126;1e99999999999999999999");
    rows.push_back(std::string("1\0", 2));
    for (const std::string& row : rows) {
        const std::size_t bar = row.find('|');
        const std::string text = row.substr(0, bar);
        TarvelNumber narrow(7), wide(7);
        const bool accepted = TarvelNumber::TryParse(text, narrow);
        EXPECT_EQ(TarvelNumber::TryParse(XTString(text.begin(), text.end()), wide), accepted);
        EXPECT_EQ(narrow.ToNString(), bar == std::string::npos ? "7" : row.substr(bar + 1)) << text;
        EXPECT_EQ(wide.ToString(), narrow.ToString());
    }
    TarvelNumber number;  // fullwidth 1, and a digit followed by a non-ASCII letter
    EXPECT_FALSE(TarvelNumber::TryParse(std::wstring_view(L"\xFF11"), number) ||
                 TarvelNumber::TryParse(std::wstring_view(L"1\x0101"), number));
}

// Random texts: printing and parsing again gives the same number; asDouble and
// asFloat32 are the C library's correctly rounded readings of the printed text.
TEST(TarvelNumber, RandomTextRoundTrips) {
    std::mt19937_64 random(kSeed);
    for (int i = 0; i < 100000; ++i) {
        std::string text;  // 1 to 60 digits, a point anywhere among them, an exponent
        for (int d = static_cast<int>(random() % 60); d >= 0; --d)
            text += static_cast<char>('0' + random() % 10);
        text.insert(random() % (text.size() + 1), 1, '.');
        text = (random() % 2 ? "-" : "") + text + "e" +
               std::to_string(static_cast<int>(random() % 250) - 150);
        TarvelNumber number, again;
        const double reference = std::fabs(std::strtod(text.c_str(), nullptr));
        if (!TarvelNumber::TryParse(text, number)) {
            ASSERT_GE(reference, 9.99e125) << text;
            continue;
        }
        ASSERT_TRUE(reference > 0.999999e-128 || number.IsZero()) << text;
        const std::string printed = number.ToNString();
        ASSERT_TRUE(TarvelNumber::TryParse(number.ToString(), again) && again == number) << printed;
        ASSERT_EQ(number.asDouble(), std::strtod(printed.c_str(), nullptr)) << printed;
        const float single = std::strtof(printed.c_str(), nullptr);
        if (std::isinf(single)) {
            ExpectError([&] { number.asFloat32(); },
                        single > 0 ? kMsgValueOverflow : kMsgValueUnderflow);
        } else {
            ASSERT_EQ(number.asFloat32(), single) << printed;
        }
    }
}

TEST(TarvelNumber, ByteVectorsAndTheReaders) {
    ByteVector bytes = {0xAA};
    Parse("-123.45").ToByteVector(bytes);
    EXPECT_EQ(bytes, Hex("AA 05 00 00 00 3D 64 4E 38 66"));
    unsigned char buffer[7] = {};
    EXPECT_EQ(TarvelNumber(1).ToBuffer(buffer), buffer + 6);
    EXPECT_EQ(Bytes(buffer, buffer + 7), Hex("02 00 00 00 C1 02 00"));
    const unsigned char nullColumn[TarvelNumber::kFieldLength] = {};  // a count of 0 reads as zero
    TarvelNumber number(9);
    EXPECT_EQ(number.FromByteVector(nullColumn, nullColumn + 4), nullColumn + 4);
    EXPECT_TRUE(number.IsZero());
    const unsigned char hugeCount[] = {0xFF, 0xFF, 0xFF, 0xFF, 0xC1, 0x02};
    ExpectError([&] { number.FromByteVector(hugeCount, hugeCount + 6); }, kMsgTruncatedByteVector,
                {L"NUMERIC image", L"4294967295", L"22"});
    ExpectError([&] { number.FromByteVector(hugeCount); }, kMsgTruncatedByteVector);
    ExpectError([&] { number.FromByteVector(nullptr, nullptr); }, kMsgTruncatedByteVector,
                {L"NUMERIC", L"4", L"0"});
    number = TarvelNumber(3);
    for (const std::string& text : Split("0;-1;-{40*9};-{38*9};-1e-100;{40*9}")) {
        bytes.clear();
        Parse(text).ToByteVector(bytes);
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            // An exactly sized copy; the error gives the bytes needed and those available.
            const ByteVector prefix(bytes.begin(), bytes.begin() + static_cast<long>(length));
            const std::size_t needed = length < 4 ? 4 : bytes.size();
            ExpectError([&] { number.FromByteVector(prefix.data(), prefix.data() + length); },
                        kMsgTruncatedByteVector,
                        {L"NUMERIC", std::to_wstring(needed), std::to_wstring(length)});
            EXPECT_EQ(number, TarvelNumber(3)) << text << " " << length;
        }
    }
    // Not canonical: zero with digits, no digit, bad digit bytes, trailing zero digits, the unused
    // 0x7F, a missing, misplaced or surplus terminator, more than 20 digits, more than 22 bytes.
    for (const std::string& hex :
         Split("80 02;C1;3E;66;C1 01;C1 02 01;C1 00;C1 65;C1 66;7F 02;7F 64 66;3E 64;"
               "3E 66;3E 65 66;3E 64 65 66;3E 01 66;3E 66 66;3E 64 66 64 66;C1 {21*02 };"
               "3E {20*02 }66;3E {19*02 };C1 {22*02 }")) {
        const Bytes image = Hex(hex);
        EXPECT_FALSE(TarvelNumber::IsCanonicalImage(image.data(), image.size())) << hex;
        ExpectError([&] { TarvelNumber::FromImage(image.data(), image.size()); },
                    kMsgTruncatedByteVector);
        bytes.assign(4 + TarvelNumber::kFieldLength, 0);  // room: only the content is wrong
        DataBlobUtil::PutLittleEndianUInt32(bytes.data(), static_cast<uint32>(image.size()));
        std::copy(image.begin(), image.end(), bytes.begin() + 4);
        ExpectError([&] { number.FromByteVector(bytes.data(), bytes.data() + bytes.size()); },
                    kMsgTruncatedByteVector);
        ExpectError([&] { number.FromByteVector(bytes.data()); }, kMsgTruncatedByteVector);
        EXPECT_EQ(number, TarvelNumber(3)) << hex;
    }
}

TEST(TarvelNumber, PerValueOperationsDoNotAllocate) {
    const TarvelNumber longest = Parse("-" + k39Digits + "e-128"), fraction(-1234.5678901234567);
    ByteVector bytes;
    bytes.reserve(64);
    char text[TarvelNumber::kMaxTextLength];
    wchar_t wide[6];
    TarvelNumber read, parsed;
    const xts::test::AllocationCounter counter;
    TarvelNumber(INT64_MIN).ToByteVector(bytes);
    read.FromByteVector(bytes.data());
    const bool ok =
        read.FromByteVector(bytes.data(), bytes.data() + bytes.size()) &&
        read.asInt64() == INT64_MIN && TarvelNumber(7u).asUInt4() == 7 &&
        TarvelNumber(int16{-7}).asInt2() == -7 && fraction.asDouble() == -1234.5678901234567 &&
        fraction.asFloat32() < 0 && read < fraction &&
        TarvelNumber::TryParse(std::string_view("-12.5e3"), parsed) &&
        longest.ToChars(text, text + sizeof text) == text + sizeof text &&
        longest.ToChars(text, text + sizeof text - 1) == nullptr &&
        parsed.ToChars(wide, wide + 5) == nullptr && parsed.ToChars(wide, wide + 6) == wide + 6;
    EXPECT_EQ(counter.Count(), 0u);
    EXPECT_TRUE(ok);  // the longest text: "-0.", 127 zeros and 39 digits
    EXPECT_EQ(std::string(text, 4) + std::string(text + 130, text + 169),
              "-0.0" + std::string(k39Digits).erase(1, 1));
    EXPECT_EQ(XTString(wide, 6), L"-12500");
}

}  // namespace
