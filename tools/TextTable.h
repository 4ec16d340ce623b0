#pragma once
// A plain text table with left-aligned columns, sized by the characters of UTF-8 text.

#include <ostream>
#include <string>
#include <vector>

class TextTable {
public:
    explicit TextTable(std::vector<std::string> header);

    void addRow(std::vector<std::string> row);
    void print(std::ostream& out) const;

private:
    std::vector<std::vector<std::string>> rows_;  // the header first
};

// The number of characters (code points) of a UTF-8 text.
size_t utf8Width(const std::string& text);
