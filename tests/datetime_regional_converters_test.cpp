// Regional formatting of dates and times into text: the switch, the C, German
// and Japanese locales (generated with localedef into a temporary folder; only
// the test calls setlocale), the silent fallback to the default formats when a
// locale formatter fails, and the regional helpers themselves.
#include <gtest/gtest.h>

#include <clocale>
#include <cstring>
#include <string>
#include <vector>

#include "DateTimeConverterTestSupport.h"
#include "LocaleTestSupport.h"
#include "Utility/Generic/SUGLocaleDateTime.h"

namespace {

using namespace xts::test;

const ::testing::Environment* const g_generatedLocales = ::testing::AddGlobalTestEnvironment(
    new GeneratedLocales({{"de_DE.UTF-8", "de_DE", ""}, {"ja_JP.UTF-8", "ja_JP", ""}}));

// ---------------------------------------------------------------------------
// The switch.

TEST(RegionalSetting, StartsOff) {
    EXPECT_FALSE(SUDataConvert::GetRegionalSetting());
}

struct SettingRow {
    const char* value;
    bool on;
};

class RegionalSetting : public ::testing::TestWithParam<SettingRow> {
  protected:
    void TearDown() override { SUDataConvert::SetRegionalSetting("No"); }
};

TEST_P(RegionalSetting, OnExactlyForTheAffirmativeWord) {
    SUDataConvert::SetRegionalSetting("Yes");
    SUDataConvert::SetRegionalSetting(GetParam().value);
    EXPECT_EQ(SUDataConvert::GetRegionalSetting(), GetParam().on) << GetParam().value;
}

INSTANTIATE_TEST_SUITE_P(Rows, RegionalSetting,
                         ::testing::Values(SettingRow{"Yes", true}, SettingRow{"yes", true},
                                           SettingRow{"YES", true}, SettingRow{"yEs", true},
                                           SettingRow{"No", false}, SettingRow{"", false},
                                           SettingRow{"Y", false}, SettingRow{"Yes ", false},
                                           SettingRow{" Yes", false}, SettingRow{"Yess", false},
                                           SettingRow{"true", false}, SettingRow{"1", false},
                                           SettingRow{"Ye\xC3\xA9", false}));

// ---------------------------------------------------------------------------
// Conversions with the switch on.

// Turns regional formatting on for one test; afterwards puts back the switch,
// the formatters and the "C" LC_TIME.
class RegionalConversion : public ::testing::Test {
  protected:
    void SetUp() override {
        SUDataConvert::SetRegionalSetting("Yes");
        ASSERT_TRUE(SUDataConvert::GetRegionalSetting());
    }
    void TearDown() override {
        SUDataConvert::SetRegionalSetting("No");
        g_pfnLocaleDateFormatter = &FormatLocaleDate;
        g_pfnLocaleTimeFormatter = &FormatLocaleTime;
        std::setlocale(LC_TIME, "C");
    }

    // The narrow text that `convert` writes for `record` into a Char of `toLength`.
    static std::string ToChar(DataConvert_t convert, const std::vector<unsigned char>& record,
                              uint32 toLength = 64, int32 code = kCharDataNarrowCode) {
        GuardedBuffer to(toLength);
        const ConvertResult result =
            Call(convert, NarrowParams(code), RecordSource(record), 0, to, toLength);
        EXPECT_EQ(result.isNull, 0);
        EXPECT_TRUE(to.GuardsIntact());
        EXPECT_EQ(to.data()[result.length], 0) << "terminated";
        return to.Narrow(0, result.length);
    }
    // The units that `convert` writes into an XTChar of `toLength`, the
    // terminator included.
    static std::wstring ToXTChar(DataConvert_t convert, const std::vector<unsigned char>& record,
                                 uint32 toLength) {
        GuardedBuffer to(4 * (toLength + 1));
        const ConvertResult result =
            Call(convert, DataConvertParams{}, RecordSource(record), 0, to, toLength);
        EXPECT_EQ(result.isNull, 0);
        EXPECT_EQ(result.length, toLength);
        EXPECT_TRUE(to.GuardsIntact());
        return to.Wide(0, toLength + 1);
    }
    // The same conversions with the switch off: the default formats.
    static std::string DefaultChar(DataConvert_t convert,
                                   const std::vector<unsigned char>& record) {
        SUDataConvert::SetRegionalSetting("No");
        std::string text = ToChar(convert, record);
        SUDataConvert::SetRegionalSetting("Yes");
        return text;
    }
    static std::wstring DefaultXTChar(DataConvert_t convert,
                                      const std::vector<unsigned char>& record, uint32 toLength) {
        SUDataConvert::SetRegionalSetting("No");
        std::wstring text = ToXTChar(convert, record, toLength);
        SUDataConvert::SetRegionalSetting("Yes");
        return text;
    }
};

std::wstring Padded(std::wstring text, std::size_t width) {
    text.resize(width, L' ');
    return text + L'\0';
}

TEST_F(RegionalConversion, CLocale) {
    const ScopedTimeLocale locale("C");
    ASSERT_TRUE(locale.Ok());
    EXPECT_EQ(ToChar(SUDataConvert::ConvertDateToChar, Bytes(kDate)), "03/05/24");
    EXPECT_EQ(ToChar(SUDataConvert::ConvertTimeToChar, Bytes(kTime)), "12:30:45");
    EXPECT_EQ(ToChar(SUDataConvert::ConvertDateTimeToChar, Bytes(kDateTime)), "03/05/24 12:30:45");
    EXPECT_EQ(ToChar(SUDataConvert::ConvertDateTimeToExternalChar, Bytes(kDateTime)),
              "03/05/24 12:30:45");
    EXPECT_EQ(ToChar(SUDataConvert::ConvertTimeStampNullableToExternalCharNullable,
                     Bytes(kDateTime), 64, kCharDataNarrowUTF8Code),
              "03/05/24 12:30:45");
    EXPECT_EQ(ToChar(SUDataConvert::ConvertDateNullableToChar, Bytes(kDate), 5), "03/0");
    EXPECT_EQ(ToXTChar(SUDataConvert::ConvertDateToXTChar, Bytes(kDate), 12),
              Padded(L"03/05/24", 12));
    EXPECT_EQ(
        ToXTChar(SUDataConvert::ConvertDateTimeNullableToXTCharNullable, Bytes(kDateTime), 20),
        Padded(L"03/05/24 12:30:45", 20));
    EXPECT_EQ(ToXTChar(SUDataConvert::ConvertTimeToXTChar, Bytes(kTime), 5), Padded(L"12:30", 5));
}

TEST_F(RegionalConversion, GermanLocale) {
    const ScopedTimeLocale locale("de_DE.UTF-8");
    ASSERT_TRUE(locale.Ok());
    EXPECT_EQ(ToChar(SUDataConvert::ConvertDateToChar, Bytes(kDate)), "05.03.2024");
    EXPECT_EQ(ToChar(SUDataConvert::ConvertTimeNullableToCharNullable, Bytes(kTime)), "12:30:45");
    EXPECT_EQ(ToChar(SUDataConvert::ConvertDateTimeToChar, Bytes(kDateTime)),
              "05.03.2024 12:30:45");
    EXPECT_EQ(ToXTChar(SUDataConvert::ConvertDateTimeToXTChar, Bytes(kDateTime), 19),
              Padded(L"05.03.2024 12:30:45", 19));
    // A time alone lies on the base date; its text is the time only.
    EXPECT_EQ(ToXTChar(SUDataConvert::ConvertTimeToXTChar, Bytes(XTTime{23, 59, 59, 0, 999}), 10),
              Padded(L"23:59:59", 10));
}

TEST_F(RegionalConversion, JapaneseLocale) {
    const ScopedTimeLocale locale("ja_JP.UTF-8");
    ASSERT_TRUE(locale.Ok());
    const std::wstring date = L"2024\u5e7403\u670805\u65e5";  // 2024年03月05日
    const std::wstring time = L"12\u664230\u520645\u79d2";    // 12時30分45秒
    EXPECT_EQ(ToXTChar(SUDataConvert::ConvertDateToXTChar, Bytes(kDate), 12), Padded(date, 12));
    EXPECT_EQ(ToXTChar(SUDataConvert::ConvertTimeToXTChar, Bytes(kTime), 4),
              Padded(L"12\u66423", 4));
    EXPECT_EQ(ToXTChar(SUDataConvert::ConvertDateTimeToXTChar, Bytes(kDateTime), 30),
              Padded(date + L' ' + time, 30));
    // Narrow text in UTF-8, for code 2 and for the default code page of the
    // "C" LC_CTYPE, which counts as UTF-8.
    for (const int32 code : {kCharDataNarrowCode, kCharDataNarrowUTF8Code}) {
        EXPECT_EQ(ToChar(SUDataConvert::ConvertDateToChar, Bytes(kDate), 64, code), Utf8(date));
        EXPECT_EQ(ToChar(SUDataConvert::ConvertDateTimeToExternalChar, Bytes(kDateTime), 64, code),
                  Utf8(date + L' ' + time));
    }
    // A narrow target holds toLength - 1 bytes of the encoded text, cut at a
    // byte boundary, even inside a character.
    EXPECT_EQ(ToChar(SUDataConvert::ConvertDateToChar, Bytes(kDate), 8), Utf8(L"2024\u5e74"));
    EXPECT_EQ(ToChar(SUDataConvert::ConvertDateToChar, Bytes(kDate), 7), Utf8(date).substr(0, 6));
}

TEST_F(RegionalConversion, SwitchOffUsesTheDefaultFormats) {
    const ScopedTimeLocale locale("de_DE.UTF-8");
    ASSERT_TRUE(locale.Ok());
    SUDataConvert::SetRegionalSetting("No");
    EXPECT_EQ(ToChar(SUDataConvert::ConvertDateToChar, Bytes(kDate)), "2024/03/05");
    EXPECT_EQ(ToChar(SUDataConvert::ConvertDateTimeToChar, Bytes(kDateTime)), Utf8(kDateTimeText));
}

// Text into dates is never regional: it is parsed by the default formats.
TEST_F(RegionalConversion, ParsingIgnoresTheSwitch) {
    const ScopedTimeLocale locale("de_DE.UTF-8");
    ASSERT_TRUE(locale.Ok());
    const SourceBuffer source = SourceBuffer::Narrow(TextShape::kFixed, "2024/03/05");
    GuardedBuffer to(6);
    Call(SUDataConvert::ConvertCharToDate, DataConvertParams{}, source, 0, to, 6);
    EXPECT_EQ(BytesAt(to, 6), Bytes(kDate));
    const SourceBuffer german = SourceBuffer::Narrow(TextShape::kFixed, "05.03.2024");
    EXPECT_THROW(Call(SUDataConvert::ConvertCharToDate, DataConvertParams{}, german, 0, to, 6),
                 ErrorMessage);
}

// ---------------------------------------------------------------------------
// Failing formatters fall back silently to the default formats.

int FailingFormatter(const XTSystemTime&, wchar_t* buffer, int bufferLength) {
    if (buffer != nullptr && bufferLength > 0) buffer[0] = L'\0';
    return 0;
}

TEST_F(RegionalConversion, FailingDateFormatterGivesTheDefaultFormat) {
    const ScopedTimeLocale locale("C");
    ASSERT_TRUE(locale.Ok());
    g_pfnLocaleDateFormatter = &FailingFormatter;
    for (const auto& [convert, record] :
         {std::pair<DataConvert_t, std::vector<unsigned char>>{SUDataConvert::ConvertDateToChar,
                                                               Bytes(kDate)},
          std::pair<DataConvert_t, std::vector<unsigned char>>{
              SUDataConvert::ConvertDateNullableToCharNullable, Bytes(kDate)},
          std::pair<DataConvert_t, std::vector<unsigned char>>{SUDataConvert::ConvertDateTimeToChar,
                                                               Bytes(kDateTime)},
          std::pair<DataConvert_t, std::vector<unsigned char>>{
              SUDataConvert::ConvertTimeStampToExternalChar, Bytes(kDateTime)}}) {
        EXPECT_EQ(ToChar(convert, record), DefaultChar(convert, record));
    }
    EXPECT_EQ(ToChar(SUDataConvert::ConvertDateToChar, Bytes(kDate)), "2024/03/05");
    EXPECT_EQ(ToXTChar(SUDataConvert::ConvertDateTimeToXTChar, Bytes(kDateTime), 32),
              DefaultXTChar(SUDataConvert::ConvertDateTimeToXTChar, Bytes(kDateTime), 32));
    EXPECT_EQ(ToXTChar(SUDataConvert::ConvertDateToXTChar, Bytes(kDate), 12),
              Padded(kDateText, 12));
    // The time formatter still works for times.
    EXPECT_EQ(ToChar(SUDataConvert::ConvertTimeToChar, Bytes(kTime)), "12:30:45");
}

TEST_F(RegionalConversion, FailingTimeFormatterGivesTheDefaultFormat) {
    const ScopedTimeLocale locale("C");
    ASSERT_TRUE(locale.Ok());
    g_pfnLocaleTimeFormatter = &FailingFormatter;
    EXPECT_EQ(ToChar(SUDataConvert::ConvertTimeToChar, Bytes(kTime)), Utf8(kTimeText));
    EXPECT_EQ(ToChar(SUDataConvert::ConvertDateTimeToChar, Bytes(kDateTime)), Utf8(kDateTimeText));
    EXPECT_EQ(ToXTChar(SUDataConvert::ConvertTimeToXTChar, Bytes(kTime), 18),
              Padded(kTimeText, 18));
    EXPECT_EQ(ToChar(SUDataConvert::ConvertDateToChar, Bytes(kDate)), "03/05/24");
}

// The real formatters fail on invalid records, which then get the default text.
TEST_F(RegionalConversion, InvalidRecordsGetTheDefaultFormat) {
    const ScopedTimeLocale locale("de_DE.UTF-8");
    ASSERT_TRUE(locale.Ok());
    EXPECT_EQ(ToChar(SUDataConvert::ConvertDateToChar, Bytes(XTDate{2024, 13, 5})), "2024/13/05");
    EXPECT_EQ(ToChar(SUDataConvert::ConvertTimeToChar, Bytes(XTTime{24, 0, 0, 0, 0})),
              "24:00:00.000000000");
    EXPECT_EQ(
        ToChar(SUDataConvert::ConvertDateTimeToChar, Bytes(XTDateTime{2023, 2, 29, 12, 0, 0, 0})),
        "2023/02/29 12:00:00.000000000");
}

// ---------------------------------------------------------------------------
// The regional helpers.

std::vector<XTSystemTime> g_formatted;

int RecordingDateFormatter(const XTSystemTime& time, wchar_t* buffer, int) {
    g_formatted.push_back(time);
    std::wcscpy(buffer, L"D");
    return 1;
}

int RecordingTimeFormatter(const XTSystemTime& time, wchar_t* buffer, int) {
    g_formatted.push_back(time);
    std::wcscpy(buffer, L"T-T");
    return 3;
}

TEST_F(RegionalConversion, DateTimeJoinsDateBlankAndTime) {
    g_pfnLocaleDateFormatter = &RecordingDateFormatter;
    g_pfnLocaleTimeFormatter = &RecordingTimeFormatter;
    g_formatted.clear();
    XTString out = L"old";
    EXPECT_EQ(SUDataConvert::ConvertDateTimeToRegional(kDateTime, out), 3);
    EXPECT_EQ(out, L"D T-T");
    // Both formatters get the whole value with its day of the week (Tuesday).
    const XTSystemTime expected{2024, 3, 2, 5, 12, 30, 45, 123456789};
    EXPECT_EQ(g_formatted, (std::vector<XTSystemTime>{expected, expected}));

    g_formatted.clear();
    EXPECT_EQ(SUDataConvert::ConvertDateToRegional(kDate, out), 1);
    EXPECT_EQ(out, L"D");
    EXPECT_EQ(SUDataConvert::ConvertTimeToRegional(kTime, out), 3);
    EXPECT_EQ(out, L"T-T");
    // A date at midnight; a time on the base date 1900-01-01, a Monday.
    EXPECT_EQ(g_formatted, (std::vector<XTSystemTime>{{2024, 3, 2, 5, 0, 0, 0, 0},
                                                      {1900, 1, 1, 1, 12, 30, 45, 123456789}}));
    EXPECT_EQ(ToChar(SUDataConvert::ConvertDateTimeToChar, Bytes(kDateTime)), "D T-T");
}

TEST_F(RegionalConversion, HelpersReturnZeroWhenAFormatterFails) {
    XTString out;
    g_pfnLocaleDateFormatter = &FailingFormatter;
    EXPECT_EQ(SUDataConvert::ConvertDateToRegional(kDate, out), 0);
    EXPECT_EQ(SUDataConvert::ConvertDateTimeToRegional(kDateTime, out), 0);
    EXPECT_NE(SUDataConvert::ConvertTimeToRegional(kTime, out), 0);
    g_pfnLocaleDateFormatter = &FormatLocaleDate;
    g_pfnLocaleTimeFormatter = &FailingFormatter;
    EXPECT_EQ(SUDataConvert::ConvertTimeToRegional(kTime, out), 0);
    EXPECT_EQ(SUDataConvert::ConvertDateTimeToRegional(kDateTime, out), 0);
    EXPECT_NE(SUDataConvert::ConvertDateToRegional(kDate, out), 0);
}

TEST_F(RegionalConversion, HelpersFormatByTheLocale) {
    const ScopedTimeLocale locale("de_DE.UTF-8");
    ASSERT_TRUE(locale.Ok());
    XTString out;
    EXPECT_EQ(SUDataConvert::ConvertDateToRegional(kDate, out), 10);
    EXPECT_EQ(out, L"05.03.2024");
    EXPECT_EQ(SUDataConvert::ConvertTimeToRegional(kTime, out), 8);
    EXPECT_EQ(out, L"12:30:45");
    EXPECT_NE(SUDataConvert::ConvertDateTimeToRegional(kDateTime, out), 0);
    EXPECT_EQ(out, L"05.03.2024 12:30:45");
}

}  // namespace
