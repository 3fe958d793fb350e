// The targets of a calibration: which one waits for a finger, what a touch on it is worth, and
// whether the points fit each other in the end. If a target lies too far from where the others
// predict it (JudgePoints), the outlier is asked for again. If that changes nothing, all suspects
// are, all four of four: the wrong one need not be the one that stands out.
// It knows no window, no controller and no clock: reports come with their time. One thread at a
// time.
#pragma once

#include <cstdint>

#include "console/plausibility.h"
#include "console/resting_place.h"
#include "link/touch_controller.h"

namespace korvex {

inline constexpr uint32_t MAX_TARGETS = 9;

enum class TargetStep : uint8_t {
    WAITING,  // the target waits for a finger
    SAMPLING, // it is being touched
    TAKEN,    // it is taken, and measured on until the finger is lifted
    LIFTING,  // the touch is of no use; the finger must be lifted
    REVIEW,   // all targets are taken, and their points fit each other
    MISFIT,   // they do not, though those that can be wrong were touched again (judgement)
};

// Why a target is asked for again.
enum class RetakeReason : uint8_t {
    NONE,
    LIFTED_EARLY, // before the ring was full
    SLID,         // the finger has not rested, or something else touches the panel as well
    ELSEWHERE,    // the touch is where another target was touched
    UNEVEN,       // it lies too far from where the other targets predict it, or makes one do so
};

// The change that a report has made, for the page.
enum class TargetChange : uint8_t {
    NONE,
    BEGUN,    // a target is being touched
    PROGRESS, // its ring has grown
    TAKEN,    // the target is taken: the finger may be lifted
    REFUSED,  // this target, or a different one, is repeated (reason)
    LIFTED,   // the finger has been lifted: a target waits
    FINISHED, // it has been lifted from the last one: REVIEW or MISFIT
};

struct CalibrationTargets {
    TargetStep step;
    RetakeReason reason; // of the target that waits, or of the finger that must be lifted
    uint32_t current;    // the target that is touched now, from 0
    uint32_t resolutionBits;
    // the targets' raw positions in advPoints; whole, with orientation and reference points, from
    // REVIEW on
    CalibrationData calib;
    PointsJudgement judgement; // from REVIEW and MISFIT on

    // The touch that is going on.
    TouchSamples samples; // raw
    uint32_t firstSampleMs;
    uint32_t progress; // of the ring, percent
    bool resting;      // it has not slid

    Point refused;   // where the last touch was that was ELSEWHERE
    bool wasRefused; // for that, and no target has been taken since

    // After all targets: those that are asked for again, and those that were; a bit for each.
    uint32_t asked;
    uint32_t retaken;
    bool allSuspectsAsked;
};

// Begins with the first of 4 or 9 targets (any other number means 9), in target order, for a
// controller of that resolution.
void StartTargets(CalibrationTargets* targets, uint32_t targetCount, uint32_t resolutionBits);

// Handles a report of the controller, or the end of a touch that was sent instead. Times are those
// of a millisecond clock that may wrap.
TargetChange HandleTargetReport(
    CalibrationTargets* targets, Point raw, bool touching, uint32_t nowMs);

// Asks for one target again, in REVIEW or MISFIT; then the points are judged again.
void RetakeTarget(CalibrationTargets* targets, uint32_t target);

// Forgets the touch that is going on: its controller is gone.
void ForgetTargetTouch(CalibrationTargets* targets);

// The place of a target on the screen, in output units (0 to 65535), as the mapping takes it.
Point TargetPlace(const CalibrationTargets* targets, uint32_t target);

} // namespace korvex
