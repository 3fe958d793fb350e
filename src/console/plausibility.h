// Whether calibration points can be right: a finger that slid, hit the wrong target or was never
// there leaves points that map touches to nonsense, and shows in how they lie to each other.
#pragma once

#include <array>
#include <cstdint>

#include "link/touch_controller.h"

namespace korvex {

enum class PointsFault : uint8_t {
    NONE,
    SAME_PLACE, // two targets were measured at one place
    ORDER,      // two neighbours are measured the wrong way round
    FOLD,       // the targets around a part of the screen enclose no such part of the panel
    RANGE,      // all of them lie within a small part of the panel
    UNEVEN,     // a target is far from where the others let expect it
};

inline constexpr uint32_t NO_TARGET = UINT32_MAX;

// A distance on the screen, in percent of what the targets span there on each axis.
struct Residual {
    double x;
    double y;
};

struct PointsJudgement {
    PointsFault fault;
    uint32_t target; // from 0, in target order; NO_TARGET where none can be named
    uint32_t other;  // the second one of SAME_PLACE and ORDER
    // How far each target lies from the smooth map that fits all of them best; 0 where there is
    // none.
    std::array<Residual, MAX_CALIBRATION_POINTS> residuals;
};

// Judges the pointCount advPoints (4, 9, 16 or 25; any other number of points has no fault) and
// their refPoints, which must be derived (RepairCalibration, MergeCalibration). A smooth map is one
// of first order for 4 points, else of second order.
PointsJudgement JudgePoints(const CalibrationData* calib, uint32_t resolutionBits);

// Where the targets measured so far let the next one expect, in raw units: the raw points of
// targets 0 to `index` - 1 stand in advPoints of `calib`, whose pointCount (4 or 9) is that of all.
// False where they let expect nothing.
bool ExpectTarget(const CalibrationData* calib, uint32_t index, Point* expected);

} // namespace korvex
