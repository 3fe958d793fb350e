// The table that `korvex monitor` shows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "control/panel_state.h"
#include "platform/linux/x11/monitors.h"

namespace korvex::command {

struct Sample {
    PanelReading reading;
    uint32_t rate; // reports in the last second

    bool operator==(const Sample&) const = default;
};

struct MonitorRow {
    std::string port;
    Sample sample;
};

// The columns in their order that fit a width: the more it has, the more of them; at 40 still those
// that tell of touches.
struct MonitorColumns {
    std::vector<size_t> shown;
    size_t portWidth;
    std::optional<platform::MonitorArea> screen; // whose pixels are shown
};
MonitorColumns ChooseColumns(const std::vector<MonitorRow>* rows,
    const std::optional<platform::MonitorArea>& screen, size_t width);

// Lines without their ends. A longer port name shows its end.
std::string HeaderOf(const MonitorColumns* columns);
std::string LineOf(const MonitorRow* row, const MonitorColumns* columns);

// A mapped position in percent of the screen, with a tenth.
double PercentOf(int32_t mapped);

} // namespace korvex::command
