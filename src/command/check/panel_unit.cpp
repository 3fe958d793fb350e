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
    while (!text.empty() || !unit.panel.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(line.size() == text.size() ? text.size() : line.size() + 1);
        const size_t equals = line.find('=');
        const std::string_view key = line.substr(0, equals);
        const std::string value(
            equals == std::string_view::npos ? std::string_view() : line.substr(equals + 1));
        if (key == "Id")
            unit.panel = InstanceOf(value);
        else if (key == "ActiveState")
            unit.state = value;
        else if (key == "Result")
            unit.result = value;
        else if (key == "StateChangeTimestamp")
            unit.since = value;
        if (!line.empty())
            continue;
        if (!unit.panel.empty())
            units.push_back(unit);
        unit = {};
    }
    return units;
}

std::vector<PanelUnit> PanelUnits()
{
    const std::unique_ptr<FILE, int (*)(FILE*)> output(
        popen("systemctl show 'korvex@*.service' --property=Id,ActiveState,Result,"
              "StateChangeTimestamp 2>/dev/null",
            "re"),
        pclose);
    std::string text;
    std::array<char, 4096> part{};
    size_t count = 0;
    while (output != nullptr && (count = fread(part.data(), 1, part.size(), output.get())) > 0)
        text.append(part.data(), count);
    return ParsePanelUnits(text);
}

} // namespace korvex::command
