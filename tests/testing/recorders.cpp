#include "testing/recorders.h"

#include <string_view>

#include "platform/linux/machine.h"

namespace korvex::testing {

std::ostream& operator<<(std::ostream& stream, const SentInput& input)
{
    return stream << "(" << input.dx << ", " << input.dy << ", flags " << std::hex << input.flags
                  << std::dec << (input.more ? ", more" : "") << ")";
}

InputRecorder::InputRecorder()
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

InputRecorder::~InputRecorder()
{
    platform::ThisMachine()->pointer.send = nullptr;
}

std::vector<SentInput> InputRecorder::WaitFor(size_t count)
{
    std::unique_lock lock(mutex);
    changed.wait_for(lock, std::chrono::seconds(10), [&] { return inputs.size() >= count; });
    return inputs;
}

TraceRecorder::TraceRecorder()
{
    platform::ThisMachine()->trace = [this](std::string_view text) { texts.emplace_back(text); };
}

TraceRecorder::~TraceRecorder()
{
    platform::ThisMachine()->trace = nullptr;
}

} // namespace korvex::testing
