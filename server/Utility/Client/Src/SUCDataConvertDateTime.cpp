// The date and time converters: Date, Time, DateTime and TimeStamp among each
// other and to and from text, through the default formats or, when the
// regional switch is on, the operating system's locale.
#include <concepts>

#include "SUCDataConvertText.h"
#include "Utility/Generic/SUGLocaleDateTime.h"
#include "Utility/Generic/SUGSystemUtility.h"

namespace xts::convert {

// The record of each date and time word.
template <class Word>
struct RecordOf;
template <>
struct RecordOf<word::Date> {
    using Type = XTDate;
};
template <>
struct RecordOf<word::Time> {
    using Type = XTTime;
};
template <>
struct RecordOf<word::DateTime> {
    using Type = XTDateTime;
};
template <>
struct RecordOf<word::TimeStamp> {
    using Type = XTDateTime;
};

template <class Word>
using Record = typename RecordOf<Word>::Type;

template <class Word>
concept DateTimeWord = requires {
    typename RecordOf<Word>::Type;
};

namespace {

// The default format object for a record type.
const DateTimeMetaData& DefaultFormat(const XTDate&) {
    return SUDataConvert::GetDefaultDateMetaData();
}
const DateTimeMetaData& DefaultFormat(const XTTime&) {
    return SUDataConvert::GetDefaultTimeMetaData();
}
const DateTimeMetaData& DefaultFormat(const XTDateTime&) {
    return SUDataConvert::GetDefaultDateTimeMetaData();
}

int ToRegional(const XTDate& value, XTString& out) {
    return SUDataConvert::ConvertDateToRegional(value, out);
}
int ToRegional(const XTTime& value, XTString& out) {
    return SUDataConvert::ConvertTimeToRegional(value, out);
}
int ToRegional(const XTDateTime& value, XTString& out) {
    return SUDataConvert::ConvertDateTimeToRegional(value, out);
}

// The text of a record: regional when the switch is on and the locale
// formatter succeeds, else by the default format. Formats into `buffer`
// without allocating in the common case; returns the text.
template <class Value>
std::wstring_view FormatRecord(const Value& value, wchar_t* buffer, std::size_t capacity,
                               XTString& spill) {
    if (SUDataConvert::GetRegionalSetting() && ToRegional(value, spill) != 0) return spill;
    const std::size_t length = DefaultFormat(value).Convert(value, buffer, capacity);
    if (length <= capacity) return std::wstring_view(buffer, length);
    DefaultFormat(value).Convert(value, spill);
    return spill;
}

// Writes the text of a date or time into a text target.
template <class Target>
void WriteRecordText(ConvertCall& call, std::wstring_view text) {
    if (call.toLength < 2) return TooSmallFixed(call, kIsWideWord<Target>);
    if constexpr (kIsWideWord<Target>) {
        // Cut to toLength characters, padded to toLength, zero unit at index toLength.
        const uint32 count =
            text.size() < call.toLength ? static_cast<uint32>(text.size()) : call.toLength;
        wchar_t* units = WideTarget(call.to);
        std::memcpy(units, text.data(), count * sizeof(wchar_t));
        FillWide(units + count, L' ', call.toLength - count);
        units[call.toLength] = 0;
        call.returnLength = call.toLength;
    } else {
        // Cut to toLength - 1 characters, encoded, terminated, not padded.
        const uint32 room = call.toLength - 1;
        const uint32 count = text.size() < room ? static_cast<uint32>(text.size()) : room;
        auto* out = reinterpret_cast<char*>(call.to);
        const int32 bytes = XTCharToChar(call.params, text.data(), count, out, room);
        out[bytes] = 0;
        call.returnLength = static_cast<uint64>(bytes);
    }
    call.toIsNull = 0;
}

}  // namespace

// A date or time into text.
template <DateTimeWord Source, TextWord Target>
struct ConvertOp<Source, Target> : FixedWidthNulls<0> {
    static void Convert(ConvertCall& call) {
        if (call.toLength < 2) return TooSmallFixed(call, kIsWideWord<Target>);
        const Record<Source> value = Load<Record<Source>>(call.from);
        wchar_t buffer[128];
        XTString spill;
        WriteRecordText<Target>(call, FormatRecord(value, buffer, std::size(buffer), spill));
    }
    static void NullToPlain(ConvertCall& call) {
        if constexpr (kIsWideWord<Target>)
            NullIntoWideChar(call);
        else
            NullIntoNarrowChar(call);
    }
};

namespace {

// Completes a short time or date-time text from the client's buffer to the
// length of the default format: a separator where the text the format writes
// holds ':', ' ' or '.', a '0' elsewhere. Positions are those of the written
// text (each token its width, each literal one), not of the format's own
// characters, which differ for tokens spelt longer than they write ("hh24")
// and for quoted literals. Texts shorter than the minimum are left alone.
template <class Value>
uint32 CompleteShortText(wchar_t* text, uint32 length, uint32 capacity) {
    const DateTimeMetaData& format = DefaultFormat(Value{});
    const auto total = static_cast<uint32>(format.GetTotalFormatLength());
    uint32 minimum = 8;
    if constexpr (std::same_as<Value, XTDateTime>)
        minimum =
            static_cast<uint32>(SUDataConvert::GetDefaultDateMetaData().GetTotalFormatLength());
    if (length < minimum || length >= total || total > capacity) return length;
    uint32 position = 0;
    for (const DateTimeFormatToken& token : format.GetTokens()) {
        for (uint32 i = 0; i < token.width_ && position < total; ++i, ++position) {
            if (position < length) continue;
            const wchar_t c = token.isLiteral_ ? token.literal_ : L'0';
            text[position] = (c == L':' || c == L' ' || c == L'.') ? c : L'0';
        }
    }
    return total;
}

}  // namespace

// Text into a date or time, parsed by the default format of the target. The
// blanks that pad a fixed text are not part of the value.
template <TextWord Source, DateTimeWord Target>
struct ConvertOp<Source, Target> : FixedWidthNulls<sizeof(Record<Target>)> {
    static void Convert(ConvertCall& call) {
        WideScratch scratch(1);
        SourceText text = ReadSource<Source>(call, scratch);
        if constexpr (kTextLayout<Source> == TextLayout::kFixed)
            text = Trimmed(text, TrimRule::kBlanks);
        if (text.isNull || text.IsEmpty()) {
            call.toIsNull = 1;
            call.returnLength = 0;
            return;
        }
        constexpr uint32 kInline = 256;
        AutoBuffer<wchar_t, kInline> wide(text.length + 64 <= kInline ? kInline : text.length + 64);
        uint32 length = TranscodeToWide(call.params, text, wide.Get(), text.length);
        if constexpr (std::same_as<Source, word::ExternalChar> && !std::same_as<Target, word::Date>)
            length = CompleteShortText<Record<Target>>(wide.Get(), length,
                                                       static_cast<uint32>(wide.size()));
        Record<Target> value{};
        DefaultFormat(value).Convert(std::wstring_view(wide.Get(), length), value);
        Store(call.to, value);
        call.toIsNull = 0;
        call.returnLength = sizeof(Record<Target>);
    }
};

// Dates and times among each other: a copy of the same record, or the
// cross-type assignment that keeps the fields the target has.
template <DateTimeWord Source, DateTimeWord Target>
struct ConvertOp<Source, Target> : FixedWidthNulls<sizeof(Record<Target>)> {
    static void Convert(ConvertCall& call) {
        Record<Target> value{};
        value = Load<Record<Source>>(call.from);
        Store(call.to, value);
        call.toIsNull = 0;
        call.returnLength = sizeof(Record<Target>);
    }
};

}  // namespace xts::convert

// ---------------------------------------------------------------------------
// Regional formatting.

namespace {

// Appends the text a locale formatter wrote; returns its result.
int AppendLocale(LocaleDateTimeFormatter_t formatter, const XTSystemTime& time, XTString& out) {
    wchar_t buffer[kLocaleDateTimeBufferLength];
    const int result = formatter(time, buffer, kLocaleDateTimeBufferLength);
    if (result != 0) out.append(buffer, std::wcslen(buffer));
    return result;
}

}  // namespace

int SUDataConvert::ConvertDateToRegional(const XTDate& date, XTString& out) {
    out.clear();
    return AppendLocale(g_pfnLocaleDateFormatter, MakeSystemTime(date), out);
}

int SUDataConvert::ConvertTimeToRegional(const XTTime& time, XTString& out) {
    out.clear();
    return AppendLocale(g_pfnLocaleTimeFormatter, MakeSystemTime(time), out);
}

int SUDataConvert::ConvertDateTimeToRegional(const XTDateTime& dateTime, XTString& out) {
    out.clear();
    const XTSystemTime time = MakeSystemTime(dateTime);
    if (AppendLocale(g_pfnLocaleDateFormatter, time, out) == 0) return 0;
    out.push_back(L' ');
    return AppendLocale(g_pfnLocaleTimeFormatter, time, out);
}

XT_DEFINE_CONVERTERS(XT_DATETIME_CONVERTERS)
