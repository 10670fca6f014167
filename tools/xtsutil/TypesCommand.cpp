// xtsutil types: the column data type catalogue as an aligned text table.
#include <cstdio>
#include <string>
#include <vector>

#include "Commands.h"
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

using Row = std::vector<std::string>;

void PrintRow(const Row& row, const std::vector<std::size_t>& widths) {
    std::string line;
    for (std::size_t column = 0; column < row.size(); ++column) {
        line += row[column];
        if (column + 1 < row.size()) line.append(widths[column] - row[column].size() + 2, ' ');
    }
    std::printf("%s\n", line.c_str());
}

}  // namespace

int RunTypesCommand(CommandArguments arguments) {
    if (!arguments.empty()) {
        std::fprintf(stderr, "xtsutil types: unexpected argument '%s'\n", arguments[0]);
        return kExitUsage;
    }
    std::vector<Row> rows{{"VALUE", "ENUMERATOR", "DISPLAY NAME", "SINGLE WORD", "CLASSES"}};
    for (const XTDataTypeCatalogueEntry& entry : SUXTDataTypeUtility::GetCatalogue()) {
        // Display names are quoted: they may hold blanks or be empty.
        rows.push_back({std::to_string(entry.type), entry.enumerator,
                        "\"" + SystemUtility::ToUtf8Lenient(entry.displayName) + "\"",
                        SystemUtility::ToUtf8Lenient(entry.singleWordName), ClassesOf(entry.type)});
    }
    std::vector<std::size_t> widths(rows.front().size(), 0);
    for (const Row& row : rows)
        for (std::size_t column = 0; column < row.size(); ++column)
            if (row[column].size() > widths[column]) widths[column] = row[column].size();
    for (const Row& row : rows)
        PrintRow(row, widths);
    return kExitSuccess;
}

}  // namespace xtsutil
