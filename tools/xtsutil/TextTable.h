// Aligned plain-text tables for the subcommands' output.
#pragma once

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace xtsutil {

using TableRow = std::vector<std::string>;

// The columns a UTF-8 text takes on a terminal: one per character, two for
// the wide East Asian characters.
inline std::size_t DisplayWidth(const std::string& text) {
    std::size_t width = 0;
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        char32_t c = length == 1 ? lead : lead & (0xFF >> (length + 1));
        for (std::size_t k = 1; k < length && i + k < text.size(); ++k)
            c = (c << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3F);
        const bool wide = (c >= 0x1100 && c <= 0x115F) || (c >= 0x2E80 && c <= 0xA4CF) ||
                          (c >= 0xAC00 && c <= 0xD7A3) || (c >= 0xF900 && c <= 0xFAFF) ||
                          (c >= 0xFE30 && c <= 0xFE4F) || (c >= 0xFF00 && c <= 0xFF60) ||
                          (c >= 0xFFE0 && c <= 0xFFE6) || (c >= 0x20000 && c <= 0x3FFFD);
        width += wide ? 2 : 1;
        i += length;
    }
    return width;
}

// Prints the rows with every column as wide as its widest cell and
// two blanks between columns; the last column is not padded.
inline void PrintTable(const std::vector<TableRow>& rows) {
    std::vector<std::size_t> widths;
    for (const TableRow& row : rows) {
        if (widths.size() < row.size()) widths.resize(row.size(), 0);
        for (std::size_t column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], DisplayWidth(row[column]));
    }
    for (const TableRow& row : rows) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            line += row[column];
            if (column + 1 < row.size())
                line.append(widths[column] - DisplayWidth(row[column]) + 2, ' ');
        }
        std::printf("%s\n", line.c_str());
    }
}

}  // namespace xtsutil
