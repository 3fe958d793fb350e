// `korvex calib` and `korvex set-path`: the start of the separate calibration program, and where it is.
#pragma once

namespace korvex::command {

// Carry out the subcommands; argv[0] is their name. The results are exit codes (runner.h).
int RunCalib(int argc, char** argv);
int RunSetPath(int argc, char** argv);

} // namespace korvex::command
