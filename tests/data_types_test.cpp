// The column type catalogue: names, look-ups, predicates and the maximum field size.
#include <gtest/gtest.h>

#include <cwctype>
#include <random>
#include <string>

#include "Utility/Client/SUCXTDataTypes.h"

namespace {

using U = SUXTDataTypeUtility;
constexpr auto& FromWord = U::GetXTDataTypeFromSingleWordName;
constexpr auto& FromDatabaseWord = U::GetXTDataTypeFromDatabaseSingleWordName;

// The values travel in metadata streams and converter keys.
static_assert(sizeof(XTDataType) == 4 && kCharDataUTF16 == 3 && U::kOverrideAsNarrowUTF8Code == 3);

// The letters of the classes of `t`, in the order "btvBVLinexdsqDT": bit, text, varchar,
// binary, varbinary, variable length, integer, numeric, exact and inexact numeric, date/time
// derived, datetime or timestamp, quoted literal; D and T are the date and time parts that
// IsXTDateTimeDerivedType(t, hasDate, hasTime) reports ("!" when its answer differs).
std::string ClassLetters(XTDataType t) {
    bool date = true, time = true;
    const bool derived = U::IsXTDateTimeDerivedType(t, date, time);
    return std::string(U::IsXTBitType(t) ? "b" : "") + (U::IsXTTextType(t) ? "t" : "") +
           (U::IsXTVarCharType(t) ? "v" : "") + (U::IsXTBinaryType(t) ? "B" : "") +
           (U::IsXTVarBinaryType(t) ? "V" : "") + (U::IsVariableLengthDataType(t) ? "L" : "") +
           (U::IsXTIntegerType(t) ? "i" : "") + (U::IsXTNumericType(t) ? "n" : "") +
           (U::IsXTExactNumericType(t) ? "e" : "") + (U::IsXTInexactNumericType(t) ? "x" : "") +
           (U::IsXTDateTimeDerivedType(t) ? "d" : "") +
           (U::IsXTDateTimeOrXTTimeStamp(t) ? "s" : "") + (U::IsXTQuotedLiteralType(t) ? "q" : "") +
           (date ? "D" : "") + (time ? "T" : "") +
           (derived != U::IsXTDateTimeDerivedType(t) ? "!" : "");
}

struct TypeRow {
    const char* enumerator;
    const wchar_t* display;
    const wchar_t* word;
    const char* classes;  // see ClassLetters
};

// Row i describes value i.
const TypeRow kCatalogue[] = {
    {"XTBitData", L"BIT", L"BIT", "b"},
    {"XTCharData", L"CHAR", L"CHAR", "tq"},
    {"XTVarCharData", L"VARCHAR", L"VARCHAR", "tvLq"},
    {"XTLongVarCharData", L"LONG VARCHAR", L"LONGVARCHAR", "tvLq"},
    {"XTBinaryData", L"BINARY", L"BINARY", "B"},
    {"XTVarBinaryData", L"VARBINARY", L"VARBINARY", "BVL"},
    {"XTLongVarBinaryData", L"LONG VARBINARY", L"LONGVARBINARY", "BVL"},
    {"XTInt1Data", L"TINYINT", L"TINYINT", "ine"},
    {"XTUInt1Data", L"UNSIGNED TINYINT", L"TINYUINT", "ine"},
    {"XTInt2Data", L"SMALLINT", L"SMALLINT", "ine"},
    {"XTUInt2Data", L"UNSIGNED SMALLINT", L"SMALLUINT", "ine"},
    {"XTInt4Data", L"INTEGER", L"INT", "ine"},
    {"XTUInt4Data", L"UNSIGNED INTEGER", L"UINT", "ine"},
    {"XTFloatData", L"FLOAT", L"FLOAT", "nx"},
    {"XTDoubleData", L"DOUBLE PRECISION", L"DOUBLE", "nx"},
    {"XTMoneyData", L"MONEY", L"MONEY", "ne"},
    {"XTNumericData", L"NUMERIC", L"NUMERIC", "ne"},
    {"XTDecimalData", L"DECIMAL", L"DECIMAL", "ne"},
    {"XTDateData", L"DATE", L"DATE", "dqD"},
    {"XTTimeData", L"TIME", L"TIME", "dqT"},
    {"XTDateTimeData", L"TIMESTAMP", L"DATETIME", "dsqDT"},
    {"XTTimeStampData", L"TIMESTAMP", L"TIMESTAMP", "dsqDT"},
    {"XTIntervalData", L"INTERVAL", L"INTERVAL", "d"},
    {"XTObjectData", L"OBJECT", L"OBJECT", ""},
    {"XTBoolean", L"BOOL", L"BOOLEAN", ""},
    {"XTUnknown", L"UNKNOWN", L"UNKNOWN", ""},
    {"XTMaxType", L"", L"BAD", ""},
};

// Values 0..26 and many outside (negative ones too): names, classes and catalogue entry; and
// the same numbers read as ODBC SQL types.
TEST(CatalogueTest, EveryValueInAndOutOfTheEnumeration) {
    ASSERT_EQ(U::GetCatalogue().size(), std::size(kCatalogue));
    std::mt19937 random(20240611);
    for (int i = -300; i < 3300; ++i) {
        const int32 value = i <= 300 ? i : static_cast<int32>(random());
        const TypeRow row = value >= 0 && value <= XTMaxType ? kCatalogue[value]
                                                             : TypeRow{nullptr, L"", L"BAD", ""};
        const auto type = static_cast<XTDataType>(value);
        XTString display = L"previous", word = L"previous";
        ASSERT_EQ(&U::GetXTDataTypeName(type, display), &display);
        ASSERT_EQ(display, row.display) << value;
        ASSERT_EQ(U::GetSingleWordXTDataTypeName(type, word), row.word) << value;
        ASSERT_EQ(ClassLetters(type), row.classes) << value;
        const XTDataTypeCatalogueEntry* entry = U::GetCatalogueEntry(type);
        ASSERT_STREQ(entry ? entry->enumerator : nullptr, row.enumerator) << value;
        ASSERT_EQ(U::IsUnicodeType(value), value >= -10 && value <= -8) << value;  // SQL_W*CHAR
    }
}

TEST(CatalogueTest, LookUpsByWordIgnoreLetterCase) {
    for (int32 value = XTBitData; value <= XTBoolean; ++value) {
        std::wstring lower = kCatalogue[value].word;
        for (wchar_t& c : lower) c = std::towlower(c);
        for (const std::wstring& word : {std::wstring(kCatalogue[value].word), lower})
            EXPECT_TRUE(FromWord(word) == value && FromDatabaseWord(word) == value) << value;
    }
    // The database words (second step only) in any case.
    const XTDataType kDatabaseTypes[] = {XTInt4Data, XTNumericData, XTVarCharData, XTFloatData,
                                         XTVarCharData};
    int i = 0;
    for (const wchar_t* word : {L"INTEGER", L"number", L"Varchar2", L"REAL", L"nVarChar"}) {
        EXPECT_EQ(FromWord(word), XTUnknown);
        EXPECT_EQ(FromDatabaseWord(word), kDatabaseTypes[i++]);
    }
    // The search stops before XTUnknown, display names are no single words, words are whole.
    for (const wchar_t* word : {L"UNKNOWN", L"bad", L"", L"BOOL", L"LONG VARCHAR", L" INT",
                                L"INTEGERS", L"NVARCHAR2", L"\u00C9TAT"})
        EXPECT_EQ(FromDatabaseWord(word), XTUnknown) << std::wstring(word).size();
}

// The stored environment text is parsed on every call: set it directly here
// (max_field_size_env_test covers the reading at load).
TEST(MaxFieldSizeTest, ParsesTheStoredTextOnEveryCall) {
    const bool savedSet = g_bMaxFieldSizeSet;
    const XTString savedText = g_sMaxFieldSize;
    // Leading blanks and a sign are accepted, parsing stops at the first non-digit, no digits
    // give 0, and beyond the int32 range the parse saturates.
    const wchar_t* const kTexts[] = {L"0",     L"1", L"-5",         L"-1",         L"  +7",
                                     L"12abc", L"",  L"2147483647", L"2147483648", L"-99999999999"};
    const uint32 kSizes[] = {0, 1, 32768, 32768, 7, 12, 0, 2147483647u, 2147483647u, 32768};
    g_bMaxFieldSizeSet = true;
    for (std::size_t i = 0; i < std::size(kTexts); ++i) {
        g_sMaxFieldSize = kTexts[i];
        EXPECT_EQ(U::GetMaxFieldSize(), kSizes[i]) << i;
    }
    g_bMaxFieldSizeSet = false;  // whatever the text
    EXPECT_EQ(U::GetMaxFieldSize(), 32768u);
    g_bMaxFieldSizeSet = savedSet;
    g_sMaxFieldSize = savedText;
}

}  // namespace
