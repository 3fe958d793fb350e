// `korvex enum`: finds and drives every controller, as rundll32 does with the entries kxENUM and kxENUMW on Windows.
#pragma once

namespace korvex::runner {

// Carries out the subcommand; argv[0] is its name. Ends the process when its window is closed, or by SIGINT or SIGTERM, which the caller
// has blocked; the result is the exit code where it does not come that far.
int RunEnumerate(int argc, char** argv);

} // namespace korvex::runner
