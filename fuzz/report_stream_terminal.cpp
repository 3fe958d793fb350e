// The same as report_stream on the whole way: through a pseudo-terminal, in pieces, with the port
// opened by its path.

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "harness.h"
#include "platform/linux/serial/serial_port.h"
#include "reports.h"

using namespace korvex; // NOLINT(google-build-using-namespace): a program of one routine

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    constexpr size_t PIECE = 64;
    fuzz::SilenceMachine();
    fuzz::Input input{bytes, size};
    TouchController* controller = fuzz::TakeController(&input);
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal < 0 || grantpt(terminal) != 0 || unlockpt(terminal) != 0)
        abort();
    platform::SerialPort* port = platform::OpenSerialPort(ptsname(terminal));
    if (port == nullptr)
        abort();
    controller->link = {LINK_SERIAL, static_cast<platform::HandleObject*>(port), 1, 1, 19200};
    while (input.size > 0) {
        const size_t count = std::min(input.size, PIECE);
        if (write(terminal, input.bytes, count) != static_cast<ssize_t>(count))
            abort();
        input.bytes += count;
        input.size -= count;
        do
            fuzz::TakeReport(controller);
        while (!IsQueueEmpty(port));
    }
    ReleaseController(controller);
    close(terminal);
    return 0;
}
