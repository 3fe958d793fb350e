// Gestures as lines of text, for scripts and for people at a terminal.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "emulator/emulator.h"

namespace korvex::emulator {

// The lines of a script; positions in percent of the panel.
inline constexpr std::string_view GESTURE_HELP
    = R"(  ready              wait until the host has identified the controller and is quiet
  touch X Y          touch the panel at X %, Y %
  drag X Y [STEPS]   move the finger there, in STEPS reports (default 20)
  lift               lift the finger
  press X Y MS       touch the panel there for MS milliseconds, 100 reports a second, then lift
  circle RATE S      circle around the middle for S seconds at RATE reports a second, then lift
  panel-test         follow a panel test: wait until the host is ready, touch each target for a moment,
                     5 s apart, and in the end the panel at 70 %, 30 %; for the host's only port, or
                     the last one that it probes
  wait MS            do nothing for MS milliseconds
  send HEX...        send these bytes unchanged
  hangup             close the line
  quit               end the emulator
)";

enum class GestureKind : uint8_t {
    NOTHING, // a blank line or a comment
    READY,
    TOUCH,
    DRAG,
    LIFT,
    PRESS,
    CIRCLE,
    PANEL_TEST,
    WAIT,
    SEND,
    HANGUP,
    QUIT,
};

// A line that was understood.
struct Gesture {
    GestureKind kind;
    std::vector<double> numbers; // as GESTURE_HELP has them
    Bytes bytes;                 // of SEND
};

// Reads a line; false when it is none of GESTURE_HELP's.
bool ParseGesture(std::string_view line, Gesture* gesture);

enum class GestureResult { DONE, QUIT, FAILED };

// Carries out one line; blank lines and lines that start with "#" do nothing. FAILED comes with a
// message that names the fault.
GestureResult RunGesture(Emulator* emulator, std::string_view line, std::string* error);

} // namespace korvex::emulator
