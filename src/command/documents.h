// The parts of man page and completion that are made of the tables of commands and options.
#pragma once

#include <string>

namespace korvex::command {

// The entries of the man page's sections on commands and options, in roff.
std::string ManCommands();
std::string ManOptions();

// "0 done, or ended by its window or a signal; 1 ..."
std::string ExitCodes();

// The completion for bash.
std::string BashCompletion();

} // namespace korvex::command
