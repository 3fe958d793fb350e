#include "platform/linux/pointer/pointer.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <mutex>

#include "platform/linux/core/handles.h"
#include "platform/linux/machine.h"

namespace {

using korvex::platform::Machine;
using korvex::platform::PixelOf;
using korvex::platform::ThisMachine;

std::mutex outputLock; // one output at a time, which may take long

// Where a logged pointer is, under a lock of its own: a reader of the log that has stalled must not hold up who asks.
std::mutex positionLock;
POINT loggedPosition{0, 0};

bool LogInput(int descriptor, const INPUT& input)
{
    if ((input.mi.dwFlags & MOUSEEVENTF_MOVE) != 0) {
        const Machine* machine = ThisMachine();
        const std::lock_guard guard(positionLock);
        loggedPosition = {PixelOf(input.mi.dx, machine->screenWidth), PixelOf(input.mi.dy, machine->screenHeight)};
    }
    std::array<char, 80> line{};
    const int length
        = snprintf(line.data(), line.size(), "{\"dx\":%d,\"dy\":%d,\"flags\":%u}\n", input.mi.dx, input.mi.dy, input.mi.dwFlags);
    return write(descriptor, line.data(), static_cast<size_t>(length)) == length;
}

} // namespace

UINT SendInput(UINT count, INPUT* inputs, int size)
{
    if (size != static_cast<int>(sizeof(INPUT))) {
        korvex::platform::Fail(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const std::lock_guard guard(outputLock);
    const Machine* machine = ThisMachine();
    for (UINT i = 0; i < count; ++i) {
        if (!machine->pointerOutput || !machine->pointerOutput(inputs[i])) {
            korvex::platform::Fail(ERROR_GEN_FAILURE);
            return i;
        }
    }
    return count;
}

BOOL GetCursorPos(POINT* point)
{
    const Machine* machine = ThisMachine();
    return machine->pointerPosition && machine->pointerPosition(point) ? TRUE : korvex::platform::Fail(ERROR_GEN_FAILURE);
}

int GetSystemMetrics(int index)
{
    if (index == SM_CXSCREEN)
        return ThisMachine()->screenWidth;
    if (index == SM_CYSCREEN)
        return ThisMachine()->screenHeight;
    return index == SM_TABLETPC && ThisMachine()->isTabletPc ? 1 : 0;
}

LONG korvex::platform::PixelOf(LONG coordinate, int size)
{
    const int64_t pixel = static_cast<int64_t>(coordinate) * size / 65536;
    return static_cast<LONG>(std::clamp<int64_t>(pixel, 0, std::max(size - 1, 0)));
}

void korvex::platform::UseLoggedPointer(Machine* machine, int descriptor)
{
    machine->pointerOutput = [descriptor](const INPUT& input) { return LogInput(descriptor, input); };
    machine->pointerPosition = [](POINT* position) {
        const std::lock_guard guard(positionLock);
        *position = loggedPosition;
        return true;
    };
}
