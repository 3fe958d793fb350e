#include "input/session.h"

#include <algorithm>
#include <bit>

#include "calibration/calibration.h"
#include "input/host_handlers.h"
#include "input/pointer_injection.h"
#include "input/touch_report.h"
#include "link/command_protocol.h"
#include "link/port_link.h"
#include "support/debug_trace.h"
#include "support/lock_guard.h"
#include "support/time_left.h"

namespace korvex {

namespace {

constexpr DWORD FAILED_WAIT_PAUSE_MS = 100; // between two tries on a port that has failed
// before what answers on a port that has come back is asked again
constexpr DWORD MIN_ASK_PAUSE_MS = 2000;
constexpr DWORD MAX_ASK_PAUSE_MS = 30000;
constexpr DWORD WAKE_INTERVAL_MS = 5;
constexpr DWORD CANCEL_GRACE_MS = 20; // after this long the waker helps

using CancelRoutine = BOOL(WINAPI*)(HANDLE);

void Tell(TouchController* controller, SessionEvent event)
{
    if (Handlers().sessionEvent != nullptr)
        Handlers().sessionEvent(controller, event);
}

void EndTouch(TouchController* controller)
{
    if (ReleaseContact(controller))
        Tell(controller, SessionEvent::TOUCHED);
}

void SetPortGone(TouchController* controller, bool gone)
{
    if (controller->portGone.exchange(gone ? 1 : 0) != (gone ? 1 : 0))
        Tell(controller, gone ? SessionEvent::PORT_GONE : SessionEvent::PORT_BACK);
}

// After a failed wait: waits alone fail on some drivers. The port has failed where the read before
// it did too, or where it says so.
bool HasPortFailed(const TouchController* controller)
{
    return controller->link.readFailed || GetLastError() == ERROR_DEVICE_NOT_CONNECTED;
}

// What the reader knows of its port's coming back.
struct PortReturn {
    bool pending;  // the port has failed since its controller was asked last
    DWORD askedAt; // GetTickCount
    DWORD pauseMs; // until it is asked again; 0: at once
};

// Whether to ask now what answers on the port. On a silent line, and not within a touch: reports
// could be taken for answers.
bool IsToBeAsked(const TouchController* controller, const PortReturn* port)
{
    return port->pending && !controller->link.readFailed && controller->prevContact != CONTACT_TOUCH
        && controller->running == 1 && GetTickCount() - port->askedAt >= port->pauseMs;
}

// Asks; whether the session goes on. While nothing is known of what answers it is asked again, ever
// more rarely.
bool IsStillDriven(TouchController* controller, PortReturn* port)
{
    uint32_t model = 0;
    const ReturnedController answer = AskReturnedController(controller, &model);
    port->pending = answer == ReturnedController::UNKNOWN;
    port->askedAt = GetTickCount();
    port->pauseMs = std::clamp<DWORD>(2 * port->pauseMs, MIN_ASK_PAUSE_MS, MAX_ASK_PAUSE_MS);
    if (answer == ReturnedController::SAME)
        SetPortGone(controller, false);
    if (answer == ReturnedController::ANOTHER) {
        DebugTrace(
            TEXT("Korvex %X answers in place of %X, Session ends\n"), model, controller->model);
        Tell(controller, SessionEvent::REPLACED);
    }
    return answer != ReturnedController::ANOTHER;
}

unsigned __stdcall ReaderLoop(void* argument)
{
    auto* controller = static_cast<TouchController*>(argument);
    Packet report{};
    bool read = false;
    PortReturn port{};
    while (controller->running == 1) {
        controller->link.readFailed = false;
        const uint32_t rejected
            = controller->counters.rejectedPackets.load(std::memory_order_relaxed);
        read = ReadReport(controller, &report);
        if (read) {
            if (controller->running != 1)
                break;
            if (controller->injectEnabled == 1)
                InjectReport(controller, report.data());
            SetPortGone(controller, false);
            Tell(controller, SessionEvent::TOUCHED);
            continue;
        }
        if (controller->counters.rejectedPackets.load(std::memory_order_relaxed) != rejected)
            Tell(controller, SessionEvent::REJECTED);
        if (IsToBeAsked(controller, &port) && !IsStillDriven(controller, &port))
            break;
        // A port that has gone must not make the loop spin. Where a wait fails but reads work, the
        // read's own time-outs pace it.
        if (controller->running == 1 && !LinkWaitInput(&controller->link)
            && HasPortFailed(controller) && controller->running == 1) {
            port = {true, 0, 0};
            Count(&controller->counters.failedWaits);
            EndTouch(controller);
            SetPortGone(controller, true);
            WaitForSingleObject(controller->wakeEvent, FAILED_WAIT_PAUSE_MS);
        }
    }
    EndTouch(controller); // no button stays pressed behind a session
    Tell(controller, SessionEvent::ENDED);
    SetEvent(controller->stoppedEvent);
    return read ? 1 : 0;
}

// Ends the reader's pending wait through the port, again and again because it misses a reader that
// is about to enter its wait. On a thread of its own: on Windows the call can block behind that
// wait.
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
    LoadSettings(controller);
    controller->stoppedEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    controller->wakeEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    Tell(controller, SessionEvent::STARTED);
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
    Tell(controller, SessionEvent::ENDING);
    controller->running = 0;
    if (controller->wakeEvent != nullptr)
        SetEvent(controller->wakeEvent);
    CancelReaderWait(controller);
}

void JoinSession(TouchController* controller, uint32_t limitMs)
{
    if (controller->stoppedEvent == nullptr)
        return;
    const DWORD start = GetTickCount();
    // The event tells of the end of the loop, once; the thread ends right after.
    while (controller->readerThread == nullptr || !HasThreadEnded(controller->readerThread)) {
        const DWORD left = TimeLeft(start, limitMs);
        if (WaitForSingleObject(controller->stoppedEvent, std::min<DWORD>(left, WAKE_INTERVAL_MS))
            == WAIT_OBJECT_0) {
            WaitForSingleObject(controller->readerThread, TimeLeft(start, limitMs));
            break;
        }
        if (left == 0)
            return;
        CancelReaderWait(controller);
        const bool needsHelp = controller->readerThread != nullptr
            && controller->wakerThread == nullptr && limitMs - left >= CANCEL_GRACE_MS;
        if (needsHelp)
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
