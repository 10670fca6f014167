// ErrorMessage (message stack, catalogue rendering, argument formatting,
// SUGThrow) and the assertion handler.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "Utility/Generic/SUGAssert.h"
#include "Utility/Generic/SUGErrorMessage.h"

namespace {

using Arguments = std::vector<XTString>;

TEST(ErrorMessageTest, CataloguedCodeThrownBySUGThrow) {
    const int line = __LINE__ + 2;
    try {
        SUGThrow(kMsgValueOverflow, "INTEGER", L"SMALLINT");
    } catch (const std::exception& caught) {
        EXPECT_STREQ(caught.what(), "[46224] Value overflow: INTEGER to SMALLINT");
        const auto* error = dynamic_cast<const ErrorMessage*>(&caught);
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->GetCode(), 46224);
        EXPECT_EQ(error->GetArguments(), (Arguments{L"INTEGER", L"SMALLINT"}));
        ASSERT_EQ(error->GetMessageCount(), 1u);
        EXPECT_EQ(error->GetMessage(0).file, __FILE__);
        EXPECT_EQ(error->GetMessage(0).line, line);
        return;
    }
    FAIL() << "nothing thrown";
}

TEST(ErrorMessageTest, PushedMessageKeepsTheFirst) {
    ErrorMessage error = ErrorMessage::Make("a.cpp", 10, kMsgValueOverflow, "INTEGER", "SMALLINT");
    error.PushMessage("b.cpp", 20, kMsgConversionFailedInColumn, L"price");
    EXPECT_STREQ(error.what(),
                 "[46224] Value overflow: INTEGER to SMALLINT\n"
                 "[46226] Conversion failed in column price");
    EXPECT_EQ(error.GetCode(), kMsgValueOverflow);
    EXPECT_EQ(error.GetArguments(), (Arguments{L"INTEGER", L"SMALLINT"}));
    EXPECT_TRUE(error.HasCode(kMsgValueOverflow));
    EXPECT_TRUE(error.HasCode(kMsgConversionFailedInColumn));
    EXPECT_FALSE(error.HasCode(kMsgValueUnderflow));
    ASSERT_EQ(error.GetMessageCount(), 2u);
    const ErrorMessage::Message& top = error.GetMessage(1);
    EXPECT_EQ(top.code, kMsgConversionFailedInColumn);
    EXPECT_EQ(top.arguments, (Arguments{L"price"}));
    EXPECT_EQ(top.file, "b.cpp");
    EXPECT_EQ(top.line, 20);
    EXPECT_EQ(error.GetMessages().front().file, "a.cpp");
    // A copy (as when rethrown by value) renders the same text.
    const ErrorMessage copy = error;
    EXPECT_STREQ(copy.what(), error.what());
}

TEST(ErrorMessageTest, RenderingOfArgumentCounts) {
    struct Row {
        int32 code;
        Arguments arguments;
        const char* expected;
    };
    const std::vector<Row> rows = {
        {kMsgIntegerReadOfNull, {}, "[46186] Integer read of a NULL value"},
        {kMsgIntegerReadOfNull, {L"5", L"x"}, "[46186] Integer read of a NULL value (5, x)"},
        {kMsgValueOverflow, {L"A", L"B", L"C"}, "[46224] Value overflow: A to B (C)"},
        {kMsgValueOverflow, {L"A"}, "[46224] Value overflow: A to ?"},
        {kMsgInvalidIntegerText, {L""}, "[46044] Invalid integer text: \"\""},
        {12345, {}, "[12345] Unknown message"},
        {12345, {L"1", L"two"}, "[12345] Unknown message: 1, two"},
        {-7, {L"x"}, "[-7] Unknown message: x"},
    };
    for (const Row& row : rows)
        EXPECT_STREQ(ErrorMessage("f.cpp", 1, row.code, row.arguments).what(), row.expected);
}

// Every code the library raises has a catalogue text, and every argument
// place of that text is filled by Make's arguments in order.
TEST(ErrorMessageTest, CatalogueCoversEveryCode) {
    const std::vector<std::pair<XTMessageCode, int>> codes = {
        {kMsgInvalidControllerAddress, 1},
        {kMsgFieldPositionOutOfRange, 2},
        {kMsgNoFieldWithIdentifier, 1},
        {kMsgEmptyFieldDescriptor, 1},
        {kMsgUnsupportedDataType, 1},
        {kMsgValueTooLong, 2},
        {kMsgNoConverter, 8},
        {kMsgInvalidIntegerText, 1},
        {kMsgInvalidFloatText, 1},
        {kMsgInvalidOdbcIni, 1},
        {kMsgOdbcIniNotFound, 0},
        {kMsgIntegerReadOfNull, 0},
        {kMsgControllerHostsNotSet, 0},
        {kMsgConfigurationHomeUnknown, 0},
        {kMsgValueOverflow, 2},
        {kMsgValueUnderflow, 2},
        {kMsgConversionFailedInColumn, 1},
        {kMsgInvalidDateTimeText, 2},
        {kMsgTruncatedByteVector, 3},
        {kMsgInvalidDateTimeFormat, 1},
        {kMsgInvalidBinaryDirectory, 1},
    };
    for (const auto& [code, places] : codes) {
        const char* text = ErrorMessage::GetCatalogueText(code);
        ASSERT_NE(text, nullptr) << code;
        const std::string catalogue = text;
        for (int place = 1; place <= 9; ++place)
            EXPECT_EQ(catalogue.find("%" + std::to_string(place)) != std::string::npos,
                      place <= places)
                << code << " %" << place;
        Arguments arguments;
        for (int place = 1; place <= places; ++place)
            arguments.push_back(L"<" + std::to_wstring(place) + L">");
        const std::string rendered = ErrorMessage("f", 1, code, arguments).what();
        EXPECT_EQ(rendered.rfind("[" + std::to_string(code) + "] ", 0), 0u) << rendered;
        EXPECT_EQ(rendered.find('%'), std::string::npos) << rendered;
        EXPECT_EQ(rendered.find('?'), std::string::npos) << rendered;
    }
    EXPECT_EQ(ErrorMessage::GetCatalogueText(0), nullptr);
    EXPECT_STREQ(ErrorMessage::GetCatalogueText(kMsgTruncatedByteVector),
                 "Truncated byte vector: %1 needs %2 bytes, %3 remain");
}

TEST(ErrorMessageTest, ArgumentFormatting) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    const std::vector<std::pair<XTString, const wchar_t*>> rows = {
        {ErrorMessage::ToArgument(42), L"42"},
        {ErrorMessage::ToArgument(-7), L"-7"},
        {ErrorMessage::ToArgument(std::numeric_limits<int64>::min()), L"-9223372036854775808"},
        {ErrorMessage::ToArgument(std::numeric_limits<uint64>::max()), L"18446744073709551615"},
        {ErrorMessage::ToArgument(std::numeric_limits<uint32>::max()), L"4294967295"},
        {ErrorMessage::ToArgument(static_cast<int8>(-5)), L"-5"},
        {ErrorMessage::ToArgument(static_cast<uint8>(200)), L"200"},
        {ErrorMessage::ToArgument(static_cast<int16>(-32768)), L"-32768"},
        {ErrorMessage::ToArgument(kMsgValueOverflow), L"46224"},
        {ErrorMessage::ToArgument(true), L"true"},
        {ErrorMessage::ToArgument(false), L"false"},
        {ErrorMessage::ToArgument(0.1), L"0.1"},
        {ErrorMessage::ToArgument(1.0 / 3.0), L"0.3333333333333333"},
        {ErrorMessage::ToArgument(2.5), L"2.5"},
        {ErrorMessage::ToArgument(1e300), L"1e+300"},
        {ErrorMessage::ToArgument(-0.0), L"-0"},
        {ErrorMessage::ToArgument(5e-324), L"5e-324"},
        {ErrorMessage::ToArgument(0.1f), L"0.1"},
        {ErrorMessage::ToArgument(3.4028235e38f), L"3.4028235e+38"},
        {ErrorMessage::ToArgument(nan), L"NaN"},
        {ErrorMessage::ToArgument(infinity), L"Infinity"},
        {ErrorMessage::ToArgument(-infinity), L"-Infinity"},
        {ErrorMessage::ToArgument(-std::numeric_limits<float>::infinity()), L"-Infinity"},
        {ErrorMessage::ToArgument("caf\xC3\xA9"), L"caf\u00E9"},
        {ErrorMessage::ToArgument(std::string("\xE4\xB8\xAD")), L"\u4E2D"},
        {ErrorMessage::ToArgument(std::string_view("\xF0\x9F\x98\x80")), L"\U0001F600"},
        {ErrorMessage::ToArgument("a\xFF"), L"a\uFFFD"},  // invalid UTF-8 replaced
        {ErrorMessage::ToArgument(static_cast<const char*>(nullptr)), L""},
        {ErrorMessage::ToArgument(static_cast<const wchar_t*>(nullptr)), L""},
        {ErrorMessage::ToArgument(L"wide"), L"wide"},
        {ErrorMessage::ToArgument(XTString(L"\u00C9")), L"\u00C9"},
    };
    for (const auto& [argument, expected] : rows)
        EXPECT_EQ(argument, expected);
    // The floating form reads back to the same value.
    for (const double value : {0.1, 1.0 / 3.0, 123456.789e-20, 6.02214076e23, -1e-7}) {
        const XTString text = ErrorMessage::ToArgument(value);
        EXPECT_EQ(std::stod(text), value) << value;
    }
}

TEST(ErrorMessageTest, NonAsciiArgumentsReachWhatAsUtf8) {
    const ErrorMessage error =
        ErrorMessage::Make("f", 1, kMsgValueOverflow, "caf\xC3\xA9", L"\u4E2D\U0001F600\xD800");
    EXPECT_STREQ(error.what(),
                 "[46224] Value overflow: caf\xC3\xA9 to "
                 "\xE4\xB8\xAD\xF0\x9F\x98\x80\xEF\xBF\xBD");
    EXPECT_EQ(error.GetArguments()[1], XTString(L"\u4E2D\U0001F600\xD800"));
}

TEST(ErrorMessageTest, MixedArgumentsThroughSUGThrow) {
    try {
        SUGThrow(kMsgNoConverter, "INTEGER", true, false, 0, L"DATE", 1, 2.5, -1);
    } catch (const ErrorMessage& error) {
        EXPECT_STREQ(error.what(),
                     "[46035] No converter from INTEGER (nullable true, wide false, external 0) "
                     "to DATE (nullable 1, wide 2.5, external -1)");
    }
    try {
        SUGThrow(kMsgOdbcIniNotFound);
    } catch (const ErrorMessage& error) {
        EXPECT_TRUE(error.GetArguments().empty());
        EXPECT_STREQ(error.what(),
                     "[46090] The odbc.ini file is not found (ODBCINI not set or file missing)");
        return;
    }
    FAIL() << "nothing thrown";
}

TEST(ErrorMessageDeathTest, MessageIndexBeyondStackAsserts) {
    const ErrorMessage error("f", 1, kMsgIntegerReadOfNull);
    EXPECT_DEATH(error.GetMessage(1), "Assertion failed: index < m_messages.size\\(\\)");
}

TEST(AssertDeathTest, PrintsConditionFileAndLine) {
    const int value = 2;
    const int line = __LINE__ + 1;
    EXPECT_DEATH(XTAssert(value + 1 == 4),
                 "Assertion failed: value \\+ 1 == 4, file .*error_message_test\\.cpp, line " +
                     std::to_string(line) + "\n");
    XTAssert(value == 2);  // a true condition does nothing
}

TEST(AssertDeathTest, LogicErrorPrintsItsText) {
    EXPECT_DEATH(XTLogicError("duplicate key in table"),
                 "Logic error: duplicate key in table, file .*error_message_test\\.cpp");
}

}  // namespace
