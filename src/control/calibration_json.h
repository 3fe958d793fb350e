// A calibration on the control socket, and in the file of those that saves have replaced.
#pragma once

#include <string>

#include "control/json_line.h"
#include "link/touch_controller.h"

namespace korvex::command {

// Its "orientation", "box" and "points".
Json CalibrationJson(const CalibrationData* calib);

// Reads those of the three that are there over what `calib` has. Empty, or what is wrong; `calib`
// is then of no use. Derives nothing (RepairCalibration, MergeCalibration).
std::string ParseCalibration(const Json& json, CalibrationData* calib);

} // namespace korvex::command
