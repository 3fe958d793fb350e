#include "command/text_table.h"

#include <algorithm>

namespace korvex::command {

std::string TextOf(const TextTable* table)
{
    std::string text;
    for (const std::vector<std::string>& row : *table) {
        for (size_t column = 0; column < row.size(); ++column) {
            size_t widest = 1;
            for (const std::vector<std::string>& other : *table)
                widest = std::max(widest, other[column].size());
            const std::string cell = row[column].empty() ? "-" : row[column];
            text += cell
                + (column + 1 == row.size() ? "\n" : std::string(widest - cell.size() + 2, ' '));
        }
    }
    return text;
}

} // namespace korvex::command
