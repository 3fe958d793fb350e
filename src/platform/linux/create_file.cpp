#include "platform/linux/create_file.h"

#include <sys/stat.h>

#include <string>

#include "platform/linux/core/handle_objects.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/device_io.h"
#include "platform/linux/devices/device_tree.h"
#include "platform/linux/files/files.h"
#include "platform/linux/machine.h"
#include "platform/linux/serial/serial_port.h"

namespace korvex::platform {

namespace {

bool IsCharacterDevice(const std::string& path)
{
    struct stat status{};
    return stat(path.c_str(), &status) == 0 && S_ISCHR(status.st_mode);
}

HANDLE OpenTty(const std::string& path, DWORD shareMode)
{
    SerialPort* port = shareMode == 0 ? OpenSerialPort(path.c_str()) : nullptr;
    if (shareMode != 0)
        Fail(ERROR_INVALID_PARAMETER);
    return port == nullptr ? INVALID_HANDLE_VALUE : HandleOf(port);
}

HANDLE OpenPath(const std::string& path, DWORD access, DWORD shareMode)
{
    return IsCharacterDevice(path) ? OpenTty(path, shareMode)
                                   : OpenRegularFile(path, access, shareMode);
}

// Opens the tty of a port's interface, and notifies the machine when it cannot be opened.
HANDLE OpenPortOf(const InterfaceOptions* port, DWORD access, DWORD shareMode)
{
    HANDLE handle = OpenPath(port->nativePath, access, shareMode);
    const DWORD error = GetLastError();
    if (const auto& tell = ThisMachine()->observers.portRefused;
        handle == INVALID_HANDLE_VALUE && tell) {
        tell(port->nativePath, error);
        SetLastError(error);
    }
    return handle;
}

} // namespace

} // namespace korvex::platform

HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD shareMode, SECURITY_ATTRIBUTES* /*security*/,
    DWORD disposition, DWORD /*flags*/, HANDLE /*templateFile*/)
{
    if (disposition != OPEN_EXISTING) {
        korvex::platform::Fail(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    const auto* found = korvex::platform::FindInterface(path);
    if (found == nullptr)
        return korvex::platform::OpenPath(korvex::platform::ToNativePath(path), access, shareMode);
    return found->server != nullptr ? korvex::platform::OpenDevice(found->server)
                                    : korvex::platform::OpenPortOf(found, access, shareMode);
}
