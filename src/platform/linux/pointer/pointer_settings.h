// The settings of the pointer back ends.
#pragma once

#include <unistd.h>

#include <functional>
#include <string>

namespace korvex::platform {

struct PointerSettings {
    const char* display = nullptr; // x11: the X display; null: the one in DISPLAY

    // uinput: the name of the panel on a line, by the line's path; on the line's thread. Of "left"
    // the device is "Korvex touch panel left".
    std::function<std::string(const std::string& path)> nameOfPanel = {};

    // log: the descriptor for the lines, and one that becomes readable when the process must end,
    // -1 for none; neither is owned
    int descriptor = STDOUT_FILENO;
    int endDescriptor = -1;
};

} // namespace korvex::platform
