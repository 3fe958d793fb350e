// A right click by a finger that is held still.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>

#include "platform/linux/core/input.h"

namespace korvex::platform {

struct RightHold {
    std::chrono::milliseconds duration; // for which the finger must be held
    int width;                          // of the screen, in pixels
    int height;
};

// A touch whose press is kept back until it is known what it is. One thread. Zero: no touch.
struct HeldPress {
    enum class Phase : uint8_t { SENT, KEPT, DONE } phase;
    MOUSEINPUT press;
    std::chrono::steady_clock::time_point time; // of the press
};

using HeldInputs = std::array<MOUSEINPUT, 2>;

// Writes the inputs to send instead of one to `inputs` and returns how many. The press of a touch
// is kept back, and the pointer moves unpressed. The first input after the duration makes one right
// click where the finger was put down, if it has stayed within 2 % of the shorter side of the
// screen; nothing else of that touch is sent. The press is sent, where the finger was put down,
// once it goes farther or is lifted. `now` is the time of the input.
size_t HoldForRight(HeldPress* held, const RightHold& hold, const MOUSEINPUT& input,
    std::chrono::steady_clock::time_point now, HeldInputs* inputs);

} // namespace korvex::platform
