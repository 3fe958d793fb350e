// The part of `korvex check` on the settings file "Korvex.ini" of the current directory.
#pragma once

#include <string>

#include "command/check/finding.h"

namespace korvex::command {

// Adds whether the file is used and can be saved, and each value in it that is no number, that the
// runtime reads otherwise than it is written, or that makes the mapping useless. What the runtime
// does is asked of the routines that it does it with.
void CheckSettings(Findings* findings);

// Checks the file in another folder, that of the panel `subject`.
void CheckSettingsIn(const std::string& folder, const std::string& subject, Findings* findings);

} // namespace korvex::command
