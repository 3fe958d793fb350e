#include "runner/ports.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "discovery/device_nodes.h"
#include "discovery/model_table.h"
#include "platform/posix/device_tree.h"
#include "platform/posix/registry_keys.h"
#include "platform/posix/text.h"
#include "platform/win32.h"
#include "runner/json_text.h"
#include "runner/machine_setup.h"
#include "runner/options.h"
#include "runner/runner.h"

namespace korvex::runner {

namespace {

// What a detecting pass would see of a port.
struct PortState {
    DEVINST node;
    std::string name;
    std::string path;
    std::string child; // empty: none
    uint32_t model;    // of the child; 0: none that is known
    bool bound;
};

PortState StateOf(DEVINST port)
{
    SP_DEVINFO_DATA element{};
    element.cbSize = sizeof(element);
    element.DevInst = port;
    HDEVINFO devices = SetupDiGetClassDevsW(nullptr, platform::InstanceIdOf(port).c_str(), nullptr, DIGCF_ALLCLASSES | DIGCF_PRESENT);
    PortName name{};
    ReadPortName(devices, &element, &name);
    const std::u16string child = platform::InstanceIdOf(FirstChild(port));
    PortState state{port, platform::ToUtf8(name.data()), platform::NativePathOf(port), platform::ToUtf8(child),
        ModelFromHardwareId(child.c_str()), IsEnumeratorBound(devices, &element)};
    SetupDiDestroyDeviceInfoList(devices);
    return state;
}

std::vector<PortState> AllPorts()
{
    std::vector<PortState> ports;
    for (const DEVINST node : platform::ChildrenOf(0)) {
        if (!platform::NativePathOf(node).empty())
            ports.push_back(StateOf(node));
    }
    return ports;
}

std::string ModelText(uint32_t model)
{
    std::array<char, 12> text{};
    snprintf(text.data(), text.size(), "%X", model);
    return model == 0 ? "" : text.data();
}

void PrintJson(const std::vector<PortState>* ports)
{
    puts("[");
    for (const PortState& port : *ports)
        printf("  {\"name\": %s, \"path\": %s, \"child\": %s, \"model\": %s, \"bound\": %s}%s\n", Quoted(port.name).c_str(),
            Quoted(port.path).c_str(), Quoted(port.child).c_str(), Quoted(ModelText(port.model)).c_str(), port.bound ? "true" : "false",
            &port == &ports->back() ? "" : ",");
    puts("]");
}

void PrintTable(const std::vector<PortState>* ports)
{
    size_t widest = 4;
    for (const PortState& port : *ports)
        widest = std::max(widest, port.path.size());
    printf("%-7s  %-*s  %-5s  %-7s  %s\n", "PORT", static_cast<int>(widest), "PATH", "MODEL", "BINDING", "CHILD");
    for (const PortState& port : *ports)
        printf("%-7s  %-*s  %-5s  %-7s  %s\n", port.name.c_str(), static_cast<int>(widest), port.path.c_str(),
            port.model == 0 ? "-" : ModelText(port.model).c_str(), port.bound ? "bound" : "-",
            port.child.empty() ? "-" : port.child.c_str());
}

} // namespace

int RunPorts(int argc, char** argv)
{
    Options options;
    if (!ParseOptions(argc, argv, {"port", "state", "json"}, {0, 0}, &options))
        return EXIT_USAGE_ERROR;
    if (const int exitCode = SetUpDevices(&options); exitCode != EXIT_DONE)
        return exitCode;
    const std::vector<PortState> ports = AllPorts();
    if (options.json)
        PrintJson(&ports);
    else
        PrintTable(&ports);
    return EXIT_DONE;
}

int RunUnbind(int argc, char** argv)
{
    Options options;
    if (!ParseOptions(argc, argv, {"port", "state"}, {1, 1}, &options))
        return EXIT_USAGE_ERROR;
    if (const int exitCode = SetUpDevices(&options); exitCode != EXIT_DONE)
        return exitCode;
    for (const PortState& port : AllPorts()) {
        if (port.name != options.arguments[0])
            continue;
        platform::ForgetPort(port.node);
        platform::DeleteRegistryPath(platform::ServiceKeyPath(ENUMERATOR_SERVICE) + u"\\Parameters\\" + platform::FromUtf8(port.name));
        return EXIT_DONE;
    }
    fprintf(stderr, "%s: there is no port '%s'; see 'korvex ports'\n", options.command.c_str(), options.arguments[0].c_str());
    return EXIT_NO_PORT;
}

} // namespace korvex::runner
