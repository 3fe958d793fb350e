// The settings file "Korvex.ini" of the current directory, as a runtime that starts there finds it.
#pragma once

#include <string>

namespace korvex::command {

// The file's native path; empty when it is too long for the runtime.
std::string SettingsFilePath();

// Why an existing file is not used, or why the file cannot be saved or created; empty if neither.
std::string SettingsFault();

} // namespace korvex::command
