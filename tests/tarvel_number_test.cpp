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
    for (const std::string& byte : Split(text, ' ')) out.push_back(std::stoul(byte, nullptr, 16));
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

// Runs `action`, which must raise `code` (with `arguments`, when given).
template <class Action>
void ExpectError(Action&& action, int32 code, const std::vector<XTString>& arguments = {}) {
    try {
        action();
        ADD_FAILURE() << "no error, expected " << code;
    } catch (const ErrorMessage& error) {
        EXPECT_TRUE(error.GetCode() == code &&
                    (arguments.empty() || error.GetArguments() == arguments))
            << error.what();
    }
}

// text=image, in ascending numeric order; a text without an exponent is the printed form.
// Parsing, the byte vector and back, the text into a buffer of exactly its length (and none
// into one a character short) and comparing allocate nothing; every truncated prefix of the
// byte vector raises 46302 with the bytes needed and those available.
TEST(TarvelNumber, ImagesTheirOrderAndTheirForms) {
    const std::vector<std::string> rows = Split(
        "-{40*9}e86=00 {20*02 };-1e124=00 64 66;-{38*9}=2C {19*02 }66;-1e20=34 64 66;"
        "-123.45=3D 64 4E 38 66;-99=3E 02 66;-1.5=3E 64 33 66;-1.{37*0}1=3E 64 {18*65 }64;"
        "-1=3E 64 66;-0.99=3F 02 66;-0.5=3F 33 66;"
        "-1.{3*2345678901}23456789e-128=7E {4*64 4E 38 22 0C };-1e-128=7E 64 66;0=80;1e-128=81 02;"
        "0.005=BF 33;0.01=C0 02;0.5=C0 33;0.99=C0 64;1=C1 02;1.{37*0}1=C1 02 {18*01 }02;"
        "1.{3*2345678901}23456789=C1 {4*02 18 2E 44 5A };1.5=C1 02 33;10=C1 0B;99=C1 64;100=C2 02;"
        "101=C2 02 02;123.45=C2 02 18 2E;9999=C2 64 64;1e20=CB 02;1e125=FF 0B;"
        "{40*9}e86=FF {20*64 }");
    std::vector<TarvelNumber> numbers(rows.size());
    for (std::size_t row = 0; row < rows.size(); ++row) {
        const std::string text = rows[row].substr(0, rows[row].find('='));
        const Bytes image = Hex(rows[row].substr(rows[row].find('=') + 1));
        const TarvelNumber number = TarvelNumber::FromImage(image.data(), image.size());
        const std::string printed = number.ToNString();
        ByteVector bytes;
        bytes.reserve(32);
        char chars[TarvelNumber::kMaxTextLength];
        wchar_t wide[TarvelNumber::kMaxTextLength];
        TarvelNumber parsed, trusted;
        const std::size_t n = printed.size();
        const xts::test::AllocationCounter counter;
        number.ToByteVector(bytes);
        const unsigned char* const end = bytes.data() + bytes.size();
        const bool read = TarvelNumber::TryParse(text, parsed) && parsed == number &&
                          numbers[row].FromByteVector(bytes.data(), end) == end &&
                          trusted.FromByteVector(bytes.data()) == end && trusted == numbers[row] &&
                          number.ToChars(chars, chars + n) == chars + n &&
                          number.ToChars(chars, chars + n - 1) == nullptr &&
                          number.ToChars(wide, wide + n) == wide + n &&
                          number.ToChars(wide, wide + n - 1) == nullptr;
        EXPECT_TRUE((text.find('e') != std::string::npos || printed == text) && read &&
                    counter.Count() == 0 && numbers[row] == number &&
                    bytes.size() == 4 + image.size() && std::string(chars, n) == printed &&
                    XTString(wide, n) == number.ToString())
            << text;
        for (std::size_t length = 0; length < bytes.size(); ++length) {  // every truncated prefix
            const ByteVector prefix(bytes.begin(), bytes.begin() + static_cast<long>(length));
            TarvelNumber kept(3);
            ExpectError([&] { kept.FromByteVector(prefix.data(), prefix.data() + length); },
                        kMsgTruncatedByteVector,
                        {L"NUMERIC", std::to_wstring(length < 4 ? 4 : bytes.size()),
                         std::to_wstring(length)});
            EXPECT_EQ(kept, TarvelNumber(3)) << text << " " << length;
        }
    }
    const xts::test::AllocationCounter counter;
    for (std::size_t i = 0; i < numbers.size(); ++i)
        for (std::size_t j = 0; j < numbers.size(); ++j)
            EXPECT_TRUE((numbers[i] <=> numbers[j]) == (i <=> j) &&
                        (numbers[i] == numbers[j]) == (i == j) &&
                        ByteLess(numbers[i], numbers[j]) == (i < j))
                << rows[i] << " vs " << rows[j];
    EXPECT_EQ(counter.Count(), 0u);
}

// Powers of ten and the limits of each integer type, each with its neighbours, and random
// values of every magnitude, as int64 and as the uint64 of the same bits (the other integer
// types are checked through the Numeric converters).
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
        const uint64 asUnsigned = static_cast<uint64>(value);
        const xts::test::AllocationCounter counter;
        const TarvelNumber number(value), fromUnsigned(asUnsigned);
        ASSERT_TRUE(number.asInt64() == value && fromUnsigned.asUInt64() == asUnsigned &&
                    counter.Count() == 0);
        ASSERT_TRUE(number.ToNString() == std::to_string(value) &&
                    fromUnsigned.ToNString() == std::to_string(asUnsigned));
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
        // clang-format off
        const std::pair<std::string, std::string> kTruncated[] = {{f[2], f[2]},
            {f[2] + ".999", f[2]}, {f[1], f[1]}, {nearMin, f[1]}, {"-0.999", "0"}, {"1e-128", "0"},
            {"99.99", "99"}};
        const std::pair<std::string, int32> kBeyond[] = {{f[4], kMsgValueOverflow},
            {f[3], kMsgValueUnderflow}, {"1e20", kMsgValueOverflow},
            {"-9e125", kMsgValueUnderflow}};
        // clang-format on
        for (const auto& [text, kept] : kTruncated) EXPECT_EQ(get[t](Parse(text)), kept) << text;
        for (const auto& [text, code] : kBeyond) {
            const TarvelNumber number = Parse(text);
            ExpectError([&] { get[t](number); }, code,
                        {L"NUMERIC", ErrorMessage::ToArgument(f[0])});
        }
    }
}

// Finite doubles and floats give themselves back bit for bit (zero below 1e-128); NaN, the
// infinities and doubles of 1e126 or more raise 46224 (NaN, positive) or 46225 (negative)
// with the source's name; ascending doubles give ascending images.
TEST(TarvelNumber, FloatingValuesRoundTripKeepTheirOrderOrRaise) {
    std::mt19937_64 random(kSeed);
    // clang-format off
    std::vector<double> values = {NAN, -NAN, HUGE_VAL, -HUGE_VAL, DBL_MAX, -DBL_MAX, -1e126, 1e126,
        DBL_TRUE_MIN, DBL_MIN, -0.0, std::nextafter(1e-128, 0.0), 1e-128, 0.1, 1e125,
        std::nextafter(1e126, 0.0)};
    const float fixed[] = {FLT_MAX, -FLT_MAX, FLT_MIN, FLT_TRUE_MIN, -0.0f, NAN, HUGE_VALF,
        -HUGE_VALF};
    // clang-format on
    for (int i = 0; i < 200000; ++i) {  // random bits; uniform over the decades, with neighbours
        const double value =
            (random() % 2 ? -1 : 1) *
            std::ldexp(static_cast<double>(random() >> 11), static_cast<int>(random() % 830) - 480);
        values.insert(values.end(),
                      {std::bit_cast<double>(random()), value, std::nextafter(value, 0.0)});
        const float single = i < 8 ? fixed[i] : std::bit_cast<float>(static_cast<uint32>(random()));
        if (!std::isfinite(single))
            ExpectError([&] { TarvelNumber{single}; },
                        single < 0 ? kMsgValueUnderflow : kMsgValueOverflow,
                        {L"FLOAT", L"NUMERIC"});
        else
            ASSERT_EQ(std::bit_cast<uint32>(TarvelNumber(single).asFloat32()),
                      std::bit_cast<uint32>(single + 0.0f));
    }
    for (const double value : values)
        if (!(std::fabs(value) < 1e126))
            ExpectError([&] { TarvelNumber{value}; },
                        value < 0 ? kMsgValueUnderflow : kMsgValueOverflow,
                        {L"DOUBLE PRECISION", L"NUMERIC"});
    std::erase_if(values, [](double value) { return !(std::fabs(value) < 1e126); });
    EXPECT_EQ(TarvelNumber(0.1f).ToNString(), "0.1");  // a float keeps its own shortest digits
    std::sort(values.begin(), values.end());
    for (std::size_t i = 0; i < values.size(); ++i) {
        const TarvelNumber number(values[i]);
        ASSERT_EQ(number.IsZero(), std::fabs(values[i]) < 1e-128) << values[i];
        ASSERT_TRUE(number.IsZero() ||
                    std::bit_cast<uint64>(number.asDouble()) == std::bit_cast<uint64>(values[i]));
        if (i == 0 || values[i - 1] == values[i]) continue;
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
        "9.{40*9}e-129|0.{127*0}1;-1.{3*2345678901}23456789e-128|-0.{127*0}1{3*2345678901}23456789;"
        "{4*1234567890}.4|{4*1234567890};"
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

// Random texts, the edges of the float range and ties: printing and parsing again gives the
// same number; asDouble and asFloat32 are the C library's correctly rounded readings of the
// printed text (ties to even, a zero of the number's sign), or the range error beyond FLT_MAX.
TEST(TarvelNumber, TextRoundTripsAndCorrectlyRoundedReadings) {
    const char* const kEdges[] = {"3.402823567e38", "-3.402823567e38", "3.4028235678e38", "-1e39",
                                  "-1e-50",         "16777217",        "9007199254740993"};
    std::mt19937_64 random(kSeed);
    for (int i = 0; i < 100000; ++i) {
        std::string text;  // 1 to 60 digits, a point anywhere among them, an exponent
        for (int d = static_cast<int>(random() % 60); d >= 0; --d)
            text += static_cast<char>('0' + random() % 10);
        text.insert(random() % (text.size() + 1), 1, '.');
        text = (random() % 2 ? "-" : "") + text + "e" +
               std::to_string(static_cast<int>(random() % 250) - 150);
        if (i < 7) text = kEdges[i];
        TarvelNumber number, again;
        const double reference = std::fabs(std::strtod(text.c_str(), nullptr));
        if (!TarvelNumber::TryParse(text, number)) {
            ASSERT_GE(reference, 9.99e125) << text;
            continue;
        }
        ASSERT_TRUE(reference > 0.999999e-128 || number.IsZero()) << text;
        const std::string printed = number.ToNString();
        ASSERT_TRUE(TarvelNumber::TryParse(number.ToString(), again) && again == number) << printed;
        ASSERT_EQ(std::bit_cast<uint64>(number.asDouble()),
                  std::bit_cast<uint64>(std::strtod(printed.c_str(), nullptr)))
            << printed;
        const float single = std::strtof(printed.c_str(), nullptr);
        if (std::isinf(single))
            ExpectError([&] { number.asFloat32(); },
                        single > 0 ? kMsgValueOverflow : kMsgValueUnderflow,
                        {L"NUMERIC", L"FLOAT"});
        else
            ASSERT_EQ(std::bit_cast<uint32>(number.asFloat32()), std::bit_cast<uint32>(single))
                << printed;
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

}  // namespace
