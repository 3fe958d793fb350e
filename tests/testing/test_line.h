// An emulated controller and a record whose link is open on its terminal.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "emulator/emulator.h"
#include "link/touch_controller.h"
#include "testing/calibration_data.h"

namespace korvex::testing {

// Milliseconds that a test's reads wait for one byte, five times what they do otherwise: on a
// machine under load the emulator's answer may come late, and must not read as silence. Tests that
// measure time set the link's own, 10.
inline constexpr uint32_t PATIENT_BYTE_TIMEOUT_MS = 50;

struct TestLine {
    emulator::EmulatorPointer emulator;
    ControllerPointer controller;

    // The record knows its port; of the controller it knows nothing yet, or what Know says of this
    // model.
    explicit TestLine(const emulator::EmulatorOptions& options = {}, uint32_t knownModel = 0);

    // As after an identification: model, report length, resolution, plain 10- or 12-bit spans.
    void Know(uint32_t model, uint32_t resolutionBits = 10) const;
};

// "model 5200, 6 bytes, 19200 baud, 12 bits, firmware 1.2.3".
std::string IdentityText(const TouchController* controller);

// The record's deviceId, "(none)" where there is none.
std::string DeviceIdOf(const TouchController* controller);

// Waits until the session's reader, or who else uses the line, sleeps in its input wait; false when
// it does not within 10 s.
bool AwaitReader(const TouchController* controller);

// Makes `name` a link to the terminal, as udev does for an adapter, in place of what is there.
void PlaceLink(const char* name, const emulator::Emulator* emulator);

// An emulated controller that does not answer this command, or none at all.
emulator::EmulatorPointer StartSilentEmulator(
    const emulator::EmulatorOptions& options = {}, int code = -1);

// Opens a terminal as the detection pass opens a port.
HANDLE OpenPort(const std::string& path);

// The packets of the host so far as text, "19200:F1 00 00 00 00 0E", each once it is complete;
// waits for `count` of them.
std::vector<std::string> PacketTexts(const emulator::Emulator* emulator, size_t count);

} // namespace korvex::testing
