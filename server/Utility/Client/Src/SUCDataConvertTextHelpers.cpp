// Text helpers of the character converters: integer and floating parsers,
// number formatters and their wide twins, and the wide text builders.
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <cwchar>
#include <limits>

#include "SUCDataConvertCore.h"
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

// Reads a decimal number from the text for the fractional path of the
// integer parser (a narrow copy of at most 64 characters; longer texts cannot
// be a valid number of ten integer digits anyway and read as far as they go).
template <class Char>
double ReadDouble(const Char* text, uint32 length) noexcept {
    char buffer[64];
    uint32 n = 0;
    uint32 i = 0;
    while (i < length && IsSpace(text[i])) ++i;
    if (i < length && text[i] == '+') ++i;
    for (; i < length && n < sizeof buffer && text[i] != 0; ++i) {
        const auto c = static_cast<uint32>(text[i]);
        buffer[n++] = c < 0x80 ? static_cast<char>(c) : '?';
    }
    double value = 0;
    std::from_chars(buffer, buffer + n, value);
    return value;
}

// The integer parser shared by the signed and unsigned, narrow and wide forms.
template <class Char, bool Signed>
int64 ParseInteger(const Char* text, uint32 length, uint64 maximum, const char* file, int line) {
    uint32 i = 0;
    while (i < length && IsSpace(text[i])) ++i;
    bool negative = false;
    if constexpr (Signed) {
        if (i < length && (text[i] == '-' || text[i] == '+')) negative = text[i++] == '-';
    }
    uint64 magnitude = 0;
    uint32 digits = 0;
    for (; i < length && IsDigit(text[i]); ++i, ++digits)
        if (digits < 11) magnitude = magnitude * 10 + static_cast<uint64>(text[i] - '0');
    const uint32 integerEnd = i;
    while (i < length && IsSpace(text[i])) ++i;

    const bool overflow = digits > 10;
    if (i == length || text[i] == 0) {
        const bool fits = !overflow && (negative || (magnitude <= maximum &&
                                                     (!Signed || magnitude < (1ull << 31))));
        if (fits) return negative ? -static_cast<int64>(magnitude) : static_cast<int64>(magnitude);
    }
    i = integerEnd;
    if (i >= length || text[i] != '.') ThrowBadNumber(kMsgInvalidIntegerText, text, length, file, line);

    // A fraction: digits, then white space to the end. The value is the whole
    // text read as a double, cut toward zero; no range test on this path.
    ++i;
    while (i < length && IsDigit(text[i])) ++i;
    while (i < length && IsSpace(text[i])) ++i;
    if (i < length && text[i] != 0) ThrowBadNumber(kMsgInvalidIntegerText, text, length, file, line);
    const int64 integerPart = negative ? -static_cast<int64>(magnitude) : static_cast<int64>(magnitude);
    const double value = ReadDouble(text, length);
    const double below = std::floor(value);
    const double above = std::ceil(value);
    const double chosen = std::fabs(below - static_cast<double>(integerPart)) <
                                  std::fabs(above - static_cast<double>(integerPart))
                              ? below
                              : above;
    // Beyond 64 bits the low bytes carry no meaning; keep the result defined.
    return std::fabs(chosen) < 9.2e18 ? static_cast<int64>(chosen) : 0;
}

template <class Char>
int32 ParseSigned(const Char* text, uint32 length, int32 maximum) {
    if (IsWordNoCase(text, length, "true")) return 1;
    if (IsWordNoCase(text, length, "false")) return 0;
    const uint64 limit = maximum < 0 ? 0 : static_cast<uint64>(maximum);
    return static_cast<int32>(ParseInteger<Char, true>(text, length, limit, __FILE__, __LINE__));
}

template <class Char>
uint32 ParseUnsigned(const Char* text, uint32 length, uint32 maximum) {
    return static_cast<uint32>(ParseInteger<Char, false>(text, length, maximum, __FILE__, __LINE__));
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

// Number of decimal digits of `magnitude` (1 for zero).
int DigitCount(uint64 magnitude) noexcept {
    int count = 1;
    while (magnitude >= 10) {
        magnitude /= 10;
        ++count;
    }
    return count;
}

// Writes the digits of `magnitude` right-aligned in [begin, begin + count).
void WriteDigits(uint64 magnitude, char* begin, int count) noexcept {
    for (int i = count - 1; i >= 0; --i) {
        begin[i] = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    }
}

int32 Digitize(uint64 magnitude, bool negative, char* buffer, int32 size) noexcept {
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

// A non-negative value in fixed form with two fraction digits, rounded half
// up, in `room` characters and a terminator; the exponent form when it does
// not fit or is too small to show.
int32 DigitizeMagnitude(double value, char* buffer, int32 room) {
    constexpr int kFractionDigits = 2;
    constexpr double kScale = 100.0;
    double integer = std::floor(value);
    double fraction = std::floor((value - integer) * kScale + 0.5);
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
    if (width > room + 1 || (value != 0 && value <= std::pow(0.1, room - kFractionDigits)))
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
    int written = count == 0 ? 0
                             : SystemUtility::MultiByteToWideChar(
                                   digits, count, buffer, size, SystemUtility::GetMultiByteCodePage());
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
uint32 SUDataConvert::XTCharToUnsignedLongData(const wchar_t* text, uint32 length,
                                               uint32 maximum) {
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
    const uint64 magnitude = negative ? static_cast<uint64>(-static_cast<int64>(value))
                                      : static_cast<uint64>(value);
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

int32 SUDataConvert::XTDigitizeBinaryUnsignedLongData(uint32 value, wchar_t* buffer,
                                                      int32 size) {
    char digits[256];
    return WidenDigits(digits, DigitizeBinaryUnsignedLongData(value, digits, sizeof digits),
                       buffer, size);
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
