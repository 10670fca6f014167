// SystemUtility beyond the transcoders: whole-string conversions, the
// environment, files and directories, the temporary directory, host and
// process.
#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "TranscodeTestSupport.h"
#include "Utility/Generic/SUGSystemUtility.h"

namespace {

namespace fs = std::filesystem;

constexpr unsigned kUtf8 = SystemUtility::kUTF8CodePage;

// Table rows print as their names in test output.
template <class Row>
requires requires(const Row& row) {
    row.name;
}
void PrintTo(const Row& row, std::ostream* out) {
    *out << row.name;
}

XTString Wide(const fs::path& path) {
    return SystemUtility::FromUtf8Lenient(path.string());
}

void WriteBytes(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

// ---- Whole-string conversions ----

TEST(WholeStringConversion, ConvertsAndReportsFailureWithAnEmptyResult) {
    XTString wide = L"stale";
    EXPECT_TRUE(
        SystemUtility::ToWide("gr\xC3\xBC\xC3\x9F"
                              "e \xF0\x9F\x98\x80",
                              wide, kUtf8));
    EXPECT_EQ(wide, L"gr\u00fc\u00dfe \U0001F600");
    XTNString narrow = "stale";
    EXPECT_TRUE(SystemUtility::ToNarrow(L"\u20ac1", narrow, 1252));
    EXPECT_EQ(narrow,
              "\x80"
              "1");

    EXPECT_FALSE(SystemUtility::ToWide("bad \xC3", wide, kUtf8));
    EXPECT_TRUE(wide.empty());
    EXPECT_FALSE(SystemUtility::ToNarrow(L"\u65e5", narrow, 1252));
    EXPECT_TRUE(narrow.empty());
    EXPECT_FALSE(SystemUtility::ToNarrow(L"abc", narrow, 12345));

    EXPECT_TRUE(SystemUtility::ToWide("", wide, kUtf8));
    EXPECT_TRUE(wide.empty());
    EXPECT_TRUE(SystemUtility::ToNarrow(L"", narrow, 936));
    EXPECT_TRUE(narrow.empty());
}

TEST(WholeStringConversion, LongTextRoundTrips) {
    std::mt19937 random(5);
    const XTString text = xts::test::RandomText(random, xts::test::Script::kMixed, 100000);
    for (const unsigned codePage : {kUtf8, 1200u, 54936u}) {
        XTNString narrow;
        XTString back;
        ASSERT_TRUE(SystemUtility::ToNarrow(text, narrow, codePage)) << codePage;
        ASSERT_TRUE(SystemUtility::ToWide(narrow, back, codePage)) << codePage;
        EXPECT_EQ(back, text);
    }
}

// ---- Environment ----

class EnvironmentTest : public ::testing::Test {
  protected:
    void TearDown() override { unsetenv("XTS_TEST_VARIABLE"); }
};

TEST_F(EnvironmentTest, SetGetAndUnsetWideValues) {
    EXPECT_TRUE(SystemUtility::Setenv(L"XTS_TEST_VARIABLE", L"Gr\u00fc\u00dfe \u65e5"));
    XTString value;
    EXPECT_TRUE(SystemUtility::Getenv(L"XTS_TEST_VARIABLE", value));
    EXPECT_EQ(value, L"Gr\u00fc\u00dfe \u65e5");
    XTNString bytes;
    EXPECT_TRUE(SystemUtility::Getenv("XTS_TEST_VARIABLE", bytes));
    EXPECT_EQ(bytes,
              "Gr\xC3\xBC\xC3\x9F"
              "e \xE6\x97\xA5");  // the default code page is UTF-8

    EXPECT_TRUE(SystemUtility::Setenv(L"XTS_TEST_VARIABLE", L""));
    EXPECT_TRUE(SystemUtility::Getenv(L"XTS_TEST_VARIABLE", value));
    EXPECT_EQ(value, L"");

    EXPECT_TRUE(SystemUtility::Unsetenv(L"XTS_TEST_VARIABLE"));
    EXPECT_FALSE(SystemUtility::Getenv(L"XTS_TEST_VARIABLE", value));
    EXPECT_FALSE(SystemUtility::Getenv("XTS_TEST_VARIABLE", bytes));
    EXPECT_TRUE(SystemUtility::Unsetenv(L"XTS_TEST_VARIABLE"));  // already unset is fine
}

TEST_F(EnvironmentTest, NarrowGetenvReadsBytesAsTheyAre) {
    setenv("XTS_TEST_VARIABLE", "caf\xE9", 1);
    XTNString bytes;
    EXPECT_TRUE(SystemUtility::Getenv("XTS_TEST_VARIABLE", bytes));
    EXPECT_EQ(bytes, "caf\xE9");
    // Not valid in the default code page (UTF-8 under the C locale).
    XTString value = L"stale";
    EXPECT_FALSE(SystemUtility::Getenv(L"XTS_TEST_VARIABLE", value));
}

TEST_F(EnvironmentTest, UnusableNamesAndValuesAreRefused) {
    XTNString bytes;
    EXPECT_FALSE(SystemUtility::Getenv(nullptr, bytes));
    EXPECT_FALSE(SystemUtility::Setenv(L"", L"x"));
    EXPECT_FALSE(SystemUtility::Setenv(L"XTS=TEST", L"x"));
    EXPECT_FALSE(SystemUtility::Setenv(L"XTS_TEST_VARIABLE", std::wstring(1, wchar_t(0xD800))));
    EXPECT_FALSE(SystemUtility::Getenv("XTS_TEST_VARIABLE", bytes));
    EXPECT_FALSE(SystemUtility::Unsetenv(L""));
    EXPECT_FALSE(SystemUtility::Unsetenv(L"XTS=TEST"));
}

// ---- Files and directories ----

class FileTest : public ::testing::Test {
  protected:
    void SetUp() override {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        m_root = fs::temp_directory_path() /
                 ("xts_sys_" + std::to_string(getpid()) + "_" + info->name());
        fs::remove_all(m_root);
        fs::create_directories(m_root);
    }
    void TearDown() override { fs::remove_all(m_root); }

    fs::path m_root;
};

TEST_F(FileTest, ExistenceAndKind) {
    WriteBytes(m_root / "file", "x");
    EXPECT_TRUE(SystemUtility::IsFileExist(Wide(m_root / "file")));
    EXPECT_FALSE(SystemUtility::IsDirectory(Wide(m_root / "file")));
    EXPECT_TRUE(SystemUtility::IsFileExist(Wide(m_root)));
    EXPECT_TRUE(SystemUtility::IsDirectory(Wide(m_root)));
    EXPECT_FALSE(SystemUtility::IsFileExist(Wide(m_root / "missing")));
    EXPECT_FALSE(SystemUtility::IsDirectory(Wide(m_root / "missing")));
    EXPECT_FALSE(SystemUtility::IsFileExist(L""));
    EXPECT_FALSE(SystemUtility::IsFileExist(std::wstring(1, wchar_t(0xD800))));
}

TEST_F(FileTest, NonAsciiNamesUseTheDefaultCodePage) {
    const XTString name = Wide(m_root) + L"/r\u00e9sum\u00e9 \u65e5";
    EXPECT_TRUE(SystemUtility::CreateDirectory(name));
    EXPECT_TRUE(fs::is_directory(m_root / "r\xC3\xA9sum\xC3\xA9 \xE6\x97\xA5"));
}

TEST_F(FileTest, CreateDirectoryMakesParentsAndAcceptsExisting) {
    const XTString nested = Wide(m_root / "a" / "b" / "c");
    EXPECT_TRUE(SystemUtility::CreateDirectory(nested));
    EXPECT_TRUE(fs::is_directory(m_root / "a" / "b" / "c"));
    EXPECT_TRUE(SystemUtility::CreateDirectory(nested));
    EXPECT_TRUE(SystemUtility::CreateDirectory(nested + L"/"));
    EXPECT_TRUE(SystemUtility::CreateDirectory(Wide(m_root / "x") + L"//y"));
    EXPECT_TRUE(fs::is_directory(m_root / "x" / "y"));

    WriteBytes(m_root / "plain", "x");
    EXPECT_FALSE(SystemUtility::CreateDirectory(Wide(m_root / "plain")));
    EXPECT_FALSE(SystemUtility::CreateDirectory(Wide(m_root / "plain" / "sub")));
    EXPECT_FALSE(SystemUtility::CreateDirectory(L""));
}

TEST_F(FileTest, CreateDirectoryWithARelativePath) {
    const fs::path saved = fs::current_path();
    fs::current_path(m_root);
    EXPECT_TRUE(SystemUtility::CreateDirectory(L"rel/one"));
    fs::current_path(saved);
    EXPECT_TRUE(fs::is_directory(m_root / "rel" / "one"));
}

TEST_F(FileTest, RemoveFileRemovesFilesOnly) {
    WriteBytes(m_root / "file", "x");
    EXPECT_TRUE(SystemUtility::RemoveFile(Wide(m_root / "file")));
    EXPECT_FALSE(fs::exists(m_root / "file"));
    EXPECT_FALSE(SystemUtility::RemoveFile(Wide(m_root / "file")));
    EXPECT_FALSE(SystemUtility::RemoveFile(Wide(m_root)));
    EXPECT_TRUE(fs::exists(m_root));
}

TEST_F(FileTest, ReadFileReadsEveryByte) {
    std::string bytes;
    std::mt19937 random(3);
    for (int i = 0; i < 100000; ++i)
        bytes.push_back(static_cast<char>(random()));
    WriteBytes(m_root / "binary", bytes);
    std::vector<char> contents = {'s', 't', 'a', 'l', 'e'};
    ASSERT_TRUE(SystemUtility::ReadFile(Wide(m_root / "binary"), contents));
    EXPECT_EQ(std::string(contents.begin(), contents.end()), bytes);

    WriteBytes(m_root / "empty", "");
    ASSERT_TRUE(SystemUtility::ReadFile(Wide(m_root / "empty"), contents));
    EXPECT_TRUE(contents.empty());

    EXPECT_FALSE(SystemUtility::ReadFile(Wide(m_root / "missing"), contents));
    EXPECT_FALSE(SystemUtility::ReadFile(Wide(m_root), contents));
    EXPECT_FALSE(SystemUtility::ReadFile(L"", contents));
}

struct FirstLineCase {
    const char* name;
    std::string contents;
    std::wstring line;
};

const FirstLineCase kFirstLines[] = {
    {"NewLine", "abc\ndef\n", L"abc"},
    {"CarriageReturnNewLine", "abc\r\ndef", L"abc"},
    {"NoLineEnd", "abc", L"abc"},
    {"Empty", "", L""},
    {"EmptyFirstLine", "\nsecond", L""},
    {"OnlyCarriageReturnNewLine", "\r\n", L""},
    {"LoneCarriageReturnsStay", "a\rb\r", L"a\rb\r"},
    {"Utf8", "p\xC3\xA4ss \xF0\x9F\x94\x91\nrest", L"p\u00e4ss \U0001F511"},
    {"Utf8ByteOrderMark", "\xEF\xBB\xBFsecret\n", L"secret"},
    {"LongLine", std::string(20000, 'k') + "\nnext", std::wstring(20000, L'k')},
};

class FirstLineTest : public FileTest, public ::testing::WithParamInterface<FirstLineCase> {};

TEST_P(FirstLineTest, StripsTheLineEndAndDecodes) {
    WriteBytes(m_root / "file", GetParam().contents);
    XTString line = L"stale";
    ASSERT_TRUE(SystemUtility::GetFirstLineFromFile(Wide(m_root / "file"), line));
    EXPECT_EQ(line, GetParam().line);
}

INSTANTIATE_TEST_SUITE_P(Files, FirstLineTest, ::testing::ValuesIn(kFirstLines),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(FileTest, FirstLineFailsForMissingFilesAndUndecodableText) {
    XTString line;
    EXPECT_FALSE(SystemUtility::GetFirstLineFromFile(Wide(m_root / "missing"), line));
    // Not UTF-8, and the default code page (UTF-8 under the C locale) cannot
    // read it either.
    WriteBytes(m_root / "latin1", "caf\xE9\n");
    EXPECT_FALSE(SystemUtility::GetFirstLineFromFile(Wide(m_root / "latin1"), line));
}

TEST_F(FileTest, FirstLineFallsBackToTheDefaultCodePage) {
    const locale_t latin1 = xts::test::MakeCtypeLocale("en_US", "ISO-8859-1", m_root);
    if (!latin1) GTEST_SKIP() << "no ISO-8859-1 locale can be made here";
    WriteBytes(m_root / "latin1", "caf\xE9\nnext");
    WriteBytes(m_root / "utf8", "caf\xC3\xA9\n");
    const locale_t previous = uselocale(latin1);
    XTString line;
    EXPECT_TRUE(SystemUtility::GetFirstLineFromFile(Wide(m_root / "latin1"), line));
    EXPECT_EQ(line, L"caf\u00e9");
    // Valid UTF-8 is read as UTF-8 whatever the locale.
    EXPECT_TRUE(SystemUtility::GetFirstLineFromFile(Wide(m_root / "utf8"), line));
    EXPECT_EQ(line, L"caf\u00e9");
    uselocale(previous);
    freelocale(latin1);
}

// ---- Temporary directory ----

class TempDirectoryTest : public FileTest {
  protected:
    void SetUp() override {
        FileTest::SetUp();
        const char* saved = std::getenv("TMPDIR");
        m_hadTmpdir = saved != nullptr;
        if (saved) m_savedTmpdir = saved;
    }
    void TearDown() override {
        if (m_hadTmpdir) {
            setenv("TMPDIR", m_savedTmpdir.c_str(), 1);
        } else {
            unsetenv("TMPDIR");
        }
        FileTest::TearDown();
    }

    bool m_hadTmpdir = false;
    std::string m_savedTmpdir;
};

TEST_F(TempDirectoryTest, UsesTmpdirOnlyWhenItNamesADirectory) {
    setenv("TMPDIR", (m_root.string() + "//").c_str(), 1);
    EXPECT_EQ(SystemUtility::GetTempDirectory(), Wide(m_root));
    setenv("TMPDIR", (m_root / "missing").c_str(), 1);
    EXPECT_EQ(SystemUtility::GetTempDirectory(), L"/tmp");
    WriteBytes(m_root / "file", "x");
    setenv("TMPDIR", (m_root / "file").c_str(), 1);
    EXPECT_EQ(SystemUtility::GetTempDirectory(), L"/tmp");
    setenv("TMPDIR", "", 1);
    EXPECT_EQ(SystemUtility::GetTempDirectory(), L"/tmp");
    unsetenv("TMPDIR");
    EXPECT_EQ(SystemUtility::GetTempDirectory(), L"/tmp");
    setenv("TMPDIR", "/", 1);
    EXPECT_EQ(SystemUtility::GetTempDirectory(), L"/");
}

// ---- Host and process ----

TEST(HostAndProcess, HostNameAndProcessIdAreTheSystems) {
    char name[HOST_NAME_MAX + 1] = {};
    ASSERT_EQ(gethostname(name, sizeof name - 1), 0);
    EXPECT_EQ(SystemUtility::GetHostName(), SystemUtility::FromUtf8Lenient(name));
    EXPECT_FALSE(SystemUtility::GetHostName().empty());
    EXPECT_EQ(SystemUtility::GetProcessId(), static_cast<int32>(getpid()));
}

}  // namespace
