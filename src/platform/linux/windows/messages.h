// Messages between windows, the timers among them, and the loop that a window's thread runs. A
// message sent to a window of another thread is carried out by that thread, inside its GetMessageW
// or MsgWaitForMultipleObjects and PeekMessageW.
#pragma once

#include "platform/linux/windows/window_types.h"

// Returns when the window's thread has carried the message out; 0 for a window that is gone.
// Posting returns at once, and fails for a window that is gone.
LRESULT SendMessageW(HWND handle, UINT message, WPARAM wParam, LPARAM lParam);
BOOL PostMessageW(HWND handle, UINT message, WPARAM wParam, LPARAM lParam);

// `window` and the message range must be null and 0: every message of the thread, posted ones
// first, then WM_PAINT for a window that must be painted, then WM_TIMER for a timer that is due. -1
// when the display is lost.
BOOL GetMessageW(MSG* message, HWND window, UINT first, UINT last);
BOOL TranslateMessage(const MSG* message);

// When the last message of the thread was posted, in time of GetTickCount.
LONG GetMessageTime();
LRESULT DispatchMessageW(const MSG* message);

// Only to serve the messages that other threads have sent: wait mask QS_SENDMESSAGE, and
// PM_NOREMOVE | QS_SENDMESSAGE << 16. Posted messages stay queued. Waits for one handle, an event
// or a thread.
DWORD MsgWaitForMultipleObjects(
    DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds, DWORD wakeMask);
BOOL PeekMessageW(MSG* message, HWND window, UINT first, UINT last, UINT remove);

// A timer of a window sends it WM_TIMER with its identifier, every so many milliseconds until it is
// killed or the window is destroyed; setting it again restarts it. On the window's thread;
// `procedure` must be null.
UINT_PTR SetTimer(HWND window, UINT_PTR identifier, UINT milliseconds, void* procedure);
BOOL KillTimer(HWND window, UINT_PTR identifier);

// The display's bell; `type` is MB_OK.
BOOL MessageBeep(UINT type);

namespace korvex::platform {

// Closes every top-level window of the calling thread, as its close button does: posts WM_CLOSE.
void CloseTopLevelWindows();

// Whether the display went away while a window waited for it.
bool IsDisplayLost();

} // namespace korvex::platform
