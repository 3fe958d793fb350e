// Windows without a screen.
#pragma once

#include "platform/linux/windows/window_backend.h"

namespace korvex::platform {

// Prints each text of a STATIC window as a line on standard error, and shows nothing.
const WindowBackend* HeadlessBackend();

} // namespace korvex::platform
