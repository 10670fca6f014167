// Code pages of the SystemUtility transcoders: the table and its charset
// names, the iconv code pages (samples, unmappable characters, invalid
// bytes), unknown numbers, the default code page under several locales, and
// conversions on several threads at once.
#include <gtest/gtest.h>
#include <langinfo.h>
#include <locale.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "TranscodeTestSupport.h"
#include "Utility/Generic/SUGSystemUtility.h"

namespace {

using xts::test::ToUtf16;
using xts::test::Utf16Text;

constexpr int kInvalid = SystemUtility::kInvalidInput;

// Table rows print as their names in test output.
template <class Row>
requires requires(const Row& row) {
    row.name;
}
void PrintTo(const Row& row, std::ostream* out) {
    *out << row.name;
}
constexpr int kUnknown = SystemUtility::kUnknownCodePage;

// Whole conversions with ample room: the result code and the text.
struct NarrowResult {
    int code;
    std::string text;
};
NarrowResult FromWide(const std::wstring& s, unsigned cp) {
    std::string out(s.size() * 4 + 8, '\0');
    const int n = SystemUtility::WideCharToMultiByte(s.data(), static_cast<int>(s.size()),
                                                     out.data(), static_cast<int>(out.size()), cp);
    out.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    return {n, out};
}
NarrowResult FromUtf16(const Utf16Text& s, unsigned cp) {
    std::string out(s.size() * 4 + 8, '\0');
    const int n = SystemUtility::Ucs2ToMultiByte(s.data(), static_cast<int>(s.size()), out.data(),
                                                 static_cast<int>(out.size()), cp);
    out.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    return {n, out};
}
int ToWide(const std::string& s, std::wstring& out, unsigned cp) {
    out.assign(s.size() + 8, L'\0');
    const int n = SystemUtility::MultiByteToWideChar(s.data(), static_cast<int>(s.size()),
                                                     out.data(), static_cast<int>(out.size()), cp);
    out.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    return n;
}
int ToUtf16(const std::string& s, Utf16Text& out, unsigned cp) {
    out.assign(s.size() + 8, 0);
    const int n = SystemUtility::MultiByteToUcs2(s.data(), static_cast<int>(s.size()), out.data(),
                                                 static_cast<int>(out.size()), cp);
    out.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    return n;
}

// ---- The table ----

struct CodePageName {
    unsigned codePage;
    const char* charset;
};

const CodePageName kRequiredCodePages[] = {
    {65001, "UTF-8"},       {1250, "WINDOWS-1250"}, {1251, "WINDOWS-1251"}, {1252, "WINDOWS-1252"},
    {1253, "WINDOWS-1253"}, {1254, "WINDOWS-1254"}, {1255, "WINDOWS-1255"}, {1256, "WINDOWS-1256"},
    {1257, "WINDOWS-1257"}, {1258, "WINDOWS-1258"}, {874, "WINDOWS-874"},   {932, "CP932"},
    {936, "GBK"},           {949, "CP949"},         {950, "BIG5"},          {20127, "US-ASCII"},
    {28591, "ISO-8859-1"},  {28592, "ISO-8859-2"},  {28593, "ISO-8859-3"},  {28594, "ISO-8859-4"},
    {28595, "ISO-8859-5"},  {28596, "ISO-8859-6"},  {28597, "ISO-8859-7"},  {28598, "ISO-8859-8"},
    {28599, "ISO-8859-9"},  {28605, "ISO-8859-15"}, {1200, "UTF-16LE"},     {1201, "UTF-16BE"},
    {12000, "UTF-32LE"},    {12001, "UTF-32BE"},    {28603, "ISO-8859-13"}, {20866, "KOI8-R"},
    {21866, "KOI8-U"},      {51932, "EUC-JP"},      {51949, "EUC-KR"},      {54936, "GB18030"},
};

class CodePageNameTest : public ::testing::TestWithParam<CodePageName> {};

TEST_P(CodePageNameTest, MapsBothWays) {
    EXPECT_STREQ(SystemUtility::GetCodePageCharset(GetParam().codePage), GetParam().charset);
    EXPECT_EQ(SystemUtility::GetCodePageFromCharset(GetParam().charset), GetParam().codePage);
}

INSTANTIATE_TEST_SUITE_P(Table, CodePageNameTest, ::testing::ValuesIn(kRequiredCodePages),
                         [](const auto& info) { return std::to_string(info.param.codePage); });

TEST(CodePageTable, EveryKnownNumberOpensInIconvAndMapsBack) {
    int known = 0;
    for (unsigned codePage = 1; codePage <= 65535; ++codePage) {
        const char* charset = SystemUtility::GetCodePageCharset(codePage);
        if (charset == nullptr) continue;
        ++known;
        EXPECT_EQ(SystemUtility::GetCodePageFromCharset(charset), codePage) << charset;
        for (const char* side : {"UTF-32LE", "UTF-16LE"}) {
            const iconv_t descriptor = iconv_open(side, charset);
            ASSERT_NE(descriptor, reinterpret_cast<iconv_t>(-1)) << charset;
            iconv_close(descriptor);
        }
    }
    EXPECT_EQ(known, static_cast<int>(std::size(kRequiredCodePages)));
}

struct Alias {
    const char* name;
    unsigned codePage;
};

const Alias kAliases[] = {
    {"utf8", 65001},        {"Utf-8", 65001},      {"u_t_f_8", 65001},
    {"latin1", 28591},      {"ISO_8859-1", 28591}, {"iso8859-15", 28605},
    {"windows_1252", 1252}, {"CP1252", 1252},      {"ANSI_X3.4-1968", 20127},
    {"ascii", 20127},       {"GB2312", 936},       {"TIS-620", 874},
    {"euc-jp", 51932},      {"Big5", 950},         {"", 0},
    {"klingon", 0},         {"UTF-8x", 0},         {"UTF", 0},
    {"iso_8859_1", 28591},  {"WINDOWS-125", 0},
};

class AliasTest : public ::testing::TestWithParam<Alias> {};

TEST_P(AliasTest, NamesCompareWithoutCaseDashesAndUnderscores) {
    EXPECT_EQ(SystemUtility::GetCodePageFromCharset(GetParam().name), GetParam().codePage);
}

INSTANTIATE_TEST_SUITE_P(Names, AliasTest, ::testing::ValuesIn(kAliases));

TEST(CodePageTable, NullCharsetIsUnknown) {
    EXPECT_EQ(SystemUtility::GetCodePageFromCharset(nullptr), 0u);
}

TEST(CodePageTable, UnknownNumbersFailInEveryConverter) {
    wchar_t wide[8];
    char narrow[8];
    UTF16Char units[8];
    const UTF16Char source16[] = {'a', 'b'};
    for (const unsigned codePage : {1u, 2u, 1259u, 12345u, 28600u, 65000u, 65002u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(codePage);
        EXPECT_EQ(SystemUtility::GetCodePageCharset(codePage), nullptr);
        EXPECT_EQ(SystemUtility::MultiByteToWideChar("ab", 2, wide, 8, codePage), kUnknown);
        EXPECT_EQ(SystemUtility::WideCharToMultiByte(L"ab", 2, narrow, 8, codePage), kUnknown);
        EXPECT_EQ(SystemUtility::WideCharToMultiByte(L"ab", narrow, 8, codePage), kUnknown);
        EXPECT_EQ(SystemUtility::Ucs2ToMultiByte(source16, 2, narrow, 8, codePage), kUnknown);
        EXPECT_EQ(SystemUtility::MultiByteToUcs2("ab", 2, units, 8, codePage), kUnknown);
        // Even with nothing to convert.
        EXPECT_EQ(SystemUtility::MultiByteToWideChar("", 0, wide, 8, codePage), kUnknown);
    }
}

// ---- iconv code pages ----

struct Sample {
    const char* name;
    unsigned codePage;
    std::wstring text;
    std::string bytes;
};

const Sample kSamples[] = {
    {"Windows1252", 1252, L"Caf\u00e9 \u20ac \u201cok\u201d", "Caf\xE9 \x80 \x93ok\x94"},
    {"Windows1251", 1251, L"\u041f\u0440\u0438\u0432\u0435\u0442", "\xCF\xF0\xE8\xE2\xE5\xF2"},
    {"Iso8859_5", 28595, L"\u041f\u0440\u0438\u0432\u0435\u0442", "\xBF\xE0\xD8\xD2\xD5\xE2"},
    {"Iso8859_7", 28597, L"\u0391\u03b2\u03b3", "\xC1\xE2\xE3"},
    {"Iso8859_15", 28605, L"\u20ac\u0153", "\xA4\xBD"},
    {"Windows874", 874, L"\u0e01\u0e02 a", "\xA1\xA2 a"},
    {"Cp932", 932, L"\u65e5\u672c \uff76", "\x93\xFA\x96\x7B \xB6"},
    {"Gbk", 936, L"\u4e2d\u6587", "\xD6\xD0\xCE\xC4"},
    {"Cp949", 949, L"\ud55c\uad6d\uc5b4", "\xC7\xD1\xB1\xB9\xBE\xEE"},
    {"Big5", 950, L"\u4e2d\u6587", "\xA4\xA4\xA4\xE5"},
    {"UsAscii", 20127, L"plain text", "plain text"},
    {"Utf16Le", 1200, L"a\U0001F600", std::string("a\0\x3D\xD8\x00\xDE", 6)},
    {"Utf16Be", 1201, L"a\u00e9", std::string("\0a\0\xE9", 4)},
    {"Gb18030", 54936, L"\U0001F600", "\x94\x39\xFC\x36"},
};

class IconvSampleTest : public ::testing::TestWithParam<Sample> {};

TEST_P(IconvSampleTest, EncodesToTheKnownBytesAndBack) {
    const Sample& sample = GetParam();
    const NarrowResult fromWide = FromWide(sample.text, sample.codePage);
    EXPECT_EQ(fromWide.code, static_cast<int>(sample.bytes.size()));
    EXPECT_EQ(fromWide.text, sample.bytes);
    EXPECT_EQ(FromUtf16(ToUtf16(sample.text), sample.codePage).text, sample.bytes);

    std::wstring wide;
    EXPECT_EQ(ToWide(sample.bytes, wide, sample.codePage), static_cast<int>(sample.text.size()));
    EXPECT_EQ(wide, sample.text);
    Utf16Text units;
    const Utf16Text expectedUnits = ToUtf16(sample.text);
    EXPECT_EQ(ToUtf16(sample.bytes, units, sample.codePage),
              static_cast<int>(expectedUnits.size()));
    EXPECT_EQ(units, expectedUnits);
}

INSTANTIATE_TEST_SUITE_P(CodePages, IconvSampleTest, ::testing::ValuesIn(kSamples),
                         [](const auto& info) { return std::string(info.param.name); });

struct Unmappable {
    const char* name;
    unsigned codePage;
    std::wstring text;
};

const Unmappable kUnmappable[] = {
    {"CjkInto1252", 1252, L"ab\u65e5"},       {"EuroInto8859_5", 28595, L"\u20ac"},
    {"EmojiInto932", 932, L"x\U0001F600"},    {"AccentIntoAscii", 20127, L"caf\u00e9"},
    {"EmojiInto936", 936, L"\U0001F600"},     {"AccentInto874", 874, L"\u00e9"},
    {"CyrillicInto1252", 1252, L"\u0416abc"}, {"EmojiInto950", 950, L"\U0001F600"},
};

class UnmappableTest : public ::testing::TestWithParam<Unmappable> {};

TEST_P(UnmappableTest, IsRejectedFromWideAndUtf16) {
    EXPECT_EQ(FromWide(GetParam().text, GetParam().codePage).code, kInvalid);
    EXPECT_EQ(FromUtf16(ToUtf16(GetParam().text), GetParam().codePage).code, kInvalid);
}

INSTANTIATE_TEST_SUITE_P(Characters, UnmappableTest, ::testing::ValuesIn(kUnmappable),
                         [](const auto& info) { return std::string(info.param.name); });

struct InvalidBytes {
    const char* name;
    unsigned codePage;
    std::string bytes;
};

const InvalidBytes kInvalidBytes[] = {
    {"Cp932TruncatedLead", 932, "ab\x93"},
    {"Cp932BadTrail", 932, "\x81\x20"},
    {"AsciiHighByte", 20127, "a\x80"},
    {"Windows1252Undefined", 1252, "a\x81"},
    {"Utf16LeOddLength", 1200, std::string("a\0b", 3)},
    {"Utf16LeLoneSurrogate", 1200, std::string("\x00\xD8z\0", 4)},
    {"GbkTruncated", 936, "\xD6"},
};

class InvalidBytesTest : public ::testing::TestWithParam<InvalidBytes> {};

TEST_P(InvalidBytesTest, IsRejectedToWideAndUtf16) {
    std::wstring wide;
    Utf16Text units;
    EXPECT_EQ(ToWide(GetParam().bytes, wide, GetParam().codePage), kInvalid);
    EXPECT_EQ(ToUtf16(GetParam().bytes, units, GetParam().codePage), kInvalid);
}

INSTANTIATE_TEST_SUITE_P(Bytes, InvalidBytesTest, ::testing::ValuesIn(kInvalidBytes),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- The default code page ----

TEST(DefaultCodePage, CLocaleCountsAsUtf8) {
    locale_t c = newlocale(LC_CTYPE_MASK, "C", static_cast<locale_t>(0));
    ASSERT_NE(c, static_cast<locale_t>(0));
    const locale_t previous = uselocale(c);
    EXPECT_STREQ(nl_langinfo(CODESET), "ANSI_X3.4-1968");
    EXPECT_EQ(SystemUtility::GetMultiByteCodePage(), 65001u);
    EXPECT_STREQ(SystemUtility::GetCodePageCharset(0), "UTF-8");
    std::wstring wide;
    EXPECT_EQ(ToWide("\xC3\xA9t\xC3\xA9", wide, 0), 3);
    EXPECT_EQ(wide, L"\u00e9t\u00e9");
    uselocale(previous);
    freelocale(c);
}

// Locales with a single-byte codeset, made with localedef when the system
// does not have them.
class LocaleTest : public ::testing::Test {
  public:
    static void SetUpTestSuite() {
        s_directory =
            std::filesystem::temp_directory_path() / ("xts_locales_" + std::to_string(getpid()));
        std::filesystem::create_directories(s_directory);
        s_latin1 = Make("en_US", "ISO-8859-1");
        s_latin9 = Make("en_US", "ISO-8859-15");
    }
    static void TearDownTestSuite() {
        if (s_latin1) freelocale(s_latin1);
        if (s_latin9) freelocale(s_latin9);
        std::error_code ignored;
        std::filesystem::remove_all(s_directory, ignored);
    }

  protected:
    void SetUp() override {
        if (!s_latin1 || !s_latin9) GTEST_SKIP() << "no ISO-8859-1/15 locale can be made here";
    }

    static locale_t Make(const char* language, const char* codeset) {
        return xts::test::MakeCtypeLocale(language, codeset, s_directory);
    }

    static inline std::filesystem::path s_directory;
    static inline locale_t s_latin1 = static_cast<locale_t>(0);
    static inline locale_t s_latin9 = static_cast<locale_t>(0);
};

TEST_F(LocaleTest, ThreadLocaleDecidesTheDefaultCodePage) {
    const locale_t previous = uselocale(s_latin1);
    EXPECT_EQ(SystemUtility::GetMultiByteCodePage(), 28591u);
    EXPECT_STREQ(SystemUtility::GetCodePageCharset(0), "ISO-8859-1");
    std::wstring wide;
    EXPECT_EQ(ToWide("caf\xE9", wide, 0), 4);
    EXPECT_EQ(wide, L"caf\u00e9");
    EXPECT_EQ(FromWide(L"\u20ac", 0).code, kInvalid);

    // Another thread without a locale of its own still sees the process's.
    unsigned other = 0;
    std::thread([&] { other = SystemUtility::GetMultiByteCodePage(); }).join();
    EXPECT_EQ(other, 65001u);

    // Switching locales in one thread is seen at once, back and forth.
    uselocale(s_latin9);
    EXPECT_EQ(SystemUtility::GetMultiByteCodePage(), 28605u);
    EXPECT_EQ(FromWide(L"\u20ac", 0).text, "\xA4");
    uselocale(s_latin1);
    EXPECT_EQ(SystemUtility::GetMultiByteCodePage(), 28591u);
    uselocale(LC_GLOBAL_LOCALE);
    EXPECT_EQ(SystemUtility::GetMultiByteCodePage(), 65001u);
    uselocale(previous);
}

// ---- Several threads at once ----

TEST(TranscodeThreads, ConcurrentConversionsMatchSingleThreadResults) {
    // More code pages than one thread's descriptor cache holds, so that
    // descriptors are also closed and reopened while others convert.
    std::vector<const Sample*> samples;
    for (const Sample& sample : kSamples)
        samples.push_back(&sample);
    struct Expected {
        std::string narrow;
        std::wstring wide;
        Utf16Text units;
    };
    std::vector<Expected> expected;
    for (const Sample* sample : samples) {
        Expected e;
        e.narrow = FromWide(sample->text, sample->codePage).text;
        ToWide(sample->bytes, e.wide, sample->codePage);
        ToUtf16(sample->bytes, e.units, sample->codePage);
        expected.push_back(e);
    }
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int round = 0; round < 200; ++round) {
                // Each thread walks the code pages from its own starting point.
                const std::size_t i = (t * 5 + static_cast<std::size_t>(round)) % samples.size();
                const Sample& sample = *samples[i];
                std::wstring wide;
                Utf16Text units;
                ToWide(sample.bytes, wide, sample.codePage);
                ToUtf16(sample.bytes, units, sample.codePage);
                if (FromWide(sample.text, sample.codePage).text != expected[i].narrow ||
                    FromUtf16(ToUtf16(sample.text), sample.codePage).text != expected[i].narrow ||
                    wide != expected[i].wide || units != expected[i].units)
                    ++mismatches;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(mismatches.load(), 0);
}

}  // namespace
