#include "platform/linux/devices/services.h"

#include <cstring>
#include <string>
#include <string_view>

#include "platform/linux/core/last_error.h"
#include "platform/linux/devices/registry_store.h"
#include "platform/linux/machine.h"

struct SC_HANDLE__ {
    std::u16string binaryPath; // empty for the manager itself
};

namespace {

std::u16string ImagePath(std::u16string_view service)
{
    return korvex::platform::ReadRegistryText(
        korvex::platform::ServiceKeyPath(service), u"ImagePath");
}

} // namespace

SC_HANDLE OpenSCManagerW(LPCWSTR /*machine*/, LPCWSTR /*database*/, DWORD /*access*/)
{
    if (korvex::platform::ThisMachine()->tests.serviceManagerLocked) {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    return new SC_HANDLE__{};
}

SC_HANDLE OpenServiceW(SC_HANDLE /*manager*/, LPCWSTR name, DWORD /*access*/)
{
    const std::u16string path = ImagePath(name);
    if (path.empty()) {
        SetLastError(ERROR_SERVICE_DOES_NOT_EXIST);
        return nullptr;
    }
    return new SC_HANDLE__{path};
}

BOOL QueryServiceConfigW(
    SC_HANDLE service, QUERY_SERVICE_CONFIGW* configuration, DWORD size, DWORD* required)
{
    const size_t pathBytes = (service->binaryPath.size() + 1) * sizeof(WCHAR);
    *required = static_cast<DWORD>(sizeof(*configuration) + pathBytes);
    if (configuration == nullptr || size < *required)
        return korvex::platform::Fail(ERROR_INSUFFICIENT_BUFFER);
    configuration->lpBinaryPathName = reinterpret_cast<LPWSTR>(configuration + 1);
    memcpy(configuration->lpBinaryPathName, service->binaryPath.c_str(), pathBytes);
    return TRUE;
}

BOOL CloseServiceHandle(SC_HANDLE handle)
{
    delete handle;
    return TRUE;
}
