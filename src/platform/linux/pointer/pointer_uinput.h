// Pointer input as touches of input devices of the kernel, one for each line, which desktops,
// consoles and login screens recognise as touch screens.
#pragma once

#include <string>

#include "platform/linux/pointer/pointer_settings.h"

namespace korvex::platform {

// Directs the machine's input to devices made through /dev/uinput: that of a line is made when a
// thread first waits for the line's input, or sends some, and goes when the line is closed. The
// settings' `nameOfPanel` names it. Right clicks, if the machine's settings make any, come from a
// second device beside it, an absolute pointer. False with a reason when devices cannot be made.
// The pointer is where the last input that moves has put it.
bool UseInputDevices(const PointerSettings& settings, std::string* reason);

// Whether devices can be made now; else why not.
bool CanMakeInputDevices(std::string* reason);

} // namespace korvex::platform
