#include "platform/linux/core/system.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/linux/core/handles.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/registry.h"
#include "platform/linux/devices/registry_keys.h"
#include "platform/linux/machine.h"

struct SC_HANDLE__ {
    std::u16string binaryPath; // empty for the manager itself
};

namespace {

std::u16string ImagePath(std::u16string_view service)
{
    return korvex::platform::ReadRegistryText(korvex::platform::ServiceKeyPath(service), u"ImagePath");
}

} // namespace

BOOL GetVersionExW(OSVERSIONINFOW* version)
{
    if (version->dwOSVersionInfoSize < sizeof(*version))
        return korvex::platform::Fail(ERROR_INVALID_PARAMETER);
    const korvex::platform::Machine* machine = korvex::platform::ThisMachine();
    version->dwMajorVersion = machine->osMajor;
    version->dwMinorVersion = machine->osMinor;
    version->dwBuildNumber = 0;
    version->dwPlatformId = 2; // VER_PLATFORM_WIN32_NT
    version->szCSDVersion[0] = 0;
    if (version->dwOSVersionInfoSize >= sizeof(OSVERSIONINFOEXW))
        reinterpret_cast<OSVERSIONINFOEXW*>(version)->wProductType = machine->isServer ? VER_NT_SERVER : VER_NT_WORKSTATION;
    return TRUE;
}

int CompareStringW(LCID locale, DWORD flags, LPCWSTR first, int firstLength, LPCWSTR second, int secondLength)
{
    const korvex::platform::Machine* machine = korvex::platform::ThisMachine();
    const bool windows2000 = machine->osMajor == 5 && machine->osMinor == 0;
    if (first == nullptr || second == nullptr || (windows2000 && locale == LOCALE_INVARIANT)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const auto textOf = [flags](LPCWSTR text, int length) {
        const std::u16string_view whole = length < 0 ? std::u16string_view(text) : std::u16string_view(text, static_cast<size_t>(length));
        return (flags & NORM_IGNORECASE) != 0 ? korvex::platform::FoldCase(whole) : std::u16string(whole);
    };
    const int order = textOf(first, firstLength).compare(textOf(second, secondLength));
    if (order == 0)
        return CSTR_EQUAL;
    return order < 0 ? CSTR_LESS_THAN : CSTR_GREATER_THAN;
}

UINT GetWindowsDirectoryW(LPWSTR buffer, UINT capacity)
{
    const std::u16string folder = korvex::platform::FromNativePath(korvex::platform::ThisMachine()->windowsFolder);
    if (folder.size() >= capacity)
        return static_cast<UINT>(folder.size() + 1);
    std::copy_n(folder.c_str(), folder.size() + 1, buffer);
    return static_cast<UINT>(folder.size());
}

SC_HANDLE OpenSCManagerW(LPCWSTR /*machine*/, LPCWSTR /*database*/, DWORD /*access*/)
{
    if (korvex::platform::ThisMachine()->serviceManagerLocked) {
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

BOOL QueryServiceConfigW(SC_HANDLE service, QUERY_SERVICE_CONFIGW* configuration, DWORD size, DWORD* required)
{
    const size_t pathBytes = (service->binaryPath.size() + 1) * sizeof(WCHAR);
    *required = static_cast<DWORD>(sizeof(*configuration) + pathBytes);
    if (configuration == nullptr || size < *required)
        return korvex::platform::Fail(ERROR_INSUFFICIENT_BUFFER);
    *configuration = {};
    configuration->lpBinaryPathName = reinterpret_cast<LPWSTR>(configuration + 1);
    memcpy(configuration->lpBinaryPathName, service->binaryPath.c_str(), pathBytes);
    return TRUE;
}

BOOL CloseServiceHandle(SC_HANDLE handle)
{
    delete handle;
    return TRUE;
}
