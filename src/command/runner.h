// The command `korvex`.
#pragma once

namespace korvex::command {

// Runs the command; the result is its exit code (exit_codes.h). Called once, from main, before any
// thread is started.
int RunCommand(int argc, char** argv);

} // namespace korvex::command
