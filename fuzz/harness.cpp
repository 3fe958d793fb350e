#include "harness.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>

#include "platform/linux/machine.h"
#include "platform/linux/serial/serial_port.h"

namespace korvex::fuzz {

namespace {

// The port of every memory line. Its device is at its end from the start; what can be read is
// in the port's own queue.
platform::SerialPort* ThePort()
{
    static platform::SerialPort* const port = [] {
        platform::SerialPort* made
            = platform::AdoptSerialDescriptor(open("/dev/null", O_RDWR | O_CLOEXEC));
        if (made == nullptr)
            abort();
        return made;
    }();
    return port;
}

} // namespace

TouchController* TakeController(Input* input)
{
    constexpr std::array<uint32_t, 5> MODELS{MODEL_5200, MODEL_7700, MODEL_5460, MODEL_2400, 0};
    const auto choice = input->Take<uint8_t>();
    TouchController* controller = CreateController();
    controller->model = MODELS[choice % MODELS.size()];
    controller->reportLength = controller->model == MODEL_7700 ? 5 : 6;
    controller->resolutionBits = (choice & 0x80) != 0 ? 12 : 10;
    controller->running = 1;
    return controller;
}

MemoryLine::MemoryLine(TouchController* user) : controller(user)
{
    platform::SerialPort* port = ThePort();
    port->queueStart = port->queueEnd = 0;
    port->hangupPending = false;
    controller->link = {LINK_SERIAL, static_cast<platform::HandleObject*>(port), 1, 10, 19200};
}

MemoryLine::~MemoryLine()
{
    platform::ThisMachine()->handlers.lineBytes = nullptr;
    controller->link.handle = INVALID_HANDLE_VALUE; // the port stays for the next one
    ReleaseController(controller);
}

void Give(const MemoryLine* /*line*/, Input* input, size_t count)
{
    platform::SerialPort* port = ThePort();
    if (IsQueueEmpty(port))
        port->queueStart = port->queueEnd = 0;
    count = std::min({count, input->size, port->queue.size() - port->queueEnd});
    memcpy(port->queue.data() + port->queueEnd, input->bytes, count);
    port->queueEnd += count;
    input->bytes += count;
    input->size -= count;
}

void AnswerCommands(const MemoryLine* line, Input* input)
{
    constexpr uint8_t LONGEST_ANSWER = 31;
    platform::ThisMachine()->handlers.lineBytes
        = [line, input](platform::LineDirection direction, const uint8_t*, size_t) {
              if (direction == platform::LineDirection::SENT)
                  Give(line, input, input->Take<uint8_t>() & LONGEST_ANSWER);
          };
}

bool IsUsedUp(const MemoryLine* /*line*/)
{
    return IsQueueEmpty(ThePort());
}

void SilenceMachine()
{
    platform::Machine* machine = platform::ThisMachine();
    machine->trace = [](std::string_view) { };
    machine->pointer.send = [](const INPUT*) { return true; };
}

} // namespace korvex::fuzz
