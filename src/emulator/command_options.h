// The options of the command `korvex-emulator`.
#pragma once

#include <string>
#include <vector>

#include "cli/program.h"
#include "emulator/emulator.h"

namespace korvex::emulator {

struct Settings {
    EmulatorOptions options;
    std::string link;
    std::string script;
    std::vector<AnswerFault> answerFaults;
    ReportFault reportFault;
    Distortion distortion;
    Noise noise;
    bool followsPanelTest = false;
};

// The command line of the program; what is given goes into the settings.
command::Program EmulatorProgram(Settings* settings);

} // namespace korvex::emulator
