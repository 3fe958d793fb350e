// The record of a detection or panel test entry: what it has found, what it shows, and who waits
// for the result. One per process.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "link/touch_controller.h"
#include "platform/win32.h"
#include "support/bounded_text.h"
#include "support/list_links.h"

namespace korvex {

struct HostContext {
    // of TouchController records, owned, in the order in which they were found
    ListLinks controllers;
    HMODULE moduleHandle; // the executable's: the context's key
    HICON icon;
    HBRUSH backgroundBrush;         // of the status window's class
    HWND statusWindow;              // null in panel test mode
    HWND statusText;                // the text control in it; null in panel test mode
    uint32_t flags;                 // HOST_DETECT and so on (host.h)
    std::atomic<HWND> notifyWindow; // gets the result of the detection; null until SetNotifyTarget
    std::atomic<UINT> notifyMessage;
    ListLinks links; // in the process's list of contexts

    CRITICAL_SECTION lock; // guards `controllers`; never held across a wait
    HANDLE stopEvent;      // manual-reset: set when everything must end
    HANDLE notifyEvent;    // manual-reset: set once the notify target is in place, and by a stop
    HANDLE worker;         // the detection worker's thread
    // a second line in the status window; null without a handler for it
    HWND statusDetail;
};

inline constexpr size_t STATUS_CAPACITY = 32; // UTF-16 units with terminator

// Shows a status text, formatted as by FormatBounded and cut to STATUS_CAPACITY - 1 units; does
// nothing in panel test mode. Any thread; the window's thread must be serving messages.
template <typename... Arguments>
void ShowStatus(const HostContext* context, const WCHAR* format, Arguments... arguments)
{
    std::array<WCHAR, STATUS_CAPACITY> text{};
    FormatBounded(text.data(), text.size(), format, arguments...);
    if (context->statusText != nullptr)
        SetWindowTextW(context->statusText, text.data());
}

} // namespace korvex
