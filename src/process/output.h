// Standard output of commands that must not be held up by who reads it.
#pragma once

#include <string_view>

namespace korvex::command {

// Writes all of the text to standard output, waiting for its reader no longer than until a signal
// requests the end (end_request.h). False when that came first, or it cannot be written.
bool WriteOutput(std::string_view text);

} // namespace korvex::command
