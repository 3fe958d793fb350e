// The part of `korvex check` on the settings file "Korvex.ini" of the current directory.
#pragma once

#include <string>

#include "command/check/finding.h"

namespace korvex::command {

// Adds whether the file is used and can be saved, and each value in it that is not a number, that
// the runtime reads differently from what is written, or that makes the mapping useless. Uses the
// runtime's own reading routines.
void CheckSettings(Findings* findings);

// Checks the file in another folder, that of the panel `subject`.
void CheckSettingsIn(const std::string& folder, const std::string& subject, Findings* findings);

} // namespace korvex::command
