// The settings file "Korvex.ini" of the current directory, looked at with the eyes of who has to
// put it right.
#pragma once

#include <string>

#include "command/finding.h"

namespace korvex::command {

// Adds whether the file is used and can be saved, and each value in it that is no number, that the
// runtime reads otherwise than it is written, or that makes the mapping useless. What the runtime
// does is asked of the routines that it does it with.
void CheckSettings(Findings* findings);

// True when one of them is a fault.
bool HasFault(const Findings* findings);

// The file's native path; empty when it is too long for the runtime.
std::string SettingsFilePath();

// Why the file that is there is not used or cannot be saved; empty when it is and can, or can be
// created where it is missing.
std::string SavingFault();

} // namespace korvex::command
