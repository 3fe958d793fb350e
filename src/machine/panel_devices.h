// What the input devices of panels are called, and which controller is behind them.
#pragma once

#include <cstdint>
#include <string>

#include "platform/linux/pointer/pointer_settings.h"

namespace korvex::command {

// The panel on the line of that path: its name (port_names.h), and its model as NotePanelModel has
// been told, else as the device tree knows it, else 0. Any thread.
platform::PanelDescription DescribePanel(const std::string& path);

// Takes note of the model of a controller that was identified on a line.
void NotePanelModel(const std::string& path, uint32_t model);

} // namespace korvex::command
