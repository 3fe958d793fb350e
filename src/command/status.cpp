#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "cli/text_layout.h"
#include "command/metrics.h"
#include "command/subcommands.h"
#include "control/control_address.h"
#include "control/control_client.h"
#include "control/json_line.h"
#include "process/exit_codes.h"
#include "process/message.h"
#include "process/options.h"

namespace korvex::command {

namespace {

using std::chrono::system_clock;

// How long ago a time was, "3 min"; a dash for the epoch.
std::string AgeOf(system_clock::time_point time)
{
    if (time == system_clock::time_point())
        return "-";
    const auto seconds = std::max<int64_t>(
        0, std::chrono::floor<std::chrono::seconds>(system_clock::now() - time).count());
    if (seconds < 120)
        return std::to_string(seconds) + " s";
    if (seconds < 120L * 60)
        return std::to_string(seconds / 60) + " min";
    return seconds < 48L * 3600 ? std::to_string(seconds / 3600) + " h"
                                : std::to_string(seconds / 86400) + " days";
}

std::string CalibrationText(const PanelCalibration& calibration)
{
    const bool hasFile = !calibration.file.empty();
    const std::string kind = calibration.hasPoints ? std::to_string(calibration.points) + " points"
        : hasFile                                  ? "standard box"
                                                   : "controller's memory";
    return kind + (hasFile ? ", " + AgeOf(calibration.changed) + " old" : "")
        + (calibration.tried ? ", being tried" : "");
}

const char* StateText(const PanelState& panel)
{
    return panel.reading.lost ? "lost" : "there";
}

std::vector<std::string> RowOf(const PanelState& panel)
{
    const PanelCounters& counters = panel.reading.counters;
    return {panel.panel, panel.tty, StateText(panel), panel.model, AgeOf(panel.since),
        CalibrationText(panel.calibration), std::to_string(counters.reports),
        std::to_string(counters.rejected), panel.reading.touching ? "now" : AgeOf(panel.lastTouch)};
}

void PrintAllJson(const std::vector<RuntimeStatus>* all)
{
    Json list = Json::array();
    const auto add = [&list](Json panel, const char* state, int process) {
        panel["state"] = state;
        panel["process"] = process;
        list.push_back(std::move(panel));
    };
    for (const RuntimeStatus& status : *all) {
        for (const PanelState& panel : status.panels)
            add(ToJson(panel), StateText(panel), status.process);
        for (const PendingPanel& panel : status.pending)
            add(ToJson(panel), "pending", status.process);
    }
    puts(list.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

void PrintTable(const std::vector<RuntimeStatus>* all)
{
    TextTable table{
        {"PANEL", "PORT", "STATE", "MODEL", "SINCE", "CALIBRATION", "REPORTS", "BAD", "TOUCHED"}};
    for (const RuntimeStatus& status : *all) {
        for (const PanelState& panel : status.panels)
            table.push_back(RowOf(panel));
        for (const PendingPanel& panel : status.pending)
            table.push_back({panel.panel, panel.path, "pending", "", "", "", "", "", ""});
    }
    if (table.size() > 1)
        fputs(TextOf(&table).c_str(), stdout);
    for (const RuntimeStatus& status : *all) {
        for (const PendingPanel& panel : status.pending)
            printf("%s: %s\n", panel.panel.c_str(), panel.reason.c_str());
    }
}

} // namespace

int RunStatus(const Options* options)
{
    const std::vector<RuntimeStatus> all = AskStatuses();
    if (options->metrics) { // which say by themselves what is missing
        fputs(MetricsText(&all).c_str(), stdout);
        return EXIT_DONE;
    }
    if (options->json)
        PrintAllJson(&all);
    else
        PrintTable(&all);
    const bool any = std::any_of(all.begin(), all.end(), [](const RuntimeStatus& status) {
        return !status.panels.empty() || !status.pending.empty();
    });
    if (!any) {
        Error("no running korvex drives a panel or waits for one (looked in " + ControlFolders()
            + ")");
        return EXIT_NO_CONTROLLER;
    }
    const bool missing = std::any_of(all.begin(), all.end(), [](const RuntimeStatus& status) {
        return !status.pending.empty()
            || std::any_of(status.panels.begin(), status.panels.end(),
                [](const PanelState& panel) { return panel.reading.lost; });
    });
    return missing ? EXIT_PANEL_MISSING : EXIT_DONE;
}

} // namespace korvex::command
