// The state of panels as Prometheus scrapes it.
#pragma once

#include <string>
#include <vector>

#include "control/control_client.h"

namespace korvex::command {

// All panels in Prometheus' text format (docs/fleet.md lists the metrics): those that these
// runtimes drive or wait for, and the named ones without a runtime, which are not up.
std::string MetricsText(const std::vector<RuntimeStatus>* all);

} // namespace korvex::command
