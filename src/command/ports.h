// `korvex ports` and `korvex unbind`: what stands on the machine's serial ports.
#pragma once

namespace korvex::command {

// Carry out the subcommands; argv[0] is their name. The results are exit codes (runner.h). No port is opened.
int RunPorts(int argc, char** argv);
int RunUnbind(int argc, char** argv);

} // namespace korvex::command
