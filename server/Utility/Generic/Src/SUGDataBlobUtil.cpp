#include "Utility/Generic/SUGDataBlobUtil.h"

#include <limits>

#include "Utility/Generic/SUGAssert.h"
#include "Utility/Generic/SUGErrorMessage.h"

namespace {

template <class T>
void Append(ByteVector& out, T value) {
    const std::size_t at = out.size();
    out.resize(at + sizeof(T));
    DataBlobUtil::ToBuffer(out.data() + at, value);
}

template <class T>
std::size_t WriteAt(ByteVector& out, std::size_t position, T value) {
    // A position this large is a defect of the caller; it would wrap below.
    XTAssert(position <= out.max_size() - sizeof(T));
    if (out.size() < position + sizeof(T)) out.resize(position + sizeof(T));
    DataBlobUtil::ToBuffer(out.data() + position, value);
    return position + sizeof(T);
}

template <class T>
const unsigned char* CheckedRead(const unsigned char* p, const unsigned char* end, T& value,
                                 const char* item) {
    DataBlobUtil::CheckAvailable(p, end, sizeof(T), item);
    return DataBlobUtil::FromByteVector(p, value);
}

// Appends `count` characters stored as 4-byte little-endian units.
void ReadUnits(const unsigned char* p, uint32 count, XTString& value, bool assign) {
    if (assign) value.clear();
    const std::size_t start = value.size();
    value.resize(start + count);
    for (uint32 i = 0; i < count; ++i, p += DataBlobUtil::kStringUnitSize)
        value[start + i] = static_cast<wchar_t>(DataBlobUtil::GetLittleEndianUInt32(p));
}

}  // namespace

void DataBlobUtil::ToByteVector(ByteVector& out, int16 value) {
    Append(out, value);
}
void DataBlobUtil::ToByteVector(ByteVector& out, int32 value) {
    Append(out, value);
}
void DataBlobUtil::ToByteVector(ByteVector& out, uint32 value) {
    Append(out, value);
}
void DataBlobUtil::ToByteVector(ByteVector& out, bool value) {
    out.push_back(value ? 1 : 0);
}

void DataBlobUtil::ToByteVector(ByteVector& out, const XTString& value) {
    XTAssert(value.size() <= std::numeric_limits<uint32>::max());
    const std::size_t at = out.size();
    out.resize(at + kStringHeaderSize + value.size() * kStringUnitSize);
    unsigned char* p = ToBuffer(out.data() + at, static_cast<uint32>(value.size()));
    for (const wchar_t unit : value) {
        PutLittleEndianUInt32(p, static_cast<uint32>(unit));
        p += kStringUnitSize;
    }
}

std::size_t DataBlobUtil::ToByteVectorAt(ByteVector& out, std::size_t position, int16 value) {
    return WriteAt(out, position, value);
}
std::size_t DataBlobUtil::ToByteVectorAt(ByteVector& out, std::size_t position, int32 value) {
    return WriteAt(out, position, value);
}
std::size_t DataBlobUtil::ToByteVectorAt(ByteVector& out, std::size_t position, uint32 value) {
    return WriteAt(out, position, value);
}
std::size_t DataBlobUtil::ToByteVectorAt(ByteVector& out, std::size_t position, bool value) {
    return WriteAt(out, position, value);
}

const unsigned char* DataBlobUtil::FromByteVector(const unsigned char* p, XTString& value,
                                                  bool assign) {
    uint32 count = 0;
    p = FromByteVector(p, count);
    ReadUnits(p, count, value, assign);
    return p + static_cast<std::size_t>(count) * kStringUnitSize;
}

void DataBlobUtil::CheckAvailable(const unsigned char* p, const unsigned char* end,
                                  std::size_t needed, const char* item) {
    const std::size_t remaining = p < end ? static_cast<std::size_t>(end - p) : 0;
    if (remaining < needed) SUGThrow(kMsgTruncatedByteVector, item, needed, remaining);
}

const unsigned char* DataBlobUtil::FromByteVector(const unsigned char* p, const unsigned char* end,
                                                  int16& value) {
    return CheckedRead(p, end, value, "16-bit integer");
}
const unsigned char* DataBlobUtil::FromByteVector(const unsigned char* p, const unsigned char* end,
                                                  int32& value) {
    return CheckedRead(p, end, value, "32-bit integer");
}
const unsigned char* DataBlobUtil::FromByteVector(const unsigned char* p, const unsigned char* end,
                                                  uint32& value) {
    return CheckedRead(p, end, value, "32-bit unsigned integer");
}
const unsigned char* DataBlobUtil::FromByteVector(const unsigned char* p, const unsigned char* end,
                                                  bool& value) {
    return CheckedRead(p, end, value, "boolean");
}

const unsigned char* DataBlobUtil::FromByteVector(const unsigned char* p, const unsigned char* end,
                                                  XTString& value, bool assign) {
    CheckAvailable(p, end, kStringHeaderSize, "string length");
    const uint32 count = GetLittleEndianUInt32(p);
    const std::size_t bytes = static_cast<std::size_t>(count) * kStringUnitSize;
    CheckAvailable(p + kStringHeaderSize, end, bytes, "string characters");
    ReadUnits(p + kStringHeaderSize, count, value, assign);
    return p + kStringHeaderSize + bytes;
}
