#include "calibration/mapping.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <limits>

#include "calibration/defaults.h"
#include "calibration/orientation.h"

namespace korvex {
namespace {

CalibrationData Calibrated(int32_t rawRange)
{
    CalibrationData calib{};
    calib.mapMode = 1;
    calib.orientation = 1;
    const Point raw{rawRange, rawRange};
    const Point out{OUTPUT_RANGE, OUTPUT_RANGE};
    SetCalibrationRanges(&calib, &raw, &out);
    return calib;
}

void SetBox(CalibrationData* calib, int32_t minimum, int32_t maximum)
{
    calib->stdMinX = calib->stdMinY = minimum;
    calib->stdMaxX = calib->stdMaxY = maximum;
}

void ExpectMaps(const CalibrationData* calib, Point raw, Point mapped)
{
    Point point = raw;
    EXPECT_TRUE(MapPoint(calib, &point));
    EXPECT_EQ(point.x, mapped.x) << "from " << raw.x << ", " << raw.y;
    EXPECT_EQ(point.y, mapped.y) << "from " << raw.x << ", " << raw.y;
}

// The point sets are given as the panel measured them; the reference points follow from them.
void SetGrid(CalibrationData* calib, uint32_t pointCount)
{
    const int32_t places[]{100, 500, 900};
    calib->pointCount = pointCount;
    if (pointCount == 4) {
        calib->advPoints = {Point{100, 100}, Point{900, 100}, Point{900, 900}, Point{100, 900}};
    } else {
        for (uint32_t i = 0; i < 9; ++i)
            calib->advPoints[i] = {places[i % 3], places[i / 3]};
    }
    BuildReferencePoints(calib);
}

TEST(MapPoint, ScalesPlainlyUnlessCalibrated)
{
    CalibrationData calib = Calibrated(1024);
    SetBox(&calib, 400, 600);
    SetGrid(&calib, 9);
    for (const uint8_t mode : std::initializer_list<uint8_t>{0, 2, 255}) {
        calib.mapMode = mode;
        ExpectMaps(&calib, {0, 512}, {0, 32767});
        ExpectMaps(&calib, {1023, 1023}, {65471, 65471});
    }
    calib.rawRangeX = 0;
    ExpectMaps(&calib, {512, 512}, {0, 32767});
}

TEST(MapPoint, MapsThroughTheStandardBoxAndClamps)
{
    for (const uint32_t pointCount : {0U, 16U, 25U}) { // these have no kernel
        CalibrationData calib = Calibrated(1024);
        calib.orientation = 8; // and no transform
        calib.pointCount = pointCount;
        SetBox(&calib, 85, 938);
        ExpectMaps(&calib, {85, 938}, {0, 65535});
        ExpectMaps(&calib, {511, 511}, {32719, 32719});
        ExpectMaps(&calib, {0, 1023}, {0, 65535});
        SetBox(&calib, 938, 85);
        ExpectMaps(&calib, {85, 938}, {65535, 0});
        ExpectMaps(&calib, {500, 500}, {33647, 33647});
    }
    CalibrationData calib = Calibrated(4096);
    SetBox(&calib, 85, 938);
    calib.stdMaxY = calib.stdMinY;
    ExpectMaps(&calib, {1000, 2500}, {15999, 39999});
    Point point{1000, 2500};
    EXPECT_FALSE(MapStandardBox(&calib, &point));
}

TEST(MapPoint, InterpolatesBetweenMeasuredPointsAndExtrapolatesBeyond)
{
    CalibrationData calib = Calibrated(1024);
    SetGrid(&calib, 9);
    ExpectMaps(&calib, {500, 500}, {32767, 32767});
    ExpectMaps(&calib, {100, 100}, {1311, 1311});
    ExpectMaps(&calib, {900, 900}, {64223, 64223});
    ExpectMaps(&calib, {300, 700}, {17023, 48495});
    ExpectMaps(&calib, {0, 0}, {-6543, -6543});
    SetGrid(&calib, 4);
    ExpectMaps(&calib, {500, 500}, {32767, 32767});
    ExpectMaps(&calib, {300, 700}, {17039, 48495});
}

// A panel mounted in any of the eight ways: its points, measured in its own axes, bring the same finger to the same place.
TEST(MapPoint, UndoesEveryOrientation)
{
    for (uint32_t orientation = 1; orientation <= MAX_ORIENTATION; ++orientation) {
        for (const uint32_t pointCount : {4U, 9U}) {
            const auto panelPoint = [orientation](Point screen) {
                const bool swapped = orientation >= 5;
                const bool mirrorX = orientation == 3 || orientation == 4 || orientation == 6 || orientation == 8;
                const bool mirrorY = orientation == 2 || orientation == 4 || orientation == 7 || orientation == 8;
                Point panel = swapped ? Point{screen.y, screen.x} : screen;
                panel.x = mirrorX ? 1000 - panel.x : panel.x;
                panel.y = mirrorY ? 1000 - panel.y : panel.y;
                return panel;
            };
            CalibrationData calib = Calibrated(1024);
            SetGrid(&calib, pointCount);
            for (uint32_t i = 0; i < pointCount; ++i)
                calib.advPoints[i] = panelPoint(calib.advPoints[i]);
            DetectOrientation(&calib);
            EXPECT_EQ(calib.orientation, orientation);
            BuildReferencePoints(&calib);
            ExpectMaps(&calib, panelPoint({500, 500}), {32767, 32767});
            ExpectMaps(&calib, panelPoint({900, 100}), {64223, 1311});
        }
    }
}

TEST(MapPoint, SurvivesEveryCalibration)
{
    const int32_t extremes[]{std::numeric_limits<int32_t>::min(), -1, 0, 1, std::numeric_limits<int32_t>::max()};
    for (const int32_t value : extremes) {
        for (const uint32_t pointCount : {0U, 4U, 9U, 25U}) {
            CalibrationData calib = Calibrated(value);
            SetBox(&calib, value, 1);
            calib.pointCount = pointCount;
            calib.advPoints.fill({value, 1 - (value == 0)});
            calib.advPoints[0] = {7, value};
            BuildReferencePoints(&calib);
            for (const uint8_t mode : std::initializer_list<uint8_t>{0, 1}) {
                calib.mapMode = mode;
                Point point{1023, 4095};
                EXPECT_TRUE(MapPoint(&calib, &point));
            }
        }
    }
}

} // namespace
} // namespace korvex
