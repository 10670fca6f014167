#include "Utility/Generic/SUGBaseStringUtil.h"

#include <algorithm>
#include <limits>

namespace {

// Simple one-to-one case mapping for Basic Latin, Latin-1, Latin Extended-A,
// Greek and Cyrillic. Each row maps a run of capitals to small letters: either
// every capital in [first, last] to capital + delta, or (alternating rows)
// capital/small pairs starting at `first`. Letters without a one-to-one
// partner (sharp s, dotless i, kra, final sigma, long s, micro sign ...) and
// everything outside those blocks map to themselves.
struct CaseRun {
    wchar_t first;
    wchar_t last;
    int delta;  // 0 marks an alternating run of pairs
};

constexpr CaseRun kCaseRuns[] = {
    {0xC0, 0xD6, 32},   {0xD8, 0xDE, 32},   {0x100, 0x12F, 0},    {0x132, 0x137, 0},
    {0x139, 0x148, 0},  {0x14A, 0x177, 0},  {0x178, 0x178, -121}, {0x179, 0x17E, 0},
    {0x370, 0x373, 0},  {0x376, 0x377, 0},  {0x37F, 0x37F, 116},  {0x386, 0x386, 38},
    {0x388, 0x38A, 37}, {0x38C, 0x38C, 64}, {0x38E, 0x38F, 63},   {0x391, 0x3A1, 32},
    {0x3A3, 0x3AB, 32}, {0x3CF, 0x3CF, 8},  {0x3D8, 0x3EF, 0},    {0x3F7, 0x3F8, 0},
    {0x3F9, 0x3F9, -7}, {0x3FA, 0x3FB, 0},  {0x3FD, 0x3FF, -130}, {0x400, 0x40F, 80},
    {0x410, 0x42F, 32}, {0x460, 0x481, 0},  {0x48A, 0x4BF, 0},    {0x4C0, 0x4C0, 15},
    {0x4C1, 0x4CE, 0},  {0x4D0, 0x4FF, 0},
};
constexpr wchar_t kCaseRunsEnd = 0x500;

wchar_t FoldLower(wchar_t c) noexcept {
    if (c < 0x80) return (c >= L'A' && c <= L'Z') ? static_cast<wchar_t>(c + 32) : c;
    if (c >= kCaseRunsEnd) return c;
    for (const CaseRun& run : kCaseRuns) {
        if (c < run.first || c > run.last) continue;
        if (run.delta != 0) return static_cast<wchar_t>(c + run.delta);
        return ((c - run.first) % 2 == 0) ? static_cast<wchar_t>(c + 1) : c;
    }
    return c;
}

wchar_t FoldUpper(wchar_t c) noexcept {
    if (c < 0x80) return (c >= L'a' && c <= L'z') ? static_cast<wchar_t>(c - 32) : c;
    if (c >= kCaseRunsEnd) return c;
    for (const CaseRun& run : kCaseRuns) {
        if (run.delta != 0) {
            if (c >= run.first + run.delta && c <= run.last + run.delta)
                return static_cast<wchar_t>(c - run.delta);
        } else if (c >= run.first && c <= run.last) {
            return ((c - run.first) % 2 == 1) ? static_cast<wchar_t>(c - 1) : c;
        }
    }
    return c;
}

template <class Char>
std::basic_string_view<Char> TrimView(std::basic_string_view<Char> text, bool left, bool right) {
    std::size_t begin = 0;
    std::size_t end = text.size();
    if (left)
        while (begin < end && BaseStringUtil::IsWhiteSpace(static_cast<wchar_t>(text[begin])))
            ++begin;
    if (right)
        while (end > begin && BaseStringUtil::IsWhiteSpace(static_cast<wchar_t>(text[end - 1])))
            --end;
    return text.substr(begin, end - begin);
}

// Reads [white space][sign]digits and reports where the digits stopped.
// The magnitude saturates at `limit` + 1 so that callers can detect overflow;
// `limit` must stay below the largest uint64.
struct ParsedInteger {
    bool negative = false;
    bool anyDigit = false;
    uint64 magnitude = 0;
    std::size_t end = 0;
};

ParsedInteger ParseLeadingInteger(std::wstring_view text, uint64 limit) noexcept {
    ParsedInteger parsed;
    std::size_t i = 0;
    while (i < text.size() && BaseStringUtil::IsWhiteSpace(text[i])) ++i;
    if (i < text.size() && (text[i] == L'+' || text[i] == L'-'))
        parsed.negative = text[i++] == L'-';
    for (; i < text.size() && text[i] >= L'0' && text[i] <= L'9'; ++i) {
        parsed.anyDigit = true;
        const auto digit = static_cast<uint64>(text[i] - L'0');
        if (parsed.magnitude > limit) continue;
        parsed.magnitude =
            parsed.magnitude > (limit - digit) / 10 ? limit + 1 : parsed.magnitude * 10 + digit;
    }
    parsed.end = i;
    return parsed;
}

template <class T>
T SaturatingParse(std::wstring_view text) noexcept {
    using Limits = std::numeric_limits<T>;
    const uint64 maxMagnitude = static_cast<uint64>(Limits::max());
    const ParsedInteger parsed = ParseLeadingInteger(text, maxMagnitude + 1);
    if (parsed.negative) {
        if (parsed.magnitude > maxMagnitude) return Limits::min();
        return static_cast<T>(-static_cast<T>(parsed.magnitude));
    }
    return parsed.magnitude > maxMagnitude ? Limits::max() : static_cast<T>(parsed.magnitude);
}

}  // namespace

void BaseStringUtil::Tokenize(std::wstring_view text, std::wstring_view delimiters,
                              std::vector<XTString>& tokens, bool skipEmpty) {
    if (text.empty()) return;
    std::size_t start = 0;
    while (true) {
        const std::size_t found = text.find_first_of(delimiters, start);
        const std::size_t end = found == std::wstring_view::npos ? text.size() : found;
        if (end > start || !skipEmpty) tokens.emplace_back(text.substr(start, end - start));
        if (found == std::wstring_view::npos) break;
        start = found + 1;
    }
}

void BaseStringUtil::TokenizeWithEscape(std::wstring_view text, wchar_t delimiter, wchar_t escape,
                                        std::vector<XTString>& tokens) {
    if (text.empty()) return;
    XTString current;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const wchar_t c = text[i];
        if (c == escape && i + 1 < text.size()) {
            current.push_back(text[++i]);
        } else if (c == delimiter) {
            tokens.push_back(std::move(current));
            current.clear();
        } else {
            current.push_back(c);
        }
    }
    tokens.push_back(std::move(current));
}

XTString BaseStringUtil::Trim(std::wstring_view text) {
    return XTString(TrimView(text, true, true));
}
XTString BaseStringUtil::TrimLeft(std::wstring_view text) {
    return XTString(TrimView(text, true, false));
}
XTString BaseStringUtil::TrimRight(std::wstring_view text) {
    return XTString(TrimView(text, false, true));
}
XTNString BaseStringUtil::Trim(std::string_view text) {
    return XTNString(TrimView(text, true, true));
}

wchar_t BaseStringUtil::ToLower(wchar_t c) noexcept {
    return FoldLower(c);
}
wchar_t BaseStringUtil::ToUpper(wchar_t c) noexcept {
    return FoldUpper(c);
}

XTString BaseStringUtil::ToLower(std::wstring_view text) {
    XTString out(text);
    std::transform(out.begin(), out.end(), out.begin(), FoldLower);
    return out;
}

XTString BaseStringUtil::ToUpper(std::wstring_view text) {
    XTString out(text);
    std::transform(out.begin(), out.end(), out.begin(), FoldUpper);
    return out;
}

int BaseStringUtil::CompareNoCase(std::wstring_view left, std::wstring_view right) noexcept {
    const std::size_t common = std::min(left.size(), right.size());
    for (std::size_t i = 0; i < common; ++i) {
        const wchar_t a = FoldLower(left[i]);
        const wchar_t b = FoldLower(right[i]);
        if (a != b) return a < b ? -1 : 1;
    }
    if (left.size() == right.size()) return 0;
    return left.size() < right.size() ? -1 : 1;
}

bool BaseStringUtil::EqualsNoCase(std::wstring_view left, std::wstring_view right) noexcept {
    return left.size() == right.size() && CompareNoCase(left, right) == 0;
}

bool BaseStringUtil::EqualsNoCase(std::string_view left, std::string_view right) noexcept {
    if (left.size() != right.size()) return false;
    for (std::size_t i = 0; i < left.size(); ++i) {
        // Narrow text may be multi-byte: only ASCII letters fold.
        const auto a = static_cast<unsigned char>(left[i]);
        const auto b = static_cast<unsigned char>(right[i]);
        if (a != b && (a >= 0x80 || b >= 0x80 || FoldLower(a) != FoldLower(b))) return false;
    }
    return true;
}

bool BaseStringUtil::CaseInsensitiveFindPatternAtStart(std::wstring_view text,
                                                       std::wstring_view pattern) noexcept {
    return pattern.size() <= text.size() &&
           CompareNoCase(text.substr(0, pattern.size()), pattern) == 0;
}

std::size_t BaseStringUtil::CaseInsensitiveFind(std::wstring_view text,
                                                std::wstring_view pattern) noexcept {
    if (pattern.size() > text.size()) return std::wstring_view::npos;
    for (std::size_t start = 0; start + pattern.size() <= text.size(); ++start)
        if (CompareNoCase(text.substr(start, pattern.size()), pattern) == 0) return start;
    return std::wstring_view::npos;
}

int32 BaseStringUtil::StringToInt32(std::wstring_view text) noexcept {
    return SaturatingParse<int32>(text);
}

int64 BaseStringUtil::StringToInt64(std::wstring_view text) noexcept {
    return SaturatingParse<int64>(text);
}

bool BaseStringUtil::TryParseInt32(std::wstring_view text, int32& value) noexcept {
    const std::wstring_view trimmed = TrimView(text, true, true);
    const uint64 maxMagnitude = static_cast<uint64>(std::numeric_limits<int32>::max());
    const ParsedInteger parsed = ParseLeadingInteger(trimmed, maxMagnitude + 1);
    if (!parsed.anyDigit || parsed.end != trimmed.size()) return false;
    if (parsed.magnitude > maxMagnitude + (parsed.negative ? 1 : 0)) return false;
    value = parsed.negative ? static_cast<int32>(-static_cast<int64>(parsed.magnitude))
                            : static_cast<int32>(parsed.magnitude);
    return true;
}

bool BaseStringUtil::TryParseUInt32(std::wstring_view text, uint32& value) noexcept {
    const std::wstring_view trimmed = TrimView(text, true, true);
    const uint64 maxMagnitude = std::numeric_limits<uint32>::max();
    const ParsedInteger parsed = ParseLeadingInteger(trimmed, maxMagnitude);
    if (!parsed.anyDigit || parsed.end != trimmed.size() || parsed.magnitude > maxMagnitude)
        return false;
    if (parsed.negative && parsed.magnitude != 0) return false;
    value = static_cast<uint32>(parsed.magnitude);
    return true;
}

bool BaseStringUtil::StringToBool(std::wstring_view text) noexcept {
    const std::wstring_view word = TrimView(text, true, true);
    for (const wchar_t* yes : {L"1", L"true", L"yes", L"y", L"on"})
        if (EqualsNoCase(word, yes)) return true;
    return false;
}

XTString BaseStringUtil::StringFrom(std::string_view text) {
    XTString out(text.size(), L'\0');
    for (std::size_t i = 0; i < text.size(); ++i)
        out[i] = static_cast<wchar_t>(static_cast<unsigned char>(text[i]));
    return out;
}

XTNString BaseStringUtil::NStringFrom(std::wstring_view text) {
    XTNString out(text.size(), '\0');
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto unit = static_cast<uint32>(text[i]);
        out[i] = unit <= 0xFF ? static_cast<char>(unit) : '?';
    }
    return out;
}
