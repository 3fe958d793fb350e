// How windows are shown. A backend's routines are called on the windows' thread only.
#pragma once

#include <string>

#include "platform/posix/windowing.h"

namespace korvex::platform {

struct WindowRecord; // windowing.cpp's; a backend keeps its own state by the handle

// Where a window is and what it says, for the backend to show.
struct WindowView {
    HWND handle;
    HWND parent; // null: top level
    std::u16string text;
    COLORREF background;
    bool isStatic;
    int x;
    int y;
    int width;
    int height;
};

struct WindowBackend {
    bool (*create)(const WindowView* view);
    void (*show)(HWND window);
    void (*changeText)(const WindowView* view);
    void (*destroy)(HWND window);

    // A descriptor that is readable when `pump` has something to do; -1: never.
    int (*descriptor)();
    // Handles what has come from the display: posts WM_CLOSE for a closed window, redraws. False when the display is lost.
    bool (*pump)();
};

// Prints each text of a STATIC window as a line on standard error, and shows nothing.
const WindowBackend* NoWindows();

// Shows windows on the X display of that name (null: the one in DISPLAY). Null, with a reason, when it cannot be used.
const WindowBackend* X11Windows(const char* name, std::string* reason);

// Closes every top-level window, as its close button does: posts WM_CLOSE. On the windows' thread.
void CloseTopLevelWindows();

} // namespace korvex::platform
