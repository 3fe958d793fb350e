// An X server without a screen, handlerData from outside. DISPLAY names it while it lives.
#pragma once

#include <string>

#include "testing/process.h"

struct _XDisplay; // Xlib's Display; its header does not go well with GoogleTest

namespace korvex::testing {

struct Screen {
    DisplayServer server;
    // a connection; it also keeps the server from restarting when a program disconnects
    _XDisplay* display;

    explicit Screen(const std::string& size = "1024x768x24");
    ~Screen();
};

struct PointerState {
    int x;
    int y;
    bool pressed; // the first button

    bool operator==(const PointerState&) const = default;
};
PointerState PointerOf(const Screen* screen);

// The colour at a place, 0xRRGGBB.
unsigned long PixelAt(const Screen* screen, int x, int y);

// The visible window with this title, once there is one; 0 when none comes within 10 s.
unsigned long WaitForWindow(const std::string& title);

// Whether there is a window of that name now.
bool HasWindow(const std::string& title);

// Closes a window as a window manager does when its close button is pressed.
void PressCloseButton(const Screen* screen, unsigned long window);

} // namespace korvex::testing
