#include "platform/linux/pointer/pointer.h"

#include <chrono>
#include <memory>
#include <mutex>

#include "platform/linux/core/input_line.h"
#include "platform/linux/core/last_error.h"
#include "platform/linux/machine.h"
#include "platform/linux/pointer/right_hold.h"
#include "platform/linux/pointer/smoothing.h"

namespace {

using korvex::platform::HeldInputs;
using korvex::platform::HeldPress;
using korvex::platform::InputLine;
using korvex::platform::Machine;
using korvex::platform::SmoothedTouch;
using korvex::platform::ThisMachine;

std::mutex outputLock; // one output at a time, which may take long

// The touch on the line that the thread reads.
struct TouchOfThread {
    std::shared_ptr<const InputLine> line;
    SmoothedTouch smoothed;
    HeldPress held;
};

thread_local TouchOfThread touchOfThread{};

// Writes what becomes of an input by the machine's settings to `inputs` and returns how many to
// send.
size_t TreatInput(const Machine* machine, MOUSEINPUT input, HeldInputs* inputs)
{
    *inputs = {input};
    if (machine->touches.smoothing == nullptr && machine->touches.rightHold.count() == 0)
        return 1;
    TouchOfThread* touch = &touchOfThread;
    if (touch->line != korvex::platform::LineOfThread())
        *touch = {korvex::platform::LineOfThread(), {}, {}};
    const auto now = std::chrono::steady_clock::now();
    if (machine->touches.smoothing != nullptr
        && !SmoothInput(&touch->smoothed, *machine->touches.smoothing, &input, now))
        return 0;
    *inputs = {input};
    if (machine->touches.rightHold.count() == 0)
        return 1;
    return HoldForRight(&touch->held,
        {machine->touches.rightHold, machine->screen.width, machine->screen.height}, input, now,
        inputs);
}

bool Send(const Machine* machine, const INPUT* input)
{
    HeldInputs treated{};
    const size_t count = TreatInput(machine, input->mi, &treated);
    for (size_t i = 0; i < count; ++i) {
        INPUT next{};
        next.type = input->type;
        next.mi = treated[i];
        if (!machine->pointer.send || !machine->pointer.send(&next))
            return false;
    }
    return true;
}

} // namespace

UINT SendInput(UINT count, INPUT* inputs, int size)
{
    if (size != static_cast<int>(sizeof(INPUT))) {
        korvex::platform::Fail(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const std::lock_guard guard(outputLock);
    for (UINT i = 0; i < count; ++i) {
        if (!Send(ThisMachine(), &inputs[i])) {
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

void korvex::platform::AbandonTouch()
{
    if (touchOfThread.held.phase == HeldPress::Phase::KEPT)
        touchOfThread.held.phase = HeldPress::Phase::DONE;
}
