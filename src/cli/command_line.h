// Parses a program's command line (CLI11).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "cli/program.h"

namespace korvex::command {

// An option that was given.
struct GivenOption {
    std::string name; // "--smooth"
    std::vector<std::string> values;
    std::string file = {}; // that has it; empty: the command line
    size_t line = 0;       // of the file, from 1 on
};

struct CommandLine {
    std::string command; // that was chosen; empty: none
    std::string output;  // help or version where that was asked for; for standard output
    std::string fault;   // what is wrong, in one line that names it
    int exitCode = 0;    // if there is an output or a fault
    std::vector<GivenOption> given = {};
};

// Parses `argv` and stores its values by the options' `store`, unless help or version is asked for.
CommandLine ReadCommandLine(const Program& program, int argc, char** argv);

// Reads options from the content of a configuration file as CLI11 has them: one a line, their long
// names as keys ("smooth = medium", "wait = true", "monitor = [HDMI-1, left=HDMI-2]"), comments
// after '#'. Stores the values of those that are not in `given` yet, and adds them to it. A line
// that is wrong is skipped; the result has a sentence for each, which names file and line.
std::vector<std::string> ReadOptionFile(const std::string& file, std::string_view content,
    const std::vector<Option>& options, std::vector<GivenOption>* given);

} // namespace korvex::command
