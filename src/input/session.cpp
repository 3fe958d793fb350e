#include "input/session.h"

#include <algorithm>
#include <bit>

#include "calibration/calibration.h"
#include "input/host_handlers.h"
#include "input/pointer_injection.h"
#include "input/touch_report.h"
#include "link/port_link.h"
#include "support/lock_guard.h"
#include "support/time_left.h"

namespace korvex {

namespace {

constexpr DWORD FAILED_WAIT_PAUSE_MS = 100; // between two tries on a port that has failed
constexpr DWORD WAKE_INTERVAL_MS = 5;
constexpr DWORD CANCEL_GRACE_MS = 20; // after this long the waker helps

using CancelRoutine = BOOL(WINAPI*)(HANDLE);

void Notify(TouchController* controller, SessionEvent event)
{
    if (Handlers().sessionEvent != nullptr)
        Handlers().sessionEvent(controller, event);
}

void EndTouch(TouchController* controller)
{
    if (ReleaseContact(controller))
        Notify(controller, SessionEvent::TOUCHED);
}

void SetPortGone(TouchController* controller, bool gone)
{
    if (controller->portGone.exchange(gone ? 1 : 0) != (gone ? 1 : 0))
        Notify(controller, gone ? SessionEvent::PORT_LOST : SessionEvent::PORT_RETURNED);
}

// After a failed wait: waits alone fail on some drivers. The port has failed where the read before
// it did too, or where it says so.
bool HasPortFailed(const TouchController* controller)
{
    return controller->link.readFailed || GetLastError() == ERROR_DEVICE_NOT_CONNECTED;
}

// Asks the handler for its decision after a read on a port that has failed before. Without a
// handler the controller is taken for the session's own.
PortReturn DecideReturn(TouchController* controller, ReadResult result, const Packet* report)
{
    const PortReturn decision = Handlers().portReturned == nullptr
        ? PortReturn::SAME
        : Handlers().portReturned(controller, result, report);
    if (decision == PortReturn::SAME)
        SetPortGone(controller, false);
    return decision;
}

void Inject(TouchController* controller, const Packet* report)
{
    if (controller->injectEnabled == 1)
        InjectReport(controller, report->data());
    SetPortGone(controller, false);
    Notify(controller, SessionEvent::TOUCHED);
}

// Waits for input; whether the port has failed, after a pause without which one that has gone would
// make the loop spin. If a wait fails but reads work, the read's own time-outs pace it.
bool AwaitInput(TouchController* controller)
{
    if (LinkWaitInput(&controller->link) || !HasPortFailed(controller) || controller->running != 1)
        return false;
    Count(&controller->counters.failedWaits);
    EndTouch(controller);
    SetPortGone(controller, true);
    WaitForSingleObject(controller->wakeEvent, FAILED_WAIT_PAUSE_MS);
    return true;
}

unsigned __stdcall ReaderLoop(void* argument)
{
    auto* controller = static_cast<TouchController*>(argument);
    Packet report{};
    ReadResult result = ReadResult::SILENT;
    bool returned = false; // the port has failed, and its handler has not decided yet
    while (controller->running == 1) {
        controller->link.readFailed = false;
        result = ReadReport(controller, &report);
        if (controller->running != 1)
            break;
        if (result == ReadResult::REJECTED)
            Notify(controller, SessionEvent::REJECTED);
        PortReturn decision = PortReturn::UNANSWERED;
        if (returned && !controller->link.readFailed) {
            decision = DecideReturn(controller, result, &report);
            returned = decision == PortReturn::UNKNOWN || decision == PortReturn::HELD;
        }
        if (decision == PortReturn::REPLACED)
            break;
        if (result == ReadResult::REPORT) {
            if (decision != PortReturn::HELD)
                Inject(controller, &report);
        } else if (!returned || controller->link.readFailed) {
            returned = AwaitInput(controller) || returned;
        }
    }
    EndTouch(controller); // no button stays pressed after a session
    Notify(controller, SessionEvent::ENDED);
    SetEvent(controller->stoppedEvent);
    return result == ReadResult::REPORT ? 1 : 0;
}

// Ends the reader's pending wait through the port, again and again because it misses a reader that
// is about to enter its wait. On a thread of its own: on Windows the call can block until that wait
// ends.
unsigned __stdcall WakerLoop(void* argument)
{
    auto* controller = static_cast<TouchController*>(argument);
    const DWORD start = GetTickCount();
    while (WaitForSingleObject(controller->readerThread, WAKE_INTERVAL_MS) == WAIT_TIMEOUT
        && GetTickCount() - start < SESSION_STOP_LIMIT_MS)
        SetCommMask(controller->link.handle, EV_RXCHAR);
    return 0;
}

HANDLE StartThread(unsigned(__stdcall* routine)(void*), TouchController* controller)
{
    return std::bit_cast<HANDLE>(_beginthreadex(nullptr, 0, routine, controller, 0, nullptr));
}

// Windows has had the call since Vista.
void CancelReaderWait(const TouchController* controller)
{
    const auto cancel = std::bit_cast<CancelRoutine>(
        GetProcAddress(GetModuleHandleW(TEXT("kernel32.dll")), "CancelSynchronousIo"));
    if (cancel != nullptr && controller->readerThread != nullptr)
        cancel(controller->readerThread);
}

bool HasThreadEnded(HANDLE thread)
{
    return thread == nullptr || WaitForSingleObject(thread, 0) == WAIT_OBJECT_0;
}

} // namespace

bool StartSession(TouchController* controller)
{
    controller->running = 1;
    controller->injectEnabled = 1;
    controller->hasFileCalibration = LoadSettings(controller) ? 1 : 0;
    controller->stoppedEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    controller->wakeEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    Notify(controller, SessionEvent::STARTED);
    if (controller->stoppedEvent != nullptr && controller->wakeEvent != nullptr)
        controller->readerThread = StartThread(ReaderLoop, controller);
    return controller->readerThread != nullptr;
}

bool StopSession(TouchController* controller)
{
    RequestSessionStop(controller);
    JoinSession(controller, SESSION_STOP_LIMIT_MS);
    return true;
}

void RequestSessionStop(TouchController* controller)
{
    Notify(controller, SessionEvent::STOPPING);
    controller->running = 0;
    if (controller->wakeEvent != nullptr)
        SetEvent(controller->wakeEvent);
    CancelReaderWait(controller);
}

void JoinSession(TouchController* controller, uint32_t limitMs)
{
    if (controller->stoppedEvent == nullptr)
        return;
    // The thread ends right after the event, which is never set if it could not be created.
    const HANDLE end
        = controller->readerThread != nullptr ? controller->readerThread : controller->stoppedEvent;
    const DWORD start = GetTickCount();
    DWORD left = limitMs;
    while (WaitForSingleObject(end, std::min(left, WAKE_INTERVAL_MS)) == WAIT_TIMEOUT) {
        if (left == 0)
            return;
        CancelReaderWait(controller);
        left = TimeLeft(start, limitMs);
        if (controller->readerThread != nullptr && controller->wakerThread == nullptr
            && limitMs - left >= CANCEL_GRACE_MS)
            controller->wakerThread = StartThread(WakerLoop, controller);
    }
    if (controller->wakerThread != nullptr)
        WaitForSingleObject(controller->wakerThread, TimeLeft(start, limitMs));
}

bool HasReaderEnded(const TouchController* controller)
{
    return HasThreadEnded(controller->readerThread) && HasThreadEnded(controller->wakerThread);
}

bool TakeSnapshot(TouchController* controller, ReportSnapshot* snapshot)
{
    LiveTouch touch{};
    return TakeLiveSnapshot(controller, snapshot, &touch);
}

bool TakeLiveSnapshot(TouchController* controller, ReportSnapshot* snapshot, LiveTouch* touch)
{
    const LockGuard guard(&controller->lock);
    *snapshot = controller->report;
    *touch = controller->touch;
    return true;
}

bool SetMapMode(TouchController* controller, uint8_t mode)
{
    const LockGuard guard(&controller->lock);
    controller->calib.mapMode = mode;
    return true;
}

} // namespace korvex
