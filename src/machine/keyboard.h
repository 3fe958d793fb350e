// Whether there is a keyboard.
#pragma once

namespace korvex::command {

// True when udev knows a keyboard, or no input device at all.
bool HasKeyboard();

} // namespace korvex::command
