// Windows on an X display.
#pragma once

#include <string>

#include "platform/linux/windows/window_backend.h"

namespace korvex::platform {

// False in a build without X11, where the routines for X displays only fail. Any thread.
bool HasX11();

// Shows windows on the X display of that name (null: the one in DISPLAY), whose size becomes that
// of the machine's screen. Null, with a reason, when it cannot be used. If there is a reason as
// well as a backend, windows are shown without text.
const WindowBackend* X11Backend(const char* name, std::string* reason);

} // namespace korvex::platform
