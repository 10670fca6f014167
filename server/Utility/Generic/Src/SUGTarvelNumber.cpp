#include "Utility/Generic/SUGTarvelNumber.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <system_error>

#include "Utility/Generic/SUGAssert.h"
#include "Utility/Generic/SUGErrorMessage.h"

namespace {

constexpr unsigned char kPositiveExponentBias = 0xC1;  // first byte of +1 x 100^0
constexpr unsigned char kNegativeExponentBias = 0x3E;  // first byte of -1 x 100^0
constexpr unsigned char kUnusedFirstByte = 0x7F;       // between negatives and zero
constexpr const char* kNumericName = "NUMERIC";

// Significant decimal digits a parser keeps: 20 base-100 digits hold up to 40
// of them (39 when the leading digit is below 10), and the digit after them
// decides the rounding. Digits further right cannot change the result of a
// rounding half away from zero.
constexpr int kKeptDecimalDigits = 2 * TarvelNumber::kMaxDigitCount + 1;

// Decimal points further than this from the first significant digit are
// certainly beyond the exponent range; clamping keeps the arithmetic small.
constexpr int64 kPointClamp = 1000;

// A number as sign, exponent and base-100 digits; count 0 is zero.
struct DigitForm {
    bool negative = false;
    int exponent = 0;
    int count = 0;
    unsigned char digits[TarvelNumber::kMaxDigitCount] = {};
};

enum class DecimalStatus { kOk, kOverflow, kSyntax };

bool IsNegativeImage(const unsigned char* image) noexcept {
    return image[0] < TarvelNumber::kZeroByte;
}

int ImageExponent(const unsigned char* image) noexcept {
    if (image[0] == TarvelNumber::kZeroByte) return 0;
    return IsNegativeImage(image) ? kNegativeExponentBias - image[0]
                                  : image[0] - kPositiveExponentBias;
}

int ImageDigitCount(const unsigned char* image, std::size_t length) noexcept {
    if (image[0] == TarvelNumber::kZeroByte) return 0;
    if (IsNegativeImage(image) && image[length - 1] == TarvelNumber::kNegativeTerminator)
        return static_cast<int>(length) - 2;
    return static_cast<int>(length) - 1;
}

// The base-100 digit of image byte `b`.
unsigned ImageDigit(unsigned char b, bool negative) noexcept {
    return negative ? 101u - b : b - 1u;
}

// The significant decimal digits D of a canonical non-zero image, without
// leading or trailing zeros, and the point position P such that the
// magnitude is 0.D x 10^P. Returns the digit count (at most 40).
int ImageDecimalDigits(const unsigned char* image, std::size_t length, char* digits,
                       int& point) noexcept {
    const bool negative = IsNegativeImage(image);
    const int count = ImageDigitCount(image, length);
    int written = 0;
    for (int i = 0; i < count; ++i) {
        const unsigned d = ImageDigit(image[1 + i], negative);
        digits[written++] = static_cast<char>('0' + d / 10);
        digits[written++] = static_cast<char>('0' + d % 10);
    }
    point = 2 * (ImageExponent(image) + 1);
    if (digits[0] == '0') {
        std::memmove(digits, digits + 1, static_cast<std::size_t>(--written));
        --point;
    }
    if (digits[written - 1] == '0') --written;
    return written;
}

// Builds the digit form of +-0.D x 10^point, where D (count >= 1 digits, the
// first non-zero, at most kKeptDecimalDigits) are the leading significant
// digits: rounds half away from zero to 20 base-100 digits, gives zero below
// the exponent range and kOverflow above it.
DecimalStatus FromDecimalDigits(bool negative, const char* decimal, int count, int64 point,
                                DigitForm& form) noexcept {
    form = DigitForm{};
    if (point > kPointClamp) return DecimalStatus::kOverflow;
    if (point < -kPointClamp) return DecimalStatus::kOk;  // zero
    // Align the digits on base-100 boundaries: an odd point gets a leading 0.
    char padded[kKeptDecimalDigits + 1];
    int paddedCount = 0;
    int64 pairPoint;
    if (point % 2 != 0) {
        padded[paddedCount++] = '0';
        pairPoint = (point + 1) / 2;
    } else {
        pairPoint = point / 2;
    }
    for (int i = 0; i < count; ++i) padded[paddedCount++] = decimal[i];

    const int kMax = TarvelNumber::kMaxDigitCount;
    int pairCount = std::min(kMax, (paddedCount + 1) / 2);
    for (int i = 0; i < pairCount; ++i) {
        const int high = padded[2 * i] - '0';
        const int low = 2 * i + 1 < paddedCount ? padded[2 * i + 1] - '0' : 0;
        form.digits[i] = static_cast<unsigned char>(high * 10 + low);
    }
    // The 21st base-100 digit is at least 50 exactly when its tens digit is
    // at least 5: round the magnitude up.
    if (paddedCount > 2 * kMax && padded[2 * kMax] >= '5') {
        int i = kMax - 1;
        while (i >= 0 && form.digits[i] == 99) form.digits[i--] = 0;
        if (i >= 0) {
            ++form.digits[i];
        } else {  // 99.99..99 rounds to 100
            form.digits[0] = 1;
            pairCount = 1;
            ++pairPoint;
        }
    }
    while (form.digits[pairCount - 1] == 0) --pairCount;

    const int64 exponent = pairPoint - 1;
    if (exponent > TarvelNumber::kMaxExponent) return DecimalStatus::kOverflow;
    if (exponent < TarvelNumber::kMinExponent) {
        form = DigitForm{};
        return DecimalStatus::kOk;
    }
    form.negative = negative;
    form.exponent = static_cast<int>(exponent);
    form.count = pairCount;
    return DecimalStatus::kOk;
}

template <class Char>
bool IsSpace(Char c) noexcept {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

template <class Char>
bool IsDigit(Char c) noexcept {
    return c >= '0' && c <= '9';
}

// Parses [white space][sign]digits[.digits][e|E[sign]digits][white space].
template <class Char>
DecimalStatus ParseDecimalText(const Char* p, const Char* end, DigitForm& form) noexcept {
    while (p < end && IsSpace(*p)) ++p;
    bool negative = false;
    if (p < end && (*p == '+' || *p == '-')) negative = *p++ == '-';

    char kept[kKeptDecimalDigits];
    int keptCount = 0;
    int64 point = 0;  // digits of the integer part from the first significant one
    bool anyDigit = false;
    bool significant = false;
    for (; p < end && IsDigit(*p); ++p) {
        anyDigit = true;
        if (!significant && *p == '0') continue;
        significant = true;
        if (keptCount < kKeptDecimalDigits) kept[keptCount++] = static_cast<char>(*p);
        ++point;
    }
    if (p < end && *p == '.') {
        for (++p; p < end && IsDigit(*p); ++p) {
            anyDigit = true;
            if (!significant && *p == '0') {
                --point;
                continue;
            }
            significant = true;
            if (keptCount < kKeptDecimalDigits) kept[keptCount++] = static_cast<char>(*p);
        }
    }
    if (!anyDigit) return DecimalStatus::kSyntax;

    if (p < end && (*p == 'e' || *p == 'E')) {
        ++p;
        bool exponentNegative = false;
        if (p < end && (*p == '+' || *p == '-')) exponentNegative = *p++ == '-';
        if (p == end || !IsDigit(*p)) return DecimalStatus::kSyntax;
        int64 exponent = 0;
        for (; p < end && IsDigit(*p); ++p)
            if (exponent < kPointClamp * 1000) exponent = exponent * 10 + (*p - '0');
        point += exponentNegative ? -exponent : exponent;
    }
    while (p < end && IsSpace(*p)) ++p;
    if (p != end) return DecimalStatus::kSyntax;

    if (!significant) {
        form = DigitForm{};
        return DecimalStatus::kOk;
    }
    return FromDecimalDigits(negative, kept, keptCount, point, form);
}

// Writes the plain decimal text of a canonical image; returns its length.
std::size_t FormatPlain(const unsigned char* image, std::size_t length, char* out) noexcept {
    if (image[0] == TarvelNumber::kZeroByte) {
        out[0] = '0';
        return 1;
    }
    char digits[2 * TarvelNumber::kMaxDigitCount];
    int point = 0;
    const int count = ImageDecimalDigits(image, length, digits, point);
    char* p = out;
    if (IsNegativeImage(image)) *p++ = '-';
    if (point <= 0) {
        *p++ = '0';
        *p++ = '.';
        p = std::fill_n(p, -point, '0');
        p = std::copy_n(digits, count, p);
    } else if (point >= count) {
        p = std::copy_n(digits, count, p);
        p = std::fill_n(p, point - count, '0');
    } else {
        p = std::copy_n(digits, point, p);
        *p++ = '.';
        p = std::copy_n(digits + point, count - point, p);
    }
    return static_cast<std::size_t>(p - out);
}

template <class Char>
Char* CopyText(const unsigned char* image, std::size_t length, Char* first, Char* last) noexcept {
    char text[TarvelNumber::kMaxTextLength];
    const std::size_t count = FormatPlain(image, length, text);
    if (first == nullptr || last < first || static_cast<std::size_t>(last - first) < count)
        return nullptr;
    for (std::size_t i = 0; i < count; ++i) first[i] = static_cast<Char>(text[i]);
    return first + count;
}

template <class Floating>
struct FloatingTraits;
template <>
struct FloatingTraits<double> {
    static constexpr int kExactPowers = 22;  // 10^22 is the largest exact power
    static constexpr uint64 kExactMantissa = uint64{1} << 53;
    static constexpr double kPowers[kExactPowers + 1] = {
        1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
        1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
};
template <>
struct FloatingTraits<float> {
    static constexpr int kExactPowers = 10;
    static constexpr uint64 kExactMantissa = uint64{1} << 24;
    static constexpr float kPowers[kExactPowers + 1] = {1e0f, 1e1f, 1e2f, 1e3f, 1e4f, 1e5f,
                                                        1e6f, 1e7f, 1e8f, 1e9f, 1e10f};
};

}  // namespace

// ---------------------------------------------------------------- building

void TarvelNumber::SetDigits(bool negative, int exponent, const unsigned char* digits,
                             int count) noexcept {
    if (count == 0) {
        m_length = 1;
        m_image[0] = kZeroByte;
        return;
    }
    XTAssert(count <= kMaxDigitCount && digits[0] != 0 && digits[count - 1] != 0);
    XTAssert(exponent >= kMinExponent && exponent <= kMaxExponent);
    if (negative) {
        m_image[0] = static_cast<unsigned char>(kNegativeExponentBias - exponent);
        for (int i = 0; i < count; ++i)
            m_image[1 + i] = static_cast<unsigned char>(101 - digits[i]);
        if (count < kMaxDigitCount) {
            m_image[1 + count] = kNegativeTerminator;
            m_length = static_cast<unsigned char>(count + 2);
        } else {
            m_length = static_cast<unsigned char>(count + 1);
        }
    } else {
        m_image[0] = static_cast<unsigned char>(kPositiveExponentBias + exponent);
        for (int i = 0; i < count; ++i) m_image[1 + i] = static_cast<unsigned char>(digits[i] + 1);
        m_length = static_cast<unsigned char>(count + 1);
    }
}

void TarvelNumber::SetUnsigned(unsigned long long magnitude, bool negative) noexcept {
    // A 64-bit integer has at most 10 base-100 digits.
    unsigned char reversed[10];
    int count = 0;
    while (magnitude != 0) {
        reversed[count++] = static_cast<unsigned char>(magnitude % 100);
        magnitude /= 100;
    }
    int lowest = 0;
    while (lowest < count && reversed[lowest] == 0) ++lowest;
    unsigned char digits[10];
    for (int i = count - 1; i >= lowest; --i) digits[count - 1 - i] = reversed[i];
    SetDigits(negative, count - 1, digits, count - lowest);
}

template <class Floating>
void TarvelNumber::SetFloating(Floating value, const char* sourceName) {
    if (std::isnan(value)) SUGThrow(kMsgValueOverflow, sourceName, kNumericName);
    if (std::isinf(value)) {
        if (value > 0) SUGThrow(kMsgValueOverflow, sourceName, kNumericName);
        SUGThrow(kMsgValueUnderflow, sourceName, kNumericName);
    }
    if (value == 0) {
        SetDigits(false, 0, nullptr, 0);
        return;
    }
    // The shortest digits that read back as the same value.
    char text[64];
    const std::to_chars_result result =
        std::to_chars(text, text + sizeof text, value, std::chars_format::scientific);
    XTAssert(result.ec == std::errc{});
    DigitForm form;
    const DecimalStatus status = ParseDecimalText<char>(text, result.ptr, form);
    if (status == DecimalStatus::kOverflow)
        SUGThrow(value > 0 ? kMsgValueOverflow : kMsgValueUnderflow, sourceName, kNumericName);
    XTAssert(status == DecimalStatus::kOk);
    SetDigits(form.negative, form.exponent, form.digits, form.count);
}

TarvelNumber::TarvelNumber(float value) {
    SetFloating(value, "FLOAT");
}
TarvelNumber::TarvelNumber(double value) {
    SetFloating(value, "DOUBLE PRECISION");
}

bool TarvelNumber::IsCanonicalImage(const unsigned char* image, std::size_t length) noexcept {
    if (image == nullptr || length == 0 || length > kMaxCanonicalImageLength) return false;
    const unsigned char first = image[0];
    if (first == kZeroByte) return length == 1;
    if (first == kUnusedFirstByte || length < 2) return false;
    const bool negative = first < kZeroByte;
    std::size_t count = length - 1;
    if (negative) {
        if (image[length - 1] == kNegativeTerminator)
            --count;
        else if (count != static_cast<std::size_t>(kMaxDigitCount))
            return false;
    }
    if (count == 0 || count > static_cast<std::size_t>(kMaxDigitCount)) return false;
    // Digit bytes: d + 1 (1..100) for positives, 101 - d (2..101) for negatives.
    const unsigned char lowest = negative ? 2 : 1;
    const unsigned char highest = negative ? 101 : 100;
    const unsigned char zeroDigit = negative ? 101 : 1;
    for (std::size_t i = 1; i <= count; ++i)
        if (image[i] < lowest || image[i] > highest) return false;
    return image[1] != zeroDigit && image[count] != zeroDigit;
}

TarvelNumber TarvelNumber::FromImage(const unsigned char* image, std::size_t length) {
    if (!IsCanonicalImage(image, length))
        SUGThrow(kMsgTruncatedByteVector, "NUMERIC image (not canonical)", length, length);
    TarvelNumber number;
    std::memcpy(number.m_image, image, length);
    number.m_length = static_cast<unsigned char>(length);
    return number;
}

// ---------------------------------------------------------------- byte vectors

unsigned char* TarvelNumber::ToBuffer(unsigned char* p) const noexcept {
    DataBlobUtil::PutLittleEndianUInt32(p, m_length);
    std::memcpy(p + kCountLength, m_image, m_length);
    return p + kCountLength + m_length;
}

void TarvelNumber::ToByteVector(ByteVector& out) const {
    const std::size_t start = out.size();
    out.resize(start + GetByteVectorLength());
    ToBuffer(out.data() + start);
}

const unsigned char* TarvelNumber::FromByteVector(const unsigned char* p) {
    const uint32 count = DataBlobUtil::GetLittleEndianUInt32(p);
    p += kCountLength;
    if (count == 0) {
        SetDigits(false, 0, nullptr, 0);
        return p;
    }
    if (count > kMaxImageLength)
        SUGThrow(kMsgTruncatedByteVector, "NUMERIC image", count, kMaxImageLength);
    *this = FromImage(p, count);
    return p + count;
}

const unsigned char* TarvelNumber::FromByteVector(const unsigned char* p,
                                                  const unsigned char* end) {
    const std::size_t available = p != nullptr && end > p ? static_cast<std::size_t>(end - p) : 0;
    if (available < kCountLength)
        SUGThrow(kMsgTruncatedByteVector, kNumericName, kCountLength, available);
    const uint32 count = DataBlobUtil::GetLittleEndianUInt32(p);
    if (count > kMaxImageLength)
        SUGThrow(kMsgTruncatedByteVector, "NUMERIC image", count, kMaxImageLength);
    if (available - kCountLength < count)
        SUGThrow(kMsgTruncatedByteVector, kNumericName, kCountLength + count, available);
    return FromByteVector(p);
}

// ---------------------------------------------------------------- accessors

int TarvelNumber::GetExponent() const noexcept {
    return ImageExponent(m_image);
}

int TarvelNumber::GetDigitCount() const noexcept {
    return ImageDigitCount(m_image, m_length);
}

bool TarvelNumber::GetIntegerMagnitude(uint64& magnitude) const noexcept {
    magnitude = 0;
    if (IsZero()) return true;
    const int exponent = GetExponent();
    if (exponent < 0) return true;     // |value| < 1
    if (exponent >= 10) return false;  // |value| >= 100^10 > 2^64
    const bool negative = IsNegative();
    const int count = GetDigitCount();
    uint64 value = 0;
    for (int i = 0; i <= exponent; ++i) {
        const unsigned digit = i < count ? ImageDigit(m_image[1 + i], negative) : 0;
        if (value > (std::numeric_limits<uint64>::max() - digit) / 100) return false;
        value = value * 100 + digit;
    }
    magnitude = value;
    return true;
}

template <class Integer>
Integer TarvelNumber::ToInteger(const char* targetName) const {
    using Limits = std::numeric_limits<Integer>;
    uint64 magnitude = 0;
    const bool fits = GetIntegerMagnitude(magnitude);
    if (!IsNegative()) {
        if (!fits || magnitude > static_cast<uint64>(Limits::max()))
            SUGThrow(kMsgValueOverflow, kNumericName, targetName);
        return static_cast<Integer>(magnitude);
    }
    if (fits && magnitude == 0) return 0;  // -1 < value < 0 truncates to 0
    if constexpr (Limits::is_signed) {
        if (fits && magnitude <= static_cast<uint64>(Limits::max()) + 1)
            return static_cast<Integer>(-static_cast<int64>(magnitude - 1) - 1);
    }
    SUGThrow(kMsgValueUnderflow, kNumericName, targetName);
}

int8 TarvelNumber::asInt1() const {
    return ToInteger<int8>("TINYINT");
}
uint8 TarvelNumber::asUInt1() const {
    return ToInteger<uint8>("UNSIGNED TINYINT");
}
int16 TarvelNumber::asInt2() const {
    return ToInteger<int16>("SMALLINT");
}
uint16 TarvelNumber::asUInt2() const {
    return ToInteger<uint16>("UNSIGNED SMALLINT");
}
int32 TarvelNumber::asInt4() const {
    return ToInteger<int32>("INTEGER");
}
uint32 TarvelNumber::asUInt4() const {
    return ToInteger<uint32>("UNSIGNED INTEGER");
}
int64 TarvelNumber::asInt8() const {
    return ToInteger<int64>("BIGINT");
}
uint64 TarvelNumber::asUInt8() const {
    return ToInteger<uint64>("UNSIGNED BIGINT");
}

template <class Floating>
Floating TarvelNumber::ToFloating(const char* targetName) const {
    using Traits = FloatingTraits<Floating>;
    if (IsZero()) return 0;
    const bool negative = IsNegative();
    const int count = GetDigitCount();
    // Exact fast path: a mantissa and a power of ten that are both exact in
    // the type give the correctly rounded result in one operation.
    if (count <= 7) {
        uint64 mantissa = 0;
        for (int i = 0; i < count; ++i)
            mantissa = mantissa * 100 + ImageDigit(m_image[1 + i], negative);
        const int power = 2 * (GetExponent() - count + 1);
        if (mantissa <= Traits::kExactMantissa && power >= -Traits::kExactPowers &&
            power <= Traits::kExactPowers) {
            Floating value = static_cast<Floating>(mantissa);
            value = power >= 0 ? value * Traits::kPowers[power] : value / Traits::kPowers[-power];
            return negative ? -value : value;
        }
    }
    // Otherwise the correctly rounded reading of "-d.ddd" "e" exponent.
    char digits[2 * kMaxDigitCount];
    int point = 0;
    const int digitCount = ImageDecimalDigits(m_image, m_length, digits, point);
    char text[64];
    char* p = text;
    if (negative) *p++ = '-';
    *p++ = digits[0];
    if (digitCount > 1) {
        *p++ = '.';
        p = std::copy_n(digits + 1, digitCount - 1, p);
    }
    *p++ = 'e';
    p = std::to_chars(p, text + sizeof text, point - 1).ptr;
    Floating value = 0;
    const std::from_chars_result result = std::from_chars(text, p, value);
    if (result.ec == std::errc::result_out_of_range) {
        if (point > 0)
            SUGThrow(negative ? kMsgValueUnderflow : kMsgValueOverflow, kNumericName, targetName);
        return negative ? -Floating(0) : Floating(0);  // below the smallest subnormal
    }
    XTAssert(result.ec == std::errc{} && result.ptr == p);
    if (std::isinf(value))
        SUGThrow(negative ? kMsgValueUnderflow : kMsgValueOverflow, kNumericName, targetName);
    return value;
}

float TarvelNumber::asFloat32() const {
    return ToFloating<float>("FLOAT");
}
double TarvelNumber::asDouble() const {
    return ToFloating<double>("DOUBLE PRECISION");
}

// ---------------------------------------------------------------- text

char* TarvelNumber::ToChars(char* first, char* last) const noexcept {
    return CopyText(m_image, m_length, first, last);
}

wchar_t* TarvelNumber::ToChars(wchar_t* first, wchar_t* last) const noexcept {
    return CopyText(m_image, m_length, first, last);
}

XTString TarvelNumber::ToString() const {
    wchar_t text[kMaxTextLength];
    return XTString(text, ToChars(text, text + kMaxTextLength));
}

XTNString TarvelNumber::ToNString() const {
    char text[kMaxTextLength];
    return XTNString(text, ToChars(text, text + kMaxTextLength));
}

namespace {
template <class Char>
bool TryParseText(std::basic_string_view<Char> text, DigitForm& form) noexcept {
    return ParseDecimalText(text.data(), text.data() + text.size(), form) == DecimalStatus::kOk;
}
}  // namespace

bool TarvelNumber::TryParse(std::wstring_view text, TarvelNumber& number) noexcept {
    DigitForm form;
    if (!TryParseText(text, form)) return false;
    number.SetDigits(form.negative, form.exponent, form.digits, form.count);
    return true;
}

bool TarvelNumber::TryParse(std::string_view text, TarvelNumber& number) noexcept {
    DigitForm form;
    if (!TryParseText(text, form)) return false;
    number.SetDigits(form.negative, form.exponent, form.digits, form.count);
    return true;
}

// ---------------------------------------------------------------- order

bool TarvelNumber::operator==(const TarvelNumber& other) const noexcept {
    return m_length == other.m_length && std::memcmp(m_image, other.m_image, m_length) == 0;
}

std::strong_ordering TarvelNumber::operator<=>(const TarvelNumber& other) const noexcept {
    const int compared = std::memcmp(m_image, other.m_image, std::min(m_length, other.m_length));
    if (compared != 0)
        return compared < 0 ? std::strong_ordering::less : std::strong_ordering::greater;
    return m_length <=> other.m_length;
}
