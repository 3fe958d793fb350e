#include "testing/test_machine.h"

#include <filesystem>

#include "drivers/enumerator_filter.h"
#include "platform/linux/devices/registry.h"
#include "platform/linux/machine.h"

namespace korvex::testing {

namespace fs = std::filesystem;

TestMachine::TestMachine()
{
    platform::Machine* machine = platform::ThisMachine();
    machine->folders.state = (folder.path / "state").string();
    machine->folders.windows = (folder.path / "windows").string();
    fs::create_directory("state");
    platform::ClearDeviceTree();
    InstallEnumeratorService(true);
}

TestMachine::~TestMachine()
{
    platform::ClearDeviceTree();
    platform::ResetMachine();
}

void InstallEnumeratorService(bool withBinary)
{
    drivers::InstallEnumeratorService();
    if (!withBinary)
        fs::remove("windows/system32/drivers/KXSERENUM.sys");
}

Element::Element(DEVINST node)
    : devices(SetupDiGetClassDevsW(
          nullptr, platform::InstanceIdOf(node).c_str(), nullptr, DIGCF_ALLCLASSES | DIGCF_PRESENT))
    , data{sizeof(SP_DEVINFO_DATA), {}, node, 0}
{
}

Element::~Element()
{
    SetupDiDestroyDeviceInfoList(devices);
}

void WriteRegistryText(std::u16string_view path, const WCHAR* name, const std::u16string& text)
{
    HKEY key = platform::OpenRegistryPath(path);
    RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
        static_cast<DWORD>((text.size() + 1) * sizeof(WCHAR)));
    RegCloseKey(key);
}

int64_t RegistryNumber(std::u16string_view path, const WCHAR* name)
{
    HKEY key = platform::OpenRegistryPath(path);
    DWORD number = 0;
    DWORD type = 0;
    DWORD size = sizeof(number);
    const bool read
        = RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&number), &size)
            == ERROR_SUCCESS
        && type == REG_DWORD;
    RegCloseKey(key);
    return read ? int64_t{number} : -1;
}

std::u16string ParametersOf(std::u16string_view port)
{
    return u"HKLM\\SYSTEM\\CurrentControlSet\\Services\\KXSERENUM\\Parameters\\"
        + std::u16string(port);
}

} // namespace korvex::testing
