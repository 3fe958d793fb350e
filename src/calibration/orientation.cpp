#include "calibration/orientation.h"

#include "calibration/wrapping.h"

namespace korvex {

Point TransformPoint(const CalibrationData* calib, Point point)
{
    const int32_t mirroredX = WrapSubtract(calib->workRangeX, point.x);
    const int32_t mirroredY = WrapSubtract(calib->workRangeY, point.y);
    switch (calib->orientation) {
    case 2:
        return {point.x, mirroredY};
    case 3:
        return {mirroredX, point.y};
    case 4:
        return {mirroredX, mirroredY};
    case 5:
        return {point.y, point.x};
    case 6:
        return {point.y, mirroredX};
    case 7:
        return {mirroredY, point.x};
    case 8:
        return {mirroredY, mirroredX};
    default:
        return point;
    }
}

bool ApplyOrientation(const CalibrationData* calib, Point* point)
{
    *point = TransformPoint(calib, *point);
    return true;
}

void DetectOrientation(CalibrationData* calib)
{
    const uint32_t side = SideOf(calib->pointCount);
    if (side == 0)
        return;
    const uint32_t rowEnd = side - 1;
    const uint32_t lastCorner = side == 2 ? 2 : side * side - 1;
    const Point topLeft = calib->advPoints[0];
    const Point topRight = calib->advPoints[rowEnd];
    const Point bottomRight = calib->advPoints[lastCorner];
    const int32_t rowX = WrapSubtract(topRight.x, topLeft.x);
    const int32_t rowY = WrapSubtract(topRight.y, topLeft.y);
    const bool swapped = WrapAbsolute(rowX) < WrapAbsolute(rowY);
    const int32_t along = swapped ? rowY : rowX;
    const int32_t down = swapped ? WrapSubtract(bottomRight.x, topRight.x)
                                 : WrapSubtract(bottomRight.y, topRight.y);
    calib->orientation = (swapped ? 5U : 1U) + (along > 0 ? 0U : 2U) + (down > 0 ? 0U : 1U);
}

bool BuildReferencePoints(CalibrationData* calib)
{
    if (calib->orientation < 1 || calib->orientation > MAX_ORIENTATION)
        return true;
    for (uint32_t i = 0; i < calib->pointCount && i < MAX_CALIBRATION_POINTS; ++i)
        calib->refPoints[i] = TransformPoint(calib, calib->advPoints[i]);
    return true;
}

} // namespace korvex
