// The settings file "Korvex.ini" of the current directory, looked at with the eyes of who has to put it right.
#pragma once

#include "command/finding.h"

namespace korvex::command {

// Adds whether the file can be used and written, and each value in it that the runtime reads otherwise than it stands, or that makes the
// mapping useless.
void CheckSettings(Findings* findings);

} // namespace korvex::command
