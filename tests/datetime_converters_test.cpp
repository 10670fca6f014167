// The date and time converters: every converter of the family with its null
// forms, small capacities and write extents; dates into text; dates among each
// other; round trips of many generated values. Text into dates is tested in
// datetime_text_converters_test.cpp, regional formatting in
// datetime_regional_converters_test.cpp.
#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "CountingAllocator.h"
#include "DateTimeConverterTestSupport.h"

namespace {

using namespace xts::test;

TEST(DateTimeFamily, HasEveryConverterOfTheList) {
    const std::vector<FamilyMember> family = Family();
    // 13 pairs of records and records into text in three forms, DateTime and
    // TimeStamp into the client's buffer in two, TimeStamp to DateTime in
    // three, 9 text words into dates in three and ExternalChar in two.
    EXPECT_EQ(family.size(), 13u * 3 + 2 * 2 + 3 + 9 * 3 + 3 * 2);
    for (const FamilyMember& member : family)
        EXPECT_NE(member.function, nullptr) << member.name;
}

class DateTimeFamilySample : public ::testing::TestWithParam<FamilyMember> {};

// Converts the sample value (2024-03-05 12:30:45.123456789) with a capacity of
// 40 for text targets, in every null form with fromIsNull 0, and in the plain
// form with fromIsNull 1 too, which the plain form ignores.
TEST_P(DateTimeFamilySample, ConvertsTheSampleValue) {
    const FamilyMember& member = GetParam();
    const SourceBuffer source = SampleSource(member);
    constexpr uint32 kCapacity = 40;
    std::vector<uint8> nullFlags{0};
    if (member.form == XTConverterForm::kPlain) nullFlags.push_back(1);
    for (const int32 code : {kCharDataNarrowCode, kCharDataNarrowUTF8Code}) {
        for (const uint8 fromIsNull : nullFlags) {
            SCOPED_TRACE(testing::Message()
                         << "code " << code << ", fromIsNull " << int{fromIsNull});
            const bool record = IsRecord(member.target);
            GuardedBuffer to(record ? RecordSize(member.target)
                                    : TextExtent(member.target, kCapacity));
            const uint32 toLength = record ? RecordSize(member.target) : kCapacity;
            const ConvertResult result =
                Call(member.function, NarrowParams(code), source, fromIsNull, to, toLength);
            EXPECT_EQ(result.isNull, 0);
            EXPECT_TRUE(to.GuardsIntact());
            if (record) {
                EXPECT_EQ(BytesAt(to, to.extent()), ExpectedRecord(member.source, member.target));
                EXPECT_EQ(result.length, RecordSize(member.target));
            } else if (member.target == Side::kXTChar) {
                std::wstring expected = SampleText(member.source);
                expected.resize(kCapacity, L' ');
                EXPECT_EQ(to.Wide(0, kCapacity), expected);
                EXPECT_EQ(to.Wide(4 * kCapacity, 1), std::wstring(1, L'\0'));
                EXPECT_EQ(result.length, kCapacity);
            } else {
                const std::string expected = Utf8(SampleText(member.source));
                EXPECT_EQ(to.Narrow(0, expected.size() + 1), expected + '\0');
                EXPECT_EQ(to.data()[expected.size() + 1], GuardedBuffer::kFill) << "no padding";
                EXPECT_EQ(result.length, expected.size());
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, DateTimeFamilySample, ::testing::ValuesIn(Family()),
                         [](const auto& info) { return info.param.name; });

// A null source: Nullable-to-Nullable leaves the target alone; Nullable-to-
// plain writes the target's null value.
class DateTimeFamilyNull : public ::testing::TestWithParam<FamilyMember> {};

TEST_P(DateTimeFamilyNull, NullSource) {
    const FamilyMember& member = GetParam();
    const SourceBuffer source = SampleSource(member);
    constexpr uint32 kCapacity = 8;
    for (const int32 code : {kCharDataNarrowCode, kCharDataNarrowUTF8Code}) {
        SCOPED_TRACE(testing::Message() << "code " << code);
        const bool utf8Char = member.target == Side::kChar && code == kCharDataNarrowUTF8Code;
        const bool record = IsRecord(member.target);
        GuardedBuffer to(record     ? RecordSize(member.target)
                         : utf8Char ? 3 * kCapacity - 2
                                    : TextExtent(member.target, kCapacity));
        const uint32 toLength = record ? RecordSize(member.target) : kCapacity;
        const ConvertResult result =
            Call(member.function, NarrowParams(code), source, 1, to, toLength);
        EXPECT_EQ(result.isNull, 1);
        EXPECT_TRUE(to.GuardsIntact());
        if (member.form == XTConverterForm::kNullableToNullable) {
            EXPECT_EQ(result.length, 0u);
            EXPECT_TRUE(to.Untouched());
        } else if (record) {
            EXPECT_EQ(BytesAt(to, to.extent()), std::vector<unsigned char>(to.extent(), 0));
            EXPECT_EQ(result.length, RecordSize(member.target));
        } else if (member.target == Side::kXTChar) {
            EXPECT_EQ(to.Wide(0, kCapacity), std::wstring(kCapacity - 1, L' ') + L'\0');
            EXPECT_EQ(to.data()[4 * kCapacity], GuardedBuffer::kFill);
            EXPECT_EQ(result.length, kCapacity);
        } else if (utf8Char) {
            EXPECT_EQ(to.Narrow(0, to.extent()), std::string(3 * kCapacity - 3, ' ') + '\0');
            EXPECT_EQ(result.length, kCapacity);
        } else {
            EXPECT_EQ(to.data()[0], 0);
            EXPECT_EQ(to.data()[1], GuardedBuffer::kFill);
            EXPECT_EQ(result.length, kCapacity);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(NullableForms, DateTimeFamilyNull,
                         ::testing::ValuesIn(FamilyWhere([](const FamilyMember& m) {
                             return m.form != XTConverterForm::kPlain;
                         })),
                         [](const auto& info) { return info.param.name; });

// Text targets of capacity 0 and 1 hold no text: an empty text marked null.
class DateTimeFamilyTextTarget : public ::testing::TestWithParam<FamilyMember> {};

TEST_P(DateTimeFamilyTextTarget, SmallCapacities) {
    const FamilyMember& member = GetParam();
    const SourceBuffer source = SampleSource(member);
    const bool wide = member.target == Side::kXTChar;
    const wchar_t first = SampleText(member.source)[0];
    for (const uint32 toLength : {0u, 1u, 2u}) {
        SCOPED_TRACE(testing::Message() << "toLength " << toLength);
        GuardedBuffer to(TextExtent(member.target, toLength));
        const ConvertResult result =
            Call(member.function, DataConvertParams{}, source, 0, to, toLength);
        EXPECT_TRUE(to.GuardsIntact());
        if (toLength == 0) {
            EXPECT_TRUE(to.Untouched());
            EXPECT_EQ(result.isNull, 1);
            EXPECT_EQ(result.length, 0u);
        } else if (toLength == 1) {
            EXPECT_EQ(result.isNull, 1);
            EXPECT_EQ(result.length, 0u);
            if (wide) {
                EXPECT_EQ(to.Wide(0, 1), std::wstring(1, L'\0'));
                EXPECT_EQ(to.data()[4], GuardedBuffer::kFill);
            } else {
                EXPECT_EQ(to.data()[0], 0);
            }
        } else if (wide) {
            EXPECT_EQ(result.isNull, 0);
            EXPECT_EQ(to.Wide(0, 3), SampleText(member.source).substr(0, 2) + L'\0');
            EXPECT_EQ(result.length, 2u);
        } else {
            EXPECT_EQ(result.isNull, 0);
            EXPECT_EQ(to.Narrow(0, 2), std::string(1, static_cast<char>(first)) + '\0');
            EXPECT_EQ(result.length, 1u);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(TextTargets, DateTimeFamilyTextTarget,
                         ::testing::ValuesIn(FamilyWhere([](const FamilyMember& m) {
                             return !IsRecord(m.target);
                         })),
                         [](const auto& info) { return info.param.name; });

class DateTimeFamilyTextSource : public ::testing::TestWithParam<FamilyMember> {};

// An empty text, or no buffer at all, is null with length 0 in every form,
// and nothing is written.
TEST_P(DateTimeFamilyTextSource, EmptyOrMissingTextIsNull) {
    const FamilyMember& member = GetParam();
    GuardedBuffer to(RecordSize(member.target));
    const SourceBuffer empty = TextSource(member.source, L"");
    ConvertResult result = Call(member.function, DataConvertParams{}, empty, 0, to, 0);
    EXPECT_EQ(result.isNull, 1);
    EXPECT_EQ(result.length, 0u);
    EXPECT_TRUE(to.Untouched());
    result = Call(member.function, DataConvertParams{}, nullptr, 10, 0, to.data(), 0);
    EXPECT_EQ(result.isNull, 1);
    EXPECT_EQ(result.length, 0u);
    EXPECT_TRUE(to.Untouched());
    EXPECT_TRUE(to.GuardsIntact());
}

// A text with a field out of range raises 46301 (text, format) and writes
// nothing: neither the target nor the null flag nor the length.
TEST_P(DateTimeFamilyTextSource, MismatchRaisesAndWritesNothing) {
    const FamilyMember& member = GetParam();
    const std::wstring text = member.target == Side::kDate   ? L"2024/13/05"
                              : member.target == Side::kTime ? L"25:30:45.000000000"
                                                             : L"2024/03/05 25:30:45.000000000";
    const SourceBuffer source = TextSource(member.source, text);
    GuardedBuffer to(RecordSize(member.target));
    uint8 toIsNull = kUnsetNull;
    uint64 returnLength = kUnsetLength;
    const std::optional<ErrorMessage> error = ErrorOf([&] {
        member.function(DataConvertParams{}, source.data(), source.fromLength(), 0, to.data(),
                        RecordSize(member.target), toIsNull, returnLength);
    });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->GetCode(), kMsgInvalidDateTimeText);
    EXPECT_EQ(error->GetArguments(), (std::vector<XTString>{text, DefaultFormatOf(member.target)}));
    EXPECT_TRUE(to.Untouched());
    EXPECT_TRUE(to.GuardsIntact());
    EXPECT_EQ(toIsNull, kUnsetNull);
    EXPECT_EQ(returnLength, kUnsetLength);
}

INSTANTIATE_TEST_SUITE_P(TextSources, DateTimeFamilyTextSource,
                         ::testing::ValuesIn(FamilyWhere([](const FamilyMember& m) {
                             return !IsRecord(m.source);
                         })),
                         [](const auto& info) { return info.param.name; });

// ---------------------------------------------------------------------------
// The edge cases of dates into text.

TEST(DateIntoText, TwentyByteCharGetsTheTextWithoutPadding) {
    GuardedBuffer to(20);
    const ConvertResult result = Call(SUDataConvert::ConvertDateToChar, DataConvertParams{},
                                      RecordSource(Bytes(kDate)), 0, to, 20);
    EXPECT_EQ(to.Narrow(0, 11), std::string("2024/03/05") + '\0');
    EXPECT_EQ(result.length, 10u);
    EXPECT_EQ(result.isNull, 0);
    for (std::size_t i = 11; i < 20; ++i)
        EXPECT_EQ(to.data()[i], GuardedBuffer::kFill) << i;
}

TEST(DateIntoText, XTCharOfWidthTwelveIsPaddedAndTerminatedAtTwelve) {
    GuardedBuffer to(4 * 13);
    const ConvertResult result = Call(SUDataConvert::ConvertDateToXTChar, DataConvertParams{},
                                      RecordSource(Bytes(kDate)), 0, to, 12);
    EXPECT_EQ(to.Wide(0, 13), std::wstring(L"2024/03/05  ") + L'\0');
    EXPECT_EQ(result.length, 12u);
    EXPECT_EQ(result.isNull, 0);
    EXPECT_TRUE(to.GuardsIntact());
}

TEST(DateIntoText, NarrowCharOfFiveGetsTheFirstFourCharacters) {
    GuardedBuffer to(5);
    const ConvertResult result = Call(SUDataConvert::ConvertDateToChar, DataConvertParams{},
                                      RecordSource(Bytes(kDate)), 0, to, 5);
    EXPECT_EQ(to.Narrow(0, 5), std::string("2024") + '\0');
    EXPECT_EQ(result.length, 4u);
    EXPECT_TRUE(to.GuardsIntact());
}

TEST(DateIntoText, XTCharShorterThanTheTextIsCutToItsWidth) {
    GuardedBuffer to(4 * 9);
    const ConvertResult result = Call(SUDataConvert::ConvertDateTimeToXTChar, DataConvertParams{},
                                      RecordSource(Bytes(kDateTime)), 0, to, 8);
    EXPECT_EQ(to.Wide(0, 9), std::wstring(L"2024/03/") + L'\0');
    EXPECT_EQ(result.length, 8u);
    EXPECT_TRUE(to.GuardsIntact());
}

// Formatting never fails: fields out of range are written as they are.
TEST(DateIntoText, InvalidRecordsAreWrittenAsTheyAre) {
    GuardedBuffer to(30);
    ConvertResult result = Call(SUDataConvert::ConvertDateToChar, DataConvertParams{},
                                RecordSource(Bytes(XTDate{2023, 2, 30})), 0, to, 30);
    EXPECT_EQ(to.Narrow(0, 11), std::string("2023/02/30") + '\0');
    EXPECT_EQ(result.length, 10u);
    result = Call(SUDataConvert::ConvertTimeToChar, DataConvertParams{},
                  RecordSource(Bytes(XTTime{25, 61, 0, 0, 0})), 0, to, 30);
    EXPECT_EQ(to.Narrow(0, 19), std::string("25:61:00.000000000") + '\0');
}

// Dates and times into narrow text need no allocation.
TEST(DateIntoText, AllocatesNothing) {
    const SourceBuffer source = RecordSource(Bytes(kDateTime));
    GuardedBuffer to(40);
    const xts::test::AllocationCounter counter;
    const ConvertResult narrow =
        Call(SUDataConvert::ConvertDateTimeToChar, DataConvertParams{}, source, 0, to, 40);
    const ConvertResult wide =
        Call(SUDataConvert::ConvertDateTimeToXTChar, DataConvertParams{}, source, 0, to, 9);
    EXPECT_EQ(counter.Count(), 0u);
    EXPECT_EQ(narrow.length, 29u);
    EXPECT_EQ(wide.length, 9u);
}

// ---------------------------------------------------------------------------
// Dates and times among each other.

struct RecordRow {
    const char* converter;
    std::vector<unsigned char> source;
    std::vector<unsigned char> expected;
};

void PrintTo(const RecordRow& row, std::ostream* out) {
    *out << row.converter;
}

class RecordIntoRecord : public ::testing::TestWithParam<RecordRow> {};

TEST_P(RecordIntoRecord, AssignsTheFieldsTheTargetHas) {
    const RecordRow& row = GetParam();
    const DataConvert_t convert = ConverterNamed(row.converter);
    ASSERT_NE(convert, nullptr);
    GuardedBuffer to(row.expected.size());
    const ConvertResult result = Call(convert, DataConvertParams{}, RecordSource(row.source), 0, to,
                                      static_cast<uint32>(row.expected.size()));
    EXPECT_EQ(BytesAt(to, row.expected.size()), row.expected);
    EXPECT_EQ(result.length, row.expected.size());
    EXPECT_EQ(result.isNull, 0);
    EXPECT_TRUE(to.GuardsIntact());
}

const XTTime kTimeWithReserved{12, 30, 45, 0xBEEF, 123456789};

INSTANTIATE_TEST_SUITE_P(
    Rows, RecordIntoRecord,
    ::testing::Values(
        RecordRow{"ConvertDateToDateTime", Bytes(kDate), Bytes(XTDateTime{2024, 3, 5, 0, 0, 0, 0})},
        RecordRow{"ConvertDateNullableToDateTime", Bytes(XTDate{1, 1, 1}),
                  Bytes(XTDateTime{1, 1, 1, 0, 0, 0, 0})},
        RecordRow{"ConvertTimeToDateTime", Bytes(kTime),
                  Bytes(XTDateTime{1900, 1, 1, 12, 30, 45, 123456789})},
        RecordRow{"ConvertTimeNullableToDateTimeNullable", Bytes(kTimeWithReserved),
                  Bytes(XTDateTime{1900, 1, 1, 12, 30, 45, 123456789})},
        RecordRow{"ConvertDateTimeToDate", Bytes(kDateTime), Bytes(kDate)},
        RecordRow{"ConvertDateTimeToTime", Bytes(kDateTime), Bytes(kTime)},  // reserved bytes 0
        RecordRow{"ConvertDateTimeNullableToTime",
                  Bytes(XTDateTime{9999, 12, 31, 23, 59, 59, 999999999}),
                  Bytes(XTTime{23, 59, 59, 0, 999999999})},
        RecordRow{"ConvertTimeStampToDateTime", Bytes(kDateTime), Bytes(kDateTime)},
        RecordRow{"ConvertTimeStampNullableToDateTimeNullable",
                  Bytes(XTDateTime{1900, 1, 1, 0, 0, 0, 0}),
                  Bytes(XTDateTime{1900, 1, 1, 0, 0, 0, 0})},
        // Copies keep every byte, the reserved bytes and invalid fields included.
        RecordRow{"ConvertDateToDate", Bytes(XTDate{2023, 2, 30}), Bytes(XTDate{2023, 2, 30})},
        RecordRow{"ConvertTimeToTime", Bytes(kTimeWithReserved), Bytes(kTimeWithReserved)},
        RecordRow{"ConvertDateTimeNullableToDateTimeNullable", Bytes(kDateTime), Bytes(kDateTime)},
        RecordRow{"ConvertDateTimeToDate", Bytes(XTDateTime{0, 13, 0, 0, 0, 0, 0}),
                  Bytes(XTDate{0, 13, 0})}),
    [](const auto& info) {
        return std::string(info.param.converter) + "_" + std::to_string(info.index);
    });

// ---------------------------------------------------------------------------
// Round trips: record -> text -> record over many generated values.

XTDateTime RandomDateTime(std::mt19937& random) {
    XTDateTime value;
    value.year_ = static_cast<int16>(1 + random() % 9999);
    value.month_ = static_cast<uint16>(1 + random() % 12);
    value.day_ =
        static_cast<uint16>(1 + random() % XTDate::GetDaysInMonth(value.year_, value.month_));
    value.hour_ = static_cast<uint16>(random() % 24);
    value.minute_ = static_cast<uint16>(random() % 60);
    value.second_ = static_cast<uint16>(random() % 60);
    // A third of the values on whole seconds, a third on whole milliseconds.
    const uint32 nanosecond = random() % XTTime::kNanosecondsPerSecond;
    value.nanosecond_ = random() % 3 == 0   ? 0
                        : random() % 2 == 0 ? nanosecond / 1000000 * 1000000
                                            : nanosecond;
    return value;
}

// The length of the default text of each record.
template <class Record>
constexpr uint32 kTextLength = sizeof(Record) == sizeof(XTDate)   ? 10
                               : sizeof(Record) == sizeof(XTTime) ? 18
                                                                  : 29;

// Converts `record` into text with `toText` and back with `fromText`. Wide
// texts are written at exactly their length (a wider XTChar would be padded
// with blanks, which the parser refuses) and read as a fixed or a variable text;
// narrow texts are read as the client's buffer of the length reported.
template <class Record>
Record ThroughText(DataConvert_t toText, DataConvert_t fromText, const Record& record,
                   bool wideText, int32 code, bool variable = false) {
    const DataConvertParams params = NarrowParams(code);
    const uint32 toLength = wideText ? kTextLength<Record> : kTextLength<Record> + 1;
    GuardedBuffer text(wideText ? 4 * (toLength + 1) : toLength);
    const ConvertResult written =
        Call(toText, params, RecordSource(Bytes(record)), 0, text, toLength);
    EXPECT_EQ(written.isNull, 0);
    EXPECT_EQ(written.length, kTextLength<Record>);
    SourceBuffer source;
    if (variable)
        source = SourceBuffer::Wide(TextShape::kVariable, text.Wide(0, toLength));
    else if (wideText)
        source = SourceBuffer::Wide(TextShape::kFixed, text.Wide(0, toLength + 1));
    else
        source = SourceBuffer::Narrow(TextShape::kExternal, text.Narrow(0, written.length));
    GuardedBuffer back(sizeof(Record));
    Call(fromText, params, source, 0, back, sizeof(Record));
    Record result;
    std::memcpy(&result, back.data(), sizeof result);
    return result;
}

TEST(DateTimeRoundTrip, RecordsSurviveTheirTextForm) {
    std::mt19937 random(20240305);
    for (int i = 0; i < 2000; ++i) {
        const XTDateTime value = RandomDateTime(random);
        const XTDate date = value.GetDate();
        const XTTime time = value.GetTime();
        SCOPED_TRACE(testing::Message() << "value " << Utf8(value.ToString()));
        for (const int32 code : {kCharDataNarrowCode, kCharDataNarrowUTF8Code}) {
            EXPECT_EQ(ThroughText(SUDataConvert::ConvertDateTimeToChar,
                                  SUDataConvert::ConvertCharToDateTime, value, false, code),
                      value);
            EXPECT_EQ(ThroughText(SUDataConvert::ConvertDateToChar,
                                  SUDataConvert::ConvertCharToDate, date, false, code),
                      date);
            EXPECT_EQ(ThroughText(SUDataConvert::ConvertTimeNullableToChar,
                                  SUDataConvert::ConvertExternalCharToTime, time, false, code),
                      time);
            EXPECT_EQ(ThroughText(SUDataConvert::ConvertTimeStampToExternalChar,
                                  SUDataConvert::ConvertExternalCharToDateTime, value, false, code),
                      value);
        }
        EXPECT_EQ(
            ThroughText(SUDataConvert::ConvertDateTimeToXTChar,
                        SUDataConvert::ConvertXTCharToDateTime, value, true, kCharDataNarrowCode),
            value);
        EXPECT_EQ(ThroughText(SUDataConvert::ConvertDateNullableToXTCharNullable,
                              SUDataConvert::ConvertXTCharNullableToDate, date, true,
                              kCharDataNarrowCode),
                  date);
        EXPECT_EQ(
            ThroughText(SUDataConvert::ConvertTimeToXTChar, SUDataConvert::ConvertVarXTCharToTime,
                        time, true, kCharDataNarrowCode, true),
            time);
    }
}

// A client's text of a whole second is completed to the same value that the
// full text gives with a zero fraction.
TEST(DateTimeRoundTrip, CompletedClientTextsGiveWholeSeconds) {
    std::mt19937 random(19000101);
    for (int i = 0; i < 1000; ++i) {
        const XTDateTime value = RandomDateTime(random);
        XTString text;
        SUDataConvert::GetDefaultDateTimeMetaData().Convert(value, text);
        XTDateTime expected = value;
        expected.nanosecond_ = 0;
        for (const std::size_t length : {19u, 16u, 13u, 10u}) {
            if (length < 19) expected.second_ = 0;
            if (length < 16) expected.minute_ = 0;
            if (length < 13) expected.hour_ = 0;
            const SourceBuffer source =
                SourceBuffer::Narrow(TextShape::kExternal, Utf8(text.substr(0, length)));
            GuardedBuffer to(16);
            Call(SUDataConvert::ConvertExternalCharToDateTime, DataConvertParams{}, source, 0, to,
                 16);
            EXPECT_EQ(BytesAt(to, 16), Bytes(expected)) << Utf8(text.substr(0, length));
        }
        const SourceBuffer time =
            SourceBuffer::Narrow(TextShape::kExternal, Utf8(text.substr(11, 8)));
        GuardedBuffer to(12);
        Call(SUDataConvert::ConvertExternalCharToTime, DataConvertParams{}, time, 0, to, 12);
        EXPECT_EQ(BytesAt(to, 12), Bytes(XTTime{value.hour_, value.minute_, value.second_, 0, 0}));
    }
}

}  // namespace
