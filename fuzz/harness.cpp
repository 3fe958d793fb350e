#include "harness.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>

#include "platform/linux/machine.h"
#include "platform/linux/serial/serial_port.h"

namespace korvex::fuzz {

FuzzLine::FuzzLine(Input* input) : controller(CreateController()), farEnd(-1)
{
    constexpr std::array<uint32_t, 5> MODELS{MODEL_5200, MODEL_7700, MODEL_5460, MODEL_2400, 0};
    constexpr size_t LINE_LIMIT = 8192; // bytes that a socket takes without a reader
    const auto choice = input->Take<uint8_t>();
    controller->model = MODELS[choice % MODELS.size()];
    controller->reportLength = controller->model == MODEL_7700 ? 5 : 6;
    controller->resolutionBits = (choice & 0x80) != 0 ? 12 : 10;
    controller->running = 1;

    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
        abort();
    farEnd = ends[1];
    const size_t length = std::min(input->size, LINE_LIMIT);
    if (length > 0 && write(farEnd, input->bytes, length) != static_cast<ssize_t>(length))
        abort();
    shutdown(farEnd, SHUT_WR);
    platform::SerialPort* port = platform::AdoptSerialDescriptor(ends[0]);
    controller->link = {LINK_SERIAL, static_cast<platform::HandleObject*>(port), 1, 10, 19200};
}

FuzzLine::~FuzzLine()
{
    ReleaseController(controller);
    close(farEnd);
}

void SilenceMachine()
{
    platform::Machine* machine = platform::ThisMachine();
    machine->traceOutput = [](std::string_view) {};
    machine->pointerOutput = [](const INPUT&) { return true; };
}

} // namespace korvex::fuzz
