#include "machine/port_state.h"

#include "cli/text_layout.h"
#include "discovery/device_nodes.h"
#include "discovery/enumerator_binding.h"
#include "discovery/model_table.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/device_tree.h"
#include "platform/linux/devices/port_nodes.h"
#include "platform/linux/serial/port_scan.h"
#include "process/shutdown.h"
#include "support/bounded_text.h"
#include "support/owned.h"

namespace korvex::command {

namespace {

PortState StateOf(DEVINST port)
{
    SP_DEVINFO_DATA element{};
    element.cbSize = sizeof(element);
    element.DevInst = port;
    const OwnedDevices devices(SetupDiGetClassDevsW(
        nullptr, platform::InstanceIdOf(port).c_str(), nullptr, DIGCF_ALLCLASSES | DIGCF_PRESENT));
    PortName name{};
    ReadPortName(devices.value, &element, &name);
    const std::u16string child = platform::InstanceIdOf(FirstChild(port));
    const std::string path = platform::NativePathOf(port);
    return {port, platform::ToUtf8(name.data()), path, platform::GivenPanelNameOf(path),
        platform::IsPortIgnored(path), platform::ToUtf8(child), ModelFromHardwareId(child.c_str()),
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

bool IsPanelPort(const Options* options, const PortState* port)
{
    return !options->givenPorts.empty() || port->bound || port->model != 0 || !port->panel.empty();
}

std::string ModelText(uint32_t model)
{
    return model == 0 ? "" : Formatted("%X", model);
}

void AskKnownControllers()
{
    for (const PortState& port : AllPorts()) {
        if (port.model == 0 || IsShutdownRequested())
            continue;
        PortName name{};
        CopyBounded(name.data(), name.size(), platform::FromUtf8(port.name).c_str());
        WriteEnumeratorParameters(nullptr, &name, 0);
        platform::StartFilter(port.node);
    }
}

} // namespace korvex::command
