// The five transcoders of SystemUtility. UTF-8 and ISO-8859-1 are converted
// here by hand, for both the wide (32-bit wchar_t) and the UTF-16 side; other
// code pages go to iconv (SUGIconvTranscode.cpp).
//
// Converters call these functions for every value, so the UTF-8 and Latin-1
// paths allocate nothing and look nothing up beyond a switch on the code page.
// ASCII runs are handled eight bytes (or eight wide units) at a time.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <cwchar>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "Transcode.h"
#include "Utf8Codec.h"
#include "Utility/Generic/SUGSystemUtility.h"

namespace {

using xts::transcode::Direction;

// ---- ASCII blocks ----
//
// ASCII runs move eight characters per step. A block whose first n
// characters are ASCII may be stored whole and the position advanced by n:
// the remaining places are written again by the characters that follow, and
// the callers store whole blocks only where the rest of the source is sure to
// fill them (see Utf8ToUnits and UnitsToUtf8).

// Widens eight ASCII bytes to eight units.
template <class Unit>
inline void WidenBlock(std::uint64_t word, Unit* out) noexcept {
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    const __m128i units16 =
        _mm_unpacklo_epi8(_mm_cvtsi64_si128(static_cast<long long>(word)), zero);
    if constexpr (sizeof(Unit) == 2) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), units16);
    } else {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi16(units16, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4), _mm_unpackhi_epi16(units16, zero));
    }
#else
    for (int i = 0; i < 8; ++i) out[i] = static_cast<Unit>((word >> (8 * i)) & 0xFF);
#endif
}

// Packs eight units into eight bytes, exact for the ASCII units (the others
// give bytes of no use). Returns whether all eight are ASCII.
template <class Unit>
inline bool PackBlock(const Unit* p, std::uint64_t& bytes) noexcept {
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    if constexpr (sizeof(Unit) == 2) {
        const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        bytes = static_cast<std::uint64_t>(_mm_cvtsi128_si64(_mm_packus_epi16(units, units)));
        const __m128i high = _mm_and_si128(units, _mm_set1_epi16(-0x80));
        return _mm_movemask_epi8(_mm_cmpeq_epi16(high, zero)) == 0xFFFF;
    } else {
        const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 4));
        // Saturating packs keep the ASCII units as they are.
        const __m128i words = _mm_packs_epi32(low, high);
        bytes = static_cast<std::uint64_t>(_mm_cvtsi128_si64(_mm_packus_epi16(words, words)));
        const __m128i above = _mm_and_si128(_mm_or_si128(low, high), _mm_set1_epi32(-0x80));
        return _mm_movemask_epi8(_mm_cmpeq_epi32(above, zero)) == 0xFFFF;
    }
#else
    std::uint32_t any = 0;
    bytes = 0;
    for (int i = 0; i < 8; ++i) {
        const auto unit = static_cast<std::uint32_t>(p[i]);
        any |= unit;
        bytes |= static_cast<std::uint64_t>(unit & 0xFF) << (8 * i);
    }
    return any < 0x80;
#endif
}

// The number of ASCII units at the start of eight units that are not all
// ASCII.
template <class Unit>
inline int AsciiPrefix(const Unit* p) noexcept {
    int count = 0;
    while (static_cast<std::uint32_t>(p[count]) < 0x80) ++count;
    return count;
}

// ---- UTF-8 to units ----

constexpr std::uint64_t kHighBits = 0x8080808080808080ull;

// UTF-8 to wide (wchar_t, one unit per character) or UTF-16 (UTF16Char,
// surrogate pairs above U+FFFF) units.
template <class Unit>
[[gnu::always_inline]] inline int Utf8ToUnits(const unsigned char* p, std::size_t length,
                                              Unit* destination, std::size_t capacity) noexcept {
    const unsigned char* const end = p + length;
    Unit* out = destination;
    Unit* const outEnd = destination + capacity;
    for (;;) {
        // ASCII eight bytes at a time while both sides have room for eight.
        while (end - p >= 8 && outEnd - out >= 8) {
            std::uint64_t word;
            std::memcpy(&word, p, sizeof word);
            const std::uint64_t high = word & kHighBits;
            if (high != 0) {
                // Keep the ASCII bytes before the first other one. With 32
                // more source bytes there are at least 8 more units, which
                // overwrite whatever the whole block put past the ASCII.
                const int ascii = std::countr_zero(high) / 8;
                if (end - p >= 32) {
                    WidenBlock(word, out);
                } else {
                    for (int i = 0; i < ascii; ++i) out[i] = static_cast<Unit>(p[i]);
                }
                p += ascii;
                out += ascii;
                goto multiByteRun;  // *p is a lead byte and `out` has room
            }
            WidenBlock(word, out);
            p += 8;
            out += 8;
        }
        if (p == end) break;
        if (out == outEnd) return 0;
        if (*p < 0x80) {
            // Fewer than eight bytes or units are left. When the last eight
            // source bytes are all ASCII, widen them at once: those before
            // the tail were ASCII too, so their units sit just before `out`
            // and are rewritten as they are. (A tail that fits the room is
            // shorter than eight, so a source of eight bytes or more holds
            // the whole window.) Tails of one or two bytes are cheaper to
            // copy.
            const std::ptrdiff_t tail = end - p;
            if (tail >= 3 && length >= 8 && tail <= outEnd - out) {
                std::uint64_t word;
                std::memcpy(&word, end - 8, sizeof word);
                if ((word & kHighBits) == 0) {
                    WidenBlock(word, out - (8 - tail));
                    out += tail;
                    break;
                }
            }
            do {
                *out++ = static_cast<Unit>(*p++);
            } while (p < end && out < outEnd && *p < 0x80);
            if (p == end) break;
            if (out == outEnd) return 0;
        }
    multiByteRun:
        // A run of multi-byte sequences. The payload of each continuation
        // byte is byte ^ 0x80, which is above 0x3F exactly when the byte is
        // not a continuation byte.
        do {
            const unsigned first = *p;
            const std::ptrdiff_t available = end - p;
            if (first < 0xE0) {
                if (first < 0xC2 || available < 2) return SystemUtility::kInvalidInput;
                const unsigned c1 = p[1] ^ 0x80u;
                if (c1 > 0x3F) return SystemUtility::kInvalidInput;
                *out++ = static_cast<Unit>(((first & 0x1Fu) << 6) | c1);
                p += 2;
            } else if (first < 0xF0) {
                if (available < 3) return SystemUtility::kInvalidInput;
                const unsigned c1 = p[1] ^ 0x80u;
                const unsigned c2 = p[2] ^ 0x80u;
                if ((c1 | c2) > 0x3F) return SystemUtility::kInvalidInput;
                const char32_t character = ((first & 0x0Fu) << 12) | (c1 << 6) | c2;
                if (character < 0x800 || (character >= 0xD800 && character <= 0xDFFF))
                    return SystemUtility::kInvalidInput;  // overlong or a surrogate
                *out++ = static_cast<Unit>(character);
                p += 3;
            } else {
                if (first > 0xF4 || available < 4) return SystemUtility::kInvalidInput;
                const unsigned c1 = p[1] ^ 0x80u;
                const unsigned c2 = p[2] ^ 0x80u;
                const unsigned c3 = p[3] ^ 0x80u;
                if ((c1 | c2 | c3) > 0x3F) return SystemUtility::kInvalidInput;
                const char32_t character = ((first & 0x07u) << 18) | (c1 << 12) | (c2 << 6) | c3;
                if (character < 0x10000 || character > 0x10FFFF)
                    return SystemUtility::kInvalidInput;  // overlong or too large
                p += 4;
                if constexpr (sizeof(Unit) == sizeof(UTF16Char)) {
                    const char32_t offset = character - 0x10000;
                    *out++ = static_cast<Unit>(0xD800 + (offset >> 10));
                    if (out == outEnd) return 0;  // the pair does not fit whole
                    *out++ = static_cast<Unit>(0xDC00 + (offset & 0x3FF));
                } else {
                    *out++ = static_cast<Unit>(character);
                }
            }
        } while (p < end && out < outEnd && *p >= 0x80);
    }
    return static_cast<int>(out - destination);
}

// ---- Units to UTF-8 ----

// Writes the 2 to 4 bytes of a character; when they do not all fit, writes
// the part that does and returns false.
inline bool PutMultiByte(char32_t character, unsigned char*& out, unsigned char* outEnd) noexcept {
    if (outEnd - out >= 4) {
        out += xts::utf8::EncodeOne(character, out);
        return true;
    }
    unsigned char bytes[4];
    const auto size = static_cast<std::ptrdiff_t>(xts::utf8::EncodeOne(character, bytes));
    const std::ptrdiff_t fits = size < outEnd - out ? size : outEnd - out;
    std::memcpy(out, bytes, static_cast<std::size_t>(fits));
    out += fits;
    return fits == size;
}

// Wide or UTF-16 units to UTF-8. Wide units must be Unicode scalar values;
// UTF-16 surrogates must come in (high, low) pairs.
template <class Unit>
[[gnu::always_inline]] inline int UnitsToUtf8(const Unit* p, std::size_t length,
                                              unsigned char* destination,
                                              std::size_t capacity) noexcept {
    const Unit* const end = p + length;
    unsigned char* out = destination;
    unsigned char* const outEnd = destination + capacity;
    for (;;) {
        // ASCII eight units at a time while both sides have room for eight.
        // Eight more source units give at least eight more bytes, so a whole
        // block may be stored even when only its start is ASCII.
        while (end - p >= 8 && outEnd - out >= 8) {
            std::uint64_t bytes;
            const bool allAscii = PackBlock(p, bytes);
            std::memcpy(out, &bytes, sizeof bytes);
            if (!allAscii) {
                const int count = AsciiPrefix(p);
                p += count;
                out += count;
                goto nonAsciiRun;  // *p is above U+007F and `out` has room
            }
            p += 8;
            out += 8;
        }
        if (p == end) break;
        if (out == outEnd) return 0;
        if (static_cast<std::uint32_t>(*p) < 0x80) {
            // The short ASCII tail, as in Utf8ToUnits.
            const std::ptrdiff_t tail = end - p;
            if (tail >= 3 && length >= 8 && tail <= outEnd - out) {
                std::uint64_t bytes;
                if (PackBlock(end - 8, bytes)) {
                    std::memcpy(out - (8 - tail), &bytes, sizeof bytes);
                    out += tail;
                    break;
                }
            }
            do {
                *out++ = static_cast<unsigned char>(*p++);
            } while (p < end && out < outEnd && static_cast<std::uint32_t>(*p) < 0x80);
            if (p == end) break;
            if (out == outEnd) return 0;
        }
    nonAsciiRun:
        // A run of characters above U+007F.
        do {
            auto unit = static_cast<std::uint32_t>(*p);
            if (unit < 0x800) {
                out[0] = static_cast<unsigned char>(0xC0 | (unit >> 6));
                if (outEnd - out < 2) return 0;  // only the lead byte fits
                out[1] = static_cast<unsigned char>(0x80 | (unit & 0x3F));
                out += 2;
                ++p;
                continue;
            }
            if (unit >= 0xD800 && unit <= 0xDFFF) {
                if constexpr (sizeof(Unit) != sizeof(UTF16Char)) {
                    return SystemUtility::kInvalidInput;
                } else {
                    // Only a high surrogate followed by a low one makes a
                    // character.
                    if (unit > 0xDBFF || end - p < 2) return SystemUtility::kInvalidInput;
                    const auto low = static_cast<std::uint32_t>(p[1]);
                    if (low < 0xDC00 || low > 0xDFFF) return SystemUtility::kInvalidInput;
                    unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
                    ++p;
                }
            } else if (unit > 0x10FFFF) {
                return SystemUtility::kInvalidInput;
            }
            ++p;
            if (outEnd - out < 4) {
                if (!PutMultiByte(unit, out, outEnd)) return 0;
            } else if (unit < 0x10000) {
                out[0] = static_cast<unsigned char>(0xE0 | (unit >> 12));
                out[1] = static_cast<unsigned char>(0x80 | ((unit >> 6) & 0x3F));
                out[2] = static_cast<unsigned char>(0x80 | (unit & 0x3F));
                out += 3;
            } else {
                out[0] = static_cast<unsigned char>(0xF0 | (unit >> 18));
                out[1] = static_cast<unsigned char>(0x80 | ((unit >> 12) & 0x3F));
                out[2] = static_cast<unsigned char>(0x80 | ((unit >> 6) & 0x3F));
                out[3] = static_cast<unsigned char>(0x80 | (unit & 0x3F));
                out += 4;
            }
        } while (p < end && out < outEnd && static_cast<std::uint32_t>(*p) >= 0x80);
    }
    return static_cast<int>(out - destination);
}

// ---- ISO-8859-1 ----

template <class Unit>
int Latin1ToUnits(const unsigned char* source, std::size_t length, Unit* destination,
                  std::size_t capacity) noexcept {
    const std::size_t count = length < capacity ? length : capacity;
    for (std::size_t i = 0; i < count; ++i) destination[i] = static_cast<Unit>(source[i]);
    return count < length ? 0 : static_cast<int>(count);
}

template <class Unit>
int UnitsToLatin1(const Unit* source, std::size_t length, unsigned char* destination,
                  std::size_t capacity) noexcept {
    const std::size_t count = length < capacity ? length : capacity;
    for (std::size_t i = 0; i < count; ++i) {
        const auto unit = static_cast<std::uint32_t>(source[i]);
        if (unit > 0xFF) return SystemUtility::kInvalidInput;
        destination[i] = static_cast<unsigned char>(unit);
    }
    return count < length ? 0 : static_cast<int>(count);
}

// ---- Argument handling shared by the five converters ----

template <class Unit>
std::size_t TerminatedLength(const Unit* source) noexcept {
    std::size_t length = 0;
    while (source[length] != 0) ++length;
    return length;
}

// The length of a zero-terminated narrow source, terminator included: the
// terminator is one zero unit of the code page's unit size.
std::size_t TerminatedNarrowLength(const char* source, unsigned codePage) noexcept {
    const std::size_t unitBytes = xts::transcode::NarrowUnitBytes(codePage);
    if (unitBytes == 1) return std::strlen(source) + 1;
    std::size_t offset = 0;
    for (;;) {
        bool zero = true;
        for (std::size_t i = 0; i < unitBytes; ++i) zero = zero && source[offset + i] == 0;
        offset += unitBytes;
        if (zero) return offset;
    }
}

// Checks the arguments and works out the source length. Returns 1 to go on
// with the conversion, or the final result (0 or negative).
template <class Source, class Destination>
int Prepare(const Source* source, int sourceLength, Destination* destination,
            int destinationCapacity, unsigned& codePage, std::size_t& length,
            std::size_t& capacity) noexcept {
    if (source == nullptr && sourceLength != 0) return SystemUtility::kInvalidArgument;
    if (destinationCapacity < 0) return SystemUtility::kInvalidArgument;
    codePage = xts::transcode::ResolveCodePage(codePage);
    if (codePage != SystemUtility::kUTF8CodePage && codePage != SystemUtility::kLatin1CodePage &&
        xts::transcode::FindCharset(codePage) == nullptr)
        return SystemUtility::kUnknownCodePage;
    if (sourceLength >= 0) {
        length = static_cast<std::size_t>(sourceLength);
    } else if constexpr (sizeof(Source) == 1) {
        length = TerminatedNarrowLength(reinterpret_cast<const char*>(source), codePage);
    } else {
        length = TerminatedLength(source) + 1;
    }
    if (length == 0 || destinationCapacity == 0) return 0;
    if (destination == nullptr) return SystemUtility::kInvalidArgument;
    capacity = static_cast<std::size_t>(destinationCapacity);
    return 1;
}

constexpr int kGoOn = 1;

// The hand-written conversions, or kNotHandWritten for code pages that go
// through iconv. Lengths and capacities are positive here.
constexpr int kNotHandWritten = INT32_MIN;

template <class Unit>
inline int NarrowToUnitsByHand(const char* source, std::size_t length, Unit* destination,
                               std::size_t capacity, unsigned codePage) noexcept {
    const auto* bytes = reinterpret_cast<const unsigned char*>(source);
    switch (codePage) {
        case SystemUtility::kUTF8CodePage: return Utf8ToUnits(bytes, length, destination, capacity);
        case SystemUtility::kLatin1CodePage:
            return Latin1ToUnits(bytes, length, destination, capacity);
        default: return kNotHandWritten;
    }
}

template <class Unit>
inline int UnitsToNarrowByHand(const Unit* source, std::size_t length, char* destination,
                               std::size_t capacity, unsigned codePage) noexcept {
    auto* bytes = reinterpret_cast<unsigned char*>(destination);
    switch (codePage) {
        case SystemUtility::kUTF8CodePage: return UnitsToUtf8(source, length, bytes, capacity);
        case SystemUtility::kLatin1CodePage: return UnitsToLatin1(source, length, bytes, capacity);
        default: return kNotHandWritten;
    }
}

// Everything but the plain UTF-8 and Latin-1 calls: code page 0, iconv code
// pages, zero-terminated sources, empty or unusable arguments.
template <class Unit>
[[gnu::noinline]] int NarrowToUnitsGeneral(const char* source, int sourceBytes, Unit* destination,
                                           int destinationUnits, unsigned codePage,
                                           Direction direction) noexcept {
    std::size_t length = 0;
    std::size_t capacity = 0;
    const int prepared =
        Prepare(source, sourceBytes, destination, destinationUnits, codePage, length, capacity);
    if (prepared != kGoOn) return prepared;
    const int result = NarrowToUnitsByHand(source, length, destination, capacity, codePage);
    if (result != kNotHandWritten) return result;
    return xts::transcode::IconvTranscode(codePage, xts::transcode::FindCharset(codePage),
                                          direction, source, length, destination,
                                          capacity * sizeof(Unit));
}

template <class Unit>
[[gnu::noinline]] int UnitsToNarrowGeneral(const Unit* source, int sourceUnits, char* destination,
                                           int destinationBytes, unsigned codePage,
                                           Direction direction) noexcept {
    std::size_t length = 0;
    std::size_t capacity = 0;
    const int prepared =
        Prepare(source, sourceUnits, destination, destinationBytes, codePage, length, capacity);
    if (prepared != kGoOn) return prepared;
    const int result = UnitsToNarrowByHand(source, length, destination, capacity, codePage);
    if (result != kNotHandWritten) return result;
    return xts::transcode::IconvTranscode(codePage, xts::transcode::FindCharset(codePage),
                                          direction, source, length * sizeof(Unit), destination,
                                          capacity);
}

// Narrow text to wide or UTF-16 units: the common call (explicit UTF-8 or
// Latin-1, non-empty source, room in the destination) goes straight to the
// hand-written path.
template <class Unit>
inline int NarrowToUnits(const char* source, int sourceBytes, Unit* destination,
                         int destinationUnits, unsigned codePage, Direction direction) noexcept {
    const bool plain =
        sourceBytes > 0 && destinationUnits > 0 && source != nullptr && destination != nullptr;
    const auto* bytes = reinterpret_cast<const unsigned char*>(source);
    switch (plain ? codePage : SystemUtility::kDefaultCodePage) {
        case SystemUtility::kUTF8CodePage:
            return Utf8ToUnits(bytes, static_cast<std::size_t>(sourceBytes), destination,
                               static_cast<std::size_t>(destinationUnits));
        case SystemUtility::kLatin1CodePage:
            return Latin1ToUnits(bytes, static_cast<std::size_t>(sourceBytes), destination,
                                 static_cast<std::size_t>(destinationUnits));
        default:
            return NarrowToUnitsGeneral(source, sourceBytes, destination, destinationUnits,
                                        codePage, direction);
    }
}

// Wide or UTF-16 units to narrow text, with the same shortcut.
template <class Unit>
inline int UnitsToNarrow(const Unit* source, int sourceUnits, char* destination,
                         int destinationBytes, unsigned codePage, Direction direction) noexcept {
    const bool plain =
        sourceUnits > 0 && destinationBytes > 0 && source != nullptr && destination != nullptr;
    auto* bytes = reinterpret_cast<unsigned char*>(destination);
    switch (plain ? codePage : SystemUtility::kDefaultCodePage) {
        case SystemUtility::kUTF8CodePage:
            return UnitsToUtf8(source, static_cast<std::size_t>(sourceUnits), bytes,
                               static_cast<std::size_t>(destinationBytes));
        case SystemUtility::kLatin1CodePage:
            return UnitsToLatin1(source, static_cast<std::size_t>(sourceUnits), bytes,
                                 static_cast<std::size_t>(destinationBytes));
        default:
            return UnitsToNarrowGeneral(source, sourceUnits, destination, destinationBytes,
                                        codePage, direction);
    }
}

}  // namespace

int SystemUtility::MultiByteToWideChar(const char* source, int sourceBytes, wchar_t* destination,
                                       int destinationUnits, unsigned codePage) {
    return NarrowToUnits(source, sourceBytes, destination, destinationUnits, codePage,
                         Direction::kNarrowToWide);
}

int SystemUtility::WideCharToMultiByte(const wchar_t* source, int sourceUnits, char* destination,
                                       int destinationBytes, unsigned codePage) {
    return UnitsToNarrow(source, sourceUnits, destination, destinationBytes, codePage,
                         Direction::kWideToNarrow);
}

int SystemUtility::WideCharToMultiByte(const wchar_t* source, char* destination,
                                       int destinationBytes, unsigned codePage) {
    if (source == nullptr) return kInvalidArgument;
    const std::size_t length = std::wcslen(source);
    if (length > static_cast<std::size_t>(INT32_MAX)) return kInvalidArgument;
    return WideCharToMultiByte(source, static_cast<int>(length), destination, destinationBytes,
                               codePage);
}

int SystemUtility::Ucs2ToMultiByte(const UTF16Char* source, int sourceUnits, char* destination,
                                   int destinationBytes, unsigned codePage) {
    return UnitsToNarrow(source, sourceUnits, destination, destinationBytes, codePage,
                         Direction::kUtf16ToNarrow);
}

int SystemUtility::MultiByteToUcs2(const char* source, int sourceBytes, UTF16Char* destination,
                                   int destinationUnits, unsigned codePage) {
    return NarrowToUnits(source, sourceBytes, destination, destinationUnits, codePage,
                         Direction::kNarrowToUtf16);
}
