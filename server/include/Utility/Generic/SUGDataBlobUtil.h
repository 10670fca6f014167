// Byte-vector items: the building blocks of every serialised structure of the
// library (metadata streams, version options, session values, packed records).
//
// Encoding of the items (little-endian throughout, no padding):
//   16-bit signed         2 bytes, two's complement
//   32-bit signed         4 bytes, two's complement
//   32-bit unsigned       4 bytes
//   boolean               1 byte, 1 for true and 0 for false (any non-zero reads as true)
//   wide string           32-bit unsigned character count n, then n characters of
//                         4 bytes each (the 32-bit value of each wide unit)
//
// Writers append to a vector (ToByteVector), or write at a given position of
// a vector or a buffer. Readers take a pointer and return the position just
// past the item; the plain readers trust their input, the overloads taking
// the end of the buffer check it and throw ErrorMessage 46302 instead of
// reading past the end.
#pragma once

#include <bit>
#include <cstring>
#include <vector>

#include "Utility/Generic/SUGExport.h"
#include "Utility/Generic/SUGXTString.h"

using ByteVector = std::vector<unsigned char>;

class XTS_EXPORT DataBlobUtil {
public:
    static constexpr std::size_t kInt16Size = 2;
    static constexpr std::size_t kInt32Size = 4;
    static constexpr std::size_t kBoolSize = 1;
    static constexpr std::size_t kStringHeaderSize = 4;
    static constexpr std::size_t kStringUnitSize = 4;

    // Little-endian loads and stores of raw values.
    static uint16 GetLittleEndianUInt16(const unsigned char* p) noexcept {
        return static_cast<uint16>(p[0] | (p[1] << 8));
    }
    static uint32 GetLittleEndianUInt32(const unsigned char* p) noexcept {
        return static_cast<uint32>(p[0]) | (static_cast<uint32>(p[1]) << 8) |
               (static_cast<uint32>(p[2]) << 16) | (static_cast<uint32>(p[3]) << 24);
    }
    static uint64 GetLittleEndianUInt64(const unsigned char* p) noexcept {
        return static_cast<uint64>(GetLittleEndianUInt32(p)) |
               (static_cast<uint64>(GetLittleEndianUInt32(p + 4)) << 32);
    }
    static int16 GetLittleEndianInt16(const unsigned char* p) noexcept {
        return static_cast<int16>(GetLittleEndianUInt16(p));
    }
    static int32 GetLittleEndianInt32(const unsigned char* p) noexcept {
        return static_cast<int32>(GetLittleEndianUInt32(p));
    }
    static float GetLittleEndianFloat32(const unsigned char* p) noexcept {
        return std::bit_cast<float>(GetLittleEndianUInt32(p));
    }
    static double GetLittleEndianFloat64(const unsigned char* p) noexcept {
        return std::bit_cast<double>(GetLittleEndianUInt64(p));
    }
    static void PutLittleEndianUInt16(unsigned char* p, uint16 value) noexcept {
        p[0] = static_cast<unsigned char>(value);
        p[1] = static_cast<unsigned char>(value >> 8);
    }
    static void PutLittleEndianUInt32(unsigned char* p, uint32 value) noexcept {
        for (int i = 0; i < 4; ++i) p[i] = static_cast<unsigned char>(value >> (8 * i));
    }
    static void PutLittleEndianUInt64(unsigned char* p, uint64 value) noexcept {
        for (int i = 0; i < 8; ++i) p[i] = static_cast<unsigned char>(value >> (8 * i));
    }
    static void PutLittleEndianFloat32(unsigned char* p, float value) noexcept {
        PutLittleEndianUInt32(p, std::bit_cast<uint32>(value));
    }
    static void PutLittleEndianFloat64(unsigned char* p, double value) noexcept {
        PutLittleEndianUInt64(p, std::bit_cast<uint64>(value));
    }

    // Appending writers.
    static void ToByteVector(ByteVector& out, int16 value);
    static void ToByteVector(ByteVector& out, int32 value);
    static void ToByteVector(ByteVector& out, uint32 value);
    static void ToByteVector(ByteVector& out, bool value);
    static void ToByteVector(ByteVector& out, const XTString& value);

    // Writers at `position` of `out`; the vector grows when the item reaches
    // past its end. Return the position just past the item.
    static std::size_t ToByteVectorAt(ByteVector& out, std::size_t position, int16 value);
    static std::size_t ToByteVectorAt(ByteVector& out, std::size_t position, int32 value);
    static std::size_t ToByteVectorAt(ByteVector& out, std::size_t position, uint32 value);
    static std::size_t ToByteVectorAt(ByteVector& out, std::size_t position, bool value);

    // Writers into a caller's buffer, which must have room for the item.
    // Return the position just past the item.
    static unsigned char* ToBuffer(unsigned char* p, int16 value) noexcept {
        PutLittleEndianUInt16(p, static_cast<uint16>(value));
        return p + kInt16Size;
    }
    static unsigned char* ToBuffer(unsigned char* p, int32 value) noexcept {
        PutLittleEndianUInt32(p, static_cast<uint32>(value));
        return p + kInt32Size;
    }
    static unsigned char* ToBuffer(unsigned char* p, uint32 value) noexcept {
        PutLittleEndianUInt32(p, value);
        return p + kInt32Size;
    }
    static unsigned char* ToBuffer(unsigned char* p, bool value) noexcept {
        *p = value ? 1 : 0;
        return p + kBoolSize;
    }

    // Trusting readers: return the position just past the item.
    static const unsigned char* FromByteVector(const unsigned char* p, int16& value) noexcept {
        value = GetLittleEndianInt16(p);
        return p + kInt16Size;
    }
    static const unsigned char* FromByteVector(const unsigned char* p, int32& value) noexcept {
        value = GetLittleEndianInt32(p);
        return p + kInt32Size;
    }
    static const unsigned char* FromByteVector(const unsigned char* p, uint32& value) noexcept {
        value = GetLittleEndianUInt32(p);
        return p + kInt32Size;
    }
    static const unsigned char* FromByteVector(const unsigned char* p, bool& value) noexcept {
        value = *p != 0;
        return p + kBoolSize;
    }
    // Reads a wide-string item. With `assign` the string receives the text;
    // without, the text is appended to what the string already holds.
    static const unsigned char* FromByteVector(const unsigned char* p, XTString& value,
                                               bool assign = true);

    // Bounds-checked readers: `end` is one past the last readable byte. A
    // truncated item throws ErrorMessage 46302 and leaves `value` unchanged.
    static const unsigned char* FromByteVector(const unsigned char* p, const unsigned char* end,
                                               int16& value);
    static const unsigned char* FromByteVector(const unsigned char* p, const unsigned char* end,
                                               int32& value);
    static const unsigned char* FromByteVector(const unsigned char* p, const unsigned char* end,
                                               uint32& value);
    static const unsigned char* FromByteVector(const unsigned char* p, const unsigned char* end,
                                               bool& value);
    static const unsigned char* FromByteVector(const unsigned char* p, const unsigned char* end,
                                               XTString& value, bool assign = true);

    // Throws 46302 unless [p, p + needed) lies within [p, end).
    static void CheckAvailable(const unsigned char* p, const unsigned char* end, std::size_t needed,
                               const char* item);
};
