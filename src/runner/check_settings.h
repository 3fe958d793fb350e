// The settings file "Korvex.ini" of the current directory, looked at with the eyes of who has to put it right.
#pragma once

#include "runner/finding.h"

namespace korvex::runner {

// Adds whether the file can be used and written, and each value in it that the runtime reads otherwise than it stands, or that makes the
// mapping useless.
void CheckSettings(Findings* findings);

} // namespace korvex::runner
