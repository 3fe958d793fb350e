#include "platform/linux/devices/device_io.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "platform/linux/core/handle_objects.h"
#include "platform/linux/devices/device_tree.h"

namespace korvex::platform {

namespace {

struct DeviceObject : HandleObject {
    std::shared_ptr<DeviceServer> server;
};

} // namespace

HANDLE OpenDevice(const std::shared_ptr<DeviceServer>& server)
{
    if (!server->canOpen()) {
        SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    }
    auto* device = new DeviceObject;
    device->server = server;
    return HandleOf(device);
}

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
