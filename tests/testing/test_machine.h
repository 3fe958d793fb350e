// A machine of the test's own: an empty device tree, and a state folder with the enumerator's
// service in it.
#pragma once

#include <filesystem>
#include <string>

#include "drivers/enumerator_filter.h"
#include "platform/linux/devices/device_tree.h"
#include "platform/linux/devices/port_nodes.h"
#include "platform/linux/devices/registry.h"
#include "platform/linux/machine.h"
#include "platform/win32.h"
#include "testing/temporary_folder.h"

namespace korvex::testing {

// Registers the enumerator's service, with its binary or without.
inline void InstallEnumeratorService(bool withBinary)
{
    drivers::InstallEnumeratorService();
    if (!withBinary)
        std::filesystem::remove("windows/system32/drivers/KXSERENUM.sys");
}

struct TestMachine {
    TemporaryFolder folder; // current, with the state folder "state" in it

    TestMachine()
    {
        platform::Machine* machine = platform::ThisMachine();
        machine->folders.state = (folder.path / "state").string();
        machine->folders.windows = (folder.path / "windows").string();
        std::filesystem::create_directory("state");
        platform::ClearDeviceTree();
        InstallEnumeratorService(true);
    }
    ~TestMachine()
    {
        platform::ClearDeviceTree();
        platform::ResetMachine();
    }
};

// A device's element in a set, as the library's routines take it.
struct Element {
    HDEVINFO devices;
    SP_DEVINFO_DATA data;

    explicit Element(DEVINST node)
        : devices(SetupDiGetClassDevsW(nullptr, platform::InstanceIdOf(node).c_str(), nullptr,
              DIGCF_ALLCLASSES | DIGCF_PRESENT))
        , data{sizeof(SP_DEVINFO_DATA), {}, node, 0}
    {
    }
    ~Element() { SetupDiDestroyDeviceInfoList(devices); }
    Element(const Element&) = delete;
    Element& operator=(const Element&) = delete;
};

// A number in the registry, by the whole path of its key; -1 when there is none.
inline int64_t RegistryNumber(std::u16string_view path, const WCHAR* name)
{
    HKEY key = platform::OpenRegistryPath(path);
    DWORD number = 0;
    DWORD type = 0;
    DWORD size = sizeof(number);
    const LONG result
        = RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&number), &size);
    RegCloseKey(key);
    return result == ERROR_SUCCESS && type == REG_DWORD ? int64_t{number} : -1;
}

inline void WriteRegistryText(
    std::u16string_view path, const WCHAR* name, const std::u16string& text)
{
    HKEY key = platform::OpenRegistryPath(path);
    RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
        static_cast<DWORD>((text.size() + 1) * sizeof(WCHAR)));
    RegCloseKey(key);
}

// The registry key of the enumerator's parameters of a port.
inline std::u16string ParametersOf(std::u16string_view port)
{
    return u"HKLM\\SYSTEM\\CurrentControlSet\\Services\\KXSERENUM\\Parameters\\"
        + std::u16string(port);
}

} // namespace korvex::testing
