// The window of a page: over the whole screen, white, on top.
#pragma once

#include "console/panel_source.h"
#include "platform/win32.h"

namespace korvex {

struct Page {
    const WCHAR* className; // of the window
    const WCHAR* title;
    WNDPROC procedure;
    UINT timerMs; // between two of its WM_TIMER
};

// Shows the page and handles its messages and those of the source's panels on the calling thread,
// until `ended` is true, the display is lost, or there is no window. `window` is the page's, set
// before the source begins.
void RunPage(const Page& page, const PanelSource& source, HWND* window, const bool* ended);

} // namespace korvex
