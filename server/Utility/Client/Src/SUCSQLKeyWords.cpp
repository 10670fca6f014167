#include "Utility/Client/SUCSQLKeyWords.h"

#include <iterator>
#include <memory>

namespace {

// The reserved words, upper case, alphabetical up to "YEAR" except that
// "NULLS" stands before "NULLIF"; the join words follow, so "LEFT" and "RIGHT"
// occur twice (the set keeps one of each). The empty string ends the table.
// clang-format off
char const* reserved_words[] = {
    "ABS", "ACOS", "ACP", "AGGREGATE", "AGGREGATES", "AGO", "ALL", "ALL_VALUES", "AND", "ANOMALIES",
    "ANY", "APPEND", "AS", "ASC", "ASCII", "ASIN", "ASSOC", "AS_RAW_VALUES", "AT", "ATAN", "ATAN2",
    "ATGRAIN", "ATTRIBUTE", "ATTRIBUTES", "AVERAGEALL", "AVG", "AVGALL", "BETWEEN", "BIN", "BINS",
    "BIT", "BIT_LENGTH", "BOTH", "BOTTOMN", "BY", "CALCULATEDMEMBER", "CALL", "CANONICAL", "CASE",
    "CAST", "CEILING", "CHAR", "CHARACTER", "CHARACTER_LENGTH", "CHAR_LENGTH", "CHOOSE", "CLUSTER",
    "COALESCE", "CODE_PAGE", "COMMA", "COMMIT", "CONCAT", "CONNECTION", "CONTINUOUS", "CONVERT",
    "CORN", "CORR", "CORRALL", "CORRELATION", "CORRELATIONALL", "COS", "COT", "COUNT", "COVA", "CR",
    "CREATE", "CRLF", "CUBE", "CURDATE", "CURRENT_DATE", "CURRENT_TIME", "CURRENT_TIMESTAMP",
    "CURTIME", "DATABASE", "DATASET", "DATE", "DAY", "DAYNAME", "DAYOFMONTH", "DAYOFWEEK",
    "DAYOFYEAR", "DAY_OF_QUARTER", "DAY_OF_YEAR", "DDL", "DDLGEN", "DEC", "DECIMAL", "DEGREES",
    "DELETE", "DELIMITER", "DENSE", "DEPTH", "DESC", "DESCRIPTOR_IDOF", "DETECT", "DIFFERENCE",
    "DIMAVG", "DIMCOUNT", "DIMENSIONAVERAGE", "DIMENSIONCOUNT", "DIMENSIONFIRST", "DIMENSIONLAST",
    "DIMFIRST", "DIMLAST", "DIRECTORY", "DISASSOC", "DISCRETE", "DISPLAY", "DISTINCT", "DOUBLE",
    "DROP", "ELSE", "END", "EQUIDEPTH", "EQUIWIDTH", "ESCAPE", "EVALUATE", "EVALUATE_AGGR",
    "EVALUATE_ANALYTIC", "EVALUATE_PREDICATE", "EVALUATE_SCRIPT", "EVALUATE_TABLE_SCRIPT", "EXCEPT",
    "EXECUTE", "EXECUTE_SCRIPT", "EXISTS", "EXP", "EXTRACT", "EXTRACTBIT", "FALSE", "FETCH", "FILE",
    "FILTER", "FIRST", "FISCAL_EXTRACT", "FLOAT", "FLOOR", "FOR", "FORECAST", "FREQUENCY", "FROM",
    "GROUP", "HAVING", "HOUR", "HUB", "IDOF", "IFNULL", "IMPUTE", "IN", "INCLUDE", "INDEXCOL",
    "INPUT", "INPUT_MAPPINGS", "INSERT", "INSIGHT_EXPECTED", "INSIGHT_ID", "INSIGHT_RANK",
    "INSIGHT_SCORE", "INT", "INTEGER", "INTERSECT", "INTERVAL", "INTO", "IS", "ISANCESTOR",
    "ISCHILD", "ISDESCENDANT", "ISLEAF", "ISPARENT", "ISROOT", "ISSIBLING", "JSON_VALUE", "LAST",
    "LCASE", "LEADING", "LEFT", "LENGTH", "LEVELS", "LIKE", "LINE_ENDING", "LISTAGG", "LOCAL",
    "LOCATE", "LOG", "LOG10", "LOOKUP", "LOWER", "LTRIM", "MAVG", "MAX", "MEDIAN", "MEMBER", "MIN",
    "MINUTE", "MOD", "MODE", "MODEL", "MODELOPTIONS", "MONTH", "MONTHNAME", "MONTH_OF_QUARTER",
    "MSUM", "NATURAL", "NEXT", "NLSSORT", "NOAGGREGATE", "NOT", "NOW", "NTILE", "NULL", "NULLAGG",
    "NULLS", "NULLIF", "NULLIFNOTUNIQUE", "NULLSEQUAL", "NUMBER", "NUMERIC", "OCTET_LENGTH",
    "OFFSET", "ON", "ONLY", "OPTIONS", "OR", "ORDER", "OUTLIER", "OUTPUT_COLUMNS", "PARENT",
    "PARTITION", "PERCENT", "PERCENTILE", "PERIODAGO", "PERIODROLLING", "PERIODTODATE", "PHYSICAL",
    "PI", "POOL", "POPULATE", "POSITION", "POWER", "PRECISION", "PREDICTIVE", "PREFER", "PREPARE",
    "QUARTER", "QUARTER_OF_YEAR", "RADIANS", "RAND", "RANGE", "RANGE_HIGH", "RANGE_LOW", "RANK",
    "RCOUNT", "REAL", "REG", "REGALL", "REGR", "REGRESSION", "REGRESSIONALL", "REPEAT", "REPLACE",
    "REPORT_AGGREGATE", "REPORT_AVG", "REPORT_COUNT", "REPORT_MAX", "REPORT_MIN", "REPORT_SUM",
    "RETURNING", "RIGHT", "RMAX", "RMIN", "ROUND", "ROW", "ROWID", "ROWS", "RSUM", "RTRIM",
    "SECOND", "SELECT", "SELECTION", "SELECT_BUSINESS_MODEL", "SELECT_PHYSICAL", "SET", "SIGN",
    "SIN", "SMALLINT", "SOME", "SORTKEY", "SOUNDEX", "SPACE", "SPARSE", "SPOKE", "SQLANYWHERE",
    "SQL_BIGINT", "SQL_BINARY", "SQL_BIT", "SQL_CHAR", "SQL_DATE", "SQL_DECIMAL", "SQL_DOUBLE",
    "SQL_FLOAT", "SQL_INTEGER", "SQL_LONGVARBINARY", "SQL_LONGVARCHAR", "SQL_REAL", "SQL_SMALLINT",
    "SQL_TIME", "SQL_TIMESTAMP", "SQL_TINYINT", "SQL_TSI_DAY", "SQL_TSI_FRAC_SECOND",
    "SQL_TSI_HOUR", "SQL_TSI_MINUTE", "SQL_TSI_MONTH", "SQL_TSI_QUARTER", "SQL_TSI_SECOND",
    "SQL_TSI_WEEK", "SQL_TSI_YEAR", "SQL_VARBINARY", "SQL_VARCHAR", "SQRT", "STDDEV", "STDDEV_POP",
    "STDDEV_SAMP", "SUBSTRING", "SUM", "SUMMARIZE", "SYNC", "TAB", "TABLE", "TAN", "TASKS", "THEN",
    "TIME", "TIMEDIMSEQNUM", "TIMESTAMP", "TIMESTAMPADD", "TIMESTAMPDIFF", "TO", "TODATE", "TOP",
    "TOPN", "TO_DATETIME", "TRAILING", "TRANSLATE", "TRENDLINE", "TRIM", "TRUE", "TRUNCATE",
    "UCASE", "UNBOUND", "UNION", "UNKNOWN", "UNPREPARE", "UNSUPPRESSED", "UPDATE", "UPPER", "USER",
    "USING", "USING_SURROGATE_KEY", "UTF_8", "VALUEOF", "VARCHAR", "VARIABLE", "VARIABLE_REPLACE",
    "VARYING", "VERIFY_SME_EXPRESSION", "WEEK", "WEEK_OF_QUARTER", "WEEK_OF_YEAR", "WHEN", "WHERE",
    "WIDTH_BUCKET", "WITH", "XSA", "XSA_LOOKUP", "XSA_ROLE", "YEAR", "FULL", "INNER", "JOIN",
    "LEFT", "OUTER", "RIGHT", "",
};
// clang-format on
static_assert(std::size(reserved_words) == SQLKeyWords::kReservedKeyWordRows + 1,
              "the keyword rows and their terminator");

// Registered at load; the set itself is created on first use.
Singleton<SQLKeywordsSet, DefaultSingletonFactory<SQLKeywordsSet, true>> g_sqlKeywordsSet;

}  // namespace

SQLKeywordsSet* DefaultSingletonFactory<SQLKeywordsSet, true>::create() {
    auto keywords = std::make_unique<SQLKeywordsSet>();
    // Last row first; inserting a word already present (in any case) does nothing.
    for (int row = SQLKeyWords::kReservedKeyWordRows - 1; row >= 0; --row)
        keywords->insert(BaseStringUtil::StringFrom(reserved_words[row]));
    return keywords.release();
}

char const** SQLKeyWords::GetSQLReservedKeyWords() noexcept {
    return reserved_words;
}

const SQLKeywordsSet& SQLKeyWords::GetSQLKeywordsSet() {
    if (!g_sqlKeywordsSet.hasInstance()) g_sqlKeywordsSet.initInstance();
    return g_sqlKeywordsSet.instance();
}

bool SQLKeyWords::IsKeyword(String const& word) {
    const SQLKeywordsSet& keywords = GetSQLKeywordsSet();
    const auto candidate = keywords.lower_bound(word);
    return candidate != keywords.end() && !keywords.key_comp()(word, *candidate);
}
