// Any calibration and any point: the mapping ends, without undefined behaviour.

#include "calibration/mapping.h"
#include "calibration/orientation.h"
#include "harness.h"

using namespace korvex; // NOLINT(google-build-using-namespace): a program of one routine

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    fuzz::Input input{bytes, size};
    auto calib = input.Take<CalibrationData>();
    Point point = input.Take<Point>();
    Point other = point;
    MapPoint(&calib, &point);
    DetectOrientation(&calib);
    BuildReferencePoints(&calib);
    MapPoint(&calib, &other);
    return 0;
}
