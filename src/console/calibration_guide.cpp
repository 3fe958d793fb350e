#include "console/calibration_guide.h"

#include <algorithm>
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
constexpr uint32_t STEADY_REPORTS = 16; // whose median tells where a finger rests

// Parts of the raw span, in thousandths.
constexpr int32_t SLIDE_PART = 25;      // a finger that has gone so far has slid
constexpr int32_t ELSEWHERE_PART = 150; // a target so far from where it is expected
constexpr int32_t NEAR_PART = 80;       // two targets are farther apart than this
constexpr int32_t SAME_PART = 50;       // two touches of one place are nearer

using Samples = std::array<Point, GUIDE_MAX_SAMPLES>;

bool IsNear(const CalibrationGuide* guide, Point a, Point b, int32_t part)
{
    const int32_t distance = (1 << guide->resolutionBits) * part / 1000;
    return std::abs(a.x - b.x) < distance && std::abs(a.y - b.y) < distance;
}

// Where a finger rests, by each axis: the mean of the samples without the outliers, which are as
// far from their middle as noise never is.
Point RestingPlace(const Samples* samples, uint32_t begin, uint32_t end)
{
    // of the median distance from the median; noise reaches it once in a hundred times
    constexpr int32_t OUTLIER_FACTOR = 4;
    constexpr int32_t MIN_OUTLIER = 3; // raw units
    static std::array<int32_t, GUIDE_MAX_SAMPLES> values;
    const uint32_t count = end - begin;
    const auto median = [count] {
        std::sort(values.begin(), values.begin() + count);
        return values[count / 2];
    };
    const auto rest = [&](int32_t Point::* axis) {
        for (uint32_t i = 0; i < count; ++i)
            values[i] = (*samples)[begin + i].*axis;
        const int32_t middle = median();
        for (uint32_t i = 0; i < count; ++i)
            values[i] = std::abs((*samples)[begin + i].*axis - middle);
        const int32_t limit = std::max(MIN_OUTLIER, OUTLIER_FACTOR * median());
        int32_t sum = 0;
        int32_t kept = 0;
        for (uint32_t i = begin; i < end; ++i) {
            const int32_t value = (*samples)[i].*axis;
            sum += std::abs(value - middle) <= limit ? value : 0;
            kept += std::abs(value - middle) <= limit ? 1 : 0;
        }
        return (2 * sum + kept) / (2 * kept); // rounded: raw coordinates are not negative
    };
    return {rest(&Point::x), rest(&Point::y)};
}

// The samples that count end here: the last ones may be a lifting finger's.
uint32_t KeptEnd(const CalibrationGuide* guide)
{
    return guide->sampleCount > DROPPED_REPORTS ? guide->sampleCount - DROPPED_REPORTS : 0;
}

bool HasSlid(const CalibrationGuide* guide)
{
    const uint32_t end = KeptEnd(guide);
    if (end < DROPPED_REPORTS + 2 * STEADY_REPORTS)
        return false;
    const Point start
        = RestingPlace(&guide->samples, DROPPED_REPORTS, DROPPED_REPORTS + STEADY_REPORTS);
    return !IsNear(
        guide, start, RestingPlace(&guide->samples, end - STEADY_REPORTS, end), SLIDE_PART);
}

// Whether a touch can be the current target's, as the ones before have it.
bool IsElsewhere(const CalibrationGuide* guide, Point measured)
{
    for (uint32_t target = 0; target < guide->calib.pointCount; ++target) {
        // all are, once one is asked for again
        const bool isTaken = target < guide->target || guide->retaken != 0;
        if (target != guide->target && isTaken
            && IsNear(guide, measured, guide->calib.advPoints[target], NEAR_PART))
            return true;
    }
    Point expected{};
    return guide->retaken == 0 && ExpectTarget(&guide->calib, guide->target, &expected)
        && !IsNear(guide, measured, expected, ELSEWHERE_PART);
}

GuideChange Refuse(CalibrationGuide* guide, GuideReason reason, bool touching)
{
    guide->step = touching ? GuideStep::LIFTING : GuideStep::WAITING;
    guide->reason = reason;
    guide->progress = 0;
    return GuideChange::REFUSED;
}

GuideChange RefuseElsewhere(CalibrationGuide* guide, Point measured)
{
    if (guide->wasRefused && IsNear(guide, guide->refused, measured, SAME_PART)) {
        guide->wasRefused = false;
        guide->retaken = 0;
        guide->target = 0;
        return Refuse(guide, GuideReason::START_OVER, true);
    }
    guide->wasRefused = true;
    guide->refused = measured;
    return Refuse(guide, GuideReason::ELSEWHERE, true);
}

// Judges all points; the one that does not fit the others is asked for once more.
GuideChange Finish(CalibrationGuide* guide)
{
    RepairCalibration(&guide->calib, guide->resolutionBits);
    guide->judgement = JudgePoints(&guide->calib, guide->resolutionBits);
    const uint32_t culprit = guide->judgement.target;
    if (guide->judgement.fault == PointsFault::NONE) {
        guide->step = GuideStep::REVIEW;
    } else if (guide->judgement.fault == PointsFault::UNEVEN && culprit != NO_TARGET
        && (guide->retaken >> culprit & 1U) == 0) {
        guide->retaken |= 1U << culprit;
        guide->target = culprit;
        return Refuse(guide, GuideReason::UNEVEN, false);
    } else {
        guide->step = GuideStep::MISFIT;
    }
    return GuideChange::FINISHED;
}

// The ring is full.
GuideChange TakeTarget(CalibrationGuide* guide)
{
    const Point measured = RestingPlace(&guide->samples, DROPPED_REPORTS, KeptEnd(guide));
    if (IsElsewhere(guide, measured))
        return RefuseElsewhere(guide, measured);
    guide->wasRefused = false;
    guide->reason = GuideReason::NONE;
    guide->step = GuideStep::TAKEN;
    return GuideChange::TAKEN;
}

// The finger is off a target that was taken: all that it has measured while it rested counts.
GuideChange LeaveTarget(CalibrationGuide* guide)
{
    guide->calib.advPoints[guide->target]
        = RestingPlace(&guide->samples, DROPPED_REPORTS, KeptEnd(guide));
    guide->progress = 0;
    if (guide->retaken != 0 || guide->target + 1 == guide->calib.pointCount)
        return Finish(guide);
    ++guide->target;
    guide->step = GuideStep::WAITING;
    return GuideChange::NEXT;
}

void AddSample(CalibrationGuide* guide, Point raw)
{
    if (guide->sampleCount < GUIDE_MAX_SAMPLES)
        guide->samples[guide->sampleCount++] = raw;
}

GuideChange TakeSample(CalibrationGuide* guide, Point raw, uint32_t nowMs)
{
    AddSample(guide, raw);
    if (guide->sampleCount == DROPPED_REPORTS)
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
        AddSample(guide, raw);
        guide->resting = !HasSlid(guide);
        if (!guide->resting)
            guide->sampleCount -= std::min(guide->sampleCount, STEADY_REPORTS);
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
        guide->sampleCount = 0;
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
