#include "platform/posix/debug_output.h"

#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/posix/machine.h"
#include "platform/posix/text.h"

namespace {

std::mutex outputLock;

void WriteText(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written < 0 && errno != EINTR)
            return; // nobody is left to be told
        text.remove_prefix(written < 0 ? 0 : static_cast<size_t>(written));
    }
}

} // namespace

void OutputDebugStringW(const WCHAR* text)
{
    const std::string bytes = korvex::platform::ToUtf8(text);
    const std::lock_guard guard(outputLock);
    const korvex::platform::Machine* machine = korvex::platform::ThisMachine();
    if (machine->traceOutput)
        machine->traceOutput(bytes);
    else
        WriteText(STDERR_FILENO, bytes);
}

void korvex::platform::UseTraceDescriptor(Machine* machine, int descriptor)
{
    machine->traceOutput = [descriptor](std::string_view text) { WriteText(descriptor, text); };
}
