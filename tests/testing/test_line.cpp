#include "testing/test_line.h"

#include <array>
#include <chrono>
#include <cstdio>

#include "calibration/defaults.h"
#include "link/port_link.h"
#include "platform/linux/core/text.h"

namespace korvex::testing {

TestLine::TestLine(const emulator::EmulatorOptions& options) : emulator(emulator::StartEmulator(options)), controller(CreateController())
{
    LinkInit(&controller->link, OpenPort(TerminalPath(emulator.get())), LINK_SERIAL, 3);
    SerialSetBaud(&controller->link, options.baudRate);
}

void TestLine::Know(uint32_t model, uint32_t resolutionBits) const
{
    controller->model = model;
    controller->reportLength = model == MODEL_7700 ? 5 : 6;
    controller->resolutionBits = resolutionBits;
    const int32_t span = int32_t{1} << resolutionBits;
    const Point rawRange{span, span};
    const Point outRange{OUTPUT_RANGE, OUTPUT_RANGE};
    SetCalibrationRanges(&controller->calib, &rawRange, &outRange);
}

HANDLE OpenPort(const std::string& path)
{
    return CreateFileW(platform::FromNativePath(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
}

std::vector<std::string> PacketTexts(const emulator::Emulator* emulator, size_t count)
{
    WaitForCommands(emulator, count, std::chrono::seconds(5));
    std::vector<std::string> texts;
    for (const emulator::ReceivedCommand& command : ReceivedCommands(emulator)) {
        std::string text = std::to_string(command.baudRate) + ":";
        for (const uint8_t byte : command.bytes) {
            std::array<char, 4> digits{};
            snprintf(digits.data(), digits.size(), "%02X ", byte);
            text += digits.data();
        }
        text.pop_back();
        texts.push_back(text);
    }
    return texts;
}

} // namespace korvex::testing
