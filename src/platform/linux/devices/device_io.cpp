#include "platform/linux/devices/device_io.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "platform/linux/core/handle_objects.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/device_tree.h"
#include "platform/linux/files/files.h"
#include "platform/linux/files/openers.h"
#include "platform/linux/machine.h"

namespace korvex::platform {

namespace {

struct DeviceObject : HandleObject {
    static const HandleType TYPE;
    std::shared_ptr<DeviceServer> server;
};

void CloseDevice(HandleObject* object)
{
    delete static_cast<DeviceObject*>(object);
}

constexpr HandleType DeviceObject::TYPE{CloseDevice};

HANDLE OpenDevice(const std::shared_ptr<DeviceServer>& server)
{
    if (!server->canOpen()) {
        SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    }
    auto* device = new DeviceObject;
    device->type = &DeviceObject::TYPE;
    device->server = server;
    return HandleOf(device);
}

// Opens the tty of a port's interface, and tells the machine when it cannot be opened.
HANDLE OpenPortOf(const InterfaceOptions* port, const OpenRequest* request)
{
    HANDLE handle = CreateFileW(FromNativePath(port->nativePath).c_str(), request->access,
        request->shareMode, nullptr, OPEN_EXISTING, 0, nullptr);
    const DWORD error = GetLastError();
    if (const auto& tell = ThisMachine()->observers.portRefused;
        handle == INVALID_HANDLE_VALUE && tell) {
        tell(port->nativePath, error);
        SetLastError(error);
    }
    return handle;
}

// The opener of device interfaces.
std::optional<HANDLE> OpenInterface(const OpenRequest* request)
{
    const InterfaceOptions* found = FindInterface(request->path);
    if (found == nullptr)
        return std::nullopt;
    return found->server != nullptr ? OpenDevice(found->server) : OpenPortOf(found, request);
}

[[maybe_unused]] const bool registered = RegisterOpener(OpenInterface);

} // namespace

} // namespace korvex::platform

BOOL DeviceIoControl(HANDLE handle, DWORD code, const void* input, DWORD inputSize, void* output,
    DWORD outputSize, DWORD* returned, OVERLAPPED* /*overlapped*/)
{
    const auto* device = korvex::platform::ObjectAs<korvex::platform::DeviceObject>(handle);
    if (device == nullptr)
        return FALSE;
    const auto* bytes = static_cast<const BYTE*>(input);
    std::vector<BYTE> answer(outputSize);
    if (!device->server->control(code,
            inputSize == 0 ? std::vector<BYTE>{} : std::vector<BYTE>(bytes, bytes + inputSize),
            &answer))
        return korvex::platform::Fail(ERROR_INVALID_FUNCTION);
    *returned = static_cast<DWORD>(std::min<size_t>(answer.size(), outputSize));
    std::copy_n(answer.begin(), *returned, static_cast<BYTE*>(output));
    return TRUE;
}
