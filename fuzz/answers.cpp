// A controller that answers anything to every command of the identification and of the start of a session.

#include <cstdlib>

#include "harness.h"
#include "link/command_protocol.h"

using namespace korvex; // NOLINT(google-build-using-namespace): a program of one routine

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    fuzz::SilenceMachine();
    fuzz::Input input{bytes, size};
    const fuzz::FuzzLine line(&input);
    TouchController* controller = line.controller;
    QueryResolution(controller);
    QueryFirmwareVersion(controller);
    controller->calib.orientation = 0xABCDEF;
    const bool read = ReadBoardCalibration(controller);
    if (!read && controller->calib.orientation != 0xABCDEF)
        abort(); // a failed read changes nothing
    if (IdentifyController(controller) && controller->resolutionBits != 10 && controller->resolutionBits != 12)
        abort();
    return 0;
}
