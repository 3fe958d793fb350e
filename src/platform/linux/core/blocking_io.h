// The one place where a thread of this layer blocks on a descriptor, so that CancelSynchronousIo can end it.
#pragma once

#include <chrono>
#include <optional>

namespace korvex::platform {

using Clock = std::chrono::steady_clock;

enum class IoWait {
    READY,     // the descriptor has the events asked for, or has failed: the next system call on it tells
    TIMED_OUT, // the deadline has passed
    WOKEN,     // the wake descriptor became readable
    CANCELLED, // CancelSynchronousIo was called for this thread
};

// Waits until `descriptor` has one of the poll(2) `events`, or `deadline` (none: no limit), or `wakeDescriptor` (-1: none) is readable.
// One system call while nothing interrupts it.
IoWait WaitForIo(int descriptor, short events, int wakeDescriptor, std::optional<Clock::time_point> deadline);

} // namespace korvex::platform
