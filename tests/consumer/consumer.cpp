// Uses the installed headers and library the way a driver does; prints "ok"
// and exits 0 when every check holds.
#include <cstdio>
#include <string>

#include "Utility/Client/SUCSQLKeyWords.h"
#include "Utility/Client/SUCXTDataTypes.h"
#include "Utility/Generic/SUGErrorMessage.h"

int main() {
    XTString name;
    SUXTDataTypeUtility::GetXTDataTypeName(XTInt4Data, name);
    if (name != L"INTEGER") return 1;
    if (!SQLKeyWords::IsKeyword(L"select")) return 2;
    try {
        SUGThrow(kMsgValueOverflow, "INTEGER", "SMALLINT");
    } catch (const ErrorMessage& error) {
        if (std::string(error.what()) != "[46224] Value overflow: INTEGER to SMALLINT") return 3;
    }
    std::puts("ok");
    return 0;
}
