#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "command/subcommands.h"
#include "control/control_address.h"
#include "control/control_client.h"
#include "control/json_line.h"
#include "process/exit_codes.h"
#include "process/options.h"
#include "process/text_layout.h"

namespace korvex::command {

namespace {

// How long ago a time of the protocol was, "3 min"; a dash where there is none.
std::string AgeOf(const Json& time)
{
    tm parts{};
    if (!time.is_string()
        || strptime(time.get<std::string>().c_str(), "%Y-%m-%dT%H:%M:%SZ", &parts) == nullptr)
        return "-";
    const long seconds = std::max(0L, static_cast<long>(std::time(nullptr) - timegm(&parts)));
    if (seconds < 120)
        return std::to_string(seconds) + " s";
    if (seconds < 120L * 60)
        return std::to_string(seconds / 60) + " min";
    return seconds < 48L * 3600 ? std::to_string(seconds / 3600) + " h"
                                : std::to_string(seconds / 86400) + " days";
}

std::string CalibrationText(const Json& calibration)
{
    const bool hasPoints = calibration.value("kind", "") == "points";
    const bool hasFile = calibration.value("file", Json()).is_string();
    const std::string kind = hasPoints ? std::to_string(calibration.value("points", 0)) + " points"
        : hasFile                      ? "standard box"
                                       : "factory calibration";
    return kind + (hasFile ? ", " + AgeOf(calibration.value("changed", Json())) + " old" : "")
        + (calibration.value("tried", false) ? ", being tried" : "");
}

std::string StateText(const Json* panel)
{
    return panel->value("gone", false) ? "gone" : "there";
}

std::vector<std::string> RowOf(const Json& panel)
{
    const bool touching = panel.value("touching", false);
    return {panel.value("panel", ""), panel.value("tty", ""), StateText(&panel),
        panel.value("model", ""), AgeOf(panel.value("since", Json())),
        CalibrationText(panel.value("calibration", Json::object())),
        std::to_string(panel.value("reports", 0U)), std::to_string(panel.value("rejected", 0U)),
        touching ? "now" : AgeOf(panel.value("lastTouch", Json()))};
}

// The runtimes that can be asked; which cannot is said on standard error.
std::vector<RuntimeStatus> AskAll(const Options* options)
{
    std::vector<RuntimeStatus> all;
    for (AskedRuntime& runtime : AskRuntimes()) {
        if (const std::string fault = UnaskedText(&runtime); !fault.empty())
            fprintf(stderr, "%s: %s\n", options->command.c_str(), fault.c_str());
        if (runtime.status)
            all.push_back(*std::move(runtime.status));
    }
    return all;
}

void PrintJson(const std::vector<RuntimeStatus>* all)
{
    Json list = Json::array();
    for (const RuntimeStatus& status : *all) {
        for (Json panel : status.panels) {
            panel["state"] = StateText(&panel);
            panel["process"] = status.process;
            list.push_back(std::move(panel));
        }
        for (Json panel : status.awaited) {
            panel["state"] = "awaited";
            panel["process"] = status.process;
            list.push_back(std::move(panel));
        }
    }
    puts(list.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

void PrintTable(const std::vector<RuntimeStatus>* all)
{
    TextTable table{
        {"PANEL", "PORT", "STATE", "MODEL", "SINCE", "CALIBRATION", "REPORTS", "BAD", "TOUCHED"}};
    for (const RuntimeStatus& status : *all) {
        for (const Json& panel : status.panels)
            table.push_back(RowOf(panel));
        for (const Json& panel : status.awaited)
            table.push_back({panel.value("panel", ""), panel.value("path", ""), "awaited", "", "",
                "", "", "", ""});
    }
    if (table.size() > 1)
        fputs(TextOf(&table).c_str(), stdout);
    for (const RuntimeStatus& status : *all) {
        for (const Json& panel : status.awaited)
            printf("%s: %s\n", panel.value("panel", "").c_str(), panel.value("reason", "").c_str());
    }
}

} // namespace

int RunStatus(const Options* options)
{
    const std::vector<RuntimeStatus> all = AskAll(options);
    if (options->json)
        PrintJson(&all);
    else
        PrintTable(&all);
    const bool any = std::any_of(all.begin(), all.end(), [](const RuntimeStatus& status) {
        return !status.panels.empty() || !status.awaited.empty();
    });
    if (!any) {
        fprintf(stderr, "%s: no running korvex was found (looked in %s)\n",
            options->command.c_str(), ControlFolders().c_str());
        return EXIT_NO_CONTROLLER;
    }
    const bool missing = std::any_of(all.begin(), all.end(), [](const RuntimeStatus& status) {
        return !status.awaited.empty()
            || std::any_of(status.panels.begin(), status.panels.end(),
                [](const Json& panel) { return panel.value("gone", false); });
    });
    return missing ? EXIT_PANEL_MISSING : EXIT_DONE;
}

} // namespace korvex::command
