#include "platform/linux/pointer/pointer_log.h"

#include <poll.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <mutex>
#include <string_view>

#include "platform/linux/core/descriptors.h"
#include "platform/linux/machine.h"
#include "platform/linux/pointer/pixels.h"

namespace korvex::platform {

namespace {

// The position of a logged pointer, under a lock of its own: a stalled reader of the log must not
// delay a caller that asks for it.
std::mutex positionLock;
POINT loggedPosition{0, 0};

std::atomic<bool> broken{false};

// Whether the log takes a line now or later; false once the end has come first.
bool AwaitLog(const PointerSettings* settings)
{
    std::array<pollfd, 2> polled{
        pollfd{settings->descriptor, POLLOUT, 0}, pollfd{settings->endDescriptor, POLLIN, 0}};
    while (poll(polled.data(), polled.size(), -1) < 0 && errno == EINTR) { }
    return polled[0].revents != 0;
}

bool LogInput(const PointerSettings* settings, const INPUT* input)
{
    if ((input->mi.dwFlags & MOUSEEVENTF_MOVE) != 0) {
        const Machine* machine = ThisMachine();
        const std::lock_guard guard(positionLock);
        loggedPosition = {PixelOf(input->mi.dx, machine->screen.width),
            PixelOf(input->mi.dy, machine->screen.height)};
    }
    std::array<char, 80> line{};
    const int length = snprintf(line.data(), line.size(), "{\"dx\":%d,\"dy\":%d,\"flags\":%u}\n",
        input->mi.dx, input->mi.dy, input->mi.dwFlags);
    if (broken || !AwaitLog(settings))
        return false;
    // So little a pipe that is ready takes without blocking.
    broken = !WriteWhole(
        settings->descriptor, std::string_view(line.data(), static_cast<size_t>(length)));
    return !broken;
}

} // namespace

bool IsPointerLogBroken()
{
    return broken;
}

bool UseLoggedPointer(const PointerSettings& settings, std::string* /*reason*/)
{
    broken = false;
    ThisMachine()->pointer = {
        .send = [settings](const INPUT* input) { return LogInput(&settings, input); },
        .position =
            [](POINT* position) {
                const std::lock_guard guard(positionLock);
                *position = loggedPosition;
                return true;
            },
    };
    return true;
}

} // namespace korvex::platform
