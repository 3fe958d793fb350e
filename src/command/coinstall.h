// `korvex coinstall`: calls the co-installer as the system's device installer does, on the machine of the state folder.
#pragma once

namespace korvex::command {

// Carries out the subcommand; argv[0] is its name. The result is the exit code (runner.h).
int RunCoinstall(int argc, char** argv);

} // namespace korvex::command
