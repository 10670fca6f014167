// Regional formatting by the C library's LC_TIME locale. The test builds the
// German and Japanese locales, and one with overlong formats, into a temporary
// folder with localedef and points LOCPATH at it; only the test itself calls
// setlocale.
#include <gtest/gtest.h>

#include <clocale>
#include <cwchar>
#include <string>

#include "LocaleTestSupport.h"
#include "Utility/Generic/SUGLocaleDateTime.h"

namespace {

// An LC_TIME whose date and time texts do not fit into 30 characters; the
// other categories are copied from POSIX and de_DE.
std::string LongLocaleSource() {
    std::string source = R"(comment_char %
escape_char /
LC_TIME
abday "Sun";"Mon";"Tue";"Wed";"Thu";"Fri";"Sat"
day "Sunday";"Monday";"Tuesday";"Wednesday";"Thursday";"Friday";"Saturday"
abmon "Jan";"Feb";"Mar";"Apr";"May";"Jun";"Jul";"Aug";"Sep";"Oct";"Nov";"Dec"
mon "January";"February";"March";"April";"May";"June";"July";"August";"September";/
    "October";"November";"December"
d_t_fmt "%a %d %b %Y %T"
d_fmt "the date is %A, %d %B %Y"
t_fmt "the time is %H hours %M minutes %S seconds"
am_pm "AM";"PM"
t_fmt_ampm "%I:%M:%S %p"
END LC_TIME
)";
    // Small categories from POSIX, the ones POSIX lacks from de_DE.
    for (const char* category :
         {"LC_CTYPE", "LC_COLLATE", "LC_MONETARY", "LC_NUMERIC", "LC_MESSAGES"})
        source += std::string(category) + "\ncopy \"POSIX\"\nEND " + category + "\n";
    for (const char* category : {"LC_PAPER", "LC_NAME", "LC_ADDRESS", "LC_TELEPHONE",
                                 "LC_MEASUREMENT", "LC_IDENTIFICATION"})
        source += std::string(category) + "\ncopy \"de_DE\"\nEND " + category + "\n";
    return source;
}

const ::testing::Environment* const g_generatedLocales = ::testing::AddGlobalTestEnvironment(
    new xts::test::GeneratedLocales({{"de_DE.UTF-8", "de_DE", ""},
                                     {"ja_JP.UTF-8", "ja_JP", ""},
                                     {"xx_LONG.UTF-8", "xx_LONG", LongLocaleSource()}}));

// Sets LC_TIME for one test and puts "C" back afterwards.
class RegionalFormat : public ::testing::Test {
  protected:
    void TearDown() override { std::setlocale(LC_TIME, "C"); }

    static void UseLocale(const char* name) {
        ASSERT_NE(std::setlocale(LC_TIME, name), nullptr) << "cannot use the locale " << name;
    }

    static std::wstring Date(const XTSystemTime& time) {
        wchar_t buffer[kLocaleDateTimeBufferLength];
        const int length = g_pfnLocaleDateFormatter(time, buffer, kLocaleDateTimeBufferLength);
        EXPECT_EQ(static_cast<std::size_t>(length), std::wcslen(buffer));
        return buffer;
    }
    static std::wstring Time(const XTSystemTime& time) {
        wchar_t buffer[kLocaleDateTimeBufferLength];
        const int length = g_pfnLocaleTimeFormatter(time, buffer, kLocaleDateTimeBufferLength);
        EXPECT_EQ(static_cast<std::size_t>(length), std::wcslen(buffer));
        return buffer;
    }
};

const XTSystemTime kSample = MakeSystemTime(XTDateTime{2024, 3, 5, 12, 30, 45, 123456789});
const XTSystemTime kAfternoon = MakeSystemTime(XTDateTime{2024, 3, 5, 14, 7, 9, 0});

TEST_F(RegionalFormat, CLocale) {
    UseLocale("C");
    EXPECT_EQ(Date(kSample), L"03/05/24");
    EXPECT_EQ(Time(kSample), L"12:30:45");
    EXPECT_EQ(Time(kAfternoon), L"14:07:09");
}

TEST_F(RegionalFormat, GermanLocale) {
    UseLocale("de_DE.UTF-8");
    EXPECT_EQ(Date(kSample), L"05.03.2024");
    EXPECT_EQ(Time(kSample), L"12:30:45");
    EXPECT_EQ(Date(MakeSystemTime(XTDate{9999, 12, 31})), L"31.12.9999");
}

TEST_F(RegionalFormat, JapaneseLocale) {
    UseLocale("ja_JP.UTF-8");
    EXPECT_EQ(Date(kSample), L"2024\u5e7403\u670805\u65e5");   // 2024年03月05日
    EXPECT_EQ(Time(kAfternoon), L"14\u664207\u520609\u79d2");  // 14時07分09秒
}

// Texts of 30 characters or more do not fit a 30-character buffer.
TEST_F(RegionalFormat, TextLongerThanTheBufferFails) {
    UseLocale("xx_LONG.UTF-8");
    wchar_t buffer[kLocaleDateTimeBufferLength];
    buffer[0] = L'#';
    EXPECT_EQ(FormatLocaleDate(kSample, buffer, kLocaleDateTimeBufferLength), 0);
    EXPECT_EQ(buffer[0], L'\0');
    buffer[0] = L'#';
    EXPECT_EQ(FormatLocaleTime(kSample, buffer, kLocaleDateTimeBufferLength), 0);
    EXPECT_EQ(buffer[0], L'\0');
    wchar_t large[64];
    EXPECT_EQ(FormatLocaleDate(kSample, large, 64), 34);
    EXPECT_EQ(std::wstring(large), L"the date is Tuesday, 05 March 2024");
}

// The terminator must fit too: "05.03.2024" needs 11 characters.
TEST_F(RegionalFormat, BufferMustHoldTheTerminator) {
    UseLocale("de_DE.UTF-8");
    wchar_t buffer[11];
    EXPECT_EQ(FormatLocaleDate(kSample, buffer, 10), 0);
    EXPECT_EQ(buffer[0], L'\0');
    EXPECT_EQ(FormatLocaleDate(kSample, buffer, 11), 10);
    EXPECT_EQ(FormatLocaleDate(kSample, nullptr, 30), 0);
    EXPECT_EQ(FormatLocaleDate(kSample, buffer, 0), 0);
    EXPECT_EQ(FormatLocaleDate(kSample, buffer, -1), 0);
}

TEST_F(RegionalFormat, FieldsOutOfRangeFail) {
    UseLocale("C");
    wchar_t buffer[kLocaleDateTimeBufferLength];
    auto date = [&](XTSystemTime time) {
        return FormatLocaleDate(time, buffer, kLocaleDateTimeBufferLength);
    };
    auto time = [&](XTSystemTime value) {
        return FormatLocaleTime(value, buffer, kLocaleDateTimeBufferLength);
    };
    XTSystemTime value = kSample;
    value.month_ = 13;
    EXPECT_EQ(date(value), 0);
    EXPECT_GT(time(value), 0);  // the time part alone is fine
    value = kSample;
    value.day_ = 30;
    value.month_ = 2;
    EXPECT_EQ(date(value), 0);
    value = kSample;
    value.dayOfWeek_ = 7;
    EXPECT_EQ(date(value), 0);
    value = kSample;
    value.year_ = 0;
    EXPECT_EQ(date(value), 0);
    value = kSample;
    value.hour_ = 24;
    EXPECT_EQ(time(value), 0);
    EXPECT_GT(date(value), 0);
    value = kSample;
    value.second_ = 60;
    EXPECT_EQ(time(value), 0);
    value = kSample;
    value.nanosecond_ = XTTime::kNanosecondsPerSecond;
    EXPECT_EQ(time(value), 0);
}

TEST(SystemTime, IsBuiltFromEachRecord) {
    EXPECT_EQ(MakeSystemTime(XTDateTime{2024, 3, 5, 12, 30, 45, 7}),
              (XTSystemTime{2024, 3, 2, 5, 12, 30, 45, 7}));
    EXPECT_EQ(MakeSystemTime(XTDate{2024, 3, 9}), (XTSystemTime{2024, 3, 6, 9, 0, 0, 0, 0}));
    EXPECT_EQ(MakeSystemTime(XTTime{23, 59, 59, 0, 1}),
              (XTSystemTime{1900, 1, 1, 1, 23, 59, 59, 1}));
    // An invalid date gets weekday 0 and keeps its fields.
    EXPECT_EQ(MakeSystemTime(XTDate{2023, 2, 29}), (XTSystemTime{2023, 2, 0, 29, 0, 0, 0, 0}));
}

int FailingFormatter(const XTSystemTime&, wchar_t* buffer, int) {
    buffer[0] = L'\0';
    return 0;
}

TEST(FormatterPointers, StartAsTheDefaultsAndCanBeReplaced) {
    EXPECT_EQ(g_pfnLocaleDateFormatter, &FormatLocaleDate);
    EXPECT_EQ(g_pfnLocaleTimeFormatter, &FormatLocaleTime);
    const LocaleDateTimeFormatter_t saved = g_pfnLocaleDateFormatter;
    g_pfnLocaleDateFormatter = &FailingFormatter;
    wchar_t buffer[kLocaleDateTimeBufferLength];
    EXPECT_EQ(g_pfnLocaleDateFormatter(kSample, buffer, kLocaleDateTimeBufferLength), 0);
    g_pfnLocaleDateFormatter = saved;
    EXPECT_EQ(g_pfnLocaleDateFormatter(kSample, buffer, kLocaleDateTimeBufferLength), 8);
}

}  // namespace
