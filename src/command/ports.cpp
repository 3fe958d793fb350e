#include <cstdio>
#include <string>
#include <vector>

#include "cli/text_layout.h"
#include "command/subcommands.h"
#include "control/control_client.h"
#include "control/json_line.h"
#include "machine/machine_setup.h"
#include "machine/port_names.h"
#include "machine/port_state.h"
#include "process/exit_codes.h"
#include "process/options.h"

namespace korvex::command {

namespace {

// Which commands ask a port when it is not named.
std::string AskedBy(const Options* options, const PortState* port)
{
    if (port->ignored)
        return "none";
    return IsPanelPort(options, port) ? "enum paneltest calibrate check"
                                      : "enum paneltest calibrate";
}

// The process that drives the controller on a port now, and the model.
struct Driver {
    int process; // 0: none that can be asked
    std::string model;
};

Driver DriverOf(const std::vector<RuntimeStatus>* runtimes, const PortState* port)
{
    for (const RuntimeStatus& runtime : *runtimes) {
        for (const PanelState& panel : runtime.panels) {
            if (IsSamePort(panel.path, port->path))
                return {runtime.process, panel.model};
        }
    }
    return {0, ModelText(port->model)};
}

Json JsonOf(const Options* options, const PortState* port, const Driver* driver)
{
    return {{"name", port->name}, {"path", ShownPath(port->path)}, {"child", port->child},
        {"model", driver->model}, {"bound", port->bound}, {"panel", port->panel},
        {"ignored", port->ignored}, {"askedBy", AskedBy(options, port)},
        {"drivenBy", driver->process == 0 ? Json() : Json(driver->process)}};
}

} // namespace

int RunPorts(const Options* options)
{
    const std::vector<RuntimeStatus> runtimes = AskStatuses();
    TextTable table{
        {"PORT", "PATH", "PANEL", "MODEL", "DRIVEN BY", "BINDING", "ASKED BY", "CHILD"}};
    Json list = Json::array();
    for (const PortState& port : AllPorts()) {
        const Driver driver = DriverOf(&runtimes, &port);
        list.push_back(JsonOf(options, &port, &driver));
        table.push_back({port.name, ShownPath(port.path), port.panel, driver.model,
            driver.process == 0 ? "" : "process " + std::to_string(driver.process),
            port.bound ? "bound" : "", AskedBy(options, &port), port.child});
    }
    if (options->json)
        puts(list.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
    else
        fputs(TextOf(&table).c_str(), stdout);
    return EXIT_DONE;
}

} // namespace korvex::command
