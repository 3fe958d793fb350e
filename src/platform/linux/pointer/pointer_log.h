// Pointer input as text.
#pragma once

#include <string>

#include "platform/linux/pointer/pointer_settings.h"

namespace korvex::platform {

// Whether an input could not be written whole; nothing more is written then, so that no half line
// spoils the next.
bool IsPointerLogBroken();

// Directs the machine's input to the settings' descriptor as one JSON object a line,
// {"dx":32767,"dy":32767,"flags":32771}, each in one write. The pointer is where the last input
// that moves has put it. True always.
bool UseLoggedPointer(const PointerSettings& settings, std::string* reason);

} // namespace korvex::platform
