#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "command/exit_codes.h"
#include "command/machine_setup.h"
#include "command/options.h"
#include "command/port_names.h"
#include "command/port_state.h"
#include "command/subcommands.h"
#include "command/text_table.h"
#include "discovery/model_table.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/port_nodes.h"
#include "platform/linux/devices/registry.h"
#include "platform/win32.h"

namespace korvex::command {

namespace {

// Which commands ask a port when it is not named.
std::string AskedBy(const Options* options, const PortState* port)
{
    if (port->ignored)
        return "none";
    return IsPanelPort(options, port) ? "enum paneltest check" : "enum paneltest";
}

void PrintJson(const Options* options, const std::vector<PortState>* ports)
{
    auto list = nlohmann::ordered_json::array();
    for (const PortState& port : *ports)
        list.push_back({{"name", port.name}, {"path", ShownPath(port.path)}, {"child", port.child},
            {"model", ModelText(port.model)}, {"bound", port.bound}, {"panel", port.panel},
            {"ignored", port.ignored}, {"askedBy", AskedBy(options, &port)}});
    puts(list.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
}

void PrintTable(const Options* options, const std::vector<PortState>* ports)
{
    TextTable table{{"PORT", "PATH", "PANEL", "MODEL", "BINDING", "ASKED BY", "CHILD"}};
    for (const PortState& port : *ports)
        table.push_back({port.name, ShownPath(port.path), port.panel, ModelText(port.model),
            port.bound ? "bound" : "", AskedBy(options, &port), port.child});
    fputs(TextOf(&table).c_str(), stdout);
}

} // namespace

int RunPorts(const Options* options)
{
    const std::vector<PortState> ports = AllPorts();
    if (options->json)
        PrintJson(options, &ports);
    else
        PrintTable(options, &ports);
    return EXIT_DONE;
}

int RunUnbind(const Options* options)
{
    const std::string& name = options->arguments[0];
    const std::vector<PortState> ports = AllPorts();
    if (const PortState* port = FindPort(&ports, options, name); port != nullptr) {
        const std::u16string parameters = platform::ServiceKeyPath(ENUMERATOR_SERVICE)
            + u"\\Parameters\\" + platform::FromUtf8(port->name);
        platform::ForgetPort(port->node);
        platform::DeleteRegistryKey(parameters);
        return EXIT_DONE; // what could not be written has been said
    }
    fprintf(stderr, "%s: there is no port '%s'; see 'korvex ports'\n", options->command.c_str(),
        name.c_str());
    return EXIT_NO_PORT;
}

} // namespace korvex::command
