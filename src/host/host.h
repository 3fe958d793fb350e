// The host of a detection or panel test entry: the context with everything that detection finds,
// the status window, the detection worker, and their shutdown. On the entry's thread, which owns
// the window and runs the message loop, unless a routine says otherwise.
#pragma once

#include <cstdint>

#include "discovery/host_context.h"
#include "platform/win32.h"

namespace korvex {

// Start flags.
// starts the detection worker and shows a status window
inline constexpr uint32_t HOST_DETECT = 0x2;
// no status window and no refresh pass; detection waits for the notify target
inline constexpr uint32_t HOST_PANEL_TEST = 0x4;

// Constants of the library's windows.
inline constexpr const WCHAR* WINDOW_TITLE = TEXT("Korvex Touch Solutions");
inline constexpr COLORREF WINDOW_BACKGROUND = 0x00FFFFFF; // white

inline constexpr const WCHAR* STATUS_CLASS = TEXT("kxSetup"); // of the status window

// Named mutex of the detection or panel test that keeps others out of the user's session.
inline constexpr const WCHAR* SINGLE_MUTEX = TEXT("kxSetupMUTEX");

// Creates the process's context and, as the flags say, status window and worker. TRUE always;
// without memory for the context nothing is started, and FindHostContext finds none.
BOOL StartHost(uint32_t flags);

// Makes the status window ask for its detail again (HostHandlers), soon. Any thread.
void RefreshStatusDetail();

// The first context with this key; null when there is none.
HostContext* FindHostContext(HMODULE moduleHandle);

// A new context in the process's list, its window class registered; null when out of memory.
HostContext* CreateHostContext(HMODULE moduleHandle);

// Registers the status window's class with the context's icon and brush. TRUE always.
BOOL RegisterSetupClass(HostContext* context);

// The worker's thread, with the context as its argument: the refresh pass, a second's wait and the
// detecting pass, each announced in the status text.
unsigned __stdcall DetectionWorker(void* argument);

// The status window's procedure: its closing stops everything (DestroyHostContext) and ends the
// process with exit code 0.
LRESULT CALLBACK SetupWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

// Sets who gets the result of the detection: posted `message` with wParam 1 when a session was
// started, else 0.
BOOL SetNotifyTarget(HWND window, UINT message);

// The controller that has reported last, the first found among equals; null when there is none.
TouchController* MostRecentController();

// Stops the worker and every session and frees the context, in at most 3 s; memory that a thread
// may still use, because it could not be ended, is left to the end of the process, which must
// follow at once. Messages that other threads send are served during the wait, posted ones are not.
BOOL DestroyHostContext();

// Stops every session of the context's list, all at once and in `limitMs` together, and releases
// the records but for those whose reader could not be ended. The worker must have ended.
BOOL FreeControllerList(HostContext* context, uint32_t limitMs);

} // namespace korvex
