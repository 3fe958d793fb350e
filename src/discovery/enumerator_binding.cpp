#include "discovery/enumerator_binding.h"

#include <array>
#include <cstdlib>

#include "discovery/device_nodes.h"
#include "discovery/model_table.h"
#include "support/bounded_text.h"
#include "support/debug_trace.h"
#include "support/owned.h"

namespace korvex {

namespace {

constexpr int CHILD_ATTEMPTS = 3;
constexpr DWORD CHILD_WAIT_MS = 500;
constexpr DWORD INSTALLATION_WAIT_MS = 1000;
// For InstallHinfSectionW: 128, the INF's folder is the source path; 4, the user is asked before a
// restart.
constexpr int INSTALLATION_MODE = 132;

using Text = std::array<WCHAR, TEXT_CAPACITY>;

// Waits, or returns early when the stop event is set.
void Pause(HANDLE stopEvent, DWORD milliseconds)
{
    if (stopEvent == nullptr)
        Sleep(milliseconds);
    else
        WaitForSingleObject(stopEvent, milliseconds);
}

bool SetUpperFilter(HDEVINFO devices, SP_DEVINFO_DATA* element)
{
    // The list of one entry: its text, its terminator, the list's terminator.
    Text list{};
    size_t length = 0;
    CopyBounded(list.data(), list.size() - 1, ENUMERATOR_SERVICE);
    LengthBounded(list.data(), list.size(), &length);
    const auto size = static_cast<DWORD>((length + 2) * sizeof(WCHAR));
    return SetupDiSetDeviceRegistryPropertyW(devices, element, SPDRP_UPPERFILTERS,
               reinterpret_cast<const BYTE*>(list.data()), size)
        != FALSE;
}

void AwaitChild(TouchController* controller, DEVINST port)
{
    DEVINST child = 0;
    for (int attempt = 0; attempt < CHILD_ATTEMPTS && child == 0 && !IsStopRequested(controller);
        ++attempt) {
        child = FirstChild(port);
        if (child == 0)
            Pause(controller->stopEvent, CHILD_WAIT_MS);
    }
    WCHAR* identifier = child == 0 ? nullptr : CopyDeviceId(child);
    if (identifier == nullptr)
        return;
    free(controller->deviceId);
    controller->deviceId = identifier;
    DebugTrace(TEXT("Get Child Device ID : %s\n"), identifier);
}

// The path of the service's binary; false when the service or its configuration cannot be read.
bool ReadBinaryPath(SC_HANDLE service, Text* path)
{
    DWORD size = 0;
    QueryServiceConfigW(service, nullptr, 0, &size);
    if (size == 0)
        return false;
    const OwnedMemory<QUERY_SERVICE_CONFIGW> configuration(
        static_cast<QUERY_SERVICE_CONFIGW*>(malloc(size)));
    if (configuration.value == nullptr
        || QueryServiceConfigW(service, configuration.value, size, &size) == FALSE)
        return false;
    Text windows{};
    GetWindowsDirectoryW(windows.data(), static_cast<UINT>(windows.size()));
    FormatBounded(path->data(), path->size(), TEXT("\\\\?\\%s\\%s"), windows.data(),
        configuration.value->lpBinaryPathName);
    return true;
}

// Creates or opens a key below `parent`; null when that fails, or `parent` is null.
HKEY OpenKey(HKEY parent, const WCHAR* name)
{
    if (parent == nullptr)
        return nullptr;
    HKEY key = nullptr;
    const LONG result = RegCreateKeyExW(
        parent, name, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &key, nullptr);
    return result == ERROR_SUCCESS ? key : nullptr;
}

void SetNumber(HKEY key, const WCHAR* name, DWORD number)
{
    RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof(number));
}

} // namespace

void BindEnumerator(TouchController* controller, HDEVINFO devices, SP_DEVINFO_DATA* element)
{
    if (!InstallEnumerator(ENUMERATOR_SERVICE, controller->stopEvent))
        return;
    if (!SetUpperFilter(devices, element))
        return;
    PortName name{};
    if (ReadPortName(devices, element, &name))
        WriteEnumeratorParameters(controller, &name, 1);
    controller->rebootRequired = RestartDevice(devices, element) ? 1 : 0;
    if (controller->rebootRequired != 0) {
        DebugTrace(TEXT("System Restart is required !!\n"));
        return;
    }
    AwaitChild(controller, element->DevInst);
}

bool InstallEnumerator(const WCHAR* service, HANDLE stopEvent)
{
    if (IsServiceBinaryPresent(service)) {
        OutputDebugStringW(TEXT("\nEnum Driver has already been installed !\n"));
        return true;
    }
    Text file{};
    Text path{};
    Text command{};
    FormatBounded(file.data(), file.size(), TEXT("%s.inf"), service);
    if (GetFullPathNameW(file.data(), static_cast<DWORD>(path.size()), path.data(), nullptr)
        >= path.size())
        path[0] = 0;
    FormatBounded(command.data(), command.size(), TEXT("DefaultInstall %d %s"), INSTALLATION_MODE,
        path.data());
    OutputDebugStringW(TEXT("Installing Enum Driver !"));
    OutputDebugStringW(path.data());
    OutputDebugStringW(TEXT("\n"));
    InstallHinfSectionW(nullptr, nullptr, command.data(), 0);
    Pause(stopEvent, INSTALLATION_WAIT_MS);
    return IsServiceBinaryPresent(service);
}

bool IsServiceBinaryPresent(const WCHAR* service)
{
    const OwnedService handle(OpenServiceByName(service, SERVICE_QUERY_CONFIG));
    Text path{};
    if (handle.value == nullptr || !ReadBinaryPath(handle.value, &path))
        return false;
    const OwnedHandle file(CreateFileW(path.data(), FILE_READ_ATTRIBUTES, 0, nullptr, OPEN_EXISTING,
        FILE_ATTRIBUTE_NORMAL, nullptr));
    return IsOpen(file.value);
}

void WriteEnumeratorParameters(
    const TouchController* controller, const PortName* port, uint32_t alwaysExist)
{
    Text path{};
    FormatBounded(path.data(), path.size(), TEXT("SYSTEM\\CurrentControlSet\\Services\\%s"),
        ENUMERATOR_SERVICE);
    const OwnedKey service(OpenKey(HKEY_LOCAL_MACHINE, path.data()));
    const OwnedKey parameters(OpenKey(service.value, TEXT("Parameters")));
    const OwnedKey key(OpenKey(parameters.value, port->data()));
    if (key.value == nullptr)
        return;
    SetNumber(key.value, TEXT("AlwaysExist"), alwaysExist);
    if (alwaysExist == 1 && controller != nullptr && controller->model != 0)
        SetNumber(key.value, TEXT("Model"), controller->model);
    if (alwaysExist == 1 && controller != nullptr && controller->link.baudRate != 0)
        SetNumber(key.value, TEXT("BaudRate"), controller->link.baudRate);
}

} // namespace korvex
