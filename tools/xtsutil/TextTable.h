// Aligned plain-text tables for the subcommands' output.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace xtsutil {

using TableRow = std::vector<std::string>;

// Prints the rows with every column as wide as its widest cell (in bytes) and
// two blanks between columns; the last column is not padded.
inline void PrintTable(const std::vector<TableRow>& rows) {
    std::vector<std::size_t> widths;
    for (const TableRow& row : rows) {
        if (widths.size() < row.size()) widths.resize(row.size(), 0);
        for (std::size_t column = 0; column < row.size(); ++column)
            if (row[column].size() > widths[column]) widths[column] = row[column].size();
    }
    for (const TableRow& row : rows) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            line += row[column];
            if (column + 1 < row.size()) line.append(widths[column] - row[column].size() + 2, ' ');
        }
        std::printf("%s\n", line.c_str());
    }
}

}  // namespace xtsutil
