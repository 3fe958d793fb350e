#include "command/check/check_panels.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "command/check/check_settings.h"
#include "command/panel_settings.h"
#include "control/control_address.h"
#include "control/control_client.h"
#include "machine/port_names.h"
#include "platform/linux/serial/port_scan.h"

namespace korvex::command {

namespace {

namespace fs = std::filesystem;

constexpr const char* NAME_PROPERTY = "ID_KORVEX_PANEL";

// A unit of the system's service manager that drives a panel, "korvex@left.service".
struct PanelUnit {
    std::string panel;  // "left"
    std::string state;  // "active", "inactive", "failed", "activating"
    std::string result; // why it has ended: "success", "exit-code", "signal"
    std::string since;  // when it came into this state, as the service manager writes it
};

constexpr std::string_view PREFIX = "korvex@";
constexpr std::string_view SUFFIX = ".service";

// The instance of a template's unit; empty for another unit.
std::string InstanceOf(std::string_view unit)
{
    if (!unit.starts_with(PREFIX) || !unit.ends_with(SUFFIX))
        return "";
    unit.remove_prefix(PREFIX.size());
    unit.remove_suffix(SUFFIX.size());
    return std::string(unit);
}

// Reads what "systemctl show" prints of units: properties, one a line, and an empty line between
// units.
std::vector<PanelUnit> ParsePanelUnits(const std::string& text)
{
    std::vector<PanelUnit> units;
    std::map<std::string, std::string> values;
    std::istringstream lines(text + "\n");
    for (std::string line; std::getline(lines, line);) {
        if (const size_t equals = line.find('='); equals != std::string::npos)
            values[line.substr(0, equals)] = line.substr(equals + 1);
        if (!line.empty())
            continue;
        if (const std::string panel = InstanceOf(values["Id"]);
            !panel.empty() && values["LoadState"] == "loaded")
            units.push_back(
                {panel, values["ActiveState"], values["Result"], values["StateChangeTimestamp"]});
        values.clear();
    }
    return units;
}

// The units of these panels, whose names are made of letters, digits, "-" and "_", and all others
// in memory, as systemctl(1) lists them; none without a service manager or units. A stopped unit
// stays in memory only for a while: then "since" is empty.
std::vector<PanelUnit> PanelUnits(const std::vector<std::string>& panels)
{
    std::string command
        = "systemctl show --property=Id,LoadState,ActiveState,Result,StateChangeTimestamp "
          "'korvex@*.service'";
    for (const std::string& panel : panels)
        command += " korvex@" + panel + ".service";
    command += " 2>/dev/null";
    // NOLINTNEXTLINE(cert-env33-c): its words are fixed, but for names that mean nothing to a shell
    const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.c_str(), "re"), pclose);
    std::string text;
    std::array<char, 4096> part{};
    size_t count = 0;
    while (output != nullptr && (count = fread(part.data(), 1, part.size(), output.get())) > 0)
        text.append(part.data(), count);
    return ParsePanelUnits(text);
}

// The sources that know a panel, and what each says.
struct NamedPanel {
    std::vector<std::string> ports; // with that name in udev's rules
    bool hasFolder = false;
    std::optional<PanelUnit> unit;
    std::optional<PanelState> driven;    // its state, from the runtime that drives it
    std::optional<PendingPanel> pending; // the port that its runtime waits for
    std::string unasked;                 // why its unit's socket cannot be asked
    bool isRefused = false;              // because of missing rights
};

using NamedPanels = std::map<std::string, NamedPanel>;

std::string LinkOf(const std::string& panel)
{
    return PANEL_FOLDER + panel;
}

bool HasAdapter(const std::string& panel)
{
    std::error_code error;
    return fs::exists(LinkOf(panel), error);
}

// The names of the entries of a folder.
std::vector<std::string> NamesIn(const char* folder)
{
    std::vector<std::string> names;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
        if (IsPanelName(entry.path().filename().string()))
            names.push_back(entry.path().filename().string());
    }
    return names;
}

void AddUnasked(NamedPanel* panel, const AskedRuntime* runtime)
{
    panel->unasked = "'" + runtime->socket + "': " + runtime->fault;
    panel->isRefused = runtime->fault == strerror(EACCES);
}

// Adds the states from the runtimes; from those of users, whose panels may have no name, only the
// states of known panels.
void AddRuntimes(NamedPanels* panels)
{
    for (const AskedRuntime& runtime : AskRuntimes()) {
        const fs::path folder = fs::path(runtime.socket).parent_path();
        const bool isUnits = folder.parent_path() == UNIT_FOLDER;
        if (isUnits && !runtime.fault.empty())
            AddUnasked(&(*panels)[folder.filename().string()], &runtime);
        if (!runtime.status)
            continue;
        for (const PanelState& panel : runtime.status->panels) {
            if (isUnits || panels->contains(panel.panel))
                (*panels)[panel.panel].driven = panel;
        }
        for (const PendingPanel& panel : runtime.status->pending) {
            if (isUnits || panels->contains(panel.panel))
                (*panels)[panel.panel].pending = panel;
        }
    }
}

NamedPanels FindNamedPanels(Findings* findings)
{
    NamedPanels panels;
    for (const platform::PortProperty& port : platform::PortsWithProperty(NAME_PROPERTY)) {
        if (IsPanelName(port.value))
            panels[port.value].ports.push_back(port.path);
        else
            findings->push_back({Severity::FAULT, "names",
                "a udev rule gives '" + port.path + "' the name '" + port.value
                    + "', which is not valid: a name has at most 64 letters, digits, '-' and '_'"});
    }
    for (const std::string& name : NamesIn(PANEL_FOLDER))
        panels.try_emplace(name);
    for (const std::string& name : NamesIn(STATE_FOLDER)) {
        std::error_code error;
        if (fs::is_directory(FolderOfPanel(name), error))
            panels[name].hasFolder = true;
    }
    std::vector<std::string> names;
    for (const auto& [name, panel] : panels)
        names.push_back(name);
    for (const PanelUnit& unit : PanelUnits(names))
        panels[unit.panel].unit = unit;
    AddRuntimes(&panels);
    return panels;
}

struct PanelCheck {
    std::string name;
    const NamedPanel* panel;
    Findings* findings;
};

void Add(const PanelCheck* check, Severity severity, const std::string& text)
{
    check->findings->push_back({severity, check->name, text});
}

void CheckAdapter(const PanelCheck* check)
{
    const NamedPanel* panel = check->panel;
    if (panel->ports.size() > 1)
        Add(check, Severity::FAULT,
            "udev rules give this name to '" + panel->ports[0] + "' and to '" + panel->ports[1]
                + "'; give each a name of its own");
    if (HasAdapter(check->name))
        return;
    if (!panel->ports.empty())
        Add(check, Severity::FAULT,
            "udev gives the name to '" + panel->ports[0] + "', but there is no '"
                + LinkOf(check->name)
                + "': the rule must be in a file before 72-korvex.rules, and ID_KORVEX_IGNORE not "
                  "be set");
    else
        Add(check, Severity::FAULT,
            "its adapter is not there: no '" + LinkOf(check->name) + "'; plug it in"
                + (panel->hasFolder ? ", or remove '" + FolderOfPanel(check->name)
                            + "' if there is no such panel any more"
                                    : ""));
}

void CheckUnit(const PanelCheck* check)
{
    const std::string name = "korvex@" + check->name;
    if (!check->panel->unit)
        return;
    const PanelUnit* unit = &*check->panel->unit;
    const std::string since = unit->since.empty() ? "" : " since " + unit->since;
    const bool isStartedAgain = unit->state == "activating" && unit->result != "success";
    if (unit->state == "failed" || isStartedAgain)
        Add(check, Severity::FAULT,
            name + (isStartedAgain ? " is being started again" : " has failed") + " ("
                + unit->result + ")" + since + "; 'journalctl -u " + name + "' has the reason");
    else if (unit->state != "active" && !check->panel->driven && HasAdapter(check->name))
        Add(check, Severity::FAULT,
            name + " is stopped" + since + "; 'systemctl start " + name + "' starts it");
}

void CheckRuntime(const PanelCheck* check)
{
    const NamedPanel* panel = check->panel;
    if (panel->isRefused)
        Add(check, Severity::NOTE,
            "its runtime cannot be asked, " + panel->unasked
                + "; root and members of the group \"korvex\" can");
    else if (!panel->unasked.empty())
        Add(check, Severity::FAULT, "its runtime cannot be asked, " + panel->unasked);
    if (panel->pending && HasAdapter(check->name))
        Add(check, Severity::FAULT, panel->pending->reason);
    if (panel->driven && panel->driven->noisy)
        Add(check, Severity::FAULT,
            "more than 1 % of the last minute's packets were rejected; check cable, "
            "grounding and what else uses the port");
}

} // namespace

bool CheckPanels(Findings* findings)
{
    const NamedPanels panels = FindNamedPanels(findings);
    for (const std::string& fault : SettingsFaults(COMMON_SETTINGS))
        findings->push_back({Severity::FAULT, "settings", fault});
    for (const auto& [name, panel] : panels) {
        const PanelCheck check{name, &panel, findings};
        CheckAdapter(&check);
        CheckUnit(&check);
        CheckRuntime(&check);
        for (const std::string& fault : SettingsFaults(SettingsOf(name)))
            Add(&check, Severity::FAULT, fault);
        if (panel.hasFolder)
            CheckSettingsIn(FolderOfPanel(name), name, findings);
    }
    return !panels.empty();
}

bool IsPanelFolder(const std::string& folder, const std::string& panel)
{
    return folder == FolderOfPanel(panel);
}

} // namespace korvex::command
