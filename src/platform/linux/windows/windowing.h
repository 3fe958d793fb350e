// Windows and their classes. A window belongs to the thread that creates it. Windows are shown by the backend
// that the machine names (window_backend.h): X11, or none.
#pragma once

#include "platform/linux/core/modules.h"
#include "platform/linux/core/types.h"
#include "platform/linux/windows/messages.h"
#include "platform/linux/windows/painting.h"

using ATOM = WORD;
using HICON = struct HICON__*;
using HCURSOR = HICON;
using HMENU = struct HMENU__*;
using WNDPROC = LRESULT(CALLBACK*)(HWND, UINT, WPARAM, LPARAM);

struct WNDCLASSW {
    UINT style;
    WNDPROC lpfnWndProc;
    int cbClsExtra;
    int cbWndExtra;
    HINSTANCE hInstance;
    HICON hIcon;
    HCURSOR hCursor;
    HBRUSH hbrBackground;
    LPCWSTR lpszMenuName;
    LPCWSTR lpszClassName;
};

inline constexpr UINT CS_DBLCLKS = 0x0008;
inline constexpr DWORD WS_OVERLAPPED = 0x00000000;
inline constexpr DWORD WS_MINIMIZEBOX = 0x00020000;
inline constexpr DWORD WS_SYSMENU = 0x00080000;
inline constexpr DWORD WS_VISIBLE = 0x10000000;
inline constexpr DWORD WS_CHILD = 0x40000000;
inline constexpr DWORD WS_POPUP = 0x80000000;
inline constexpr DWORD SS_CENTER = 1;
inline constexpr int SW_SHOW = 5;
inline constexpr UINT MB_OK = 0;
inline constexpr int IDOK = 1;
inline const LPCWSTR IDC_ARROW = reinterpret_cast<LPCWSTR>(uintptr_t{32512}); // NOLINT(performance-no-int-to-ptr): as Windows has it

ATOM RegisterClassW(const WNDCLASSW* windowClass);

// The classes that were registered, and "STATIC", a line of text. Of the styles two count: with WS_POPUP the window takes the whole
// screen without a frame; a frame has a minimise button with WS_MINIMIZEBOX.
HWND CreateWindowExW(DWORD extendedStyle, LPCWSTR className, LPCWSTR title, DWORD style, int x, int y, int width, int height, HWND parent,
    HMENU menu, HINSTANCE instance, void* parameter);
BOOL DestroyWindow(HWND handle); // on the window's own thread; its children go with it
BOOL ShowWindow(HWND window, int command);
BOOL SetWindowTextW(HWND window, LPCWSTR text); // sends WM_SETTEXT
LRESULT DefWindowProcW(HWND handle, UINT message, WPARAM wParam, LPARAM lParam);

// Shows a text with an OK button in the middle of the screen and runs the thread's message loop until mouse or keyboard (Enter, space,
// Escape) or its close button has dismissed it, or the display is lost (0); the thread's other windows stay in use. A backend that nobody
// can answer dismisses it at once. `owner` must be null, `type` MB_OK.
int MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type);

HICON LoadIconW(HINSTANCE instance, LPCWSTR name); // there are none: null
BOOL DestroyIcon(HICON icon);
HCURSOR LoadCursorW(HINSTANCE instance, LPCWSTR name); // the display's own
