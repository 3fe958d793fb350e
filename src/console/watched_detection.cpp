#include "console/watched_detection.h"

#include <atomic>
#include <bit>

#include "console/watch_messages.h"
#include "console/watch_options.h"
#include "discovery/device_nodes.h"
#include "host/host.h"
#include "input/host_handlers.h"
#include "input/session.h"
#include "support/lock_guard.h"
#include "support/owned.h"

namespace korvex {

namespace {

struct WatchedDetection {
    HWND watcher;
    std::span<const WCHAR* const> words;
    std::atomic<HostContext*> context;
    std::atomic<bool> done; // the walk over the ports
    LPARAM posted = -1;     // last; under the context's lock
};

WatchedDetection detection{};

// Posts the state to the watcher if it has changed. Under the lock of the controllers, so that the
// last one that is posted is the last one. A controller that the touch driver has counts as driven.
void Report()
{
    HostContext* context = detection.context;
    if (context == nullptr)
        return; // StartHost has not returned
    const LockGuard guard(&context->lock);
    DetectionState state{true, !detection.done, false, 0};
    for (ListLinks* links = context->controllers.next; links != &context->controllers;
        links = links->next) {
        auto* controller = RecordOf<TouchController>(links);
        ReportSnapshot report{};
        LiveTouch touch{};
        TakeLiveSnapshot(controller, &report, &touch);
        state.touched = state.touched || touch.touching;
        state.driven += controller->portGone == 0 ? 1U : 0U;
    }
    const LPARAM packed = PackState(state);
    if (packed != detection.posted)
        PostMessageW(detection.watcher, WM_DETECTION_STATE,
            std::bit_cast<WPARAM>(context->statusWindow), packed);
    detection.posted = packed;
}

bool IsIgnored(HDEVINFO devices, SP_DEVINFO_DATA* element)
{
    PortName name{};
    ReadPortName(devices, element, &name, KEY_READ); // which every user may
    return IgnoresPort(detection.words, name.data());
}

} // namespace

int RunWatchedDetection(std::span<const WCHAR* const> words)
{
    detection.watcher = FindWindowW(WATCH_CLASS, nullptr);
    detection.words = words;
    DWORD process = 0;
    GetWindowThreadProcessId(detection.watcher, &process);
    HANDLE watcher = OpenProcess(SYNCHRONIZE, FALSE, process);
    CreateMutexW(nullptr, FALSE, SINGLE_MUTEX); // to the end of the process, as that of the entries
    if (watcher == nullptr || GetLastError() == ERROR_ALREADY_EXISTS)
        return DETECTION_FAILED;
    SetHostHandlers({
        .sessionEvent = [](TouchController* /*controller*/, SessionEvent /*event*/) { Report(); },
        .workerRefused = [] { ExitProcess(DETECTION_FAILED); },
        .ignoresPort = IsIgnored,
        .detectionDone =
            [] {
                detection.done = true;
                Report();
            },
    });
    StartHost(HOST_DETECT);
    HostContext* context = FindHostContext(GetModuleHandleW(nullptr));
    if (context == nullptr)
        return DETECTION_FAILED;
    ShowWindow(context->statusWindow, SW_SHOWMINNOACTIVE); // where the start did not see to it
    detection.context = context;
    Report();
    while (MsgWaitForMultipleObjects(1, &watcher, FALSE, INFINITE, QS_ALLINPUT) != WAIT_OBJECT_0) {
        for (MSG message{}; PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE;)
            DispatchMessageW(&message); // the closing of the window ends the process
    }
    DestroyHostContext();
    ExitProcess(0); // a thread that could not be ended may still run
}

} // namespace korvex
