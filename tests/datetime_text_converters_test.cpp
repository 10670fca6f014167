// Text into dates and times: the text words and codes, the completion of
// short texts from the client's buffers, the errors with their arguments, and
// other default formats in both directions.
#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "CountingAllocator.h"
#include "DateTimeConverterTestSupport.h"

namespace {

using namespace xts::test;

// ---------------------------------------------------------------------------
// Text into dates and times.

// How a row's source text is given.
enum class Encoding {
    kNarrowDefault,  // narrow, code 0 (the default code page: UTF-8 in the C locale)
    kNarrowUtf8,     // narrow, code 2
    kWide,           // 32-bit units (code 1 for the narrow words)
    kWide16,         // 16-bit units (code 3 for the narrow words, bTwoByteToFourByte for the wide)
};

SourceBuffer EncodedSource(Side side, Encoding encoding, std::wstring_view text,
                           DataConvertParams& params) {
    const TextShape shape = side == Side::kVarXTChar      ? TextShape::kVariable
                            : side == Side::kExternalChar ? TextShape::kExternal
                                                          : TextShape::kFixed;
    const bool narrowWord = side == Side::kChar || side == Side::kExternalChar;
    switch (encoding) {
        case Encoding::kNarrowDefault:
        case Encoding::kNarrowUtf8:
            params.charDataFromDataCode =
                encoding == Encoding::kNarrowUtf8 ? kCharDataNarrowUTF8Code : kCharDataNarrowCode;
            return SourceBuffer::Narrow(shape, Utf8(text));
        case Encoding::kWide:
            if (narrowWord) params.charDataFromDataCode = kCharDataUniCode;
            return SourceBuffer::Wide(shape, text);
        case Encoding::kWide16:
            if (narrowWord)
                params.charDataFromDataCode = kCharDataUTF16;
            else
                params.bTwoByteToFourByte = true;
            std::u16string units;
            for (const wchar_t unit : text)
                units += static_cast<char16_t>(unit);
            return SourceBuffer::Wide16(shape, units);
    }
    return {};
}

struct TextRow {
    const char* name;
    const char* converter;
    Encoding encoding;
    std::wstring text;
    std::vector<unsigned char> expected;  // empty: the text raises 46301
    std::wstring errorText = L"";         // the text argument of 46301
};

void PrintTo(const TextRow& row, std::ostream* out) {
    *out << row.name;
}

class TextIntoDateTime : public ::testing::TestWithParam<TextRow> {};

TEST_P(TextIntoDateTime, ParsesOrRaises) {
    const TextRow& row = GetParam();
    const FamilyMember member = MemberNamed(row.converter);
    ASSERT_NE(member.function, nullptr);
    DataConvertParams params;
    const SourceBuffer source = EncodedSource(member.source, row.encoding, row.text, params);
    const uint32 size = RecordSize(member.target);
    GuardedBuffer to(size);
    uint8 toIsNull = kUnsetNull;
    uint64 returnLength = kUnsetLength;
    const std::optional<ErrorMessage> error = ErrorOf([&] {
        member.function(params, source.data(), source.fromLength(), 0, to.data(), size, toIsNull,
                        returnLength);
    });
    EXPECT_TRUE(to.GuardsIntact());
    if (!row.expected.empty()) {
        ASSERT_FALSE(error.has_value()) << error->what();
        EXPECT_EQ(BytesAt(to, size), row.expected);
        EXPECT_EQ(toIsNull, 0);
        EXPECT_EQ(returnLength, size);
        return;
    }
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->GetCode(), kMsgInvalidDateTimeText);
    EXPECT_EQ(error->GetArguments(),
              (std::vector<XTString>{row.errorText, DefaultFormatOf(member.target)}));
    EXPECT_TRUE(to.Untouched());
    EXPECT_EQ(toIsNull, kUnsetNull);
    EXPECT_EQ(returnLength, kUnsetLength);
}

using E = Encoding;

INSTANTIATE_TEST_SUITE_P(
    Parsed, TextIntoDateTime,
    ::testing::Values(
        TextRow{"NarrowDate", "ConvertCharToDate", E::kNarrowDefault, L"2024/03/05", Bytes(kDate)},
        TextRow{"Utf8DateWithShortFields", "ConvertCharToDate", E::kNarrowUtf8, L"2024/3/5",
                Bytes(kDate)},
        TextRow{"LastDate", "ConvertCharNullableToDateNullable", E::kNarrowUtf8, L"9999/12/31",
                Bytes(XTDate{9999, 12, 31})},
        TextRow{"FirstDateWide", "ConvertXTCharToDate", E::kWide, L"0001/01/01",
                Bytes(XTDate{1, 1, 1})},
        TextRow{"NarrowTime", "ConvertCharToTime", E::kNarrowDefault, kTimeText, Bytes(kTime)},
        TextRow{"ShortFractionIsADecimalFraction", "ConvertCharNullableToTime", E::kNarrowDefault,
                L"12:30:45.12", Bytes(XTTime{12, 30, 45, 0, 120000000})},
        TextRow{"OneNanosecond", "ConvertCharToTime", E::kNarrowUtf8, L"00:00:00.000000001",
                Bytes(XTTime{0, 0, 0, 0, 1})},
        TextRow{"TwoByteUnitsIntoTime", "ConvertXTCharToTime", E::kWide16, L"23:59:59.5",
                Bytes(XTTime{23, 59, 59, 0, 500000000})},
        TextRow{"LeapDay", "ConvertCharToDateTime", E::kNarrowUtf8,
                L"2024/02/29 23:59:59.999999999",
                Bytes(XTDateTime{2024, 2, 29, 23, 59, 59, 999999999})},
        TextRow{"VariableWide", "ConvertVarXTCharToDateTime", E::kWide, kDateTimeText,
                Bytes(kDateTime)},
        TextRow{"VariableTwoByte", "ConvertVarXTCharNullableToTimeNullable", E::kWide16,
                L"01:02:03.4", Bytes(XTTime{1, 2, 3, 0, 400000000})},
        TextRow{"ClientDate", "ConvertExternalCharToDate", E::kNarrowDefault, kDateText,
                Bytes(kDate)},
        // The client's buffers: short times and date-times are completed.
        TextRow{"TimeCompleted", "ConvertExternalCharToTime", E::kNarrowUtf8, L"12:30:45",
                Bytes(XTTime{12, 30, 45, 0, 0})},
        TextRow{"TimeWithShortFractionCompleted", "ConvertExternalCharToTime", E::kNarrowDefault,
                L"12:30:45.5", Bytes(XTTime{12, 30, 45, 0, 500000000})},
        TextRow{"WideTimeCompleted", "ConvertExternalCharToTime", E::kWide, L"12:30:45",
                Bytes(XTTime{12, 30, 45, 0, 0})},
        TextRow{"Utf16TimeCompleted", "ConvertExternalCharNullableToTimeNullable", E::kWide16,
                L"07:08:09", Bytes(XTTime{7, 8, 9, 0, 0})},
        TextRow{"FullTimeUnchanged", "ConvertExternalCharToTime", E::kNarrowUtf8, kTimeText,
                Bytes(kTime)},
        TextRow{"DateCompletedToMidnight", "ConvertExternalCharToDateTime", E::kNarrowUtf8,
                L"2024/03/05", Bytes(XTDateTime{2024, 3, 5, 0, 0, 0, 0})},
        TextRow{"MinutesCompleted", "ConvertExternalCharToDateTime", E::kNarrowDefault,
                L"2024/03/05 12:30", Bytes(XTDateTime{2024, 3, 5, 12, 30, 0, 0})},
        TextRow{"HourCompleted", "ConvertExternalCharToDateTime", E::kNarrowUtf8, L"2024/03/05 12",
                Bytes(XTDateTime{2024, 3, 5, 12, 0, 0, 0})},
        TextRow{"WideSecondsCompleted", "ConvertExternalCharToDateTime", E::kWide,
                L"2024/03/05 12:30:45", Bytes(XTDateTime{2024, 3, 5, 12, 30, 45, 0})},
        TextRow{"Utf16MinutesCompleted", "ConvertExternalCharNullableToDateTimeNullable",
                E::kWide16, L"2024/03/05 12:30", Bytes(XTDateTime{2024, 3, 5, 12, 30, 0, 0})},
        TextRow{"FullDateTimeUnchanged", "ConvertExternalCharToDateTime", E::kNarrowUtf8,
                kDateTimeText, Bytes(kDateTime)}),
    [](const auto& info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Refused, TextIntoDateTime,
    ::testing::Values(
        // Only the client's buffers are completed, and only from 8 (time) or
        // 10 (date-time) characters on; dates never.
        TextRow{"CharTimeNotCompleted",
                "ConvertCharToTime",
                E::kNarrowDefault,
                L"12:30:45",
                {},
                L"12:30:45"},
        TextRow{"VariableNotCompleted",
                "ConvertVarXTCharToDateTime",
                E::kWide,
                L"2024/03/05 12:30:45",
                {},
                L"2024/03/05 12:30:45"},
        TextRow{"ShortTimeNotCompleted",
                "ConvertExternalCharToTime",
                E::kNarrowUtf8,
                L"12:30",
                {},
                L"12:30"},
        TextRow{"DateNotCompleted",
                "ConvertExternalCharToDate",
                E::kNarrowUtf8,
                L"2024/03",
                {},
                L"2024/03"},
        TextRow{"ShortDateTimeNotCompleted",
                "ConvertExternalCharToDateTime",
                E::kNarrowUtf8,
                L"2024/3/5",
                {},
                L"2024/3/5"},
        // The error names the completed text.
        TextRow{"CompletedHour25",
                "ConvertExternalCharToTime",
                E::kNarrowUtf8,
                L"25:00:00",
                {},
                L"25:00:00.000000000"},
        // Completion follows the positions of the format, so short fields
        // leave the separators in the wrong places.
        TextRow{"CompletionByPosition",
                "ConvertExternalCharToDateTime",
                E::kNarrowUtf8,
                L"2024/3/5 1:2",
                {},
                L"2024/3/5 1:20:00:00.000000000"},
        // Fields out of range.
        TextRow{
            "Month13", "ConvertCharToDate", E::kNarrowDefault, L"2024/13/05", {}, L"2024/13/05"},
        TextRow{"Month0", "ConvertXTCharToDate", E::kWide, L"2024/00/05", {}, L"2024/00/05"},
        TextRow{"Day0", "ConvertCharToDate", E::kNarrowUtf8, L"2024/03/00", {}, L"2024/03/00"},
        TextRow{"NoLeapDay",
                "ConvertCharToDateTime",
                E::kNarrowUtf8,
                L"2023/02/29 00:00:00.0",
                {},
                L"2023/02/29 00:00:00.0"},
        TextRow{"Hour25",
                "ConvertCharToTime",
                E::kNarrowUtf8,
                L"25:30:45.000000000",
                {},
                L"25:30:45.000000000"},
        TextRow{"Minute60", "ConvertXTCharToTime", E::kWide, L"12:60:00.0", {}, L"12:60:00.0"},
        TextRow{"Second60",
                "ConvertExternalCharToTime",
                E::kNarrowUtf8,
                L"23:59:60",
                {},
                L"23:59:60.000000000"},
        // Truncated or overlong fractions.
        TextRow{"FractionWithoutDigits",
                "ConvertCharToTime",
                E::kNarrowUtf8,
                L"12:30:45.",
                {},
                L"12:30:45."},
        TextRow{"TenFractionDigits",
                "ConvertCharToTime",
                E::kNarrowUtf8,
                L"12:30:45.1234567890",
                {},
                L"12:30:45.1234567890"},
        TextRow{"DateTimeWithoutFraction",
                "ConvertCharToDateTime",
                E::kNarrowUtf8,
                L"2024/03/05 12:30:45",
                {},
                L"2024/03/05 12:30:45"},
        // Texts that do not match the format.
        TextRow{"OtherSeparator",
                "ConvertCharToDate",
                E::kNarrowUtf8,
                L"2024-03-05",
                {},
                L"2024-03-05"},
        TextRow{
            "LeadingBlank", "ConvertXTCharToDate", E::kWide, L" 2024/03/05", {}, L" 2024/03/05"},
        TextRow{"DateTimeTextIntoDate",
                "ConvertXTCharToDate",
                E::kWide,
                kDateTimeText,
                {},
                kDateTimeText},
        TextRow{"LetterT",
                "ConvertCharToDateTime",
                E::kNarrowUtf8,
                L"2024/03/05T12:30:45.0",
                {},
                L"2024/03/05T12:30:45.0"},
        TextRow{"FullWidthDigits",
                "ConvertExternalCharToDate",
                E::kWide,
                L"\uFF12\uFF10\uFF12\uFF14/03/05",
                {},
                L"\uFF12\uFF10\uFF12\uFF14/03/05"},
        // Narrow text is decoded with the source's code before parsing.
        TextRow{"DecodedUtf8",
                "ConvertCharToDate",
                E::kNarrowUtf8,
                L"2024/03/05\u00e9",
                {},
                L"2024/03/05\u00e9"},
        TextRow{"DecodedDefaultCode",
                "ConvertExternalCharToDate",
                E::kNarrowDefault,
                L"\u00e92024/03/05",
                {},
                L"\u00e92024/03/05"}),
    [](const auto& info) { return std::string(info.param.name); });

// A narrow text that does not decode in its code is refused as well.
TEST(TextIntoDateTimeUndecodable, InvalidUtf8Raises) {
    const SourceBuffer source = SourceBuffer::Narrow(TextShape::kFixed, "2024/03/0\xFF");
    GuardedBuffer to(6);
    uint8 toIsNull = kUnsetNull;
    uint64 returnLength = kUnsetLength;
    const std::optional<ErrorMessage> error = ErrorOf([&] {
        SUDataConvert::ConvertCharToDate(NarrowParams(kCharDataNarrowUTF8Code), source.data(),
                                         source.fromLength(), 0, to.data(), 6, toIsNull,
                                         returnLength);
    });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->GetCode(), kMsgInvalidDateTimeText);
    EXPECT_TRUE(to.Untouched());
    EXPECT_EQ(toIsNull, kUnsetNull);
}

// A fixed text ends at its first terminator within fromLength; the client's
// buffer holds exactly fromLength units.
TEST(TextIntoDateTimeLayouts, FixedTextEndsAtTheTerminatorClientTextAtItsLength) {
    const std::string padded = std::string("2024/03/05") + '\0' + "garbage";
    const SourceBuffer fixed = SourceBuffer::Narrow(TextShape::kFixed, padded);
    GuardedBuffer to(6);
    ConvertResult result =
        Call(SUDataConvert::ConvertCharToDate, DataConvertParams{}, fixed, 0, to, 6);
    EXPECT_EQ(BytesAt(to, 6), Bytes(kDate));
    EXPECT_EQ(result.length, 6u);

    const SourceBuffer client = SourceBuffer::Narrow(TextShape::kExternal, "12:30:45.5xyz");
    GuardedBuffer time(12);
    result = Call(SUDataConvert::ConvertExternalCharToTime, DataConvertParams{}, client.data(), 10,
                  0, time.data(), 12);
    EXPECT_EQ(BytesAt(time, 12), Bytes(XTTime{12, 30, 45, 0, 500000000}));
    EXPECT_EQ(result.length, 12u);
}

TEST(TextIntoDateTimeAllocation, ParsingAllocatesNothing) {
    const SourceBuffer narrow =
        SourceBuffer::Narrow(TextShape::kExternal, Utf8(L"2024/03/05 12:30"));
    const SourceBuffer wide = SourceBuffer::Wide(TextShape::kVariable, kDateTimeText);
    GuardedBuffer to(16);
    const xts::test::AllocationCounter counter;
    Call(SUDataConvert::ConvertExternalCharToDateTime, DataConvertParams{}, narrow, 0, to, 16);
    Call(SUDataConvert::ConvertVarXTCharToDateTime, DataConvertParams{}, wide, 0, to, 16);
    EXPECT_EQ(counter.Count(), 0u);
    EXPECT_EQ(BytesAt(to, 16), Bytes(kDateTime));
}

// ---------------------------------------------------------------------------
// Other default formats.

// Replaces the default formats for one test and puts the library's back.
class OtherDefaultFormats : public ::testing::Test {
  protected:
    void SetUp() override { Use(L"dd.mm.yyyy", L"hh24.mi.ss", L"dd.mm.yyyy hh24:mi:ss"); }
    void TearDown() override { Use(kDateFormat, kTimeFormat, kDateTimeFormat); }

    static void Use(XTString date, XTString time, XTString dateTime) {
        SUDataConvert::InitializeMetaData(date, time, dateTime);
    }

    static std::string ToChar(DataConvert_t convert, const std::vector<unsigned char>& record) {
        GuardedBuffer to(40);
        const ConvertResult result =
            Call(convert, DataConvertParams{}, RecordSource(record), 0, to, 40);
        return to.Narrow(0, result.length);
    }

    template <class Record>
    static Record FromText(DataConvert_t convert, std::wstring_view text) {
        const SourceBuffer source = SourceBuffer::Narrow(TextShape::kExternal, Utf8(text));
        GuardedBuffer to(sizeof(Record));
        Call(convert, DataConvertParams{}, source, 0, to, sizeof(Record));
        Record record;
        std::memcpy(&record, to.data(), sizeof record);
        return record;
    }
};

TEST_F(OtherDefaultFormats, FormatWithTheNewFormats) {
    EXPECT_EQ(ToChar(SUDataConvert::ConvertDateToChar, Bytes(kDate)), "05.03.2024");
    EXPECT_EQ(ToChar(SUDataConvert::ConvertTimeToChar, Bytes(kTime)), "12.30.45");
    EXPECT_EQ(ToChar(SUDataConvert::ConvertDateTimeToExternalChar, Bytes(kDateTime)),
              "05.03.2024 12:30:45");
    GuardedBuffer wide(4 * 9);
    Call(SUDataConvert::ConvertTimeStampNullableToDateTimeNullable, DataConvertParams{},
         RecordSource(Bytes(kDateTime)), 0, wide, 16);
    Call(SUDataConvert::ConvertTimeToXTChar, DataConvertParams{}, RecordSource(Bytes(kTime)), 0,
         wide, 8);
    EXPECT_EQ(wide.Wide(0, 9), std::wstring(L"12.30.45") + L'\0');
}

TEST_F(OtherDefaultFormats, ParseWithTheNewFormats) {
    EXPECT_EQ(FromText<XTDate>(SUDataConvert::ConvertExternalCharToDate, L"05.03.2024"), kDate);
    EXPECT_EQ(FromText<XTTime>(SUDataConvert::ConvertCharToTime, L"12.30.45"),
              (XTTime{12, 30, 45, 0, 0}));
    EXPECT_EQ(
        FromText<XTDateTime>(SUDataConvert::ConvertExternalCharToDateTime, L"05.03.2024 12:30:45"),
        (XTDateTime{2024, 3, 5, 12, 30, 45, 0}));
    // The old text no longer matches, and the error names the new format.
    const SourceBuffer source = SourceBuffer::Narrow(TextShape::kFixed, "2024/03/05");
    GuardedBuffer to(6);
    const std::optional<ErrorMessage> error = ErrorOf(
        [&] { Call(SUDataConvert::ConvertCharToDate, DataConvertParams{}, source, 0, to, 6); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->GetArguments(), (std::vector<XTString>{L"2024/03/05", L"dd.mm.yyyy"}));
}

// Completion follows the text the format writes, whose positions differ from
// the format's own characters when a token is spelt longer than it writes
// ("hh24" writes two digits).
TEST_F(OtherDefaultFormats, CompletionFollowsTheNewFormat) {
    EXPECT_EQ(FromText<XTDateTime>(SUDataConvert::ConvertExternalCharToDateTime, L"05.03.2024"),
              (XTDateTime{2024, 3, 5, 0, 0, 0, 0}));
    EXPECT_EQ(
        FromText<XTDateTime>(SUDataConvert::ConvertExternalCharToDateTime, L"05.03.2024 12:30"),
        (XTDateTime{2024, 3, 5, 12, 30, 0, 0}));
    EXPECT_EQ(FromText<XTDateTime>(SUDataConvert::ConvertExternalCharToDateTime, L"05.03.2024 12"),
              (XTDateTime{2024, 3, 5, 12, 0, 0, 0}));
    // The new time format writes 8 characters: a text of 8 is complete.
    EXPECT_EQ(FromText<XTTime>(SUDataConvert::ConvertExternalCharToTime, L"07.08.09"),
              (XTTime{7, 8, 9, 0, 0}));
}

TEST_F(OtherDefaultFormats, QuotedLiteralsAreCompletedWhereTheyAreWritten) {
    Use(L"yyyy/mm/dd", L"hh:mi:ss.fff", L"yyyy/mm/dd \"at\" hh:mi:ss");
    // The format has 25 characters and writes 22: "2024/03/05 at 12:30:00".
    EXPECT_EQ(SUDataConvert::GetDefaultDateTimeMetaData().GetTotalFormatLength(), 22u);
    EXPECT_EQ(
        FromText<XTDateTime>(SUDataConvert::ConvertExternalCharToDateTime, L"2024/03/05 at 12:30"),
        (XTDateTime{2024, 3, 5, 12, 30, 0, 0}));
    EXPECT_EQ(FromText<XTTime>(SUDataConvert::ConvertExternalCharToTime, L"12:30:45"),
              (XTTime{12, 30, 45, 0, 0}));
    EXPECT_EQ(FromText<XTTime>(SUDataConvert::ConvertExternalCharToTime, L"12:30:45.5"),
              (XTTime{12, 30, 45, 0, 500000000}));
}

TEST_F(OtherDefaultFormats, RestoringTheDefaultsRestoresTheConversions) {
    Use(kDateFormat, kTimeFormat, kDateTimeFormat);
    EXPECT_EQ(ToChar(SUDataConvert::ConvertDateToChar, Bytes(kDate)), "2024/03/05");
    EXPECT_EQ(FromText<XTTime>(SUDataConvert::ConvertExternalCharToTime, L"12:30:45"),
              (XTTime{12, 30, 45, 0, 0}));
}

}  // namespace
