#include "Utility/Client/SUCSqlString.h"

#include <cstdint>
#include <cstring>
#include <cwchar>

#include "Utility/Generic/Portable/SUPAutobuffer.h"
#include "Utility/Generic/SUGAssert.h"
#include "Utility/Generic/SUGSystemUtility.h"

namespace {

constexpr std::size_t kInlineUnits = 256;

template <class T>
using WorkBuffer = AutoBuffer<T, kInlineUnits>;

// The longest text, in units or bytes, that a conversion accepts: its narrow
// output (4 bytes a unit) plus a terminator must stay countable in an int32.
constexpr std::size_t kMaxConvertibleLength = INT32_MAX / MAX_NCHAR_PER_WCHAR - 1;

std::size_t LengthUpToZero(const UTF16Char* units) noexcept {
    std::size_t length = 0;
    while (units[length] != 0) ++length;
    return length;
}

// Each wide unit keeps its low 16 bits; the rope ends at the first 0.
UTF16String WideToUTF16(const wchar_t* from, std::size_t length) {
    WorkBuffer<UTF16Char> buffer(length + 1);
    UTF16Char* units = buffer.data();
    for (std::size_t i = 0; i < length; ++i) units[i] = static_cast<UTF16Char>(from[i]);
    units[length] = 0;
    return UTF16String(units);
}

// Each 16-bit unit widens to one wide unit; the string ends at the first 0.
XTString UTF16ToWide(const UTF16Char* from, std::size_t count) {
    WorkBuffer<wchar_t> buffer(count + 1);
    wchar_t* wide = buffer.data();
    for (std::size_t i = 0; i < count; ++i) wide[i] = static_cast<wchar_t>(from[i]);
    wide[count] = 0;
    return XTString(wide);
}

}  // namespace

// --- UTF16String ---

UTF16String::UTF16String(const UTF16Char* zeroTerminated) {
    if (zeroTerminated == nullptr) return;
    const std::size_t length = LengthUpToZero(zeroTerminated);
    if (length == 0) return;
    std::shared_ptr<UTF16Char[]> units = std::make_shared_for_overwrite<UTF16Char[]>(length);
    std::memcpy(units.get(), zeroTerminated, length * sizeof(UTF16Char));
    m_units = std::move(units);
    m_size = length;
}

UTF16Char UTF16String::operator[](std::size_t index) const {
    XTAssert(index < m_size);
    return m_units[index];
}

void UTF16String::Flatten(UTF16Char* destination) const noexcept {
    if (m_size != 0) std::memcpy(destination, m_units.get(), m_size * sizeof(UTF16Char));
}

bool operator==(const UTF16String& left, const UTF16String& right) noexcept {
    if (left.m_size != right.m_size) return false;
    return left.m_units == right.m_units || std::memcmp(left.m_units.get(), right.m_units.get(),
                                                        left.m_size * sizeof(UTF16Char)) == 0;
}

// --- Wide and 16-bit ---

void UTF16StringUtil::XTStringToUTF16String(XTString const& from, UTF16String& to) {
    to = WideToUTF16(from.data(), from.size());
}

UTF16String UTF16StringUtil::XTStringToUTF16String(wchar_t const* from) {
    if (from == nullptr || from[0] == 0) return UTF16String();
    return WideToUTF16(from, std::wcslen(from));
}

void UTF16StringUtil::UTF16StringToXTString(UTF16String const& from, XTString& to) {
    to = UTF16ToWide(from.begin(), from.size());
}

XTString UTF16StringUtil::UTF16StringToXTString(unsigned short const* from,
                                                unsigned int bufferBytes) {
    if (from == nullptr) return XTString();
    return UTF16ToWide(from, bufferBytes / sizeof(UTF16Char));
}

// --- Narrow to 16-bit ---

void UTF16StringUtil::XTNStringToUTF16String(XTNString const& from, UTF16String& to,
                                             unsigned int codePage) {
    XTAssert(from.size() <= kMaxConvertibleLength);
    // The terminator travels along; one more unit leaves room to terminate
    // even when every byte became a unit.
    WorkBuffer<UTF16Char> buffer(from.size() + 2);
    const int toSize =
        SystemUtility::MultiByteToUcs2(from.c_str(), static_cast<int>(from.size() + 1),
                                       buffer.data(), static_cast<int>(from.size() + 1), codePage);
    // clang-format off
    XTAssert(toSize <= static_cast<int32>(from.size()+1));
    XTAssert(toSize >= 0);
    // clang-format on
    buffer.data()[toSize] = 0;
    to = UTF16String(buffer.data());
}

UTF16String UTF16StringUtil::XTNStringToUTF16String(char const* from, unsigned int bufferBytes,
                                                    unsigned int codePage) {
    if (from == nullptr || bufferBytes <= 1 || from[0] == 0) return UTF16String();
    // Looks for the terminator only within the buffer: a missing one then
    // fails the assertion below instead of reading past the buffer.
    const void* terminator = std::memchr(from, 0, bufferBytes);
    const std::size_t fromSize =
        terminator != nullptr
            ? static_cast<std::size_t>(static_cast<const char*>(terminator) - from)
            : bufferBytes;
    XTAssert(fromSize < bufferBytes);
    XTAssert(fromSize <= kMaxConvertibleLength);
    WorkBuffer<UTF16Char> buffer(fromSize + 1);
    const int toSize = SystemUtility::MultiByteToUcs2(
        from, static_cast<int>(fromSize), buffer.data(), static_cast<int>(fromSize), codePage);
    // clang-format off
    XTAssert(toSize <= static_cast<int32>(fromSize));
    XTAssert(toSize >= 0);
    // clang-format on
    buffer.data()[toSize] = 0;
    return UTF16String(buffer.data());
}

// --- 16-bit to narrow ---

void UTF16StringUtil::UTF16StringToXTNString(UTF16String const& from, XTNString& to,
                                             unsigned int codePage) {
    if (from.empty()) {
        to.clear();
        return;
    }
    XTAssert(from.size() <= kMaxConvertibleLength);
    // The rope's units are contiguous already: they convert in place.
    WorkBuffer<char> narrow(from.size() * MAX_NCHAR_PER_WCHAR + MAX_NCHAR_PER_WCHAR);
    const int toSize = SystemUtility::Ucs2ToMultiByte(
        from.begin(), static_cast<int>(from.size()), narrow.data(),
        static_cast<int>(from.size()) * MAX_NCHAR_PER_WCHAR, codePage);
    // clang-format off
    XTAssert(toSize <= static_cast<int32>(from.size())*MAX_NCHAR_PER_WCHAR);
    XTAssert(toSize >= 0);
    // clang-format on
    narrow.data()[toSize] = 0;
    to.assign(narrow.data());
}

XTNString UTF16StringUtil::UTF16StringToXTNString(unsigned short const* from,
                                                  unsigned int bufferBytes, unsigned int codePage) {
    // Fewer than two bytes hold no unit: nothing is read.
    if (from == nullptr || bufferBytes < sizeof(UTF16Char) || from[0] == 0) return XTNString();
    const std::size_t unitCount = bufferBytes / sizeof(UTF16Char);
    XTAssert(unitCount <= kMaxConvertibleLength);
    WorkBuffer<char> narrow(unitCount * MAX_NCHAR_PER_WCHAR + 1);
    const int toSize =
        SystemUtility::Ucs2ToMultiByte(from, static_cast<int>(unitCount), narrow.data(),
                                       static_cast<int>(unitCount) * MAX_NCHAR_PER_WCHAR, codePage);
    // clang-format off
    XTAssert(toSize <= static_cast<int32>((bufferBytes/sizeof(UTF16Char))*MAX_NCHAR_PER_WCHAR));
    XTAssert(toSize >= 0);
    // clang-format on
    narrow.data()[toSize] = 0;
    return XTNString(narrow.data());
}
