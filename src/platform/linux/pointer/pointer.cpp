#include "platform/linux/pointer/pointer.h"

#include <mutex>

#include "platform/linux/core/last_error.h"
#include "platform/linux/machine.h"

namespace {

using korvex::platform::Machine;
using korvex::platform::ThisMachine;

std::mutex outputLock; // one output at a time, which may take long

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
        if (!machine->pointer.send || !machine->pointer.send(&inputs[i])) {
            korvex::platform::Fail(ERROR_GEN_FAILURE);
            return i;
        }
    }
    return count;
}

BOOL GetCursorPos(POINT* point)
{
    const Machine* machine = ThisMachine();
    return machine->pointer.position && machine->pointer.position(point)
        ? TRUE
        : korvex::platform::Fail(ERROR_GEN_FAILURE);
}
