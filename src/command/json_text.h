// JSON that the commands print.
#pragma once

#include <string>
#include <string_view>

namespace korvex::command {

// The text as a JSON string with its quotes. A byte that is no part of valid UTF-8 becomes U+FFFD.
std::string Quoted(std::string_view text);

} // namespace korvex::command
