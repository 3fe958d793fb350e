// Any registry.ini and, after a zero byte, any devices.ini in the state folder: both are read, and
// what is written then is found again.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "harness.h"
#include "platform/linux/devices/device_tree.h"
#include "platform/linux/devices/port_nodes.h"
#include "platform/linux/devices/registry_store.h"
#include "platform/linux/machine.h"
#include "settings.h"

using namespace korvex; // NOLINT(google-build-using-namespace): a program of one routine

namespace {

void Write(const char* name, std::string_view content)
{
    std::ofstream(name).write(content.data(), static_cast<std::streamsize>(content.size()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    constexpr const char16_t* KEY = u"HKLM\\SYSTEM\\CurrentControlSet\\Services\\a";
    fuzz::SilenceMachine();
    const fuzz::InOwnFolder folder;
    platform::ThisMachine()->folders.state = std::filesystem::current_path();
    const std::string_view input(reinterpret_cast<const char*>(bytes), size);
    const size_t end = input.find('\0');
    std::filesystem::remove("registry.ini");
    Write("registry.ini", input.substr(0, end));
    Write("devices.ini", end == std::string_view::npos ? "" : input.substr(end + 1));
    platform::ReadRegistryText(KEY, u"ImagePath");
    const DEVINST port = platform::AddSerialPort(u"COM3", "/dev/nowhere", "p");
    platform::PresentChild(port, u"SERENUM\\KVX5200\\COM3");
    if (platform::WriteRegistryText(KEY, u"ImagePath", u"system32\\a.sys")
        && platform::ReadRegistryText(KEY, u"ImagePath") != u"system32\\a.sys")
        abort();
    platform::ClearDeviceTree();
    return 0;
}
