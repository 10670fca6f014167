// The xtsutil command-line tool, run as a separate process (its path comes in XTS_TOOL):
// standard output, error output and exit status of each command.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

// Runs `xtsutil ARGUMENTS` through the shell (ARGUMENTS are shell words) in the "C" locale,
// whose default code page counts as UTF-8. Expects the exit status, each of `out` in the
// standard output (none when the status is 2, a usage error) and `err` in the error output
// ("" for no error output).
void ExpectRun(const std::string& arguments, int status, const std::vector<std::string>& out,
               const std::string& err) {
    SCOPED_TRACE("xtsutil " + arguments);
    const std::string path = testing::TempDir() + "xtsutil_test_" + std::to_string(getpid());
    const int exit = std::system(
        ("LC_ALL=C \"$XTS_TOOL\" " + arguments + " >" + path + ".out 2>" + path + ".err").c_str());
    std::ifstream outFile(path + ".out"), errFile(path + ".err");
    const std::string output(std::istreambuf_iterator<char>(outFile), {});
    const std::string error(std::istreambuf_iterator<char>(errFile), {});
    std::remove((path + ".out").c_str());
    std::remove((path + ".err").c_str());
    EXPECT_EQ(WIFEXITED(exit) ? WEXITSTATUS(exit) : -1, status);
    for (const std::string& part : out) EXPECT_NE(output.find(part), std::string::npos) << output;
    EXPECT_TRUE(status != 2 || output.empty()) << output;
    EXPECT_TRUE(err.empty() ? error.empty() : error.find(err) != std::string::npos) << error;
}

TEST(XtsutilTest, HelpAndUsageErrors) {
    ExpectRun("--help", 0,
              {"usage: xtsutil COMMAND", "\n  keyword WORD...  ",
               "\n  convert --from TYPE[:FORMS] --to TYPE[:FORMS] [--length N] [--null] VALUE  ",
               "\nExit status: 0 success, 1 a negative answer, 2 a usage error, 3 a failure.\n"},
              "");
    ExpectRun("help keyword", 0, {"usage: xtsutil keyword WORD...\n"}, "");
    ExpectRun("", 2, {}, "usage: xtsutil COMMAND");
    ExpectRun("TYPES", 2, {}, "unknown command 'TYPES'");
    ExpectRun("keyword", 2, {}, "no WORD given\nusage: xtsutil keyword WORD...");
    ExpectRun("help types keyword", 2, {}, "too many arguments");
    ExpectRun("convert --from INTEGER --to CHAR 1", 2, {}, "unknown type 'INTEGER'");
    ExpectRun("convert --from INT:wid --to CHAR 1", 2, {}, "unknown form 'wid'");
    ExpectRun("convert --from SMALLINT --to INT 99999", 2, {},
              "'99999' is not a number of this type");
    ExpectRun("demo --format 3", 2, {}, "--format is 1 or 2");
}

// Columns padded to their widest cell, display names quoted, the classes named in predicate
// order.
TEST(XtsutilTest, Types) {
    ExpectRun("types", 0,
              {"VALUE  ENUMERATOR           DISPLAY NAME         SINGLE WORD    CLASSES\n0      "
               "XTBitData            \"BIT\"                BIT            bit\n",
               "\n2      XTVarCharData        \"VARCHAR\"            VARCHAR        text, varchar, "
               "variable-length, quoted-literal\n",
               "\n6      XTLongVarBinaryData  \"LONG VARBINARY\"     LONGVARBINARY  binary, "
               "varbinary, variable-length\n",
               "\n12     XTUInt4Data          \"UNSIGNED INTEGER\"   UINT           integer, "
               "numeric, exact-numeric\n",
               "\n20     XTDateTimeData       \"TIMESTAMP\"          DATETIME       "
               "datetime-derived, datetime-or-timestamp, quoted-literal\n",
               "\n25     XTUnknown            \"UNKNOWN\"            UNKNOWN        -\n26     "
               "XTMaxType            \"\"                   BAD            -\n"},
              "");
}

// One line per word, status 1 when one is not reserved. Words are narrow text in the default
// code page; bytes that do not decode are still answered and echoed as given.
TEST(XtsutilTest, Keyword) {
    ExpectRun("keyword select Select sql_tsi_day left", 0,
              {"select: reserved\nSelect: reserved\nsql_tsi_day: reserved\nleft: reserved\n"}, "");
    ExpectRun("keyword SELECTED from '' ' select' 'caf\xC3\xA9' '\xFF\xFE'", 1,
              {"SELECTED: not reserved\nfrom: reserved\n: not reserved\n select: not "
               "reserved\ncaf\xC3\xA9: not reserved\n\xFF\xFE: not reserved\n"},
              "");
}

TEST(XtsutilTest, Convert) {
    ExpectRun("convert --from INT --to CHAR 42", 0,
              {"converter: ConvertInt32ToChar\nresult:    \"42\"\nlength:    2\nnull:      0\n"},
              "");
    ExpectRun("convert --from INT --to SMALLINT 99999", 3, {},
              "xtsutil convert: [46224] Value overflow: INTEGER to SMALLINT\n");
    ExpectRun("convert --from DATE --to INT 2024/03/05", 3, {},
              "xtsutil convert: no converter from DATE to INT");
    ExpectRun(
        "convert --from INT:nullable --to CHAR --length 10 --null", 0,
        {"converter: ConvertInt32NullableToChar\nresult:    NULL\nlength:    10\nnull:      1\n"},
        "");
}

// The header and one row per registry key.
TEST(XtsutilTest, Converters) {
    ExpectRun(
        "converters", 0,
        {"KEY         FROM                             TO                            CONVERTER\n",
         "\n0x09010100  SMALLINT (nullable)              CHAR                          "
         "ConvertInt16NullableToChar\n"},
        "");
    ExpectRun("converters | wc -l", 0, {"1141\n"}, "");
}

// The sample result set in either record format: the first data row is the first order.
TEST(XtsutilTest, Demo) {
    ExpectRun("demo --rows 3", 0, {"record format 2", "  UPDATED\n1000 "}, "");
    ExpectRun("demo --format 1 --rows 3", 0, {"record format 1", "  UPDATED\n1000 "}, "");
}

}  // namespace
