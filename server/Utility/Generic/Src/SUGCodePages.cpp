// The code page table: Windows-style code page numbers and the iconv charsets
// they stand for, and the default code page of the current locale.
#include <langinfo.h>

#include <cstring>

#include "Transcode.h"
#include "Utility/Generic/SUGSystemUtility.h"

namespace {

struct CodePageEntry {
    unsigned codePage;
    const char* charset;  // the name handed to iconv_open
};

// One row per code page; the charset is also its first name for reverse
// look-ups.
constexpr CodePageEntry kCodePages[] = {
    {65001, "UTF-8"},       {1200, "UTF-16LE"},     {1201, "UTF-16BE"},     {12000, "UTF-32LE"},
    {12001, "UTF-32BE"},    {20127, "US-ASCII"},    {28591, "ISO-8859-1"},  {28592, "ISO-8859-2"},
    {28593, "ISO-8859-3"},  {28594, "ISO-8859-4"},  {28595, "ISO-8859-5"},  {28596, "ISO-8859-6"},
    {28597, "ISO-8859-7"},  {28598, "ISO-8859-8"},  {28599, "ISO-8859-9"},  {28603, "ISO-8859-13"},
    {28605, "ISO-8859-15"}, {1250, "WINDOWS-1250"}, {1251, "WINDOWS-1251"}, {1252, "WINDOWS-1252"},
    {1253, "WINDOWS-1253"}, {1254, "WINDOWS-1254"}, {1255, "WINDOWS-1255"}, {1256, "WINDOWS-1256"},
    {1257, "WINDOWS-1257"}, {1258, "WINDOWS-1258"}, {874, "WINDOWS-874"},   {932, "CP932"},
    {936, "GBK"},           {949, "CP949"},         {950, "BIG5"},          {20866, "KOI8-R"},
    {21866, "KOI8-U"},      {51932, "EUC-JP"},      {51949, "EUC-KR"},      {54936, "GB18030"},
};

struct CharsetAlias {
    const char* name;
    unsigned codePage;
};

// Further names of the same charsets, as locales and callers spell them.
// GB2312 (EUC-CN) and TIS-620 are read as their supersets GBK and
// windows-874.
constexpr CharsetAlias kAliases[] = {
    {"UTF8", 65001},      {"ANSI_X3.4-1968", 20127},
    {"ASCII", 20127},     {"ISO646-US", 20127},
    {"LATIN1", 28591},    {"LATIN2", 28592},
    {"LATIN9", 28605},    {"CP1250", 1250},
    {"CP1251", 1251},     {"CP1252", 1252},
    {"CP1253", 1253},     {"CP1254", 1254},
    {"CP1255", 1255},     {"CP1256", 1256},
    {"CP1257", 1257},     {"CP1258", 1258},
    {"CP874", 874},       {"TIS-620", 874},
    {"WINDOWS-31J", 932}, {"MS932", 932},
    {"CP936", 936},       {"GB2312", 936},
    {"EUC-CN", 936},      {"UHC", 949},
    {"CP950", 950},       {"BIG-5", 950},
    {"EUCJP", 51932},     {"EUCKR", 51949},
    {"UCS-2LE", 1200},
};

char FoldCase(char c) noexcept {
    return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 32) : c;
}

bool IsIgnored(char c) noexcept {
    return c == '-' || c == '_';
}

// Compares two charset names ignoring case, '-' and '_'.
bool SameCharsetName(const char* a, const char* b) noexcept {
    for (;;) {
        while (IsIgnored(*a)) ++a;
        while (IsIgnored(*b)) ++b;
        if (FoldCase(*a) != FoldCase(*b)) return false;
        if (*a == '\0') return true;
        ++a;
        ++b;
    }
}

// The code page a locale codeset stands for as the default code page.
unsigned DefaultForCodeset(const char* codeset) noexcept {
    const unsigned codePage = SystemUtility::GetCodePageFromCharset(codeset);
    if (codePage == 0 || codePage == 20127) return SystemUtility::kUTF8CodePage;
    return codePage;
}

// The last codeset other than UTF-8 and ASCII that this thread resolved. The
// pointer alone could be reused by another locale after a freelocale, so the
// name is compared too.
struct CodesetMemo {
    const char* pointer = nullptr;
    char name[32] = {};
    unsigned codePage = 0;
};
thread_local CodesetMemo t_codesetMemo;

}  // namespace

namespace xts::transcode {

unsigned DefaultCodePage() noexcept {
    // nl_langinfo reads the calling thread's locale (uselocale) and returns a
    // pointer into the locale's data, so this costs no allocation.
    // The converters resolve the default for every value: the codeset seen
    // last on this thread is remembered, so the usual call is one look-up and
    // one short comparison.
    const char* codeset = nl_langinfo(CODESET);
    if (codeset == nullptr || *codeset == '\0') return SystemUtility::kUTF8CodePage;
    CodesetMemo& memo = t_codesetMemo;
    if (codeset == memo.pointer && std::strcmp(codeset, memo.name) == 0) return memo.codePage;
    const unsigned codePage =
        (std::strcmp(codeset, "UTF-8") == 0 || std::strcmp(codeset, "ANSI_X3.4-1968") == 0)
            ? SystemUtility::kUTF8CodePage
            : DefaultForCodeset(codeset);
    if (std::strlen(codeset) < sizeof memo.name) {
        std::strcpy(memo.name, codeset);
        memo.pointer = codeset;
        memo.codePage = codePage;
    }
    return codePage;
}

const char* FindCharset(unsigned codePage) noexcept {
    for (const CodePageEntry& entry : kCodePages) {
        if (entry.codePage == codePage) return entry.charset;
    }
    return nullptr;
}

std::size_t NarrowUnitBytes(unsigned codePage) noexcept {
    switch (codePage) {
        case 1200:
        case 1201: return 2;
        case 12000:
        case 12001: return 4;
        default: return 1;
    }
}

}  // namespace xts::transcode

unsigned SystemUtility::GetMultiByteCodePage() {
    return xts::transcode::DefaultCodePage();
}

const char* SystemUtility::GetCodePageCharset(unsigned codePage) {
    return xts::transcode::FindCharset(xts::transcode::ResolveCodePage(codePage));
}

unsigned SystemUtility::GetCodePageFromCharset(const char* charset) {
    if (charset == nullptr || *charset == '\0') return 0;
    for (const CodePageEntry& entry : kCodePages) {
        if (SameCharsetName(charset, entry.charset)) return entry.codePage;
    }
    for (const CharsetAlias& alias : kAliases) {
        if (SameCharsetName(charset, alias.name)) return alias.codePage;
    }
    return 0;
}
