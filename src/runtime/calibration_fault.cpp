#include "runtime/calibration_fault.h"

#include <algorithm>
#include <cstdlib>

#include "calibration/mapping.h"

namespace korvex::command {

namespace {

bool IsWide(int32_t minimum, int32_t maximum)
{
    return std::abs(int64_t{maximum} - minimum) >= MIN_BOX_SPAN;
}

} // namespace

std::string PointsFaultText(const PointsJudgement* judgement)
{
    const auto name = [](uint32_t target) { return std::to_string(target + 1); };
    const std::string both = "the targets " + name(judgement->target) + " and "
        + name(judgement->other) + " were measured ";
    switch (judgement->fault) {
    case PointsFault::SAME_PLACE:
        return both + "at the same place";
    case PointsFault::ORDER:
        return both + "the wrong way round";
    case PointsFault::FOLD:
        return "the targets around target " + name(judgement->target)
            + " do not enclose a part of the panel: it was measured elsewhere";
    case PointsFault::RANGE:
        return "the calibration points take less than a fifth of the panel";
    default:
        return judgement->target == NO_TARGET ? "the calibration points do not fit each other"
                                              : "target " + name(judgement->target)
                + " was measured far from where the others predict it";
    }
}

double WorstResidual(const CalibrationData* calib, uint32_t resolutionBits)
{
    double worst = 0;
    const PointsJudgement judgement = JudgePoints(calib, resolutionBits);
    for (uint32_t target = 0; target < calib->pointCount; ++target)
        worst = std::max(worst, ResidualPercent(&judgement, target));
    return worst;
}

std::string CalibrationFault(const CalibrationData* calib, uint32_t resolutionBits)
{
    const int32_t range = int32_t{1} << resolutionBits;
    if (!MapsByPoints(calib))
        return IsWide(calib->stdMinX, calib->stdMaxX) && IsWide(calib->stdMinY, calib->stdMaxY)
            ? ""
            : "the box leaves less than a fifth of the panel";
    for (uint32_t i = 0; i < calib->pointCount; ++i) {
        const Point point = calib->advPoints[i];
        if (point.x < 0 || point.x >= range || point.y < 0 || point.y >= range)
            return "point " + std::to_string(i + 1) + " is not within the controller's range, 0 to "
                + std::to_string(range - 1);
    }
    const PointsJudgement judgement = JudgePoints(calib, resolutionBits);
    return judgement.fault == PointsFault::NONE ? "" : PointsFaultText(&judgement);
}

} // namespace korvex::command
