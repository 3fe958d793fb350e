#include "testing/test_line.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>

#include "calibration/defaults.h"
#include "link/port_link.h"
#include "platform/linux/core/text.h"
#include "platform/linux/serial/serial_port.h"
#include "testing/process.h"

namespace korvex::testing {

TestLine::TestLine(const emulator::EmulatorOptions& options, uint32_t knownModel)
    : emulator(emulator::StartEmulator(options))
    , controller(CreateController())
{
    LinkInit(&controller->link, OpenPort(TerminalPath(emulator.get())), LINK_SERIAL, 3);
    SerialSetBaud(&controller->link, options.baudRate);
    controller->link.byteTimeoutMs = PATIENT_BYTE_TIMEOUT_MS;
    if (knownModel != 0)
        Know(knownModel);
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

std::string IdentityText(const TouchController* controller)
{
    std::array<char, 100> text{};
    snprintf(text.data(), text.size(), "model %X, %u bytes, %u baud, %u bits, firmware %d.%d.%d",
        controller->model, controller->reportLength, controller->link.baudRate,
        controller->resolutionBits, controller->fwMajor, controller->fwMinor, controller->fwBuild);
    return text.data();
}

std::string DeviceIdOf(const TouchController* controller)
{
    return controller->deviceId == nullptr ? "(none)" : platform::ToUtf8(controller->deviceId);
}

bool AwaitReader(const TouchController* controller)
{
    auto* port = platform::ObjectAs<platform::SerialPort>(controller->link.handle);
    return WaitUntil([port] {
        const std::lock_guard guard(port->mutex);
        return port->waiting;
    });
}

void PlaceLink(const char* name, const emulator::Emulator* emulator)
{
    std::filesystem::remove(name);
    std::filesystem::create_symlink(TerminalPath(emulator), name);
}

emulator::EmulatorPointer StartSilentEmulator(const emulator::EmulatorOptions& options, int code)
{
    emulator::EmulatorPointer emulator = emulator::StartEmulator(options);
    AddAnswerFault(emulator.get(), {emulator::AnswerFaultKind::SILENCE, -1, code});
    return emulator;
}

HANDLE OpenPort(const std::string& path)
{
    return CreateFileW(platform::FromNativePath(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0,
        nullptr, OPEN_EXISTING, 0, nullptr);
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
