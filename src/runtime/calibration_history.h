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

// Reads the file; empty if there is none that can be read.
CalibrationHistory ReadCalibrationHistory();

// The panel whose calibration the settings file has and its port, for people; empty if that is
// the one on `port`, or not known.
std::string OtherPanelOf(const CalibrationHistory* history, const std::string& port);

// The calibration that a save will replace: that of the settings file; if there is no file, `used`,
// the one that maps the panel's touches now.
CalibrationData PreviousCalibration(const CalibrationData* used, uint32_t resolutionBits);

// Adds the calibration that a save for the panel on `port` has just replaced by `saved`. Empty, or
// why it is not kept.
std::string KeepPreviousCalibration(const std::string& port, const CalibrationData* replaced,
    const CalibrationData* saved, uint32_t resolutionBits);

// Replaces the port `before` by `port` everywhere in the history, if there is one. Empty, or why
// nothing has changed.
std::string ChangePortInHistory(const std::string& before, const std::string& port);

// Saves the latest kept calibration in the settings file again, removes it from the history, and
// stores it in `restored` with nothing derived (MergeCalibration). Refuses if `until` is given and
// it was not in use until then, or if `port` is given and the last save was for another panel.
// Empty, or why nothing has changed.
std::string UndoSave(const std::string& port, const std::string& until, CalibrationData* restored);

} // namespace korvex::command
