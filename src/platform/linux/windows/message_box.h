// The message box.
#pragma once

#include "platform/linux/windows/window_types.h"

// Shows a text with an OK button in the middle of the screen and runs the thread's message loop
// until mouse or keyboard (Enter, space, Escape) or its close button has dismissed it, or the
// display is lost (0); the thread's other windows stay in use. A backend that nobody can answer
// dismisses it at once. `owner` must be null, `type` MB_OK.
int MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type);
