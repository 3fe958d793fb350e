#include "platform/linux/core/blocking_io.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>

namespace korvex::platform {

namespace {

thread_local IoCancellation* currentCancellation = nullptr;

// The timeout of poll(2), in milliseconds, rounded up; -1: none. Not ppoll(2): with _FORTIFY_SOURCE
// glibc 2.36 calls the ppoll of 32-bit times, even with _TIME_BITS=64.
int PollTimeout(std::optional<Clock::time_point> deadline)
{
    if (!deadline)
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now());
    return static_cast<int>(std::clamp<decltype(left.count())>(left.count(), 0, INT_MAX));
}

// Marks the thread as waiting for the life of the guard.
struct WaitMark {
    IoCancellation* cancellation;

    explicit WaitMark(IoCancellation* of) : cancellation(of) { Set(true); }
    ~WaitMark() { Set(false); }
    WaitMark(const WaitMark&) = delete;
    WaitMark& operator=(const WaitMark&) = delete;

    void Set(bool waiting) const
    {
        if (cancellation == nullptr)
            return;
        const std::lock_guard guard(cancellation->mutex);
        cancellation->waiting = waiting;
        // A cancellation that came after the wait had ended for another reason must not end the
        // next one.
        eventfd_t count = 0;
        if (!waiting && cancellation->cancelled)
            eventfd_read(cancellation->descriptor, &count);
        cancellation->cancelled = false;
    }
};

} // namespace

IoCancellation::IoCancellation() : descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) { }

IoCancellation::~IoCancellation()
{
    if (descriptor >= 0)
        close(descriptor);
}

void UseCancellation(IoCancellation* cancellation)
{
    currentCancellation = cancellation;
}

bool CancelIo(IoCancellation* cancellation)
{
    const std::lock_guard guard(cancellation->mutex);
    if (!cancellation->waiting)
        return false;
    cancellation->cancelled = true;
    eventfd_write(cancellation->descriptor, 1);
    return true;
}

IoWait WaitForIo(
    int descriptor, short events, int wakeDescriptor, std::optional<Clock::time_point> deadline)
{
    const WaitMark mark(currentCancellation);
    // poll(2) passes over negative descriptors.
    std::array<pollfd, 3> polled{pollfd{descriptor, events, 0}, pollfd{wakeDescriptor, POLLIN, 0},
        pollfd{currentCancellation == nullptr ? -1 : currentCancellation->descriptor, POLLIN, 0}};
    for (;;) {
        const int ready = poll(polled.data(), polled.size(), PollTimeout(deadline));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready == 0 && deadline && Clock::now() < *deadline) // beyond the longest timeout
            continue;
        if (ready == 0)
            return IoWait::TIMED_OUT;
        if (polled[2].revents != 0)
            return IoWait::CANCELLED;
        return polled[1].revents != 0 ? IoWait::WOKEN : IoWait::READY;
    }
}

} // namespace korvex::platform
