// The units of the system's service manager that drive panels, "korvex@left.service".
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace korvex::command {

struct PanelUnit {
    std::string panel;  // "left"
    std::string state;  // "active", "inactive", "failed", "activating"
    std::string result; // why it has ended: "success", "exit-code", "signal"
    std::string since;  // when it came into this state, as the service manager writes it
};

// Those of these panels, whose names are made of letters, digits, "-" and "_", and all others that
// it has in memory, as systemctl(1) lists them; none where there is no service manager, or it has
// no such units. It keeps a unit that is stopped in memory only for a while: then "since" is empty.
std::vector<PanelUnit> PanelUnits(const std::vector<std::string>& panels);

// Reads what "systemctl show" prints of units: properties, one a line, and an empty line between
// units.
std::vector<PanelUnit> ParsePanelUnits(std::string_view text);

} // namespace korvex::command
