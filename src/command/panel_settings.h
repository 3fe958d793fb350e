// A panel's settings: the options of `korvex drive`, in /etc/korvex/NAME.conf, and those of all
// panels in /etc/korvex.conf.
#pragma once

#include <string>
#include <vector>

#include "cli/command_line.h"
#include "command/command_table.h"
#include "process/options.h"

namespace korvex::command {

// Of all panels.
inline constexpr const char* COMMON_SETTINGS = "/etc/korvex.conf";

// "/etc/korvex/left.conf".
std::string SettingsOf(const std::string& panel);

// Stores the command's options that its command line does not have: those of the panel's file, then
// those of all panels' file. They are added to `given`. What is wrong in a file is skipped; the
// result has a sentence for each fault, which names file and line.
std::vector<std::string> ReadPanelSettings(
    const KorvexCommand& command, const std::string& panel, std::vector<GivenOption>* given);

// The faults of one of those files, a sentence each; none if the file is missing.
std::vector<std::string> SettingsFaults(const std::string& path);

// The command's options with their values, as lines of such a file, and where each was given.
std::string SettingsText(
    const KorvexCommand& command, const Options* options, const std::vector<GivenOption>* given);

} // namespace korvex::command
