#include "console/calibration_guide.h"

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

bool IsNear(const CalibrationGuide* guide, Point a, Point b, int32_t part)
{
    const int32_t distance = (1 << guide->resolutionBits) * part / 1000;
    return std::abs(a.x - b.x) < distance && std::abs(a.y - b.y) < distance;
}

constexpr int32_t MIN_OUTLIER = 3; // raw units

Point RestingPlaceOf(const CalibrationGuide* guide, uint32_t begin, uint32_t end)
{
    return RestingPlace(&guide->samples, begin, end, MIN_OUTLIER);
}

// The samples that count end here: the last ones may be a lifting finger's.
uint32_t KeptEnd(const CalibrationGuide* guide)
{
    return guide->samples.count > DROPPED_REPORTS ? guide->samples.count - DROPPED_REPORTS : 0;
}

bool HasSlid(const CalibrationGuide* guide)
{
    const uint32_t end = KeptEnd(guide);
    if (end < DROPPED_REPORTS + 2 * STEADY_REPORTS)
        return false;
    const Point start = RestingPlaceOf(guide, DROPPED_REPORTS, DROPPED_REPORTS + STEADY_REPORTS);
    return !IsNear(guide, start, RestingPlaceOf(guide, end - STEADY_REPORTS, end), SLIDE_PART);
}

// Whether a touch is where another target was touched: a finger that has not gone on, or touched
// that one wrongly.
bool IsElsewhere(const CalibrationGuide* guide, Point measured)
{
    const bool allTaken = guide->asked != 0;
    for (uint32_t target = 0; target < guide->calib.pointCount; ++target) {
        if (target != guide->target && (allTaken || target < guide->target)
            && IsNear(guide, measured, guide->calib.advPoints[target], NEAR_PART))
            return true;
    }
    return false;
}

GuideChange Refuse(CalibrationGuide* guide, GuideReason reason, bool touching)
{
    guide->step = touching ? GuideStep::LIFTING : GuideStep::WAITING;
    guide->reason = reason;
    guide->progress = 0;
    return GuideChange::REFUSED;
}

// Asks for the first of the targets that are to be touched again.
GuideChange AskAgain(CalibrationGuide* guide)
{
    guide->target = static_cast<uint32_t>(std::countr_zero(guide->asked));
    return Refuse(guide, GuideReason::UNEVEN, false);
}

GuideChange Finish(CalibrationGuide* guide)
{
    RepairCalibration(&guide->calib, guide->resolutionBits);
    guide->judgement = JudgePoints(&guide->calib, guide->resolutionBits);
    const uint32_t outlier = guide->judgement.outlier;
    if (outlier != NO_TARGET && (guide->retaken >> outlier & 1U) == 0) {
        guide->asked = 1U << outlier;
        return AskAgain(guide);
    }
    if (outlier != NO_TARGET && !guide->allSuspectsAsked) {
        guide->allSuspectsAsked = true;
        guide->asked = guide->calib.pointCount == 4 ? 0xFU : guide->judgement.suspects;
        return AskAgain(guide);
    }
    guide->step
        = guide->judgement.fault == PointsFault::NONE ? GuideStep::REVIEW : GuideStep::MISFIT;
    return GuideChange::FINISHED;
}

// The ring is full. A touch where another target was touched is refused once: where the next one is
// there too, the other was touched wrongly, which shows in the end.
GuideChange TakeTarget(CalibrationGuide* guide)
{
    const Point measured = RestingPlaceOf(guide, DROPPED_REPORTS, KeptEnd(guide));
    const bool insists = guide->wasRefused && IsNear(guide, guide->refused, measured, SAME_PART);
    if (!insists && IsElsewhere(guide, measured)) {
        guide->wasRefused = true;
        guide->refused = measured;
        return Refuse(guide, GuideReason::ELSEWHERE, true);
    }
    guide->wasRefused = false;
    guide->reason = GuideReason::NONE;
    guide->step = GuideStep::TAKEN;
    return GuideChange::TAKEN;
}

// The finger has left an accepted target: all measurements of its rest are used.
GuideChange LeaveTarget(CalibrationGuide* guide)
{
    guide->calib.advPoints[guide->target] = RestingPlaceOf(guide, DROPPED_REPORTS, KeptEnd(guide));
    guide->progress = 0;
    if (guide->asked != 0) {
        const uint32_t bit = 1U << guide->target;
        guide->asked &= ~bit;
        guide->retaken |= bit;
        return guide->asked != 0 ? AskAgain(guide) : Finish(guide);
    }
    if (guide->target + 1 == guide->calib.pointCount)
        return Finish(guide);
    ++guide->target;
    guide->step = GuideStep::WAITING;
    return GuideChange::NEXT;
}

GuideChange TakeSample(CalibrationGuide* guide, Point raw, uint32_t nowMs)
{
    AddSample(&guide->samples, raw);
    if (guide->samples.count == DROPPED_REPORTS)
        guide->firstSampleMs = nowMs;
    if (HasSlid(guide))
        return Refuse(guide, GuideReason::SLID, true);
    const uint32_t end = KeptEnd(guide);
    if (end <= DROPPED_REPORTS)
        return GuideChange::NONE;
    const uint32_t byCount = (end - DROPPED_REPORTS) * 100 / KEPT_REPORTS;
    const uint32_t byTime = (nowMs - guide->firstSampleMs) * 100 / KEPT_MS;
    const uint32_t progress = std::min({byCount, byTime, 100U});
    const bool grown = progress > guide->progress;
    guide->progress = progress;
    if (progress == 100)
        return TakeTarget(guide);
    return grown ? GuideChange::PROGRESS : GuideChange::NONE;
}

// A finger may roll away before it is off; what it measures then does not count.
GuideChange MeasureOn(CalibrationGuide* guide, Point raw)
{
    if (guide->resting) {
        AddSample(&guide->samples, raw);
        guide->resting = !HasSlid(guide);
        if (!guide->resting)
            guide->samples.count -= std::min(guide->samples.count, STEADY_REPORTS);
    }
    return GuideChange::NONE;
}

} // namespace

void StartGuide(CalibrationGuide* guide, uint32_t targetCount, uint32_t resolutionBits)
{
    *guide = {};
    guide->resolutionBits = resolutionBits;
    const Point rawRange{int32_t{1} << resolutionBits, int32_t{1} << resolutionBits};
    const Point outRange{OUTPUT_RANGE, OUTPUT_RANGE};
    SetCalibrationRanges(&guide->calib, &rawRange, &outRange);
    guide->calib.mapMode = 1;
    guide->calib.orientation = 1;
    guide->calib.pointCount = targetCount == 4 ? 4 : MAX_TARGETS;
}

GuideChange TakeGuideReport(CalibrationGuide* guide, Point raw, bool touching, uint32_t nowMs)
{
    switch (guide->step) {
    case GuideStep::WAITING:
        if (!touching)
            return GuideChange::NONE;
        guide->step = GuideStep::SAMPLING;
        guide->samples.count = 0;
        guide->progress = 0;
        guide->resting = true;
        TakeSample(guide, raw, nowMs);
        return GuideChange::BEGUN;
    case GuideStep::SAMPLING:
        return touching ? TakeSample(guide, raw, nowMs)
                        : Refuse(guide, GuideReason::LIFTED_EARLY, false);
    case GuideStep::TAKEN:
        return touching ? MeasureOn(guide, raw) : LeaveTarget(guide);
    case GuideStep::LIFTING:
        if (touching)
            return GuideChange::NONE;
        guide->step = GuideStep::WAITING;
        return GuideChange::NEXT;
    default:
        return GuideChange::NONE;
    }
}

void RetakeTarget(CalibrationGuide* guide, uint32_t target)
{
    guide->asked = 1U << target;
    guide->target = target;
    guide->reason = GuideReason::NONE;
    guide->step = GuideStep::WAITING;
}

void ForgetGuideTouch(CalibrationGuide* guide)
{
    if (guide->step == GuideStep::SAMPLING || guide->step == GuideStep::TAKEN
        || guide->step == GuideStep::LIFTING)
        guide->step = GuideStep::WAITING;
    guide->progress = 0;
}

Point GuideTargetPlace(const CalibrationGuide* guide, uint32_t target)
{
    constexpr std::array PLACES{TARGET_LOW, TARGET_MIDDLE, TARGET_HIGH};
    Point place{};
    if (guide->calib.pointCount == 4)
        place = {PLACES[target == 1 || target == 2 ? 2 : 0], PLACES[target < 2 ? 0 : 2]};
    else
        place = {PLACES[target % 3], PLACES[target / 3]};
    ScaleToOutput(&guide->calib, &place);
    return place;
}

} // namespace korvex
