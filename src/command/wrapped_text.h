// Text for people, in lines.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace korvex::command {

// The text with line feeds in place of spaces, so that its lines have at most `width` bytes where
// its words allow it.
std::string Wrapped(std::string_view text, size_t width);

} // namespace korvex::command
