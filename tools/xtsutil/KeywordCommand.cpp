// xtsutil keyword WORD...: whether each word is a reserved SQL keyword.
#include <cstdio>

#include "Commands.h"
#include "Utility/Client/SUCSQLKeyWords.h"
#include "Utility/Generic/SUGSystemUtility.h"

namespace xtsutil {
namespace {

// A command-line word is narrow text in the default code page; a word that
// does not decode there is read as UTF-8, with U+FFFD for what is invalid.
XTString WordFromCommandLine(const char* argument) {
    XTString word;
    if (!SystemUtility::ToWide(argument, word, SystemUtility::kDefaultCodePage))
        word = SystemUtility::FromUtf8Lenient(argument);
    return word;
}

}  // namespace

int RunKeywordCommand(CommandArguments arguments) {
    if (arguments.empty()) {
        std::fputs("xtsutil keyword: no WORD given\n", stderr);
        return kExitUsage;
    }
    int status = kExitSuccess;
    for (const char* argument : arguments) {
        const bool reserved = SQLKeyWords::IsKeyword(WordFromCommandLine(argument));
        // The word is echoed as given, in its own code page.
        std::printf("%s: %s\n", argument, reserved ? "reserved" : "not reserved");
        if (!reserved) status = kExitNegative;
    }
    return status;
}

}  // namespace xtsutil
