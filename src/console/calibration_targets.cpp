#include "console/calibration_targets.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

#include "calibration/calibration.h"
#include "calibration/defaults.h"
#include "calibration/mapping.h"
#include "calibration/point_kernels.h"

namespace korvex {

namespace {

// A finger settles on the panel at first, and rolls off in the end.
constexpr uint32_t DROPPED_REPORTS = 8;
constexpr uint32_t KEPT_REPORTS = 60;
constexpr uint32_t KEPT_MS = 500;
constexpr uint32_t STEADY_REPORTS = 16; // whose median is where a finger rests

// Parts of the raw span, in thousandths.
constexpr int32_t SLIDE_PART = 25; // a finger that has gone so far has slid
constexpr int32_t NEAR_PART = 80;  // two targets are farther apart than this
constexpr int32_t SAME_PART = 50;  // two touches of one place are nearer

bool IsNear(const CalibrationTargets* targets, Point a, Point b, int32_t part)
{
    const int32_t distance = (1 << targets->resolutionBits) * part / 1000;
    return std::abs(a.x - b.x) < distance && std::abs(a.y - b.y) < distance;
}

constexpr int32_t MIN_OUTLIER = 3; // raw units

Point RestingPlaceOf(const CalibrationTargets* targets, uint32_t begin, uint32_t end)
{
    return RestingPlace(&targets->samples, begin, end, MIN_OUTLIER);
}

// The samples that count end here: the last ones may be a lifting finger's.
uint32_t KeptEnd(const CalibrationTargets* targets)
{
    return targets->samples.count > DROPPED_REPORTS ? targets->samples.count - DROPPED_REPORTS : 0;
}

bool HasSlid(const CalibrationTargets* targets)
{
    const uint32_t end = KeptEnd(targets);
    if (end < DROPPED_REPORTS + 2 * STEADY_REPORTS)
        return false;
    const Point start = RestingPlaceOf(targets, DROPPED_REPORTS, DROPPED_REPORTS + STEADY_REPORTS);
    return !IsNear(targets, start, RestingPlaceOf(targets, end - STEADY_REPORTS, end), SLIDE_PART);
}

// Whether a touch is where another target was touched: a finger that has not gone on, or touched
// that one wrongly.
bool IsElsewhere(const CalibrationTargets* targets, Point measured)
{
    const bool allTaken = targets->asked != 0;
    for (uint32_t target = 0; target < targets->calib.pointCount; ++target) {
        if (target != targets->current && (allTaken || target < targets->current)
            && IsNear(targets, measured, targets->calib.advPoints[target], NEAR_PART))
            return true;
    }
    return false;
}

TargetChange Refuse(CalibrationTargets* targets, RetakeReason reason, bool touching)
{
    targets->step = touching ? TargetStep::LIFTING : TargetStep::WAITING;
    targets->reason = reason;
    targets->progress = 0;
    return TargetChange::REFUSED;
}

// Asks for the first of the targets that are to be touched again.
TargetChange AskAgain(CalibrationTargets* targets)
{
    targets->current = static_cast<uint32_t>(std::countr_zero(targets->asked));
    return Refuse(targets, RetakeReason::UNEVEN, false);
}

TargetChange Finish(CalibrationTargets* targets)
{
    RepairCalibration(&targets->calib, targets->resolutionBits);
    targets->judgement = JudgePoints(&targets->calib, targets->resolutionBits);
    const uint32_t outlier = targets->judgement.outlier;
    if (outlier != NO_TARGET && (targets->retaken >> outlier & 1U) == 0) {
        targets->asked = 1U << outlier;
        return AskAgain(targets);
    }
    if (outlier != NO_TARGET && !targets->allSuspectsAsked) {
        targets->allSuspectsAsked = true;
        targets->asked = targets->calib.pointCount == 4 ? 0xFU : targets->judgement.suspects;
        return AskAgain(targets);
    }
    targets->step
        = targets->judgement.fault == PointsFault::NONE ? TargetStep::REVIEW : TargetStep::MISFIT;
    return TargetChange::FINISHED;
}

// The ring is full. A touch where another target was touched is refused once: where the next one is
// there too, the other was touched wrongly, which shows in the end.
TargetChange AcceptTarget(CalibrationTargets* targets)
{
    const Point measured = RestingPlaceOf(targets, DROPPED_REPORTS, KeptEnd(targets));
    const bool insists
        = targets->wasRefused && IsNear(targets, targets->refused, measured, SAME_PART);
    if (!insists && IsElsewhere(targets, measured)) {
        targets->wasRefused = true;
        targets->refused = measured;
        return Refuse(targets, RetakeReason::ELSEWHERE, true);
    }
    targets->wasRefused = false;
    targets->reason = RetakeReason::NONE;
    targets->step = TargetStep::TAKEN;
    return TargetChange::TAKEN;
}

// The finger has left an accepted target: all measurements of its rest are used.
TargetChange LeaveTarget(CalibrationTargets* targets)
{
    targets->calib.advPoints[targets->current]
        = RestingPlaceOf(targets, DROPPED_REPORTS, KeptEnd(targets));
    targets->progress = 0;
    if (targets->asked != 0) {
        const uint32_t bit = 1U << targets->current;
        targets->asked &= ~bit;
        targets->retaken |= bit;
        return targets->asked != 0 ? AskAgain(targets) : Finish(targets);
    }
    if (targets->current + 1 == targets->calib.pointCount)
        return Finish(targets);
    ++targets->current;
    targets->step = TargetStep::WAITING;
    return TargetChange::LIFTED;
}

TargetChange MeasureSample(CalibrationTargets* targets, Point raw, uint32_t nowMs)
{
    AddSample(&targets->samples, raw);
    if (targets->samples.count == DROPPED_REPORTS)
        targets->firstSampleMs = nowMs;
    if (HasSlid(targets))
        return Refuse(targets, RetakeReason::SLID, true);
    const uint32_t end = KeptEnd(targets);
    if (end <= DROPPED_REPORTS)
        return TargetChange::NONE;
    const uint32_t byCount = (end - DROPPED_REPORTS) * 100 / KEPT_REPORTS;
    const uint32_t byTime = (nowMs - targets->firstSampleMs) * 100 / KEPT_MS;
    const uint32_t progress = std::min({byCount, byTime, 100U});
    const bool grown = progress > targets->progress;
    targets->progress = progress;
    if (progress == 100)
        return AcceptTarget(targets);
    return grown ? TargetChange::PROGRESS : TargetChange::NONE;
}

// A finger may roll away before it is off; what it measures then does not count.
TargetChange MeasureOn(CalibrationTargets* targets, Point raw)
{
    if (targets->resting) {
        AddSample(&targets->samples, raw);
        targets->resting = !HasSlid(targets);
        if (!targets->resting)
            targets->samples.count -= std::min(targets->samples.count, STEADY_REPORTS);
    }
    return TargetChange::NONE;
}

} // namespace

void StartTargets(CalibrationTargets* targets, uint32_t targetCount, uint32_t resolutionBits)
{
    *targets = {};
    targets->resolutionBits = resolutionBits;
    const Point rawRange{int32_t{1} << resolutionBits, int32_t{1} << resolutionBits};
    const Point outRange{OUTPUT_RANGE, OUTPUT_RANGE};
    SetCalibrationRanges(&targets->calib, &rawRange, &outRange);
    targets->calib.mapMode = 1;
    targets->calib.orientation = 1;
    targets->calib.pointCount = targetCount == 4 ? 4 : MAX_TARGETS;
}

TargetChange HandleTargetReport(
    CalibrationTargets* targets, Point raw, bool touching, uint32_t nowMs)
{
    switch (targets->step) {
    case TargetStep::WAITING:
        if (!touching)
            return TargetChange::NONE;
        targets->step = TargetStep::SAMPLING;
        targets->samples.count = 0;
        targets->progress = 0;
        targets->resting = true;
        MeasureSample(targets, raw, nowMs);
        return TargetChange::BEGUN;
    case TargetStep::SAMPLING:
        return touching ? MeasureSample(targets, raw, nowMs)
                        : Refuse(targets, RetakeReason::LIFTED_EARLY, false);
    case TargetStep::TAKEN:
        return touching ? MeasureOn(targets, raw) : LeaveTarget(targets);
    case TargetStep::LIFTING:
        if (touching)
            return TargetChange::NONE;
        targets->step = TargetStep::WAITING;
        return TargetChange::LIFTED;
    default:
        return TargetChange::NONE;
    }
}

void RetakeTarget(CalibrationTargets* targets, uint32_t target)
{
    targets->asked = 1U << target;
    targets->current = target;
    targets->reason = RetakeReason::NONE;
    targets->step = TargetStep::WAITING;
}

void ForgetTargetTouch(CalibrationTargets* targets)
{
    if (targets->step == TargetStep::SAMPLING || targets->step == TargetStep::TAKEN
        || targets->step == TargetStep::LIFTING)
        targets->step = TargetStep::WAITING;
    targets->progress = 0;
}

Point TargetPlace(const CalibrationTargets* targets, uint32_t target)
{
    constexpr std::array PLACES{TARGET_LOW, TARGET_MIDDLE, TARGET_HIGH};
    Point place{};
    if (targets->calib.pointCount == 4)
        place = {PLACES[target == 1 || target == 2 ? 2 : 0], PLACES[target < 2 ? 0 : 2]};
    else
        place = {PLACES[target % 3], PLACES[target / 3]};
    ScaleToOutput(&targets->calib, &place);
    return place;
}

} // namespace korvex
