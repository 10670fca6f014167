// ErrorMessage (message stack, rendering from the catalogue, argument
// formatting, SUGThrow) and the assertion handler.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Utility/Generic/SUGAssert.h"
#include "Utility/Generic/SUGErrorMessage.h"

namespace {

using Arguments = std::vector<XTString>;

TEST(ErrorMessageTest, StackKeepsTheFirstMessage) {
    ErrorMessage error("f.cpp", 1, 0);
    const int line = __LINE__ + 2;
    try {
        SUGThrow(kMsgValueOverflow, "INTEGER", L"SMALLINT");
    } catch (const std::exception& caught) {  // any std::exception handler catches it
        error = dynamic_cast<const ErrorMessage&>(caught);
    }
    EXPECT_EQ(error.GetMessage(0).file + ":" + std::to_string(error.GetMessage(0).line),
              __FILE__ ":" + std::to_string(line));
    error.PushMessage("b.cpp", 20, kMsgConversionFailedInColumn, L"price");
    EXPECT_STREQ(error.what(),
                 "[46224] Value overflow: INTEGER to SMALLINT\n"
                 "[46226] Conversion failed in column price");
    EXPECT_EQ(error.GetArguments(), (Arguments{L"INTEGER", L"SMALLINT"}));
    EXPECT_TRUE(error.GetCode() == kMsgValueOverflow && error.HasCode(46226) &&
                !error.HasCode(46225) && error.GetMessage(1).arguments == Arguments{L"price"});
    EXPECT_DEATH(error.GetMessage(2), "Assertion failed: index < m_messages.size\\(\\)");
}

TEST(ErrorMessageTest, WhatRendersEachArgumentCount) {
    const std::tuple<int32, Arguments, const char*> kRows[] = {
        {kMsgIntegerReadOfNull, {}, "[46186] Integer read of a NULL value"},
        {kMsgIntegerReadOfNull, {L"5", L"x"}, "[46186] Integer read of a NULL value (5, x)"},
        {kMsgValueOverflow, {L"A", L"B", L"C"}, "[46224] Value overflow: A to B (C)"},
        {kMsgValueOverflow, {L"A"}, "[46224] Value overflow: A to ?"},
        {kMsgInvalidIntegerText, {L""}, "[46044] Invalid integer text: \"\""},
        {kMsgTruncatedByteVector,
         {L"string characters", L"8", L"7"},
         "[46302] Truncated byte vector: string characters needs 8 bytes, 7 remain"},
        {12345, {}, "[12345] Unknown message"},
        {-7, {L"1", L"two"}, "[-7] Unknown message: 1, two"},
        {kMsgValueOverflow,
         {L"caf\u00e9", L"\u4E2D\U0001F600\xD800"},
         "[46224] Value overflow: caf\xC3\xA9 to \xE4\xB8\xAD\xF0\x9F\x98\x80\xEF\xBF\xBD"}};
    for (const auto& [code, arguments, expected] : kRows)
        EXPECT_STREQ(ErrorMessage("f.cpp", 1, code, arguments).what(), expected);
}

TEST(ErrorMessageTest, ArgumentFormatting) {
    const double infinity = std::numeric_limits<double>::infinity();
    const ErrorMessage error = ErrorMessage::Make(
        "f", 1, 0, std::numeric_limits<int64>::min(), std::numeric_limits<uint64>::max(),
        uint8(200), kMsgValueOverflow, 1.0 / 3.0, 1e300, -0.0, 0.1f, std::nan(""), -infinity,
        float(infinity), std::string("a\xFF\xE4\xB8\xAD"), static_cast<const char*>(nullptr),
        static_cast<const wchar_t*>(nullptr));
    EXPECT_EQ(error.GetArguments(),
              (Arguments{L"-9223372036854775808", L"18446744073709551615", L"200", L"46224",
                         L"0.3333333333333333", L"1e+300", L"-0", L"0.1", L"NaN", L"-Infinity",
                         L"Infinity", L"a\uFFFD\u4E2D", L"", L""}));
}

TEST(AssertDeathTest, PrintsConditionFileAndLine) {
    const int value = 2;
    XTAssert(value == 2);  // a true condition does nothing
    const int line = __LINE__ + 1;
    EXPECT_DEATH(XTAssert(value + 1 == 4),
                 "Assertion failed: value \\+ 1 == 4, file .*error_message_test\\.cpp, line " +
                     std::to_string(line) + "\n");
    EXPECT_DEATH(XTLogicError("duplicate key"),
                 "Logic error: duplicate key, file .*error_message_test\\.cpp, line [0-9]+");
}

}  // namespace
