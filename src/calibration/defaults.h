// The calibration that a controller's model starts from.
#pragma once

#include "link/touch_controller.h"

namespace korvex {

// Spans of the work space and of the output, both axes.
inline constexpr int32_t WORK_RANGE = 4096;
inline constexpr int32_t OUTPUT_RANGE = 65535;

// Sets the raw and the output span where they are given (null: left alone), and the work span to
// 4096 x 4096 always. True always.
bool SetCalibrationRanges(CalibrationData* calib, const Point* rawRange, const Point* outRange);

// Sets resolutionBits (asking the controller), mapMode and the spans by the model. True when the
// model's query succeeded or it needs none. Uses the controller's link: only before its reader
// thread runs.
bool SetDefaultCalibration(TouchController* controller);

} // namespace korvex
