// DateTimeMetaData: parsing texts against a format. The text is read in place
// (no copy, no allocation); only a failure builds the error.
#include "SUGDateTimeFields.h"
#include "Utility/Generic/SUGDateTimeMetaData.h"
#include "Utility/Generic/SUGErrorMessage.h"

using namespace datetime_detail;

namespace {

constexpr int kNotGiven = -1;

// What the tokens of a text gave; kNotGiven where no token mentioned a field.
// A field mentioned twice must be given the same value both times.
struct GivenFields {
    int year = kNotGiven;
    int month = kNotGiven;
    int day = kNotGiven;
    int dayOfYear = kNotGiven;
    int weekOfYear = kNotGiven;
    int dayOfWeek = kNotGiven;
    int meridiem = kNotGiven;  // 0 AM, 1 PM
    int hour = kNotGiven;      // on the 24-hour clock
    int hour12 = kNotGiven;    // on the 12-hour clock
    int minute = kNotGiven;
    int second = kNotGiven;
    int nanosecond = kNotGiven;
};

[[nodiscard]] bool Give(int& field, int value) noexcept {
    if (field != kNotGiven && field != value) return false;
    field = value;
    return true;
}

// Reads minDigits to maxDigits (at most 9) decimal digits at `position`.
[[nodiscard]] bool ReadNumber(std::wstring_view text, std::size_t& position, int minDigits,
                              int maxDigits, int& value, int& digitCount) noexcept {
    value = 0;
    digitCount = 0;
    while (digitCount < maxDigits && position < text.size() && IsDigit(text[position])) {
        value = value * 10 + (text[position] - L'0');
        ++position;
        ++digitCount;
    }
    return digitCount >= minDigits;
}

[[nodiscard]] bool MatchesIgnoringCase(std::wstring_view text, std::size_t position,
                                       std::wstring_view name) noexcept {
    if (text.size() - position < name.size()) return false;
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (ToLowerAscii(text[position + i]) != ToLowerAscii(name[i])) return false;
    }
    return true;
}

// Finds which of `names` (cut to `length` characters when `length` is not 0)
// stands at `position`; gives its index and moves past it.
template <std::size_t N>
[[nodiscard]] bool ReadName(std::wstring_view text, std::size_t& position,
                            const std::wstring_view (&names)[N], std::size_t length,
                            int& index) noexcept {
    for (std::size_t i = 0; i < N; ++i) {
        const std::wstring_view name = length == 0 ? names[i] : names[i].substr(0, length);
        if (MatchesIgnoringCase(text, position, name)) {
            position += name.size();
            index = static_cast<int>(i);
            return true;
        }
    }
    return false;
}

constexpr int kFractionScale[10] = {1000000000, 100000000, 10000000, 1000000, 100000,
                                    10000,      1000,      100,      10,      1};

// Reads the text token by token into `given`; false when it does not match.
[[nodiscard]] bool ReadTokens(const std::vector<DateTimeFormatToken>& tokens,
                              std::wstring_view text, GivenFields& given) noexcept {
    std::size_t position = 0;
    for (const DateTimeFormatToken& token : tokens) {
        if (token.isLiteral_) {
            if (position == text.size() || text[position] != token.literal_) return false;
            ++position;
            continue;
        }
        int value = 0;
        int digits = 0;
        bool matched = false;
        switch (token.type_) {
            case IntYear2Type:
                matched = ReadNumber(text, position, 2, 2, value, digits) &&
                          Give(given.year, value < 69 ? 2000 + value : 1900 + value);
                break;
            case IntYear4Type:
                matched =
                    ReadNumber(text, position, 4, 4, value, digits) && Give(given.year, value);
                break;
            case IntMonthType:
                matched =
                    ReadNumber(text, position, 1, 2, value, digits) && Give(given.month, value);
                break;
            case CharShortMonthType:
                matched = ReadName(text, position, kMonthNames, kShortNameLength, value) &&
                          Give(given.month, value + 1);
                break;
            case CharLongMonthType:
                matched =
                    ReadName(text, position, kMonthNames, 0, value) && Give(given.month, value + 1);
                break;
            case IntDayOfYearType:
                matched =
                    ReadNumber(text, position, 1, 3, value, digits) && Give(given.dayOfYear, value);
                break;
            case IntWeekOfYearType:
                matched = ReadNumber(text, position, 1, 2, value, digits) &&
                          Give(given.weekOfYear, value);
                break;
            case IntMonthDayType:
                matched = ReadNumber(text, position, 1, 2, value, digits) && Give(given.day, value);
                break;
            case CharShortDOWType:
                matched = ReadName(text, position, kDayNames, kShortNameLength, value) &&
                          Give(given.dayOfWeek, value);
                break;
            case CharLongDOWType:
                matched =
                    ReadName(text, position, kDayNames, 0, value) && Give(given.dayOfWeek, value);
                break;
            case CharAmPmType:
                matched =
                    ReadName(text, position, kAmPmNames, 0, value) && Give(given.meridiem, value);
                break;
            case IntHourType:
                matched = ReadNumber(text, position, 1, 2, value, digits) &&
                          Give(token.twelveHour_ ? given.hour12 : given.hour, value);
                break;
            case IntMinuteType:
                matched =
                    ReadNumber(text, position, 1, 2, value, digits) && Give(given.minute, value);
                break;
            case IntSecondType:
                matched =
                    ReadNumber(text, position, 1, 2, value, digits) && Give(given.second, value);
                break;
            case IntMilliSecondType:
            case IntNanoSecondType:
            case IntFractionalSecondType:
                matched = ReadNumber(text, position, 1, token.width_, value, digits) &&
                          Give(given.nanosecond, value * kFractionScale[digits]);
                break;
        }
        if (!matched) return false;
    }
    return position == text.size();
}

// Combines what the text gave with the base date and midnight, checks every
// range and agreement, and fills `fields`; false when something is wrong.
[[nodiscard]] bool ResolveFields(GivenFields& given, DateTimeFields& fields) noexcept {
    if (given.hour12 != kNotGiven) {
        if (given.hour12 < 1 || given.hour12 > 12) return false;
        const int hour = given.hour12 % 12 + (given.meridiem == 1 ? 12 : 0);
        if (!Give(given.hour, hour)) return false;
    }
    if (given.hour != kNotGiven) {
        if (given.hour >= 24) return false;
        if (given.meridiem != kNotGiven && (given.hour >= 12) != (given.meridiem == 1)) {
            return false;
        }
        fields.hour = given.hour;
    }
    if (given.minute != kNotGiven) {
        if (given.minute >= 60) return false;
        fields.minute = given.minute;
    }
    if (given.second != kNotGiven) {
        if (given.second >= 60) return false;
        fields.second = given.second;
    }
    if (given.nanosecond != kNotGiven) fields.nanosecond = given.nanosecond;

    if (given.year != kNotGiven) fields.year = given.year;
    if (fields.year < XTDate::kMinYear || fields.year > XTDate::kMaxYear) return false;
    if (given.dayOfYear != kNotGiven) {
        if (given.dayOfYear < 1 || given.dayOfYear > XTDate::GetDaysInYear(fields.year)) {
            return false;
        }
        int month = 0;
        int day = 0;
        XTDate::GetMonthAndDay(fields.year, given.dayOfYear, month, day);
        if (!Give(given.month, month) || !Give(given.day, day)) return false;
    }
    if (given.month != kNotGiven) fields.month = given.month;
    if (given.day != kNotGiven) fields.day = given.day;
    if (!XTDate::IsValidDate(fields.year, fields.month, fields.day)) return false;

    if (given.weekOfYear != kNotGiven || given.dayOfWeek != kNotGiven) {
        const XTDate date{static_cast<int16>(fields.year), static_cast<uint16>(fields.month),
                          static_cast<uint16>(fields.day)};
        if (given.weekOfYear != kNotGiven && given.weekOfYear != WeekOfYear(date.GetDayOfYear())) {
            return false;
        }
        if (given.dayOfWeek != kNotGiven && given.dayOfWeek != date.GetDayOfWeek()) return false;
    }
    return true;
}

// Parses `text` into `fields`, or throws 46301 (text, format).
void ParseFields(const std::vector<DateTimeFormatToken>& tokens, const XTString& format,
                 std::wstring_view text, DateTimeFields& fields) {
    GivenFields given;
    if (text.empty() || !ReadTokens(tokens, text, given) || !ResolveFields(given, fields)) {
        SUGThrow(kMsgInvalidDateTimeText, XTString(text), format);
    }
}

}  // namespace

void DateTimeMetaData::Convert(std::wstring_view text, XTDate& date) const {
    DateTimeFields fields;
    ParseFields(m_tokens, m_format, text, fields);
    date.year_ = static_cast<int16>(fields.year);
    date.month_ = static_cast<uint16>(fields.month);
    date.day_ = static_cast<uint16>(fields.day);
}

void DateTimeMetaData::Convert(std::wstring_view text, XTTime& time) const {
    DateTimeFields fields;
    ParseFields(m_tokens, m_format, text, fields);
    time.hour_ = static_cast<uint16>(fields.hour);
    time.minute_ = static_cast<uint16>(fields.minute);
    time.second_ = static_cast<uint16>(fields.second);
    time.reserved_ = 0;
    time.nanosecond_ = static_cast<uint32>(fields.nanosecond);
}

void DateTimeMetaData::Convert(std::wstring_view text, XTDateTime& dateTime) const {
    DateTimeFields fields;
    ParseFields(m_tokens, m_format, text, fields);
    dateTime.year_ = static_cast<int16>(fields.year);
    dateTime.month_ = static_cast<uint16>(fields.month);
    dateTime.day_ = static_cast<uint16>(fields.day);
    dateTime.hour_ = static_cast<uint16>(fields.hour);
    dateTime.minute_ = static_cast<uint16>(fields.minute);
    dateTime.second_ = static_cast<uint16>(fields.second);
    dateTime.nanosecond_ = static_cast<uint32>(fields.nanosecond);
}
