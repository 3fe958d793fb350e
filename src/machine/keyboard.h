// Whether somebody can press keys.
#pragma once

namespace korvex::command {

// True when a keyboard is attached, as udev knows it; also where udev knows no input device at all.
bool HasKeyboard();

} // namespace korvex::command
