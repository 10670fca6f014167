// BaseStringUtil: tokenising, trimming, case folding and comparison, integer
// and boolean parsing, widening and narrowing.
#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "Utility/Generic/SUGBaseStringUtil.h"

namespace {

using Tokens = std::vector<XTString>;

struct TokenizeRow {
    const wchar_t* text;
    const wchar_t* delimiters;
    bool skipEmpty;
    Tokens expected;
};

TEST(TokenizeTest, Table) {
    const std::vector<TokenizeRow> rows = {
        {L"", L",", false, {}},
        {L"", L",", true, {}},
        {L"a,b,c", L",", false, {L"a", L"b", L"c"}},
        {L",a,,b,", L",", false, {L"", L"a", L"", L"b", L""}},
        {L",a,,b,", L",", true, {L"a", L"b"}},
        {L",", L",", false, {L"", L""}},
        {L",,,", L",", true, {}},
        {L"a;b,c;", L",;", false, {L"a", L"b", L"c", L""}},
        {L"no delimiter", L",", false, {L"no delimiter"}},
        {L"a,b", L"", false, {L"a,b"}},
        {L"\u4E2D|\U0001F600||x", L"|", true, {L"\u4E2D", L"\U0001F600", L"x"}},
    };
    for (const TokenizeRow& row : rows) {
        Tokens tokens;
        BaseStringUtil::Tokenize(row.text, row.delimiters, tokens, row.skipEmpty);
        EXPECT_EQ(tokens, row.expected) << "\"" << testing::PrintToString(XTString(row.text))
                                        << "\" skipEmpty=" << row.skipEmpty;
    }
}

TEST(TokenizeTest, AppendsToTheGivenVector) {
    Tokens tokens = {L"old"};
    BaseStringUtil::Tokenize(L"a b", L" ", tokens);
    BaseStringUtil::TokenizeWithEscape(L"c", L',', L'\\', tokens);
    EXPECT_EQ(tokens, (Tokens{L"old", L"a", L"b", L"c"}));
}

TEST(TokenizeTest, WithEscapeTable) {
    const std::vector<std::pair<const wchar_t*, Tokens>> rows = {
        {L"", {}},
        {L"a,b", {L"a", L"b"}},
        {L",a,", {L"", L"a", L""}},
        {L"a\\,b,c", {L"a,b", L"c"}},  // escaped delimiter
        {L"a\\\\,b", {L"a\\", L"b"}},  // escaped escape, then a delimiter
        {L"\\a\\b", {L"ab"}},          // escaped ordinary characters
        {L"\\,", {L","}},              // the whole text one escaped delimiter
        {L"a\\", {L"a\\"}},            // trailing escape kept
        {L"a,\\", {L"a", L"\\"}},      // trailing escape alone
        {L"a\\\\", {L"a\\"}},          // trailing escaped escape
        {L"\\\\\\,", {L"\\,"}},        // escape escape escape delimiter
        {L"x,,y", {L"x", L"", L"y"}},  // empty tokens kept
    };
    for (const auto& [text, expected] : rows) {
        Tokens tokens;
        BaseStringUtil::TokenizeWithEscape(text, L',', L'\\', tokens);
        EXPECT_EQ(tokens, expected) << testing::PrintToString(XTString(text));
    }
}

TEST(TrimTest, EveryAsciiWhiteSpaceAndNothingElse) {
    const XTString spaces = L" \t\n\v\f\r";
    for (wchar_t c = 0; c < 0x3100; ++c) {
        const bool expected = spaces.find(c) != XTString::npos;
        ASSERT_EQ(BaseStringUtil::IsWhiteSpace(c), expected) << int(c);
    }
    const XTString text = spaces + L"a \u00A0b" + spaces;
    EXPECT_EQ(BaseStringUtil::Trim(text), L"a \u00A0b");
    EXPECT_EQ(BaseStringUtil::TrimLeft(text), L"a \u00A0b" + spaces);
    EXPECT_EQ(BaseStringUtil::TrimRight(text), spaces + L"a \u00A0b");
    EXPECT_EQ(BaseStringUtil::Trim(spaces), L"");
    EXPECT_EQ(BaseStringUtil::TrimLeft(spaces), L"");
    EXPECT_EQ(BaseStringUtil::TrimRight(spaces), L"");
    EXPECT_EQ(BaseStringUtil::Trim(L""), L"");
    // Non-ASCII blanks and NUL are not white space.
    EXPECT_EQ(BaseStringUtil::Trim(L"\u00A0x\u3000"), L"\u00A0x\u3000");
    EXPECT_EQ(BaseStringUtil::Trim(XTString(L"\0x\0", 3)), XTString(L"\0x\0", 3));
    // Narrow text: the same set; bytes of multi-byte characters stay.
    EXPECT_EQ(BaseStringUtil::Trim(std::string_view(" \t\n\v\f\rab \r\n")), "ab");
    EXPECT_EQ(BaseStringUtil::Trim(std::string_view("\xC2\xA0x\xA0")), "\xC2\xA0x\xA0");
    EXPECT_EQ(BaseStringUtil::Trim(std::string_view("  ")), "");
}

// Case pairs across the blocks, and characters that map to themselves.
TEST(CaseFoldingTest, PairsAcrossBlocks) {
    const std::vector<std::pair<wchar_t, wchar_t>> pairs = {
        {L'A', L'a'},           {L'Z', L'z'},           {0xC0, 0xE0} /* À */,
        {0xD6, 0xF6} /* Ö */,   {0xD8, 0xF8} /* Ø */,   {0xDE, 0xFE} /* Þ */,
        {0x100, 0x101} /* Ā */, {0x12E, 0x12F} /* Į */, {0x132, 0x133} /* Ĳ */,
        {0x139, 0x13A} /* Ĺ */, {0x147, 0x148} /* Ň */, {0x14A, 0x14B} /* Ŋ */,
        {0x176, 0x177} /* Ŷ */, {0x178, 0xFF} /* Ÿ */,  {0x179, 0x17A} /* Ź */,
        {0x17D, 0x17E} /* Ž */, {0x391, 0x3B1} /* Α */, {0x3A3, 0x3C3} /* Σ */,
        {0x3A9, 0x3C9} /* Ω */, {0x3AB, 0x3CB} /* Ϋ */, {0x386, 0x3AC} /* Ά */,
        {0x388, 0x3AD} /* Έ */, {0x38C, 0x3CC} /* Ό */, {0x38F, 0x3CE} /* Ώ */,
        {0x3E2, 0x3E3} /* Ϣ */, {0x400, 0x450} /* Ѐ */, {0x401, 0x451} /* Ё */,
        {0x40F, 0x45F} /* Џ */, {0x410, 0x430} /* А */, {0x414, 0x434} /* Д */,
        {0x42F, 0x44F} /* Я */, {0x462, 0x463} /* Ѣ */, {0x490, 0x491} /* Ґ */,
        {0x4C0, 0x4CF} /* Ӏ */, {0x4C1, 0x4C2} /* Ӂ */, {0x4D8, 0x4D9} /* Ә */,
        {0x4E8, 0x4E9} /* Ө */, {0x4FE, 0x4FF} /* Ӿ */,
    };
    for (const auto& [upper, lower] : pairs) {
        SCOPED_TRACE(std::to_string(upper) + "/" + std::to_string(lower));
        EXPECT_EQ(BaseStringUtil::ToLower(upper), lower);
        EXPECT_EQ(BaseStringUtil::ToUpper(lower), upper);
        EXPECT_EQ(BaseStringUtil::ToLower(lower), lower);
        EXPECT_EQ(BaseStringUtil::ToUpper(upper), upper);
        EXPECT_EQ(BaseStringUtil::CompareNoCase(XTString(1, upper), XTString(1, lower)), 0);
    }
    // Sharp s, dotless and dotted I, kra, n preceded by apostrophe, long s,
    // final sigma, micro sign, signs, digits, ASCII neighbours of the letters,
    // CJK, emoji, an unassigned Greek code point, Cyrillic Supplement, a
    // full-width letter and a negative unit.
    XTString unchanged =
        L"\u00DF\u0131\u0130\u0138\u0149\u017F\u03C2\u00B5\u00D7\u00F709@[`{"
        L"\u4E2D\U0001F600\u0500\uFF21";
    unchanged += {0x3A2, -1};
    for (const wchar_t c : unchanged) {
        EXPECT_EQ(BaseStringUtil::ToLower(c), c) << int(c);
        EXPECT_EQ(BaseStringUtil::ToUpper(c), c) << int(c);
    }
    EXPECT_EQ(BaseStringUtil::ToLower(L"ÀÉÎ Straße ΣΑΣ Ёж"), L"àéî straße σασ ёж");
    EXPECT_EQ(BaseStringUtil::ToUpper(L"àéî straße σας ёж"), L"ÀÉÎ STRAßE ΣΑς ЁЖ");
}

// Over every code point: folding is one-to-one (a capital's small letter
// maps back to it and vice versa), folding twice changes nothing more, and
// only letters of the supported blocks change.
TEST(CaseFoldingTest, OneToOneOverAllCodePoints) {
    for (wchar_t c = 0; c <= 0x10FFFF; ++c) {
        const wchar_t lower = BaseStringUtil::ToLower(c);
        const wchar_t upper = BaseStringUtil::ToUpper(c);
        if (lower == c && upper == c) continue;
        const int code = c;
        ASSERT_LT(c, 0x500) << code;
        ASSERT_TRUE(lower == c || upper == c) << code;  // never both cases at once
        if (lower != c) {
            ASSERT_EQ(BaseStringUtil::ToUpper(lower), c) << code;
            ASSERT_EQ(BaseStringUtil::ToLower(lower), lower) << code;
        } else {
            ASSERT_EQ(BaseStringUtil::ToLower(upper), c) << code;
            ASSERT_EQ(BaseStringUtil::ToUpper(upper), upper) << code;
        }
    }
}

XTString RandomText(std::mt19937& random) {
    static const wchar_t kAlphabet[] = {L'a',  L'A',  L'b',  L'B',  L'z',  L'Z',  L'_',
                                        L'0',  0xE9,  0xC9,  0xDF,  0xFF,  0x178, 0x3C3,
                                        0x3A3, 0x3C2, 0x416, 0x436, 0x4E2D};
    XTString text(random() % 5, L' ');
    for (wchar_t& c : text)
        c = kAlphabet[random() % std::size(kAlphabet)];
    return text;
}

int Sign(int value) {
    return (value > 0) - (value < 0);
}

TEST(CompareNoCaseTest, IsAConsistentOrdering) {
    std::mt19937 random(1234);
    std::vector<XTString> sample(70);
    for (XTString& text : sample)
        text = RandomText(random);
    for (const XTString& a : sample) {
        ASSERT_EQ(BaseStringUtil::CompareNoCase(a, a), 0);
        ASSERT_EQ(BaseStringUtil::CompareNoCase(a, BaseStringUtil::ToUpper(a)), 0);
        ASSERT_EQ(BaseStringUtil::CompareNoCase(BaseStringUtil::ToLower(a), a), 0);
        ASSERT_TRUE(BaseStringUtil::EqualsNoCase(a, BaseStringUtil::ToUpper(a)));
        for (const XTString& b : sample) {
            const int ab = BaseStringUtil::CompareNoCase(a, b);
            ASSERT_EQ(Sign(ab), -Sign(BaseStringUtil::CompareNoCase(b, a)));
            ASSERT_EQ(ab == 0, BaseStringUtil::EqualsNoCase(a, b));
            if (ab > 0) continue;
            for (const XTString& c : sample) {
                if (BaseStringUtil::CompareNoCase(b, c) <= 0) {
                    ASSERT_LE(BaseStringUtil::CompareNoCase(a, c), 0);
                }
            }
        }
    }
    // Case variants collapse to one key of an ordered container.
    std::set<XTString, XTStringCaseInsensitiveLessThan> keys = {L"Name", L"NAME", L"name", L"Ёлка",
                                                                L"ёЛКА"};
    EXPECT_EQ(keys.size(), 2u);
    EXPECT_TRUE(keys.contains(std::wstring_view(L"nAmE")));
}

TEST(CompareNoCaseTest, Table) {
    struct Row {
        const wchar_t* left;
        const wchar_t* right;
        int sign;
    };
    const std::vector<Row> rows = {
        {L"", L"", 0},
        {L"", L"a", -1},
        {L"ab", L"abc", -1},
        {L"ABC", L"abd", -1},
        {L"abd", L"ABC", 1},
        {L"Z", L"_", 1},  // 'z' > '_'
        {L"straße", L"STRAßE", 0},
        {L"σας", L"ΣΑΣ", -1},  // final sigma stays itself
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Sign(BaseStringUtil::CompareNoCase(row.left, row.right)), row.sign)
            << testing::PrintToString(XTString(row.left)) << " vs "
            << testing::PrintToString(XTString(row.right));
    }
}

TEST(EqualsNoCaseTest, NarrowTextFoldsAsciiOnly) {
    struct Row {
        const char* left;
        const char* right;
        bool equal;
    };
    const std::vector<Row> rows = {
        {"", "", true},
        {"ABC xyz", "abc XYZ", true},
        {"abc", "abcd", false},
        {"a", "b", false},
        {"@", "`", false},  // differ by 32 but are not letters
        {"[", "{", false},
        {"\xC3\xA9", "\xC3\xA9", true},   // é, same bytes
        {"\xC3\xA9", "\xC3\x89", false},  // é against É: not folded in narrow text
        {"\xE9", "\xC9", false},          // Latin-1 bytes neither
    };
    for (const Row& row : rows)
        EXPECT_EQ(
            BaseStringUtil::EqualsNoCase(std::string_view(row.left), std::string_view(row.right)),
            row.equal)
            << row.left << " vs " << row.right;
    EXPECT_TRUE(BaseStringUtil::EqualsNoCase(std::wstring_view(L"\u00E9"), L"\u00C9"));
    EXPECT_FALSE(BaseStringUtil::EqualsNoCase(std::wstring_view(L"["), L"{"));
}

TEST(CaseInsensitiveFindTest, Table) {
    constexpr std::size_t npos = std::wstring_view::npos;
    const std::vector<std::tuple<const wchar_t*, const wchar_t*, std::size_t>> rows = {
        {L"Hello World", L"WORLD", 6},
        {L"abc", L"", 0},
        {L"", L"", 0},
        {L"", L"a", npos},
        {L"aaa", L"AAAA", npos},
        {L"abab", L"BAB", 1},
        {L"xÄx", L"ä", 1},
        {L"ДОМ дом", L"дОм", 0},
        {L"abc", L"abd", npos},
    };
    for (const auto& [text, pattern, expected] : rows) {
        EXPECT_EQ(BaseStringUtil::CaseInsensitiveFind(text, pattern), expected)
            << testing::PrintToString(XTString(text)) << " / "
            << testing::PrintToString(XTString(pattern));
        EXPECT_EQ(BaseStringUtil::CaseInsensitiveFindPatternAtStart(text, pattern), expected == 0);
    }
}

TEST(IntegerParseTest, LenientInt32Saturates) {
    const std::vector<std::pair<const wchar_t*, int32>> rows = {
        {L"0", 0},
        {L"2147483647", INT32_MAX},
        {L"2147483648", INT32_MAX},
        {L"-2147483648", INT32_MIN},
        {L"-2147483649", INT32_MIN},
        {L"99999999999999999999999999", INT32_MAX},
        {L"-99999999999999999999999999", INT32_MIN},
        {L"", 0},
        {L"abc", 0},
        {L"+", 0},
        {L"-", 0},
        {L"- 5", 0},
        {L"--5", 0},
        {L"12abc", 12},
        {L" \t\n\v\f\r-42", -42},
        {L"+7", 7},
        {L"007", 7},
        {L"-0", 0},
        {L"1 2", 1},
        {L"0x10", 0},
        {L"\u0661", 0},  // other scripts' digits are not digits here
        {L"\uFF11", 0},
    };
    for (const auto& [text, expected] : rows)
        EXPECT_EQ(BaseStringUtil::StringToInt32(text), expected)
            << testing::PrintToString(XTString(text));
}

TEST(IntegerParseTest, LenientInt64Saturates) {
    const std::vector<std::pair<const wchar_t*, int64>> rows = {
        {L"9223372036854775807", INT64_MAX},
        {L"9223372036854775808", INT64_MAX},
        {L"18446744073709551616", INT64_MAX},
        {L"-9223372036854775808", INT64_MIN},
        {L"-9223372036854775809", INT64_MIN},
        {L"1234567890123456789012345678901234567890", INT64_MAX},
        {L"  -2147483649x", -2147483649LL},
        {L"x1", 0},
    };
    for (const auto& [text, expected] : rows)
        EXPECT_EQ(BaseStringUtil::StringToInt64(text), expected)
            << testing::PrintToString(XTString(text));
}

TEST(IntegerParseTest, TryParseInt32) {
    const std::vector<std::pair<const wchar_t*, int32>> accepted = {
        {L"42", 42},
        {L" \t42\r\n", 42},
        {L"-2147483648", INT32_MIN},
        {L"2147483647", INT32_MAX},
        {L"+0", 0},
        {L"-0", 0},
        {L"0000000000000000000000012", 12},
    };
    for (const auto& [text, expected] : accepted) {
        int32 value = 99;
        EXPECT_TRUE(BaseStringUtil::TryParseInt32(text, value))
            << testing::PrintToString(XTString(text));
        EXPECT_EQ(value, expected);
    }
    for (const wchar_t* text :
         {L"", L"  ", L"2147483648", L"-2147483649", L"99999999999", L"12abc", L"abc", L"1 2", L"+",
          L"-", L"--1", L"+-1", L"0x1", L"1.0", L"1e3", L"\uFF11"}) {
        int32 value = 99;
        EXPECT_FALSE(BaseStringUtil::TryParseInt32(text, value))
            << testing::PrintToString(XTString(text));
        EXPECT_EQ(value, 99);
    }
}

TEST(IntegerParseTest, TryParseUInt32) {
    const std::vector<std::pair<const wchar_t*, uint32>> accepted = {
        {L"0", 0}, {L"4294967295", UINT32_MAX}, {L" 7 ", 7}, {L"+7", 7}, {L"-0", 0},
    };
    for (const auto& [text, expected] : accepted) {
        uint32 value = 99;
        EXPECT_TRUE(BaseStringUtil::TryParseUInt32(text, value))
            << testing::PrintToString(XTString(text));
        EXPECT_EQ(value, expected);
    }
    for (const wchar_t* text :
         {L"", L"4294967296", L"99999999999999999999", L"-1", L"x", L"1x", L"- 0"}) {
        uint32 value = 99;
        EXPECT_FALSE(BaseStringUtil::TryParseUInt32(text, value))
            << testing::PrintToString(XTString(text));
        EXPECT_EQ(value, 99u);
    }
}

// Round trip of every int32 form a random sample takes, against the lenient
// and the strict parser.
TEST(IntegerParseTest, RandomValuesRoundTrip) {
    std::mt19937 random(99);
    for (int i = 0; i < 20000; ++i) {
        const auto value = static_cast<int32>(random());
        const XTString text = std::to_wstring(value);
        int32 parsed = 0;
        ASSERT_TRUE(BaseStringUtil::TryParseInt32(text, parsed));
        ASSERT_EQ(parsed, value);
        ASSERT_EQ(BaseStringUtil::StringToInt32(text), value);
        ASSERT_EQ(BaseStringUtil::StringToInt64(text), value);
    }
}

TEST(BoolParseTest, Words) {
    for (const wchar_t* text : {L"1", L"true", L"TRUE", L"True", L"yes", L"Yes", L"YES", L"y", L"Y",
                                L"on", L"ON", L" yes ", L"\tOn\n", _S_YES})
        EXPECT_TRUE(BaseStringUtil::StringToBool(text)) << testing::PrintToString(XTString(text));
    for (const wchar_t* text : {L"", L"0", L"no", L"false", L"off", L"2", L"01", L"yes please",
                                L"ye", L"t", L"On1", L"oui", L"y e s"})
        EXPECT_FALSE(BaseStringUtil::StringToBool(text)) << testing::PrintToString(XTString(text));
}

TEST(WidenNarrowTest, ByteByByte) {
    // Bytes at and above 0x80 widen without sign extension.
    EXPECT_EQ(BaseStringUtil::StringFrom(std::string_view("A\x80\xFF\0b", 5)),
              XTString({L'A', 0x80, 0xFF, 0, L'b'}));
    std::string allBytes;
    for (int byte = 0; byte < 256; ++byte)
        allBytes.push_back(static_cast<char>(byte));
    const XTString wide = BaseStringUtil::StringFrom(allBytes);
    for (int byte = 0; byte < 256; ++byte)
        ASSERT_EQ(wide[byte], byte);
    EXPECT_EQ(BaseStringUtil::NStringFrom(wide), allBytes);
    // Units above U+00FF (and negative ones) become '?'.
    EXPECT_EQ(BaseStringUtil::NStringFrom(XTString({L'A', 0xE9, 0xFF, 0x100, 0x4E2D, 0x1F600, -1})),
              "A\xE9\xFF????");
    EXPECT_EQ(BaseStringUtil::NStringFrom(L""), "");
}

}  // namespace
