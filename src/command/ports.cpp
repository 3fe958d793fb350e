#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "command/exit_codes.h"
#include "command/machine_setup.h"
#include "command/options.h"
#include "command/port_state.h"
#include "command/subcommands.h"
#include "discovery/model_table.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/port_nodes.h"
#include "platform/linux/devices/registry.h"
#include "platform/win32.h"

namespace korvex::command {

namespace {

void PrintJson(const std::vector<PortState>* ports)
{
    auto list = nlohmann::ordered_json::array();
    for (const PortState& port : *ports)
        list.push_back(
            {{"name", port.name}, {"path", port.path}, {"child", port.child}, {"model", ModelText(port.model)}, {"bound", port.bound}});
    puts(list.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
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

int RunPorts(const Options* options)
{
    const std::vector<PortState> ports = AllPorts();
    if (options->json)
        PrintJson(&ports);
    else
        PrintTable(&ports);
    return EXIT_DONE;
}

int RunUnbind(const Options* options)
{
    const std::string& name = options->arguments[0];
    for (const PortState& port : AllPorts()) {
        if (port.name != name)
            continue;
        const std::u16string parameters = platform::ServiceKeyPath(ENUMERATOR_SERVICE) + u"\\Parameters\\" + platform::FromUtf8(port.name);
        platform::ForgetPort(port.node);
        platform::DeleteRegistryKey(parameters);
        return EXIT_DONE; // what could not be written has been said
    }
    fprintf(stderr, "%s: there is no port '%s'; see 'korvex ports'\n", options->command.c_str(), name.c_str());
    return EXIT_NO_PORT;
}

} // namespace korvex::command
