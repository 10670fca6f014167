// SQL text support: the reserved keywords (the raw table, the set and the case-insensitive
// look-up, also on first use from several threads) and the UTF-16 conversions (the rope, wide
// <-> 16-bit unit for unit, narrow <-> 16-bit through the platform converters, the local
// buffers and the assertions).
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cwctype>
#include <latch>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "CountingAllocator.h"
#include "Utility/Client/SUCSQLKeyWords.h"
#include "Utility/Client/SUCSqlString.h"

namespace {

using namespace std::string_literals;
using Units = std::vector<UTF16Char>;
using Util = UTF16StringUtil;

// The keyword rows in table order.
const char kKeywordRows[] = R"(
ABS ACOS ACP AGGREGATE AGGREGATES AGO ALL ALL_VALUES AND ANOMALIES ANY APPEND AS ASC ASCII ASIN
ASSOC AS_RAW_VALUES AT ATAN ATAN2 ATGRAIN ATTRIBUTE ATTRIBUTES AVERAGEALL AVG AVGALL BETWEEN BIN
BINS BIT BIT_LENGTH BOTH BOTTOMN BY CALCULATEDMEMBER CALL CANONICAL CASE CAST CEILING CHAR CHARACTER
CHARACTER_LENGTH CHAR_LENGTH CHOOSE CLUSTER COALESCE CODE_PAGE COMMA COMMIT CONCAT CONNECTION
CONTINUOUS CONVERT CORN CORR CORRALL CORRELATION CORRELATIONALL COS COT COUNT COVA CR CREATE CRLF
CUBE CURDATE CURRENT_DATE CURRENT_TIME CURRENT_TIMESTAMP CURTIME DATABASE DATASET DATE DAY DAYNAME
DAYOFMONTH DAYOFWEEK DAYOFYEAR DAY_OF_QUARTER DAY_OF_YEAR DDL DDLGEN DEC DECIMAL DEGREES DELETE
DELIMITER DENSE DEPTH DESC DESCRIPTOR_IDOF DETECT DIFFERENCE DIMAVG DIMCOUNT DIMENSIONAVERAGE
DIMENSIONCOUNT DIMENSIONFIRST DIMENSIONLAST DIMFIRST DIMLAST DIRECTORY DISASSOC DISCRETE DISPLAY
DISTINCT DOUBLE DROP ELSE END EQUIDEPTH EQUIWIDTH ESCAPE EVALUATE EVALUATE_AGGR EVALUATE_ANALYTIC
EVALUATE_PREDICATE EVALUATE_SCRIPT EVALUATE_TABLE_SCRIPT EXCEPT EXECUTE EXECUTE_SCRIPT EXISTS EXP
EXTRACT EXTRACTBIT FALSE FETCH FILE FILTER FIRST FISCAL_EXTRACT FLOAT FLOOR FOR FORECAST FREQUENCY
FROM GROUP HAVING HOUR HUB IDOF IFNULL IMPUTE IN INCLUDE INDEXCOL INPUT INPUT_MAPPINGS INSERT
INSIGHT_EXPECTED INSIGHT_ID INSIGHT_RANK INSIGHT_SCORE INT INTEGER INTERSECT INTERVAL INTO IS
ISANCESTOR ISCHILD ISDESCENDANT ISLEAF ISPARENT ISROOT ISSIBLING JSON_VALUE LAST LCASE LEADING LEFT
LENGTH LEVELS LIKE LINE_ENDING LISTAGG LOCAL LOCATE LOG LOG10 LOOKUP LOWER LTRIM MAVG MAX MEDIAN
MEMBER MIN MINUTE MOD MODE MODEL MODELOPTIONS MONTH MONTHNAME MONTH_OF_QUARTER MSUM NATURAL NEXT
NLSSORT NOAGGREGATE NOT NOW NTILE NULL NULLAGG NULLS NULLIF NULLIFNOTUNIQUE NULLSEQUAL NUMBER
NUMERIC OCTET_LENGTH OFFSET ON ONLY OPTIONS OR ORDER OUTLIER OUTPUT_COLUMNS PARENT PARTITION PERCENT
PERCENTILE PERIODAGO PERIODROLLING PERIODTODATE PHYSICAL PI POOL POPULATE POSITION POWER PRECISION
PREDICTIVE PREFER PREPARE QUARTER QUARTER_OF_YEAR RADIANS RAND RANGE RANGE_HIGH RANGE_LOW RANK
RCOUNT REAL REG REGALL REGR REGRESSION REGRESSIONALL REPEAT REPLACE REPORT_AGGREGATE REPORT_AVG
REPORT_COUNT REPORT_MAX REPORT_MIN REPORT_SUM RETURNING RIGHT RMAX RMIN ROUND ROW ROWID ROWS RSUM
RTRIM SECOND SELECT SELECTION SELECT_BUSINESS_MODEL SELECT_PHYSICAL SET SIGN SIN SMALLINT SOME
SORTKEY SOUNDEX SPACE SPARSE SPOKE SQLANYWHERE SQL_BIGINT SQL_BINARY SQL_BIT SQL_CHAR SQL_DATE
SQL_DECIMAL SQL_DOUBLE SQL_FLOAT SQL_INTEGER SQL_LONGVARBINARY SQL_LONGVARCHAR SQL_REAL SQL_SMALLINT
SQL_TIME SQL_TIMESTAMP SQL_TINYINT SQL_TSI_DAY SQL_TSI_FRAC_SECOND SQL_TSI_HOUR SQL_TSI_MINUTE
SQL_TSI_MONTH SQL_TSI_QUARTER SQL_TSI_SECOND SQL_TSI_WEEK SQL_TSI_YEAR SQL_VARBINARY SQL_VARCHAR
SQRT STDDEV STDDEV_POP STDDEV_SAMP SUBSTRING SUM SUMMARIZE SYNC TAB TABLE TAN TASKS THEN TIME
TIMEDIMSEQNUM TIMESTAMP TIMESTAMPADD TIMESTAMPDIFF TO TODATE TOP TOPN TO_DATETIME TRAILING TRANSLATE
TRENDLINE TRIM TRUE TRUNCATE UCASE UNBOUND UNION UNKNOWN UNPREPARE UNSUPPRESSED UPDATE UPPER USER
USING USING_SURROGATE_KEY UTF_8 VALUEOF VARCHAR VARIABLE VARIABLE_REPLACE VARYING
VERIFY_SME_EXPRESSION WEEK WEEK_OF_QUARTER WEEK_OF_YEAR WHEN WHERE WIDTH_BUCKET WITH XSA XSA_LOOKUP
XSA_ROLE YEAR FULL INNER JOIN LEFT OUTER RIGHT
)";

std::vector<std::wstring> KeywordRows() {
    std::vector<std::wstring> rows;
    std::istringstream words(kKeywordRows);
    for (std::string word; words >> word;) rows.emplace_back(word.begin(), word.end());
    return rows;
}

TEST(SQLKeyWordsTest, TableSetAndLookUp) {
    const std::vector<std::wstring> rows = KeywordRows();
    ASSERT_EQ(rows.size(), 383u);  // LEFT and RIGHT twice, NULLS before NULLIF
    char const** table = SQLKeyWords::GetSQLReservedKeyWords();
    for (std::size_t row = 0; row < rows.size(); ++row)
        ASSERT_EQ(std::string(table[row]), std::string(rows[row].begin(), rows[row].end()));
    EXPECT_STREQ(table[383], "");
    const std::set<std::wstring> distinct(rows.begin(), rows.end());
    const SQLKeywordsSet& keywords = SQLKeyWords::GetSQLKeywordsSet();
    EXPECT_EQ(std::set<std::wstring>(keywords.begin(), keywords.end()), distinct);  // 381 words
    // IsKeyword compares whole words, ignoring case.
    for (const std::wstring& word : {L""s, L" SELECT"s, L"SELECT "s, L"SELECTED"s, L"SELECT\0"s,
                                     L"SELECT\u00C9"s, L"\U0001F600"s})
        EXPECT_FALSE(SQLKeyWords::IsKeyword(word)) << word.size();
    std::mt19937 random(383);
    for (const std::wstring& row : rows) {
        // The keyword, and with a letter added or dropped, each with random letters lowered.
        for (std::wstring word : {row, row + L"S", row.substr(1)}) {
            const bool expected = distinct.count(word) == 1;
            for (wchar_t& c : word) c = random() % 2 ? std::towlower(c) : c;
            EXPECT_EQ(SQLKeyWords::IsKeyword(word), expected)
                << std::string(word.begin(), word.end());
        }
    }
}

// Runs in a fresh process (a threadsafe death test re-executes the program for this test
// alone), so the threads race to build the set.
void RaceToFirstUse() {
    std::atomic<int> failures = 0;
    std::latch start(8);
    std::vector<std::jthread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&] {
            start.arrive_and_wait();
            for (const std::wstring& word : KeywordRows())
                failures += !SQLKeyWords::IsKeyword(word) + SQLKeyWords::IsKeyword(word + L"Q");
            failures += SQLKeyWords::GetSQLKeywordsSet().size() != 381;
        });
    threads.clear();  // joins them
    std::exit(failures);
}

TEST(SQLKeyWordsTest, FirstUseFromSeveralThreads) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(RaceToFirstUse(), ::testing::ExitedWithCode(0), "");
}

// No converter knows kNone: a call that converts with it aborts.
constexpr unsigned kUTF8 = 65001, kLatin1 = 28591, kNone = 4242;

const auto UnitsOf = [](const UTF16String& rope) { return Units(rope.begin(), rope.end()); };

// Wide and 16-bit text map unit for unit: no surrogate pair is formed or split, a wide unit
// keeps its low 16 bits. An embedded 0 ends every result, an odd last byte is ignored, and
// null or empty inputs give empty results without converting.
TEST(UTF16StringUtilTest, EdgeCases) {
    const UTF16Char pair[] = {0xD83D, 0xDE00}, abc[] = {'a', 'b', 'c'}, aZeroB[] = {'a', 0, 'b'};
    const UTF16Char zeroA[] = {0, 'a'};
    UTF16String rope;
    EXPECT_EQ(UnitsOf(Util::XTStringToUTF16String(L"\U0001F600")), Units{0xF600});
    Util::XTStringToUTF16String(L"ab\0c"s, rope);
    EXPECT_EQ(UnitsOf(rope), (Units{'a', 'b'}));
    EXPECT_EQ(UnitsOf(Util::XTStringToUTF16String(L"a\U00010000b")), Units{'a'});
    EXPECT_TRUE(Util::XTStringToUTF16String(static_cast<const wchar_t*>(nullptr)).empty());
    EXPECT_EQ(Util::UTF16StringToXTString(pair, 4), (XTString{0xD83D, 0xDE00}));
    EXPECT_EQ(Util::UTF16StringToXTString(abc, 5), L"ab");
    EXPECT_EQ(Util::UTF16StringToXTString(aZeroB, 6), L"a");
    EXPECT_EQ(Util::UTF16StringToXTString(abc, 1) + Util::UTF16StringToXTString(nullptr, 9), L"");
    EXPECT_EQ(UnitsOf(Util::XTNStringToUTF16String("ab\0cd", 6, kUTF8)), (Units{'a', 'b'}));
    EXPECT_EQ(UnitsOf(Util::XTNStringToUTF16String("\xE9\xFF", 3, kLatin1)), (Units{0xE9, 0xFF}));
    // Code page 0 is the default code page: UTF-8 in the C locale.
    EXPECT_EQ(UnitsOf(Util::XTNStringToUTF16String("\xC3\xA9", 3, 0)), Units{0xE9});
    EXPECT_TRUE(Util::XTNStringToUTF16String("abc", 0, kNone).empty() &&
                Util::XTNStringToUTF16String("abc", 1, kNone).empty() &&
                Util::XTNStringToUTF16String("\0bc", 4, kNone).empty() &&
                Util::XTNStringToUTF16String(nullptr, 9, kNone).empty());
    Util::XTNStringToUTF16String("ab\0cd"s, rope, kUTF8);
    EXPECT_EQ(UnitsOf(rope), (Units{'a', 'b'}));
    Util::XTNStringToUTF16String(""s, rope, kUTF8);
    EXPECT_TRUE(rope.empty());
    EXPECT_EQ(Util::UTF16StringToXTNString(abc, 5, kUTF8), "ab");
    EXPECT_EQ(Util::UTF16StringToXTNString(aZeroB, 6, kUTF8), "a");
    EXPECT_EQ(Util::UTF16StringToXTNString(abc, 1, kNone) +
                  Util::UTF16StringToXTNString(zeroA, 4, kNone) +
                  Util::UTF16StringToXTNString(nullptr, 9, kNone),
              "");
    XTNString narrow = "old";
    Util::UTF16StringToXTNString(UTF16String(), narrow, kNone);
    EXPECT_EQ(narrow, "");
}

// Random text, short and long (beyond the 256-element local buffers): all eight conversions
// agree with the expected units and round-trip.
TEST(UTF16StringUtilTest, AllConversionsAgreeOnRandomText) {
    // Each length of UTF-8 at its bounds, and the same characters in UTF-16.
    const std::pair<const char*, std::u16string> kCharacters[] = {
        {"a", u"a"},
        {"\x7F", u"\x7F"},
        {"\xC2\x80", u"\x80"},
        {"\xDF\xBF", u"\x7FF"},
        {"\xE0\xA0\x80", u"\x800"},
        {"\xEF\xBF\xBF", u"\xFFFF"},
        {"\xF0\x90\x80\x80", u"\U00010000"},
        {"\xF4\x8F\xBF\xBF", u"\U0010FFFF"}};
    std::mt19937 random(65001);
    for (int i = 0; i < 400; ++i) {
        std::string utf8;
        Units units;
        for (std::size_t k = 0, n = i < 300 ? random() % 30 : 100 + random() % 900; k < n; ++k) {
            const auto& [bytes, utf16] = kCharacters[random() % std::size(kCharacters)];
            utf8 += bytes;
            units.insert(units.end(), utf16.begin(), utf16.end());
        }
        const unsigned unitBytes = units.size() * 2;
        UTF16String rope;
        XTNString narrow;
        XTString wide;  // the same units, one wide character each
        Util::XTNStringToUTF16String(utf8, rope, kUTF8);
        ASSERT_EQ(UnitsOf(rope), units);
        ASSERT_TRUE(Util::XTNStringToUTF16String(utf8.c_str(), utf8.size() + 1, kUTF8) == rope);
        Util::UTF16StringToXTNString(rope, narrow, kUTF8);
        ASSERT_EQ(narrow, utf8);
        ASSERT_EQ(Util::UTF16StringToXTNString(units.data(), unitBytes, kUTF8), utf8);
        Util::UTF16StringToXTString(rope, wide);
        ASSERT_EQ(wide, XTString(units.begin(), units.end()));
        ASSERT_EQ(Util::UTF16StringToXTString(units.data(), unitBytes), wide);
        ASSERT_TRUE(Util::XTStringToUTF16String(wide.c_str()) == rope);
    }
}

// Up to 256 elements convert in the local buffers: short text allocates only its result, and
// copies of a rope share its units.
TEST(UTF16StringUtilTest, OnlyTextBeyondTheLocalBuffersUsesTheHeap) {
    const std::string shortText(200, 'n'), longText(5000, 'n');
    const UTF16String shortRope = Util::XTStringToUTF16String(XTString(60, L'u').c_str());
    UTF16String rope;
    XTNString narrow;
    narrow.reserve(1000);
    Util::UTF16StringToXTNString(shortRope, narrow, kUTF8);  // the converter's first use
    const auto allocations = [](auto&& call) {
        const xts::test::AllocationCounter counter;
        call();
        return counter.Count();
    };
    EXPECT_EQ(allocations([&] { Util::XTNStringToUTF16String(shortText, rope, kUTF8); }), 1u);
    EXPECT_EQ(allocations([&] { Util::UTF16StringToXTNString(shortRope, narrow, kUTF8); }), 0u);
    EXPECT_EQ(allocations([&] { rope = shortRope; }), 0u);  // copies share the units
    // The long text needs a work buffer besides the rope.
    EXPECT_EQ(
        allocations([&] { rope = Util::XTNStringToUTF16String(longText.c_str(), 5001, kUTF8); }),
        2u);
}

TEST(UTF16StringUtilDeathTest, RefusedConversionsAbortWithTheFailedCondition) {
    const UTF16Char lone[] = {'a', 0xD800, 'b', 0};
    const char unterminated[] = {'a', 'b', 'c'};
    UTF16String rope;
    XTNString narrow;
    EXPECT_DEATH(Util::XTNStringToUTF16String("ab\xC3(", 5, kUTF8), "toSize >= 0");
    EXPECT_DEATH(Util::XTNStringToUTF16String(""s, rope, kNone), "toSize >= 0");
    EXPECT_DEATH(Util::UTF16StringToXTNString(UTF16String(lone), narrow, kUTF8), "toSize >= 0");
    EXPECT_DEATH(Util::UTF16StringToXTNString(lone, 6, kUTF8), "toSize >= 0");
    EXPECT_DEATH(Util::XTNStringToUTF16String(unterminated, 3, kUTF8), "fromSize < bufferBytes");
    EXPECT_DEATH(static_cast<void>(rope[0]), "index < m_size");
}

}  // namespace
