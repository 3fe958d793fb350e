#include "platform/linux/core/debug_output.h"

#include <unistd.h>

#include <mutex>
#include <string>

#include "platform/linux/core/descriptors.h"
#include "platform/linux/core/text.h"
#include "platform/linux/machine.h"

namespace {

std::mutex outputLock;

} // namespace

void OutputDebugStringW(const WCHAR* text)
{
    const std::string bytes = korvex::platform::ToUtf8(text);
    const std::lock_guard guard(outputLock);
    const korvex::platform::Machine* machine = korvex::platform::ThisMachine();
    if (machine->trace)
        machine->trace(bytes);
    else
        // a failure cannot be reported anywhere
        korvex::platform::WriteWhole(STDERR_FILENO, bytes);
}
