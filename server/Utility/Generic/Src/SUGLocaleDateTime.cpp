#include "Utility/Generic/SUGLocaleDateTime.h"

#include <ctime>
#include <cwchar>

LocaleDateTimeFormatter_t g_pfnLocaleDateFormatter = &FormatLocaleDate;
LocaleDateTimeFormatter_t g_pfnLocaleTimeFormatter = &FormatLocaleTime;

namespace {

XTSystemTime WithDayOfWeek(XTSystemTime time) noexcept {
    const XTDate date{time.year_, time.month_, time.day_};
    time.dayOfWeek_ = date.IsValid() ? static_cast<uint16>(date.GetDayOfWeek()) : 0;
    return time;
}

bool IsValidDatePart(const XTSystemTime& time) noexcept {
    return XTDate::IsValidDate(time.year_, time.month_, time.day_) && time.dayOfWeek_ <= 6;
}

bool IsValidTimePart(const XTSystemTime& time) noexcept {
    return XTTime::IsValidTime(time.hour_, time.minute_, time.second_, time.nanosecond_);
}

int FormatByLocale(const XTSystemTime& time, const wchar_t* format, wchar_t* buffer,
                   int bufferLength) noexcept {
    if (buffer == nullptr || bufferLength <= 0) return 0;
    std::tm value{};
    value.tm_year = time.year_ - 1900;
    value.tm_mon = time.month_ - 1;
    value.tm_mday = time.day_;
    value.tm_wday = time.dayOfWeek_;
    if (XTDate::IsValidDate(time.year_, time.month_, time.day_)) {
        value.tm_yday = XTDate{time.year_, time.month_, time.day_}.GetDayOfYear() - 1;
    }
    value.tm_hour = time.hour_;
    value.tm_min = time.minute_;
    value.tm_sec = time.second_;
    value.tm_isdst = 0;
    // wcsftime returns 0 when the text and its terminator do not fit; the
    // buffer's content is then unspecified, so it is cleared.
    const std::size_t length =
        std::wcsftime(buffer, static_cast<std::size_t>(bufferLength), format, &value);
    if (length == 0) buffer[0] = L'\0';
    return static_cast<int>(length);
}

}  // namespace

XTSystemTime MakeSystemTime(const XTDate& date) noexcept {
    XTSystemTime time;
    time.year_ = date.year_;
    time.month_ = date.month_;
    time.day_ = date.day_;
    return WithDayOfWeek(time);
}

XTSystemTime MakeSystemTime(const XTTime& time) noexcept {
    XTDateTime dateTime;
    dateTime = time;
    return MakeSystemTime(dateTime);
}

XTSystemTime MakeSystemTime(const XTDateTime& dateTime) noexcept {
    XTSystemTime time;
    time.year_ = dateTime.year_;
    time.month_ = dateTime.month_;
    time.day_ = dateTime.day_;
    time.hour_ = dateTime.hour_;
    time.minute_ = dateTime.minute_;
    time.second_ = dateTime.second_;
    time.nanosecond_ = dateTime.nanosecond_;
    return WithDayOfWeek(time);
}

int FormatLocaleDate(const XTSystemTime& time, wchar_t* buffer, int bufferLength) noexcept {
    if (!IsValidDatePart(time)) {
        if (buffer != nullptr && bufferLength > 0) buffer[0] = L'\0';
        return 0;
    }
    return FormatByLocale(time, L"%x", buffer, bufferLength);
}

int FormatLocaleTime(const XTSystemTime& time, wchar_t* buffer, int bufferLength) noexcept {
    if (!IsValidTimePart(time)) {
        if (buffer != nullptr && bufferLength > 0) buffer[0] = L'\0';
        return 0;
    }
    if (IsValidDatePart(time)) return FormatByLocale(time, L"%X", buffer, bufferLength);
    // A time alone: give the C library a consistent date all the same.
    XTDateTime onBaseDate;
    onBaseDate = XTTime{time.hour_, time.minute_, time.second_, 0, time.nanosecond_};
    return FormatByLocale(MakeSystemTime(onBaseDate), L"%X", buffer, bufferLength);
}
