// The hand-written UTF-8 and ISO-8859-1 paths of the SystemUtility
// transcoders: agreement with iconv, round trips, invalid input, the
// destination-full rule at every capacity, argument rules and allocation.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "CountingAllocator.h"
#include "TranscodeTestSupport.h"
#include "Utility/Generic/SUGSystemUtility.h"

namespace {

using xts::test::BytesOf;
using xts::test::Iconv;
using xts::test::RandomText;
using xts::test::Script;
using xts::test::ToUtf16;
using xts::test::Utf16Text;

constexpr unsigned kUtf8 = SystemUtility::kUTF8CodePage;

// Table rows print as their names in test output.
template <class Row>
requires requires(const Row& row) {
    row.name;
}
void PrintTo(const Row& row, std::ostream* out) {
    *out << row.name;
}
constexpr unsigned kLatin1 = SystemUtility::kLatin1CodePage;
constexpr int kInvalid = SystemUtility::kInvalidInput;

int NarrowToWide(const std::string& s, wchar_t* d, int c, unsigned cp) {
    return SystemUtility::MultiByteToWideChar(s.data(), static_cast<int>(s.size()), d, c, cp);
}
int NarrowToUtf16(const std::string& s, UTF16Char* d, int c, unsigned cp) {
    return SystemUtility::MultiByteToUcs2(s.data(), static_cast<int>(s.size()), d, c, cp);
}
int WideToNarrow(const std::wstring& s, char* d, int c, unsigned cp) {
    return SystemUtility::WideCharToMultiByte(s.data(), static_cast<int>(s.size()), d, c, cp);
}
int Utf16ToNarrow(const Utf16Text& s, char* d, int c, unsigned cp) {
    return SystemUtility::Ucs2ToMultiByte(s.data(), static_cast<int>(s.size()), d, c, cp);
}

// Whole-text conversions with ample room; nullopt for a negative result.
std::optional<std::wstring> Wide(const std::string& s, unsigned cp) {
    std::wstring out(s.size() + 1, L'\0');
    const int n = NarrowToWide(s, out.data(), static_cast<int>(out.size()), cp);
    if (n < 0 || (n == 0 && !s.empty())) return std::nullopt;
    out.resize(static_cast<std::size_t>(n));
    return out;
}
std::optional<Utf16Text> Utf16(const std::string& s, unsigned cp) {
    Utf16Text out(s.size() + 1);
    const int n = NarrowToUtf16(s, out.data(), static_cast<int>(out.size()), cp);
    if (n < 0 || (n == 0 && !s.empty())) return std::nullopt;
    out.resize(static_cast<std::size_t>(n));
    return out;
}
template <class Text, class Convert>
std::optional<std::string> Narrow(const Text& s, unsigned cp, Convert convert) {
    std::string out(s.size() * 4 + 1, '\0');
    const int n = convert(s, out.data(), static_cast<int>(out.size()), cp);
    if (n < 0 || (n == 0 && !s.empty())) return std::nullopt;
    out.resize(static_cast<std::size_t>(n));
    return out;
}
std::optional<std::string> FromWide(const std::wstring& s, unsigned cp) {
    return Narrow(s, cp, WideToNarrow);
}
std::optional<std::string> FromUtf16(const Utf16Text& s, unsigned cp) {
    return Narrow(s, cp, Utf16ToNarrow);
}

constexpr Script kScripts[] = {Script::kAscii, Script::kLatin,    Script::kCjk,
                               Script::kEmoji, Script::kBoundary, Script::kMixed};

// ---- Agreement with iconv and round trips over generated text ----

class GeneratedTextTest : public ::testing::TestWithParam<Script> {};

TEST_P(GeneratedTextTest, Utf8PathsAgreeWithIconvAndRoundTrip) {
    std::mt19937 random(1234 + static_cast<unsigned>(GetParam()));
    for (int sample = 0; sample < 300; ++sample) {
        const std::wstring text = RandomText(random, GetParam(), random() % 120);
        const Utf16Text utf16 = ToUtf16(text);
        const std::string expected = xts::test::Utf8ByIconv(text);
        SCOPED_TRACE(::testing::Message() << "sample " << sample);

        ASSERT_EQ(FromWide(text, kUtf8), expected);
        ASSERT_EQ(FromUtf16(utf16, kUtf8), expected);
        ASSERT_EQ(Wide(expected, kUtf8), text);
        ASSERT_EQ(Utf16(expected, kUtf8), utf16);
        ASSERT_EQ(BytesOf(*Utf16(expected, kUtf8)), Iconv("UTF-16LE", "UTF-8", expected));
    }
}

INSTANTIATE_TEST_SUITE_P(Scripts, GeneratedTextTest, ::testing::ValuesIn(kScripts),
                         [](const auto& info) { return xts::test::ScriptName(info.param); });

TEST(Utf8Transcode, RandomBytesAreAcceptedExactlyWhenIconvAcceptsThem) {
    std::mt19937 random(99);
    // Mostly valid text with a few bytes changed, so that faults land in
    // every position of every kind of sequence.
    for (int sample = 0; sample < 3000; ++sample) {
        std::string bytes = xts::test::Utf8ByIconv(RandomText(random, Script::kMixed, 30));
        const int changes = 1 + static_cast<int>(random() % 2);
        for (int i = 0; i < changes && !bytes.empty(); ++i)
            bytes[random() % bytes.size()] = static_cast<char>(random());
        if (random() % 4 == 0 && !bytes.empty()) bytes.resize(random() % bytes.size());
        const auto byIconv = Iconv("UTF-32LE", "UTF-8", bytes);
        const auto ours = Wide(bytes, kUtf8);
        ASSERT_EQ(ours.has_value(), byIconv.has_value()) << ::testing::PrintToString(bytes);
        if (ours) {
            ASSERT_EQ(BytesOf(*ours), *byIconv);
        }
        ASSERT_EQ(Utf16(bytes, kUtf8).has_value(), byIconv.has_value());
    }
}

TEST(Latin1Transcode, EveryByteAgreesWithIconvBothWays) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all.push_back(static_cast<char>(byte));
    const auto wide = Wide(all, kLatin1);
    ASSERT_TRUE(wide.has_value());
    EXPECT_EQ(BytesOf(*wide), Iconv("UTF-32LE", "ISO-8859-1", all));
    EXPECT_EQ(BytesOf(*Utf16(all, kLatin1)), Iconv("UTF-16LE", "ISO-8859-1", all));
    EXPECT_EQ(FromWide(*wide, kLatin1), all);
    EXPECT_EQ(FromUtf16(ToUtf16(*wide), kLatin1), all);
}

TEST(Latin1Transcode, CharactersAboveU00FFAreRejected) {
    for (const wchar_t character : {0x100, 0x20AC, 0xD800, 0x1F600, 0x110000}) {
        const std::wstring text = std::wstring(L"abc") + character;
        char out[16];
        EXPECT_EQ(WideToNarrow(text, out, 16, kLatin1), kInvalid) << static_cast<long>(character);
        const Utf16Text utf16 = {'a', static_cast<UTF16Char>(character & 0xFFFF)};
        if ((character & 0xFFFF) > 0xFF) {
            EXPECT_EQ(Utf16ToNarrow(utf16, out, 16, kLatin1), kInvalid);
        }
    }
}

// ---- Invalid input, table-driven ----

struct InvalidUtf8 {
    const char* name;
    std::string bytes;
};

const InvalidUtf8 kInvalidUtf8[] = {
    {"OverlongTwoByteNul", "\xC0\x80"},
    {"OverlongTwoByteMax", "\xC1\xBF"},
    {"OverlongThreeByte", "\xE0\x80\x80"},
    {"OverlongThreeByteMax", "\xE0\x9F\xBF"},
    {"OverlongFourByte", "\xF0\x80\x80\x80"},
    {"OverlongFourByteMax", "\xF0\x8F\xBF\xBF"},
    {"HighSurrogate", "\xED\xA0\x80"},
    {"LowSurrogate", "\xED\xBF\xBF"},
    {"EncodedSurrogatePair", "\xED\xA0\xBD\xED\xB8\x80"},
    {"AboveU10FFFF", "\xF4\x90\x80\x80"},
    {"LeadF5", "\xF5\x80\x80\x80"},
    {"LeadFF", "\xFF"},
    {"TruncatedTwoByte", "\xC3"},
    {"TruncatedThreeByte", "\xE2\x82"},
    {"TruncatedFourByte", "\xF0\x9F\x98"},
    {"StrayContinuation", "\x80"},
    {"StrayContinuationAfterCharacter", "\xC3\xA9\xBF"},
    {"AsciiInsteadOfContinuation", "\xC3\x41"},
    {"BadSecondOfThree", "\xE2\x28\xA1"},
    {"BadThirdOfThree", "\xE2\x82\x28"},
    {"BadFourthOfFour", "\xF0\x9F\x98\x41"},
};

class InvalidUtf8Test : public ::testing::TestWithParam<InvalidUtf8> {};

TEST_P(InvalidUtf8Test, IsRejectedWhereverItStands) {
    const std::string fault = GetParam().bytes;
    const std::string ascii(20, 'a');
    // Alone, after an ASCII run (the eight-byte blocks), and inside text.
    for (const std::string& text : {fault, ascii + fault, ascii + fault + ascii + ascii}) {
        std::vector<wchar_t> wide(text.size() + 8);
        std::vector<UTF16Char> utf16(text.size() + 8);
        EXPECT_EQ(NarrowToWide(text, wide.data(), static_cast<int>(wide.size()), kUtf8), kInvalid);
        EXPECT_EQ(NarrowToUtf16(text, utf16.data(), static_cast<int>(utf16.size()), kUtf8),
                  kInvalid);
    }
}

INSTANTIATE_TEST_SUITE_P(Forms, InvalidUtf8Test, ::testing::ValuesIn(kInvalidUtf8),
                         [](const auto& info) { return std::string(info.param.name); });

struct InvalidWide {
    const char* name;
    std::wstring text;
};

const InvalidWide kInvalidWide[] = {
    {"HighSurrogate", {L'a', static_cast<wchar_t>(0xD800)}},
    {"LowSurrogate", {static_cast<wchar_t>(0xDFFF), L'a'}},
    {"SurrogatePairAsTwoUnits", {static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)}},
    {"JustAboveU10FFFF", {static_cast<wchar_t>(0x110000)}},
    {"LargestPositive", {static_cast<wchar_t>(0x7FFFFFFF)}},
    {"Negative", {L'x', static_cast<wchar_t>(-1)}},
};

class InvalidWideTest : public ::testing::TestWithParam<InvalidWide> {};

TEST_P(InvalidWideTest, IsRejectedByEveryCodePage) {
    const std::wstring ascii(20, L'a');
    for (const unsigned codePage : {kUtf8, kLatin1, 1252u, 932u, 1200u}) {
        for (const std::wstring& text : {GetParam().text, ascii + GetParam().text + ascii}) {
            std::vector<char> out(text.size() * 4 + 8);
            EXPECT_EQ(WideToNarrow(text, out.data(), static_cast<int>(out.size()), codePage),
                      kInvalid)
                << codePage;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Forms, InvalidWideTest, ::testing::ValuesIn(kInvalidWide),
                         [](const auto& info) { return std::string(info.param.name); });

struct InvalidUtf16 {
    const char* name;
    Utf16Text units;
};

const InvalidUtf16 kInvalidUtf16[] = {
    {"HighAtEnd", {'a', 0xD83D}},
    {"HighThenAscii", {0xD83D, 'a'}},
    {"HighThenHigh", {0xD83D, 0xD83D, 0xDE00}},
    {"LoneLow", {'a', 0xDE00, 'b'}},
    {"LowThenHigh", {0xDE00, 0xD83D}},
};

class InvalidUtf16Test : public ::testing::TestWithParam<InvalidUtf16> {};

TEST_P(InvalidUtf16Test, IsRejectedByEveryCodePage) {
    Utf16Text padded(20, 'a');
    padded.insert(padded.end(), GetParam().units.begin(), GetParam().units.end());
    for (const unsigned codePage : {kUtf8, kLatin1, 1252u, 936u, 1201u}) {
        for (const Utf16Text& text : {GetParam().units, padded}) {
            std::vector<char> out(text.size() * 4 + 8);
            EXPECT_EQ(Utf16ToNarrow(text, out.data(), static_cast<int>(out.size()), codePage),
                      kInvalid)
                << codePage;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Forms, InvalidUtf16Test, ::testing::ValuesIn(kInvalidUtf16),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- Every capacity, with guard units around the destination ----

template <class Unit>
class GuardedBuffer {
  public:
    static constexpr std::size_t kGuard = 16;
    static constexpr Unit kFill = static_cast<Unit>(0x5A);

    explicit GuardedBuffer(std::size_t capacity)
        : m_capacity(capacity), m_units(capacity + 2 * kGuard, kFill) {}
    Unit* Data() { return m_units.data() + kGuard; }
    std::vector<Unit> Content() const {
        return {m_units.begin() + kGuard, m_units.begin() + kGuard + m_capacity};
    }
    bool GuardsIntact() const {
        auto isFill = [](Unit unit) { return unit == kFill; };
        return std::all_of(m_units.begin(), m_units.begin() + kGuard, isFill) &&
               std::all_of(m_units.end() - kGuard, m_units.end(), isFill);
    }

  private:
    std::size_t m_capacity;
    std::vector<Unit> m_units;
};

// Converts `source` at every capacity from 0 to past its full length. Below
// the full length the result is 0 and the destination holds the first
// `capacity` units of the full result; at or above it the result is the full
// length and nothing after it is touched. The guards are never touched.
template <class Unit, class Source, class Convert>
void CheckEveryCapacity(const Source& source, unsigned codePage, Convert convert) {
    std::vector<Unit> full(source.size() * 4 + 8);
    const int length = convert(source, full.data(), static_cast<int>(full.size()), codePage);
    ASSERT_GT(length, 0);
    full.resize(static_cast<std::size_t>(length));
    for (int capacity = 0; capacity <= length + 3; ++capacity) {
        SCOPED_TRACE(::testing::Message() << "capacity " << capacity << " of " << length);
        GuardedBuffer<Unit> buffer(static_cast<std::size_t>(capacity));
        const int result = convert(source, buffer.Data(), capacity, codePage);
        const std::vector<Unit> content = buffer.Content();
        if (capacity < length) {
            ASSERT_EQ(result, 0);
            ASSERT_TRUE(std::equal(content.begin(), content.end(), full.begin()));
        } else {
            ASSERT_EQ(result, length);
            ASSERT_TRUE(std::equal(full.begin(), full.end(), content.begin()));
            ASSERT_TRUE(std::all_of(content.begin() + length, content.end(),
                                    [](Unit unit) { return unit == GuardedBuffer<Unit>::kFill; }));
        }
        ASSERT_TRUE(buffer.GuardsIntact());
    }
}

struct CapacityCase {
    const char* name;
    unsigned codePage;
    std::wstring text;
};

const std::wstring kLongAscii = L"The quick brown fox jumps over the lazy dog, 0123456789!";

const CapacityCase kCapacityCases[] = {
    {"Utf8Ascii", kUtf8, kLongAscii},
    {"Utf8Latin", kUtf8, L"Grüße aus Zürich, Ærøskøbing und Łódź; crème brûlée à la carte"},
    {"Utf8AllLengths", kUtf8, L"a\u00e9\u20ac\U0001F600b\U0010FFFF\u07FF\u0800\uFFFF\U00010000z"},
    {"Utf8EmojiAfterAscii", kUtf8, kLongAscii + L"\U0001F600\U0001F601" + kLongAscii},
    {"Utf8CjkBetweenAscii", kUtf8, L"abcdefghij\u65e5\u672c\u8a9eklmnopqrstuvwxyz0123456789ABCDEF"},
    {"Latin1", kLatin1, L"Caf\u00e9 na\u00efve \u00e0 la cr\u00e8me, 0123456789 ABCDEFGH"},
    {"Windows1252", 1252, L"Caf\u00e9 \u20ac5 \u201cquoted\u201d \u2013 ABCDEFGHIJKLMNOP"},
    {"Cp932", 932, L"\u65e5\u672c\u8a9e\u30c6\u30ad\u30b9\u30c8 abc \uff76\uff80\uff76\uff85"},
    {"Gbk", 936, L"\u4e2d\u6587\u6d4b\u8bd5 text \u4e2d\u6587"},
    {"Utf16LeNarrow", 1200, L"ab\u00e9\U0001F600cd"},
    {"Gb18030", 54936, L"a\U0001F600\u4e2db"},
};

class CapacityTest : public ::testing::TestWithParam<CapacityCase> {};

TEST_P(CapacityTest, WideToNarrow) {
    CheckEveryCapacity<char>(GetParam().text, GetParam().codePage, WideToNarrow);
}

TEST_P(CapacityTest, Utf16ToNarrow) {
    CheckEveryCapacity<char>(ToUtf16(GetParam().text), GetParam().codePage, Utf16ToNarrow);
}

TEST_P(CapacityTest, NarrowToWide) {
    const std::string narrow = FromWide(GetParam().text, GetParam().codePage).value();
    CheckEveryCapacity<wchar_t>(narrow, GetParam().codePage, NarrowToWide);
}

TEST_P(CapacityTest, NarrowToUtf16) {
    const std::string narrow = FromWide(GetParam().text, GetParam().codePage).value();
    CheckEveryCapacity<UTF16Char>(narrow, GetParam().codePage, NarrowToUtf16);
}

INSTANTIATE_TEST_SUITE_P(Texts, CapacityTest, ::testing::ValuesIn(kCapacityCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(TranscodeCapacity, ShortTextWithOneCharacterAtEveryPosition) {
    // Exercises the eight-unit blocks, their partial use and the short tails.
    for (const wchar_t special : {L'\u00e9', L'\u20ac', static_cast<wchar_t>(0x1F600)}) {
        for (std::size_t length = 1; length <= 24; ++length) {
            for (std::size_t position = 0; position < length; ++position) {
                std::wstring text(length, L'a');
                for (std::size_t i = 0; i < length; ++i)
                    text[i] = static_cast<wchar_t>('a' + i);
                text[position] = special;
                SCOPED_TRACE(::testing::Message() << "length " << length << " at " << position);
                const std::string utf8 = xts::test::Utf8ByIconv(text);
                ASSERT_EQ(FromWide(text, kUtf8), utf8);
                ASSERT_EQ(Wide(utf8, kUtf8), text);
                CheckEveryCapacity<char>(text, kUtf8, WideToNarrow);
                CheckEveryCapacity<char>(ToUtf16(text), kUtf8, Utf16ToNarrow);
                CheckEveryCapacity<wchar_t>(utf8, kUtf8, NarrowToWide);
                CheckEveryCapacity<UTF16Char>(utf8, kUtf8, NarrowToUtf16);
            }
        }
    }
}

TEST(TranscodeCapacity, PartialCharacterRulesAtTheEdge) {
    // A narrow destination may end inside a character; a UTF-16 one between
    // the halves of a pair.
    char bytes[3];
    EXPECT_EQ(WideToNarrow(L"\U0001F600", bytes, 3, kUtf8), 0);
    EXPECT_EQ(std::string(bytes, 3), "\xF0\x9F\x98");
    UTF16Char units[1];
    EXPECT_EQ(NarrowToUtf16("\xF0\x9F\x98\x80", units, 1, kUtf8), 0);
    EXPECT_EQ(units[0], 0xD83D);
    // A fault after the point where the destination fills is not seen.
    wchar_t wide[2];
    EXPECT_EQ(NarrowToWide("ab\xFF", wide, 2, kUtf8), 0);
    EXPECT_EQ(NarrowToWide("ab\xFF", wide, 3, kUtf8), kInvalid);
}

// ---- Argument rules ----

TEST(TranscodeArguments, EmptySourceAndZeroCapacityReturnZeroWithoutWriting) {
    GuardedBuffer<wchar_t> wide(0);
    EXPECT_EQ(SystemUtility::MultiByteToWideChar("abc", 0, wide.Data(), 4, kUtf8), 0);
    EXPECT_EQ(SystemUtility::MultiByteToWideChar("abc", 3, wide.Data(), 0, kUtf8), 0);
    EXPECT_EQ(SystemUtility::MultiByteToWideChar(nullptr, 0, nullptr, 0, kUtf8), 0);
    EXPECT_EQ(SystemUtility::MultiByteToWideChar("abc", 3, nullptr, 0, 1252), 0);
    GuardedBuffer<char> narrow(0);
    EXPECT_EQ(SystemUtility::WideCharToMultiByte(L"abc", 3, narrow.Data(), 0, kUtf8), 0);
    EXPECT_EQ(SystemUtility::Ucs2ToMultiByte(nullptr, 0, narrow.Data(), 4, kUtf8), 0);
    EXPECT_TRUE(wide.GuardsIntact());
    EXPECT_TRUE(narrow.GuardsIntact());
}

TEST(TranscodeArguments, UnusableArgumentsAreRejected) {
    constexpr int kBad = SystemUtility::kInvalidArgument;
    wchar_t wide[8];
    char narrow[8];
    UTF16Char units[8];
    EXPECT_EQ(SystemUtility::MultiByteToWideChar(nullptr, 3, wide, 8, kUtf8), kBad);
    EXPECT_EQ(SystemUtility::MultiByteToWideChar(nullptr, -1, wide, 8, kUtf8), kBad);
    EXPECT_EQ(SystemUtility::MultiByteToWideChar("abc", 3, nullptr, 8, kUtf8), kBad);
    EXPECT_EQ(SystemUtility::MultiByteToWideChar("abc", 3, wide, -1, kUtf8), kBad);
    EXPECT_EQ(SystemUtility::WideCharToMultiByte(nullptr, 2, narrow, 8, kUtf8), kBad);
    EXPECT_EQ(SystemUtility::WideCharToMultiByte(nullptr, narrow, 8, kUtf8), kBad);
    EXPECT_EQ(SystemUtility::Ucs2ToMultiByte(units, 2, narrow, -5, kLatin1), kBad);
    EXPECT_EQ(SystemUtility::MultiByteToUcs2("ab", 2, nullptr, 8, 1252), kBad);
}

TEST(TranscodeArguments, NegativeLengthConvertsTheTerminatorToo) {
    wchar_t wide[8] = {};
    EXPECT_EQ(SystemUtility::MultiByteToWideChar("h\xC3\xA9", -1, wide, 8, kUtf8), 3);
    EXPECT_EQ(std::wstring(wide, 3), std::wstring(L"h\u00e9\0", 3));
    char narrow[8];
    EXPECT_EQ(SystemUtility::WideCharToMultiByte(L"h\u00e9", -1, narrow, 8, kUtf8), 4);
    EXPECT_EQ(std::string(narrow, 4), std::string("h\xC3\xA9\0", 4));
    // The terminator needs room like any other character.
    EXPECT_EQ(SystemUtility::WideCharToMultiByte(L"h\u00e9", -1, narrow, 3, kUtf8), 0);
    const UTF16Char units[] = {'a', 0xD83D, 0xDE00, 0};
    EXPECT_EQ(SystemUtility::Ucs2ToMultiByte(units, -1, narrow, 8, kUtf8), 6);
    UTF16Char out[8];
    EXPECT_EQ(SystemUtility::MultiByteToUcs2("ab", -1, out, 8, 1252), 3);
    EXPECT_EQ(out[2], 0);
    // A UTF-16 narrow source ends at a zero unit, not at a zero byte.
    EXPECT_EQ(SystemUtility::MultiByteToWideChar("a\0b\0\0\0", -1, wide, 8, 1200), 3);
    EXPECT_EQ(std::wstring(wide, 3), std::wstring(L"ab\0", 3));
}

TEST(TranscodeArguments, OverloadWithoutLengthLeavesTheTerminatorOut) {
    char narrow[8] = {'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x'};
    EXPECT_EQ(SystemUtility::WideCharToMultiByte(L"\u00e9t\u00e9", narrow, 8, kUtf8), 5);
    EXPECT_EQ(std::string(narrow, 6), "\xC3\xA9t\xC3\xA9x");
    EXPECT_EQ(SystemUtility::WideCharToMultiByte(L"", narrow, 8, kUtf8), 0);
}

TEST(TranscodeArguments, EmbeddedZerosAreOrdinaryCharacters) {
    const std::string text("a\0b", 3);
    EXPECT_EQ(Wide(text, kUtf8), std::wstring(L"a\0b", 3));
    EXPECT_EQ(FromWide(std::wstring(L"a\0b", 3), kLatin1), text);
}

// ---- Speed-related promises that tests can check ----

TEST(TranscodeAllocation, HandWrittenPathsAndDefaultCodePageAllocateNothing) {
    const std::wstring text = L"Grüße \U0001F600 " + kLongAscii;
    const std::string utf8 = xts::test::Utf8ByIconv(text);
    const Utf16Text utf16 = ToUtf16(text);
    std::vector<wchar_t> wide(text.size() + 8);
    std::vector<UTF16Char> units(utf16.size() + 8);
    std::vector<char> narrow(utf8.size() + 8);
    const int w = static_cast<int>(wide.size());
    const int u = static_cast<int>(units.size());
    const int n = static_cast<int>(narrow.size());
    const std::string latin1 = "caf\xE9";
    SystemUtility::GetMultiByteCodePage();  // first use may set up locale data
    xts::test::AllocationCounter counter;
    for (const unsigned codePage : {kUtf8, kLatin1, 0u}) {
        const std::string& source = codePage == kLatin1 ? latin1 : utf8;
        NarrowToWide(source, wide.data(), w, codePage);
        NarrowToUtf16(source, units.data(), u, codePage);
        WideToNarrow(text, narrow.data(), n, codePage);
        Utf16ToNarrow(utf16, narrow.data(), n, codePage);
    }
    EXPECT_EQ(counter.Count(), 0u);
}

}  // namespace
