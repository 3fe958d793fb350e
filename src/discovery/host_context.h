// The record of a detection or panel test entry: what it has found, what it shows, and who waits for the result. One per process.
#pragma once

#include <atomic>
#include <cstdint>

#include "link/touch_controller.h"
#include "platform/win32.h"
#include "support/list_links.h"

namespace korvex {

struct HostContext {
    ListLinks controllers; // of TouchController records, owned, in the order in which they were found
    HMODULE moduleHandle;  // the executable's: the context's key
    HICON icon;
    HBRUSH backgroundBrush;         // of the status window's class
    HWND statusWindow;              // null in panel test mode
    HWND statusText;                // the text control in it; null in panel test mode
    uint32_t flags;                 // HOST_DETECT and so on (host.h)
    std::atomic<HWND> notifyWindow; // gets the result of the detection; null until SetNotifyTarget
    std::atomic<UINT> notifyMessage;
    ListLinks links; // in the process's list of contexts

    CRITICAL_SECTION lock; // guards `controllers`; never held across a wait
    HANDLE stopEvent;      // manual-reset: set when everything is to end
    HANDLE notifyEvent;    // manual-reset: set once the notify target is in place, and by a stop
    HANDLE worker;         // the detection worker's thread
};

} // namespace korvex
