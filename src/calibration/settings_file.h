// The settings file "Korvex.ini", section "Calibration". The runtime's file is the one in the current directory; the co-installer's is
// the one in the system folder.
#pragma once

#include "link/touch_controller.h"
#include "support/bounded_text.h"

namespace korvex {

// Reads orientation, pointCount, standard box and pointCount advPoints (at most 25) as they stand, unchecked; a missing key gives its
// default (orientation 1, no points, standard box 0 to 1023, point coordinates 0). False, with nothing changed, when the file does not
// exist or cannot be opened for reading and writing.
bool LoadCalibrationFile(TouchController* controller);

// Writes the same values, creating the file where it is missing and leaving every other line alone. What fails is not reported.
bool SaveCalibrationFile(TouchController* controller);

// Gives the path of the settings file in the system folder, into a buffer of TEXT_CAPACITY units; true when the file can be opened for
// reading. The path is filled either way.
bool LocateSettingsFile(WCHAR* path);

} // namespace korvex
