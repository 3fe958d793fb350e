// The correction of a touch by 4 or 9 measured points: interpolation between the raw positions of
// targets whose places on the screen are known. Integer arithmetic in 32 bits that wraps
// (wrapping.h); the steps are part of the contract, so that results are the same to the unit
// everywhere.
#pragma once

#include <cstdint>

#include "link/touch_controller.h"

namespace korvex {

// The targets on each axis of the work space: 2 %, 50 % and 98 % of 4096.
inline constexpr int32_t TARGET_LOW = 82;
inline constexpr int32_t TARGET_MIDDLE = 2048;
inline constexpr int32_t TARGET_HIGH = 4014;

// The straight line through (p0, q0) and (p1, q1) at x; 0 when p0 = p1.
int32_t InterpolateLinear(int32_t p0, int32_t p1, int32_t q0, int32_t q1, int32_t x);

// The quadratic through (p0, q0), (p1, q1), (p2, q2) at x, within a unit or two of the truncated
// real value; 0 when two nodes are equal. The nodes need not be in order.
int32_t InterpolateQuadratic(
    int32_t p0, int32_t p1, int32_t p2, int32_t q0, int32_t q1, int32_t q2, int32_t x);

// Brings the point, already transformed by the orientation, into work units by refPoints 0 to 3
// (bilinear). A touch on a target maps to the target's place; one beyond the outer targets is
// extrapolated, which can lead below 0 or above 4096. True always.
bool MapFourPoint(const CalibrationData* calib, Point* point);

// As MapFourPoint by refPoints 0 to 8 (biquadratic).
bool MapNinePoint(const CalibrationData* calib, Point* point);

} // namespace korvex
