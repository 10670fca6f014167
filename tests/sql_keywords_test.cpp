// The SQL reserved keywords: the raw table, the set and the case-insensitive
// look-up, including its first use from several threads at once.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <latch>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Utility/Client/SUCSQLKeyWords.h"

namespace {

// The keyword rows in table order, written out as one list.
const char kKeywordList[] =
    "ABS, ACOS, ACP, AGGREGATE, AGGREGATES, AGO, ALL, ALL_VALUES, AND, ANOMALIES, ANY, "
    "APPEND, AS, ASC, ASCII, ASIN, ASSOC, AS_RAW_VALUES, AT, ATAN, ATAN2, ATGRAIN, "
    "ATTRIBUTE, ATTRIBUTES, AVERAGEALL, AVG, AVGALL, BETWEEN, BIN, BINS, BIT, BIT_LENGTH, "
    "BOTH, BOTTOMN, BY, CALCULATEDMEMBER, CALL, CANONICAL, CASE, CAST, CEILING, CHAR, "
    "CHARACTER, CHARACTER_LENGTH, CHAR_LENGTH, CHOOSE, CLUSTER, COALESCE, CODE_PAGE, COMMA, "
    "COMMIT, CONCAT, CONNECTION, CONTINUOUS, CONVERT, CORN, CORR, CORRALL, CORRELATION, "
    "CORRELATIONALL, COS, COT, COUNT, COVA, CR, CREATE, CRLF, CUBE, CURDATE, CURRENT_DATE, "
    "CURRENT_TIME, CURRENT_TIMESTAMP, CURTIME, DATABASE, DATASET, DATE, DAY, DAYNAME, "
    "DAYOFMONTH, DAYOFWEEK, DAYOFYEAR, DAY_OF_QUARTER, DAY_OF_YEAR, DDL, DDLGEN, DEC, "
    "DECIMAL, DEGREES, DELETE, DELIMITER, DENSE, DEPTH, DESC, DESCRIPTOR_IDOF, DETECT, "
    "DIFFERENCE, DIMAVG, DIMCOUNT, DIMENSIONAVERAGE, DIMENSIONCOUNT, DIMENSIONFIRST, "
    "DIMENSIONLAST, DIMFIRST, DIMLAST, DIRECTORY, DISASSOC, DISCRETE, DISPLAY, DISTINCT, "
    "DOUBLE, DROP, ELSE, END, EQUIDEPTH, EQUIWIDTH, ESCAPE, EVALUATE, EVALUATE_AGGR, "
    "EVALUATE_ANALYTIC, EVALUATE_PREDICATE, EVALUATE_SCRIPT, EVALUATE_TABLE_SCRIPT, EXCEPT, "
    "EXECUTE, EXECUTE_SCRIPT, EXISTS, EXP, EXTRACT, EXTRACTBIT, FALSE, FETCH, FILE, FILTER, "
    "FIRST, FISCAL_EXTRACT, FLOAT, FLOOR, FOR, FORECAST, FREQUENCY, FROM, GROUP, HAVING, "
    "HOUR, HUB, IDOF, IFNULL, IMPUTE, IN, INCLUDE, INDEXCOL, INPUT, INPUT_MAPPINGS, INSERT, "
    "INSIGHT_EXPECTED, INSIGHT_ID, INSIGHT_RANK, INSIGHT_SCORE, INT, INTEGER, INTERSECT, "
    "INTERVAL, INTO, IS, ISANCESTOR, ISCHILD, ISDESCENDANT, ISLEAF, ISPARENT, ISROOT, "
    "ISSIBLING, JSON_VALUE, LAST, LCASE, LEADING, LEFT, LENGTH, LEVELS, LIKE, LINE_ENDING, "
    "LISTAGG, LOCAL, LOCATE, LOG, LOG10, LOOKUP, LOWER, LTRIM, MAVG, MAX, MEDIAN, MEMBER, "
    "MIN, MINUTE, MOD, MODE, MODEL, MODELOPTIONS, MONTH, MONTHNAME, MONTH_OF_QUARTER, MSUM, "
    "NATURAL, NEXT, NLSSORT, NOAGGREGATE, NOT, NOW, NTILE, NULL, NULLAGG, NULLS, NULLIF, "
    "NULLIFNOTUNIQUE, NULLSEQUAL, NUMBER, NUMERIC, OCTET_LENGTH, OFFSET, ON, ONLY, OPTIONS, "
    "OR, ORDER, OUTLIER, OUTPUT_COLUMNS, PARENT, PARTITION, PERCENT, PERCENTILE, PERIODAGO, "
    "PERIODROLLING, PERIODTODATE, PHYSICAL, PI, POOL, POPULATE, POSITION, POWER, PRECISION, "
    "PREDICTIVE, PREFER, PREPARE, QUARTER, QUARTER_OF_YEAR, RADIANS, RAND, RANGE, "
    "RANGE_HIGH, RANGE_LOW, RANK, RCOUNT, REAL, REG, REGALL, REGR, REGRESSION, "
    "REGRESSIONALL, REPEAT, REPLACE, REPORT_AGGREGATE, REPORT_AVG, REPORT_COUNT, REPORT_MAX, "
    "REPORT_MIN, REPORT_SUM, RETURNING, RIGHT, RMAX, RMIN, ROUND, ROW, ROWID, ROWS, RSUM, "
    "RTRIM, SECOND, SELECT, SELECTION, SELECT_BUSINESS_MODEL, SELECT_PHYSICAL, SET, SIGN, "
    "SIN, SMALLINT, SOME, SORTKEY, SOUNDEX, SPACE, SPARSE, SPOKE, SQLANYWHERE, SQL_BIGINT, "
    "SQL_BINARY, SQL_BIT, SQL_CHAR, SQL_DATE, SQL_DECIMAL, SQL_DOUBLE, SQL_FLOAT, "
    "SQL_INTEGER, SQL_LONGVARBINARY, SQL_LONGVARCHAR, SQL_REAL, SQL_SMALLINT, SQL_TIME, "
    "SQL_TIMESTAMP, SQL_TINYINT, SQL_TSI_DAY, SQL_TSI_FRAC_SECOND, SQL_TSI_HOUR, "
    "SQL_TSI_MINUTE, SQL_TSI_MONTH, SQL_TSI_QUARTER, SQL_TSI_SECOND, SQL_TSI_WEEK, "
    "SQL_TSI_YEAR, SQL_VARBINARY, SQL_VARCHAR, SQRT, STDDEV, STDDEV_POP, STDDEV_SAMP, "
    "SUBSTRING, SUM, SUMMARIZE, SYNC, TAB, TABLE, TAN, TASKS, THEN, TIME, TIMEDIMSEQNUM, "
    "TIMESTAMP, TIMESTAMPADD, TIMESTAMPDIFF, TO, TODATE, TOP, TOPN, TO_DATETIME, TRAILING, "
    "TRANSLATE, TRENDLINE, TRIM, TRUE, TRUNCATE, UCASE, UNBOUND, UNION, UNKNOWN, UNPREPARE, "
    "UNSUPPRESSED, UPDATE, UPPER, USER, USING, USING_SURROGATE_KEY, UTF_8, VALUEOF, VARCHAR, "
    "VARIABLE, VARIABLE_REPLACE, VARYING, VERIFY_SME_EXPRESSION, WEEK, WEEK_OF_QUARTER, "
    "WEEK_OF_YEAR, WHEN, WHERE, WIDTH_BUCKET, WITH, XSA, XSA_LOOKUP, XSA_ROLE, YEAR, FULL, "
    "INNER, JOIN, LEFT, OUTER, RIGHT";

std::vector<std::string> ExpectedRows() {
    std::vector<std::string> rows;
    const std::string list = kKeywordList;
    std::size_t start = 0;
    while (true) {
        const std::size_t comma = list.find(", ", start);
        rows.push_back(list.substr(start, comma - start));
        if (comma == std::string::npos) break;
        start = comma + 2;
    }
    return rows;
}

std::wstring Widen(const std::string& text) {
    return std::wstring(text.begin(), text.end());
}

std::wstring AsciiUpper(std::wstring text) {
    for (wchar_t& c : text)
        if (c >= L'a' && c <= L'z') c = c - L'a' + L'A';
    return text;
}

std::wstring AsciiLower(std::wstring text) {
    for (wchar_t& c : text)
        if (c >= L'A' && c <= L'Z') c = c - L'A' + L'a';
    return text;
}

// The distinct keywords, upper case.
const std::set<std::wstring>& ExpectedKeywords() {
    static const std::set<std::wstring> keywords = [] {
        std::set<std::wstring> set;
        for (const std::string& row : ExpectedRows())
            set.insert(Widen(row));
        return set;
    }();
    return keywords;
}

// --- The raw table ---

TEST(ReservedKeyWordTableTest, HoldsTheRowsInOrderThenTheTerminator) {
    const std::vector<std::string> expected = ExpectedRows();
    ASSERT_EQ(expected.size(), 383u);
    ASSERT_EQ(SQLKeyWords::kReservedKeyWordRows, 383);
    char const** table = SQLKeyWords::GetSQLReservedKeyWords();
    ASSERT_NE(table, nullptr);
    std::size_t rows = 0;
    while (table[rows][0] != '\0') {
        ASSERT_LT(rows, expected.size()) << "the table runs past its last keyword";
        EXPECT_STREQ(table[rows], expected[rows].c_str()) << "row " << rows;
        ++rows;
    }
    EXPECT_EQ(rows, 383u);
    EXPECT_STREQ(table[383], "");
    EXPECT_EQ(SQLKeyWords::GetSQLReservedKeyWords(), table);
}

TEST(ReservedKeyWordTableTest, KeepsItsDuplicatesAndOrderQuirks) {
    char const** table = SQLKeyWords::GetSQLReservedKeyWords();
    std::vector<int> left, right;
    int nulls = -1, nullif = -1, year = -1;
    for (int row = 0; table[row][0] != '\0'; ++row) {
        if (std::strcmp(table[row], "LEFT") == 0) left.push_back(row);
        if (std::strcmp(table[row], "RIGHT") == 0) right.push_back(row);
        if (std::strcmp(table[row], "NULLS") == 0) nulls = row;
        if (std::strcmp(table[row], "NULLIF") == 0) nullif = row;
        if (std::strcmp(table[row], "YEAR") == 0) year = row;
    }
    EXPECT_EQ(left.size(), 2u);
    EXPECT_EQ(right.size(), 2u);
    EXPECT_EQ(nulls + 1, nullif);
    EXPECT_EQ(year, 376);
    EXPECT_STREQ(table[377], "FULL");
    EXPECT_STREQ(table[382], "RIGHT");
    // Alphabetical up to YEAR apart from NULLS before NULLIF; every row upper case.
    for (int row = 0; row < 383; ++row) {
        for (const char* c = table[row]; *c; ++c)
            EXPECT_TRUE((*c >= 'A' && *c <= 'Z') || (*c >= '0' && *c <= '9') || *c == '_')
                << table[row];
        if (row == 0 || row > year || row == nullif) continue;
        EXPECT_LT(std::strcmp(table[row - 1], table[row]), 0) << table[row];
    }
}

// --- The set ---

TEST(KeywordsSetTest, HoldsEachKeywordOnce) {
    const SQLKeywordsSet& keywords = SQLKeyWords::GetSQLKeywordsSet();
    EXPECT_EQ(keywords.size(), 381u);
    EXPECT_EQ(keywords.count(L"left"), 1u);
    EXPECT_EQ(keywords.count(L"RIGHT"), 1u);
    std::set<std::wstring> stored;
    for (const XTString& keyword : keywords)
        stored.insert(keyword);
    EXPECT_EQ(stored, ExpectedKeywords());
    EXPECT_EQ(&SQLKeyWords::GetSQLKeywordsSet(), &keywords);
}

// --- IsKeyword ---

TEST(IsKeywordTest, EveryRowInEveryCase) {
    for (const std::string& row : ExpectedRows()) {
        const std::wstring word = Widen(row);
        EXPECT_TRUE(SQLKeyWords::IsKeyword(word)) << row;
        EXPECT_TRUE(SQLKeyWords::IsKeyword(AsciiLower(word))) << row;
        std::wstring mixed = AsciiLower(word);
        for (std::size_t i = 0; i < mixed.size(); i += 2)
            mixed[i] = AsciiUpper(word)[i];
        EXPECT_TRUE(SQLKeyWords::IsKeyword(mixed)) << row;
    }
}

struct WordRow {
    const wchar_t* word;
    bool reserved;
};

class IsKeywordWordTest : public ::testing::TestWithParam<WordRow> {};

TEST_P(IsKeywordWordTest, ComparesTheWholeWordIgnoringCase) {
    EXPECT_EQ(SQLKeyWords::IsKeyword(GetParam().word), GetParam().reserved);
}

INSTANTIATE_TEST_SUITE_P(
    Words, IsKeywordWordTest,
    ::testing::Values(WordRow{L"select", true}, WordRow{L"Select", true}, WordRow{L"SELECT", true},
                      WordRow{L"SELECTED", false}, WordRow{L"SELEC", false},
                      WordRow{L"sql_tsi_day", true}, WordRow{L"left", true},
                      WordRow{L"Right", true}, WordRow{L"", false}, WordRow{L" SELECT", false},
                      WordRow{L"SELECT ", false}, WordRow{L"SELECT\t", false},
                      WordRow{L"AB", false}, WordRow{L"ABS", true}, WordRow{L"A", false},
                      WordRow{L"year", true}, WordRow{L"ZZZ", false}, WordRow{L"utf_8", true},
                      WordRow{L"UTF-8", false}, WordRow{L"log10", true}, WordRow{L"LOG1", false},
                      WordRow{L"SELECT\u00C9", false}, WordRow{L"\u00E9", false},
                      WordRow{L"\U0001F600", false}));

TEST(IsKeywordTest, LongAndEmbeddedZeroWordsAreNoKeywords) {
    EXPECT_FALSE(SQLKeyWords::IsKeyword(std::wstring(1000, L'A')));
    EXPECT_FALSE(SQLKeyWords::IsKeyword(std::wstring(L"SELECT\0", 7)));
    EXPECT_FALSE(SQLKeyWords::IsKeyword(std::wstring(L"AS\0RAW", 6)));
}

// Random words and near misses of keywords (fixed seed) agree with the list.
TEST(IsKeywordTest, AgreesWithTheListOnGeneratedWords) {
    const std::vector<std::string> rows = ExpectedRows();
    const wchar_t alphabet[] = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_0123456789";
    std::mt19937 random(383);
    auto pick = [&](std::size_t n) { return static_cast<std::size_t>(random() % n); };
    for (int i = 0; i < 30000; ++i) {
        std::wstring word;
        if (i % 2 == 0) {
            const std::size_t length = 1 + pick(5);
            for (std::size_t k = 0; k < length; ++k)
                word += alphabet[pick(std::size(alphabet) - 1)];
        } else {
            word = Widen(rows[pick(rows.size())]);
            switch (pick(4)) {
                case 0:
                    word.erase(pick(word.size()), 1);
                    break;
                case 1:
                    word.insert(pick(word.size() + 1), 1, alphabet[pick(26)]);
                    break;
                case 2:
                    word[pick(word.size())] = alphabet[pick(26)];
                    break;
                default:
                    word = AsciiLower(word);
                    break;
            }
        }
        const bool expected = ExpectedKeywords().count(AsciiUpper(word)) == 1;
        ASSERT_EQ(SQLKeyWords::IsKeyword(word), expected) << std::string(word.begin(), word.end());
    }
}

// Runs in a fresh process (a threadsafe death test re-executes the program for
// this test alone), so the threads below race to build the set.
void RaceToFirstUse() {
    constexpr int kThreads = 8;
    const std::vector<std::string> rows = ExpectedRows();
    std::latch start(kThreads);
    std::vector<int> failures(kThreads, 0);
    std::vector<const SQLKeywordsSet*> sets(kThreads, nullptr);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            start.arrive_and_wait();
            for (std::size_t i = 0; i < rows.size(); ++i) {
                const std::size_t row = (i + static_cast<std::size_t>(t) * 47) % rows.size();
                std::wstring word = Widen(rows[row]);
                if (t % 2) word = AsciiLower(word);
                if (!SQLKeyWords::IsKeyword(word)) ++failures[t];
                if (SQLKeyWords::IsKeyword(word + L"Q")) ++failures[t];
            }
            sets[t] = &SQLKeyWords::GetSQLKeywordsSet();
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    int total = 0;
    for (int t = 0; t < kThreads; ++t) {
        total += failures[t];
        if (sets[t] != sets[0]) ++total;
    }
    if (sets[0]->size() != 381) ++total;
    std::exit(total == 0 ? 0 : 1);
}

TEST(IsKeywordConcurrencyTest, FirstUseFromSeveralThreads) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(RaceToFirstUse(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
