// Lenient UTF-8 conversions for messages and tools: never fail, replace what
// cannot be coded with U+FFFD.
#include "Utf8Codec.h"
#include "Utility/Generic/SUGSystemUtility.h"

namespace {
constexpr char32_t kReplacement = 0xFFFD;
}

XTString SystemUtility::FromUtf8Lenient(const XTNString& text) {
    XTString out;
    out.reserve(text.size());
    const auto* p = reinterpret_cast<const unsigned char*>(text.data());
    const auto* end = p + text.size();
    while (p < end) {
        char32_t character = 0;
        const int taken = xts::utf8::DecodeOne(p, end, character);
        if (taken == 0) {
            out.push_back(static_cast<wchar_t>(kReplacement));
            ++p;
        } else {
            out.push_back(static_cast<wchar_t>(character));
            p += taken;
        }
    }
    return out;
}

XTNString SystemUtility::ToUtf8Lenient(const XTString& text) {
    XTNString out;
    out.reserve(text.size());
    unsigned char bytes[4];
    for (const wchar_t unit : text) {
        char32_t character = static_cast<char32_t>(unit);
        if (xts::utf8::EncodedLength(character) == 0) character = kReplacement;
        const int length = xts::utf8::EncodeOne(character, bytes);
        out.append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length));
    }
    return out;
}
