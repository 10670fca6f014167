// xtsutil types: the column data type catalogue as an aligned text table.
#include <cstdio>
#include <string>
#include <vector>

#include "Commands.h"
#include "TextTable.h"
#include "Utility/Client/SUCXTDataTypes.h"
#include "Utility/Generic/SUGSystemUtility.h"

namespace xtsutil {
namespace {

// The classes of the catalogue, named after their predicates, in print order.
struct TypeClass {
    const char* name;
    bool (*holds)(XTDataType type) noexcept;
};
constexpr TypeClass kTypeClasses[] = {
    {"bit", SUXTDataTypeUtility::IsXTBitType},
    {"text", SUXTDataTypeUtility::IsXTTextType},
    {"varchar", SUXTDataTypeUtility::IsXTVarCharType},
    {"binary", SUXTDataTypeUtility::IsXTBinaryType},
    {"varbinary", SUXTDataTypeUtility::IsXTVarBinaryType},
    {"variable-length", SUXTDataTypeUtility::IsVariableLengthDataType},
    {"integer", SUXTDataTypeUtility::IsXTIntegerType},
    {"numeric", SUXTDataTypeUtility::IsXTNumericType},
    {"exact-numeric", SUXTDataTypeUtility::IsXTExactNumericType},
    {"inexact-numeric", SUXTDataTypeUtility::IsXTInexactNumericType},
    {"datetime-derived", SUXTDataTypeUtility::IsXTDateTimeDerivedType},
    {"datetime-or-timestamp", SUXTDataTypeUtility::IsXTDateTimeOrXTTimeStamp},
    {"quoted-literal", SUXTDataTypeUtility::IsXTQuotedLiteralType},
};

std::string ClassesOf(XTDataType type) {
    std::string classes;
    for (const TypeClass& typeClass : kTypeClasses) {
        if (!typeClass.holds(type)) continue;
        if (!classes.empty()) classes += ", ";
        classes += typeClass.name;
    }
    return classes.empty() ? "-" : classes;
}

}  // namespace

int RunTypesCommand(CommandArguments arguments) {
    if (!arguments.empty()) {
        std::fprintf(stderr, "xtsutil types: unexpected argument '%s'\n", arguments[0]);
        return kExitUsage;
    }
    std::vector<TableRow> rows{{"VALUE", "ENUMERATOR", "DISPLAY NAME", "SINGLE WORD", "CLASSES"}};
    for (const XTDataTypeCatalogueEntry& entry : SUXTDataTypeUtility::GetCatalogue()) {
        // Display names are quoted: they may hold blanks or be empty.
        rows.push_back({std::to_string(entry.type), entry.enumerator,
                        "\"" + SystemUtility::ToUtf8Lenient(entry.displayName) + "\"",
                        SystemUtility::ToUtf8Lenient(entry.singleWordName), ClassesOf(entry.type)});
    }
    PrintTable(rows);
    return kExitSuccess;
}

}  // namespace xtsutil
