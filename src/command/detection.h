// `korvex enum` and `korvex paneltest`: the entries that take the process over, started as rundll32 starts them on Windows.
#pragma once

namespace korvex::command {

// Carry out the subcommands; argv[0] is their name. Each ends the process when its window is closed, or by SIGINT or SIGTERM, which the
// caller has blocked; the result is the exit code (runner.h) where it does not come that far.
int RunEnumerate(int argc, char** argv);
int RunPanelTest(int argc, char** argv);

} // namespace korvex::command
