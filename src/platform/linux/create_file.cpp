#include "platform/linux/create_file.h"

#include <filesystem>
#include <string>
#include <system_error>

#include "platform/linux/core/handle_objects.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/device_io.h"
#include "platform/linux/devices/device_tree.h"
#include "platform/linux/files/files.h"
#include "platform/linux/machine.h"
#include "platform/linux/serial/serial_port.h"

namespace korvex::platform {

namespace {

HANDLE OpenPath(const std::string& path, DWORD access, DWORD shareMode)
{
    std::error_code error;
    if (!std::filesystem::is_character_file(path, error))
        return OpenRegularFile(path, access);
    SerialPort* port = shareMode == 0 ? OpenSerialPort(path.c_str()) : nullptr;
    if (shareMode != 0)
        Fail(ERROR_INVALID_PARAMETER);
    return port == nullptr ? INVALID_HANDLE_VALUE : HandleOf(port);
}

// Opens the tty of a port's interface, and notifies the machine when it cannot be opened.
HANDLE OpenPortOf(const InterfaceOptions* port, DWORD access, DWORD shareMode)
{
    HANDLE handle = OpenPath(port->nativePath, access, shareMode);
    const DWORD error = GetLastError();
    if (const auto& tell = ThisMachine()->handlers.portRefused;
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
