// The calibrations that saves have replaced, the last ten, in "Korvex.ini.previous" beside the
// settings file of the current directory; and whose calibration that file has.
#pragma once

#include <string>

#include "control/json_line.h"
#include "link/touch_controller.h"

namespace korvex::command {

struct CalibrationHistory {
    std::string port; // of the panel whose calibration the settings file has; empty: not known
    // arrays, the latest first, of at most ten: "port", "until", "residuals" and "calibration" of
    // each
    Json previous;
    Json undone; // what undos have replaced
};

// Reads the file; empty where there is none that can be read.
CalibrationHistory ReadCalibrationHistory();

// The panel whose calibration the settings file has and its port, for people; empty where that is
// the one on `port`, or not known.
std::string OtherPanelOf(const CalibrationHistory* history, const std::string& port);

// The calibration that a save will replace: that of the settings file, without one `used`, which
// maps the panel's touches now.
CalibrationData ReplacedCalibration(const CalibrationData* used, uint32_t resolutionBits);

// Adds the calibration that a save for the panel on `port` has just replaced by `saved`. Empty, or
// why it is not kept.
std::string StoreReplaced(const std::string& port, const CalibrationData* replaced,
    const CalibrationData* saved, uint32_t resolutionBits);

// Saves the latest of them in the settings file, and takes it out of the history: `restored`, with
// nothing derived (MergeCalibration). Only where that was in use until `until`, unless that is
// empty, and where the last save was for the panel on `port`, unless that is empty. Empty, or why
// nothing has changed.
std::string UndoSave(const std::string& port, const std::string& until, CalibrationData* restored);

} // namespace korvex::command
