// The windows on an X display and their connection, which the files window_x11*.cpp share. Used on
// the windows' thread only.
#pragma once

#include <X11/Xlib.h>

#include <map>

#include "platform/linux/windows/window_backend.h"

namespace korvex::platform {

struct ShownWindow {
    Window window;
    WindowView view;
    bool unmanaged = false; // the window manager is passed over
};

// The connection of the windows' thread.
struct WindowDisplay {
    Display* display = nullptr;
    bool broken = false;   // the server went away
    int monitorEvent = -1; // the type of the event of changed monitors
    Atom deleteWindow = 0;
    Atom windowName = 0;
    Atom utf8 = 0;
    Cursor arrow = 0;
    bool hasFonts = false;
    std::map<HWND, ShownWindow> windows;
};

// The one of this process.
inline WindowDisplay* Connection()
{
    static WindowDisplay connection;
    return &connection;
}

} // namespace korvex::platform
