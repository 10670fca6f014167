// The date and time value records: byte layout, cross-type assignments,
// validity, calendar helpers and their text form.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "Utility/Generic/SUGXTDateTime.h"

namespace {

template <class Record>
std::vector<unsigned char> BytesOf(const Record& record) {
    std::vector<unsigned char> bytes(sizeof record);
    std::memcpy(bytes.data(), &record, sizeof record);
    return bytes;
}

// The fields sit at their fixed offsets, little-endian, with no hidden bytes.
TEST(DateTimeRecordLayout, FieldsSitAtTheirOffsets) {
    const XTDate date{-2, 0x0304, 0x0506};
    EXPECT_EQ(BytesOf(date), (std::vector<unsigned char>{0xFE, 0xFF, 0x04, 0x03, 0x06, 0x05}));

    XTTime time{0x0102, 0x0304, 0x0506, 0x0708, 0x0A0B0C0D};
    EXPECT_EQ(BytesOf(time), (std::vector<unsigned char>{0x02, 0x01, 0x04, 0x03, 0x06, 0x05, 0x08,
                                                         0x07, 0x0D, 0x0C, 0x0B, 0x0A}));

    const XTDateTime dateTime{0x0102, 0x0304, 0x0506, 0x0708, 0x090A, 0x0B0C, 0x0D0E0F10};
    EXPECT_EQ(BytesOf(dateTime),
              (std::vector<unsigned char>{0x02, 0x01, 0x04, 0x03, 0x06, 0x05, 0x08, 0x07, 0x0A,
                                          0x09, 0x0C, 0x0B, 0x10, 0x0F, 0x0E, 0x0D}));
}

TEST(DateTimeRecordLayout, DefaultValuesAreZeroAndInvalid) {
    EXPECT_EQ(BytesOf(XTDate{}), std::vector<unsigned char>(6, 0));
    EXPECT_EQ(BytesOf(XTTime{}), std::vector<unsigned char>(12, 0));
    EXPECT_EQ(BytesOf(XTDateTime{}), std::vector<unsigned char>(16, 0));
    EXPECT_FALSE(XTDate{}.IsValid());
    EXPECT_TRUE(XTTime{}.IsValid());  // midnight
    EXPECT_FALSE(XTDateTime{}.IsValid());
}

TEST(DateTimeRecordAssignment, DateTimeFromDateClearsTheTime) {
    XTDateTime dateTime{1999, 12, 31, 23, 59, 58, 999999999};
    dateTime = XTDate{2024, 3, 5};
    EXPECT_EQ(dateTime, (XTDateTime{2024, 3, 5, 0, 0, 0, 0}));
}

TEST(DateTimeRecordAssignment, DateTimeFromTimeTakesTheBaseDate) {
    XTDateTime dateTime{2024, 3, 5, 1, 2, 3, 4};
    dateTime = XTTime{12, 30, 45, 0x7777, 123456789};
    EXPECT_EQ(dateTime, (XTDateTime{1900, 1, 1, 12, 30, 45, 123456789}));
    EXPECT_EQ(XTDate::GetBaseDate(), (XTDate{1900, 1, 1}));
    EXPECT_TRUE(dateTime.IsValid());
}

TEST(DateTimeRecordAssignment, DateAndTimeFromDateTimeKeepTheirOwnFields) {
    const XTDateTime dateTime{2024, 2, 29, 23, 59, 59, 999999999};
    XTDate date{1, 1, 1};
    date = dateTime;
    EXPECT_EQ(date, (XTDate{2024, 2, 29}));

    XTTime time{1, 2, 3, 0xFFFF, 4};
    time = dateTime;
    EXPECT_EQ(BytesOf(time), BytesOf(XTTime{23, 59, 59, 0, 999999999}));  // reserved bytes 0

    EXPECT_EQ(dateTime.GetDate(), date);
    EXPECT_EQ(BytesOf(dateTime.GetTime()), BytesOf(time));
}

TEST(DateTimeRecordAssignment, RoundTripThroughDateTimeKeepsTheValue) {
    const XTDate date{9999, 12, 31};
    XTDateTime dateTime;
    dateTime = date;
    XTDate back;
    back = dateTime;
    EXPECT_EQ(back, date);

    const XTTime time{23, 59, 59, 0, 999999999};
    dateTime = time;
    XTTime timeBack;
    timeBack = dateTime;
    EXPECT_EQ(timeBack, time);
}

TEST(DateTimeRecordEquality, TimeIgnoresTheReservedBytes) {
    EXPECT_EQ((XTTime{1, 2, 3, 0, 4}), (XTTime{1, 2, 3, 0xABCD, 4}));
    EXPECT_NE((XTTime{1, 2, 3, 0, 4}), (XTTime{1, 2, 3, 0, 5}));
    EXPECT_NE((XTDate{2024, 3, 5}), (XTDate{2024, 3, 6}));
    EXPECT_NE((XTDateTime{2024, 3, 5, 0, 0, 0, 1}), (XTDateTime{2024, 3, 5, 0, 0, 0, 0}));
}

struct DateValidityCase {
    int year, month, day;
    bool valid;
};

class DateValidity : public ::testing::TestWithParam<DateValidityCase> {};

TEST_P(DateValidity, MatchesTheCalendar) {
    const DateValidityCase& c = GetParam();
    const XTDate date{static_cast<int16>(c.year), static_cast<uint16>(c.month),
                      static_cast<uint16>(c.day)};
    EXPECT_EQ(date.IsValid(), c.valid) << date.ToString();
    XTDateTime dateTime;
    dateTime = date;
    EXPECT_EQ(dateTime.IsValid(), c.valid);
}

INSTANTIATE_TEST_SUITE_P(
    Calendar, DateValidity,
    ::testing::Values(DateValidityCase{1900, 2, 29, false}, DateValidityCase{1900, 2, 28, true},
                      DateValidityCase{2000, 2, 29, true}, DateValidityCase{2024, 2, 29, true},
                      DateValidityCase{2023, 2, 29, false}, DateValidityCase{2100, 2, 29, false},
                      DateValidityCase{2024, 2, 30, false}, DateValidityCase{2024, 4, 30, true},
                      DateValidityCase{2024, 4, 31, false}, DateValidityCase{2024, 1, 31, true},
                      DateValidityCase{2024, 1, 32, false}, DateValidityCase{2024, 12, 31, true},
                      DateValidityCase{2024, 0, 1, false}, DateValidityCase{2024, 13, 1, false},
                      DateValidityCase{2024, 1, 0, false}, DateValidityCase{1, 1, 1, true},
                      DateValidityCase{0, 1, 1, false}, DateValidityCase{-1, 1, 1, false},
                      DateValidityCase{9999, 12, 31, true}, DateValidityCase{10000, 1, 1, false},
                      DateValidityCase{2024, 65535, 1, false}));

struct TimeValidityCase {
    unsigned hour, minute, second;
    uint32 nanosecond;
    bool valid;
};

class TimeValidity : public ::testing::TestWithParam<TimeValidityCase> {};

TEST_P(TimeValidity, MatchesTheClock) {
    const TimeValidityCase& c = GetParam();
    const XTTime time{static_cast<uint16>(c.hour), static_cast<uint16>(c.minute),
                      static_cast<uint16>(c.second), 0, c.nanosecond};
    EXPECT_EQ(time.IsValid(), c.valid) << time.ToString();
    XTDateTime dateTime;
    dateTime = time;
    EXPECT_EQ(dateTime.IsValid(), c.valid);
}

INSTANTIATE_TEST_SUITE_P(Clock, TimeValidity,
                         ::testing::Values(TimeValidityCase{0, 0, 0, 0, true},
                                           TimeValidityCase{23, 59, 59, 999999999, true},
                                           TimeValidityCase{24, 0, 0, 0, false},
                                           TimeValidityCase{12, 60, 0, 0, false},
                                           TimeValidityCase{23, 59, 60, 0, false},  // leap second
                                           TimeValidityCase{12, 0, 0, 1000000000, false},
                                           TimeValidityCase{65535, 0, 0, 0, false}));

struct CalendarCase {
    XTDate date;
    int dayOfWeek;  // 0 = Sunday
    int dayOfYear;
};

class CalendarHelpers : public ::testing::TestWithParam<CalendarCase> {};

TEST_P(CalendarHelpers, GiveWeekdayAndDayOfYear) {
    const CalendarCase& c = GetParam();
    EXPECT_EQ(c.date.GetDayOfWeek(), c.dayOfWeek) << c.date.ToString();
    EXPECT_EQ(c.date.GetDayOfYear(), c.dayOfYear) << c.date.ToString();
    XTDateTime dateTime;
    dateTime = c.date;
    EXPECT_EQ(dateTime.GetDayOfWeek(), c.dayOfWeek);
    EXPECT_EQ(dateTime.GetDayOfYear(), c.dayOfYear);
}

INSTANTIATE_TEST_SUITE_P(
    KnownDates, CalendarHelpers,
    ::testing::Values(CalendarCase{{1970, 1, 1}, 4, 1}, CalendarCase{{2000, 1, 1}, 6, 1},
                      CalendarCase{{2024, 3, 5}, 2, 65}, CalendarCase{{2023, 3, 5}, 0, 64},
                      CalendarCase{{2024, 12, 31}, 2, 366}, CalendarCase{{2023, 12, 31}, 0, 365},
                      CalendarCase{{1900, 1, 1}, 1, 1}, CalendarCase{{1900, 12, 31}, 1, 365},
                      CalendarCase{{1, 1, 1}, 1, 1}, CalendarCase{{9999, 12, 31}, 5, 365},
                      CalendarCase{{1582, 10, 15}, 5, 288}));

// Walks the days from 0001-01-01 to 9999-12-31, checking every day of the
// years 1-800, 1582-2500 and 9600-9999 and counting the years between: the
// weekday advances by one, the day of the year counts up from 1 and resets on
// 1 January, the month and day come back from the day of the year.
TEST(CalendarHelpers, EveryDayFollowsTheDayBefore) {
    int expectedDayOfWeek = 1;  // 0001-01-01 is a Monday
    long long days = 0;
    const long long firstDay = XTDate::GetDaysFromEpoch(1, 1, 1);
    for (int year = XTDate::kMinYear; year <= XTDate::kMaxYear; ++year) {
        if ((year > 800 && year < 1582) || (year > 2500 && year < 9600)) {
            // Days of years in between are counted, not checked one by one.
            days += XTDate::GetDaysInYear(year);
            expectedDayOfWeek = (expectedDayOfWeek + XTDate::GetDaysInYear(year)) % 7;
            continue;
        }
        int expectedDayOfYear = 0;
        for (int month = 1; month <= 12; ++month) {
            for (int day = 1; day <= XTDate::GetDaysInMonth(year, month); ++day) {
                const XTDate date{static_cast<int16>(year), static_cast<uint16>(month),
                                  static_cast<uint16>(day)};
                ++expectedDayOfYear;
                int backMonth = 0, backDay = 0;
                XTDate::GetMonthAndDay(year, expectedDayOfYear, backMonth, backDay);
                const bool consistent =
                    date.IsValid() && date.GetDayOfWeek() == expectedDayOfWeek &&
                    date.GetDayOfYear() == expectedDayOfYear && backMonth == month &&
                    backDay == day && XTDate::GetDaysFromEpoch(year, month, day) == firstDay + days;
                if (!consistent) {
                    FAIL() << year << "-" << month << "-" << day << ": weekday "
                           << date.GetDayOfWeek() << " expected " << expectedDayOfWeek
                           << ", day of year " << date.GetDayOfYear() << " expected "
                           << expectedDayOfYear << ", back " << backMonth << "/" << backDay;
                }
                expectedDayOfWeek = (expectedDayOfWeek + 1) % 7;
                ++days;
            }
        }
        ASSERT_EQ(expectedDayOfYear, XTDate::GetDaysInYear(year));
    }
    EXPECT_EQ(days, 3652059);
    EXPECT_EQ(XTDate::GetDaysFromEpoch(1970, 1, 1), 0);
}

TEST(CalendarHelpers, DaysInMonthOutsideTheMonthsIsZero) {
    EXPECT_EQ(XTDate::GetDaysInMonth(2024, 0), 0);
    EXPECT_EQ(XTDate::GetDaysInMonth(2024, 13), 0);
    EXPECT_EQ(XTDate::GetDaysInMonth(2024, 2), 29);
    EXPECT_EQ(XTDate::GetDaysInMonth(1900, 2), 28);
}

TEST(CalendarHelpersDeathTest, WeekdayAndDayOfYearNeedAValidDate) {
    const XTDate invalid{2023, 2, 29};
    EXPECT_DEATH((void)invalid.GetDayOfWeek(), "Assertion failed: IsValid\\(\\)");
    EXPECT_DEATH((void)invalid.GetDayOfYear(), "Assertion failed: IsValid\\(\\)");
    const XTDateTime invalidDateTime{2024, 13, 1, 0, 0, 0, 0};
    EXPECT_DEATH((void)invalidDateTime.GetDayOfWeek(), "Assertion failed: IsValid\\(\\)");
}

TEST(DateTimeRecordText, ToStringWritesIsoLikeText) {
    EXPECT_EQ((XTDate{2024, 3, 5}).ToString(), L"2024-03-05");
    EXPECT_EQ((XTDate{1, 1, 1}).ToString(), L"0001-01-01");
    EXPECT_EQ((XTTime{12, 30, 45, 0, 0}).ToString(), L"12:30:45.000000000");
    EXPECT_EQ((XTTime{0, 0, 0, 0, 7}).ToString(), L"00:00:00.000000007");
    EXPECT_EQ((XTDateTime{2024, 3, 5, 12, 30, 45, 123456789}).ToString(),
              L"2024-03-05 12:30:45.123456789");
}

TEST(DateTimeRecordText, ToStringShowsInvalidFieldsAsTheyAre) {
    EXPECT_EQ((XTDate{-5, 13, 0}).ToString(), L"-0005-13-00");
    EXPECT_EQ((XTDate{-32768, 65535, 65535}).ToString(), L"-32768-65535-65535");
    EXPECT_EQ((XTTime{65535, 60, 60, 0, 4294967295U}).ToString(), L"65535:60:60.4294967295");
}

}  // namespace
