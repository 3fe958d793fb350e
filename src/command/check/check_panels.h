// The part of `korvex check` on named panels, even if their ports are missing.
#pragma once

#include <string>

#include "command/check/finding.h"

namespace korvex::command {

// Adds the faults of each panel that a udev rule, a unit, a folder below /var/lib/korvex or a
// control socket knows: its name, its adapter, its unit, its runtime, and the calibration in its
// folder. False if no panel is known so.
bool CheckPanels(Findings* findings);

// Whether the settings of a panel are in its own folder, where CheckPanels checks them.
bool IsPanelFolder(const std::string& folder, const std::string& panel);

} // namespace korvex::command
