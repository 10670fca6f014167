// The date and time format engine: reading formats into tokens, formatting
// every token, strict parsing with its errors, and round trips.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "CountingAllocator.h"
#include "Utility/Generic/SUGDateTimeMetaData.h"
#include "Utility/Generic/SUGErrorMessage.h"

namespace {

const XTString kDefaultDateFormat = L"yyyy/mm/dd";
const XTString kDefaultTimeFormat = L"hh:mi:ss.fffffffff";
const XTString kDefaultDateTimeFormat = L"yyyy/mm/dd hh:mi:ss.fffffffff";

std::string Narrow(const XTString& text) {
    return std::string(text.begin(), text.end());
}

DateTimeFormatToken Field(EnDateTimeFormatType type, uint16 width, bool twelveHour = false) {
    DateTimeFormatToken token;
    token.type_ = type;
    token.width_ = width;
    token.twelveHour_ = twelveHour;
    return token;
}

DateTimeFormatToken Literal(wchar_t c) {
    DateTimeFormatToken token;
    token.isLiteral_ = true;
    token.literal_ = c;
    token.width_ = 1;
    return token;
}

// ---------------------------------------------------------------------------
// Reading formats

struct FormatTokensCase {
    XTString format;
    std::vector<DateTimeFormatToken> tokens;
    std::size_t totalLength;
};

void PrintTo(const FormatTokensCase& c, std::ostream* out) {
    *out << Narrow(c.format);
}

class FormatTokens : public ::testing::TestWithParam<FormatTokensCase> {};

TEST_P(FormatTokens, ReadsTheSpellings) {
    const FormatTokensCase& c = GetParam();
    const DateTimeMetaData metaData(c.format);
    EXPECT_EQ(metaData.GetFormat(), c.format);
    EXPECT_EQ(metaData.GetTokens(), c.tokens) << Narrow(c.format);
    EXPECT_EQ(metaData.GetTotalFormatLength(), c.totalLength) << Narrow(c.format);
}

INSTANTIATE_TEST_SUITE_P(
    Spellings, FormatTokens,
    ::testing::Values(
        FormatTokensCase{kDefaultDateFormat,
                         {Field(IntYear4Type, 4), Literal(L'/'), Field(IntMonthType, 2),
                          Literal(L'/'), Field(IntMonthDayType, 2)},
                         10},
        FormatTokensCase{
            kDefaultTimeFormat,
            {Field(IntHourType, 2), Literal(L':'), Field(IntMinuteType, 2), Literal(L':'),
             Field(IntSecondType, 2), Literal(L'.'), Field(IntNanoSecondType, 9)},
            18},
        FormatTokensCase{
            L"YY Mon MONTH ddd ww Dy DAY",
            {Field(IntYear2Type, 2), Literal(L' '), Field(CharShortMonthType, 3), Literal(L' '),
             Field(CharLongMonthType, 9), Literal(L' '), Field(IntDayOfYearType, 3), Literal(L' '),
             Field(IntWeekOfYearType, 2), Literal(L' '), Field(CharShortDOWType, 3), Literal(L' '),
             Field(CharLongDOWType, 9)},
            37},
        // "hh" follows the format's clock; hh24 and hh12 are fixed.
        FormatTokensCase{
            L"hh hh24 hh12 pm",
            {Field(IntHourType, 2, true), Literal(L' '), Field(IntHourType, 2), Literal(L' '),
             Field(IntHourType, 2, true), Literal(L' '), Field(CharAmPmType, 2)},
            11},
        FormatTokensCase{L"hh12", {Field(IntHourType, 2, true)}, 2},
        FormatTokensCase{L"AM", {Field(CharAmPmType, 2)}, 2},
        // Runs of f: 3 milliseconds, 9 nanoseconds, other widths fractions.
        FormatTokensCase{
            L"f.ff.FFF.ffff.ffffffff.fffffffff",
            {Field(IntFractionalSecondType, 1), Literal(L'.'), Field(IntFractionalSecondType, 2),
             Literal(L'.'), Field(IntMilliSecondType, 3), Literal(L'.'),
             Field(IntFractionalSecondType, 4), Literal(L'.'), Field(IntFractionalSecondType, 8),
             Literal(L'.'), Field(IntNanoSecondType, 9)},
            32},
        // Letters that start no spelling are literals; the longest spelling wins.
        FormatTokensCase{L"yyy-Tdddd",
                         {Field(IntYear2Type, 2), Literal(L'y'), Literal(L'-'), Literal(L'T'),
                          Field(IntDayOfYearType, 3), Literal(L'd')},
                         9},
        // Quotes and backslashes make literals of any character.
        FormatTokensCase{L"yyyy\"mm\\\"\"\\ddd",
                         {Field(IntYear4Type, 4), Literal(L'm'), Literal(L'm'), Literal(L'"'),
                          Literal(L'd'), Field(IntMonthDayType, 2)},
                         10},
        FormatTokensCase{L"\"\"mi", {Field(IntMinuteType, 2)}, 2}));

TEST(FormatTokens, DefaultsHaveTheirTotalLengths) {
    EXPECT_EQ(DateTimeMetaData(kDefaultDateFormat).GetTotalFormatLength(), 10u);
    EXPECT_EQ(DateTimeMetaData(kDefaultTimeFormat).GetTotalFormatLength(), 18u);
    EXPECT_EQ(DateTimeMetaData(kDefaultDateTimeFormat).GetTotalFormatLength(), 29u);
    EXPECT_TRUE(DateTimeMetaData(kDefaultDateFormat).HasDateFields());
    EXPECT_FALSE(DateTimeMetaData(kDefaultDateFormat).HasTimeFields());
    EXPECT_FALSE(DateTimeMetaData(kDefaultTimeFormat).HasDateFields());
    EXPECT_TRUE(DateTimeMetaData(kDefaultTimeFormat).HasTimeFields());
}

class InvalidFormat : public ::testing::TestWithParam<XTString> {};

TEST_P(InvalidFormat, Raises46303AndKeepsTheOldFormat) {
    DateTimeMetaData metaData(kDefaultDateFormat);
    try {
        metaData.SetDateTimeFormat(GetParam());
        FAIL() << "accepted " << Narrow(GetParam());
    } catch (const ErrorMessage& error) {
        EXPECT_EQ(error.GetCode(), kMsgInvalidDateTimeFormat);
        EXPECT_EQ(error.GetArguments(), std::vector<XTString>{GetParam()});
    }
    EXPECT_EQ(metaData.GetFormat(), kDefaultDateFormat);
    EXPECT_EQ(metaData.GetTotalFormatLength(), 10u);
    XTString text;
    metaData.Convert(XTDate{2024, 3, 5}, text);
    EXPECT_EQ(text, L"2024/03/05");
    EXPECT_THROW(DateTimeMetaData{GetParam()}, ErrorMessage);
}

INSTANTIATE_TEST_SUITE_P(Formats, InvalidFormat,
                         ::testing::Values(L"", L"abc", L"/-: .", L"\"yyyy", L"yyyy \"mm",
                                           L"yyyy\\", L"\"yyyy\\\"", L"\"yyyy\\", L"ss.ffffffffff",
                                           L"\"yyyy\""));

TEST(EmptyFormat, FormatsNothingAndMatchesNoText) {
    const DateTimeMetaData metaData;
    EXPECT_EQ(metaData.GetTotalFormatLength(), 0u);
    XTString text = L"old";
    metaData.Convert(XTDate{2024, 3, 5}, text);
    EXPECT_EQ(text, L"");
    XTDate date;
    EXPECT_THROW(metaData.Convert(L"", date), ErrorMessage);
    EXPECT_THROW(metaData.Convert(L"2024", date), ErrorMessage);
}

// ---------------------------------------------------------------------------
// Formatting

// Tuesday 5 March 2024, day 65, week 10, 14:07:09.123456789.
const XTDateTime kSample{2024, 3, 5, 14, 7, 9, 123456789};

struct FormatCase {
    XTString format;
    XTDateTime value;
    XTString text;
};

void PrintTo(const FormatCase& c, std::ostream* out) {
    *out << Narrow(c.format) << " -> " << Narrow(c.text);
}

class Formatting : public ::testing::TestWithParam<FormatCase> {};

TEST_P(Formatting, WritesEachToken) {
    const FormatCase& c = GetParam();
    const DateTimeMetaData metaData(c.format);
    XTString text;
    metaData.Convert(c.value, text);
    EXPECT_EQ(text, c.text) << Narrow(c.format);
    EXPECT_LE(text.size(), metaData.GetTotalFormatLength());
    wchar_t buffer[64];
    const std::size_t length = metaData.Convert(c.value, buffer, std::size(buffer));
    EXPECT_EQ(XTString(buffer, length), c.text);
}

INSTANTIATE_TEST_SUITE_P(
    Tokens, Formatting,
    ::testing::Values(
        FormatCase{L"yyyy", kSample, L"2024"}, FormatCase{L"yy", kSample, L"24"},
        FormatCase{L"mm", kSample, L"03"}, FormatCase{L"mon", kSample, L"Mar"},
        FormatCase{L"MONTH", kSample, L"March"}, FormatCase{L"ddd", kSample, L"065"},
        FormatCase{L"ww", kSample, L"10"}, FormatCase{L"dd", kSample, L"05"},
        FormatCase{L"dy", kSample, L"Tue"}, FormatCase{L"day", kSample, L"Tuesday"},
        FormatCase{L"am", kSample, L"PM"}, FormatCase{L"pm", kSample, L"PM"},
        FormatCase{L"hh", kSample, L"14"}, FormatCase{L"hh24", kSample, L"14"},
        FormatCase{L"hh12", kSample, L"02"}, FormatCase{L"hh am", kSample, L"02 PM"},
        FormatCase{L"mi", kSample, L"07"}, FormatCase{L"ss", kSample, L"09"},
        FormatCase{L"fff", kSample, L"123"}, FormatCase{L"fffffffff", kSample, L"123456789"},
        FormatCase{L"f", kSample, L"1"}, FormatCase{L"ff", kSample, L"12"},
        FormatCase{L"ffff", kSample, L"1234"}, FormatCase{L"ffffffff", kSample, L"12345678"},
        FormatCase{kDefaultDateTimeFormat, kSample, L"2024/03/05 14:07:09.123456789"},
        FormatCase{L"YYYY-MM-DD\"T\"HH24:MI:SS", kSample, L"2024-03-05T14:07:09"},
        FormatCase{L"\\y\"mm\"yyy", kSample, L"ymm24y"},
        FormatCase{L"day, dd month yyyy", XTDateTime{2024, 9, 4, 0, 0, 0, 0},
                   L"Wednesday, 04 September 2024"},
        // Midnight and noon on the 12-hour clock; the year's last day and week.
        FormatCase{L"hh12:mi am", XTDateTime{2024, 1, 1, 0, 5, 0, 0}, L"12:05 AM"},
        FormatCase{L"hh12:mi am", XTDateTime{2024, 1, 1, 12, 0, 0, 0}, L"12:00 PM"},
        FormatCase{L"hh12:mi am", XTDateTime{2024, 1, 1, 11, 59, 0, 0}, L"11:59 AM"},
        FormatCase{L"ddd ww dy", XTDateTime{2024, 12, 31, 0, 0, 0, 0}, L"366 53 Tue"},
        FormatCase{L"ddd ww dy", XTDateTime{2023, 1, 7, 0, 0, 0, 0}, L"007 01 Sat"},
        FormatCase{L"ddd ww dy", XTDateTime{2023, 1, 8, 0, 0, 0, 0}, L"008 02 Sun"},
        FormatCase{L"yyyy/yy", XTDateTime{5, 1, 1, 0, 0, 0, 0}, L"0005/05"},
        FormatCase{L"fff|ffffffff", XTDateTime{2024, 1, 1, 0, 0, 0, 999999999}, L"999|99999999"},
        FormatCase{L"fff|f", XTDateTime{2024, 1, 1, 0, 0, 0, 999999}, L"000|0"}));

TEST(Formatting, EveryMonthAndWeekdayName) {
    const DateTimeMetaData metaData(L"mon month dy day");
    const wchar_t* const expected[12] = {
        L"Jan January Mon Monday",  L"Feb February Thu Thursday", L"Mar March Fri Friday",
        L"Apr April Mon Monday",    L"May May Wed Wednesday",     L"Jun June Sat Saturday",
        L"Jul July Mon Monday",     L"Aug August Thu Thursday",   L"Sep September Sun Sunday",
        L"Oct October Tue Tuesday", L"Nov November Fri Friday",   L"Dec December Sun Sunday"};
    for (uint16 month = 1; month <= 12; ++month) {
        XTString text;
        metaData.Convert(XTDate{2024, month, 1}, text);
        EXPECT_EQ(text, expected[month - 1]);
    }
    XTString text;
    metaData.Convert(XTDate{2024, 3, 9}, text);
    EXPECT_EQ(text, L"Mar March Sat Saturday");
}

TEST(Formatting, RecordsLackingFieldsUseTheBaseDateOrMidnight) {
    const DateTimeMetaData dateTime(kDefaultDateTimeFormat);
    XTString text;
    dateTime.Convert(XTDate{2024, 3, 5}, text);
    EXPECT_EQ(text, L"2024/03/05 00:00:00.000000000");
    dateTime.Convert(XTTime{12, 30, 45, 0, 5}, text);
    EXPECT_EQ(text, L"1900/01/01 12:30:45.000000005");
    DateTimeMetaData(kDefaultTimeFormat).Convert(XTDate{2024, 3, 5}, text);
    EXPECT_EQ(text, L"00:00:00.000000000");
    DateTimeMetaData(L"yyyy/mm/dd dy").Convert(XTTime{12, 30, 45, 0, 0}, text);
    EXPECT_EQ(text, L"1900/01/01 Mon");
}

TEST(Formatting, InvalidFieldsAreWrittenWithoutFailing) {
    const DateTimeMetaData metaData(L"yyyy/mm/dd mon day ddd ww hh:mi:ss.fffffffff");
    XTString text;
    metaData.Convert(XTDateTime{12345, 13, 40, 25, 61, 99, 1234567890}, text);
    EXPECT_EQ(text, L"12345/13/40 ??? ??? 000 00 25:61:99.1234567890");
    metaData.Convert(XTDateTime{-5, 2, 29, 0, 0, 0, 0}, text);
    EXPECT_EQ(text, L"-0005/02/29 Feb ??? 000 00 00:00:00.000000000");
    metaData.Convert(XTDate{2023, 2, 29}, text);
    EXPECT_EQ(text, L"2023/02/29 Feb ??? 000 00 00:00:00.000000000");
    DateTimeMetaData(L"hh12 am").Convert(XTTime{65535, 0, 0, 0, 0}, text);
    EXPECT_EQ(text, L"03 PM");
}

TEST(FormattingIntoBuffer, CutsAtTheCapacityAndReportsTheFullLength) {
    const DateTimeMetaData metaData(kDefaultDateFormat);
    const XTDate date{2024, 3, 5};
    for (std::size_t capacity = 0; capacity <= 12; ++capacity) {
        wchar_t buffer[16];
        std::fill(std::begin(buffer), std::end(buffer), L'#');
        EXPECT_EQ(metaData.Convert(date, buffer, capacity), 10u);
        const std::size_t written = std::min<std::size_t>(capacity, 10);
        EXPECT_EQ(XTString(buffer, written), XTString(L"2024/03/05").substr(0, written));
        for (std::size_t i = written; i < std::size(buffer); ++i)
            ASSERT_EQ(buffer[i], L'#');
    }
    EXPECT_EQ(metaData.Convert(date, nullptr, 0), 10u);
    // An invalid record may need more than the format's total length.
    wchar_t buffer[10];
    EXPECT_EQ(metaData.Convert(XTDate{-12345, 65535, 65535}, buffer, std::size(buffer)), 18u);
    EXPECT_EQ(XTString(buffer, 10), L"-12345/655");
}

TEST(FormattingIntoString, HandlesTextsLongerThanTheLocalBuffer) {
    XTString format;
    XTString expected;
    for (int i = 0; i < 20; ++i) {
        format += L"yyyy-mm-dd|";
        expected += L"2024-03-05|";
    }
    XTString text;
    DateTimeMetaData(format).Convert(XTDate{2024, 3, 5}, text);
    EXPECT_EQ(text, expected);
}

// ---------------------------------------------------------------------------
// Parsing

struct ParseCase {
    XTString format;
    XTString text;
    XTDateTime expected;
};

void PrintTo(const ParseCase& c, std::ostream* out) {
    *out << Narrow(c.format) << " <- " << Narrow(c.text);
}

class Parsing : public ::testing::TestWithParam<ParseCase> {};

TEST_P(Parsing, ReadsEachToken) {
    const ParseCase& c = GetParam();
    const DateTimeMetaData metaData(c.format);
    XTDateTime dateTime;
    ASSERT_NO_THROW(metaData.Convert(c.text, dateTime)) << Narrow(c.text);
    EXPECT_EQ(dateTime, c.expected) << Narrow(c.text) << " gave " << Narrow(dateTime.ToString());
}

INSTANTIATE_TEST_SUITE_P(
    Tokens, Parsing,
    ::testing::Values(
        ParseCase{kDefaultDateTimeFormat, L"2024/03/05 14:07:09.123456789", kSample},
        ParseCase{L"yyyy", L"2024", {2024, 1, 1, 0, 0, 0, 0}},
        ParseCase{L"yy", L"24", {2024, 1, 1, 0, 0, 0, 0}},
        ParseCase{L"yy", L"00", {2000, 1, 1, 0, 0, 0, 0}},
        ParseCase{L"yy", L"68", {2068, 1, 1, 0, 0, 0, 0}},
        ParseCase{L"yy", L"69", {1969, 1, 1, 0, 0, 0, 0}},
        ParseCase{L"yy", L"99", {1999, 1, 1, 0, 0, 0, 0}},
        ParseCase{L"mm", L"3", {1900, 3, 1, 0, 0, 0, 0}},
        ParseCase{L"mon", L"mAR", {1900, 3, 1, 0, 0, 0, 0}},
        ParseCase{L"month", L"SEPTEMBER", {1900, 9, 1, 0, 0, 0, 0}},
        ParseCase{L"month dd", L"May 31", {1900, 5, 31, 0, 0, 0, 0}},
        ParseCase{L"yyyy ddd", L"2024 065", {2024, 3, 5, 0, 0, 0, 0}},
        ParseCase{L"yyyy ddd", L"2024 60", {2024, 2, 29, 0, 0, 0, 0}},
        ParseCase{L"yyyy ddd", L"2024 366", {2024, 12, 31, 0, 0, 0, 0}},
        ParseCase{L"yyyy/mm ddd", L"2024/03 065", {2024, 3, 5, 0, 0, 0, 0}},
        ParseCase{L"yyyy/mm/dd ww", L"2024/03/05 10", {2024, 3, 5, 0, 0, 0, 0}},
        ParseCase{L"yyyy/mm/dd dy", L"2024/03/05 tue", {2024, 3, 5, 0, 0, 0, 0}},
        ParseCase{L"day dd.mm.yyyy", L"TUESDAY 5.3.2024", {2024, 3, 5, 0, 0, 0, 0}},
        ParseCase{L"hh:mi am", L"02:07 pm", {1900, 1, 1, 14, 7, 0, 0}},
        ParseCase{L"hh:mi am", L"12:00 AM", {1900, 1, 1, 0, 0, 0, 0}},
        ParseCase{L"hh:mi am", L"12:00 PM", {1900, 1, 1, 12, 0, 0, 0}},
        ParseCase{L"hh:mi am", L"11:59 Am", {1900, 1, 1, 11, 59, 0, 0}},
        ParseCase{L"hh12:mi", L"12:30", {1900, 1, 1, 0, 30, 0, 0}},
        ParseCase{L"hh24:mi pm", L"14:07 PM", {1900, 1, 1, 14, 7, 0, 0}},
        ParseCase{L"hh:mi:ss", L"1:2:3", {1900, 1, 1, 1, 2, 3, 0}},
        ParseCase{L"ss.fff", L"09.5", {1900, 1, 1, 0, 0, 9, 500000000}},
        ParseCase{L"ss.fff", L"09.005", {1900, 1, 1, 0, 0, 9, 5000000}},
        ParseCase{L"ss.f", L"09.9", {1900, 1, 1, 0, 0, 9, 900000000}},
        ParseCase{L"ss.ffffff", L"09.000001", {1900, 1, 1, 0, 0, 9, 1000}},
        ParseCase{kDefaultTimeFormat, L"12:30:45.12", {1900, 1, 1, 12, 30, 45, 120000000}},
        ParseCase{kDefaultTimeFormat, L"23:59:59.999999999", {1900, 1, 1, 23, 59, 59, 999999999}},
        ParseCase{kDefaultDateFormat, L"2024/3/5", {2024, 3, 5, 0, 0, 0, 0}},
        ParseCase{kDefaultDateFormat, L"0001/01/01", {1, 1, 1, 0, 0, 0, 0}},
        ParseCase{kDefaultDateFormat, L"9999/12/31", {9999, 12, 31, 0, 0, 0, 0}},
        ParseCase{kDefaultDateFormat, L"2000/02/29", {2000, 2, 29, 0, 0, 0, 0}},
        ParseCase{L"yyyymmddhh24miss", L"20240305140709", {2024, 3, 5, 14, 7, 9, 0}},
        ParseCase{L"yyyy/mm/dd (yyyy)", L"2024/03/05 (2024)", {2024, 3, 5, 0, 0, 0, 0}},
        ParseCase{L"yyyy\"T\"\\mmm", L"2024Tm03", {2024, 3, 1, 0, 0, 0, 0}}));

struct BadTextCase {
    XTString format;
    XTString text;
};

void PrintTo(const BadTextCase& c, std::ostream* out) {
    *out << Narrow(c.format) << " <- " << Narrow(c.text);
}

class BadText : public ::testing::TestWithParam<BadTextCase> {};

// Every record kind refuses the text with 46301 (text, format) and keeps its
// old value.
TEST_P(BadText, Raises46301WithTextAndFormat) {
    const BadTextCase& c = GetParam();
    const DateTimeMetaData metaData(c.format);
    auto expectError = [&](auto record) {
        const auto before = record;
        try {
            metaData.Convert(c.text, record);
            ADD_FAILURE() << "accepted " << Narrow(c.text) << " as " << Narrow(record.ToString());
        } catch (const ErrorMessage& error) {
            EXPECT_EQ(error.GetCode(), kMsgInvalidDateTimeText);
            EXPECT_EQ(error.GetArguments(), (std::vector<XTString>{c.text, c.format}));
        }
        EXPECT_EQ(record, before);
    };
    expectError(XTDate{1999, 9, 9});
    expectError(XTTime{9, 9, 9, 0, 9});
    expectError(XTDateTime{1999, 9, 9, 9, 9, 9, 9});
}

INSTANTIATE_TEST_SUITE_P(
    Mismatches, BadText,
    ::testing::Values(
        BadTextCase{kDefaultDateFormat, L""}, BadTextCase{kDefaultDateFormat, L"abcd/ef/gh"},
        BadTextCase{kDefaultDateFormat, L"2024/03/0a"},
        BadTextCase{kDefaultDateFormat, L"20240305"},
        BadTextCase{kDefaultDateFormat, L"2024-03-05"},
        BadTextCase{kDefaultDateFormat, L"2024/03/05 "},
        BadTextCase{kDefaultDateFormat, L" 2024/03/05"},
        BadTextCase{kDefaultDateFormat, L"2024/03/05x"},
        BadTextCase{kDefaultDateFormat, L"2024/03"}, BadTextCase{kDefaultDateFormat, L"2024/03/"},
        BadTextCase{kDefaultDateFormat, L"24/03/05"},
        BadTextCase{kDefaultDateFormat, L"02024/03/05"},
        BadTextCase{kDefaultDateFormat, L"+2024/03/05"},
        BadTextCase{kDefaultDateFormat, L"2024/003/05"},
        BadTextCase{kDefaultDateFormat, L"2024/03/005"},
        BadTextCase{kDefaultDateFormat, XTString(L"2024/03/05\0", 11)},
        BadTextCase{kDefaultDateFormat, L"\x0662\x0660\x0662\x0664/03/05"},  // Arabic digits
        BadTextCase{kDefaultTimeFormat, L"12:30:45"}, BadTextCase{kDefaultTimeFormat, L"12:30"},
        BadTextCase{kDefaultTimeFormat, L"12:30:45."},
        BadTextCase{kDefaultTimeFormat, L"12:30:45.1234567890"},
        BadTextCase{kDefaultTimeFormat, L"12.30.45.000000000"},
        BadTextCase{kDefaultTimeFormat, L"12:30:45,000000000"},
        BadTextCase{kDefaultTimeFormat, L"123:30:45.0"},
        BadTextCase{kDefaultDateTimeFormat, L"2024/03/05"},
        BadTextCase{kDefaultDateTimeFormat, L"2024/03/0512:30:45.000000000"},
        BadTextCase{L"mon", L"Mrz"}, BadTextCase{L"mon", L"March"}, BadTextCase{L"month", L"Sept"},
        BadTextCase{L"dy", L"Tues"}, BadTextCase{L"am", L"xm"}, BadTextCase{L"hh am", L"10 a"}));

INSTANTIATE_TEST_SUITE_P(
    OutOfRange, BadText,
    ::testing::Values(
        BadTextCase{kDefaultDateFormat, L"2024/13/05"},
        BadTextCase{kDefaultDateFormat, L"2024/00/05"},
        BadTextCase{kDefaultDateFormat, L"2024/03/00"},
        BadTextCase{kDefaultDateFormat, L"2024/04/31"},
        BadTextCase{kDefaultDateFormat, L"2023/02/29"},
        BadTextCase{kDefaultDateFormat, L"1900/02/29"},
        BadTextCase{kDefaultDateFormat, L"0000/01/01"},
        BadTextCase{kDefaultTimeFormat, L"25:00:00.000000000"},
        BadTextCase{kDefaultTimeFormat, L"24:00:00.000000000"},
        BadTextCase{kDefaultTimeFormat, L"12:60:00.000000000"},
        BadTextCase{kDefaultTimeFormat, L"23:59:60.000000000"},
        BadTextCase{L"hh:mi am", L"13:00 PM"}, BadTextCase{L"hh:mi am", L"00:00 AM"},
        BadTextCase{L"hh24:mi am", L"14:00 AM"}, BadTextCase{L"hh24:mi am", L"09:00 PM"},
        BadTextCase{L"hh24 hh12 am", L"13 02 PM"}, BadTextCase{L"yyyy ddd", L"2023 366"},
        BadTextCase{L"yyyy ddd", L"2024 000"}, BadTextCase{L"yyyy ddd", L"2024 367"},
        BadTextCase{L"yyyy/mm/dd ddd", L"2024/03/05 066"},
        BadTextCase{L"yyyy/mm ddd", L"2024/04 065"},
        BadTextCase{L"yyyy/mm/dd ww", L"2024/03/05 11"},
        BadTextCase{L"yyyy/mm/dd dy", L"2024/03/05 Wed"},
        BadTextCase{L"yyyy/mm/dd day", L"2024/03/05 Monday"},
        BadTextCase{L"yyyy/mm/dd mon", L"2024/03/05 Apr"}, BadTextCase{L"yyyy yyyy", L"2024 2023"},
        // Without a year the date lies in 1900, which has no 29 February.
        BadTextCase{L"mm/dd", L"02/29"}));

TEST(ParsingRecordKinds, EachRecordTakesItsOwnFields) {
    const DateTimeMetaData dateTimeFormat(kDefaultDateTimeFormat);
    XTDate date;
    dateTimeFormat.Convert(L"2024/03/05 14:07:09.123456789", date);
    EXPECT_EQ(date, (XTDate{2024, 3, 5}));
    XTTime time{1, 1, 1, 0xFFFF, 1};
    dateTimeFormat.Convert(XTString(L"2024/03/05 14:07:09.123456789"), time);
    EXPECT_EQ(time, (XTTime{14, 7, 9, 0, 123456789}));
    EXPECT_EQ(time.reserved_, 0);

    // A date format gives midnight; a time format gives the base date.
    XTDateTime dateTime;
    DateTimeMetaData(kDefaultDateFormat).Convert(L"2024/03/05", dateTime);
    EXPECT_EQ(dateTime, (XTDateTime{2024, 3, 5, 0, 0, 0, 0}));
    DateTimeMetaData(kDefaultDateFormat).Convert(L"2024/03/05", time);
    EXPECT_EQ(time, (XTTime{}));
    DateTimeMetaData(kDefaultTimeFormat).Convert(L"12:30:45.000000001", dateTime);
    EXPECT_EQ(dateTime, (XTDateTime{1900, 1, 1, 12, 30, 45, 1}));
    DateTimeMetaData(kDefaultTimeFormat).Convert(std::wstring_view(L"12:30:45.0"), date);
    EXPECT_EQ(date, XTDate::GetBaseDate());
}

// The parts a record does not keep are still checked.
TEST(ParsingErrors, MessagesNameTheTextAndTheFormat) {
    XTDate date;
    try {
        DateTimeMetaData(kDefaultDateFormat).Convert(L"2024/13/05", date);
        FAIL() << "month 13 accepted";
    } catch (const ErrorMessage& error) {
        EXPECT_STREQ(error.what(),
                     "[46301] Text \"2024/13/05\" does not match the date and time format "
                     "\"yyyy/mm/dd\"");
    }
    try {
        DateTimeMetaData(L"\"yyyy");
        FAIL() << "unterminated quote accepted";
    } catch (const ErrorMessage& error) {
        EXPECT_STREQ(error.what(), "[46303] Invalid date and time format \"\"yyyy\"");
    }
}

TEST(ParsingRecordKinds, NullTextNeverMatches) {
    const DateTimeMetaData metaData(kDefaultDateFormat);
    XTDate date{2024, 3, 5};
    try {
        metaData.Convert(static_cast<const wchar_t*>(nullptr), date);
        FAIL() << "a null text matched";
    } catch (const ErrorMessage& error) {
        EXPECT_EQ(error.GetCode(), kMsgInvalidDateTimeText);
        EXPECT_EQ(error.GetArguments(), (std::vector<XTString>{L"", kDefaultDateFormat}));
    }
    EXPECT_EQ(date, (XTDate{2024, 3, 5}));
}

TEST(ParsingRecordKinds, FieldsOutsideTheRecordAreStillChecked) {
    const DateTimeMetaData metaData(kDefaultDateTimeFormat);
    XTDate date;
    EXPECT_THROW(metaData.Convert(L"2024/03/05 25:00:00.000000000", date), ErrorMessage);
    XTTime time;
    EXPECT_THROW(metaData.Convert(L"2024/02/30 12:00:00.000000000", time), ErrorMessage);
}

TEST(ParsingAllocations, ParsingAndFormattingIntoABufferDoNotAllocate) {
    const DateTimeMetaData date(kDefaultDateFormat);
    const DateTimeMetaData time(kDefaultTimeFormat);
    const DateTimeMetaData dateTime(kDefaultDateTimeFormat);
    const DateTimeMetaData named(L"day, dd month yyyy hh12:mi:ss.fff am ddd ww");
    const XTString dateText = L"2024/03/05";
    const XTString timeText = L"14:07:09.123456789";
    const XTString dateTimeText = L"2024/03/05 14:07:09.123456789";
    const XTString namedText = L"Tuesday, 05 March 2024 02:07:09.123 PM 065 10";
    wchar_t buffer[64];
    XTDate dateValue;
    XTTime timeValue;
    XTDateTime dateTimeValue;
    std::size_t total = 0;

    xts::test::AllocationCounter counter;
    for (int i = 0; i < 100; ++i) {
        date.Convert(dateText, dateValue);
        time.Convert(timeText, timeValue);
        dateTime.Convert(dateTimeText, dateTimeValue);
        dateTime.Convert(std::wstring_view(dateTimeText), dateTimeValue);
        named.Convert(namedText.c_str(), dateTimeValue);
        total += date.Convert(dateValue, buffer, std::size(buffer));
        total += time.Convert(timeValue, buffer, std::size(buffer));
        total += dateTime.Convert(dateTimeValue, buffer, std::size(buffer));
        total += named.Convert(dateTimeValue, buffer, std::size(buffer));
    }
    EXPECT_EQ(counter.Count(), 0u);
    EXPECT_EQ(total, 100u * (10 + 18 + 29 + 45));
    EXPECT_EQ(XTString(buffer, 45), namedText);
}

// ---------------------------------------------------------------------------
// Round trips over generated values

XTDateTime RandomDateTime(std::mt19937& random, int month, int day) {
    std::uniform_int_distribution<int> year(XTDate::kMinYear, XTDate::kMaxYear);
    int y = year(random);
    while (day > XTDate::GetDaysInMonth(y, month))
        y = year(random);  // 29 February
    return XTDateTime{static_cast<int16>(y),
                      static_cast<uint16>(month),
                      static_cast<uint16>(day),
                      static_cast<uint16>(random() % 24),
                      static_cast<uint16>(random() % 60),
                      static_cast<uint16>(random() % 60),
                      static_cast<uint32>(random() % XTTime::kNanosecondsPerSecond)};
}

std::vector<XTDateTime> GeneratedValues() {
    std::mt19937 random(20240305);
    std::vector<XTDateTime> values;
    for (int month = 1; month <= 12; ++month) {
        for (int day = 1; day <= 31; ++day) {
            if (day > XTDate::GetDaysInMonth(2000, month)) continue;
            for (int repeat = 0; repeat < 8; ++repeat) {
                values.push_back(RandomDateTime(random, month, day));
            }
        }
    }
    for (int i = 0; i < 3000; ++i) {
        const int month = static_cast<int>(random() % 12) + 1;
        const int day = static_cast<int>(random() % 28) + 1;
        values.push_back(RandomDateTime(random, month, day));
    }
    values.push_back(XTDateTime{1, 1, 1, 0, 0, 0, 0});
    values.push_back(XTDateTime{9999, 12, 31, 23, 59, 59, 999999999});
    return values;
}

struct RoundTripCase {
    XTString format;
    bool lossless;  // parse(format(x)) gives x back
};

void PrintTo(const RoundTripCase& c, std::ostream* out) {
    *out << Narrow(c.format);
}

class RoundTrip : public ::testing::TestWithParam<RoundTripCase> {};

TEST_P(RoundTrip, FormatParseFormatIsStable) {
    const RoundTripCase& c = GetParam();
    const DateTimeMetaData metaData(c.format);
    for (const XTDateTime& value : GeneratedValues()) {
        XTString text;
        metaData.Convert(value, text);
        ASSERT_LE(text.size(), metaData.GetTotalFormatLength());
        XTDateTime parsed;
        ASSERT_NO_THROW(metaData.Convert(text, parsed)) << Narrow(text);
        XTString again;
        metaData.Convert(parsed, again);
        ASSERT_EQ(again, text) << Narrow(value.ToString());
        if (c.lossless) {
            ASSERT_EQ(parsed, value) << Narrow(text);
        }

        XTDate date;
        date = value;
        metaData.Convert(date, text);
        XTDate parsedDate;
        ASSERT_NO_THROW(metaData.Convert(text, parsedDate)) << Narrow(text);
        if (c.lossless && metaData.HasDateFields()) {
            ASSERT_EQ(parsedDate, date) << Narrow(text);
        }

        XTTime time;
        time = value;
        metaData.Convert(time, text);
        XTTime parsedTime;
        ASSERT_NO_THROW(metaData.Convert(text, parsedTime)) << Narrow(text);
        if (c.lossless && metaData.HasTimeFields()) {
            ASSERT_EQ(parsedTime, time) << Narrow(text);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, RoundTrip,
    ::testing::Values(RoundTripCase{kDefaultDateFormat, false},
                      RoundTripCase{kDefaultTimeFormat, false},
                      RoundTripCase{kDefaultDateTimeFormat, true},
                      RoundTripCase{L"YYYY-MM-DD\"T\"HH24:MI:SS.fffffffff", true},
                      RoundTripCase{L"dy dd month yyyy hh12:mi:ss.fffffffff am", true},
                      RoundTripCase{L"day ddd/yyyy ww hh:mi:ss fffffffff", true},
                      RoundTripCase{L"yyyymmddhh24missfffffffff", true},
                      RoundTripCase{L"dd-mon-yy hh:mi:ss.fff am", false},
                      RoundTripCase{L"mm/dd/yyyy hh24:mi:ss.ffffff", false}));

}  // namespace
