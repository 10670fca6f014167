// Internal to the date and time format engine: the field set that formatting
// reads and parsing fills, and the English names.
#pragma once

#include <string_view>

#include "Utility/Generic/SUGXTDateTime.h"

namespace datetime_detail {

// Every field a format can mention, whatever the record type.
struct DateTimeFields {
    int year = 1900;
    int month = 1;
    int day = 1;
    int hour = 0;
    int minute = 0;
    int second = 0;
    long long nanosecond = 0;
};

inline DateTimeFields FieldsOf(const XTDate& date) noexcept {
    DateTimeFields fields;
    fields.year = date.year_;
    fields.month = date.month_;
    fields.day = date.day_;
    return fields;
}

inline DateTimeFields FieldsOf(const XTTime& time) noexcept {
    DateTimeFields fields;  // on the base date
    fields.hour = time.hour_;
    fields.minute = time.minute_;
    fields.second = time.second_;
    fields.nanosecond = time.nanosecond_;
    return fields;
}

inline DateTimeFields FieldsOf(const XTDateTime& dateTime) noexcept {
    DateTimeFields fields;
    fields.year = dateTime.year_;
    fields.month = dateTime.month_;
    fields.day = dateTime.day_;
    fields.hour = dateTime.hour_;
    fields.minute = dateTime.minute_;
    fields.second = dateTime.second_;
    fields.nanosecond = dateTime.nanosecond_;
    return fields;
}

inline constexpr std::wstring_view kMonthNames[12] = {
    L"January", L"February", L"March",     L"April",   L"May",      L"June",
    L"July",    L"August",   L"September", L"October", L"November", L"December"};
inline constexpr std::wstring_view kDayNames[7] = {L"Sunday",   L"Monday", L"Tuesday", L"Wednesday",
                                                   L"Thursday", L"Friday", L"Saturday"};
// Short names are the first three letters of the long ones.
inline constexpr std::size_t kShortNameLength = 3;
inline constexpr std::size_t kLongNameMaxLength = 9;  // "September", "Wednesday"
inline constexpr std::wstring_view kAmPmNames[2] = {L"AM", L"PM"};

// ASCII letter case folding, independent of the locale.
constexpr wchar_t ToLowerAscii(wchar_t c) noexcept {
    return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c;
}

constexpr bool IsDigit(wchar_t c) noexcept {
    return c >= L'0' && c <= L'9';
}

// Week of the year: week n holds days 7n-6 .. 7n of the year (1..53).
constexpr int WeekOfYear(int dayOfYear) noexcept {
    return (dayOfYear - 1) / 7 + 1;
}

}  // namespace datetime_detail
