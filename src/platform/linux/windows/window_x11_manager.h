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

// Tells the window manager, where there is one, of a top-level window.
void IntroduceWindow(WindowDisplay* connection, Window window, const WindowView* view);

// Shows a window that takes a whole monitor. Window managers may put it on another one (the one
// that is in use, say); what does not come to cover its own is shown without theirs: targets on
// another monitor than the panel's would be touched for nothing.
void ShowOverMonitor(WindowDisplay* connection, ShownWindow* shown);

// Gives a new window the keyboard where no window manager does.
void TakeFocusAlone(const WindowDisplay* connection, const ShownWindow* shown);

} // namespace korvex::platform
