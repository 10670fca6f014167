// UTF-16 conversions of SQL text: the rope, wide <-> 16-bit unit for unit,
// narrow <-> 16-bit through the platform converters, and the assertions.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "CountingAllocator.h"
#include "Utility/Client/SUCSqlString.h"

namespace {

using Units = std::vector<UTF16Char>;

constexpr unsigned kUTF8 = 65001;
constexpr unsigned kLatin1 = 28591;
// No converter knows this code page: a conversion that reached the converter
// with it would fail and abort, so a test passing it proves none was made.
constexpr unsigned kNoSuchCodePage = 4242;

UTF16String RopeOf(Units units) {
    units.push_back(0);
    return UTF16String(units.data());
}

Units UnitsOf(const UTF16String& rope) {
    return Units(rope.begin(), rope.end());
}

// A heap block of exactly `bytes` bytes holding the first bytes of `units`,
// so that AddressSanitizer sees any read past the byte count.
struct ExactBlock {
    ExactBlock(const Units& units, std::size_t bytes) : data(std::malloc(bytes ? bytes : 1)) {
        std::memcpy(data, units.data(), std::min(bytes, units.size() * sizeof(UTF16Char)));
    }
    ExactBlock(const std::string& text, std::size_t bytes) : data(std::malloc(bytes ? bytes : 1)) {
        std::memcpy(data, text.data(), std::min(bytes, text.size()));
    }
    ~ExactBlock() { std::free(data); }
    ExactBlock(const ExactBlock&) = delete;
    ExactBlock& operator=(const ExactBlock&) = delete;
    const unsigned short* AsUnits() const { return static_cast<const unsigned short*>(data); }
    const char* AsBytes() const { return static_cast<const char*>(data); }
    void* data;
};

// Independent encoders for the expectations.
void AppendUtf8(char32_t c, std::string& out) {
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
void AppendUtf16(char32_t c, Units& out) {
    if (c < 0x10000) {
        out.push_back(static_cast<UTF16Char>(c));
    } else {
        c -= 0x10000;
        out.push_back(static_cast<UTF16Char>(0xD800 + (c >> 10)));
        out.push_back(static_cast<UTF16Char>(0xDC00 + (c & 0x3FF)));
    }
}

// A random non-zero scalar value: mostly BMP, some above U+FFFF, no surrogates.
char32_t RandomCharacter(std::mt19937& random) {
    switch (random() % 4) {
        case 0:
            return 1 + random() % 0x7F;
        case 1:
            return 0x80 + random() % (0x800 - 0x80);
        case 2: {
            char32_t c = 0x800 + random() % (0x10000 - 0x800);
            return (c >= 0xD800 && c <= 0xDFFF) ? c - 0x800 : c;
        }
        default:
            return 0x10000 + random() % (0x110000 - 0x10000);
    }
}

// --- The rope ---

TEST(UTF16StringTest, BuildsUpToTheFirstZeroUnit) {
    EXPECT_TRUE(UTF16String().empty());
    EXPECT_TRUE(UTF16String(nullptr).empty());
    const UTF16Char empty[] = {0, 'x', 0};
    EXPECT_EQ(UTF16String(empty).size(), 0u);
    const UTF16Char text[] = {'a', 0xD83D, 0xDE00, 0xFFFF, 0, 'z', 0};
    const UTF16String rope(text);
    ASSERT_EQ(rope.size(), 4u);
    EXPECT_EQ(rope[0], 'a');
    EXPECT_EQ(rope[1], 0xD83D);
    EXPECT_EQ(rope[3], 0xFFFF);
    UTF16Char flat[5] = {9, 9, 9, 9, 9};
    rope.Flatten(flat);
    EXPECT_EQ(Units(flat, flat + 5), (Units{'a', 0xD83D, 0xDE00, 0xFFFF, 9}));
}

TEST(UTF16StringTest, CopiesShareTheirUnits) {
    const UTF16String rope = RopeOf({'a', 'b', 'c'});
    const UTF16String copy = rope;
    EXPECT_TRUE(copy.SharesStorageWith(rope));
    EXPECT_EQ(copy.begin(), rope.begin());
    const UTF16String same = RopeOf({'a', 'b', 'c'});
    EXPECT_FALSE(same.SharesStorageWith(rope));
    EXPECT_TRUE(same == rope);
    EXPECT_FALSE(RopeOf({'a', 'b'}) == rope);
    EXPECT_FALSE(RopeOf({'a', 'b', 'd'}) == rope);
    EXPECT_TRUE(UTF16String() == RopeOf({}));
    EXPECT_FALSE(UTF16String().SharesStorageWith(UTF16String()));
}

TEST(UTF16StringDeathTest, ElementBeyondTheSizeAsserts) {
    const UTF16String rope = RopeOf({'a', 'b'});
    EXPECT_DEATH(static_cast<void>(rope[2]), "index < m_size");
    EXPECT_DEATH(static_cast<void>(UTF16String()[0]), "index < m_size");
}

// --- Wide <-> 16-bit, unit for unit ---

struct WideRow {
    const char* name;
    XTString wide;
    Units units;
};

class WideToUTF16Test : public ::testing::TestWithParam<WideRow> {};

TEST_P(WideToUTF16Test, KeepsTheLowSixteenBitsOfEachUnit) {
    const WideRow& row = GetParam();
    UTF16String rope = RopeOf({'o', 'l', 'd'});
    UTF16StringUtil::XTStringToUTF16String(row.wide, rope);
    EXPECT_EQ(UnitsOf(rope), row.units);
    EXPECT_EQ(UnitsOf(UTF16StringUtil::XTStringToUTF16String(row.wide.c_str())), row.units);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, WideToUTF16Test,
    ::testing::Values(WideRow{"Empty", L"", {}}, WideRow{"Ascii", L"abc", {'a', 'b', 'c'}},
                      WideRow{"Bmp", L"\u00E9\uFFFD\uFFFF", {0xE9, 0xFFFD, 0xFFFF}},
                      WideRow{"AstralLosesHighBits", XTString(1, wchar_t(0x1F600)), {0xF600}},
                      WideRow{"HighBitsOnlyEnds", XTString{L'a', wchar_t(0x10000), L'b'}, {'a'}},
                      WideRow{"BeyondUnicode", XTString{wchar_t(0x7FFF0041)}, {0x41}},
                      WideRow{"EmbeddedZeroEnds", XTString(L"ab\0c", 4), {'a', 'b'}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(WideToUTF16Test, NullPointerGivesTheEmptyRope) {
    EXPECT_TRUE(
        UTF16StringUtil::XTStringToUTF16String(static_cast<const wchar_t*>(nullptr)).empty());
}

struct BufferRow {
    const char* name;
    Units units;
    unsigned bytes;
    XTString wide;
};

class UTF16BufferToWideTest : public ::testing::TestWithParam<BufferRow> {};

TEST_P(UTF16BufferToWideTest, WidensUnitForUnit) {
    const BufferRow& row = GetParam();
    const ExactBlock block(row.units, row.bytes);
    EXPECT_EQ(UTF16StringUtil::UTF16StringToXTString(block.AsUnits(), row.bytes), row.wide);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, UTF16BufferToWideTest,
    ::testing::Values(BufferRow{"NoBytes", {'a'}, 0, L""}, BufferRow{"OneByte", {'a'}, 1, L""},
                      BufferRow{"TwoBytes", {'a', 'b'}, 2, L"a"},
                      BufferRow{"OddLastByteIgnored", {'a', 'b', 'c'}, 5, L"ab"},
                      BufferRow{"SurrogatesStayTwoUnits",
                                {0xD83D, 0xDE00},
                                4,
                                XTString{wchar_t(0xD83D), wchar_t(0xDE00)}},
                      BufferRow{"LoneSurrogate", {0xDC00}, 2, XTString{wchar_t(0xDC00)}},
                      BufferRow{"EmbeddedZeroEnds", {'a', 0, 'b'}, 6, L"a"},
                      BufferRow{"LeadingZero", {0, 'b'}, 4, L""}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(UTF16BufferToWideTest, NullBufferGivesTheEmptyString) {
    EXPECT_EQ(UTF16StringUtil::UTF16StringToXTString(nullptr, 0), L"");
    EXPECT_EQ(UTF16StringUtil::UTF16StringToXTString(nullptr, 100), L"");
}

TEST(UTF16RopeToWideTest, WidensUnitForUnit) {
    XTString wide = L"previous";
    UTF16StringUtil::UTF16StringToXTString(RopeOf({'x', 0xD83D, 0xDE00}), wide);
    EXPECT_EQ(wide, (XTString{L'x', wchar_t(0xD83D), wchar_t(0xDE00)}));
    UTF16StringUtil::UTF16StringToXTString(UTF16String(), wide);
    EXPECT_EQ(wide, L"");
}

// Any wide text of BMP units without 0 survives the trip to 16 bits and back,
// short and long (beyond the 256-unit local buffers).
TEST(WideRoundTripTest, BmpTextRoundTrips) {
    std::mt19937 random(16);
    for (int i = 0; i < 400; ++i) {
        const std::size_t length = i < 300 ? random() % 40 : 200 + random() % 2000;
        XTString wide;
        for (std::size_t k = 0; k < length; ++k)
            wide += static_cast<wchar_t>(1 + random() % 0xFFFF);
        UTF16String rope;
        UTF16StringUtil::XTStringToUTF16String(wide, rope);
        ASSERT_EQ(rope.size(), wide.size());
        XTString back;
        UTF16StringUtil::UTF16StringToXTString(rope, back);
        ASSERT_EQ(back, wide);
        const Units units = UnitsOf(rope);
        ASSERT_EQ(UTF16StringUtil::UTF16StringToXTString(
                      units.data(), static_cast<unsigned>(units.size() * sizeof(UTF16Char))),
                  wide);
    }
}

// --- Narrow -> 16-bit ---

struct NarrowRow {
    const char* name;
    std::string bytes;  // including the terminator where the row has one
    unsigned bufferBytes;
    unsigned codePage;
    Units units;
};

class NarrowBufferToUTF16Test : public ::testing::TestWithParam<NarrowRow> {};

TEST_P(NarrowBufferToUTF16Test, ConvertsUpToTheTerminator) {
    const NarrowRow& row = GetParam();
    const ExactBlock block(row.bytes, row.bufferBytes);
    EXPECT_EQ(UnitsOf(UTF16StringUtil::XTNStringToUTF16String(block.AsBytes(), row.bufferBytes,
                                                              row.codePage)),
              row.units);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, NarrowBufferToUTF16Test,
    ::testing::Values(
        // Returned empty without converting (the code page is unknown).
        NarrowRow{"NoBytes", std::string("abc\0", 4), 0, kNoSuchCodePage, {}},
        NarrowRow{"OneByte", std::string("a\0", 2), 1, kNoSuchCodePage, {}},
        NarrowRow{"EmptyText", std::string("\0bc\0", 4), 4, kNoSuchCodePage, {}},
        // Converted.
        NarrowRow{"Ascii", std::string("abc\0", 4), 4, kUTF8, {'a', 'b', 'c'}},
        NarrowRow{"TwoBytes", std::string("a\0", 2), 2, kUTF8, {'a'}},
        NarrowRow{"StopsAtTheTerminator", std::string("ab\0cd\0", 6), 6, kUTF8, {'a', 'b'}},
        NarrowRow{"Utf8FormsSurrogatePairs",
                  std::string("\xC3\xA9\xF0\x9F\x98\x80\0", 7),
                  7,
                  kUTF8,
                  {0xE9, 0xD83D, 0xDE00}},
        NarrowRow{"DefaultCodePageIsUtf8InTheCLocale", std::string("\xC3\xA9\0", 3), 3, 0, {0xE9}},
        NarrowRow{"Latin1", std::string("\xE9\xFF\x41\0", 4), 4, kLatin1, {0xE9, 0xFF, 0x41}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(NarrowBufferToUTF16Test, NullGivesTheEmptyRope) {
    EXPECT_TRUE(UTF16StringUtil::XTNStringToUTF16String(nullptr, 100, kNoSuchCodePage).empty());
}

TEST(NarrowStringToUTF16Test, ConvertsTheWholeStringWithItsTerminator) {
    UTF16String rope = RopeOf({'o', 'l', 'd'});
    UTF16StringUtil::XTNStringToUTF16String(XTNString(), rope, kUTF8);
    EXPECT_TRUE(rope.empty());
    UTF16StringUtil::XTNStringToUTF16String(XTNString("abc"), rope, kUTF8);
    EXPECT_EQ(UnitsOf(rope), (Units{'a', 'b', 'c'}));
    UTF16StringUtil::XTNStringToUTF16String(XTNString("ab\0cd", 5), rope, kUTF8);
    EXPECT_EQ(UnitsOf(rope), (Units{'a', 'b'}));
    UTF16StringUtil::XTNStringToUTF16String(XTNString("\xF0\x9F\x98\x80"), rope, kUTF8);
    EXPECT_EQ(UnitsOf(rope), (Units{0xD83D, 0xDE00}));
    UTF16StringUtil::XTNStringToUTF16String(XTNString("\xE9t\xE9"), rope, kLatin1);
    EXPECT_EQ(UnitsOf(rope), (Units{0xE9, 't', 0xE9}));
}

// Random UTF-8 text, short and long, against an independent UTF-16 encoder;
// both overloads agree, and the rope converts back to the same bytes.
TEST(NarrowRoundTripTest, Utf8MatchesAnIndependentEncoderAndRoundTrips) {
    std::mt19937 random(65001);
    for (int i = 0; i < 400; ++i) {
        const std::size_t characters = i < 300 ? random() % 30 : 100 + random() % 900;
        std::string utf8;
        Units expected;
        for (std::size_t k = 0; k < characters; ++k) {
            const char32_t c = RandomCharacter(random);
            AppendUtf8(c, utf8);
            AppendUtf16(c, expected);
        }
        UTF16String fromString;
        UTF16StringUtil::XTNStringToUTF16String(utf8, fromString, kUTF8);
        ASSERT_EQ(UnitsOf(fromString), expected);
        const UTF16String fromBuffer = UTF16StringUtil::XTNStringToUTF16String(
            utf8.c_str(), static_cast<unsigned>(utf8.size() + 1), kUTF8);
        ASSERT_TRUE(fromBuffer == fromString);

        XTNString back = "previous";
        UTF16StringUtil::UTF16StringToXTNString(fromString, back, kUTF8);
        ASSERT_EQ(back, utf8);
        ASSERT_EQ(UTF16StringUtil::UTF16StringToXTNString(
                      expected.data(), static_cast<unsigned>(expected.size() * 2), kUTF8),
                  utf8);
    }
}

// --- 16-bit -> narrow ---

struct ToNarrowRow {
    const char* name;
    Units units;
    unsigned bufferBytes;
    unsigned codePage;
    std::string narrow;
};

class UTF16BufferToNarrowTest : public ::testing::TestWithParam<ToNarrowRow> {};

TEST_P(UTF16BufferToNarrowTest, ConvertsTheUnits) {
    const ToNarrowRow& row = GetParam();
    const ExactBlock block(row.units, row.bufferBytes);
    EXPECT_EQ(
        UTF16StringUtil::UTF16StringToXTNString(block.AsUnits(), row.bufferBytes, row.codePage),
        row.narrow);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, UTF16BufferToNarrowTest,
    ::testing::Values(
        // Returned empty without converting (the code page is unknown).
        ToNarrowRow{"NoBytes", {'a'}, 0, kNoSuchCodePage, ""},
        ToNarrowRow{"OneByte", {'a'}, 1, kNoSuchCodePage, ""},
        ToNarrowRow{"FirstUnitZero", {0, 'a'}, 4, kNoSuchCodePage, ""},
        // Converted.
        ToNarrowRow{"Ascii", {'a', 'b'}, 4, kUTF8, "ab"},
        ToNarrowRow{"OddLastByteIgnored", {'a', 'b', 'c'}, 5, kUTF8, "ab"},
        ToNarrowRow{"EmbeddedZeroEnds", {'a', 0, 'b'}, 6, kUTF8, "a"},
        ToNarrowRow{"SurrogatePairCombines", {0xD83D, 0xDE00}, 4, kUTF8, "\xF0\x9F\x98\x80"},
        ToNarrowRow{"ThreeByteCharacters", {0xFFFD, 0x20AC}, 4, kUTF8, "\xEF\xBF\xBD\xE2\x82\xAC"},
        ToNarrowRow{"Latin1", {0xE9, 'x'}, 4, kLatin1, "\xE9x"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(UTF16BufferToNarrowTest, NullGivesTheEmptyString) {
    EXPECT_EQ(UTF16StringUtil::UTF16StringToXTNString(nullptr, 10, kNoSuchCodePage), "");
}

TEST(UTF16RopeToNarrowTest, EmptyRopeGivesTheEmptyStringWithoutConverting) {
    XTNString narrow = "previous";
    UTF16StringUtil::UTF16StringToXTNString(UTF16String(), narrow, kNoSuchCodePage);
    EXPECT_EQ(narrow, "");
}

TEST(UTF16RopeToNarrowTest, ConvertsTheUnits) {
    XTNString narrow;
    UTF16StringUtil::UTF16StringToXTNString(RopeOf({'a', 0xD83D, 0xDE00, 0xE9}), narrow, kUTF8);
    EXPECT_EQ(narrow, "a\xF0\x9F\x98\x80\xC3\xA9");
    UTF16StringUtil::UTF16StringToXTNString(RopeOf({0xE9}), narrow, kLatin1);
    EXPECT_EQ(narrow, "\xE9");
}

// --- Allocation: local buffers of 256 elements, the heap beyond ---

TEST(AllocationTest, ShortTextAllocatesOnlyTheResult) {
    const std::string narrow(200, 'n');
    const Units units(60, 'u');
    const UTF16String rope = RopeOf(units);
    const XTString wide(200, L'w');
    UTF16String toRope;
    XTNString toNarrow;
    toNarrow.reserve(1000);
    // Warm up: a converter may set up tables on first use.
    UTF16StringUtil::XTNStringToUTF16String(narrow, toRope, kUTF8);
    UTF16StringUtil::UTF16StringToXTNString(rope, toNarrow, kUTF8);
    {
        xts::test::AllocationCounter counter;
        UTF16StringUtil::XTNStringToUTF16String(narrow, toRope, kUTF8);
        EXPECT_EQ(counter.Count(), 1u);  // the rope's units
    }
    {
        xts::test::AllocationCounter counter;
        UTF16StringUtil::XTStringToUTF16String(wide, toRope);
        EXPECT_EQ(counter.Count(), 1u);
    }
    {
        // 60 units need 244 narrow bytes: still the local buffer; the
        // result string has room already.
        xts::test::AllocationCounter counter;
        UTF16StringUtil::UTF16StringToXTNString(rope, toNarrow, kUTF8);
        EXPECT_EQ(counter.Count(), 0u);
        EXPECT_EQ(toNarrow, std::string(60, 'u'));
    }
    {
        const UTF16String copy = rope;  // sharing copies no units
        xts::test::AllocationCounter counter;
        const UTF16String another = copy;
        EXPECT_EQ(counter.Count(), 0u);
    }
}

TEST(AllocationTest, LongTextUsesTheHeapAndConvertsWhole) {
    const std::string narrow(5000, 'n');
    xts::test::AllocationCounter counter;
    const UTF16String rope = UTF16StringUtil::XTNStringToUTF16String(
        narrow.c_str(), static_cast<unsigned>(narrow.size() + 1), kUTF8);
    EXPECT_EQ(counter.Count(), 2u);  // the work buffer and the rope
    ASSERT_EQ(rope.size(), 5000u);
    for (const UTF16Char unit : rope)
        ASSERT_EQ(unit, 'n');
    XTNString back;
    UTF16StringUtil::UTF16StringToXTNString(rope, back, kUTF8);
    EXPECT_EQ(back, narrow);
    XTString wide;
    UTF16StringUtil::UTF16StringToXTString(rope, wide);
    EXPECT_EQ(wide, XTString(5000, L'n'));
}

// --- Assertions: a refused conversion aborts ---

TEST(SqlStringDeathTest, InvalidUtf8Aborts) {
    const char invalid[] = "ab\xC3\x28";
    EXPECT_DEATH(UTF16StringUtil::XTNStringToUTF16String(invalid, sizeof invalid, kUTF8),
                 "toSize >= 0");
    UTF16String rope;
    EXPECT_DEATH(UTF16StringUtil::XTNStringToUTF16String(XTNString(invalid), rope, kUTF8),
                 "toSize >= 0");
    EXPECT_DEATH(UTF16StringUtil::XTNStringToUTF16String(XTNString("\xFF"), rope, kUTF8),
                 "toSize >= 0");
}

TEST(SqlStringDeathTest, UnknownCodePageAborts) {
    UTF16String rope;
    EXPECT_DEATH(UTF16StringUtil::XTNStringToUTF16String(XTNString(), rope, kNoSuchCodePage),
                 "toSize >= 0");
    XTNString narrow;
    EXPECT_DEATH(UTF16StringUtil::UTF16StringToXTNString(RopeOf({'a'}), narrow, kNoSuchCodePage),
                 "toSize >= 0");
}

TEST(SqlStringDeathTest, UnconvertibleUnitsAbort) {
    const Units lone = {'a', 0xD800, 'b'};
    XTNString narrow;
    EXPECT_DEATH(UTF16StringUtil::UTF16StringToXTNString(RopeOf(lone), narrow, kUTF8),
                 "toSize >= 0");
    EXPECT_DEATH(UTF16StringUtil::UTF16StringToXTNString(lone.data(), 6, kUTF8), "toSize >= 0");
    const Units notLatin1 = {0x0100};
    EXPECT_DEATH(UTF16StringUtil::UTF16StringToXTNString(notLatin1.data(), 2, kLatin1),
                 "toSize >= 0");
}

TEST(SqlStringDeathTest, NarrowTextWithoutTerminatorInItsBufferAborts) {
    const ExactBlock block(std::string("abc"), 3);
    EXPECT_DEATH(UTF16StringUtil::XTNStringToUTF16String(block.AsBytes(), 3, kUTF8),
                 "fromSize < bufferBytes");
}

}  // namespace
