// TarvelNumber: the decimal number of the platform, the value of a Numeric
// column.
//
// A number is kept as its canonical image, a base-100 floating format of 1 to
// 21 bytes (22 is the capacity a Numeric column reserves):
//   zero       the single byte 0x80;
//   non-zero   +-m x 100^e with 1 <= m < 100, m written as base-100 digits
//              d1 d2 .. dn (d1 != 0, no trailing zero digit, n <= 20),
//              e from kMinExponent (-64) to kMaxExponent (62);
//   positive   first byte 0xC1 + e, then each digit as d + 1;
//   negative   first byte 0x3E - e, then each digit as 101 - d, then the
//              terminator byte 102 when n < 20.
// Examples: 1 = C1 02; 100 = C2 02; 123.45 = C2 02 18 2E; 0.5 = C0 33;
// -1 = 3E 64 66; -123.45 = 3D 64 4E 38 66.
//
// Every canonical image stands for one value and every value has one image,
// so equal numbers have equal images, and the byte-wise (memcmp, shorter
// prefix first) order of two images is the numeric order of their values.
//
// The object is a fixed-size value (no heap memory): construction from
// integers, the integer accessors and the byte-vector reader and writer run
// per value in the converters and never allocate.
#pragma once

#include <compare>
#include <cstddef>
#include <string_view>

#include "Utility/Generic/Portable/SUPTypes.h"
#include "Utility/Generic/SUGDataBlobUtil.h"
#include "Utility/Generic/SUGExport.h"
#include "Utility/Generic/SUGXTString.h"

class XTS_EXPORT TarvelNumber {
public:
    // The largest image a Numeric column reserves room for.
    static constexpr std::size_t kMaxImageLength = 22;
    // The longest canonical image: the exponent byte and 20 digits, or the
    // exponent byte, 19 digits and the terminator of a negative number.
    static constexpr std::size_t kMaxCanonicalImageLength = 21;
    // Size of the 32-bit byte count in front of the image in a byte vector.
    static constexpr std::size_t kCountLength = 4;
    // The longest byte vector: count and the largest image.
    static constexpr std::size_t kMaxByteVectorLength = kCountLength + kMaxImageLength;
    // Bytes a Numeric column occupies in a record: count, image, padding.
    static constexpr std::size_t kFieldLength = 28;
    // Base-100 digits kept; values are rounded half away from zero to them.
    static constexpr int kMaxDigitCount = 20;
    // Range of the base-100 exponent e of the leading digit.
    static constexpr int kMinExponent = -64;
    static constexpr int kMaxExponent = 62;
    // Longest text of ToString/ToChars (no terminator): "-0." followed by 127
    // zeros and 39 digits.
    static constexpr std::size_t kMaxTextLength = 169;

    static constexpr unsigned char kZeroByte = 0x80;
    static constexpr unsigned char kNegativeTerminator = 102;

    // Zero.
    TarvelNumber() noexcept : m_length(1), m_image{kZeroByte} {}

    // Exact conversions from every integer type.
    explicit TarvelNumber(signed char value) noexcept { SetSigned(value); }
    explicit TarvelNumber(unsigned char value) noexcept { SetUnsigned(value, false); }
    explicit TarvelNumber(short value) noexcept { SetSigned(value); }
    explicit TarvelNumber(unsigned short value) noexcept { SetUnsigned(value, false); }
    explicit TarvelNumber(int value) noexcept { SetSigned(value); }
    explicit TarvelNumber(unsigned int value) noexcept { SetUnsigned(value, false); }
    explicit TarvelNumber(long value) noexcept { SetSigned(value); }
    explicit TarvelNumber(unsigned long value) noexcept { SetUnsigned(value, false); }
    explicit TarvelNumber(long long value) noexcept { SetSigned(value); }
    explicit TarvelNumber(unsigned long long value) noexcept { SetUnsigned(value, false); }

    // From a floating value: the shortest decimal digits that read back as the
    // same value, so asFloat32 (for a float) or asDouble (for a double) give
    // the value back exactly. -0.0 gives zero; magnitudes below 100^-64
    // (1e-128) give zero. Raises 46224 ("FLOAT" or "DOUBLE PRECISION",
    // "NUMERIC") for NaN, +infinity and values of 100^63 (1e126) or more, and
    // 46225 for -infinity and values of -1e126 or less.
    explicit TarvelNumber(float value);
    explicit TarvelNumber(double value);

    // Builds a number from a raw image; throws 46302 unless the image is
    // canonical (see the class comment).
    static TarvelNumber FromImage(const unsigned char* image, std::size_t length);
    // Whether `length` bytes at `image` are a canonical image.
    static bool IsCanonicalImage(const unsigned char* image, std::size_t length) noexcept;

    // Appends the 32-bit unsigned byte count (little-endian) and the image.
    void ToByteVector(ByteVector& out) const;
    // Writes the count and the image at `p`, which must have room for
    // GetByteVectorLength() bytes; returns the position just past them.
    unsigned char* ToBuffer(unsigned char* p) const noexcept;
    // Bytes written by ToByteVector and ToBuffer: 4 + GetImageLength().
    std::size_t GetByteVectorLength() const noexcept { return kCountLength + m_length; }

    // Reads a count and an image written by ToByteVector and returns the
    // position just past them. The buffer is trusted to hold them. A count of
    // 0 (the form of a null column) reads as zero. A count above 22 or an
    // image that is not canonical throws 46302 without reading the image.
    const unsigned char* FromByteVector(const unsigned char* p);
    // The same, reading nothing at or beyond `end`: a buffer that ends inside
    // the count or the image throws 46302. On any error the number is left
    // unchanged.
    const unsigned char* FromByteVector(const unsigned char* p, const unsigned char* end);

    // Accessors: the value truncated toward zero, so any value strictly
    // between -1 and 1 gives 0, for unsigned targets too (the range is
    // checked after truncation). A truncated value above the target's range
    // raises 46224, below it 46225, with "NUMERIC" and the target's display
    // name ("TINYINT", "UNSIGNED TINYINT", "SMALLINT", "UNSIGNED SMALLINT",
    // "INTEGER", "UNSIGNED INTEGER", "BIGINT", "UNSIGNED BIGINT").
    int8 asInt1() const;
    uint8 asUInt1() const;
    int16 asInt2() const;
    uint16 asUInt2() const;
    int32 asInt4() const;
    uint32 asUInt4() const;
    int64 asInt8() const;    // 64-bit, same as asInt64
    uint64 asUInt8() const;  // 64-bit, same as asUInt64
    int64 asInt64() const { return asInt8(); }
    uint64 asUInt64() const { return asUInt8(); }
    // The correctly rounded nearest float or double (ties to even). Beyond
    // the type's finite range: 46224 or 46225 with "NUMERIC" and "FLOAT" or
    // "DOUBLE PRECISION" (a double always holds a number's range). Magnitudes
    // below the smallest subnormal round to a zero of the number's sign.
    float asFloat32() const;
    double asDouble() const;

    // Plain decimal text, no exponent: "-123.45", "0", "0.005",
    // "1000000". At most kMaxTextLength characters.
    XTString ToString() const;
    XTNString ToNString() const;
    // Writes the text of ToString into [first, last) without a terminator and
    // returns the position just past it, or null (nothing written) when the
    // room is too small. kMaxTextLength characters are always enough.
    char* ToChars(char* first, char* last) const noexcept;
    wchar_t* ToChars(wchar_t* first, wchar_t* last) const noexcept;

    // Parses [white space][sign]digits[.digits][e|E[sign]digits][white space]
    // (digits before or after the point, or both). More significant digits
    // than 20 base-100 digits hold are rounded half away from zero; values
    // below 100^-64 in magnitude become zero. Returns false, leaving `number`
    // unchanged, for any other text or a value of 1e126 or more in magnitude.
    static bool TryParse(std::wstring_view text, TarvelNumber& number) noexcept;
    static bool TryParse(std::string_view text, TarvelNumber& number) noexcept;

    bool IsZero() const noexcept { return m_image[0] == kZeroByte; }
    bool IsNegative() const noexcept { return m_image[0] < kZeroByte; }
    // The base-100 exponent e of the leading digit (0 for zero).
    int GetExponent() const noexcept;
    // The number of base-100 digits (0 for zero).
    int GetDigitCount() const noexcept;

    // The canonical image.
    const unsigned char* GetImage() const noexcept { return m_image; }
    std::size_t GetImageLength() const noexcept { return m_length; }

    // Numeric order (the byte order of the images).
    bool operator==(const TarvelNumber& other) const noexcept;
    std::strong_ordering operator<=>(const TarvelNumber& other) const noexcept;

private:
    template <class T>
    void SetSigned(T value) noexcept {
        if (value < 0)
            SetUnsigned(0ULL - static_cast<unsigned long long>(value), true);
        else
            SetUnsigned(static_cast<unsigned long long>(value), false);
    }
    void SetUnsigned(unsigned long long magnitude, bool negative) noexcept;
    // Stores +-d1.d2..dn x 100^exponent; the digits (0..99, most significant
    // first) must be canonical and the exponent in range. A count of 0 is zero.
    void SetDigits(bool negative, int exponent, const unsigned char* digits, int count) noexcept;
    template <class Floating>
    void SetFloating(Floating value, const char* sourceName);
    // The magnitude of the value truncated toward zero; false when it does
    // not fit in 64 bits.
    bool GetIntegerMagnitude(uint64& magnitude) const noexcept;
    template <class Integer>
    Integer ToInteger(const char* targetName) const;
    template <class Floating>
    Floating ToFloating(const char* targetName) const;

    unsigned char m_length;
    unsigned char m_image[kMaxImageLength];
};
