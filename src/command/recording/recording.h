// Recordings of a serial line: text, one event per line, after a first line with the format's name
// and version:
//
//   korvex-recording 1
//   # a comment
//   0.000103 sent F0 00 00 00 00
//   0.000412 answer F0 00 00 00 00 0F
//   0.212345 controller 5200 firmware 1.2.3 resolution 10 baud 19200
//   1.500000 report 71 00 02 00 02 8A
//
// A line begins with the time in seconds since the start, with up to six decimals, never falling.
// "sent" and "answer" hold the bytes of the identification and of all other commands and answers,
// "controller" what was identified, once, and "report" bytes that the session read, as they came
// in: in whole reports, in pieces of one, or several at once. Bytes are two hexadecimal digits.
// Empty lines are ignored.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "emulator/controller.h"
#include "link/touch_controller.h"

namespace korvex::command {

struct RecordedReport {
    std::chrono::microseconds time; // since the recording's start
    std::vector<uint8_t> bytes;
};

// The recorded controller and its session.
struct Recording {
    emulator::EmulatorOptions controller; // with as much of its memory as was read
    std::vector<RecordedReport> reports;
};

// Reads a recording's text. False with `error`, "line 3: …", when it is none that can be played.
bool ParseRecording(std::string_view text, Recording* recording, std::string* error);

// The lines of a recording, each with its line end.
std::string FirstRecordingLine();
std::string FormatRecorded(
    std::chrono::microseconds time, std::string_view kind, const uint8_t* bytes, size_t count);
std::string ControllerLine(std::chrono::microseconds time, const TouchController* controller);

} // namespace korvex::command
