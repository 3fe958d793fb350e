// Pointer input as touches of input devices of the kernel, one for each line, which desktops,
// consoles and login screens take for what they are: touch screens.
#pragma once

#include <string>

#include "platform/linux/pointer/pointer_settings.h"

namespace korvex::platform {

// Has the machine's input go to devices made through /dev/uinput: that of a line is made when a
// thread first waits for the line's input, or sends some, and goes when the line is closed. What it
// is, the settings' `describe` says. False with a reason when devices cannot be made. The pointer
// is where the last input that moves has put it.
bool UseInputDevices(const PointerSettings& settings, std::string* reason);

// Whether devices could be made, as things are; else why not.
bool CanMakeInputDevices(std::string* reason);

} // namespace korvex::platform
