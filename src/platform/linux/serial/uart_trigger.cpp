#include "platform/linux/serial/uart_trigger.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <fstream>

namespace korvex::platform {

namespace {

constexpr const char* EACH_BYTE = "1";

bool WriteSetting(const std::string& file, const std::string& value)
{
    std::ofstream setting(file, std::ios::in); // never creates it
    return static_cast<bool>(setting << value << std::flush);
}

} // namespace

UartTrigger LowerUartTrigger(int descriptor, const SystemRoots& roots)
{
    struct stat status{};
    if (fstat(descriptor, &status) != 0)
        return {};
    UartTrigger trigger;
    trigger.file = roots.sys + "/dev/char/" + std::to_string(major(status.st_rdev)) + ":"
        + std::to_string(minor(status.st_rdev)) + "/rx_trig_bytes";
    std::ifstream setting(trigger.file);
    const bool changed = setting >> trigger.before && trigger.before != EACH_BYTE
        && WriteSetting(trigger.file, EACH_BYTE);
    return changed ? trigger : UartTrigger{};
}

void RestoreUartTrigger(const UartTrigger* trigger)
{
    if (!trigger->file.empty())
        WriteSetting(trigger->file, trigger->before);
}

} // namespace korvex::platform
