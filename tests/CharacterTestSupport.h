// Helpers for the character converter tests: converters by name, source
// texts laid out as each text word, destinations with guard bytes, and a
// UTF-8 encoder that does not depend on the library's transcoders.
#pragma once

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "Utility/Client/SUCDataConvert.h"

namespace xts::test {

// The converter of the matrix called `name`, or null when there is none.
inline DataConvert_t ConverterNamed(std::string_view name) {
    for (const XTConverterInfo& info : SUDataConvert::GetAllConverters())
        if (name == info.name) return info.function;
    return nullptr;
}

// UTF-8 bytes of wide text (any value below 0x110000, surrogates included).
inline std::string Utf8(std::wstring_view text) {
    std::string out;
    for (const wchar_t unit : text) {
        const auto c = static_cast<char32_t>(unit);
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

inline std::wstring Widen(std::string_view ascii) {
    return std::wstring(ascii.begin(), ascii.end());
}

// How a text word lays its text out in a buffer.
enum class TextShape {
    kFixed,     // the units and a terminator; reading stops at the first terminator
    kVariable,  // a 4-byte count, the units and a terminator
    kExternal,  // exactly fromLength units, no terminator
};

// A source value: 4-byte aligned bytes and the fromLength that goes with them.
class SourceBuffer {
  public:
    SourceBuffer() = default;

    // Narrow bytes laid out by `shape`.
    static SourceBuffer Narrow(TextShape shape, std::string_view bytes) {
        return Make(shape, bytes.data(), bytes.size(), 1);
    }
    // 32-bit wide units laid out by `shape`.
    static SourceBuffer Wide(TextShape shape, std::wstring_view units) {
        return Make(shape, units.data(), units.size(), sizeof(wchar_t));
    }
    // 16-bit units laid out by `shape` (for bTwoByteToFourByte and UTF-16 sources).
    static SourceBuffer Wide16(TextShape shape, std::u16string_view units) {
        return Make(shape, units.data(), units.size(), sizeof(char16_t));
    }
    // Plain bytes with no layout (numbers, binary values).
    static SourceBuffer Raw(const void* bytes, std::size_t size, uint32 fromLength) {
        SourceBuffer buffer;
        buffer.m_words.assign(size / 4 + 1, 0);
        std::memcpy(buffer.m_words.data(), bytes, size);
        buffer.m_fromLength = fromLength;
        return buffer;
    }

    const unsigned char* data() const noexcept {
        return reinterpret_cast<const unsigned char*>(m_words.data());
    }
    uint32 fromLength() const noexcept { return m_fromLength; }

  private:
    static SourceBuffer Make(TextShape shape, const void* units, std::size_t count,
                             std::size_t unitSize) {
        SourceBuffer buffer;
        const std::size_t offset = shape == TextShape::kVariable ? sizeof(uint32) : 0;
        const std::size_t bytes = offset + (count + 1) * unitSize;
        buffer.m_words.assign(bytes / 4 + 1, 0);
        auto* base = reinterpret_cast<unsigned char*>(buffer.m_words.data());
        const auto length = static_cast<uint32>(count);
        if (shape == TextShape::kVariable) std::memcpy(base, &length, sizeof length);
        std::memcpy(base + offset, units, count * unitSize);
        buffer.m_fromLength = length;
        return buffer;
    }

    std::vector<uint32> m_words;
    uint32 m_fromLength = 0;
};

// A destination of `extent` bytes, 4-byte aligned, between two guard zones.
// Every byte starts as kFill, so a test can tell what was written and that
// nothing was written outside the extent.
class GuardedBuffer {
  public:
    static constexpr std::size_t kGuard = 16;
    static constexpr unsigned char kFill = 0xA5;

    explicit GuardedBuffer(std::size_t extent)
        : m_extent(extent), m_words((2 * kGuard + extent + 3) / 4) {
        Reset();
    }
    void Reset() { std::memset(m_words.data(), kFill, m_words.size() * sizeof(uint32)); }

    unsigned char* data() noexcept { return Base() + kGuard; }
    const unsigned char* data() const noexcept { return Base() + kGuard; }
    std::size_t extent() const noexcept { return m_extent; }

    bool GuardsIntact() const noexcept {
        const unsigned char* base = Base();
        const std::size_t total = m_words.size() * sizeof(uint32);
        for (std::size_t i = 0; i < total; ++i) {
            if (i >= kGuard && i < kGuard + m_extent) continue;
            if (base[i] != kFill) return false;
        }
        return true;
    }
    // Whether no byte of the extent was written.
    bool Untouched() const noexcept {
        for (std::size_t i = 0; i < m_extent; ++i)
            if (data()[i] != kFill) return false;
        return true;
    }

    std::string Narrow(std::size_t offset, std::size_t count) const {
        return std::string(reinterpret_cast<const char*>(data()) + offset, count);
    }
    std::wstring Wide(std::size_t offset, std::size_t count) const {
        std::wstring units(count, L'\0');
        std::memcpy(units.data(), data() + offset, count * sizeof(wchar_t));
        return units;
    }
    uint32 Count() const noexcept {
        uint32 count;
        std::memcpy(&count, data(), sizeof count);
        return count;
    }
    wchar_t* WideData() noexcept { return reinterpret_cast<wchar_t*>(data()); }

  private:
    const unsigned char* Base() const noexcept {
        return reinterpret_cast<const unsigned char*>(m_words.data());
    }
    unsigned char* Base() noexcept { return reinterpret_cast<unsigned char*>(m_words.data()); }

    std::size_t m_extent;
    std::vector<uint32> m_words;
};

// What a converter reported.
struct ConvertResult {
    uint8 isNull;
    uint64 length;
};

inline constexpr uint8 kUnsetNull = 0xEE;
inline constexpr uint64 kUnsetLength = 0xDEADBEEFull;

// Calls `convert` with sentinels in the out-parameters.
inline ConvertResult Call(DataConvert_t convert, const DataConvertParams& params,
                          const unsigned char* from, uint32 fromLength, uint8 fromIsNull,
                          unsigned char* to, uint32 toLength) {
    ConvertResult result{kUnsetNull, kUnsetLength};
    convert(params, from, fromLength, fromIsNull, to, toLength, result.isNull, result.length);
    return result;
}

inline ConvertResult Call(DataConvert_t convert, const DataConvertParams& params,
                          const SourceBuffer& source, uint8 fromIsNull, GuardedBuffer& to,
                          uint32 toLength) {
    return Call(convert, params, source.data(), source.fromLength(), fromIsNull, to.data(),
                toLength);
}

}  // namespace xts::test
