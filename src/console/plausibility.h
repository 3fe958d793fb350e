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
    FOLD,       // the targets around a part of the screen enclose no part of the panel
    RANGE,      // all of them lie within a small part of the panel
    UNEVEN,     // a target is far from where the others predict it
};

inline constexpr uint32_t NO_TARGET = UINT32_MAX;

// In percent of the screen's width and height.
struct Residual {
    double x;
    double y;
};

// A target that lies farther from where the others predict it, in percent of the screen, was not
// touched where it is: no panel is so uneven.
inline constexpr double MAX_RESIDUAL_PERCENT = 3;

struct PointsJudgement {
    PointsFault fault;
    uint32_t target; // from 0, in target order; NO_TARGET where none can be named
    uint32_t other;  // the second one of SAME_PLACE and ORDER
    // How far each target lies from where the others predict it, by the smooth map that fits those
    // best. 0 if there is no such map.
    std::array<Residual, MAX_CALIBRATION_POINTS> residuals;
    // The targets that lie more than MAX_RESIDUAL_PERCENT off, whatever `fault` is: a bit for each.
    // One that was touched wrongly makes others suspect.
    uint32_t suspects;
    // The suspect without which the others fit best. With four targets the others fit equally well
    // without any one of them: then the last target. NO_TARGET if there are no suspects.
    uint32_t outlier;
};

// Judges the pointCount advPoints (4, 9, 16 or 25; any other number of points has no fault) and
// their refPoints, which must be derived (RepairCalibration, MergeCalibration). A smooth map is one
// of first order for 4 points, else of second order.
PointsJudgement JudgePoints(const CalibrationData* calib, uint32_t resolutionBits);

// The resolution that the points were measured at: the low one if no point lies beyond it.
uint32_t ResolutionOfPoints(const CalibrationData* calib);

// How far that target lies from where the others predict it, in percent of the screen.
double ResidualPercent(const PointsJudgement* judgement, uint32_t target);

} // namespace korvex
