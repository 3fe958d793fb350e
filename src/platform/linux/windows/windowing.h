// Windows and their classes. A window belongs to the thread that creates it. Windows are shown by
// the backend that the machine names (window_backend.h): X11, or none.
#pragma once

#include "platform/linux/windows/window_types.h"

ATOM RegisterClassW(const WNDCLASSW* windowClass);

// The classes that were registered, and "STATIC", a line of text. Only two styles matter: with
// WS_POPUP the window takes the whole screen without a frame; a frame has a minimise button with
// WS_MINIMIZEBOX.
HWND CreateWindowExW(DWORD extendedStyle, LPCWSTR className, LPCWSTR title, DWORD style, int x,
    int y, int width, int height, HWND parent, HMENU menu, HINSTANCE instance, void* parameter);
BOOL DestroyWindow(HWND handle); // on the window's own thread; its children go with it
BOOL ShowWindow(HWND window, int command);
BOOL SetWindowTextW(HWND window, LPCWSTR text); // sends WM_SETTEXT
LRESULT DefWindowProcW(HWND handle, UINT message, WPARAM wParam, LPARAM lParam);

HICON LoadIconW(HINSTANCE instance, LPCWSTR name); // there are none: null
BOOL DestroyIcon(HICON icon);
HCURSOR LoadCursorW(HINSTANCE instance, LPCWSTR name); // the display's own
