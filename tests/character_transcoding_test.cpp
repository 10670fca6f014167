// The character converters across encodings: the default code page against
// UTF-8, conversions between two narrow code pages, invalid input,
// characters above U+FFFF, cuts at the capacity, 16-bit sources, round trips
// over generated text, allocation, and the assertions on capacities and codes.
#include <gtest/gtest.h>
#include <locale.h>
#include <unistd.h>

#include <filesystem>
#include <random>
#include <string>
#include <string_view>

#include "CharacterTestSupport.h"
#include "CountingAllocator.h"
#include "TranscodeTestSupport.h"
#include "Utility/Client/SUCDataConvert.h"

namespace {

using xts::test::Call;
using xts::test::ConvertResult;
using xts::test::GuardedBuffer;
using xts::test::SourceBuffer;
using xts::test::TextShape;
using xts::test::Utf8;

using Params = DataConvertParams;

constexpr unsigned kSeed = 20240611;

Params Codes(int32 fromCode, int32 toCode) {
    Params params;
    params.charDataFromDataCode = fromCode;
    params.charDataToDataCode = toCode;
    return params;
}

struct Outcome {
    ConvertResult result;
    GuardedBuffer target;
};

Outcome ConvertInto(DataConvert_t convert, const Params& params, const SourceBuffer& source,
                    std::size_t extent, uint32 toLength) {
    Outcome outcome{{}, GuardedBuffer(extent)};
    outcome.result = Call(convert, params, source, 0, outcome.target, toLength);
    EXPECT_TRUE(outcome.target.GuardsIntact()) << "written outside " << extent << " bytes";
    return outcome;
}

SourceBuffer NarrowChar(std::string_view bytes) {
    return SourceBuffer::Narrow(TextShape::kFixed, bytes);
}
SourceBuffer WideChar(std::wstring_view units) {
    return SourceBuffer::Wide(TextShape::kFixed, units);
}

// The text of a narrow fixed target: `room` bytes before its NUL.
std::string NarrowText(const Outcome& out, uint32 room) {
    EXPECT_EQ(out.target.data()[room], 0);
    return out.target.Narrow(0, room);
}

std::string RightTrimmed(std::string text) {
    while (!text.empty() && text.back() == ' ')
        text.pop_back();
    return text;
}

// ---- Encodings ----

const std::wstring kMixed = L"a\u00e9\u20ac\U0001F600";  // 1 + 2 + 3 + 4 UTF-8 bytes

// Under the C locale the default code page is UTF-8, so code 0 and code 2
// read and write the same bytes.
TEST(EncodingTest, DefaultCodeAndUtf8AgreeUnderTheCLocale) {
    for (const int32 code : {kCharDataNarrowCode, kCharDataNarrowUTF8Code}) {
        SCOPED_TRACE(code);
        Outcome out = ConvertInto(SUDataConvert::ConvertCharToXTChar, Codes(code, code),
                                  NarrowChar(Utf8(kMixed)), 4 * 6, 6);
        EXPECT_EQ(out.target.Wide(0, 6), kMixed + std::wstring(L" \0", 2));
        EXPECT_EQ(out.result.length, 5u);
        out = ConvertInto(SUDataConvert::ConvertXTCharToChar, Codes(code, code), WideChar(kMixed),
                          12, 12);
        EXPECT_EQ(NarrowText(out, 11), Utf8(kMixed) + ' ');
        // Across the two codes the text goes through the transcoders unchanged.
        const int32 other =
            code == kCharDataNarrowCode ? kCharDataNarrowUTF8Code : kCharDataNarrowCode;
        out = ConvertInto(SUDataConvert::ConvertCharToVarChar, Codes(code, other),
                          NarrowChar(Utf8(kMixed)), 4 + 12, 12);
        EXPECT_EQ(out.target.Count(), 10u);
        EXPECT_EQ(out.target.Narrow(4, 11), Utf8(kMixed) + '\0');
    }
}

TEST(EncodingTest, CharactersAboveTheBasicPlane) {
    Outcome out =
        ConvertInto(SUDataConvert::ConvertVarXTCharToVarChar, Params{},
                    SourceBuffer::Wide(TextShape::kVariable, L"\U0001F600\U0010FFFF"), 4 + 9, 9);
    EXPECT_EQ(out.target.Count(), 8u);
    EXPECT_EQ(out.target.Narrow(4, 8), "\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF");
    out = ConvertInto(SUDataConvert::ConvertCharToVarXTChar, Params{},
                      NarrowChar("\xF0\x9F\x98\x80"), 4 + 4 * 3, 3);
    EXPECT_EQ(out.target.Count(), 1u);
    EXPECT_EQ(out.target.Wide(4, 2), std::wstring(L"\U0001F600\0", 2));
}

// Invalid input (and a character the target code cannot hold) gives an
// empty text, not a null and not an error.
TEST(EncodingTest, InvalidInputGivesAnEmptyText) {
    const std::string invalid = "ab\xC3\x28";
    Outcome out =
        ConvertInto(SUDataConvert::ConvertCharToXTChar, Params{}, NarrowChar(invalid), 4 * 5, 5);
    EXPECT_EQ(out.target.Wide(0, 5), std::wstring(L"    \0", 5));
    EXPECT_EQ(out.result.isNull, 0);
    EXPECT_EQ(out.result.length, 4u);

    out = ConvertInto(SUDataConvert::ConvertCharToVarXTChar, Params{}, NarrowChar(invalid),
                      4 + 4 * 5, 5);
    EXPECT_EQ(out.target.Count(), 0u);
    EXPECT_EQ(out.result.isNull, 0);
    EXPECT_EQ(out.result.length, 0u);

    // Narrow to narrow across codes goes through the transcoders ...
    out =
        ConvertInto(SUDataConvert::ConvertCharToChar,
                    Codes(kCharDataNarrowUTF8Code, kCharDataNarrowCode), NarrowChar(invalid), 6, 6);
    EXPECT_EQ(NarrowText(out, 5), "     ");
    // ... while equal codes copy the bytes as they are.
    out = ConvertInto(SUDataConvert::ConvertCharToChar, Params{}, NarrowChar(invalid), 6, 6);
    EXPECT_EQ(NarrowText(out, 5), invalid + ' ');

    // A wide value that is no character.
    out = ConvertInto(SUDataConvert::ConvertXTCharToVarChar, Params{},
                      WideChar(std::wstring(1, static_cast<wchar_t>(0x110000))), 4 + 6, 6);
    EXPECT_EQ(out.target.Count(), 0u);
    EXPECT_EQ(out.result.isNull, 0);
}

// A narrow UTF-8 target too small for the text holds exactly the first bytes
// of its full encoding, which may end inside a character.
TEST(EncodingTest, NarrowTargetsHoldThePrefixOfTheFullEncoding) {
    const std::string full = Utf8(kMixed);
    for (uint32 toLength = 2; toLength <= full.size() + 2; ++toLength) {
        SCOPED_TRACE(toLength);
        const uint32 room = toLength - 1;
        const std::string expected =
            room < full.size() ? full.substr(0, room) : full + std::string(room - full.size(), ' ');
        Outcome out = ConvertInto(SUDataConvert::ConvertXTCharToChar, Params{}, WideChar(kMixed),
                                  toLength, toLength);
        EXPECT_EQ(NarrowText(out, room), expected);
        EXPECT_EQ(out.result.length, room);
        out = ConvertInto(SUDataConvert::ConvertCharToChar,
                          Codes(kCharDataNarrowUTF8Code, kCharDataNarrowCode), NarrowChar(full),
                          toLength, toLength);
        EXPECT_EQ(NarrowText(out, room), expected);
        out = ConvertInto(SUDataConvert::ConvertVarXTCharToLongVarChar, Params{},
                          SourceBuffer::Wide(TextShape::kVariable, kMixed), 4 + toLength, toLength);
        const auto count = static_cast<uint32>(std::min<std::size_t>(room, full.size()));
        EXPECT_EQ(out.target.Count(), count);
        EXPECT_EQ(out.target.Narrow(4, count + 1), full.substr(0, count) + '\0');
    }
}

// Wide targets hold whole characters.
TEST(EncodingTest, WideTargetsHoldTheLeadingCharacters) {
    const Outcome out = ConvertInto(SUDataConvert::ConvertCharToXTChar, Params{},
                                    NarrowChar(Utf8(kMixed)), 4 * 3, 3);
    EXPECT_EQ(out.target.Wide(0, 3), std::wstring(L"a\u00e9\0", 3));
}

// 16-bit sources (bTwoByteToFourByte, or code kCharDataUTF16) are widened
// unit by unit: a surrogate pair stays two units.
TEST(EncodingTest, SixteenBitSourcesAreWidenedUnitByUnit) {
    Params widen;
    widen.bTwoByteToFourByte = true;
    Params utf16 = Codes(kCharDataUTF16, kCharDataNarrowCode);
    for (const Params& params : {widen, utf16}) {
        Outcome out = ConvertInto(SUDataConvert::ConvertXTCharToXTChar, params,
                                  SourceBuffer::Wide16(TextShape::kFixed, u"a\u00e9"), 4 * 4, 4);
        EXPECT_EQ(out.target.Wide(0, 4), std::wstring(L"a\u00e9 \0", 4));
        out = ConvertInto(SUDataConvert::ConvertVarXTCharToChar, params,
                          SourceBuffer::Wide16(TextShape::kVariable, u"a\u00e9"), 5, 5);
        EXPECT_EQ(NarrowText(out, 4), "a\xC3\xA9 ");
        out =
            ConvertInto(SUDataConvert::ConvertExternalVarXTCharToVarXTChar, params,
                        SourceBuffer::Wide16(TextShape::kExternal, u"\U0001F600  "), 4 + 4 * 5, 5);
        EXPECT_EQ(out.target.Count(), 2u);
        EXPECT_EQ(out.target.Wide(4, 3), std::wstring(L"\xD83D\xDE00\0", 3));
    }
    // A 16-bit buffer behind a narrow word when the code says so.
    const Outcome out = ConvertInto(SUDataConvert::ConvertCharToXTChar, utf16,
                                    SourceBuffer::Wide16(TextShape::kFixed, u"xy"), 4 * 3, 3);
    EXPECT_EQ(out.target.Wide(0, 3), std::wstring(L"xy\0", 3));
}

// ---- A second narrow code page ----

// The default code page is switched to ISO-8859-1 through a thread locale,
// so that code 0 and code 2 are different code pages.
class Latin1DefaultTest : public testing::Test {
  public:
    static void SetUpTestSuite() {
        s_directory = std::filesystem::temp_directory_path() /
                      ("xts_chartest_locales_" + std::to_string(getpid()));
        std::filesystem::create_directories(s_directory);
        s_latin1 = xts::test::MakeCtypeLocale("en_US", "ISO-8859-1", s_directory);
    }
    static void TearDownTestSuite() {
        if (s_latin1) freelocale(s_latin1);
        std::error_code ignored;
        std::filesystem::remove_all(s_directory, ignored);
    }

  protected:
    void SetUp() override {
        if (!s_latin1) GTEST_SKIP() << "no ISO-8859-1 locale can be made here";
        m_previous = uselocale(s_latin1);
        ASSERT_EQ(SystemUtility::GetMultiByteCodePage(), SystemUtility::kLatin1CodePage);
    }
    void TearDown() override {
        if (m_previous) uselocale(m_previous);
    }

    static inline std::filesystem::path s_directory;
    static inline locale_t s_latin1 = static_cast<locale_t>(0);
    locale_t m_previous = static_cast<locale_t>(0);
};

TEST_F(Latin1DefaultTest, NarrowToNarrowAcrossCodePages) {
    Outcome out = ConvertInto(SUDataConvert::ConvertCharToChar,
                              Codes(kCharDataNarrowUTF8Code, kCharDataNarrowCode),
                              NarrowChar("caf\xC3\xA9"), 6, 6);
    EXPECT_EQ(NarrowText(out, 5), "caf\xE9 ");
    out = ConvertInto(SUDataConvert::ConvertCharToVarChar,
                      Codes(kCharDataNarrowCode, kCharDataNarrowUTF8Code), NarrowChar("\xE9t\xE9"),
                      4 + 8, 8);
    EXPECT_EQ(out.target.Count(), 5u);
    EXPECT_EQ(out.target.Narrow(4, 6), std::string("\xC3\xA9t\xC3\xA9\0", 6));
    // A character the target code page cannot hold: an empty text.
    out = ConvertInto(SUDataConvert::ConvertCharToChar,
                      Codes(kCharDataNarrowUTF8Code, kCharDataNarrowCode),
                      NarrowChar("\xE2\x82\xAC"), 4, 4);
    EXPECT_EQ(NarrowText(out, 3), "   ");
}

TEST_F(Latin1DefaultTest, WideToAndFromTheDefaultCodePage) {
    Outcome out =
        ConvertInto(SUDataConvert::ConvertCharToXTChar, Params{}, NarrowChar("\xE9"), 4 * 2, 2);
    EXPECT_EQ(out.target.Wide(0, 2), std::wstring(L"\u00e9\0", 2));
    out =
        ConvertInto(SUDataConvert::ConvertXTCharToChar, Params{}, WideChar(L"\u00e9\u00ff"), 3, 3);
    EXPECT_EQ(NarrowText(out, 2), "\xE9\xFF");
    out =
        ConvertInto(SUDataConvert::ConvertXTCharToChar,
                    Codes(kCharDataNarrowCode, kCharDataNarrowUTF8Code), WideChar(L"\u00e9"), 3, 3);
    EXPECT_EQ(NarrowText(out, 2), "\xC3\xA9");
}

// ---- Round trips ----

// Generated text of several scripts goes from UTF-8 into wide text and back:
// XTChar then Char, and VarXTChar then VarChar, modulo padding and trimming.
TEST(RoundTripTest, Utf8TextThroughWideTextAndBack) {
    std::mt19937 random(kSeed);
    const xts::test::Script scripts[] = {xts::test::Script::kAscii, xts::test::Script::kLatin,
                                         xts::test::Script::kCjk, xts::test::Script::kEmoji};
    for (int i = 0; i < 800; ++i) {
        const xts::test::Script script = scripts[i % 4];
        std::wstring text = xts::test::RandomText(random, script, random() % 40);
        if (i % 5 == 0) text += L"  ";  // trailing blanks now and then
        const std::string utf8 = Utf8(text);
        const auto units = static_cast<uint32>(text.size());
        const auto bytes = static_cast<uint32>(utf8.size());
        const uint32 slack = random() % 3;
        SCOPED_TRACE(testing::Message() << xts::test::ScriptName(script) << " #" << i);

        // Fixed: the wide value is padded, the narrow one padded again.
        const Outcome wide =
            ConvertInto(SUDataConvert::ConvertCharToXTChar, Params{}, NarrowChar(utf8),
                        4 * (units + 1 + slack), units + 1 + slack);
        ASSERT_EQ(wide.result.length, units + slack);
        const SourceBuffer wideSource =
            SourceBuffer::Wide(TextShape::kFixed, wide.target.Wide(0, units + slack));
        const Outcome narrow = ConvertInto(SUDataConvert::ConvertXTCharToChar, Params{}, wideSource,
                                           bytes + slack + 1, bytes + slack + 1);
        ASSERT_EQ(RightTrimmed(NarrowText(narrow, bytes + slack)), RightTrimmed(utf8));

        // Variable: trailing blanks are trimmed on the way in.
        const Outcome wideVariable = ConvertInto(SUDataConvert::ConvertCharToVarXTChar, Params{},
                                                 NarrowChar(utf8), 4 + 4 * (units + 2), units + 2);
        const uint32 count = wideVariable.target.Count();
        const SourceBuffer variableSource =
            SourceBuffer::Wide(TextShape::kVariable, wideVariable.target.Wide(4, count));
        const Outcome narrowVariable =
            ConvertInto(SUDataConvert::ConvertVarXTCharToVarChar, Params{}, variableSource,
                        4 + bytes + 2, bytes + 2);
        ASSERT_EQ(narrowVariable.target.Narrow(4, narrowVariable.target.Count()),
                  RightTrimmed(utf8));
        ASSERT_EQ(narrowVariable.result.isNull, 0);
    }
}

// ---- Allocation ----

// Texts shorter than the inline scratch (512 wide units, 2,049 bytes) are
// converted without taking memory from the heap.
TEST(AllocationTest, ShortTextsDoNotAllocate) {
    const std::string utf8 = Utf8(std::wstring(100, L'\u00e9') + L"\U0001F600 42 ");
    const std::wstring wide(200, L'\u20ac');
    std::u16string sixteen(300, u'x');
    const SourceBuffer narrowSource = NarrowChar(utf8);
    const SourceBuffer wideSource = WideChar(wide);
    const SourceBuffer sixteenSource = SourceBuffer::Wide16(TextShape::kVariable, sixteen);
    const SourceBuffer number = NarrowChar(" 12.5 ");
    Params widen;
    widen.bTwoByteToFourByte = true;
    GuardedBuffer target(4 + 4 * 1024);
    const double value = 12.5;

    const SourceBuffer floating = SourceBuffer::Raw(&value, sizeof value, sizeof value);
    const Params toDefault = Codes(kCharDataNarrowUTF8Code, kCharDataNarrowCode);
    const struct {
        const char* what;
        DataConvert_t convert;
        Params params;
        const SourceBuffer& source;
        uint32 toLength;
    } calls[] = {
        {"Char to Char across codes", SUDataConvert::ConvertCharToChar, toDefault, narrowSource,
         1024},
        {"Char to XTChar", SUDataConvert::ConvertCharToXTChar, Params{}, narrowSource, 1000},
        {"XTChar to Char", SUDataConvert::ConvertXTCharToChar, Params{}, wideSource, 1000},
        {"XTChar to VarChar, cut", SUDataConvert::ConvertXTCharToVarChar, Params{}, wideSource,
         100},
        {"16-bit VarXTChar", SUDataConvert::ConvertVarXTCharToVarXTChar, widen, sixteenSource,
         1000},
        {"ExternalVarChar to VarXTChar", SUDataConvert::ConvertExternalVarCharToVarXTChar, Params{},
         narrowSource, 1000},
        {"Char to Float64", SUDataConvert::ConvertCharToFloat64, Params{}, number, 8},
        {"Char to Int32", SUDataConvert::ConvertCharToInt32, Params{}, number, 4},
        {"Float64 to XTChar", SUDataConvert::ConvertFloat64ToXTChar, Params{}, floating, 300},
    };
    for (const auto& call : calls) {
        const xts::test::AllocationCounter counter;
        Call(call.convert, call.params, call.source, 0, target, call.toLength);
        EXPECT_EQ(counter.Count(), 0u) << call.what;
    }
}

TEST(AllocationTest, LongTextsAreConvertedWhole) {
    const std::string utf8 = Utf8(std::wstring(3000, L'\u00e9'));
    const Outcome out = ConvertInto(SUDataConvert::ConvertCharToChar,
                                    Codes(kCharDataNarrowUTF8Code, kCharDataNarrowCode),
                                    NarrowChar(utf8), 6001, 6001);
    EXPECT_EQ(NarrowText(out, 6000), utf8);
    const std::wstring wide(3000, L'\u20ac');
    const Outcome back =
        ConvertInto(SUDataConvert::ConvertXTCharToChar, Params{}, WideChar(wide), 5000, 5000);
    EXPECT_EQ(NarrowText(back, 4999), Utf8(wide).substr(0, 4999));
}

// ---- Assertions ----

TEST(CharacterConverterDeathTest, FlagsNeedRoomForTheirLetter) {
    const uint8 set = 1;
    GuardedBuffer target(64);
    EXPECT_DEATH(Call(SUDataConvert::ConvertBitToChar, Params{}, &set, 1, 0, target.data(), 0),
                 "toLength >= 1");
    EXPECT_DEATH(
        Call(SUDataConvert::ConvertBooleanNullableToXTChar, Params{}, &set, 1, 0, target.data(), 0),
        "toLength >= 1");
    EXPECT_DEATH(
        Call(SUDataConvert::ConvertBooleanToVarXTChar, Params{}, &set, 1, 0, target.data(), 4),
        "toLength >= sizeof\\(uint32\\) \\+ 1");
}

// Narrow codes other than 0 and 2 are a defect of the caller.
TEST(CharacterConverterDeathTest, ANarrowTargetWithTheWideCodeAborts) {
    GuardedBuffer target(64);
    const SourceBuffer wide = WideChar(L"ab");
    EXPECT_DEATH(Call(SUDataConvert::ConvertXTCharToChar,
                      Codes(kCharDataNarrowCode, kCharDataUniCode), wide, 0, target, 8),
                 "narrow character code");
    const SourceBuffer narrow = NarrowChar("ab");
    EXPECT_DEATH(Call(SUDataConvert::ConvertCharToVarChar,
                      Codes(kCharDataNarrowCode, kCharDataUTF16), narrow, 0, target, 8),
                 "narrow character code");
}

}  // namespace
