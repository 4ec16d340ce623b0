#include "TextTable.h"

#include <algorithm>

size_t utf8Width(const std::string& text) {
    // Continuation bytes (10xxxxxx) do not start a character.
    return static_cast<size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

TextTable::TextTable(std::vector<std::string> header) { rows_.push_back(std::move(header)); }

void TextTable::addRow(std::vector<std::string> row) {
    row.resize(rows_.front().size());
    rows_.push_back(std::move(row));
}

void TextTable::print(std::ostream& out) const {
    std::vector<size_t> widths(rows_.front().size(), 0);
    for (const auto& row : rows_) {
        for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], utf8Width(row[i]));
    }
    for (const auto& row : rows_) {
        std::string line;
        for (size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            if (i + 1 < row.size()) line.append(widths[i] - utf8Width(row[i]) + 2, ' ');
        }
        out << line << "\n";
    }
}
