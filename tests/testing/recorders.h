// What the library sends out, kept for a test to look at: pointer input and debugger texts.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "platform/win32.h"

namespace korvex::testing {

inline constexpr DWORD PRESS = 0x8003;
inline constexpr DWORD MOVE = 0x8001;
inline constexpr DWORD RELEASE = 0x8004;

struct SentInput {
    int dx;
    int dy;
    DWORD flags;
    bool more = false; // another field of the record is set, or it is no mouse input

    bool operator==(const SentInput&) const = default;
};
std::ostream& operator<<(std::ostream& stream, const SentInput& input);

// Takes the machine's pointer input while it lives.
struct InputRecorder {
    InputRecorder();
    ~InputRecorder();

    // The inputs so far, after waiting for `count` of them (10 s at most).
    std::vector<SentInput> WaitFor(size_t count);

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<SentInput> inputs;
};

// Takes the machine's debugger texts while it lives.
struct TraceRecorder {
    TraceRecorder();
    ~TraceRecorder();
    TraceRecorder(const TraceRecorder&) = delete;
    TraceRecorder& operator=(const TraceRecorder&) = delete;

    std::vector<std::string> texts; // by the thread that records; look at them after it has ended
};

} // namespace korvex::testing
