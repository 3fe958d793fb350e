// The one place where a thread of this layer blocks on a descriptor, so that it can be cancelled.
#pragma once

#include <chrono>
#include <mutex>
#include <optional>

namespace korvex::platform {

using Clock = std::chrono::steady_clock;

enum class IoWait {
    // the descriptor has the requested events, or has failed: the next system call on it shows
    // which
    READY,
    TIMED_OUT, // the deadline has passed
    WOKEN,     // the wake descriptor became readable
    CANCELLED, // CancelIo was called for this thread
};

// Ends the waits of one thread, for another thread.
struct IoCancellation {
    // an eventfd: readable once the pending wait must end; -1 when the system has refused it
    int descriptor = -1;

    std::mutex mutex; // guards the rest
    bool waiting = false;
    bool cancelled = false;

    IoCancellation();
    ~IoCancellation();
    IoCancellation(const IoCancellation&) = delete;
    IoCancellation& operator=(const IoCancellation&) = delete;
};

// Makes the calling thread's waits end through `cancellation`, which must live as long as they do;
// null: through nothing.
void UseCancellation(IoCancellation* cancellation);

// Ends the wait in which the thread is. False when it is in none: it may just be about to enter
// one.
bool CancelIo(IoCancellation* cancellation);

// Waits until `descriptor` (-1: none) has one of the poll(2) `events`, or `deadline` (none: no
// limit), or `wakeDescriptor` (-1: none) is readable. One system call while nothing interrupts it.
IoWait WaitForIo(
    int descriptor, short events, int wakeDescriptor, std::optional<Clock::time_point> deadline);

} // namespace korvex::platform
