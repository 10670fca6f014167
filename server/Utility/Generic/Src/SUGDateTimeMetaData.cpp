// DateTimeMetaData: reading a format into tokens, and formatting values.
// Parsing texts is in SUGDateTimeMetaDataParse.cpp.
#include "Utility/Generic/SUGDateTimeMetaData.h"

#include <iterator>
#include <utility>

#include "SUGDateTimeFields.h"
#include "Utility/Generic/SUGErrorMessage.h"

using namespace datetime_detail;

namespace {

// The spellings of the field tokens other than the fractions ("f" runs),
// longest first so that the longest spelling wins.
struct TokenSpelling {
    std::wstring_view text;
    EnDateTimeFormatType type;
    uint16 width;
    int hourClock;  // IntHourType: 12 or 24, 0 when the format decides
};

constexpr TokenSpelling kTokenSpellings[] = {
    {L"month", CharLongMonthType, kLongNameMaxLength, 0},
    {L"yyyy", IntYear4Type, 4, 0},
    {L"hh24", IntHourType, 2, 24},
    {L"hh12", IntHourType, 2, 12},
    {L"mon", CharShortMonthType, kShortNameLength, 0},
    {L"ddd", IntDayOfYearType, 3, 0},
    {L"day", CharLongDOWType, kLongNameMaxLength, 0},
    {L"yy", IntYear2Type, 2, 0},
    {L"mm", IntMonthType, 2, 0},
    {L"dd", IntMonthDayType, 2, 0},
    {L"ww", IntWeekOfYearType, 2, 0},
    {L"dy", CharShortDOWType, kShortNameLength, 0},
    {L"am", CharAmPmType, 2, 0},
    {L"pm", CharAmPmType, 2, 0},
    {L"hh", IntHourType, 2, 0},
    {L"mi", IntMinuteType, 2, 0},
    {L"ss", IntSecondType, 2, 0},
};

constexpr std::size_t kMaxFractionDigits = 9;

bool StartsWithIgnoringCase(std::wstring_view text, std::size_t position,
                            std::wstring_view prefix) noexcept {
    if (text.size() - position < prefix.size()) return false;
    for (std::size_t i = 0; i < prefix.size(); ++i) {
        if (ToLowerAscii(text[position + i]) != prefix[i]) return false;
    }
    return true;
}

DateTimeFormatToken MakeLiteral(wchar_t c) noexcept {
    DateTimeFormatToken token;
    token.isLiteral_ = true;
    token.literal_ = c;
    token.width_ = 1;
    return token;
}

DateTimeFormatToken MakeField(EnDateTimeFormatType type, uint16 width, bool twelveHour) noexcept {
    DateTimeFormatToken token;
    token.type_ = type;
    token.width_ = width;
    token.twelveHour_ = twelveHour;
    return token;
}

bool IsDateField(EnDateTimeFormatType type) noexcept {
    return type <= CharLongDOWType;  // the enumeration lists the date fields first
}

[[noreturn]] void ThrowInvalidFormat(const XTString& format) {
    SUGThrow(kMsgInvalidDateTimeFormat, format);
}

// Collects the characters of a format: writes each into `buffer` when it has
// room and counts them all, so a caller can tell that the text was cut.
class TextWriter {
public:
    TextWriter(wchar_t* buffer, std::size_t capacity) noexcept
        : m_buffer(buffer), m_capacity(capacity) {}

    void Put(wchar_t c) noexcept {
        if (m_length < m_capacity) m_buffer[m_length] = c;
        ++m_length;
    }
    void PutText(std::wstring_view text) noexcept {
        for (wchar_t c : text) Put(c);
    }
    // `value` in decimal with at least `width` digits, '-' first when negative.
    void PutNumber(long long value, int width) noexcept {
        unsigned long long magnitude = static_cast<unsigned long long>(value);
        if (value < 0) {
            Put(L'-');
            magnitude = 0ULL - magnitude;
        }
        wchar_t digits[24];
        int count = 0;
        do {
            digits[count++] = static_cast<wchar_t>(L'0' + magnitude % 10);
            magnitude /= 10;
        } while (magnitude != 0);
        for (int i = count; i < width; ++i) Put(L'0');
        while (count > 0) Put(digits[--count]);
    }
    void PutUnknown(std::size_t count) noexcept {
        for (std::size_t i = 0; i < count; ++i) Put(L'?');
    }
    std::size_t GetLength() const noexcept { return m_length; }

private:
    wchar_t* m_buffer;
    std::size_t m_capacity;
    std::size_t m_length = 0;
};

constexpr long long kPowersOfTen[kMaxFractionDigits + 1] = {
    1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000, 1000000000};

std::size_t FormatFields(const std::vector<DateTimeFormatToken>& tokens,
                         const DateTimeFields& fields, wchar_t* buffer,
                         std::size_t capacity) noexcept {
    TextWriter writer(buffer, capacity);
    const bool monthValid = fields.month >= 1 && fields.month <= 12;
    const bool dateValid = XTDate::IsValidDate(fields.year, fields.month, fields.day);
    int dayOfYear = 0;
    int dayOfWeek = 0;
    if (dateValid) {
        const XTDate date{static_cast<int16>(fields.year), static_cast<uint16>(fields.month),
                          static_cast<uint16>(fields.day)};
        dayOfYear = date.GetDayOfYear();
        dayOfWeek = date.GetDayOfWeek();
    }
    for (const DateTimeFormatToken& token : tokens) {
        if (token.isLiteral_) {
            writer.Put(token.literal_);
            continue;
        }
        switch (token.type_) {
            case IntYear2Type: writer.PutNumber((fields.year % 100 + 100) % 100, 2); break;
            case IntYear4Type: writer.PutNumber(fields.year, 4); break;
            case IntMonthType: writer.PutNumber(fields.month, 2); break;
            case CharShortMonthType:
                if (monthValid) {
                    writer.PutText(kMonthNames[fields.month - 1].substr(0, kShortNameLength));
                } else {
                    writer.PutUnknown(kShortNameLength);
                }
                break;
            case CharLongMonthType:
                if (monthValid) {
                    writer.PutText(kMonthNames[fields.month - 1]);
                } else {
                    writer.PutUnknown(kShortNameLength);
                }
                break;
            case IntDayOfYearType: writer.PutNumber(dayOfYear, 3); break;
            case IntWeekOfYearType:
                writer.PutNumber(dateValid ? WeekOfYear(dayOfYear) : 0, 2);
                break;
            case IntMonthDayType: writer.PutNumber(fields.day, 2); break;
            case CharShortDOWType:
                if (dateValid) {
                    writer.PutText(kDayNames[dayOfWeek].substr(0, kShortNameLength));
                } else {
                    writer.PutUnknown(kShortNameLength);
                }
                break;
            case CharLongDOWType:
                if (dateValid) {
                    writer.PutText(kDayNames[dayOfWeek]);
                } else {
                    writer.PutUnknown(kShortNameLength);
                }
                break;
            case CharAmPmType: writer.PutText(kAmPmNames[fields.hour >= 12 ? 1 : 0]); break;
            case IntHourType:
                if (token.twelveHour_) {
                    const int hour = fields.hour % 12;
                    writer.PutNumber(hour == 0 ? 12 : hour, 2);
                } else {
                    writer.PutNumber(fields.hour, 2);
                }
                break;
            case IntMinuteType: writer.PutNumber(fields.minute, 2); break;
            case IntSecondType: writer.PutNumber(fields.second, 2); break;
            case IntMilliSecondType:
            case IntNanoSecondType:
            case IntFractionalSecondType:
                writer.PutNumber(
                    fields.nanosecond / kPowersOfTen[kMaxFractionDigits - token.width_],
                    token.width_);
                break;
        }
    }
    return writer.GetLength();
}

void FormatFieldsInto(const std::vector<DateTimeFormatToken>& tokens, const DateTimeFields& fields,
                      XTString& text) {
    wchar_t local[64];
    const std::size_t length = FormatFields(tokens, fields, local, std::size(local));
    if (length <= std::size(local)) {
        text.assign(local, length);
    } else {
        text.resize(length);
        FormatFields(tokens, fields, text.data(), length);
    }
}

}  // namespace

void DateTimeMetaData::SetDateTimeFormat(const XTString& format) {
    std::vector<DateTimeFormatToken> tokens;
    tokens.reserve(format.size());
    std::vector<std::size_t> hoursOnFormatClock;
    bool hasAmPm = false;
    std::size_t position = 0;
    while (position < format.size()) {
        const wchar_t c = format[position];
        if (c == L'"') {
            ++position;
            while (position < format.size() && format[position] != L'"') {
                if (format[position] == L'\\' && ++position == format.size()) break;
                tokens.push_back(MakeLiteral(format[position++]));
            }
            if (position >= format.size()) ThrowInvalidFormat(format);  // unterminated quote
            ++position;
            continue;
        }
        if (c == L'\\') {
            if (position + 1 == format.size()) ThrowInvalidFormat(format);
            tokens.push_back(MakeLiteral(format[position + 1]));
            position += 2;
            continue;
        }
        if (ToLowerAscii(c) == L'f') {
            std::size_t count = 0;
            while (position + count < format.size() &&
                   ToLowerAscii(format[position + count]) == L'f')
                ++count;
            if (count > kMaxFractionDigits) ThrowInvalidFormat(format);
            const EnDateTimeFormatType type = count == 3   ? IntMilliSecondType
                                              : count == 9 ? IntNanoSecondType
                                                           : IntFractionalSecondType;
            tokens.push_back(MakeField(type, static_cast<uint16>(count), false));
            position += count;
            continue;
        }
        const TokenSpelling* match = nullptr;
        for (const TokenSpelling& spelling : kTokenSpellings) {
            if (StartsWithIgnoringCase(format, position, spelling.text)) {
                match = &spelling;
                break;
            }
        }
        if (match == nullptr) {
            tokens.push_back(MakeLiteral(c));
            ++position;
            continue;
        }
        if (match->type == IntHourType && match->hourClock == 0) {
            hoursOnFormatClock.push_back(tokens.size());
        }
        hasAmPm = hasAmPm || match->type == CharAmPmType;
        tokens.push_back(MakeField(match->type, match->width, match->hourClock == 12));
        position += match->text.size();
    }
    // "hh" is on the 12-hour clock exactly when the format has a meridiem.
    for (std::size_t index : hoursOnFormatClock) tokens[index].twelveHour_ = hasAmPm;

    std::size_t totalLength = 0;
    bool hasDateFields = false;
    bool hasTimeFields = false;
    for (const DateTimeFormatToken& token : tokens) {
        totalLength += token.width_;
        if (token.isLiteral_) continue;
        (IsDateField(token.type_) ? hasDateFields : hasTimeFields) = true;
    }
    if (!hasDateFields && !hasTimeFields) ThrowInvalidFormat(format);

    tokens.shrink_to_fit();
    m_format = format;
    m_tokens = std::move(tokens);
    m_totalFormatLength = totalLength;
    m_hasDateFields = hasDateFields;
    m_hasTimeFields = hasTimeFields;
}

void DateTimeMetaData::Convert(const XTDate& date, XTString& text) const {
    FormatFieldsInto(m_tokens, FieldsOf(date), text);
}

void DateTimeMetaData::Convert(const XTTime& time, XTString& text) const {
    FormatFieldsInto(m_tokens, FieldsOf(time), text);
}

void DateTimeMetaData::Convert(const XTDateTime& dateTime, XTString& text) const {
    FormatFieldsInto(m_tokens, FieldsOf(dateTime), text);
}

std::size_t DateTimeMetaData::Convert(const XTDate& date, wchar_t* buffer,
                                      std::size_t capacity) const noexcept {
    return FormatFields(m_tokens, FieldsOf(date), buffer, capacity);
}

std::size_t DateTimeMetaData::Convert(const XTTime& time, wchar_t* buffer,
                                      std::size_t capacity) const noexcept {
    return FormatFields(m_tokens, FieldsOf(time), buffer, capacity);
}

std::size_t DateTimeMetaData::Convert(const XTDateTime& dateTime, wchar_t* buffer,
                                      std::size_t capacity) const noexcept {
    return FormatFields(m_tokens, FieldsOf(dateTime), buffer, capacity);
}
