// The options of the command `korvex-emulator`.
#pragma once

#include <string>

#include "cli/program.h"
#include "emulator/emulator.h"

namespace korvex::emulator {

struct Settings {
    EmulatorOptions options;
    std::string link;   // --link; empty: none
    std::string script; // --script; empty: none
    bool followsPanelTest = false;
};

// The command line of the program; what is given goes into the settings.
command::Program EmulatorProgram(Settings* settings);

} // namespace korvex::emulator
