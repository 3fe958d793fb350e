// A table on standard output.
#pragma once

#include <string>
#include <vector>

namespace korvex::command {

using TextTable = std::vector<std::vector<std::string>>; // rows of as many cells each

// The rows as lines, their cells below each other. What is empty is a dash.
std::string TextOf(const TextTable* table);

} // namespace korvex::command
