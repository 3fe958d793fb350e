#include "calibration/mapping.h"

#include <algorithm>

#include "calibration/orientation.h"
#include "calibration/point_kernels.h"
#include "calibration/wrapping.h"

namespace korvex {

namespace {

int32_t Scale(int32_t value, int32_t numerator, int32_t denominator)
{
    return WrapDivide(WrapMultiply(numerator, value), denominator);
}

// First from below, then from above; std::clamp is undefined for an upper limit below the lower
// one.
int32_t ClampToRange(int32_t value, int32_t range)
{
    return std::min(std::max(value, 0), range);
}

} // namespace

// Flattened, so that plain scaling and the standard box keep the point in registers from stage to
// stage.
[[gnu::flatten]] bool MapPoint(const CalibrationData* calib, Point* point)
{
    MapToWork(calib, point);
    ScaleToOutput(calib, point);
    return true;
}

bool MapToWork(const CalibrationData* calib, Point* point)
{
    if (calib->mapMode != 1) {
        point->x = Scale(point->x, calib->workRangeX, calib->rawRangeX);
        point->y = Scale(point->y, calib->workRangeY, calib->rawRangeY);
        return true;
    }
    if (!MapsByPoints(calib))
        return MapStandardBox(calib, point);
    ApplyOrientation(calib, point);
    return calib->pointCount == 4 ? MapFourPoint(calib, point) : MapNinePoint(calib, point);
}

bool MapsByPoints(const CalibrationData* calib)
{
    return calib->pointCount == 4 || calib->pointCount == 9;
}

bool MapStandardBox(const CalibrationData* calib, Point* point)
{
    const bool scalable = calib->stdMaxX != calib->stdMinX && calib->stdMaxY != calib->stdMinY;
    if (scalable) {
        point->x = Scale(WrapSubtract(point->x, calib->stdMinX), calib->workRangeX,
            WrapSubtract(calib->stdMaxX, calib->stdMinX));
        point->y = Scale(WrapSubtract(point->y, calib->stdMinY), calib->workRangeY,
            WrapSubtract(calib->stdMaxY, calib->stdMinY));
    }
    point->x = ClampToRange(point->x, calib->workRangeX);
    point->y = ClampToRange(point->y, calib->workRangeY);
    return scalable;
}

bool ScaleToOutput(const CalibrationData* calib, Point* point)
{
    point->x = Scale(point->x, calib->outRangeX, calib->workRangeX);
    point->y = Scale(point->y, calib->outRangeY, calib->workRangeY);
    return true;
}

} // namespace korvex
