// The operating-system services of SystemUtility: environment, files,
// temporary directory, host and process.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

#include "Utility/Generic/SUGSystemUtility.h"

TEST(SystemServices, EnvironmentRoundTripsWideValues) {
    const XTString name = L"XTS_SYSTEM_SERVICES_TEST";
    XTString value = L"unchanged";
    ASSERT_TRUE(SystemUtility::Setenv(name, L"Grüße ✓"));
    ASSERT_TRUE(SystemUtility::Getenv(name, value));
    EXPECT_EQ(value, L"Grüße ✓");
    XTNString narrow;
    ASSERT_TRUE(SystemUtility::Getenv("XTS_SYSTEM_SERVICES_TEST", narrow));
    EXPECT_EQ(narrow,
              "Gr\xC3\xBC\xC3\x9F"
              "e \xE2\x9C\x93");
    ASSERT_TRUE(SystemUtility::Unsetenv(name));
    value = L"unchanged";
    EXPECT_FALSE(SystemUtility::Getenv(name, value));
    EXPECT_EQ(value, L"unchanged");
}

TEST(SystemServices, FilesAndDirectories) {
    const XTString directory = SystemUtility::GetTempDirectory() + L"/xts-services-" +
                               std::to_wstring(SystemUtility::GetProcessId()) + L"/a/b";
    ASSERT_TRUE(SystemUtility::CreateDirectory(directory));
    EXPECT_TRUE(SystemUtility::IsDirectory(directory));
    const XTString file = directory + L"/first-line.txt";
    XTNString path;
    ASSERT_TRUE(SystemUtility::ToNarrow(file, path, SystemUtility::kDefaultCodePage));
    std::FILE* out = std::fopen(path.c_str(), "wb");
    ASSERT_NE(out, nullptr);
    std::fputs("\xEF\xBB\xBFpass phrase \xC3\xA9\r\nsecond line\n", out);
    std::fclose(out);
    EXPECT_TRUE(SystemUtility::IsFileExist(file));
    EXPECT_FALSE(SystemUtility::IsDirectory(file));
    XTString line;
    ASSERT_TRUE(SystemUtility::GetFirstLineFromFile(file, line));
    EXPECT_EQ(line, L"pass phrase é");
    std::vector<char> contents;
    ASSERT_TRUE(SystemUtility::ReadFile(file, contents));
    EXPECT_EQ(contents.size(), 31u);
    EXPECT_TRUE(SystemUtility::RemoveFile(file));
    EXPECT_FALSE(SystemUtility::IsFileExist(file));
    EXPECT_FALSE(SystemUtility::GetFirstLineFromFile(file, line));
    EXPECT_FALSE(SystemUtility::RemoveFile(directory));  // never removes directories
}

TEST(SystemServices, HostAndProcess) {
    EXPECT_FALSE(SystemUtility::GetHostName().empty());
    EXPECT_EQ(SystemUtility::GetProcessId(), static_cast<int32>(getpid()));
    EXPECT_TRUE(SystemUtility::IsDirectory(SystemUtility::GetTempDirectory()));
}
