// The relation between the panel's axes and the screen's: the eight orientation codes. Target order
// of calibration points: with 9, 16 or 25 points row by row from the top, each from left to right;
// with 4 points top-left, top-right, bottom-right, bottom-left.
#pragma once

#include "link/touch_controller.h"

namespace korvex {

inline constexpr uint32_t MAX_ORIENTATION = 8;

// True if the code swaps the panel's axes.
constexpr bool SwapsAxes(uint32_t orientation)
{
    return orientation >= 5 && orientation <= MAX_ORIENTATION;
}

// How many targets are in a row, of 4, 9, 16 or 25 in all; 0 for a number that is none of these.
constexpr uint32_t SideOf(size_t pointCount)
{
    for (uint32_t side = 2; side <= 5; ++side) {
        if (size_t{side} * side == pointCount)
            return side;
    }
    return 0;
}

// The point after the transform of the calibration's orientation code; W is the work span (4096):
//   1 (x, y)    2 (x, W - y)    3 (W - x, y)    4 (W - x, W - y)
//   5 (y, x)    6 (y, W - x)    7 (W - y, x)    8 (W - y, W - x)
// Any other code leaves the point unchanged.
Point TransformPoint(const CalibrationData* calib, Point point);

// Replaces the point by its transform.
bool ApplyOrientation(const CalibrationData* calib, Point* point);

// Sets `orientation` from the corner points of the 4, 9, 16 or 25 advPoints.
void DetectOrientation(CalibrationData* calib);

// Fills the first pointCount refPoints with the transforms of the advPoints; with an orientation
// outside 1 to 8 none.
bool BuildReferencePoints(CalibrationData* calib);

} // namespace korvex
