// The xtsutil command-line tool, run as a separate process (its path comes in
// XTS_TOOL): output, error output and exit status of each subcommand.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

extern char** environ;

namespace {

struct ToolResult {
    int status = -1;  // the exit status, or -1 when the tool did not exit normally
    std::string out;
    std::string err;
};

std::string ReadWhole(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream contents;
    contents << file.rdbuf();
    return contents.str();
}

std::string TemporaryPath(const char* tag) {
    const char* directory = std::getenv("TMPDIR");
    std::string path = std::string(directory && *directory ? directory : "/tmp") +
                       "/xtsutil_test_" + tag + "_XXXXXX";
    const int fd = mkstemp(path.data());
    if (fd >= 0) close(fd);
    return path;
}

// Runs the tool with `arguments` in the "C" locale (whose default code page
// counts as UTF-8) and collects what it writes.
ToolResult RunTool(const std::vector<std::string>& arguments) {
    ToolResult result;
    const char* tool = std::getenv("XTS_TOOL");
    if (tool == nullptr) {
        ADD_FAILURE() << "XTS_TOOL is not set";
        return result;
    }
    std::vector<std::string> environment{"LC_ALL=C"};
    for (char** variable = environ; *variable != nullptr; ++variable)
        if (std::strncmp(*variable, "LC_ALL=", 7) != 0) environment.emplace_back(*variable);
    std::vector<char*> envp;
    for (std::string& variable : environment)
        envp.push_back(variable.data());
    envp.push_back(nullptr);

    std::vector<std::string> argvStrings{tool};
    argvStrings.insert(argvStrings.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& argument : argvStrings)
        argv.push_back(argument.data());
    argv.push_back(nullptr);

    const std::string outPath = TemporaryPath("out");
    const std::string errPath = TemporaryPath("err");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_TRUNC, 0);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_TRUNC, 0);
    pid_t child = 0;
    const int spawned = posix_spawn(&child, tool, &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (spawned == 0) {
        int status = 0;
        if (waitpid(child, &status, 0) == child && WIFEXITED(status))
            result.status = WEXITSTATUS(status);
    } else {
        ADD_FAILURE() << "cannot start " << tool << ": " << std::strerror(spawned);
    }
    result.out = ReadWhole(outPath);
    result.err = ReadWhole(errPath);
    unlink(outPath.c_str());
    unlink(errPath.c_str());
    return result;
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// --- Help and dispatch ---

TEST(XtsutilHelpTest, HelpListsEveryCommand) {
    for (const char* spelling : {"--help", "-h", "help"}) {
        const ToolResult result = RunTool({spelling});
        EXPECT_EQ(result.status, 0) << spelling;
        EXPECT_TRUE(Contains(result.out, "usage: xtsutil COMMAND")) << result.out;
        EXPECT_TRUE(Contains(result.out,
                             "Exit status: 0 success, 1 a negative answer, "
                             "2 a usage error, 3 a failure."));
        for (const char* command :
             {"types", "keyword WORD...", "convert --from TYPE[:FORMS] --to TYPE[:FORMS]",
              "converters", "help [COMMAND]"})
            EXPECT_TRUE(Contains(result.out, std::string("\n  ") + command)) << command;
        EXPECT_EQ(result.err, "");
    }
}

TEST(XtsutilHelpTest, HelpOfOneCommand) {
    const ToolResult result = RunTool({"help", "keyword"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(Lines(result.out).at(0), "usage: xtsutil keyword WORD...");
    EXPECT_EQ(RunTool({"help", "types"}).out.rfind("usage: xtsutil types\n", 0), 0u);
}

struct UsageErrorRow {
    const char* name;
    std::vector<std::string> arguments;
    const char* message;  // expected in the error output
};

class XtsutilUsageErrorTest : public ::testing::TestWithParam<UsageErrorRow> {};

TEST_P(XtsutilUsageErrorTest, ExitsTwoWithUsageOnStandardError) {
    const UsageErrorRow& row = GetParam();
    const ToolResult result = RunTool(row.arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(Contains(result.err, row.message)) << result.err;
    EXPECT_TRUE(Contains(result.err, "usage: xtsutil")) << result.err;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, XtsutilUsageErrorTest,
    ::testing::Values(
        UsageErrorRow{"NoCommand", {}, "usage: xtsutil COMMAND"},
        UsageErrorRow{"UnknownCommand", {"frobnicate"}, "unknown command 'frobnicate'"},
        UsageErrorRow{"CommandsAreCaseSensitive", {"TYPES"}, "unknown command 'TYPES'"},
        UsageErrorRow{"TypesTakesNoArgument", {"types", "extra"}, "usage: xtsutil types"},
        UsageErrorRow{"KeywordNeedsAWord", {"keyword"}, "usage: xtsutil keyword WORD..."},
        UsageErrorRow{"HelpOfUnknown", {"help", "nothing"}, "unknown command 'nothing'"},
        UsageErrorRow{"HelpTooMany", {"help", "types", "keyword"}, "too many arguments"},
        UsageErrorRow{"ConvertBadTypeName",
                      {"convert", "--from", "INTEGER", "--to", "CHAR", "1"},
                      "unknown type 'INTEGER'"},
        UsageErrorRow{"ConvertBadForm",
                      {"convert", "--from", "INT:wid", "--to", "CHAR", "1"},
                      "unknown form 'wid'"},
        UsageErrorRow{"ConvertWithoutValue",
                      {"convert", "--from", "INT", "--to", "CHAR"},
                      "--from, --to and a VALUE (or --null) are needed"},
        UsageErrorRow{"ConvertBadLength",
                      {"convert", "--from", "INT", "--to", "CHAR", "--length", "x", "1"},
                      "bad length 'x'"},
        UsageErrorRow{"ConvertValueNotOfTheType",
                      {"convert", "--from", "SMALLINT", "--to", "INT", "99999"},
                      "'99999' is not a number of this type"},
        UsageErrorRow{
            "ConvertersTakesNoArgument", {"converters", "extra"}, "unexpected argument 'extra'"}),
    [](const auto& info) { return std::string(info.param.name); });

// --- types ---

// The catalogue as it must print: the fields of each line, header first.
const std::vector<std::vector<std::string>> kTypeLines = {
    {"VALUE", "ENUMERATOR", "DISPLAY NAME", "SINGLE WORD", "CLASSES"},
    {"0", "XTBitData", "\"BIT\"", "BIT", "bit"},
    {"1", "XTCharData", "\"CHAR\"", "CHAR", "text, quoted-literal"},
    {"2", "XTVarCharData", "\"VARCHAR\"", "VARCHAR",
     "text, varchar, variable-length, quoted-literal"},
    {"3", "XTLongVarCharData", "\"LONG VARCHAR\"", "LONGVARCHAR",
     "text, varchar, variable-length, quoted-literal"},
    {"4", "XTBinaryData", "\"BINARY\"", "BINARY", "binary"},
    {"5", "XTVarBinaryData", "\"VARBINARY\"", "VARBINARY", "binary, varbinary, variable-length"},
    {"6", "XTLongVarBinaryData", "\"LONG VARBINARY\"", "LONGVARBINARY",
     "binary, varbinary, variable-length"},
    {"7", "XTInt1Data", "\"TINYINT\"", "TINYINT", "integer, numeric, exact-numeric"},
    {"8", "XTUInt1Data", "\"UNSIGNED TINYINT\"", "TINYUINT", "integer, numeric, exact-numeric"},
    {"9", "XTInt2Data", "\"SMALLINT\"", "SMALLINT", "integer, numeric, exact-numeric"},
    {"10", "XTUInt2Data", "\"UNSIGNED SMALLINT\"", "SMALLUINT", "integer, numeric, exact-numeric"},
    {"11", "XTInt4Data", "\"INTEGER\"", "INT", "integer, numeric, exact-numeric"},
    {"12", "XTUInt4Data", "\"UNSIGNED INTEGER\"", "UINT", "integer, numeric, exact-numeric"},
    {"13", "XTFloatData", "\"FLOAT\"", "FLOAT", "numeric, inexact-numeric"},
    {"14", "XTDoubleData", "\"DOUBLE PRECISION\"", "DOUBLE", "numeric, inexact-numeric"},
    {"15", "XTMoneyData", "\"MONEY\"", "MONEY", "numeric, exact-numeric"},
    {"16", "XTNumericData", "\"NUMERIC\"", "NUMERIC", "numeric, exact-numeric"},
    {"17", "XTDecimalData", "\"DECIMAL\"", "DECIMAL", "numeric, exact-numeric"},
    {"18", "XTDateData", "\"DATE\"", "DATE", "datetime-derived, quoted-literal"},
    {"19", "XTTimeData", "\"TIME\"", "TIME", "datetime-derived, quoted-literal"},
    {"20", "XTDateTimeData", "\"TIMESTAMP\"", "DATETIME",
     "datetime-derived, datetime-or-timestamp, quoted-literal"},
    {"21", "XTTimeStampData", "\"TIMESTAMP\"", "TIMESTAMP",
     "datetime-derived, datetime-or-timestamp, quoted-literal"},
    {"22", "XTIntervalData", "\"INTERVAL\"", "INTERVAL", "datetime-derived"},
    {"23", "XTObjectData", "\"OBJECT\"", "OBJECT", "-"},
    {"24", "XTBoolean", "\"BOOL\"", "BOOLEAN", "-"},
    {"25", "XTUnknown", "\"UNKNOWN\"", "UNKNOWN", "-"},
    {"26", "XTMaxType", "\"\"", "BAD", "-"},
};

TEST(XtsutilTypesTest, PrintsTheCatalogueAsAnAlignedTable) {
    const ToolResult result = RunTool({"types"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    const std::vector<std::string> lines = Lines(result.out);
    ASSERT_EQ(lines.size(), kTypeLines.size());
    // Each field starts where the header's field starts, followed by at least
    // two blanks (or the end of the line for the last field).
    std::vector<std::size_t> columns;
    std::size_t position = 0;
    for (const std::string& heading : kTypeLines[0]) {
        position = lines[0].find(heading, position);
        ASSERT_NE(position, std::string::npos) << heading;
        columns.push_back(position);
        position += heading.size();
    }
    EXPECT_EQ(columns[0], 0u);
    for (std::size_t row = 0; row < lines.size(); ++row) {
        const std::string& line = lines[row];
        for (std::size_t field = 0; field < columns.size(); ++field) {
            const std::string& expected = kTypeLines[row][field];
            ASSERT_EQ(line.compare(columns[field], expected.size(), expected), 0)
                << "line " << row << " field " << field << ": " << line;
            const std::size_t end = columns[field] + expected.size();
            if (field + 1 < columns.size()) {
                EXPECT_EQ(line.find_first_not_of(' ', end), columns[field + 1]) << line;
                EXPECT_GE(columns[field + 1] - end, 2u) << line;
            } else {
                EXPECT_EQ(end, line.size()) << line;
            }
        }
    }
}

// --- keyword ---

struct KeywordRow {
    const char* name;
    std::vector<std::string> words;
    int status;
    std::vector<std::string> lines;
};

class XtsutilKeywordTest : public ::testing::TestWithParam<KeywordRow> {};

TEST_P(XtsutilKeywordTest, OneLinePerWord) {
    const KeywordRow& row = GetParam();
    std::vector<std::string> arguments{"keyword"};
    arguments.insert(arguments.end(), row.words.begin(), row.words.end());
    const ToolResult result = RunTool(arguments);
    EXPECT_EQ(result.status, row.status);
    EXPECT_EQ(Lines(result.out), row.lines);
    EXPECT_EQ(result.err, "");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, XtsutilKeywordTest,
    ::testing::Values(KeywordRow{"AllReserved",
                                 {"select", "Select", "SELECT", "sql_tsi_day", "left"},
                                 0,
                                 {"select: reserved", "Select: reserved", "SELECT: reserved",
                                  "sql_tsi_day: reserved", "left: reserved"}},
                      KeywordRow{"OneNotReserved",
                                 {"SELECT", "SELECTED", "from"},
                                 1,
                                 {"SELECT: reserved", "SELECTED: not reserved", "from: reserved"}},
                      KeywordRow{"EmptyWord", {""}, 1, {": not reserved"}},
                      KeywordRow{"WordsAreWhole",
                                 {" select", "select "},
                                 1,
                                 {" select: not reserved", "select : not reserved"}},
                      // Narrow text in the default code page (UTF-8 in the C locale); bytes
                      // that do not decode still give an answer and are echoed as given.
                      KeywordRow{"NonAscii",
                                 {"caf\xC3\xA9", "\xFF\xFE"},
                                 1,
                                 {"caf\xC3\xA9: not reserved", "\xFF\xFE: not reserved"}}),
    [](const auto& info) { return std::string(info.param.name); });

// --- convert ---

struct ConvertRow {
    const char* name;
    std::vector<std::string> arguments;  // after "convert"
    int status;
    std::vector<std::string> lines;  // the standard output
    const char* error;               // expected in the error output; "" for none
};

class XtsutilConvertTest : public ::testing::TestWithParam<ConvertRow> {};

TEST_P(XtsutilConvertTest, PrintsTheConverterAndItsResult) {
    const ConvertRow& row = GetParam();
    std::vector<std::string> arguments{"convert"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const ToolResult result = RunTool(arguments);
    EXPECT_EQ(result.status, row.status);
    EXPECT_EQ(Lines(result.out), row.lines);
    if (*row.error == '\0')
        EXPECT_EQ(result.err, "");
    else
        EXPECT_TRUE(Contains(result.err, row.error)) << result.err;
}

// The four lines of a conversion.
std::vector<std::string> Converted(const std::string& converter, const std::string& result,
                                   const std::string& length, const std::string& isNull) {
    return {"converter: " + converter, "result:    " + result, "length:    " + length,
            "null:      " + isNull};
}

INSTANTIATE_TEST_SUITE_P(
    Rows, XtsutilConvertTest,
    ::testing::Values(
        ConvertRow{"IntToChar",
                   {"--from", "INT", "--to", "CHAR", "42"},
                   0,
                   Converted("ConvertInt32ToChar", "\"42\"", "2", "0"),
                   ""},
        ConvertRow{"Overflow",
                   {"--from", "INT", "--to", "SMALLINT", "99999"},
                   3,
                   {},
                   "xtsutil convert: [46224] Value overflow: INTEGER to SMALLINT\n"},
        ConvertRow{"UnsupportedPair",
                   {"--from", "DATE", "--to", "INT", "2024/03/05"},
                   3,
                   {},
                   "xtsutil convert: no converter from DATE to INT"},
        ConvertRow{"NullIntoNullable",
                   {"--from", "INT:nullable", "--to", "CHAR:nullable", "--null"},
                   0,
                   Converted("ConvertInt32NullableToCharNullable", "NULL", "0", "1"),
                   ""},
        ConvertRow{"NullIntoPlainChar",
                   {"--from", "INT:nullable", "--to", "CHAR", "--length", "10", "--null"},
                   0,
                   Converted("ConvertInt32NullableToChar", "NULL", "10", "1"),
                   ""},
        ConvertRow{"NullIntoDate",
                   {"--from", "CHAR:nullable", "--to", "DATE", "--null"},
                   0,
                   Converted("ConvertCharNullableToDate", "NULL", "6", "1"),
                   ""},
        ConvertRow{"DateToChar",
                   {"--from", "DATE", "--to", "CHAR", "2024/03/05"},
                   0,
                   Converted("ConvertDateToChar", "\"2024/03/05\"", "10", "0"),
                   ""},
        ConvertRow{"DateToShortChar",
                   {"--from", "DATE", "--to", "CHAR", "--length", "5", "2024/03/05"},
                   0,
                   Converted("ConvertDateToChar", "\"2024\"", "4", "0"),
                   ""},
        ConvertRow{
            "DateTimeToWideChar",
            {"--from", "TIMESTAMP", "--to", "CHAR:wide", "--length", "12", "2024/03/05 12:30:45.5"},
            0,
            Converted("ConvertDateTimeToXTChar", "\"2024/03/05 1\"", "12", "0"),
            ""},
        // The client's wide buffer goes through ExternalCharToTime, which
        // completes a time of whole seconds.
        ConvertRow{"WideExternalTimeCompleted",
                   {"--from", "CHAR:wide,external", "--to", "TIME", "12:30:45"},
                   0,
                   Converted("ConvertExternalCharToTime", "12:30:45.000000000", "12", "0"),
                   ""},
        ConvertRow{"WideExternalDateTimeCompleted",
                   {"--from", "VARCHAR:wide,external,nullable", "--to", "DATETIME:nullable",
                    "2024/03/05 12:30"},
                   0,
                   Converted("ConvertExternalCharNullableToDateTimeNullable",
                             "2024-03-05 12:30:00.000000000", "16", "0"),
                   ""},
        // The client's narrow buffer goes through the Char converters, which
        // do not complete.
        ConvertRow{"NarrowExternalTimeNotCompleted",
                   {"--from", "CHAR:external", "--to", "TIME", "12:30:45"},
                   3,
                   {},
                   "[46301] Text \"12:30:45\" does not match the date and time format "
                   "\"hh:mi:ss.fffffffff\""}),
    [](const auto& info) { return std::string(info.param.name); });

// --- converters ---

TEST(XtsutilConvertersTest, ListsEveryRegistryRow) {
    const ToolResult result = RunTool({"converters"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    const std::vector<std::string> lines = Lines(result.out);
    ASSERT_EQ(lines.size(), 1141u);
    std::istringstream header(lines[0]);
    std::vector<std::string> headings;
    for (std::string word; header >> word;)
        headings.push_back(word);
    EXPECT_EQ(headings, (std::vector<std::string>{"KEY", "FROM", "TO", "CONVERTER"}));
    std::vector<std::string> keys;
    std::string row0x09010100;
    for (std::size_t i = 1; i < lines.size(); ++i) {
        const std::string key = lines[i].substr(0, lines[i].find(' '));
        ASSERT_EQ(key.size(), 10u) << lines[i];
        EXPECT_EQ(key.rfind("0x", 0), 0u) << lines[i];
        keys.push_back(key);
        if (key == "0x09010100") row0x09010100 = lines[i];
    }
    std::sort(keys.begin(), keys.end());
    EXPECT_EQ(std::adjacent_find(keys.begin(), keys.end()), keys.end()) << "keys are unique";
    ASSERT_FALSE(row0x09010100.empty());
    std::istringstream row(row0x09010100);
    std::vector<std::string> words;
    for (std::string word; row >> word;)
        words.push_back(word);
    EXPECT_EQ(words, (std::vector<std::string>{"0x09010100", "SMALLINT", "(nullable)", "CHAR",
                                               "ConvertInt16NullableToChar"}));
}

}  // namespace
