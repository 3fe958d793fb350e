// The last step of a touch: from a valid report to absolute pointer input.
#pragma once

#include <cstdint>

#include "link/touch_controller.h"
#include "platform/win32.h"

namespace korvex {

// Maps the report's point, records it as the controller's last report, and sends one mouse input
// where the contact state asks for it: press and move when a touch begins, move while it lasts,
// release without a move when it ends. True when an input was sent. A point that the calibration
// extrapolates beyond 0 to 65535 is sent unchanged. On the session's reader thread.
bool InjectReport(TouchController* controller, const uint8_t* report);

// Sends the release of a touch that has no end: the session or its port ends while the panel is
// touched. Once, at the last point: then true. On the session's reader thread.
bool ReleaseContact(TouchController* controller);

} // namespace korvex
