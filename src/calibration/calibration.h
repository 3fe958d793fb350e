// A controller's calibration as a whole: loaded at the start of its session, replaced by the panel
// test.
#pragma once

#include <array>
#include <cstdint>

#include "link/touch_controller.h"

namespace korvex {

// The numbers of points that a calibration with points can have.
inline constexpr std::array<uint32_t, 4> POINT_COUNTS{4, 9, 16, 25};

// Puts every value right that the mapping could not work with: an unknown orientation becomes 1, an
// unknown number of points 0, a side of the standard box without extent the middle ten twelfths of
// the raw span of that resolution. Orientation and reference points are derived from the points
// where there are any.
void RepairCalibration(CalibrationData* calib, uint32_t resolutionBits);

// The model's defaults, then the settings file or, where there is none, the calibration in the
// controller's memory; then every value is put right that the mapping could not work with. True
// when the values came from the file. Before the reader thread runs.
bool LoadSettings(TouchController* controller);

// Takes over pointCount (0, 4, 9, 16 or 25), orientation, standard box and the pointCount advPoints
// of `source` (raw units, in target order), derives orientation and reference points anew where
// there are points, and saves the result to the settings file. True always. A running session maps
// each report either with the old calibration or with the new one, calibrated in either case from
// here on. On the thread that runs the panel test.
bool ImportCalibration(TouchController* controller, const CalibrationData* source);

// What ImportCalibration makes of `source`, for who saves it in another way (WriteCalibrationFile).
// Any thread.
CalibrationData MergeCalibration(TouchController* controller, const CalibrationData* source);

// Has a calibration that MergeCalibration or CopyCalibration has given map from the next report on;
// the settings file keeps what it has. Any thread.
void InstallCalibration(TouchController* controller, const CalibrationData* calib);

} // namespace korvex
