// DateTimeMetaData: a date and time format, through which dates, times and
// date-times are parsed from and formatted into text.
//
// A format is text made of field tokens and literal characters. Tokens are
// matched without regard to letter case, the longest spelling first:
//   yyyy  four-digit year            yy     two-digit year (00-68 = 20xx)
//   mm    month 01-12                mon    Jan..Dec     month  January..December
//   dd    day of the month 01-31     ddd    day of the year 001-366
//   ww    week of the year 01-53 (week n = days 7n-6 .. 7n of the year)
//   dy    Sun..Sat                   day    Sunday..Saturday
//   hh    hour: 00-23, or 01-12 when the format has an am/pm token
//   hh24  hour 00-23                 hh12   hour 01-12
//   am, pm  the meridiem, written "AM" or "PM"
//   mi    minute 00-59               ss     second 00-59
//   fff   milliseconds               fffffffff  nanoseconds
//   f..f  a fraction of a second of that many digits (1 to 9)
// Any other character is a literal. Text in double quotes is literal, and a
// backslash makes the next character literal (inside quotes too). Names are
// English whatever the locale and are written in title case.
//
// Parsing is strict: the whole text must match the format; literals match
// exactly; "yyyy" and "yy" need all their digits; other numbers take 1 up to
// their width of digits (fewer only before a non-digit or the end of the
// text); a fraction's digits are read as a decimal fraction ("12" is .12 s);
// names match without regard to case. Fields the format lacks come from the
// base date 1900-01-01 and 00:00:00.000000000. Day of week and week of year
// are checked against the date; a day of year gives the month and day when
// they are missing. Failures raise ErrorMessage 46301 (text, format).
// See docs/date-time-formats.md for the complete rules.
//
// Formatting and parsing keep no state: one object may be used by any number
// of threads at once as long as nobody changes its format meanwhile.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "Utility/Generic/SUGExport.h"
#include "Utility/Generic/SUGXTDateTime.h"
#include "Utility/Generic/SUGXTString.h"

// The field tokens of a date and time format.
enum EnDateTimeFormatType : int32 {
    IntYear2Type = 0,
    IntYear4Type = 1,
    IntMonthType = 2,
    CharShortMonthType = 3,
    CharLongMonthType = 4,
    IntDayOfYearType = 5,
    IntWeekOfYearType = 6,
    IntMonthDayType = 7,
    CharShortDOWType = 8,
    CharLongDOWType = 9,
    CharAmPmType = 10,
    IntHourType = 11,
    IntMinuteType = 12,
    IntSecondType = 13,
    IntMilliSecondType = 14,
    IntNanoSecondType = 15,
    IntFractionalSecondType = 16,
};

// One element of a parsed format: a field token or one literal character.
struct DateTimeFormatToken {
    bool isLiteral_ = false;
    EnDateTimeFormatType type_ = IntYear4Type;  // the field, when not a literal
    wchar_t literal_ = 0;                       // the character, when a literal
    uint16 width_ = 0;         // the most characters the token writes (1 for a literal)
    bool twelveHour_ = false;  // an IntHourType token on the 12-hour clock

    bool operator==(const DateTimeFormatToken&) const = default;
};

class XTS_EXPORT DateTimeMetaData {
public:
    // An empty format: formats every value as empty text and matches no text.
    DateTimeMetaData() = default;
    // Throws 46303 for an invalid format, as SetDateTimeFormat.
    explicit DateTimeMetaData(const XTString& format) { SetDateTimeFormat(format); }

    // Replaces the format. An unterminated quote, a backslash at the end, a
    // run of more than nine 'f' or a format without any field token raises
    // ErrorMessage 46303 (the format) and leaves the object unchanged.
    void SetDateTimeFormat(const XTString& format);
    // The format's text, as given.
    const XTString& GetFormat() const noexcept { return m_format; }
    // The most characters a valid value formats into: every literal counts 1,
    // every token its width; names count their longest spelling ("September"
    // and "Wednesday", 9). The default formats give 10, 18 and 29.
    std::size_t GetTotalFormatLength() const noexcept { return m_totalFormatLength; }
    // The tokens of the format, in order.
    const std::vector<DateTimeFormatToken>& GetTokens() const noexcept { return m_tokens; }
    // Whether the format has a token for a date field or a time field.
    bool HasDateFields() const noexcept { return m_hasDateFields; }
    bool HasTimeFields() const noexcept { return m_hasTimeFields; }

    // Parse `text` against the format. A text that does not match, or whose
    // fields are out of range or disagree, raises ErrorMessage 46301 (the text,
    // the format) and leaves the record unchanged. Only the record's own
    // fields are taken from the text, but the whole text is checked. An empty
    // text (or a null pointer) never matches. Does not allocate unless it
    // throws.
    void Convert(std::wstring_view text, XTDate& date) const;
    void Convert(std::wstring_view text, XTTime& time) const;
    void Convert(std::wstring_view text, XTDateTime& dateTime) const;
    void Convert(const XTString& text, XTDate& date) const {
        Convert(std::wstring_view(text), date);
    }
    void Convert(const XTString& text, XTTime& time) const {
        Convert(std::wstring_view(text), time);
    }
    void Convert(const XTString& text, XTDateTime& dateTime) const {
        Convert(std::wstring_view(text), dateTime);
    }
    void Convert(const wchar_t* text, XTDate& date) const {
        Convert(text != nullptr ? std::wstring_view(text) : std::wstring_view(), date);
    }
    void Convert(const wchar_t* text, XTTime& time) const {
        Convert(text != nullptr ? std::wstring_view(text) : std::wstring_view(), time);
    }
    void Convert(const wchar_t* text, XTDateTime& dateTime) const {
        Convert(text != nullptr ? std::wstring_view(text) : std::wstring_view(), dateTime);
    }

    // Format a value into `text` (replacing its content). A date formats with
    // the time 00:00:00.000000000, a time with the base date 1900-01-01.
    // Fields out of range never fail: numbers are written with as many digits
    // as they need, names and the fields derived from an invalid date (day of
    // year, week, weekday) are written as "???" or zeros.
    void Convert(const XTDate& date, XTString& text) const;
    void Convert(const XTTime& time, XTString& text) const;
    void Convert(const XTDateTime& dateTime, XTString& text) const;

    // Format a value into buffer[0, capacity) without allocating: writes the
    // first min(length, capacity) characters of the text, no terminator, and
    // returns the text's full length (more than `capacity` when cut).
    std::size_t Convert(const XTDate& date, wchar_t* buffer, std::size_t capacity) const noexcept;
    std::size_t Convert(const XTTime& time, wchar_t* buffer, std::size_t capacity) const noexcept;
    std::size_t Convert(const XTDateTime& dateTime, wchar_t* buffer,
                        std::size_t capacity) const noexcept;

private:
    XTString m_format;
    std::vector<DateTimeFormatToken> m_tokens;
    std::size_t m_totalFormatLength = 0;
    bool m_hasDateFields = false;
    bool m_hasTimeFields = false;
};
