// Text helpers of the character converters: integer and floating parsers,
// number formatters and their wide twins, and the wide text builders.
#include <locale.h>
#include <stdlib.h>

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <cwchar>
#include <limits>

#include "SUCDataConvertCore.h"
#include "Utility/Generic/Portable/SUPAutobuffer.h"
#include "Utility/Generic/SUGAssert.h"
#include "Utility/Generic/SUGErrorMessage.h"
#include "Utility/Generic/SUGSystemUtility.h"

namespace {

template <class Char>
bool IsSpace(Char c) noexcept {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

template <class Char>
bool IsDigit(Char c) noexcept {
    return c >= '0' && c <= '9';
}

// The text up to `length` units or its first zero unit, whichever is first.
template <class Char>
uint32 TextLength(const Char* text, uint32 length) noexcept {
    uint32 n = 0;
    while (n < length && text[n] != 0) ++n;
    return n;
}

// Raises 46044 or 46045 with the offending text as its argument.
template <class Char>
[[noreturn]] XT_NOINLINE void ThrowBadNumber(int32 code, const Char* text, uint32 length,
                                             const char* file, int line) {
    const uint32 n = TextLength(text, length);
    if constexpr (sizeof(Char) == 1)
        throw ErrorMessage::Make(file, line, code, std::string_view(text, n));
    else
        throw ErrorMessage::Make(file, line, code, XTString(text, n));
}

// Whether the whole text (up to its terminator) is `word`, ignoring ASCII case.
template <class Char>
bool IsWordNoCase(const Char* text, uint32 length, const char* word) noexcept {
    const uint32 n = TextLength(text, length);
    if (n != std::strlen(word)) return false;
    for (uint32 i = 0; i < n; ++i) {
        Char c = text[i];
        if (c >= 'A' && c <= 'Z') c = static_cast<Char>(c + ('a' - 'A'));
        if (c != static_cast<Char>(word[i])) return false;
    }
    return true;
}

// Reads a decimal number from the text as far as it is one, independent of
// the locale: leading white space and a '+' are skipped. The text is copied
// into a narrow buffer (inline up to 64 characters, from the heap beyond), so
// that a long text is read whole. A value beyond the double range reads as an
// infinity of its sign, one below the smallest subnormal as zero, as strtod
// reads them.
template <class Char>
double ReadDouble(const Char* text, uint32 length) {
    uint32 i = 0;
    while (i < length && IsSpace(text[i])) ++i;
    if (i < length && text[i] == '+') ++i;
    const uint32 n = TextLength(text + i, length - i);
    AutoBuffer<char, 64> buffer(n + 1);
    char* narrow = buffer.Get();
    for (uint32 k = 0; k < n; ++k) {
        const auto c = static_cast<uint32>(text[i + k]);
        narrow[k] = c < 0x80 ? static_cast<char>(c) : '?';
    }
    narrow[n] = '\0';
    double value = 0;
    if (std::from_chars(narrow, narrow + n, value).ec == std::errc::result_out_of_range) {
        static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
        value = strtod_l(narrow, nullptr, cLocale);
    }
    return value;
}

// The rest of the integer parser, off its fast path: with `Words`, the whole
// text "true" or "false" in any case (1 and 0); a fraction (digits, then
// white space to the end), whose value is the whole text read as a double,
// cut toward zero with no range test; anything else raises 46044.
template <bool Words, class Char>
XT_NOINLINE int64 ParseFraction(const Char* text, uint32 length, const Char* integerEnd,
                                bool negative, uint64 magnitude, const char* file, int line) {
    if constexpr (Words) {
        if (IsWordNoCase(text, length, "true")) return 1;
        if (IsWordNoCase(text, length, "false")) return 0;
    }
    const Char* const end = text + length;
    const Char* p = integerEnd;
    if (p == end || *p != '.') ThrowBadNumber(kMsgInvalidIntegerText, text, length, file, line);
    ++p;
    while (p != end && IsDigit(*p)) ++p;
    while (p != end && IsSpace(*p)) ++p;
    if (p != end && *p != 0) ThrowBadNumber(kMsgInvalidIntegerText, text, length, file, line);
    const double integerPart =
        negative ? -static_cast<double>(magnitude) : static_cast<double>(magnitude);
    const double value = ReadDouble(text, length);
    const double below = std::floor(value);
    const double above = std::ceil(value);
    const double chosen =
        std::fabs(below - integerPart) < std::fabs(above - integerPart) ? below : above;
    // Beyond 64 bits the low bytes carry no meaning; keep the result defined.
    return std::fabs(chosen) < 9.2e18 ? static_cast<int64>(chosen) : 0;
}

// The integer parser shared by the signed and unsigned, narrow and wide forms.
// Everything but a plain integer that fits leaves the fast path, so that the
// common case neither calls out nor saves registers.
template <class Char, bool Signed>
int64 ParseInteger(const Char* text, uint32 length, uint64 maximum, const char* file, int line) {
    const Char* const end = text + length;
    const Char* p = text;
    while (p != end && IsSpace(*p)) ++p;
    bool negative = false;
    if constexpr (Signed) {
        if (p != end && (*p == '-' || *p == '+')) negative = *p++ == '-';
    }
    // Beyond 19 digits the magnitude wraps; it is then only an overflow, or on
    // the fraction path the integer part of a double too large to have a
    // fraction, where floor and ceiling agree.
    uint64 magnitude = 0;
    const Char* const digitsBegin = p;
    for (; p != end; ++p) {
        const uint32 digit = static_cast<uint32>(*p) - '0';
        if (digit > 9) break;
        magnitude = magnitude * 10 + digit;
    }
    const Char* const integerEnd = p;
    while (p != end && IsSpace(*p)) ++p;

    const bool overflow = integerEnd - digitsBegin > 10;
    if (p == end || *p == 0) {
        const bool fits =
            !overflow &&
            (negative || (magnitude <= maximum && (!Signed || magnitude < (1ull << 31))));
        if (fits) return negative ? -static_cast<int64>(magnitude) : static_cast<int64>(magnitude);
    }
    return ParseFraction<Signed>(text, length, integerEnd, negative, magnitude, file, line);
}

// The signed forms also read "true" and "false" (on the slow path: no
// integer text starts with a letter).
template <class Char>
int32 ParseSigned(const Char* text, uint32 length, int32 maximum) {
    const uint64 limit = maximum < 0 ? 0 : static_cast<uint64>(maximum);
    return static_cast<int32>(ParseInteger<Char, true>(text, length, limit, __FILE__, __LINE__));
}

template <class Char>
uint32 ParseUnsigned(const Char* text, uint32 length, uint32 maximum) {
    return static_cast<uint32>(
        ParseInteger<Char, false>(text, length, maximum, __FILE__, __LINE__));
}

template <class Char>
double ParseFloat(const Char* text, uint32 length) {
    uint32 i = 0;
    while (i < length && IsSpace(text[i])) ++i;
    if (length == 0 || i == length || text[i] == 0)
        ThrowBadNumber(kMsgInvalidFloatText, text + (i < length ? i : length),
                       i < length ? length - i : 0, __FILE__, __LINE__);
    return ReadDouble(text + i, length - i);
}

// Number of decimal digits of `magnitude` (1 for zero): an estimate from the
// bit width, corrected by one comparison.
int DigitCount(uint64 magnitude) noexcept {
    static constexpr uint64 kPowersOfTen[] = {1ull,
                                              10ull,
                                              100ull,
                                              1000ull,
                                              10000ull,
                                              100000ull,
                                              1000000ull,
                                              10000000ull,
                                              100000000ull,
                                              1000000000ull,
                                              10000000000ull,
                                              100000000000ull,
                                              1000000000000ull,
                                              10000000000000ull,
                                              100000000000000ull,
                                              1000000000000000ull,
                                              10000000000000000ull,
                                              100000000000000000ull,
                                              1000000000000000000ull,
                                              10000000000000000000ull};
    // floor(log10(2^bits)) for the bit width of `magnitude`: 1233 / 4096 ~ log10(2).
    const int estimate = (std::bit_width(magnitude) * 1233) >> 12;
    return estimate + (magnitude >= kPowersOfTen[estimate] ? 1 : 0) + (magnitude == 0 ? 1 : 0);
}

// "00" "01" ... "99": two digits at a time halve the divisions.
constexpr std::array<char, 200> kDigitPairs = [] {
    std::array<char, 200> pairs{};
    for (int i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}();

// Writes the low `count` digits of `magnitude` right-aligned in
// [begin, begin + count), with leading zeros when it has fewer. 32-bit values
// take 32-bit divisions, which are cheaper.
template <class Unsigned>
void WriteDigits(Unsigned magnitude, char* begin, int count) noexcept {
    while (count >= 2) {
        const auto pair = static_cast<std::size_t>(magnitude % 100) * 2;
        magnitude /= 100;
        count -= 2;
        std::memcpy(begin + count, kDigitPairs.data() + pair, 2);
    }
    if (count == 1) begin[0] = static_cast<char>('0' + magnitude % 10);
}

int32 Digitize(uint32 magnitude, bool negative, char* buffer, int32 size) noexcept {
    if (size < 1) return 0;
    int count = DigitCount(magnitude) + (negative ? 1 : 0);
    if (count > size - 1) count = size - 1;
    buffer[count] = '\0';
    if (count == 0) return 0;
    if (negative) {
        buffer[0] = '-';
        WriteDigits(magnitude, buffer + 1, count - 1);
    } else {
        WriteDigits(magnitude, buffer, count);
    }
    return count;
}

// Copies at most `size` characters of `text`, then writes `end` there.
int32 PutText(const char* text, char* buffer, int32 size) noexcept {
    int32 n = 0;
    while (text[n] != '\0' && n < size) {
        buffer[n] = text[n];
        ++n;
    }
    return n;
}

// The exponent form of a non-negative value in `room` characters (cut there)
// plus a terminator: one digit, '.', fraction digits, 'e', the sign and the
// exponent's digits. A buffer of `room` + 1 bytes gets room - 6 fraction
// digits with a two-digit exponent; a longer exponent takes its room from the
// fraction, so that the cut never falls inside the exponent.
int32 DigitizeFloat64DataExponent(double value, char* buffer, int32 room) noexcept {
    int exponent = value == 0 ? 0 : static_cast<int>(std::floor(std::log10(value)));
    const int exponentDigits = DigitCount(static_cast<uint64>(exponent < 0 ? -exponent : exponent));
    int fractionDigits = room - 6 - (exponentDigits > 2 ? exponentDigits - 2 : 0);
    fractionDigits = fractionDigits < 0 ? 0 : (fractionDigits > 17 ? 17 : fractionDigits);
    double mantissa = value == 0 ? 0 : value / std::pow(10.0, exponent);
    if (mantissa >= 10.0) {
        mantissa /= 10;
        ++exponent;
    } else if (mantissa > 0 && mantissa < 1.0) {
        mantissa *= 10;
        --exponent;
    }
    const double scale = std::pow(10.0, fractionDigits);
    double scaled = std::floor(mantissa * scale + 0.5);
    if (scaled >= 10.0 * scale) {
        scaled = std::floor(scaled / 10 + 0.5);
        ++exponent;
    }
    char text[64];
    int n = 0;
    const auto whole = static_cast<uint64>(std::floor(scaled / scale));
    const auto fraction = static_cast<uint64>(scaled - static_cast<double>(whole) * scale);
    text[n++] = static_cast<char>('0' + whole % 10);
    if (fractionDigits > 0) {
        text[n++] = '.';
        WriteDigits(fraction, text + n, fractionDigits);
        n += fractionDigits;
    }
    text[n++] = 'e';
    text[n++] = exponent < 0 ? '-' : '+';
    const auto magnitude = static_cast<uint64>(exponent < 0 ? -exponent : exponent);
    const int count = DigitCount(magnitude);
    WriteDigits(magnitude, text + n, count);
    n += count;
    text[n] = '\0';
    const int32 written = PutText(text, buffer, room);
    buffer[written] = '\0';
    return written;
}

// floor() of a non-negative value; below 2^63 a truncation, which needs no
// library call.
double FloorOfNonNegative(double value) noexcept {
    return value < 9.2e18 ? static_cast<double>(static_cast<int64>(value)) : std::floor(value);
}

// std::pow(0.1, exponent) for exponent >= -2, from a table computed once with
// std::pow itself (so the same values); beyond the table the power is zero.
double PowerOfOneTenth(int exponent) {
    constexpr int kCount = 402;
    static const std::array<double, kCount> kPowers = [] {
        std::array<double, kCount> powers{};
        for (int k = 0; k < kCount; ++k) powers[k] = std::pow(0.1, k - 2);
        return powers;
    }();
    const int index = exponent + 2;
    if (index < 0) return std::pow(0.1, exponent);
    return index < kCount ? kPowers[index] : 0.0;
}

// A non-negative value in fixed form with two fraction digits, rounded half
// up, in `room` characters and a terminator; the exponent form when it does
// not fit or is too small to show.
int32 DigitizeMagnitude(double value, char* buffer, int32 room) {
    constexpr int kFractionDigits = 2;
    constexpr double kScale = 100.0;
    double integer = FloorOfNonNegative(value);
    double fraction = FloorOfNonNegative((value - integer) * kScale + 0.5);
    if (fraction >= kScale) {
        fraction -= kScale;
        integer += 1;
    }
    char integerText[320];
    int integerDigits = 0;
    if (integer > 1e9) {
        const auto result = std::to_chars(integerText, integerText + sizeof integerText, integer,
                                          std::chars_format::fixed, 0);
        integerDigits = static_cast<int>(result.ptr - integerText);
    } else {
        integerDigits = DigitCount(static_cast<uint64>(integer));
        WriteDigits(static_cast<uint64>(integer), integerText, integerDigits);
    }
    // The width counts the digits, the point and the terminator.
    const int width = integerDigits + kFractionDigits + 2;
    if (width > room + 1 || (value != 0 && value <= PowerOfOneTenth(room - kFractionDigits)))
        return DigitizeFloat64DataExponent(value, buffer, room);
    std::memcpy(buffer, integerText, static_cast<std::size_t>(integerDigits));
    int32 n = integerDigits;
    buffer[n++] = '.';
    WriteDigits(static_cast<uint64>(fraction), buffer + n, kFractionDigits);
    n += kFractionDigits;
    buffer[n] = '\0';
    return n;
}

// Transcodes the narrow digits into wide units, pads with blanks to `size`
// and terminates at index `size`.
int32 WidenDigits(const char* digits, int32 count, wchar_t* buffer, int32 size) {
    if (size < 0) return 0;
    int written = count == 0
                      ? 0
                      : SystemUtility::MultiByteToWideChar(digits, count, buffer, size,
                                                           SystemUtility::GetMultiByteCodePage());
    if (written == 0 && count > 0) written = size;  // destination full
    if (written < 0) written = 0;
    for (int i = written; i < size; ++i) buffer[i] = L' ';
    buffer[size] = L'\0';
    return size;
}

}  // namespace

int32 SUDataConvert::CharToLongData(const char* text, uint32 length, int32 maximum) {
    return ParseSigned(text, length, maximum);
}
int32 SUDataConvert::XTCharToLongData(const wchar_t* text, uint32 length, int32 maximum) {
    return ParseSigned(text, length, maximum);
}
uint32 SUDataConvert::CharToUnsignedLongData(const char* text, uint32 length, uint32 maximum) {
    return ParseUnsigned(text, length, maximum);
}
uint32 SUDataConvert::XTCharToUnsignedLongData(const wchar_t* text, uint32 length, uint32 maximum) {
    return ParseUnsigned(text, length, maximum);
}
double SUDataConvert::CharToFloat64Data(const char* text, uint32 length, double) {
    return ParseFloat(text, length);
}
double SUDataConvert::XTCharToFloat64Data(const wchar_t* text, uint32 length, double) {
    return ParseFloat(text, length);
}

int32 SUDataConvert::DigitizeBinaryLongData(int32 value, char* buffer, int32 size) {
    const bool negative = value < 0;
    const uint32 magnitude =
        negative ? 0u - static_cast<uint32>(value) : static_cast<uint32>(value);
    return Digitize(magnitude, negative, buffer, size);
}

int32 SUDataConvert::DigitizeBinaryUnsignedLongData(uint32 value, char* buffer, int32 size) {
    return Digitize(value, false, buffer, size);
}

int32 SUDataConvert::DigitizeFloat64Data(double value, char* buffer, int32 size) {
    if (size < 1) return 0;
    const int32 room = size - 1;
    if (std::isnan(value)) {
        const int32 n = PutText("NAN", buffer, room);
        buffer[n] = '\0';
        return n;
    }
    if (std::fabs(value) > std::numeric_limits<double>::max()) {
        const int32 n = PutText("INFINITY", buffer, room);
        buffer[n] = '\0';
        return n;
    }
    if (value < 0) {
        if (room < 1) {
            buffer[0] = '\0';
            return 0;
        }
        buffer[0] = '-';
        return 1 + DigitizeMagnitude(-value, buffer + 1, room - 1);
    }
    return DigitizeMagnitude(value, buffer, room);
}

int32 SUDataConvert::XTDigitizeBinaryLongData(int32 value, wchar_t* buffer, int32 size) {
    char digits[256];
    return WidenDigits(digits, DigitizeBinaryLongData(value, digits, sizeof digits), buffer, size);
}

int32 SUDataConvert::XTDigitizeBinaryUnsignedLongData(uint32 value, wchar_t* buffer, int32 size) {
    char digits[256];
    return WidenDigits(digits, DigitizeBinaryUnsignedLongData(value, digits, sizeof digits), buffer,
                       size);
}

int32 SUDataConvert::XTCharDigitizeFloat64Data(double value, wchar_t* buffer, int32 size) {
    char digits[256];
    if (size > 256) size = 256;
    return WidenDigits(digits, DigitizeFloat64Data(value, digits, sizeof digits), buffer, size);
}

void SUDataConvert::BuildChar(const XTString& text, ByteVector& out, int32 width) {
    XTAssert(width >= 0 && text.size() <= static_cast<std::size_t>(width));
    const std::size_t size = static_cast<std::size_t>(width) * sizeof(wchar_t) + 1;
    out.resize(size, 0);
    const std::size_t textBytes = text.size() * sizeof(wchar_t);
    std::memcpy(out.data(), text.data(), textBytes);
    const std::size_t end = textBytes + sizeof(wchar_t) < size ? textBytes + sizeof(wchar_t) : size;
    std::memset(out.data() + textBytes, 0, end - textBytes);
}

void SUDataConvert::BuildVarchar(const XTString& text, ByteVector& out) {
    const auto count = static_cast<uint32>(text.size());
    out.resize(sizeof(uint32) + (text.size() + 1) * sizeof(wchar_t));
    std::memcpy(out.data(), &count, sizeof count);
    std::memcpy(out.data() + sizeof count, text.data(), text.size() * sizeof(wchar_t));
    const wchar_t terminator = 0;
    std::memcpy(out.data() + sizeof count + text.size() * sizeof(wchar_t), &terminator,
                sizeof terminator);
}

void SUDataConvert::BuildVarchar(const wchar_t* text, ByteVector& out) {
    BuildVarchar(XTString(text ? text : L""), out);
}
