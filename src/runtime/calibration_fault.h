// Faults of a calibration, in words.
#pragma once

#include <cstdint>
#include <string>

#include "console/plausibility.h"
#include "link/touch_controller.h"

namespace korvex::command {

// The least width and height of a standard box, in raw units: a panel measures more than a fifth of
// the coarsest resolution's range.
inline constexpr int32_t MIN_BOX_SPAN = 1023 / 5;

// The words for a fault of points.
std::string PointsFaultText(const PointsJudgement* judgement);

// Why the calibration maps touches to nonsense; empty when it does not. Its reference points must
// be derived (MergeCalibration).
std::string CalibrationFault(const CalibrationData* calib, uint32_t resolutionBits);

// How far the target that fits worst lies from where the others predict it, in percent of the
// screen; 0 without points. Its reference points must be derived.
double WorstResidual(const CalibrationData* calib, uint32_t resolutionBits);

} // namespace korvex::command
