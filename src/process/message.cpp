#include "process/message.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <mutex>

#include "platform/linux/core/text.h"
#include "process/service_manager.h"
#include "process/text_layout.h"

namespace korvex::command {

std::string PriorityPrefix(Priority priority)
{
    static const bool isJournal = IsStandardErrorJournal();
    return isJournal ? "<" + std::to_string(static_cast<int>(priority)) + ">" : "";
}

void Tell(Priority priority, const std::string& line)
{
    std::string text = PriorityPrefix(priority) + line;
    // so much goes whole and without a wait into a pipe that is ready
    text.resize(std::min<size_t>(text.size(), PIPE_BUF - 1));
    text += '\n';
    static std::mutex mutex;
    const std::lock_guard guard(mutex); // two lines together may be more than what it is ready for
    pollfd output{STDERR_FILENO, POLLOUT, 0};
    if (poll(&output, 1, 0) > 0 && (output.revents & POLLOUT) != 0
        && write(STDERR_FILENO, text.data(), text.size()) < 0)
        return; // nobody is left to be told
}

void TellInBox(const Options* options, const std::string& text, const WCHAR* title)
{
    constexpr size_t BOX_COLUMNS = 60;
    fprintf(stderr, "%s: %s\n", options->command.c_str(), text.c_str());
    if (options->windows != "none")
        MessageBoxW(nullptr, platform::FromUtf8(Wrapped(text, BOX_COLUMNS)).c_str(), title, MB_OK);
}

} // namespace korvex::command
