#include "machine/panel_devices.h"

#include <map>
#include <mutex>

#include "machine/port_names.h"
#include "machine/port_state.h"

namespace korvex::command {

namespace {

std::mutex modelsLock;
std::map<std::string, uint32_t> models; // by the path of the line

uint32_t ModelOf(const std::string& path)
{
    {
        const std::lock_guard guard(modelsLock);
        if (const auto noted = models.find(path); noted != models.end())
            return noted->second;
    }
    for (const PortState& port : AllPorts()) {
        if (port.path == path)
            return port.model;
    }
    return 0;
}

} // namespace

platform::PanelDescription DescribePanel(const std::string& path)
{
    return {PanelNameOf(path), static_cast<uint16_t>(ModelOf(path))};
}

void NotePanelModel(const std::string& path, uint32_t model)
{
    const std::lock_guard guard(modelsLock);
    models[path] = model;
}

} // namespace korvex::command
