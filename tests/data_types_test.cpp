// The column data type catalogue: names, look-ups, predicates, the encoding
// enumerations and the maximum field size.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "Utility/Client/SUCXTDataTypes.h"

namespace {

using U = SUXTDataTypeUtility;

// Class memberships, one bit per predicate.
enum : unsigned {
    kBit = 1u << 0,
    kText = 1u << 1,
    kVarChar = 1u << 2,
    kBinary = 1u << 3,
    kVarBinary = 1u << 4,
    kVariableLength = 1u << 5,
    kInteger = 1u << 6,
    kNumeric = 1u << 7,
    kExactNumeric = 1u << 8,
    kInexactNumeric = 1u << 9,
    kDateTimeDerived = 1u << 10,
    kDateTimeOrTimeStamp = 1u << 11,
    kQuotedLiteral = 1u << 12,
};

struct Predicate {
    const char* name;
    unsigned bit;
    bool (*holds)(XTDataType) noexcept;
};
const Predicate kPredicates[] = {
    {"IsXTBitType", kBit, U::IsXTBitType},
    {"IsXTTextType", kText, U::IsXTTextType},
    {"IsXTVarCharType", kVarChar, U::IsXTVarCharType},
    {"IsXTBinaryType", kBinary, U::IsXTBinaryType},
    {"IsXTVarBinaryType", kVarBinary, U::IsXTVarBinaryType},
    {"IsVariableLengthDataType", kVariableLength, U::IsVariableLengthDataType},
    {"IsXTIntegerType", kInteger, U::IsXTIntegerType},
    {"IsXTNumericType", kNumeric, U::IsXTNumericType},
    {"IsXTExactNumericType", kExactNumeric, U::IsXTExactNumericType},
    {"IsXTInexactNumericType", kInexactNumeric, U::IsXTInexactNumericType},
    {"IsXTDateTimeDerivedType", kDateTimeDerived, U::IsXTDateTimeDerivedType},
    {"IsXTDateTimeOrXTTimeStamp", kDateTimeOrTimeStamp, U::IsXTDateTimeOrXTTimeStamp},
    {"IsXTQuotedLiteralType", kQuotedLiteral, U::IsXTQuotedLiteralType},
};

// The catalogue as it must be, written out row by row.
struct TypeRow {
    int32 value;
    const char* enumerator;
    const wchar_t* displayName;
    const wchar_t* singleWordName;
    unsigned classes;
};
constexpr unsigned kVarText = kText | kVarChar | kVariableLength | kQuotedLiteral;
constexpr unsigned kVarBin = kBinary | kVarBinary | kVariableLength;
constexpr unsigned kInt = kInteger | kNumeric | kExactNumeric;
const TypeRow kCatalogueRows[] = {
    {0, "XTBitData", L"BIT", L"BIT", kBit},
    {1, "XTCharData", L"CHAR", L"CHAR", kText | kQuotedLiteral},
    {2, "XTVarCharData", L"VARCHAR", L"VARCHAR", kVarText},
    {3, "XTLongVarCharData", L"LONG VARCHAR", L"LONGVARCHAR", kVarText},
    {4, "XTBinaryData", L"BINARY", L"BINARY", kBinary},
    {5, "XTVarBinaryData", L"VARBINARY", L"VARBINARY", kVarBin},
    {6, "XTLongVarBinaryData", L"LONG VARBINARY", L"LONGVARBINARY", kVarBin},
    {7, "XTInt1Data", L"TINYINT", L"TINYINT", kInt},
    {8, "XTUInt1Data", L"UNSIGNED TINYINT", L"TINYUINT", kInt},
    {9, "XTInt2Data", L"SMALLINT", L"SMALLINT", kInt},
    {10, "XTUInt2Data", L"UNSIGNED SMALLINT", L"SMALLUINT", kInt},
    {11, "XTInt4Data", L"INTEGER", L"INT", kInt},
    {12, "XTUInt4Data", L"UNSIGNED INTEGER", L"UINT", kInt},
    {13, "XTFloatData", L"FLOAT", L"FLOAT", kNumeric | kInexactNumeric},
    {14, "XTDoubleData", L"DOUBLE PRECISION", L"DOUBLE", kNumeric | kInexactNumeric},
    {15, "XTMoneyData", L"MONEY", L"MONEY", kNumeric | kExactNumeric},
    {16, "XTNumericData", L"NUMERIC", L"NUMERIC", kNumeric | kExactNumeric},
    {17, "XTDecimalData", L"DECIMAL", L"DECIMAL", kNumeric | kExactNumeric},
    {18, "XTDateData", L"DATE", L"DATE", kDateTimeDerived | kQuotedLiteral},
    {19, "XTTimeData", L"TIME", L"TIME", kDateTimeDerived | kQuotedLiteral},
    {20, "XTDateTimeData", L"TIMESTAMP", L"DATETIME",
     kDateTimeDerived | kDateTimeOrTimeStamp | kQuotedLiteral},
    {21, "XTTimeStampData", L"TIMESTAMP", L"TIMESTAMP",
     kDateTimeDerived | kDateTimeOrTimeStamp | kQuotedLiteral},
    {22, "XTIntervalData", L"INTERVAL", L"INTERVAL", kDateTimeDerived},
    {23, "XTObjectData", L"OBJECT", L"OBJECT", 0},
    {24, "XTBoolean", L"BOOL", L"BOOLEAN", 0},
    {25, "XTUnknown", L"UNKNOWN", L"UNKNOWN", 0},
    {26, "XTMaxType", L"", L"BAD", 0},
};

// The enumerators travel in streams and keys: their values are fixed.
static_assert(sizeof(XTDataType) == 4 && sizeof(CharDataCodeType) == 4);
static_assert(sizeof(SUXTDataTypeUtility::ColumnUnicodeProperty) == 4);
static_assert(XTBitData == 0 && XTLongVarCharData == 3 && XTInt4Data == 11 && XTDecimalData == 17 &&
              XTIntervalData == 22 && XTBoolean == 24 && XTUnknown == 25 && XTMaxType == 26);
static_assert(kCharDataNarrowCode == 0 && kCharDataUniCode == 1 && kCharDataNarrowUTF8Code == 2 &&
              kCharDataUTF16 == 3);
static_assert(U::kAcceptRecordDefault == 0 && U::kOverrideAsUnicode == 1 &&
              U::kOverrideAsNarrowCode == 2 && U::kOverrideAsNarrowUTF8Code == 3);
// The predicates are usable in constant expressions.
static_assert(U::IsXTQuotedLiteralType(XTTimeStampData) &&
              !U::IsXTQuotedLiteralType(XTIntervalData));

XTDataType AsType(int64_t value) {
    return static_cast<XTDataType>(static_cast<int32>(value));
}

std::wstring DisplayName(XTDataType type) {
    XTString out = L"previous";
    return U::GetXTDataTypeName(type, out);
}
std::wstring SingleWordName(XTDataType type) {
    XTString out = L"previous";
    return U::GetSingleWordXTDataTypeName(type, out);
}

// The classes every predicate reports for `type`, as bits.
unsigned ReportedClasses(XTDataType type) {
    unsigned classes = 0;
    for (const Predicate& predicate : kPredicates)
        if (predicate.holds(type)) classes |= predicate.bit;
    return classes;
}

unsigned ExpectedClasses(int64_t value) {
    for (const TypeRow& row : kCatalogueRows)
        if (row.value == value) return row.classes;
    return 0;
}

// --- Every value of the enumeration ---

class CatalogueRowTest : public ::testing::TestWithParam<TypeRow> {};

TEST_P(CatalogueRowTest, NamesEntryAndClasses) {
    const TypeRow& row = GetParam();
    const XTDataType type = AsType(row.value);
    EXPECT_EQ(DisplayName(type), row.displayName);
    EXPECT_EQ(SingleWordName(type), row.singleWordName);

    const XTDataTypeCatalogueEntry* entry = U::GetCatalogueEntry(type);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->type, type);
    EXPECT_STREQ(entry->enumerator, row.enumerator);
    EXPECT_STREQ(entry->displayName, row.displayName);
    EXPECT_STREQ(entry->singleWordName, row.singleWordName);
    EXPECT_EQ(&U::GetCatalogue()[static_cast<std::size_t>(row.value)], entry);

    for (const Predicate& predicate : kPredicates)
        EXPECT_EQ(predicate.holds(type), (row.classes & predicate.bit) != 0) << predicate.name;
}

INSTANTIATE_TEST_SUITE_P(AllValues, CatalogueRowTest, ::testing::ValuesIn(kCatalogueRows),
                         [](const auto& info) { return std::string(info.param.enumerator); });

TEST(CatalogueTest, HasOneRowPerValueInOrder) {
    const auto catalogue = U::GetCatalogue();
    ASSERT_EQ(catalogue.size(), std::size(kCatalogueRows));
    for (std::size_t i = 0; i < catalogue.size(); ++i)
        EXPECT_EQ(static_cast<std::size_t>(catalogue[i].type), i);
}

TEST(CatalogueTest, NameOperationsReturnTheirOutArgument) {
    XTString out = L"something long that must be replaced entirely";
    EXPECT_EQ(&U::GetXTDataTypeName(XTBitData, out), &out);
    EXPECT_EQ(out, L"BIT");
    EXPECT_EQ(&U::GetSingleWordXTDataTypeName(XTMaxType, out), &out);
    EXPECT_EQ(out, L"BAD");
    EXPECT_EQ(&U::GetXTDataTypeName(XTMaxType, out), &out);
    EXPECT_TRUE(out.empty());
}

TEST(CatalogueTest, DateTimeAndTimeStampShareTheirDisplayNameOnly) {
    EXPECT_EQ(DisplayName(XTDateTimeData), L"TIMESTAMP");
    EXPECT_EQ(DisplayName(XTTimeStampData), L"TIMESTAMP");
    EXPECT_EQ(SingleWordName(XTDateTimeData), L"DATETIME");
    EXPECT_EQ(SingleWordName(XTTimeStampData), L"TIMESTAMP");
    EXPECT_EQ(DisplayName(XTBoolean), L"BOOL");
    EXPECT_EQ(SingleWordName(XTBoolean), L"BOOLEAN");
}

// --- Values outside the enumeration ---

class OutOfRangeTest : public ::testing::TestWithParam<int64_t> {};

TEST_P(OutOfRangeTest, GetsNoNameAndNoClass) {
    const XTDataType type = AsType(GetParam());
    EXPECT_EQ(DisplayName(type), L"");
    EXPECT_EQ(SingleWordName(type), L"BAD");
    EXPECT_EQ(U::GetCatalogueEntry(type), nullptr);
    EXPECT_EQ(ReportedClasses(type), 0u);
    bool hasDate = true, hasTime = true;
    EXPECT_FALSE(U::IsXTDateTimeDerivedType(type, hasDate, hasTime));
    EXPECT_FALSE(hasDate);
    EXPECT_FALSE(hasTime);
}

// Negative values whose low bits fall in a class, and values just past the end.
INSTANTIATE_TEST_SUITE_P(Values, OutOfRangeTest,
                         ::testing::Values(-1, -2, -3, -7, -18, -26, -27, 27, 28, 100, 255, 256,
                                           256 + 2, 65536 + 18, INT32_MAX, INT32_MIN,
                                           int64_t{INT32_MIN} + 2, int64_t{INT32_MIN} + 20,
                                           int64_t{UINT32_MAX} - 1));

// Every predicate over many values, in and out of the enumeration.
TEST(PredicateSweepTest, ClassesMatchTheCatalogueForEveryValue) {
    std::vector<int64_t> values;
    for (int64_t v = -300; v <= 300; ++v)
        values.push_back(v);
    std::mt19937 random(20240611);
    std::uniform_int_distribution<int32> any(INT32_MIN, INT32_MAX);
    for (int i = 0; i < 5000; ++i)
        values.push_back(any(random));
    for (const int64_t value : values)
        ASSERT_EQ(ReportedClasses(AsType(value)), ExpectedClasses(value)) << "value " << value;
}

TEST(PredicateTest, TypesWithoutClass) {
    for (const XTDataType type : {XTObjectData, XTBoolean, XTUnknown, XTMaxType})
        EXPECT_EQ(ReportedClasses(type), 0u) << type;
    EXPECT_FALSE(U::IsXTNumericType(XTBoolean));
    EXPECT_FALSE(U::IsXTExactNumericType(XTFloatData));
    EXPECT_TRUE(U::IsXTExactNumericType(XTMoneyData));
    EXPECT_FALSE(U::IsVariableLengthDataType(XTCharData));
    EXPECT_FALSE(U::IsVariableLengthDataType(XTBinaryData));
}

struct DateTimePartsRow {
    XTDataType type;
    bool derived;
    bool hasDate;
    bool hasTime;
};

class DateTimePartsTest : public ::testing::TestWithParam<DateTimePartsRow> {};

TEST_P(DateTimePartsTest, ClearsThenSetsTheParts) {
    const DateTimePartsRow& row = GetParam();
    for (const bool initial : {false, true}) {
        bool hasDate = initial, hasTime = initial;
        EXPECT_EQ(U::IsXTDateTimeDerivedType(row.type, hasDate, hasTime), row.derived);
        EXPECT_EQ(hasDate, row.hasDate);
        EXPECT_EQ(hasTime, row.hasTime);
    }
}

INSTANTIATE_TEST_SUITE_P(Types, DateTimePartsTest,
                         ::testing::Values(DateTimePartsRow{XTDateData, true, true, false},
                                           DateTimePartsRow{XTTimeData, true, false, true},
                                           DateTimePartsRow{XTDateTimeData, true, true, true},
                                           DateTimePartsRow{XTTimeStampData, true, true, true},
                                           DateTimePartsRow{XTIntervalData, true, false, false},
                                           DateTimePartsRow{XTCharData, false, false, false},
                                           DateTimePartsRow{XTObjectData, false, false, false},
                                           DateTimePartsRow{XTMaxType, false, false, false}));

TEST(IsUnicodeTypeTest, TrueExactlyForTheWideSqlTypes) {
    for (int sqlType = -200; sqlType <= 200; ++sqlType)
        EXPECT_EQ(U::IsUnicodeType(sqlType), sqlType == -10 || sqlType == -9 || sqlType == -8)
            << sqlType;
    EXPECT_FALSE(U::IsUnicodeType(INT_MIN));
    EXPECT_FALSE(U::IsUnicodeType(INT_MAX));
}

// --- Look-ups by name ---

// Spellings of a word: upper, lower, capitalised, alternating, and random
// case flips (fixed seed).
std::vector<std::wstring> CaseVariants(const std::wstring& word) {
    std::vector<std::wstring> variants{word};
    std::wstring lower, capitalised, alternating;
    for (std::size_t i = 0; i < word.size(); ++i) {
        const wchar_t c = word[i];
        const wchar_t l = (c >= L'A' && c <= L'Z') ? c - L'A' + L'a' : c;
        lower += l;
        capitalised += i == 0 ? c : l;
        alternating += i % 2 ? l : c;
    }
    variants.push_back(lower);
    variants.push_back(capitalised);
    variants.push_back(alternating);
    std::mt19937 random(static_cast<unsigned>(word.size()) * 7919u);
    for (int n = 0; n < 4; ++n) {
        std::wstring flipped = word;
        for (wchar_t& c : flipped)
            if (c >= L'A' && c <= L'Z' && random() % 2) c = c - L'A' + L'a';
        variants.push_back(flipped);
    }
    return variants;
}

TEST(SingleWordLookupTest, FindsEveryTypeUpToBooleanInAnyCase) {
    for (const TypeRow& row : kCatalogueRows) {
        if (row.value > XTBoolean) continue;
        for (const std::wstring& spelling : CaseVariants(row.singleWordName)) {
            EXPECT_EQ(U::GetXTDataTypeFromSingleWordName(spelling), row.value);
            EXPECT_EQ(U::GetXTDataTypeFromDatabaseSingleWordName(spelling), row.value);
        }
    }
}

struct LookupRow {
    const wchar_t* name;
    XTDataType singleWord;
    XTDataType database;
};

class LookupTest : public ::testing::TestWithParam<LookupRow> {};

TEST_P(LookupTest, InAnyLetterCase) {
    const LookupRow& row = GetParam();
    for (const std::wstring& spelling : CaseVariants(row.name)) {
        EXPECT_EQ(U::GetXTDataTypeFromSingleWordName(spelling), row.singleWord);
        EXPECT_EQ(U::GetXTDataTypeFromDatabaseSingleWordName(spelling), row.database);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Words, LookupTest,
    ::testing::Values(
        // The second step's database words.
        LookupRow{L"INTEGER", XTUnknown, XTInt4Data},
        LookupRow{L"NUMBER", XTUnknown, XTNumericData},
        LookupRow{L"VARCHAR2", XTUnknown, XTVarCharData},
        LookupRow{L"REAL", XTUnknown, XTFloatData},
        LookupRow{L"NVARCHAR", XTUnknown, XTVarCharData},
        // Found by the first step.
        LookupRow{L"INT", XTInt4Data, XTInt4Data}, LookupRow{L"DOUBLE", XTDoubleData, XTDoubleData},
        LookupRow{L"DATETIME", XTDateTimeData, XTDateTimeData},
        LookupRow{L"TIMESTAMP", XTTimeStampData, XTTimeStampData},
        LookupRow{L"BOOLEAN", XTBoolean, XTBoolean},
        // Names that find nothing: the search stops before XTUnknown, display
        // names with blanks are no single words, and words are compared whole.
        LookupRow{L"UNKNOWN", XTUnknown, XTUnknown}, LookupRow{L"BAD", XTUnknown, XTUnknown},
        LookupRow{L"", XTUnknown, XTUnknown}, LookupRow{L"BOOL", XTUnknown, XTUnknown},
        LookupRow{L"LONG VARCHAR", XTUnknown, XTUnknown},
        LookupRow{L"DOUBLE PRECISION", XTUnknown, XTUnknown},
        LookupRow{L" INT", XTUnknown, XTUnknown}, LookupRow{L"INT ", XTUnknown, XTUnknown},
        LookupRow{L"IN", XTUnknown, XTUnknown}, LookupRow{L"INTEGERS", XTUnknown, XTUnknown},
        LookupRow{L"NVARCHAR2", XTUnknown, XTUnknown},
        LookupRow{L"\u00C9TAT", XTUnknown, XTUnknown}));

// Every name the look-up finds turns back into the same name.
TEST(SingleWordLookupTest, RoundTripsWithTheNameOperation) {
    for (int32 value = XTBitData; value <= XTBoolean; ++value) {
        XTString name;
        U::GetSingleWordXTDataTypeName(AsType(value), name);
        EXPECT_EQ(U::GetXTDataTypeFromSingleWordName(name), value);
    }
}

// --- Maximum field size ---

// Sets the two process-wide items for one test and restores them after.
class MaxFieldSizeTest : public ::testing::Test {
  protected:
    void SetUp() override {
        m_savedSet = g_bMaxFieldSizeSet;
        m_savedText = g_sMaxFieldSize;
    }
    void TearDown() override {
        g_bMaxFieldSizeSet = m_savedSet;
        g_sMaxFieldSize = m_savedText;
    }
    static uint32 SizeFor(const wchar_t* text) {
        g_bMaxFieldSizeSet = true;
        g_sMaxFieldSize = text;
        return U::GetMaxFieldSize();
    }

  private:
    bool m_savedSet = false;
    XTString m_savedText;
};

TEST_F(MaxFieldSizeTest, DefaultWhenNotSetWhateverTheText) {
    g_bMaxFieldSizeSet = false;
    for (const wchar_t* text : {L"", L"0", L"100", L"-5", L"garbage"}) {
        g_sMaxFieldSize = text;
        EXPECT_EQ(U::GetMaxFieldSize(), 32768u) << text;
    }
}

struct MaxFieldSizeRow {
    const wchar_t* text;
    uint32 expected;
};

const MaxFieldSizeRow kMaxFieldSizeRows[] = {
    {L"0", 0},
    {L"1", 1},
    {L"-5", 32768},
    {L"-1", 32768},
    {L"-0", 0},
    {L"+7", 7},
    {L"32767", 32767},
    {L"32769", 32769},
    {L"1048576", 1048576},
    {L"2147483647", 2147483647u},
    // Beyond the signed 32-bit range the parse saturates.
    {L"2147483648", 2147483647u},
    {L"99999999999999999999", 2147483647u},
    {L"-2147483648", 32768},
    {L"-99999999999999999999", 32768},
    // The parse stops at the first non-digit and gives 0 for no digits.
    {L"", 0},
    {L"abc", 0},
    {L"12abc", 12},
    {L"  64", 64},
    {L"\t\n 64", 64},
    {L"64 ", 64},
    {L"6 4", 6},
    {L"0x10", 0},
    {L"1e6", 1},
    {L"--5", 0},
    {L"\u0661\u0662", 0},  // Arabic-Indic digits are no decimal digits here
};

TEST_F(MaxFieldSizeTest, ParsesTheStoredText) {
    for (const MaxFieldSizeRow& row : kMaxFieldSizeRows)
        EXPECT_EQ(SizeFor(row.text), row.expected)
            << "text \"" << std::wstring(row.text).size() << "\" units";
}

TEST_F(MaxFieldSizeTest, EveryInt32RoundTripsOrFallsBack) {
    std::mt19937 random(424242);
    std::uniform_int_distribution<int32> any(INT32_MIN, INT32_MAX);
    for (int i = 0; i < 20000; ++i) {
        const int32 value = i < 2 ? (i == 0 ? INT32_MIN : INT32_MAX) : any(random);
        const std::wstring text = std::to_wstring(value);
        const uint32 expected = value < 0 ? 32768u : static_cast<uint32>(value);
        ASSERT_EQ(SizeFor(text.c_str()), expected) << value;
    }
}

TEST_F(MaxFieldSizeTest, ParsedAgainOnEveryCall) {
    EXPECT_EQ(SizeFor(L"10"), 10u);
    g_sMaxFieldSize = L"20";
    EXPECT_EQ(U::GetMaxFieldSize(), 20u);
    g_bMaxFieldSizeSet = false;
    EXPECT_EQ(U::GetMaxFieldSize(), 32768u);
}

}  // namespace
