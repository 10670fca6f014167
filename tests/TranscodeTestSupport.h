// Helpers for the transcoding tests: random text of several scripts from a
// fixed seed, UTF-16 forms, and iconv as an independent oracle.
#pragma once

#include <iconv.h>
#include <locale.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "Utility/Generic/SUGSystemUtility.h"

#if defined(__SANITIZE_ADDRESS__)
#define XTS_TEST_LEAK_CHECKER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define XTS_TEST_LEAK_CHECKER 1
#endif
#endif
#if defined(XTS_TEST_LEAK_CHECKER)
#include <sanitizer/lsan_interface.h>
#endif

namespace xts::test {

using Utf16Text = std::vector<UTF16Char>;

enum class Script { kAscii, kLatin, kCjk, kEmoji, kBoundary, kMixed };

inline const char* ScriptName(Script script) {
    switch (script) {
        case Script::kAscii:
            return "Ascii";
        case Script::kLatin:
            return "Latin";
        case Script::kCjk:
            return "Cjk";
        case Script::kEmoji:
            return "Emoji";
        case Script::kBoundary:
            return "Boundary";
        case Script::kMixed:
            return "Mixed";
    }
    return "?";
}

// The characters on either side of each UTF-8 and UTF-16 length boundary.
inline constexpr wchar_t kBoundaryCharacters[] = {
    0x0000, 0x0001, 0x007F, 0x0080, 0x00FF,  0x0100,  0x07FF,   0x0800,   0xD7FF,
    0xE000, 0xFFFD, 0xFFFE, 0xFFFF, 0x10000, 0x1F600, 0x10FFFF, 0x10FFFE,
};

inline wchar_t RandomCharacter(std::mt19937& random, Script script) {
    auto pick = [&](unsigned low, unsigned high) {
        return static_cast<wchar_t>(std::uniform_int_distribution<unsigned>(low, high)(random));
    };
    switch (script) {
        case Script::kAscii:
            return pick(0x01, 0x7F);
        case Script::kLatin:
            return random() % 3 == 0 ? pick(0x20, 0x7E) : pick(0xA0, 0x17F);
        case Script::kCjk:
            return pick(0x4E00, 0x9FFF);
        case Script::kEmoji:
            return pick(0x1F300, 0x1FAFF);
        case Script::kBoundary:
            return kBoundaryCharacters[random() % std::size(kBoundaryCharacters)];
        case Script::kMixed:
            break;
    }
    static constexpr Script kScripts[] = {Script::kAscii, Script::kAscii, Script::kLatin,
                                          Script::kCjk,   Script::kEmoji, Script::kBoundary};
    return RandomCharacter(random, kScripts[random() % std::size(kScripts)]);
}

// Text of `length` characters. Mixed text comes in runs of one script, so
// that ASCII runs long enough for the eight-byte blocks occur.
inline std::wstring RandomText(std::mt19937& random, Script script, std::size_t length) {
    std::wstring text;
    while (text.size() < length) {
        const std::size_t run = script == Script::kMixed ? 1 + random() % 20 : length;
        const Script runScript =
            script == Script::kMixed ? static_cast<Script>(random() % 5) : script;
        for (std::size_t i = 0; i < run && text.size() < length; ++i)
            text.push_back(RandomCharacter(random, runScript));
    }
    return text;
}

inline Utf16Text ToUtf16(const std::wstring& text) {
    Utf16Text units;
    for (const wchar_t character : text) {
        const auto value = static_cast<char32_t>(character);
        if (value >= 0x10000) {
            units.push_back(static_cast<UTF16Char>(0xD800 + ((value - 0x10000) >> 10)));
            units.push_back(static_cast<UTF16Char>(0xDC00 + ((value - 0x10000) & 0x3FF)));
        } else {
            units.push_back(static_cast<UTF16Char>(value));
        }
    }
    return units;
}

// Converts `bytes` with iconv; nullopt when iconv rejects them.
inline std::optional<std::string> Iconv(const char* to, const char* from,
                                        const std::string& bytes) {
    const iconv_t descriptor = iconv_open(to, from);
    if (descriptor == reinterpret_cast<iconv_t>(-1)) return std::nullopt;
    std::string out(bytes.size() * 4 + 16, '\0');
    char* in = const_cast<char*>(bytes.data());
    std::size_t inLeft = bytes.size();
    char* outPointer = out.data();
    std::size_t outLeft = out.size();
    const std::size_t result = iconv(descriptor, &in, &inLeft, &outPointer, &outLeft);
    iconv_close(descriptor);
    if (result == static_cast<std::size_t>(-1)) return std::nullopt;
    out.resize(out.size() - outLeft);
    return out;
}

inline std::string BytesOf(const std::wstring& text) {
    return std::string(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
}

inline std::string BytesOf(const Utf16Text& text) {
    return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
}

inline std::wstring WideFromBytes(const std::string& bytes) {
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
    return text;
}

inline Utf16Text Utf16FromBytes(const std::string& bytes) {
    Utf16Text text(bytes.size() / 2);
    std::memcpy(text.data(), bytes.data(), text.size() * 2);
    return text;
}

// The UTF-8 form of valid wide text, by iconv.
inline std::string Utf8ByIconv(const std::wstring& text) {
    return Iconv("UTF-8", "UTF-32LE", BytesOf(text)).value();
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
#if defined(XTS_TEST_LEAK_CHECKER)
    // newlocale keeps its copy of LOCPATH without a reference to it.
    __lsan::ScopedDisabler leaksInTheCLibrary;
#endif
    const locale_t made = newlocale(LC_CTYPE_MASK, name.c_str(), static_cast<locale_t>(0));
    if (saved) {
        setenv("LOCPATH", savedPath.c_str(), 1);
    } else {
        unsetenv("LOCPATH");
    }
    return made;
}

}  // namespace xts::test
