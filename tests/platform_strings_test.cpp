// BaseStringUtil: tokenising, white space, case folding and comparison,
// integer and boolean parsing, widening and narrowing.
#include <gtest/gtest.h>

#include <random>
#include <tuple>

#include "Utility/Generic/SUGBaseStringUtil.h"

namespace {

using BSU = BaseStringUtil;
using namespace std::literals;

// The tokens appended after an "old" one, written "[old][a][b]" so that no
// token and one empty token differ. Without delimiters: ',' escaped by '\'.
XTString Tokens(const wchar_t* text, const wchar_t* delimiters = nullptr, bool skip = false) {
    std::vector<XTString> tokens = {L"old"};
    if (delimiters) BSU::Tokenize(text, delimiters, tokens, skip);
    if (!delimiters) BSU::TokenizeWithEscape(text, L',', L'\\', tokens);
    XTString joined;
    for (const XTString& token : tokens) joined += L"[" + token + L"]";
    return joined;
}

// Tokens (empty ones, delimiter sets, escapes); bytes widened as Latin-1 and
// narrowed back, other units becoming '?'.
TEST(TokenizeAndWidenTest, TokensAndLatin1Bytes) {
    EXPECT_EQ(Tokens(L"", L","), L"[old]");
    EXPECT_EQ(Tokens(L",a;;b,", L",;"), L"[old][][a][][b][]");
    EXPECT_EQ(Tokens(L",a;;\U0001F600,", L",;", true), L"[old][a][\U0001F600]");
    EXPECT_EQ(Tokens(L"a,b", L""), L"[old][a,b]");
    EXPECT_EQ(Tokens(L",a\\,b,\\c"), L"[old][][a,b][c]");
    EXPECT_EQ(Tokens(L"a\\\\,\\\\\\,,\\"), L"[old][a\\][\\,][\\]");  // a trailing escape stays
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) bytes.push_back(static_cast<char>(byte));
    const XTString wide = BSU::StringFrom(bytes);  // bytes as Latin-1, without sign extension
    EXPECT_TRUE(wide.size() == 256u && wide[0x80] == 0x80 && wide[0xFF] == 0xFF);
    EXPECT_EQ(BSU::NStringFrom(wide), bytes);
    EXPECT_EQ(BSU::NStringFrom(L"A\u0100\u4E2D\U0001F600\xFFFFFFFF"), "A????");
}

// White space is exactly the six ASCII characters, also for narrow text.
TEST(StringCaseTest, WhiteSpaceAndOneToOneCaseFolding) {
    for (wchar_t c = 0; c < 0x3100; ++c)
        ASSERT_EQ(BSU::IsWhiteSpace(c), XTString(L" \t\n\v\f\r").find(c) != XTString::npos);
    EXPECT_EQ(BSU::Trim(L" \t\n\v\f\r\u00A0a\0b\u3000\r\n"s), L"\u00A0a\0b\u3000"s);
    EXPECT_EQ(BSU::TrimLeft(L" a ") + BSU::TrimRight(L" b "), L"a  b");
    EXPECT_EQ(BSU::Trim(" \t\n\v\f\r\xC2\xA0x\xA0 \r\n"sv), "\xC2\xA0x\xA0");
    // Over every code point only letters below U+0500 change; a capital's
    // small letter maps back to it and vice versa, and nothing is both.
    for (wchar_t c = 0; c <= 0x10FFFF; ++c) {
        const wchar_t lower = BSU::ToLower(c), upper = BSU::ToUpper(c);
        if (lower == c && upper == c) continue;
        ASSERT_TRUE(c < 0x500 && (lower == c || upper == c)) << int(c);
        ASSERT_EQ(lower != c ? BSU::ToUpper(lower) : BSU::ToLower(upper), c) << int(c);
    }
    // Block edges and letters without a one-to-one partner (ß ı İ ĸ ŉ ſ ς µ).
    EXPECT_EQ(BSU::ToLower(L"AZÀÖØÞĀĲŸŹŽΆΏΑΣΫϢЀЏАЯѢҐӀӁӘӾ ßıİĸŉſςµ@[`{\u4E2D"),
              L"azàöøþāĳÿźžάώασϋϣѐџаяѣґӏӂәӿ ßıİĸŉſςµ@[`{\u4E2D");
    EXPECT_EQ(BSU::ToUpper(L"azàöøþāĳÿźžάώασϋϣѐџаяѣґӏӂәӿ ßıİĸŉſςµ"),
              L"AZÀÖØÞĀĲŸŹŽΆΏΑΣΫϢЀЏАЯѢҐӀӁӘӾ ßıİĸŉſςµ");
    // Comparison orders by the small-letter forms, then by length; narrow
    // text folds ASCII letters only.
    EXPECT_TRUE(BSU::CompareNoCase(L"ab", L"ABC") < 0 && BSU::CompareNoCase(L"Z", L"_") > 0);
    EXPECT_TRUE(BSU::CompareNoCase(L"σας", L"ΣΑΣ") < 0 && BSU::EqualsNoCase(L"Ёлка", L"ёЛКА"));
    EXPECT_TRUE(BSU::EqualsNoCase("ABC xyz"sv, "abc XYZ"sv));
    EXPECT_FALSE(BSU::EqualsNoCase("\xC3\xA9"sv, "\xC3\x89"sv) ||
                 BSU::EqualsNoCase("@["sv, "`{"sv));
    EXPECT_EQ(BSU::CaseInsensitiveFind(L"xÄxДОМ", L"äxдом"), 1u);
}

// Lenient parsing saturates; strict parsing refuses and leaves the output;
// booleans are a few words in any case.
TEST(ParseTest, IntegersAndBooleans) {
    const std::tuple<const wchar_t*, int64, int32, bool> kRows[] = {
        // text, StringToInt64, StringToInt32, TryParseInt32 accepts
        {L"2147483647", INT32_MAX, INT32_MAX, true},
        {L"2147483648", 2147483648LL, INT32_MAX, false},
        {L"-2147483648", INT32_MIN, INT32_MIN, true},
        {L"-2147483649", -2147483649LL, INT32_MIN, false},
        {L"9223372036854775808", INT64_MAX, INT32_MAX, false},
        {L"-99999999999999999999", INT64_MIN, INT32_MIN, false},
        {L" \t\n\v\f\r+007 \r\n", 7, 7, true},
        {L"12abc", 12, 12, false},
        {L"\uFF11", 0, 0, false}};
    for (const auto& [text, lenient64, lenient32, accepted] : kRows) {
        int32 value = 99;
        EXPECT_EQ(BSU::StringToInt64(text), lenient64) << text;
        EXPECT_EQ(BSU::StringToInt32(text), lenient32) << text;
        EXPECT_EQ(BSU::TryParseInt32(text, value), accepted) << text;
        EXPECT_EQ(value, accepted ? lenient32 : 99) << text;
    }
    uint32 value = 99;
    EXPECT_TRUE(BSU::TryParseUInt32(L"4294967295", value) && value == UINT32_MAX);
    EXPECT_FALSE(BSU::TryParseUInt32(L"4294967296", value) || BSU::TryParseUInt32(L"-1", value));
    std::mt19937 random(99);
    for (int i = 0; i < 20000; ++i) {
        const auto number = static_cast<int32>(random());
        int32 parsed = 0;
        ASSERT_TRUE(BSU::TryParseInt32(std::to_wstring(number), parsed) && parsed == number);
        ASSERT_EQ(BSU::StringToInt32(std::to_wstring(number)), number);
    }
    for (const wchar_t* text : {L"1", L"TRUE", L"yes", L"Y", L"on", L"\tOn\n", _S_YES})
        EXPECT_TRUE(BSU::StringToBool(text)) << text;
    for (const wchar_t* text : {L"", L"0", L"no", L"2", L"01", L"yes please", L"ye", L"y e s"})
        EXPECT_FALSE(BSU::StringToBool(text)) << text;
}

}  // namespace
