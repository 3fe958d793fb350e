#include "platform/linux/windows/window_records.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include "platform/linux/machine.h"
#include "platform/linux/windows/window_headless.h"

namespace korvex::platform {

MessageQueue::MessageQueue() : wakeDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) { }

MessageQueue::~MessageQueue()
{
    close(wakeDescriptor);
}

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
    const WindowBackend* backend = ThisMachine()->windows.backend;
    return backend == nullptr ? HeadlessBackend() : backend;
}

std::shared_ptr<WindowRecord> FindWindow(HWND handle)
{
    const std::lock_guard guard(Windows()->mutex);
    const auto found = Windows()->windows.find(handle);
    return found == Windows()->windows.end() ? nullptr : found->second;
}

} // namespace korvex::platform
