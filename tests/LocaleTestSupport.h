// Locales generated for a test program: a global test environment that runs
// localedef into a temporary folder, points LOCPATH at it and removes the
// folder at the end. The library never calls setlocale; the tests do, through
// ScopedTimeLocale, and put "C" back afterwards.
//
// Needs the Debian package 'locales' (localedef and /usr/share/i18n), which
// make test installs; without it the environment fails with a message saying
// so.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace xts::test {

// One locale to generate: `name` is what setlocale is given; `input` is a
// locale source of /usr/share/i18n/locales (de_DE), or, when `source` is not
// empty, the file name under which `source` is written into the folder first.
struct LocaleDefinition {
    std::string name;
    std::string input;
    std::string source;
};

class GeneratedLocales : public ::testing::Environment {
  public:
    static constexpr const char* kLocaleSources = "/usr/share/i18n/locales";

    explicit GeneratedLocales(std::vector<LocaleDefinition> definitions)
        : m_definitions(std::move(definitions)) {}

    void SetUp() override {
        char pattern[] = "/tmp/xts-locales-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr) << "cannot create a temporary folder";
        Folder() = pattern;
        ASSERT_EQ(std::system("command -v localedef > /dev/null 2>&1"), 0)
            << "localedef is missing: install the Debian package 'locales' (make test does)";
        for (const LocaleDefinition& definition : m_definitions) {
            std::filesystem::path input = definition.input;
            if (!definition.source.empty()) {
                input = Folder() / definition.input;
                std::ofstream(input) << definition.source;
            } else {
                ASSERT_TRUE(std::filesystem::exists(kLocaleSources / input))
                    << "the locale source " << kLocaleSources << "/" << definition.input
                    << " is missing: install the Debian package 'locales' (make test does)";
            }
            const std::string command = "localedef -i '" + input.string() + "' -f UTF-8 '" +
                                        (Folder() / definition.name).string() +
                                        "' > /dev/null 2>&1";
            ASSERT_EQ(std::system(command.c_str()), 0) << "failed: " << command;
        }
        ASSERT_EQ(setenv("LOCPATH", Folder().c_str(), 1), 0);
    }

    void TearDown() override {
        std::setlocale(LC_ALL, "C");
        unsetenv("LOCPATH");
        std::error_code ignored;
        if (!Folder().empty()) std::filesystem::remove_all(Folder(), ignored);
    }

    // The folder of the generated locales (empty before SetUp).
    static std::filesystem::path& Folder() {
        static std::filesystem::path folder;
        return folder;
    }

  private:
    std::vector<LocaleDefinition> m_definitions;
};

// Sets LC_TIME for a scope and puts "C" back at its end. Check Ok() (or use
// ASSERT_TRUE on it) before relying on the locale.
class ScopedTimeLocale {
  public:
    explicit ScopedTimeLocale(const char* name) : m_ok(std::setlocale(LC_TIME, name) != nullptr) {}
    ~ScopedTimeLocale() { std::setlocale(LC_TIME, "C"); }
    ScopedTimeLocale(const ScopedTimeLocale&) = delete;
    ScopedTimeLocale& operator=(const ScopedTimeLocale&) = delete;

    bool Ok() const noexcept { return m_ok; }

  private:
    bool m_ok;
};

}  // namespace xts::test
