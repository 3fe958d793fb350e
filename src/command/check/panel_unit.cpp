#include "command/check/panel_unit.h"

#include <array>
#include <cstdio>
#include <memory>

namespace korvex::command {

namespace {

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

} // namespace

std::vector<PanelUnit> ParsePanelUnits(std::string_view text)
{
    std::vector<PanelUnit> units;
    PanelUnit unit;
    bool isLoaded = false;
    while (!text.empty() || !unit.panel.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(line.size() == text.size() ? text.size() : line.size() + 1);
        const size_t equals = line.find('=');
        const std::string_view key = line.substr(0, equals);
        const std::string value(
            equals == std::string_view::npos ? std::string_view() : line.substr(equals + 1));
        if (key == "Id")
            unit.panel = InstanceOf(value);
        else if (key == "LoadState")
            isLoaded = value == "loaded";
        else if (key == "ActiveState")
            unit.state = value;
        else if (key == "Result")
            unit.result = value;
        else if (key == "StateChangeTimestamp")
            unit.since = value;
        if (!line.empty())
            continue;
        if (!unit.panel.empty() && isLoaded)
            units.push_back(unit);
        unit = {};
        isLoaded = false;
    }
    return units;
}

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

} // namespace korvex::command
