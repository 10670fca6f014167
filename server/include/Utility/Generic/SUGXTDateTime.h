// The in-record date and time values: XTDate (6 bytes), XTTime (12 bytes) and
// XTDateTime (16 bytes, also the value of TimeStamp columns).
//
// They are plain aggregates: trivially copyable and of standard layout, with
// the field offsets fixed below, because records are copied into and out of
// row buffers with memcpy and byte-swapped field by field. A default-built
// value has every field 0 (which is not a valid date).
//
// Calendar: the proleptic Gregorian calendar. A date is valid for years 1 to
// 9999, months 1 to 12 and days 1 to the length of the month (February has 29
// days in years divisible by 4, except centuries not divisible by 400). A time
// is valid for hours 0 to 23, minutes 0 to 59, seconds 0 to 59 (a leap second
// 60 is not representable) and nanoseconds 0 to 999,999,999.
//
// Cross-type assignments:
//   XTDateTime = XTDate      copies the date, the time becomes 00:00:00.0;
//   XTDateTime = XTTime      copies the time, the date becomes the base date
//                            1900-01-01 (XTDate::GetBaseDate());
//   XTDate = XTDateTime      keeps the date fields;
//   XTTime = XTDateTime      keeps the time fields, the reserved bytes become 0.
#pragma once

#include <cstddef>
#include <type_traits>

#include "Utility/Generic/Portable/SUPTypes.h"
#include "Utility/Generic/SUGAssert.h"
#include "Utility/Generic/SUGExport.h"
#include "Utility/Generic/SUGXTString.h"

struct XTDateTime;

// A calendar date: year, month (1..12) and day of the month.
struct XTS_EXPORT XTDate {
    int16 year_ = 0;
    uint16 month_ = 0;
    uint16 day_ = 0;

    static constexpr int kMinYear = 1;
    static constexpr int kMaxYear = 9999;

    // The date given to values that have no date of their own: the date part
    // of an XTDateTime assigned from an XTTime, and the missing date fields of
    // a text parsed with a format that lacks them.
    static constexpr XTDate GetBaseDate() noexcept { return XTDate{1900, 1, 1}; }

    static constexpr bool IsLeapYear(int year) noexcept {
        return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    }
    static constexpr int GetDaysInYear(int year) noexcept { return IsLeapYear(year) ? 366 : 365; }
    // Days of `month` (1..12) in `year`; 0 for a month outside 1..12.
    static constexpr int GetDaysInMonth(int year, int month) noexcept {
        constexpr int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
        if (month < 1 || month > 12) return 0;
        return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
    }
    // Whether (year, month, day) is a date of years 1..9999.
    static constexpr bool IsValidDate(int year, int month, int day) noexcept {
        return year >= kMinYear && year <= kMaxYear && day >= 1 &&
               day <= GetDaysInMonth(year, month);
    }
    // Days from 1970-01-01 to (year, month, day), negative before it; defined
    // for every year, month 1..12 and day 1..31.
    static constexpr int64 GetDaysFromEpoch(int year, int month, int day) noexcept {
        const int64 y = static_cast<int64>(year) - (month <= 2 ? 1 : 0);
        const int64 era = (y >= 0 ? y : y - 399) / 400;
        const int64 yearOfEra = y - era * 400;
        const int64 dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
        const int64 dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
        return era * 146097 + dayOfEra - 719468;
    }
    // The month and day of day `dayOfYear` (1..days of the year) of `year`.
    static constexpr void GetMonthAndDay(int year, int dayOfYear, int& month, int& day) noexcept {
        month = 1;
        while (month < 12 && dayOfYear > GetDaysInMonth(year, month)) {
            dayOfYear -= GetDaysInMonth(year, month);
            ++month;
        }
        day = dayOfYear;
    }

    constexpr bool IsValid() const noexcept { return IsValidDate(year_, month_, day_); }
    // Day of the week, 0 = Sunday .. 6 = Saturday. The date must be valid.
    constexpr int GetDayOfWeek() const noexcept {
        XTAssert(IsValid());
        const int64 weekday = (GetDaysFromEpoch(year_, month_, day_) + 4) % 7;  // 1970-01-01: Thu
        return static_cast<int>(weekday < 0 ? weekday + 7 : weekday);
    }
    // Day of the year, 1 (1 January) .. 366. The date must be valid.
    constexpr int GetDayOfYear() const noexcept {
        XTAssert(IsValid());
        int dayOfYear = day_;
        for (int month = 1; month < month_; ++month) dayOfYear += GetDaysInMonth(year_, month);
        return dayOfYear;
    }

    // "YYYY-MM-DD" (at least four year digits, a '-' before a negative year;
    // two digits at least for month and day). Meant for messages and tests;
    // it does not check validity.
    XTString ToString() const;

    // Keeps the date fields of `dateTime`.
    constexpr XTDate& operator=(const XTDateTime& dateTime) noexcept;

    constexpr bool operator==(const XTDate&) const noexcept = default;
};

// A time of day: hour, minute, second and nanosecond.
struct XTS_EXPORT XTTime {
    uint16 hour_ = 0;
    uint16 minute_ = 0;
    uint16 second_ = 0;
    uint16 reserved_ = 0;  // alignment filler; 0 when this library builds a value
    uint32 nanosecond_ = 0;

    static constexpr uint32 kNanosecondsPerSecond = 1000000000;

    static constexpr bool IsValidTime(unsigned hour, unsigned minute, unsigned second,
                                      uint32 nanosecond) noexcept {
        return hour < 24 && minute < 60 && second < 60 && nanosecond < kNanosecondsPerSecond;
    }
    constexpr bool IsValid() const noexcept {
        return IsValidTime(hour_, minute_, second_, nanosecond_);
    }

    // "HH:MM:SS.NNNNNNNNN" (nine fraction digits). Does not check validity.
    XTString ToString() const;

    // Keeps the time fields of `dateTime`; the reserved bytes become 0.
    constexpr XTTime& operator=(const XTDateTime& dateTime) noexcept;

    // Compares the time fields; the reserved bytes are not part of the value.
    constexpr bool operator==(const XTTime& other) const noexcept {
        return hour_ == other.hour_ && minute_ == other.minute_ && second_ == other.second_ &&
               nanosecond_ == other.nanosecond_;
    }
};

// A date and a time of day.
struct XTS_EXPORT XTDateTime {
    int16 year_ = 0;
    uint16 month_ = 0;
    uint16 day_ = 0;
    uint16 hour_ = 0;
    uint16 minute_ = 0;
    uint16 second_ = 0;
    uint32 nanosecond_ = 0;

    constexpr XTDate GetDate() const noexcept { return XTDate{year_, month_, day_}; }
    constexpr XTTime GetTime() const noexcept {
        return XTTime{hour_, minute_, second_, 0, nanosecond_};
    }

    constexpr bool IsValid() const noexcept { return GetDate().IsValid() && GetTime().IsValid(); }
    // Day of the week (0 = Sunday) and of the year (1..366) of the date part,
    // which must be valid.
    constexpr int GetDayOfWeek() const noexcept { return GetDate().GetDayOfWeek(); }
    constexpr int GetDayOfYear() const noexcept { return GetDate().GetDayOfYear(); }

    // "YYYY-MM-DD HH:MM:SS.NNNNNNNNN". Does not check validity.
    XTString ToString() const;

    // The date of `date` at 00:00:00.000000000.
    constexpr XTDateTime& operator=(const XTDate& date) noexcept {
        year_ = date.year_;
        month_ = date.month_;
        day_ = date.day_;
        hour_ = minute_ = second_ = 0;
        nanosecond_ = 0;
        return *this;
    }
    // The time of `time` on the base date 1900-01-01.
    constexpr XTDateTime& operator=(const XTTime& time) noexcept {
        const XTDate base = XTDate::GetBaseDate();
        year_ = base.year_;
        month_ = base.month_;
        day_ = base.day_;
        hour_ = time.hour_;
        minute_ = time.minute_;
        second_ = time.second_;
        nanosecond_ = time.nanosecond_;
        return *this;
    }

    constexpr bool operator==(const XTDateTime&) const noexcept = default;
};

constexpr XTDate& XTDate::operator=(const XTDateTime& dateTime) noexcept {
    year_ = dateTime.year_;
    month_ = dateTime.month_;
    day_ = dateTime.day_;
    return *this;
}

constexpr XTTime& XTTime::operator=(const XTDateTime& dateTime) noexcept {
    hour_ = dateTime.hour_;
    minute_ = dateTime.minute_;
    second_ = dateTime.second_;
    reserved_ = 0;
    nanosecond_ = dateTime.nanosecond_;
    return *this;
}

// The record layouts are part of the row format.
static_assert(sizeof(XTDate) == 6 && alignof(XTDate) == 2);
static_assert(offsetof(XTDate, year_) == 0 && offsetof(XTDate, month_) == 2 &&
              offsetof(XTDate, day_) == 4);
static_assert(sizeof(XTTime) == 12 && alignof(XTTime) == 4);
static_assert(offsetof(XTTime, hour_) == 0 && offsetof(XTTime, minute_) == 2 &&
              offsetof(XTTime, second_) == 4 && offsetof(XTTime, reserved_) == 6 &&
              offsetof(XTTime, nanosecond_) == 8);
static_assert(sizeof(XTDateTime) == 16 && alignof(XTDateTime) == 4);
static_assert(offsetof(XTDateTime, year_) == 0 && offsetof(XTDateTime, month_) == 2 &&
              offsetof(XTDateTime, day_) == 4 && offsetof(XTDateTime, hour_) == 6 &&
              offsetof(XTDateTime, minute_) == 8 && offsetof(XTDateTime, second_) == 10 &&
              offsetof(XTDateTime, nanosecond_) == 12);
static_assert(std::is_trivially_copyable_v<XTDate> && std::is_standard_layout_v<XTDate> &&
              std::is_aggregate_v<XTDate>);
static_assert(std::is_trivially_copyable_v<XTTime> && std::is_standard_layout_v<XTTime> &&
              std::is_aggregate_v<XTTime>);
static_assert(std::is_trivially_copyable_v<XTDateTime> && std::is_standard_layout_v<XTDateTime> &&
              std::is_aggregate_v<XTDateTime>);
