// Helpers for the transcoding tests: random text of several scripts from a
// fixed seed, and locales with a chosen codeset.
#pragma once

#include <locale.h>

#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <random>
#include <string>

#include "Utility/Generic/SUGSystemUtility.h"

// Present only when the leak checker is linked in.
extern "C" void __lsan_disable() __attribute__((weak));
extern "C" void __lsan_enable() __attribute__((weak));

namespace xts::test {

enum class Script { kAscii, kLatin, kCjk, kEmoji, kBoundary, kMixed };

inline const char* ScriptName(Script script) {
    static const char* const kNames[] = {"Ascii", "Latin", "Cjk", "Emoji", "Boundary", "Mixed"};
    return kNames[static_cast<int>(script)];
}

inline wchar_t RandomCharacter(std::mt19937& random, Script script) {
    // The characters on either side of each UTF-8 and UTF-16 length boundary.
    static constexpr wchar_t kBoundary[] = {0x0000, 0x0001,  0x007F,  0x0080,   0x00FF,  0x0100,
                                            0x07FF, 0x0800,  0xD7FF,  0xE000,   0xFFFD,  0xFFFE,
                                            0xFFFF, 0x10000, 0x1F600, 0x10FFFF, 0x10FFFE};
    static constexpr Script kMixed[] = {Script::kAscii, Script::kAscii, Script::kLatin,
                                        Script::kCjk,   Script::kEmoji, Script::kBoundary};
    auto pick = [&](unsigned low, unsigned high) {
        return static_cast<wchar_t>(std::uniform_int_distribution<unsigned>(low, high)(random));
    };
    if (script == Script::kAscii) return pick(0x01, 0x7F);
    if (script == Script::kLatin) return random() % 3 == 0 ? pick(0x20, 0x7E) : pick(0xA0, 0x17F);
    if (script == Script::kCjk) return pick(0x4E00, 0x9FFF);
    if (script == Script::kEmoji) return pick(0x1F300, 0x1FAFF);
    if (script == Script::kBoundary) return kBoundary[random() % std::size(kBoundary)];
    return RandomCharacter(random, kMixed[random() % std::size(kMixed)]);
}

// Text of `length` characters. Mixed text comes in runs of one script, so
// that ASCII runs long enough for the eight-byte blocks occur.
inline std::wstring RandomText(std::mt19937& random, Script script, std::size_t length) {
    std::wstring text;
    while (text.size() < length) {
        const bool mixed = script == Script::kMixed;
        const std::size_t run = mixed ? 1 + random() % 20 : length;
        const Script runScript = mixed ? static_cast<Script>(random() % 5) : script;
        for (std::size_t i = 0; i < run && text.size() < length; ++i)
            text.push_back(RandomCharacter(random, runScript));
    }
    return text;
}

// An LC_CTYPE locale "<language>.<codeset>": the system's own when it has
// one, else one compiled with localedef into `directory`. Null when neither
// works (the caller skips its test then).
inline locale_t MakeCtypeLocale(const std::string& language, const std::string& codeset,
                                const std::filesystem::path& directory) {
    const std::string name = language + "." + codeset;
    if (locale_t found = newlocale(LC_CTYPE_MASK, name.c_str(), static_cast<locale_t>(0)))
        return found;
    const std::string command = "localedef -i " + language + " -f " + codeset + " " +
                                (directory / name).string() + " >/dev/null 2>&1";
    if (std::system(command.c_str()) != 0) return static_cast<locale_t>(0);
    const char* saved = std::getenv("LOCPATH");
    const std::string savedPath = saved ? saved : "";
    setenv("LOCPATH", directory.c_str(), 1);
    if (__lsan_disable) __lsan_disable();  // newlocale keeps a copy of LOCPATH it never frees
    const locale_t made = newlocale(LC_CTYPE_MASK, name.c_str(), static_cast<locale_t>(0));
    if (__lsan_enable) __lsan_enable();
    saved ? setenv("LOCPATH", savedPath.c_str(), 1) : unsetenv("LOCPATH");
    return made;
}

}  // namespace xts::test
