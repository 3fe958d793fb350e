// Which serial line a thread takes its input from, so that pointer input can go where the touch has
// come from.
#pragma once

#include <memory>
#include <string>

namespace korvex::platform {

// A line that is open. Its address distinguishes it from every other line that is, or that a thread
// has read last.
struct InputLine {
    std::string path; // under which it was opened: /dev/ttyUSB0, or a link to that
};

// Takes note that the calling thread reads the line.
void SetLineOfThread(const std::shared_ptr<const InputLine>& line);

// The line that the calling thread has read last; null when it has read none.
const std::shared_ptr<const InputLine>& LineOfThread();

} // namespace korvex::platform
