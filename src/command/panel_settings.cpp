#include "command/panel_settings.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/linux/files/whole_files.h"

namespace korvex::command {

namespace {

constexpr size_t MAX_SETTINGS_BYTES = 65536;
constexpr size_t MAX_FAULTS = 10; // of a file: one that is something else has no end of them

// The options that a file can have.
std::vector<Option> SettingsFor(const KorvexCommand& command)
{
    std::vector<Option> options = command.syntax.options;
    std::erase_if(options, [](const Option& option) { return option.name == "--show-config"; });
    return options;
}

// Reads one file.
std::vector<std::string> ReadSettings(
    const std::string& path, const std::vector<Option>& options, std::vector<GivenOption>* given)
{
    std::string content;
    if (!platform::ReadWholeFile(path, &content, MAX_SETTINGS_BYTES))
        return errno == ENOENT ? std::vector<std::string>()
                               : std::vector{"'" + path + "' cannot be read: " + strerror(errno)};
    std::vector<std::string> faults = ReadOptionFile(path, content, options, given);
    if (faults.size() > MAX_FAULTS) {
        faults.resize(MAX_FAULTS);
        faults.back() = "'" + path + "' has more faults than these";
    }
    return faults;
}

// A setting, "monitor = [HDMI-1, left=DP-1]", and where it was given.
std::string LineOf(const GivenOption& option)
{
    std::string values;
    for (const std::string& value : option.values)
        values.append(values.empty() ? "" : ", ").append(value);
    if (option.values.size() > 1)
        values = "[" + values + "]";
    return option.name.substr(2) + " = " + values + "  # "
        + (option.file.empty() ? "command line"
                               : option.file + ", line " + std::to_string(option.line))
        + "\n";
}

} // namespace

std::string SettingsOf(const std::string& panel)
{
    return "/etc/korvex/" + panel + ".conf";
}

std::vector<std::string> ReadPanelSettings(
    const KorvexCommand& command, const std::string& panel, std::vector<GivenOption>* given)
{
    const std::vector<Option> options = SettingsFor(command);
    std::vector<std::string> faults = ReadSettings(SettingsOf(panel), options, given);
    for (std::string& fault : ReadSettings(COMMON_SETTINGS, options, given))
        faults.push_back(std::move(fault));
    return faults;
}

std::vector<std::string> SettingsFaults(const std::string& path)
{
    Options options;
    const std::vector<KorvexCommand> commands = KorvexCommands(&options);
    const auto drive = std::find_if(commands.begin(), commands.end(),
        [](const KorvexCommand& command) { return command.hasPanelSettings; });
    std::vector<GivenOption> given;
    return ReadSettings(path, SettingsFor(*drive), &given);
}

std::string SettingsText(
    const KorvexCommand& command, const Options* options, const std::vector<GivenOption>* given)
{
    std::string text;
    for (const Option& option : SettingsFor(command)) {
        const size_t before = text.size();
        for (const GivenOption& one : *given) {
            if (one.name == option.name)
                text += LineOf(one);
        }
        if (text.size() > before)
            continue;
        text.append("# ").append(option.name.substr(2));
        if (option.name == "--pointer")
            text.append(" = ").append(options->pointer);
        text += "  # not given\n";
    }
    return text;
}

} // namespace korvex::command
