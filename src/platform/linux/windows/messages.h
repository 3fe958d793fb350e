// Messages between windows, the timers among them, and the loop that a window's thread runs. A message sent to a window of another thread
// is carried out by that thread, inside its GetMessageW or MsgWaitForMultipleObjects and PeekMessageW.
#pragma once

#include "platform/linux/core/types.h"

using WPARAM = uintptr_t;
using LPARAM = intptr_t;
using LRESULT = intptr_t;
using UINT_PTR = uintptr_t;

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
inline constexpr UINT WM_PAINT = 0x000F;
inline constexpr UINT WM_CLOSE = 0x0010;
inline constexpr UINT WM_QUIT = 0x0012;
inline constexpr UINT WM_KEYUP = 0x0101;
inline constexpr UINT WM_TIMER = 0x0113;
inline constexpr UINT WM_LBUTTONDOWN = 0x0201;
inline constexpr UINT WM_LBUTTONUP = 0x0202;
inline constexpr UINT WM_USER = 0x0400;
inline constexpr WPARAM VK_RETURN = 0x0D;
inline constexpr WPARAM VK_ESCAPE = 0x1B;
inline constexpr WPARAM VK_SPACE = 0x20;
inline constexpr DWORD QS_SENDMESSAGE = 0x0040;
inline constexpr UINT PM_NOREMOVE = 0;

// Returns when the window's thread has carried the message out; 0 for a window that is gone. Posting returns at once, and fails for such.
LRESULT SendMessageW(HWND handle, UINT message, WPARAM wParam, LPARAM lParam);
BOOL PostMessageW(HWND handle, UINT message, WPARAM wParam, LPARAM lParam);

// `window` and the message range must be null and 0: every message of the thread, posted ones first, then WM_PAINT for a window that is to
// be painted, then WM_TIMER for a timer that is due. -1 when the display is lost.
BOOL GetMessageW(MSG* message, HWND window, UINT first, UINT last);
BOOL TranslateMessage(const MSG* message);
LRESULT DispatchMessageW(const MSG* message);

// Only to serve the messages that other threads have sent: wait mask QS_SENDMESSAGE, and PM_NOREMOVE | QS_SENDMESSAGE << 16. Posted
// messages stay queued. Waits for one handle, an event or a thread.
DWORD MsgWaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds, DWORD wakeMask);
BOOL PeekMessageW(MSG* message, HWND window, UINT first, UINT last, UINT remove);

// A timer of a window sends it WM_TIMER with its identifier, every so many milliseconds until it is killed or the window is destroyed;
// setting it again starts it anew. On the window's thread; `procedure` must be null.
UINT_PTR SetTimer(HWND window, UINT_PTR identifier, UINT milliseconds, void* procedure);
BOOL KillTimer(HWND window, UINT_PTR identifier);
