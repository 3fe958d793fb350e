// The options of the command `korvex-emulator`.
#pragma once

#include <string>
#include <vector>

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

// Reads the command line. The exit code when the command ends here, with help, version or the fault
// printed; -1 to go on.
int ParseOptions(int argc, char** argv, Settings* settings);

} // namespace korvex::emulator
