// String helpers shared by the whole library: tokenising, trimming,
// case-insensitive comparison and search, integer and boolean parsing, and
// widening and narrowing of ASCII text.
//
// Case folding is simple one-to-one folding of Latin (Basic Latin, Latin-1,
// Latin Extended-A), Greek and Cyrillic letters; it does not depend on the
// process locale. White space is the ASCII set: blank, tab, line feed,
// vertical tab, form feed and carriage return.
#pragma once

#include <string_view>
#include <vector>

#include "Utility/Generic/SUGExport.h"
#include "Utility/Generic/SUGXTString.h"

// The platform's affirmative word, as written in configuration values.
inline constexpr wchar_t _S_YES[] = L"Yes";

class XTS_EXPORT BaseStringUtil {
public:
    // Splits `text` at every character found in `delimiters`. Empty tokens
    // (between adjacent delimiters, or at either end) are kept unless
    // `skipEmpty`. An empty text gives no token.
    static void Tokenize(std::wstring_view text, std::wstring_view delimiters,
                         std::vector<XTString>& tokens, bool skipEmpty = false);
    // Splits `text` at `delimiter`; `escape` makes the character after it
    // literal (the escape itself is dropped; a trailing escape is kept).
    static void TokenizeWithEscape(std::wstring_view text, wchar_t delimiter, wchar_t escape,
                                   std::vector<XTString>& tokens);

    static bool IsWhiteSpace(wchar_t c) noexcept { return c == L' ' || (c >= L'\t' && c <= L'\r'); }
    static XTString Trim(std::wstring_view text);
    static XTString TrimLeft(std::wstring_view text);
    static XTString TrimRight(std::wstring_view text);
    static XTNString Trim(std::string_view text);

    static wchar_t ToLower(wchar_t c) noexcept;
    static wchar_t ToUpper(wchar_t c) noexcept;
    static XTString ToLower(std::wstring_view text);
    static XTString ToUpper(std::wstring_view text);

    // Three-way case-insensitive comparison: negative, 0 or positive.
    static int CompareNoCase(std::wstring_view left, std::wstring_view right) noexcept;
    static bool EqualsNoCase(std::wstring_view left, std::wstring_view right) noexcept;
    // Narrow text may be multi-byte: only ASCII letters fold here.
    static bool EqualsNoCase(std::string_view left, std::string_view right) noexcept;
    // Whether `text` starts with `pattern`, ignoring case.
    static bool CaseInsensitiveFindPatternAtStart(std::wstring_view text,
                                                  std::wstring_view pattern) noexcept;
    // Position of the first case-insensitive occurrence of `pattern`, or npos.
    static std::size_t CaseInsensitiveFind(std::wstring_view text,
                                           std::wstring_view pattern) noexcept;

    // Lenient integer parse in the manner of atoi: leading white space, an
    // optional sign, then decimal digits up to the first other character.
    // No digits give 0; values beyond the type saturate at its limits.
    static int32 StringToInt32(std::wstring_view text) noexcept;
    static int64 StringToInt64(std::wstring_view text) noexcept;
    // Strict parse: the whole text (white space around it allowed) must be
    // one decimal integer within the type's range.
    static bool TryParseInt32(std::wstring_view text, int32& value) noexcept;
    static bool TryParseUInt32(std::wstring_view text, uint32& value) noexcept;
    // Boolean parse: "1", "true", "yes", "y" and "on" (any case, white space
    // around allowed) are true; everything else is false.
    static bool StringToBool(std::wstring_view text) noexcept;

    // Widens narrow text byte by byte (each byte taken as Latin-1).
    static XTString StringFrom(std::string_view text);
    // Narrows wide text unit by unit; units above U+00FF become '?'.
    static XTNString NStringFrom(std::wstring_view text);
};

// Case-insensitive strict weak ordering of wide strings, for ordered
// containers keyed by names.
struct XTStringCaseInsensitiveLessThan {
    using is_transparent = void;
    bool operator()(std::wstring_view left, std::wstring_view right) const noexcept {
        return BaseStringUtil::CompareNoCase(left, right) < 0;
    }
};
