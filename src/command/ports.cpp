#include "command/ports.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "command/json_text.h"
#include "command/machine_setup.h"
#include "command/options.h"
#include "command/port_state.h"
#include "command/runner.h"
#include "discovery/model_table.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/port_nodes.h"
#include "platform/linux/devices/registry.h"
#include "platform/win32.h"

namespace korvex::command {

namespace {

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
        const std::u16string parameters = platform::ServiceKeyPath(ENUMERATOR_SERVICE) + u"\\Parameters\\" + platform::FromUtf8(port.name);
        if (platform::ForgetPort(port.node) && platform::DeleteRegistryKey(parameters))
            return EXIT_DONE;
        fprintf(stderr, "%s: cannot write the state folder '%s'\n", options.command.c_str(), options.stateFolder.c_str());
        return EXIT_FAULT;
    }
    fprintf(stderr, "%s: there is no port '%s'; see 'korvex ports'\n", options.command.c_str(), options.arguments[0].c_str());
    return EXIT_NO_PORT;
}

} // namespace korvex::command
