// Saves calibrations in the current folder without an end, for a case on the machine. Each carries
// one number in all its values, which is printed once the save has returned.
#include <cstdio>

#include "calibration/settings_file.h"

int main()
{
    korvex::TouchController* controller = korvex::CreateController(); // until the end
    korvex::CalibrationData* calib = &controller->calib;
    calib->orientation = 1;
    calib->pointCount = korvex::MAX_CALIBRATION_POINTS;
    for (int32_t number = 1;; ++number) {
        calib->stdMinX = calib->stdMinY = calib->stdMaxX = calib->stdMaxY = number;
        calib->advPoints.fill({number, number});
        SaveCalibrationFile(controller);
        printf("saved %d\n", number);
        fflush(stdout);
    }
}
