#include "command/metrics.h"

#include <array>
#include <filesystem>
#include <set>
#include <string_view>
#include <system_error>

#include "cli/text_layout.h"
#include "machine/port_names.h"

namespace korvex::command {

namespace {

constexpr double OUTPUT_UNITS = 65536; // across the screen

double SecondsOf(std::chrono::system_clock::time_point time)
{
    return static_cast<double>(
        std::chrono::floor<std::chrono::seconds>(time.time_since_epoch()).count());
}

bool IsUp(const PanelState& panel)
{
    return !panel.reading.lost;
}

struct Metric {
    const char* name;
    const char* type;
    const char* help;
    double (*value)(const PanelState& panel);
};

// Those of panels that are driven, besides the counters.
constexpr std::array METRICS{
    Metric{"korvex_panel_gone", "gauge",
        "1 from the failure of the panel's port until its controller answers again",
        [](const PanelState& panel) { return panel.reading.lost ? 1.0 : 0.0; }},
    Metric{"korvex_panel_touching", "gauge", "1 while the panel is touched",
        [](const PanelState& panel) { return panel.reading.touching ? 1.0 : 0.0; }},
    Metric{"korvex_panel_start_time_seconds", "gauge", "when its session began",
        [](const PanelState& panel) { return SecondsOf(panel.since); }},
    Metric{"korvex_panel_last_touch_time_seconds", "gauge",
        "when it was touched last; 0: not since its session began",
        [](const PanelState& panel) { return SecondsOf(panel.lastTouch); }},
    Metric{"korvex_panel_losses_total", "counter", "failures of its port",
        [](const PanelState& panel) -> double { return panel.losses; }},
    Metric{"korvex_panel_returns_total", "counter", "returns of its port",
        [](const PanelState& panel) -> double { return panel.returns; }},
    Metric{"korvex_panel_rest_noise_ratio", "gauge",
        "standard deviation of a resting finger's place, as a part of the screen; 0: not known",
        [](const PanelState& panel) { return panel.restNoise / OUTPUT_UNITS; }},
    Metric{"korvex_panel_calibration_time_seconds", "gauge",
        "when its calibration file was changed last; 0: it has none",
        [](const PanelState& panel) { return SecondsOf(panel.calibration.changed); }},
    Metric{"korvex_panel_calibration_residual_ratio", "gauge",
        "how far the target that fits worst lies off, as a part of the screen; 0: no points",
        [](const PanelState& panel) { return panel.calibration.residual / 100; }},
};

// "korvex_panel_out_of_range_total" for the counter "outOfRange".
std::string NameOf(const PanelCounter& counter)
{
    std::string name = "korvex_panel_";
    for (const char letter : std::string_view(counter.key)) {
        if (letter >= 'A' && letter <= 'Z')
            name += '_';
        name += static_cast<char>(letter >= 'A' && letter <= 'Z' ? letter - 'A' + 'a' : letter);
    }
    return name + "_total";
}

// Escaped as a label's value.
std::string LabelOf(const std::string& panel)
{
    std::string label;
    for (const char letter : panel) {
        if (letter == '\\' || letter == '"')
            label += '\\';
        label += letter == '\n' ? ' ' : letter;
    }
    return "{panel=\"" + label + "\"}";
}

void AddHead(std::string* text, const std::string& name, const char* type, const char* help)
{
    text->append("# HELP ").append(name).append(" ").append(help);
    text->append("\n# TYPE ").append(name).append(" ").append(type).append("\n");
}

void AddValue(std::string* text, const std::string& name, const std::string& panel, double value)
{
    *text += name + LabelOf(panel) + " " + Formatted("%.10g", value) + "\n";
}

// The panels that have a folder below /var/lib/korvex.
std::set<std::string> NamedPanelsHere()
{
    std::set<std::string> names;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(STATE_FOLDER, error)) {
        const std::string name = entry.path().filename().string();
        if (entry.is_directory(error) && IsPanelName(name))
            names.insert(name);
    }
    return names;
}

} // namespace

std::string MetricsText(const std::vector<RuntimeStatus>* all)
{
    std::string text;
    AddHead(&text, "korvex_panel_up", "gauge", "1 while the panel is driven and its port is there");
    std::set<std::string> down = NamedPanelsHere();
    for (const RuntimeStatus& status : *all) {
        for (const PendingPanel& panel : status.pending)
            down.insert(panel.panel);
    }
    for (const RuntimeStatus& status : *all) {
        for (const PanelState& panel : status.panels) {
            down.erase(panel.panel);
            AddValue(&text, "korvex_panel_up", panel.panel, IsUp(panel) ? 1 : 0);
        }
    }
    for (const std::string& panel : down)
        AddValue(&text, "korvex_panel_up", panel, 0);
    for (const Metric& metric : METRICS) {
        AddHead(&text, metric.name, metric.type, metric.help);
        for (const RuntimeStatus& status : *all) {
            for (const PanelState& panel : status.panels)
                AddValue(&text, metric.name, panel.panel, metric.value(panel));
        }
    }
    for (const PanelCounter& counter : PANEL_COUNTERS) {
        const std::string name = NameOf(counter);
        AddHead(&text, name, "counter", counter.words == nullptr ? counter.key : counter.words);
        for (const RuntimeStatus& status : *all) {
            for (const PanelState& panel : status.panels)
                AddValue(&text, name, panel.panel, panel.reading.counters.*counter.value);
        }
    }
    return text;
}

} // namespace korvex::command
