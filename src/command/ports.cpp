#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "command/subcommands.h"
#include "machine/machine_setup.h"
#include "machine/port_names.h"
#include "machine/port_state.h"
#include "process/exit_codes.h"
#include "process/options.h"
#include "process/text_layout.h"

namespace korvex::command {

namespace {

// Which commands ask a port when it is not named.
std::string AskedBy(const Options* options, const PortState* port)
{
    if (port->ignored)
        return "none";
    return std::string("enum paneltest calibrate") + (IsPanelPort(options, port) ? " check" : "");
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

} // namespace korvex::command
