// Panels that runtimes drive, through their control sockets, as the calibration's source of
// touches.
#pragma once

#include <vector>

#include "console/panel_source.h"
#include "control/control_client.h"

namespace korvex::command {

// The source of these panels. A runtime that has ended is searched for again every second. Once per
// process.
PanelSource UseRemotePanels(std::vector<RemotePanel> panels);

} // namespace korvex::command
