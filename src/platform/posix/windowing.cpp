#include "platform/posix/windowing.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/posix/blocking_io.h"
#include "platform/posix/handles.h"
#include "platform/posix/machine.h"
#include "platform/posix/text.h"
#include "platform/posix/threads.h"
#include "platform/posix/window_backend.h"

struct HBRUSH__ {
    COLORREF color;
};

namespace korvex::platform {

namespace {

using std::chrono::milliseconds;

// A message that another thread waits for.
struct SentMessage {
    MSG message;
    LRESULT result = 0;
    bool done = false;
};

// The messages of one thread.
struct MessageQueue {
    int wakeDescriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK); // readable while there is a message
    std::deque<MSG> posted;                                      // under the windows' lock, as the rest
    std::deque<std::shared_ptr<SentMessage>> sent;

    MessageQueue() = default;
    ~MessageQueue() { close(wakeDescriptor); }
    MessageQueue(const MessageQueue&) = delete;
    MessageQueue& operator=(const MessageQueue&) = delete;
};

struct Window {
    WindowView view;
    WNDPROC procedure;
    std::shared_ptr<MessageQueue> queue;
};

struct WindowSystem {
    std::mutex mutex; // guards the rest, the queues too; never held across a window procedure or a backend's routine
    std::condition_variable sentDone;
    std::map<std::u16string, WNDCLASSW> classes;
    std::map<HWND, std::shared_ptr<Window>> windows;
    uintptr_t lastHandle = 0;
};

WindowSystem* Windows()
{
    static WindowSystem system;
    return &system;
}

const std::shared_ptr<MessageQueue>& ThisQueue()
{
    thread_local const auto queue = std::make_shared<MessageQueue>();
    return queue;
}

const WindowBackend* Backend()
{
    const WindowBackend* backend = ThisMachine()->windowBackend;
    return backend == nullptr ? NoWindows() : backend;
}

std::shared_ptr<Window> FindWindow(HWND handle)
{
    const std::lock_guard guard(Windows()->mutex);
    const auto found = Windows()->windows.find(handle);
    return found == Windows()->windows.end() ? nullptr : found->second;
}

LRESULT CALLBACK StaticProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    return DefWindowProcW(window, message, wParam, lParam);
}

LRESULT Call(const MSG* message)
{
    const std::shared_ptr<Window> window = FindWindow(message->hwnd);
    return window == nullptr ? 0 : window->procedure(message->hwnd, message->message, message->wParam, message->lParam);
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

void TakeSignal(int descriptor)
{
    signalfd_siginfo signal{};
    if (read(descriptor, &signal, sizeof(signal)) == sizeof(signal))
        CloseTopLevelWindows();
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

} // namespace korvex::platform

using korvex::platform::Backend;
using korvex::platform::Fail;
using korvex::platform::FindWindow;
using korvex::platform::MessageQueue;
using korvex::platform::SentMessage;
using korvex::platform::ThisQueue;
using korvex::platform::Windows;

ATOM RegisterClassW(const WNDCLASSW* windowClass)
{
    const std::lock_guard guard(Windows()->mutex);
    Windows()->classes[korvex::platform::FoldCase(windowClass->lpszClassName)] = *windowClass;
    return 1;
}

HWND CreateWindowExW(DWORD /*extendedStyle*/, LPCWSTR className, LPCWSTR title, DWORD /*style*/, int x, int y, int width, int height,
    HWND parent, HMENU /*menu*/, HINSTANCE /*instance*/, void* /*parameter*/)
{
    auto window = std::make_shared<korvex::platform::Window>();
    {
        const std::lock_guard guard(Windows()->mutex);
        const bool isStatic = korvex::platform::EqualNoCase(className, u"STATIC");
        const auto known = Windows()->classes.find(korvex::platform::FoldCase(className));
        if (!isStatic && known == Windows()->classes.end()) {
            Fail(ERROR_NOT_FOUND);
            return nullptr;
        }
        HBRUSH brush = isStatic ? nullptr : known->second.hbrBackground;
        auto* handle = reinterpret_cast<HWND>(++Windows()->lastHandle); // NOLINT(performance-no-int-to-ptr): a number, as Windows has it
        window->view
            = {handle, parent, title == nullptr ? u"" : title, brush == nullptr ? 0xFFFFFF : brush->color, isStatic, x, y, width, height};
        window->procedure = isStatic ? korvex::platform::StaticProcedure : known->second.lpfnWndProc;
        window->queue = ThisQueue();
    }
    if (!Backend()->create(&window->view)) {
        Fail(ERROR_GEN_FAILURE);
        return nullptr;
    }
    const std::lock_guard guard(Windows()->mutex);
    Windows()->windows[window->view.handle] = window;
    return window->view.handle;
}

BOOL DestroyWindow(HWND handle)
{
    const auto window = FindWindow(handle);
    if (window == nullptr || window->queue != ThisQueue())
        return Fail(ERROR_INVALID_HANDLE);
    std::vector<HWND> children;
    {
        const std::lock_guard guard(Windows()->mutex);
        for (const auto& [child, record] : Windows()->windows) {
            if (record->view.parent == handle)
                children.push_back(child);
        }
    }
    SendMessageW(handle, WM_DESTROY, 0, 0);
    for (HWND child : children)
        DestroyWindow(child);
    Backend()->destroy(handle);
    const std::lock_guard guard(Windows()->mutex);
    Windows()->windows.erase(handle);
    return TRUE;
}

BOOL ShowWindow(HWND window, int /*command*/)
{
    if (FindWindow(window) == nullptr)
        return FALSE;
    Backend()->show(window);
    return TRUE;
}

BOOL SetWindowTextW(HWND window, LPCWSTR text)
{
    return SendMessageW(window, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text)) != 0 ? TRUE : FALSE;
}

LRESULT DefWindowProcW(HWND handle, UINT message, WPARAM /*wParam*/, LPARAM lParam)
{
    const auto window = FindWindow(handle);
    if (window == nullptr)
        return 0;
    if (message == WM_SETTEXT) {
        window->view.text = reinterpret_cast<LPCWSTR>(lParam); // NOLINT(performance-no-int-to-ptr): as Windows passes it
        Backend()->changeText(&window->view);
        return TRUE;
    }
    if (message == WM_CLOSE)
        DestroyWindow(handle);
    return 0;
}

LRESULT SendMessageW(HWND handle, UINT message, WPARAM wParam, LPARAM lParam)
{
    const auto window = FindWindow(handle);
    if (window == nullptr)
        return 0;
    const MSG content{handle, message, wParam, lParam, 0, 0, 0};
    if (window->queue == ThisQueue())
        return korvex::platform::Call(&content);
    const auto sent = std::make_shared<SentMessage>();
    sent->message = content;
    std::unique_lock lock(Windows()->mutex);
    window->queue->sent.push_back(sent);
    eventfd_write(window->queue->wakeDescriptor, 1);
    // The window may be destroyed while the message waits in its thread's queue; it is then carried out for no window.
    Windows()->sentDone.wait(lock, [&sent] { return sent->done; });
    return sent->result;
}

BOOL PostMessageW(HWND handle, UINT message, WPARAM wParam, LPARAM lParam)
{
    const auto window = FindWindow(handle);
    if (window == nullptr)
        return Fail(ERROR_INVALID_HANDLE);
    const std::lock_guard guard(Windows()->mutex);
    window->queue->posted.push_back({handle, message, wParam, lParam, 0, 0, 0});
    eventfd_write(window->queue->wakeDescriptor, 1);
    return TRUE;
}

BOOL GetMessageW(MSG* message, HWND /*window*/, UINT /*first*/, UINT /*last*/)
{
    const std::shared_ptr<MessageQueue>& queue = ThisQueue();
    for (;;) {
        eventfd_t count = 0;
        eventfd_read(queue->wakeDescriptor, &count);
        korvex::platform::ServeSent();
        if (!Backend()->pump())
            return -1;
        {
            const std::lock_guard guard(Windows()->mutex);
            if (!queue->posted.empty()) {
                *message = queue->posted.front();
                queue->posted.pop_front();
                return message->message != WM_QUIT ? TRUE : FALSE;
            }
        }
        const int signals = korvex::platform::ThisMachine()->closeSignals;
        std::array<pollfd, 3> polled{
            pollfd{queue->wakeDescriptor, POLLIN, 0}, pollfd{Backend()->descriptor(), POLLIN, 0}, pollfd{signals, POLLIN, 0}};
        poll(polled.data(), polled.size(), -1);
        if (polled[2].revents != 0)
            korvex::platform::TakeSignal(signals);
    }
}

BOOL TranslateMessage(const MSG* /*message*/)
{
    return FALSE;
}

LRESULT DispatchMessageW(const MSG* message)
{
    return korvex::platform::Call(message);
}

DWORD MsgWaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL /*all*/, DWORD milliseconds, DWORD wakeMask)
{
    if (count != 1 || wakeMask != QS_SENDMESSAGE) {
        Fail(ERROR_INVALID_PARAMETER);
        return WAIT_FAILED;
    }
    // Events and threads have no descriptor, so both are looked at in turn; this is only called on the way to the process's end.
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

HICON LoadIconW(HINSTANCE /*instance*/, LPCWSTR /*name*/)
{
    Fail(ERROR_NOT_FOUND);
    return nullptr;
}

BOOL DestroyIcon(HICON /*icon*/)
{
    return Fail(ERROR_INVALID_HANDLE);
}

HCURSOR LoadCursorW(HINSTANCE /*instance*/, LPCWSTR /*name*/)
{
    return nullptr;
}

HBRUSH CreateSolidBrush(COLORREF color)
{
    return new HBRUSH__{color};
}

BOOL DeleteObject(HGDIOBJ object)
{
    delete static_cast<HBRUSH>(object);
    return TRUE;
}
