// A controller that answers anything to every command of the identification and of the start of a
// session.

#include <cstdlib>

#include "harness.h"
#include "link/command_protocol.h"

using namespace korvex; // NOLINT(google-build-using-namespace): a program of one routine

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    fuzz::SilenceMachine();
    fuzz::Input input{bytes, size};
    const fuzz::MemoryLine line(fuzz::TakeController(&input));
    AnswerCommands(&line, &input);
    TouchController* controller = line.controller;
    const bool identify = input.Take<uint8_t>() != 0;
    if (identify && IdentifyController(controller) && controller->resolutionBits != 10
        && controller->resolutionBits != 12)
        abort();
    if (!identify) {
        QueryResolution(controller);
        QueryFirmwareVersion(controller);
    }
    controller->calib.orientation = 0xABCDEF;
    const bool read = ReadBoardCalibration(controller);
    if (!read && controller->calib.orientation != 0xABCDEF)
        abort(); // a failed read changes nothing
    return 0;
}
