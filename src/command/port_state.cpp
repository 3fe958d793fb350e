#include "command/port_state.h"

#include <array>
#include <cstdio>

#include "discovery/device_nodes.h"
#include "discovery/model_table.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/device_tree.h"
#include "support/owned.h"

namespace korvex::command {

namespace {

PortState StateOf(DEVINST port)
{
    SP_DEVINFO_DATA element{};
    element.cbSize = sizeof(element);
    element.DevInst = port;
    const OwnedDevices devices(
        SetupDiGetClassDevsW(nullptr, platform::InstanceIdOf(port).c_str(), nullptr, DIGCF_ALLCLASSES | DIGCF_PRESENT));
    PortName name{};
    ReadPortName(devices.value, &element, &name);
    const std::u16string child = platform::InstanceIdOf(FirstChild(port));
    return {port, platform::ToUtf8(name.data()), platform::NativePathOf(port), platform::ToUtf8(child), ModelFromHardwareId(child.c_str()),
        IsEnumeratorBound(devices.value, &element)};
}

} // namespace

std::vector<PortState> AllPorts()
{
    std::vector<PortState> ports;
    for (const DEVINST node : platform::ChildrenOf(0)) {
        if (!platform::NativePathOf(node).empty())
            ports.push_back(StateOf(node));
    }
    return ports;
}

std::string PathOfPort(const Options* options, const std::string& port)
{
    for (const GivenPort& given : options->ports) {
        if (given.name == port)
            return given.path;
    }
    for (const PortState& known : AllPorts()) {
        if (known.name == port)
            return known.path;
    }
    return port;
}

std::string ModelText(uint32_t model)
{
    std::array<char, 12> text{};
    snprintf(text.data(), text.size(), "%X", model);
    return model == 0 ? "" : text.data();
}

} // namespace korvex::command
