// Pointer input to X displays.
#pragma once

#include <string>

#include "platform/linux/pointer/pointer_settings.h"

namespace korvex::platform {

// Directs the machine's input to the X server of the settings' display through XTest; the screen is
// then the machine's monitor. When the server goes away, inputs fail and the connection is tried
// again at most once a second. False with a reason when it cannot be used.
bool UseX11Pointer(const PointerSettings& settings, std::string* reason);

} // namespace korvex::platform
