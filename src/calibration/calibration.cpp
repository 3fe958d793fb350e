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
    if (calib->pointCount == 0)
        return;
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

// What an import makes of `source`. The points that are not imported stay, so it is built on a copy of what the controller has.
CalibrationData Imported(TouchController* controller, const CalibrationData* source)
{
    CalibrationData imported = CopyCalibration(controller);
    imported.orientation = source->orientation;
    imported.pointCount = source->pointCount;
    imported.stdMinX = source->stdMinX;
    imported.stdMaxX = source->stdMaxX;
    imported.stdMinY = source->stdMinY;
    imported.stdMaxY = source->stdMaxY;
    std::copy_n(source->advPoints.begin(), std::min(source->pointCount, MAX_CALIBRATION_POINTS), imported.advPoints.begin());
    DeriveFromPoints(&imported);
    imported.mapMode = 1;
    return imported;
}

} // namespace

void RepairCalibration(CalibrationData* calib, uint32_t resolutionBits)
{
    if (calib->orientation < 1 || calib->orientation > MAX_ORIENTATION)
        calib->orientation = 1;
    if (std::find(POINT_COUNTS.begin(), POINT_COUNTS.end(), calib->pointCount) == POINT_COUNTS.end())
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
    TryCalibration(controller, source);
    SaveCalibrationFile(controller);
    return true;
}

void TryCalibration(TouchController* controller, const CalibrationData* source)
{
    const CalibrationData imported = Imported(controller, source);
    PutCalibrationBack(controller, &imported);
}

bool StoreCalibration(TouchController* controller, const CalibrationData* source)
{
    const CalibrationData imported = Imported(controller, source);
    if (!WriteCalibrationFile(&imported))
        return false;
    PutCalibrationBack(controller, &imported);
    return true;
}

void PutCalibrationBack(TouchController* controller, const CalibrationData* calib)
{
    const LockGuard guard(&controller->lock);
    controller->calib = *calib;
}

} // namespace korvex
