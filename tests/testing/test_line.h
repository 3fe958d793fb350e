// An emulated controller and a record whose link is open on its terminal.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include "calibration/defaults.h"
#include "emulator/emulator.h"
#include "link/port_link.h"
#include "link/touch_controller.h"
#include "platform/linux/core/text.h"
#include "platform/linux/serial/serial_port.h"
#include "testing/calibration_data.h"
#include "testing/process.h"

namespace korvex::testing {

// Milliseconds that a test's reads wait for one byte, five times what they do otherwise: on a
// machine under load the emulator's answer may come late, and must not read as silence. Tests that
// measure time set the link's own, 10.
inline constexpr uint32_t PATIENT_BYTE_TIMEOUT_MS = 50;

// Opens a terminal as the detection pass opens a port.
inline HANDLE OpenPort(const std::string& path)
{
    return CreateFileW(platform::FromNativePath(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0,
        nullptr, OPEN_EXISTING, 0, nullptr);
}

struct TestLine {
    emulator::EmulatorPointer emulator;
    ControllerPointer controller;

    // The record knows its port; of the controller it knows nothing yet, or what Know says of this
    // model.
    explicit TestLine(const emulator::EmulatorOptions& options = {}, uint32_t knownModel = 0)
        : emulator(emulator::StartEmulator(options))
        , controller(CreateController())
    {
        LinkInit(&controller->link, OpenPort(TerminalPath(emulator.get())), LINK_SERIAL, 3);
        SerialSetBaud(&controller->link, options.baudRate);
        controller->link.byteTimeoutMs = PATIENT_BYTE_TIMEOUT_MS;
        if (knownModel != 0)
            Know(knownModel);
    }

    // As after an identification: model, report length, resolution, plain 10- or 12-bit spans.
    void Know(uint32_t model, uint32_t resolutionBits = 10) const
    {
        controller->model = model;
        controller->reportLength = model == MODEL_7700 ? 5 : 6;
        controller->resolutionBits = resolutionBits;
        const int32_t span = int32_t{1} << resolutionBits;
        const Point rawRange{span, span};
        const Point outRange{OUTPUT_RANGE, OUTPUT_RANGE};
        SetCalibrationRanges(&controller->calib, &rawRange, &outRange);
    }
};

// "model 5200, 6 bytes, 19200 baud, 12 bits, firmware 1.2.3".
inline std::string IdentityText(const TouchController* controller)
{
    std::ostringstream text;
    text << "model " << std::hex << std::uppercase << controller->model << std::dec << ", "
         << controller->reportLength << " bytes, " << controller->link.baudRate << " baud, "
         << controller->resolutionBits << " bits, firmware " << int{controller->fwMajor} << "."
         << int{controller->fwMinor} << "." << int{controller->fwBuild};
    return text.str();
}

// The record's deviceId, "(none)" where there is none.
inline std::string DeviceIdOf(const TouchController* controller)
{
    return controller->deviceId == nullptr ? "(none)" : platform::ToUtf8(controller->deviceId);
}

// Waits until the session's reader, or who else uses the line, sleeps in its input wait; false when
// it does not within 10 s.
inline bool AwaitReader(const TouchController* controller)
{
    auto* port = platform::ObjectAs<platform::SerialPort>(controller->link.handle);
    return WaitUntil([port] {
        const std::lock_guard guard(port->mutex);
        return port->waiting;
    });
}

// Makes `name` a link to the terminal, as udev does for an adapter, replacing what is there.
inline void PlaceLink(const char* name, const emulator::Emulator* emulator)
{
    std::filesystem::remove(name);
    std::filesystem::create_symlink(TerminalPath(emulator), name);
}

// An emulated controller that does not answer this command, or none at all.
inline emulator::EmulatorPointer StartSilentEmulator(
    const emulator::EmulatorOptions& options = {}, int code = -1)
{
    emulator::EmulatorPointer emulator = emulator::StartEmulator(options);
    AddAnswerFault(emulator.get(), {emulator::AnswerFaultKind::SILENCE, -1, code});
    return emulator;
}

// The packets of the host so far as text, "19200:F1 00 00 00 00 0E", each once it is complete;
// waits for `count` of them.
inline std::vector<std::string> PacketTexts(const emulator::Emulator* emulator, size_t count)
{
    WaitForCommands(emulator, count, std::chrono::seconds(5));
    std::vector<std::string> texts;
    for (const emulator::ReceivedCommand& command : ReceivedCommands(emulator)) {
        std::ostringstream text;
        text << command.baudRate << std::hex << std::uppercase << std::setfill('0');
        for (char separator = ':'; const uint8_t byte : command.bytes) {
            text << separator << std::setw(2) << int{byte};
            separator = ' ';
        }
        texts.push_back(text.str());
    }
    return texts;
}

} // namespace korvex::testing
