// An emulated touch controller on a pseudo-terminal. It answers the command protocol as the real
// one does, and only at its own baud rate; touches are made by the caller. A thread of the
// emulator's own serves the line. Every routine may be called from any thread.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "emulator/controller.h"

namespace korvex::emulator {

// One packet, or a piece of one, as it came from the host.
struct ReceivedCommand {
    Bytes bytes;
    uint32_t baudRate; // the line's at that moment
    Bytes answer;      // empty: none was given
};

struct Emulator;

struct EmulatorDeleter {
    void operator()(Emulator* emulator) const;
};

using EmulatorPointer = std::unique_ptr<Emulator, EmulatorDeleter>;

// Opens a pseudo-terminal and starts to answer. `onCommand`, when given, is called for each command
// on the emulator's thread. Null when the system refuses; deleting the pointer hangs up and ends
// the thread.
EmulatorPointer StartEmulator(const EmulatorOptions& options,
    std::function<void(const ReceivedCommand&)> onCommand = nullptr);

// The terminal's path, which a host opens as its serial port.
const std::string& TerminalPath(const Emulator* emulator);

// The commands of the host so far.
std::vector<ReceivedCommand> ReceivedCommands(const Emulator* emulator);

// Waits until `count` commands have come; false when they have not within `limit`.
bool WaitForCommands(const Emulator* emulator, size_t count, std::chrono::milliseconds limit);

// Waits until the host has got an answer and has then sent nothing for `quiet`; false when that has
// not come within `limit`.
bool WaitForQuietHost(
    const Emulator* emulator, std::chrono::milliseconds quiet, std::chrono::milliseconds limit);

// Spoils answers from now on.
void AddAnswerFault(Emulator* emulator, const AnswerFault& fault);

// The bytes of one touch report in the model's format.
Bytes ReportOf(const Emulator* emulator, bool touching, uint32_t rawX, uint32_t rawY);

// Sends bytes unchanged. False when the line does not take them within a second, or after a
// hang-up.
bool SendBytes(Emulator* emulator, const Bytes& bytes);

// Sends one report, with the options' faults.
bool SendReport(Emulator* emulator, bool touching, uint32_t rawX, uint32_t rawY);

// Gestures, in percent of the panel (0 to 100 on each axis): touch down, drag to a point in `steps`
// reports, and lift where the finger is.
bool TouchAt(Emulator* emulator, double percentX, double percentY);
bool DragTo(Emulator* emulator, double percentX, double percentY, int steps);
bool Lift(Emulator* emulator);

// Presses a finger onto a place for so long, at PRESS_RATE reports a second, and lifts it.
bool PressAt(
    Emulator* emulator, double percentX, double percentY, std::chrono::milliseconds length);

// Closes the line, as an adapter that is pulled out.
void HangUp(Emulator* emulator);

} // namespace korvex::emulator
