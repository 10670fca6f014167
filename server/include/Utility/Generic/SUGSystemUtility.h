// Operating-system services: transcoding between code pages, environment
// variables, files and directories, host and process identity.
//
// Transcoding contract (all five converters):
//  - Code pages are Windows-style numbers (65001 UTF-8, 1252 windows-1252,
//    28591 ISO-8859-1, 932 CP932, 1200 UTF-16LE ...); 0 is the default code
//    page of the process (see GetMultiByteCodePage).
//  - The result is the number of destination units written. It is 0 when the
//    destination filled up before the source ended (the destination then holds
//    exactly its first `capacity` units of the full result, which may end
//    inside a multi-byte character or between the two halves of a surrogate
//    pair) and also for an empty source or a capacity of 0 (nothing is
//    written then). It is negative for invalid input (malformed or truncated
//    multi-byte sequences, lone surrogates, wide values above U+10FFFF,
//    characters the target cannot hold: kInvalidInput), an unknown code page
//    (kUnknownCodePage) or unusable arguments such as a null buffer with a
//    non-zero size or a negative capacity (kInvalidArgument).
//    Input is checked only as far as the conversion gets: a fault after the
//    point where the destination fills up is not seen.
//  - Nothing is ever written at or beyond destination + capacity. No
//    terminator is added beyond what the source contains.
//  - A negative source length means the source is zero-terminated; the
//    terminator is then converted too and counted.
//  - Thread-safe; independent of the locale except for resolving code page 0.
//    UTF-8 and ISO-8859-1 are converted by hand-written code; other code pages
//    go through iconv with a per-thread cache of descriptors.
// The code page table and the exact rules are in docs/transcoding.md.
#pragma once

#include <vector>

#include "Utility/Generic/SUGExport.h"
#include "Utility/Generic/SUGXTString.h"

class XTS_EXPORT SystemUtility {
public:
    static constexpr unsigned kDefaultCodePage = 0;
    static constexpr unsigned kUTF8CodePage = 65001;
    static constexpr unsigned kLatin1CodePage = 28591;

    // Negative results of the converters.
    static constexpr int kInvalidInput = -1;
    static constexpr int kUnknownCodePage = -2;
    static constexpr int kInvalidArgument = -3;

    // Narrow text in `codePage` to wide (32-bit) text.
    static int MultiByteToWideChar(const char* source, int sourceBytes, wchar_t* destination,
                                   int destinationUnits, unsigned codePage);
    // Wide (32-bit) text to narrow text in `codePage`.
    static int WideCharToMultiByte(const wchar_t* source, int sourceUnits, char* destination,
                                   int destinationBytes, unsigned codePage);
    // The same for a zero-terminated source; the terminator is not converted.
    static int WideCharToMultiByte(const wchar_t* source, char* destination, int destinationBytes,
                                   unsigned codePage);
    // UTF-16 code units (surrogate pairs combine) to narrow text in `codePage`.
    static int Ucs2ToMultiByte(const UTF16Char* source, int sourceUnits, char* destination,
                               int destinationBytes, unsigned codePage);
    // Narrow text in `codePage` to UTF-16 code units (characters above U+FFFF
    // become surrogate pairs).
    static int MultiByteToUcs2(const char* source, int sourceBytes, UTF16Char* destination,
                               int destinationUnits, unsigned codePage);

    // The number of the default code page: the codeset of the current LC_CTYPE
    // locale (the thread's own locale when it set one with uselocale); a plain
    // ASCII codeset (the "C" locale) and a codeset without a code page number
    // count as UTF-8.
    static unsigned GetMultiByteCodePage();
    // The iconv charset name of a code page ("UTF-8", "WINDOWS-1252" ...), or
    // null for an unknown number. Code page 0 resolves to the default first.
    static const char* GetCodePageCharset(unsigned codePage);
    // The code page number of an iconv charset name or a common alias, or 0
    // when unknown. Case, '-' and '_' do not matter ("utf8" is 65001).
    static unsigned GetCodePageFromCharset(const char* charset);

    // Whole-string conveniences; invalid input gives an empty result and false.
    static bool ToWide(const XTNString& text, XTString& out, unsigned codePage);
    static bool ToNarrow(const XTString& text, XTNString& out, unsigned codePage);
    // UTF-8 conveniences for messages and tools: invalid sequences and
    // unencodable characters become U+FFFD instead of failing.
    static XTString FromUtf8Lenient(const XTNString& text);
    static XTNString ToUtf8Lenient(const XTString& text);

    // Environment. Getenv returns false when the variable is not set.
    static bool Getenv(const XTString& name, XTString& value);
    static bool Getenv(const char* name, XTNString& value);
    static bool Setenv(const XTString& name, const XTString& value);
    static bool Unsetenv(const XTString& name);

    // Files and directories (paths are wide, encoded in the default code page).
    static bool IsFileExist(const XTString& path);
    static bool IsDirectory(const XTString& path);
    // Creates the directory and any missing parents; true when it exists after.
    static bool CreateDirectory(const XTString& path);
    static bool RemoveFile(const XTString& path);
    // Reads the whole file; false when it cannot be read.
    static bool ReadFile(const XTString& path, std::vector<char>& contents);
    // The first line of a text file (UTF-8 or the default code page) without
    // its line end; false when the file cannot be read.
    static bool GetFirstLineFromFile(const XTString& path, XTString& line);
    // The temporary directory: $TMPDIR when it names a directory, else "/tmp".
    static XTString GetTempDirectory();

    // Host and process.
    static XTString GetHostName();
    static int32 GetProcessId();
};
