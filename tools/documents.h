// Man page and completion of a program, made of its declarations.
#pragma once

#include <string>

#include "cli/program.h"

namespace korvex::command {

// The page, in roff, with its sections COMMANDS, OPTIONS and EXIT STATUS made again; a section that
// it lacks stays away.
std::string UpdateManPage(std::string page, const Program& program);

// The completion for bash.
std::string BashCompletion(const Program& program);

} // namespace korvex::command
