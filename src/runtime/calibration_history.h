// The calibrations that saves have replaced, the last ten, in "Korvex.ini.previous" beside the
// settings file of the current directory; and whose calibration that file has.
#pragma once

#include <string>

#include "control/json_line.h"
#include "link/touch_controller.h"

namespace korvex::command {

struct CalibrationHistory {
    std::string port; // of the panel that was calibrated last; empty: not known
    Json previous;    // array, the latest first: "until", "residuals" and "calibration" of each
    Json undone;      // the calibration that the last undo replaced; null: none
};

// What the file has; empty where there is none that can be read.
CalibrationHistory ReadCalibrationHistory();

// Adds the calibration that a save for the panel on `port` has just replaced by `saved`. Empty, or
// why it is not kept.
std::string KeepReplaced(const std::string& port, const CalibrationData* replaced,
    const CalibrationData* saved, uint32_t resolutionBits);

// Saves the latest of them in the settings file, and takes it out of the history. `restored`, which
// has the calibration that holds, gets its values (MergeCalibration), `until` when it was replaced.
// Empty, or why not: nothing has changed then.
std::string UndoSave(CalibrationData* restored, std::string* until);

} // namespace korvex::command
