// What the ways of pointer input are made with.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <functional>
#include <string>

namespace korvex::platform {

// What the input device of a line is called, and what it is.
struct PanelDescription {
    std::string name; // "left": the device is then "Korvex touch panel left"
    uint16_t model;   // the product number; 0: unknown
};

struct PointerSettings {
    const char* display = nullptr; // x11: the X display; null: the one in DISPLAY

    // uinput: asked about a line by its path, on the line's thread.
    std::function<PanelDescription(const std::string& path)> describe = {};

    // log: where the lines go, and what becomes readable when none is to be waited for any more, -1
    // for never; not owned
    int descriptor = STDOUT_FILENO;
    int endDescriptor = -1;
};

} // namespace korvex::platform
