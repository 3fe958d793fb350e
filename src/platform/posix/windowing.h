// Windows, their messages, and the end of the process. A window belongs to the thread that creates it; messages sent from another thread
// are carried out by that thread, inside its GetMessageW or MsgWaitForMultipleObjects and PeekMessageW. Windows are shown by the backend
// that the machine names (window_backend.h): X11, or none.
#pragma once

#include "platform/posix/modules.h"
#include "platform/posix/types.h"

using WPARAM = uintptr_t;
using LPARAM = intptr_t;
using LRESULT = intptr_t;
using ATOM = WORD;
using COLORREF = DWORD;
using HINSTANCE = HMODULE;
using HICON = struct HICON__*;
using HCURSOR = HICON;
using HBRUSH = struct HBRUSH__*;
using HMENU = struct HMENU__*;
using HGDIOBJ = void*;
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

struct MSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;
    DWORD ptX;
    DWORD ptY;
};

inline constexpr UINT WM_DESTROY = 0x0002;
inline constexpr UINT WM_SETTEXT = 0x000C;
inline constexpr UINT WM_CLOSE = 0x0010;
inline constexpr UINT WM_QUIT = 0x0012;
inline constexpr UINT WM_USER = 0x0400;
inline constexpr UINT CS_DBLCLKS = 0x0008;
inline constexpr DWORD WS_OVERLAPPED = 0x00000000;
inline constexpr DWORD WS_MINIMIZEBOX = 0x00020000;
inline constexpr DWORD WS_SYSMENU = 0x00080000;
inline constexpr DWORD WS_VISIBLE = 0x10000000;
inline constexpr DWORD WS_CHILD = 0x40000000;
inline constexpr DWORD SS_CENTER = 1;
inline constexpr int SW_SHOW = 5;
inline constexpr DWORD QS_SENDMESSAGE = 0x0040;
inline constexpr UINT PM_NOREMOVE = 0;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline const LPCWSTR IDC_ARROW = reinterpret_cast<LPCWSTR>(uintptr_t{32512}); // NOLINT(performance-no-int-to-ptr): as Windows has it

ATOM RegisterClassW(const WNDCLASSW* windowClass);

// The classes that were registered, and "STATIC", a line of text.
HWND CreateWindowExW(DWORD extendedStyle, LPCWSTR className, LPCWSTR title, DWORD style, int x, int y, int width, int height, HWND parent,
    HMENU menu, HINSTANCE instance, void* parameter);
BOOL DestroyWindow(HWND handle); // on the window's own thread; its children go with it
BOOL ShowWindow(HWND window, int command);
BOOL SetWindowTextW(HWND window, LPCWSTR text); // sends WM_SETTEXT
LRESULT DefWindowProcW(HWND handle, UINT message, WPARAM wParam, LPARAM lParam);

// Returns when the window's thread has carried the message out; 0 for a window that is gone. Posting returns at once, and fails for such.
LRESULT SendMessageW(HWND handle, UINT message, WPARAM wParam, LPARAM lParam);
BOOL PostMessageW(HWND handle, UINT message, WPARAM wParam, LPARAM lParam);

// `window` and the message range must be null and 0: every message of the thread. -1 when the display is lost.
BOOL GetMessageW(MSG* message, HWND window, UINT first, UINT last);
BOOL TranslateMessage(const MSG* message);
LRESULT DispatchMessageW(const MSG* message);

// Only to serve the messages that other threads have sent: wait mask QS_SENDMESSAGE, and PM_NOREMOVE | QS_SENDMESSAGE << 16. Posted
// messages stay queued. Waits for one handle, an event or a thread.
DWORD MsgWaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds, DWORD wakeMask);
BOOL PeekMessageW(MSG* message, HWND window, UINT first, UINT last, UINT remove);

HICON LoadIconW(HINSTANCE instance, LPCWSTR name); // there are none: null
BOOL DestroyIcon(HICON icon);
HCURSOR LoadCursorW(HINSTANCE instance, LPCWSTR name); // the display's own
HBRUSH CreateSolidBrush(COLORREF color);
BOOL DeleteObject(HGDIOBJ object);

// Sets ERROR_ALREADY_EXISTS when another process of this user's session holds a mutex of that name, else ERROR_SUCCESS. Never closed, it
// is held until the process ends.
HANDLE CreateMutexW(SECURITY_ATTRIBUTES* security, BOOL initialOwner, LPCWSTR name);

// Starts a program with its parameters, split at blanks outside double quotes; only the verb "open". Above 32 when it was started.
HINSTANCE ShellExecuteW(HWND owner, LPCWSTR verb, LPCWSTR file, LPCWSTR parameters, LPCWSTR folder, int show);

// Flushes what was printed and ends the process: at once while another thread runs, through the exit handlers otherwise.
[[noreturn]] void ExitProcess(UINT exitCode);
