// The reserved words of the server's SQL dialect, for code that builds or
// quotes SQL text: an identifier spelled like one of them must be quoted.
#pragma once

#include <set>

#include "Utility/Generic/SUGBaseStringUtil.h"
#include "Utility/Generic/SUGExport.h"
#include "Utility/Generic/SUGSingleton.h"
#include "Utility/Generic/SUGXTString.h"

// The reserved words as wide strings, each once, ordered without regard to
// letter case.
using SQLKeywordsSet = std::set<XTString, XTStringCaseInsensitiveLessThan>;

// The factory of the process-wide keyword set: creating the set fills it
// from the raw keyword table (see SQLKeyWords). Declared here so that every
// user of the singleton type sees the same factory.
template <>
struct XTS_EXPORT DefaultSingletonFactory<SQLKeywordsSet, true> {
    static constexpr bool kDestroyAtExit = true;
    // Builds the set from the table rows, last row first.
    static SQLKeywordsSet* create();
    static void destroy(SQLKeywordsSet* instance) noexcept { delete instance; }
};

// Reserved-word queries. The raw table is constant; the case-insensitive set
// is built once per process, on the first IsKeyword, by whichever thread gets
// there first, and is read-only afterwards.
class XTS_EXPORT SQLKeyWords {
public:
    // The number of keyword rows in the raw table; a further empty string
    // ends it. "LEFT" and "RIGHT" appear twice, so the set holds two fewer.
    static constexpr int kReservedKeyWordRows = 383;

    // The raw table: upper-case ASCII words in table order, ended by an empty
    // string. Callers walk it until the empty string. Does not build the set.
    static char const** GetSQLReservedKeyWords() noexcept;

    // Whether `word`, compared whole and ignoring case, is a reserved word.
    // Builds the set on first use; safe from any number of threads.
    static bool IsKeyword(String const& word);

    // The keyword set itself (built on first use), for callers that iterate it.
    static const SQLKeywordsSet& GetSQLKeywordsSet();
};
