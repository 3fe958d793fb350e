#include "calibration/calibration.h"

#include <algorithm>

#include "calibration/defaults.h"
#include "calibration/orientation.h"
#include "calibration/settings_file.h"
#include "link/command_protocol.h"
#include "support/debug_trace.h"
#include "support/lock_guard.h"

namespace korvex {

namespace {

void DeriveFromPoints(CalibrationData* calib)
{
    DetectOrientation(calib);
    BuildReferencePoints(calib);
}

// A box without extent would map nothing: it becomes the middle ten twelfths of the raw span.
void RepairBox(int32_t* minimum, int32_t* maximum, uint32_t resolutionBits)
{
    if (*minimum != *maximum)
        return;
    const int32_t span = int32_t{1} << resolutionBits;
    *minimum = span / 12;
    *maximum = span * 11 / 12;
}

} // namespace

void RepairCalibration(CalibrationData* calib, uint32_t resolutionBits)
{
    if (calib->orientation < 1 || calib->orientation > MAX_ORIENTATION)
        calib->orientation = 1;
    if (SideOf(calib->pointCount) == 0)
        calib->pointCount = 0;
    DeriveFromPoints(calib);
    RepairBox(&calib->stdMinX, &calib->stdMaxX, resolutionBits);
    RepairBox(&calib->stdMinY, &calib->stdMaxY, resolutionBits);
}

bool LoadSettings(TouchController* controller)
{
    SetDefaultCalibration(controller);
    DebugTrace(TEXT("Load File Settings\n"));
    const bool fromFile = LoadCalibrationFile(controller);
    if (!fromFile) {
        DebugTrace(TEXT("Load Board Settings\n"));
        ReadBoardCalibration(controller);
    }
    if (controller->resolutionBits != 10 && controller->resolutionBits != 12)
        controller->resolutionBits = 10;
    RepairCalibration(&controller->calib, controller->resolutionBits);
    return fromFile;
}

bool ImportCalibration(TouchController* controller, const CalibrationData* source)
{
    const CalibrationData imported = MergeCalibration(controller, source);
    InstallCalibration(controller, &imported);
    SaveCalibrationFile(controller);
    return true;
}

CalibrationData MergeCalibration(TouchController* controller, const CalibrationData* source)
{
    // The points that are not imported stay, so the new block is built on a copy of the old one.
    CalibrationData merged = CopyCalibration(controller);
    merged.orientation = source->orientation;
    merged.pointCount = source->pointCount;
    merged.stdMinX = source->stdMinX;
    merged.stdMaxX = source->stdMaxX;
    merged.stdMinY = source->stdMinY;
    merged.stdMaxY = source->stdMaxY;
    std::copy_n(source->advPoints.begin(), std::min(source->pointCount, MAX_CALIBRATION_POINTS),
        merged.advPoints.begin());
    DeriveFromPoints(&merged);
    merged.mapMode = 1;
    return merged;
}

void InstallCalibration(TouchController* controller, const CalibrationData* calib)
{
    const LockGuard guard(&controller->lock);
    controller->calib = *calib;
}

} // namespace korvex
