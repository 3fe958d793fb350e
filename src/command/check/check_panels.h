// The part of `korvex check` on panels that have names, also where their ports are not there.
#pragma once

#include <string>

#include "command/check/finding.h"

namespace korvex::command {

// Adds what is wrong with each panel that a udev rule, a unit, a folder below /var/lib/korvex or a
// control socket knows: its name, its adapter, its unit, its runtime, and the calibration in its
// folder. False where no such panel is known.
bool CheckPanels(Findings* findings);

// Whether the settings of a panel are in its own folder, where CheckPanels looks at them.
bool IsPanelFolder(const std::string& folder, const std::string& panel);

} // namespace korvex::command
