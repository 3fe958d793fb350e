// Pointer input as touches of input devices of the kernel, one for each line, which desktops,
// consoles and login screens take for what they are: touch screens.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace korvex::platform {

// What the device of a line is called, and what it is.
struct PanelDescription {
    std::string name; // "left": the device is then "Korvex touch panel left"
    uint16_t model;   // the product number; 0: unknown
};

// Has the machine's input go to devices made through /dev/uinput: that of a line is made when a
// thread first waits for the line's input, or sends some, and goes when the line is closed.
// `describe` is asked about a line by its path, on the line's thread. False with a reason when
// devices cannot be made. The pointer is where the last input that moves has put it.
bool UseInputDevices(
    std::function<PanelDescription(const std::string& path)> describe, std::string* reason);

// Whether devices could be made, as things are; else why not.
bool CanMakeInputDevices(std::string* reason);

} // namespace korvex::platform
