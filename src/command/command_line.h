// Reads the command line by the tables of commands and options.
#pragma once

#include <string>

#include "command/command_table.h"
#include "process/options.h"

namespace korvex::command {

struct CommandLine {
    const CommandDeclaration* command = nullptr; // null: there is none to run
    Options options;
    std::string output; // what was asked for instead, help or version, for standard output
    int exitCode = 0;   // where there is none to run
};

// What `argv` asks for. What is wrong with it is said on standard error, in one line that names it.
CommandLine ReadCommandLine(int argc, char** argv);

} // namespace korvex::command
