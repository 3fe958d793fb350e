// Windows on an X display and its window manager, by the conventions of X (ICCCM), of
// freedesktop.org (Extended Window Manager Hints) and of Motif. On the windows' thread.
#pragma once

#include <string>

#include "platform/linux/windows/window_x11_display.h"

namespace korvex::platform {

// Sets the title of a top-level window.
void SetTitle(const WindowDisplay* connection, Window window, const std::u16string& title);

// Tells the window manager of a window's fixed size, and where it is.
void SetSizeHints(const WindowDisplay* connection, Window window, const WindowView* view);

// Tells the window manager, if there is one, of a top-level window.
void IntroduceWindow(WindowDisplay* connection, Window window, const WindowView* view);

// Shows a window that takes a whole monitor. Window managers may put it on a different one (for
// example the one in use); a window that does not cover its monitor is shown again without the
// window manager: targets on the wrong monitor are useless.
void ShowOverMonitor(WindowDisplay* connection, ShownWindow* shown);

// Gives a new window the keyboard where no window manager does.
void FocusUnmanaged(const WindowDisplay* connection, const ShownWindow* shown);

} // namespace korvex::platform
