// How a raw touch point becomes the point that is sent as pointer input: a calibration stage
// into the work space (4096 x 4096), then an output stage onto the output span. Integer arithmetic
// that wraps (wrapping.h), no allocation, no calls of the platform; nothing is written into the
// calibration. Every routine changes the point in place.
#pragma once

#include "link/touch_controller.h"

namespace korvex {

// Maps a raw point to output coordinates. They lie outside 0 to 65535 where a point kernel has
// extrapolated beyond the targets.
bool MapPoint(const CalibrationData* calib, Point* point);

// The calibration stage: plain scaling of the raw span unless mapMode is 1 (a span of 0 maps to 0),
// else the point kernel of a 4- or 9-point calibration after the orientation transform, else the
// standard box. The result is that of the stage that ran.
bool MapToWork(const CalibrationData* calib, Point* point);

// Whether a calibrated mapping goes by the points (4 or 9 of them), not by the standard box.
bool MapsByPoints(const CalibrationData* calib);

// Scales by the standard box and clamps to 0 to 4096 inclusive. A box without width or height
// scales neither axis: false.
bool MapStandardBox(const CalibrationData* calib, Point* point);

// The output stage.
bool ScaleToOutput(const CalibrationData* calib, Point* point);

} // namespace korvex
