// SystemUtility services beyond the transcoders: whole-string conversions,
// environment variables, files and directories, host and process identity.
// Wide names, values and paths are narrowed with the default code page.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <mutex>

#include "Utf8Codec.h"
#include "Utility/Generic/SUGSystemUtility.h"

namespace {

// getenv, setenv and unsetenv are not safe against each other; the
// library's own calls take this lock.
std::mutex g_environmentLock;

// Converts a whole string with a converter of the (source, length,
// destination, capacity, codePage) form, growing the result until it fits.
template <class Source, class Result, class Converter>
bool ConvertWhole(const Source& source, Result& result, unsigned codePage, std::size_t firstGuess,
                  Converter convert) {
    if (source.size() > static_cast<std::size_t>(INT_MAX)) {
        result.clear();
        return false;
    }
    std::size_t capacity = firstGuess == 0 ? 1 : firstGuess;
    for (;;) {
        if (capacity > static_cast<std::size_t>(INT_MAX)) capacity = INT_MAX;
        result.resize(capacity);
        const int written = convert(source.data(), static_cast<int>(source.size()), result.data(),
                                    static_cast<int>(capacity), codePage);
        if (written > 0 || (written == 0 && source.empty())) {
            result.resize(static_cast<std::size_t>(written));
            return true;
        }
        if (written < 0 || capacity == static_cast<std::size_t>(INT_MAX)) {
            result.clear();
            return false;
        }
        capacity *= 2;
    }
}

bool IsValidUtf8(const char* text, std::size_t size) {
    const auto* p = reinterpret_cast<const unsigned char*>(text);
    const auto* end = p + size;
    while (p < end) {
        char32_t character;
        const int taken = xts::utf8::DecodeOne(p, end, character);
        if (taken == 0) return false;
        p += taken;
    }
    return true;
}

bool ToNativePath(const XTString& path, XTNString& narrow) {
    return !path.empty() && SystemUtility::ToNarrow(path, narrow, SystemUtility::kDefaultCodePage);
}

bool StatPath(const XTString& path, struct stat& status) {
    XTNString narrow;
    return ToNativePath(path, narrow) && ::stat(narrow.c_str(), &status) == 0;
}

bool IsNarrowDirectory(const XTNString& path) {
    struct stat status;
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Reads from `descriptor` until end of file, or only until the first line
// end when `firstLineOnly`.
bool ReadAll(int descriptor, std::vector<char>& contents, bool firstLineOnly) {
    contents.clear();
    char block[8192];
    for (;;) {
        const ssize_t got = ::read(descriptor, block, sizeof block);
        if (got < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        if (got == 0) return true;
        contents.insert(contents.end(), block, block + got);
        if (firstLineOnly &&
            std::char_traits<char>::find(block, static_cast<std::size_t>(got), '\n') != nullptr)
            return true;
    }
}

bool ReadPath(const XTString& path, std::vector<char>& contents, bool firstLineOnly) {
    XTNString narrow;
    if (!ToNativePath(path, narrow)) return false;
    const int descriptor = ::open(narrow.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return false;
    const bool done = ReadAll(descriptor, contents, firstLineOnly);
    ::close(descriptor);
    if (!done) contents.clear();
    return done;
}

}  // namespace

bool SystemUtility::ToWide(const XTNString& text, XTString& out, unsigned codePage) {
    return ConvertWhole(text, out, codePage, text.size(),
                        [](const char* s, int n, wchar_t* d, int c, unsigned cp) {
                            return MultiByteToWideChar(s, n, d, c, cp);
                        });
}

bool SystemUtility::ToNarrow(const XTString& text, XTNString& out, unsigned codePage) {
    return ConvertWhole(text, out, codePage, text.size() * 4,
                        [](const wchar_t* s, int n, char* d, int c, unsigned cp) {
                            return WideCharToMultiByte(s, n, d, c, cp);
                        });
}

// ---- Environment ----

bool SystemUtility::Getenv(const char* name, XTNString& value) {
    if (name == nullptr) return false;
    std::lock_guard<std::mutex> guard(g_environmentLock);
    const char* found = std::getenv(name);
    if (found == nullptr) return false;
    value.assign(found);
    return true;
}

bool SystemUtility::Getenv(const XTString& name, XTString& value) {
    XTNString narrowName;
    XTNString narrowValue;
    if (!ToNarrow(name, narrowName, kDefaultCodePage)) return false;
    if (!Getenv(narrowName.c_str(), narrowValue)) return false;
    return ToWide(narrowValue, value, kDefaultCodePage);
}

bool SystemUtility::Setenv(const XTString& name, const XTString& value) {
    XTNString narrowName;
    XTNString narrowValue;
    if (!ToNarrow(name, narrowName, kDefaultCodePage) ||
        !ToNarrow(value, narrowValue, kDefaultCodePage))
        return false;
    std::lock_guard<std::mutex> guard(g_environmentLock);
    return ::setenv(narrowName.c_str(), narrowValue.c_str(), 1) == 0;
}

bool SystemUtility::Unsetenv(const XTString& name) {
    XTNString narrowName;
    if (!ToNarrow(name, narrowName, kDefaultCodePage)) return false;
    std::lock_guard<std::mutex> guard(g_environmentLock);
    return ::unsetenv(narrowName.c_str()) == 0;
}

// ---- Files and directories ----

bool SystemUtility::IsFileExist(const XTString& path) {
    struct stat status;
    return StatPath(path, status);
}

bool SystemUtility::IsDirectory(const XTString& path) {
    struct stat status;
    return StatPath(path, status) && S_ISDIR(status.st_mode);
}

bool SystemUtility::CreateDirectory(const XTString& path) {
    XTNString narrow;
    if (!ToNativePath(path, narrow)) return false;
    // Create each missing component from the root down; a component made by
    // someone else in the meantime is fine.
    std::size_t position = 0;
    while (position != XTNString::npos) {
        position = narrow.find('/', position + 1);
        const XTNString prefix = narrow.substr(0, position);
        if (prefix.empty() || IsNarrowDirectory(prefix)) continue;
        if (::mkdir(prefix.c_str(), 0777) != 0 && errno != EEXIST) return false;
    }
    return IsNarrowDirectory(narrow);
}

bool SystemUtility::RemoveFile(const XTString& path) {
    XTNString narrow;
    return ToNativePath(path, narrow) && ::unlink(narrow.c_str()) == 0;
}

bool SystemUtility::ReadFile(const XTString& path, std::vector<char>& contents) {
    return ReadPath(path, contents, false);
}

bool SystemUtility::GetFirstLineFromFile(const XTString& path, XTString& line) {
    std::vector<char> contents;
    if (!ReadPath(path, contents, true)) return false;
    std::size_t begin = 0;
    std::size_t end = 0;
    while (end < contents.size() && contents[end] != '\n') ++end;
    if (end > 0 && contents[end - 1] == '\r' && end < contents.size()) --end;
    static constexpr char kUtf8ByteOrderMark[] = "\xEF\xBB\xBF";
    if (end >= 3 && XTNString(contents.data(), 3) == kUtf8ByteOrderMark) begin = 3;
    const XTNString text(contents.data() + begin, end - begin);
    const unsigned codePage =
        IsValidUtf8(text.data(), text.size()) ? kUTF8CodePage : kDefaultCodePage;
    return ToWide(text, line, codePage);
}

XTString SystemUtility::GetTempDirectory() {
    XTNString directory;
    if (Getenv("TMPDIR", directory) && !directory.empty() && IsNarrowDirectory(directory)) {
        while (directory.size() > 1 && directory.back() == '/') directory.pop_back();
        XTString wide;
        if (ToWide(directory, wide, kDefaultCodePage)) return wide;
    }
    return L"/tmp";
}

// ---- Host and process ----

XTString SystemUtility::GetHostName() {
    char name[HOST_NAME_MAX + 1] = {};
    if (::gethostname(name, sizeof name - 1) != 0) return XTString();
    XTString wide;
    if (ToWide(name, wide, kDefaultCodePage)) return wide;
    return FromUtf8Lenient(name);
}

int32 SystemUtility::GetProcessId() {
    return static_cast<int32>(::getpid());
}
