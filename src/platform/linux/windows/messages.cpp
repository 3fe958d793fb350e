#include "platform/linux/windows/messages.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <optional>
#include <vector>

#include "platform/linux/core/clock.h"
#include "platform/linux/core/last_error.h"
#include "platform/linux/core/threads.h"
#include "platform/linux/machine.h"
#include "platform/linux/windows/window_records.h"

namespace korvex::platform {

namespace {

std::atomic<bool> displayLost{false};
thread_local DWORD messageTime = 0; // of the last one

using std::chrono::milliseconds;
using std::chrono::steady_clock;

LRESULT Call(const MSG* message)
{
    const std::shared_ptr<WindowRecord> window = FindWindow(message->hwnd);
    return window == nullptr
        ? 0
        : window->procedure(message->hwnd, message->message, message->wParam, message->lParam);
}

// Carries out what other threads have sent to this one.
void ServeSent()
{
    WindowSystem* system = Windows();
    std::unique_lock lock(system->mutex);
    MessageQueue* queue = ThisQueue().get();
    while (!queue->sent.empty()) {
        const std::shared_ptr<SentMessage> sent = queue->sent.front();
        queue->sent.pop_front();
        lock.unlock();
        const LRESULT result = Call(&sent->message);
        lock.lock();
        sent->result = result;
        sent->done = true;
        system->sentDone.notify_all();
    }
}

std::optional<MSG> PopPosted()
{
    MessageQueue* queue = ThisQueue().get();
    const std::lock_guard guard(Windows()->mutex);
    if (queue->posted.empty())
        return std::nullopt;
    const MSG message = queue->posted.front();
    queue->posted.pop_front();
    return message;
}

// WM_PAINT for a window of this thread that must be painted, until it has been.
std::optional<MSG> FindPaint()
{
    const std::lock_guard guard(Windows()->mutex);
    for (const auto& [handle, window] : Windows()->windows) {
        if (window->queue == ThisQueue() && window->toPaint)
            return MSG{handle, WM_PAINT, 0, 0, 0};
    }
    return std::nullopt;
}

// The message of a timer of this thread that is due; else how long it is until the next one, -1:
// there is none.
std::optional<MSG> PopTimer(int* wait)
{
    const std::lock_guard guard(Windows()->mutex);
    const auto now = steady_clock::now();
    *wait = -1;
    for (const auto& [handle, window] : Windows()->windows) {
        if (window->queue != ThisQueue())
            continue;
        for (auto& [identifier, timer] : window->timers) {
            if (timer.due <= now) {
                timer.due = now + timer.period;
                return MSG{handle, WM_TIMER, identifier, 0, 0};
            }
            const auto left
                = static_cast<int>(std::chrono::ceil<milliseconds>(timer.due - now).count());
            *wait = *wait < 0 ? left : std::min(*wait, left);
        }
    }
    return std::nullopt;
}

// Waits for a message, the display, or the request to close the windows. The request stays
// readable, so each queue handles it once and then no longer waits for it.
void WaitForWork(int wait)
{
    const int signals = ThisQueue()->closing ? -1 : ThisMachine()->windows.closeSignals;
    std::array<pollfd, 3> polled{pollfd{ThisQueue()->wakeDescriptor, POLLIN, 0},
        pollfd{Backend()->descriptor(), POLLIN, 0}, pollfd{signals, POLLIN, 0}};
    poll(polled.data(), polled.size(), wait);
    if (polled[2].revents != 0) {
        ThisQueue()->closing = true;
        CloseTopLevelWindows();
    }
}

} // namespace

void CloseTopLevelWindows()
{
    std::vector<HWND> topLevel;
    {
        const std::lock_guard guard(Windows()->mutex);
        for (const auto& [handle, window] : Windows()->windows) {
            if (window->view.parent == nullptr && window->queue == ThisQueue())
                topLevel.push_back(handle);
        }
    }
    for (HWND window : topLevel)
        PostMessageW(window, WM_CLOSE, 0, 0);
}

bool IsDisplayLost()
{
    return displayLost;
}

} // namespace korvex::platform

using korvex::platform::Backend;
using korvex::platform::Fail;
using korvex::platform::FindWindow;
using korvex::platform::MessageQueue;
using korvex::platform::ThisQueue;
using korvex::platform::Windows;

LRESULT SendMessageW(HWND handle, UINT message, WPARAM wParam, LPARAM lParam)
{
    const auto window = FindWindow(handle);
    if (window == nullptr)
        return 0;
    const MSG content{handle, message, wParam, lParam, 0};
    if (window->queue == ThisQueue())
        return korvex::platform::Call(&content);
    const auto sent = std::make_shared<korvex::platform::SentMessage>();
    sent->message = content;
    std::unique_lock lock(Windows()->mutex);
    window->queue->sent.push_back(sent);
    eventfd_write(window->queue->wakeDescriptor, 1);
    // The window may be destroyed while the message waits in its thread's queue; it is then carried
    // out for no window.
    Windows()->sentDone.wait(lock, [&sent] { return sent->done; });
    return sent->result;
}

BOOL PostMessageW(HWND handle, UINT message, WPARAM wParam, LPARAM lParam)
{
    const auto window = FindWindow(handle);
    if (window == nullptr)
        return Fail(ERROR_INVALID_HANDLE);
    const std::lock_guard guard(Windows()->mutex);
    window->queue->posted.push_back({handle, message, wParam, lParam, GetTickCount()});
    eventfd_write(window->queue->wakeDescriptor, 1);
    return TRUE;
}

BOOL GetMessageW(MSG* message, HWND /*window*/, UINT /*first*/, UINT /*last*/)
{
    for (;;) {
        eventfd_t count = 0;
        eventfd_read(ThisQueue()->wakeDescriptor, &count);
        korvex::platform::ServeSent();
        if (!Backend()->pump()) {
            korvex::platform::displayLost = true;
            return -1;
        }
        int wait = -1;
        auto found = korvex::platform::PopPosted();
        if (!found)
            found = korvex::platform::FindPaint();
        if (!found)
            found = korvex::platform::PopTimer(&wait);
        if (found) {
            *message = *found;
            korvex::platform::messageTime = message->time;
            return TRUE;
        }
        korvex::platform::WaitForWork(wait);
    }
}

LONG GetMessageTime()
{
    return static_cast<LONG>(korvex::platform::messageTime);
}

BOOL TranslateMessage(const MSG* /*message*/)
{
    return FALSE;
}

LRESULT DispatchMessageW(const MSG* message)
{
    return korvex::platform::Call(message);
}

DWORD MsgWaitForMultipleObjects(
    DWORD count, const HANDLE* handles, BOOL /*all*/, DWORD milliseconds, DWORD wakeMask)
{
    if (count != 1 || wakeMask != QS_SENDMESSAGE) {
        Fail(ERROR_INVALID_PARAMETER);
        return WAIT_FAILED;
    }
    // Events and threads have no descriptor, so both are polled in turn; this is only called on the
    // way to the process's end.
    constexpr DWORD INTERVAL = 5;
    for (DWORD waited = 0;; waited += INTERVAL) {
        {
            const std::lock_guard guard(Windows()->mutex);
            if (!ThisQueue()->sent.empty())
                return WAIT_OBJECT_0 + count;
        }
        const DWORD left = milliseconds - std::min(waited, milliseconds);
        const DWORD result = WaitForSingleObject(handles[0], std::min(left, INTERVAL));
        if (result != WAIT_TIMEOUT || left == 0)
            return result;
    }
}

BOOL PeekMessageW(MSG* /*message*/, HWND /*window*/, UINT /*first*/, UINT /*last*/, UINT remove)
{
    if (remove == (PM_NOREMOVE | QS_SENDMESSAGE << 16))
        korvex::platform::ServeSent();
    return FALSE;
}

UINT_PTR SetTimer(HWND window, UINT_PTR identifier, UINT milliseconds, void* /*procedure*/)
{
    const auto found = FindWindow(window);
    if (found == nullptr || found->queue != ThisQueue()) {
        Fail(ERROR_INVALID_HANDLE);
        return 0;
    }
    const std::chrono::milliseconds period(milliseconds);
    const std::lock_guard guard(Windows()->mutex);
    found->timers[identifier] = {std::chrono::steady_clock::now() + period, period};
    return identifier == 0 ? 1 : identifier; // as Windows says: not zero
}

BOOL KillTimer(HWND window, UINT_PTR identifier)
{
    const auto found = FindWindow(window);
    if (found == nullptr)
        return Fail(ERROR_INVALID_HANDLE);
    const std::lock_guard guard(Windows()->mutex);
    return found->timers.erase(identifier) != 0 ? TRUE : FALSE;
}

BOOL MessageBeep(UINT /*type*/)
{
    Backend()->beep();
    return TRUE;
}
