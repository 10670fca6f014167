// Regional formatting: the date part and the time part of a system-time value
// written by the C library's current LC_TIME locale.
//
// The library never changes the locale; the application chooses it with
// setlocale (or a thread with uselocale). The formatters are reached through
// two function pointers so that a program or a test can put its own in place.
#pragma once

#include "Utility/Generic/Portable/SUPTypes.h"
#include "Utility/Generic/SUGExport.h"
#include "Utility/Generic/SUGXTDateTime.h"

// A calendar instant as the operating system describes it: the date with its
// day of the week (0 = Sunday .. 6 = Saturday) and the time of day.
struct XTSystemTime {
    int16 year_ = 0;
    uint16 month_ = 0;
    uint16 dayOfWeek_ = 0;
    uint16 day_ = 0;
    uint16 hour_ = 0;
    uint16 minute_ = 0;
    uint16 second_ = 0;
    uint32 nanosecond_ = 0;

    bool operator==(const XTSystemTime&) const = default;
};

// The system-time value of a record, with the day of the week computed from
// the date (0 when the date is not valid). A time alone lies on the base date
// 1900-01-01, a date alone at midnight.
XTS_EXPORT XTSystemTime MakeSystemTime(const XTDate& date) noexcept;
XTS_EXPORT XTSystemTime MakeSystemTime(const XTTime& time) noexcept;
XTS_EXPORT XTSystemTime MakeSystemTime(const XTDateTime& dateTime) noexcept;

// The buffer length that callers of the formatters provide.
inline constexpr int kLocaleDateTimeBufferLength = 30;

// A regional formatter: writes the text and a terminating zero into
// buffer[0, bufferLength) and returns the number of characters before the
// zero. Returns 0 on failure: fields out of range (a date outside the valid
// dates, a day of the week above 6, a time outside the valid times), a null
// buffer, or a text that does not fit together with its zero (so with a
// 30-character buffer a text of 30 characters or more fails). On failure the
// buffer holds an empty text when it has room for one.
using LocaleDateTimeFormatter_t = int (*)(const XTSystemTime& time, wchar_t* buffer,
                                          int bufferLength);

// The default formatters: wcsftime with "%x" (the date) and "%X" (the time).
XTS_EXPORT int FormatLocaleDate(const XTSystemTime& time, wchar_t* buffer,
                                int bufferLength) noexcept;
XTS_EXPORT int FormatLocaleTime(const XTSystemTime& time, wchar_t* buffer,
                                int bufferLength) noexcept;

// The formatters in use; they start as FormatLocaleDate and FormatLocaleTime.
// Replace them only while no conversion runs.
extern XTS_EXPORT LocaleDateTimeFormatter_t g_pfnLocaleDateFormatter;
extern XTS_EXPORT LocaleDateTimeFormatter_t g_pfnLocaleTimeFormatter;
