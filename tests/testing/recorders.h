// Recorders of what the library sends out: pointer input and debugger texts.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/machine.h"
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

inline std::ostream& operator<<(std::ostream& stream, const SentInput& input)
{
    return stream << "(" << input.dx << ", " << input.dy << ", flags " << std::hex << input.flags
                  << std::dec << (input.more ? ", more" : "") << ")";
}

// Takes the machine's pointer input while it lives.
struct InputRecorder {
    InputRecorder()
    {
        platform::ThisMachine()->pointer.send = [this](const INPUT* input) {
            const std::lock_guard guard(mutex);
            const bool more = input->type != INPUT_MOUSE || input->mi.mouseData != 0
                || input->mi.time != 0 || input->mi.dwExtraInfo != 0;
            inputs.push_back({input->mi.dx, input->mi.dy, input->mi.dwFlags, more});
            changed.notify_all();
            return true;
        };
    }
    ~InputRecorder() { platform::ThisMachine()->pointer.send = nullptr; }

    // The inputs so far, after waiting for `count` of them (10 s at most).
    std::vector<SentInput> WaitFor(size_t count)
    {
        std::unique_lock lock(mutex);
        changed.wait_for(lock, std::chrono::seconds(10), [&] { return inputs.size() >= count; });
        return inputs;
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<SentInput> inputs;
};

// Takes the machine's debugger texts while it lives.
struct TraceRecorder {
    TraceRecorder()
    {
        platform::ThisMachine()->trace
            = [this](std::string_view text) { texts.emplace_back(text); };
    }
    ~TraceRecorder() { platform::ThisMachine()->trace = nullptr; }
    TraceRecorder(const TraceRecorder&) = delete;
    TraceRecorder& operator=(const TraceRecorder&) = delete;

    std::vector<std::string> texts; // by the thread that records; read them after it has ended
};

} // namespace korvex::testing
