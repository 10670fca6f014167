// Internal: strict UTF-8 coding of single characters, shared by the
// transcoders and the message renderer. Valid characters are the Unicode
// scalar values (U+0000..U+10FFFF without the surrogates); overlong forms,
// encoded surrogates, stray continuation bytes and truncated sequences are
// invalid.
#pragma once

#include <cstddef>

namespace xts::utf8 {

// Decodes the character at `p` (which must be below `end`). Returns the bytes
// it takes (1 to 4) and stores the character, or returns 0 when the bytes at
// `p` are not a complete, valid sequence.
inline int DecodeOne(const unsigned char* p, const unsigned char* end,
                     char32_t& character) noexcept {
    const unsigned lead = p[0];
    if (lead < 0x80) {
        character = lead;
        return 1;
    }
    const std::ptrdiff_t available = end - p;
    if (lead < 0xC2) return 0;  // continuation byte or overlong two-byte lead
    if (lead < 0xE0) {
        if (available < 2 || (p[1] & 0xC0) != 0x80) return 0;
        character = ((lead & 0x1Fu) << 6) | (p[1] & 0x3Fu);
        return 2;
    }
    if (lead < 0xF0) {
        if (available < 3 || (p[1] & 0xC0) != 0x80 || (p[2] & 0xC0) != 0x80) return 0;
        if (lead == 0xE0 && p[1] < 0xA0) return 0;   // overlong
        if (lead == 0xED && p[1] >= 0xA0) return 0;  // surrogate
        character = ((lead & 0x0Fu) << 12) | ((p[1] & 0x3Fu) << 6) | (p[2] & 0x3Fu);
        return 3;
    }
    if (lead < 0xF5) {
        if (available < 4 || (p[1] & 0xC0) != 0x80 || (p[2] & 0xC0) != 0x80 ||
            (p[3] & 0xC0) != 0x80)
            return 0;
        if (lead == 0xF0 && p[1] < 0x90) return 0;   // overlong
        if (lead == 0xF4 && p[1] >= 0x90) return 0;  // above U+10FFFF
        character = ((lead & 0x07u) << 18) | ((p[1] & 0x3Fu) << 12) | ((p[2] & 0x3Fu) << 6) |
                    (p[3] & 0x3Fu);
        return 4;
    }
    return 0;
}

// The number of bytes that `character` takes in UTF-8, or 0 when it is not a
// Unicode scalar value.
inline int EncodedLength(char32_t character) noexcept {
    if (character < 0x80) return 1;
    if (character < 0x800) return 2;
    if (character < 0x10000) return (character >= 0xD800 && character <= 0xDFFF) ? 0 : 3;
    return character <= 0x10FFFF ? 4 : 0;
}

// Writes `character` (a scalar value; see EncodedLength) into `out`, which has
// room for EncodedLength(character) bytes. Returns the bytes written.
inline int EncodeOne(char32_t character, unsigned char* out) noexcept {
    if (character < 0x80) {
        out[0] = static_cast<unsigned char>(character);
        return 1;
    }
    if (character < 0x800) {
        out[0] = static_cast<unsigned char>(0xC0 | (character >> 6));
        out[1] = static_cast<unsigned char>(0x80 | (character & 0x3F));
        return 2;
    }
    if (character < 0x10000) {
        out[0] = static_cast<unsigned char>(0xE0 | (character >> 12));
        out[1] = static_cast<unsigned char>(0x80 | ((character >> 6) & 0x3F));
        out[2] = static_cast<unsigned char>(0x80 | (character & 0x3F));
        return 3;
    }
    out[0] = static_cast<unsigned char>(0xF0 | (character >> 18));
    out[1] = static_cast<unsigned char>(0x80 | ((character >> 12) & 0x3F));
    out[2] = static_cast<unsigned char>(0x80 | ((character >> 6) & 0x3F));
    out[3] = static_cast<unsigned char>(0x80 | (character & 0x3F));
    return 4;
}

}  // namespace xts::utf8
