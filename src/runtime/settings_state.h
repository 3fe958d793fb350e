// The settings file "Korvex.ini" of the current directory, as a runtime that starts there finds it.
#pragma once

#include <string>

namespace korvex::command {

// The file's native path; empty when it is too long for the runtime.
std::string SettingsFilePath();

// Why the file that is there is not used or cannot be saved; empty when it is and can, or can be
// created where it is missing.
std::string WhyNotWritable();

} // namespace korvex::command
