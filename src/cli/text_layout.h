// Text for people, in columns and lines.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace korvex::command {

using TextTable = std::vector<std::vector<std::string>>; // rows of as many cells each

// The rows as lines, their cells below each other. What is empty is a dash.
std::string TextOf(const TextTable* table);

// The text that printf(3) makes of these, cut to 255 bytes.
[[gnu::format(printf, 1, 2)]] std::string Formatted(const char* format, ...);

// Replaces control characters by '?', so that none reaches a terminal: those of ASCII, and in UTF-8
// those from U+0080 to U+009F.
void ReplaceControls(std::string* text);

// The text with line feeds in place of spaces, so that its lines have at most `width` bytes where
// its words allow it.
std::string Wrapped(std::string_view text, size_t width);

} // namespace korvex::command
