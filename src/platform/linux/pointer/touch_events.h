// A touch as the events of a kernel input device.
#pragma once

#include <cstdint>

namespace korvex::platform {

// Coordinates run from 0 to this, across the panel.
inline constexpr int32_t MAX_TOUCH_COORDINATE = 65535;

struct TouchState {
    bool touching;
    int32_t x; // 0 to MAX_TOUCH_COORDINATE; clamped
    int32_t y;

    bool operator==(const TouchState&) const = default;
};

// Writes the changes from one state to the next, then SYN_REPORT, in one write; nothing when
// nothing changes. False when the descriptor does not take it.
bool WriteTouch(int descriptor, const TouchState* before, const TouchState* after);

} // namespace korvex::platform
