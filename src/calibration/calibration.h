// A controller's calibration as a whole: loaded at the start of its session, replaced by the panel
// test.
#pragma once

#include <cstdint>

#include "link/touch_controller.h"

namespace korvex {

// Puts every value right that the mapping could not work with: an unknown orientation becomes 1, an
// unknown number of points 0, a side of the standard box without extent the middle ten twelfths of
// the raw span of that resolution. Orientation and reference points are derived from the points
// if there are any.
void RepairCalibration(CalibrationData* calib, uint32_t resolutionBits);

// The model's defaults, then the settings file or, if there is none, the calibration in the
// controller's memory; then every value is put right that the mapping could not work with. True
// when the values came from the file. Before the reader thread runs.
bool LoadSettings(TouchController* controller);

// Installs the calibration of `source` and saves it to the settings file: pointCount (0, 4, 9, 16
// or 25), orientation, standard box and the pointCount advPoints (raw units, in target order). With
// points, orientation and reference points are derived from them. True always. A running session
// maps each report by the old calibration or by the new one, never by a mix; mapMode is 1 from now
// on. On the thread that runs the panel test.
bool ImportCalibration(TouchController* controller, const CalibrationData* source);

// The controller's calibration with the values of `source`, as ImportCalibration would install it,
// for callers that save it by WriteCalibrationFile. Changes nothing. Any thread.
CalibrationData MergeCalibration(TouchController* controller, const CalibrationData* source);

// Installs a calibration from MergeCalibration or CopyCalibration: it maps from the next report on.
// The settings file stays unchanged. Any thread.
void InstallCalibration(TouchController* controller, const CalibrationData* calib);

} // namespace korvex
