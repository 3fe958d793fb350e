// The windows of this process and the message queues of their threads.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "platform/linux/windows/window_backend.h"
#include "platform/linux/windows/window_types.h"

namespace korvex::platform {

// A message that another thread waits for.
struct SentMessage {
    MSG message;
    LRESULT result = 0;
    bool done = false;
};

// The messages of one thread.
struct MessageQueue {
    int wakeDescriptor; // readable while there is a message
    std::deque<MSG> posted;
    std::deque<std::shared_ptr<SentMessage>> sent;
    bool closing = false; // the close request (WindowSettings::closeSignals) was handled

    MessageQueue();
    ~MessageQueue();
    MessageQueue(const MessageQueue&) = delete;
    MessageQueue& operator=(const MessageQueue&) = delete;
};

struct Timer {
    std::chrono::steady_clock::time_point due;
    std::chrono::milliseconds period;
};

struct WindowRecord {
    WindowView view; // changed on the window's own thread only
    WNDPROC procedure;
    std::shared_ptr<MessageQueue> queue;
    bool toPaint = false;
    bool toErase = false;
    std::map<UINT_PTR, Timer> timers;
};

struct WindowSystem {
    // guards the rest, the queues too; never held across a window procedure or a backend's routine
    std::mutex mutex;
    std::condition_variable sentDone;
    std::map<std::u16string, WNDCLASSW> classes;
    std::map<HWND, std::shared_ptr<WindowRecord>> windows;
    uintptr_t lastHandle = 0;
};

WindowSystem* Windows();
const std::shared_ptr<MessageQueue>& ThisQueue();      // the calling thread's
const WindowBackend* Backend();                        // the machine's
std::shared_ptr<WindowRecord> FindWindow(HWND handle); // null when there is none

} // namespace korvex::platform
