#include "process/output.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>

#include "process/end_request.h"

namespace korvex::command {

bool WriteOutput(std::string_view text)
{
    while (!text.empty()) {
        std::array<pollfd, 2> polled{
            pollfd{STDOUT_FILENO, POLLOUT, 0}, pollfd{EndDescriptor(), POLLIN, 0}};
        if (poll(polled.data(), polled.size(), -1) < 0 && errno != EINTR)
            return false;
        if (polled[1].revents != 0)
            return false;
        if (polled[0].revents == 0)
            continue;
        // So much a pipe that is ready takes without blocking.
        const ssize_t written
            = write(STDOUT_FILENO, text.data(), std::min<size_t>(text.size(), PIPE_BUF));
        if (written < 0 && errno != EINTR && errno != EAGAIN)
            return false;
        text.remove_prefix(static_cast<size_t>(std::max<ssize_t>(written, 0)));
    }
    return true;
}

} // namespace korvex::command
