// Conversions of SQL text and names between the system's wide strings
// (XTString, 32-bit units), narrow strings in a code page (XTNString) and
// 16-bit UTF-16 code units handed over by callers.
#pragma once

#include <cstddef>
#include <memory>

#include "Utility/Generic/Portable/SUPTypes.h"
#include "Utility/Generic/SUGExport.h"
#include "Utility/Generic/SUGXTString.h"

// The most narrow bytes one 16-bit unit can become in any code page; it sizes
// every narrow output buffer.
inline constexpr int MAX_NCHAR_PER_WCHAR = 4;

// The UTF-16 rope: an immutable sequence of 16-bit code units whose storage is
// shared by reference counting, so copies and results pass on without copying
// the units. Its size is counted in units. A rope built from a zero-terminated
// buffer never holds a 0 unit. Copying, assigning and reading are safe from
// several threads at once (the storage never changes).
class XTS_EXPORT UTF16String {
public:
    // The empty rope (holds no storage).
    UTF16String() noexcept = default;
    // The units of `zeroTerminated` up to its first 0 unit; a null pointer
    // gives the empty rope.
    explicit UTF16String(const UTF16Char* zeroTerminated);

    std::size_t size() const noexcept { return m_size; }
    bool empty() const noexcept { return m_size == 0; }
    // The unit at `index`; an index at or beyond size() is an assertion failure.
    UTF16Char operator[](std::size_t index) const;
    // Copies all size() units, contiguously and without a terminator, to
    // `destination`, which must have room for them.
    void Flatten(UTF16Char* destination) const noexcept;

    const UTF16Char* begin() const noexcept { return m_units.get(); }
    const UTF16Char* end() const noexcept { return m_units.get() + m_size; }

    // Whether both ropes hold the same units.
    friend XTS_EXPORT bool operator==(const UTF16String& left, const UTF16String& right) noexcept;
    // Whether both ropes share one storage block (copies of each other).
    bool SharesStorageWith(const UTF16String& other) const noexcept {
        return m_units != nullptr && m_units == other.m_units;
    }

private:
    std::shared_ptr<const UTF16Char[]> m_units;
    std::size_t m_size = 0;
};

// Static conversions between wide, narrow and 16-bit text. Every conversion
// works through local buffers of 256 elements and uses the heap only for
// longer text (and for its result). An embedded 0 ends the result in every
// direction.
//
// Wide and 16-bit text map unit for unit: a character above U+FFFF loses its
// high bits on the way to 16 bits, and a surrogate pair from the 16-bit side
// stays two wide characters. Narrow text goes through the platform converters
// with `codePage` (0 is the default code page, 65001 UTF-8); those form and
// combine surrogate pairs. A conversion the platform converter refuses
// (invalid input, an unknown code page) is a programming error: the process
// aborts through the assertion handler.
class XTS_EXPORT UTF16StringUtil {
public:
    // Each wide unit contributes its low 16 bits.
    static void XTStringToUTF16String(XTString const& from, UTF16String& to);
    // A null or empty text gives the empty rope.
    static UTF16String XTStringToUTF16String(wchar_t const* from);

    static void UTF16StringToXTString(UTF16String const& from, XTString& to);
    // Reads bufferBytes / 2 units (an odd last byte is ignored); a null
    // `from` gives the empty string.
    static XTString UTF16StringToXTString(unsigned short const* from, unsigned int bufferBytes);

    // Converts the whole string with its terminator.
    static void XTNStringToUTF16String(XTNString const& from, UTF16String& to,
                                       unsigned int codePage);
    // Converts the zero-terminated text in the first `bufferBytes` bytes of
    // `from`. Null, empty, or `bufferBytes` of 1 or less give the empty rope
    // without converting; a text with no terminator within `bufferBytes` is an
    // assertion failure.
    static UTF16String XTNStringToUTF16String(char const* from, unsigned int bufferBytes,
                                              unsigned int codePage);

    // An empty rope gives the empty string without converting.
    static void UTF16StringToXTNString(UTF16String const& from, XTNString& to,
                                       unsigned int codePage);
    // Converts bufferBytes / 2 units. A null `from`, fewer than 2 bytes or a
    // first unit of 0 give the empty string without converting.
    static XTNString UTF16StringToXTNString(unsigned short const* from, unsigned int bufferBytes,
                                            unsigned int codePage);
};
