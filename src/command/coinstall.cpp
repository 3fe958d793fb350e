#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "command/subcommands.h"
#include "drivers/touch_driver.h"
#include "korvex/korvex.h"
#include "machine/machine_setup.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/device_tree.h"
#include "platform/linux/devices/registry.h"
#include "platform/linux/machine.h"
#include "platform/win32.h"
#include "process/exit_codes.h"
#include "process/message.h"
#include "process/options.h"

namespace korvex::command {

namespace {

// The device that the calls are about, in a set of its own.
struct Device {
    DEVINST node;
    HDEVINFO devices;
    SP_DEVINFO_DATA element;
    std::shared_ptr<drivers::TouchDevice> driver; // null for one that was there already
};

// Takes the device of the machine with this instance ID; if there is none, a touch device may be
// plugged in, whose hardware ID is the part before the last "\". False when there is none.
bool OpenDeviceOf(const std::u16string& instanceId, bool mayPlugIn, Device* device)
{
    if (platform::FindNode(instanceId) == 0 && !mayPlugIn)
        return false;
    if (platform::FindNode(instanceId) == 0)
        device->driver
            = drivers::AddTouchDevice(instanceId, {instanceId.substr(0, instanceId.rfind(u'\\'))});
    device->node = platform::FindNode(instanceId);
    device->devices = SetupDiGetClassDevsW(
        nullptr, instanceId.c_str(), nullptr, DIGCF_ALLCLASSES | DIGCF_PRESENT);
    device->element.cbSize = sizeof(device->element);
    return SetupDiOpenDeviceInfoW(device->devices, instanceId.c_str(), nullptr,
               DIOD_INHERIT_CLASSDRVS, &device->element)
        != FALSE;
}

DWORD CallCoInstaller(DI_FUNCTION function, bool postProcessing, Device* device)
{
    COINSTALLER_CONTEXT_DATA context{};
    context.PostProcessing = postProcessing ? TRUE : FALSE;
    const DWORD result = kxCoInstaller(function, device->devices, &device->element, &context);
    printf("%s pass: result 0x%X\n", postProcessing ? "second" : "first", result);
    return result;
}

// As the device installer goes about it: the second pass is called where the first one has asked
// for it.
void Call(DI_FUNCTION function, Device* device)
{
    if (CallCoInstaller(function, false, device) == ERROR_DI_POSTPROCESSING_REQUIRED)
        CallCoInstaller(function, true, device);
}

} // namespace

int RunCoinstall(const Options* options)
{
    const std::string& what = options->arguments[0];
    Device device{};
    if (!OpenDeviceOf(platform::FromUtf8(options->instance), what == "install", &device)) {
        Error("there is no device '" + options->instance + "'");
        return EXIT_FAULT;
    }
    std::vector<std::pair<DEVINST, std::u16string>> children;
    for (const DEVINST child : platform::ChildrenOf(device.node))
        children.emplace_back(child, platform::InstanceIdOf(child));

    std::vector<std::string> written;
    platform::ThisMachine()->handlers.registryWritten
        = [&written](std::string_view line) { written.emplace_back(line); };
    Call(what == "install" ? DIF_INSTALLDEVICE : DIF_REMOVE, &device);
    platform::ThisMachine()->handlers.registryWritten = nullptr;

    for (const std::string& line : written)
        printf("registry: %s\n", line.c_str());
    for (const auto& [node, instanceId] : children) {
        if (platform::InstanceIdOf(node).empty())
            printf("removed: %s\n", platform::ToUtf8(instanceId).c_str());
    }
    if (device.driver != nullptr && !device.driver->reportModes.empty())
        printf("driver: report mode %u\n", device.driver->reportModes.back());
    if ((platform::InstallFlagsOf(device.node) & DI_NEEDREBOOT) != 0)
        puts("system: asked for a restart");
    SetupDiDestroyDeviceInfoList(device.devices);
    return EXIT_DONE;
}

} // namespace korvex::command
