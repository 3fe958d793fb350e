// `korvex drive`: one controller on one port.
#pragma once

namespace korvex::command {

// Carries out the subcommand; argv[0] is its name. SIGINT and SIGTERM, which the caller has blocked, end it. The result is the exit code
// (runner.h).
int RunDrive(int argc, char** argv);

} // namespace korvex::command
