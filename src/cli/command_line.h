// Parses a program's command line (CLI11).
#pragma once

#include <string>

#include "cli/program.h"

namespace korvex::command {

struct CommandLine {
    std::string command; // that was chosen; empty: none
    std::string output;  // help or version where that was asked for; for standard output
    std::string fault;   // what is wrong, in one line that names it
    int exitCode = 0;    // if there is an output or a fault
};

// Parses `argv` and stores its values by the options' `store`, unless help or version is asked for.
CommandLine ReadCommandLine(const Program& program, int argc, char** argv);

} // namespace korvex::command
