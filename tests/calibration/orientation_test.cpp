#include "calibration/orientation.h"

#include "calibration/defaults.h"
#include "testing/calibration_data.h"
#include "testing/testing.h"

namespace korvex {
namespace {

TEST(DetectOrientation, LooksAtTheCornersOfEveryPointCount)
{
    struct Panel {
        Point topLeft, topRight, bottomRight;
        uint32_t orientation;
    };
    for (const auto& [pointCount, rowEnd, lastCorner] : {std::array{4U, 1U, 2U}, {9U, 2U, 8U}, {16U, 3U, 15U}, {25U, 4U, 24U}}) {
        for (const Panel& panel : {Panel{{100, 100}, {900, 100}, {900, 900}, 1}, Panel{{900, 100}, {100, 100}, {100, 900}, 3},
                 Panel{{100, 100}, {100, 900}, {900, 900}, 5}, Panel{{100, 100}, {500, 500}, {900, 400}, 2}, // a tie runs along raw X
                 Panel{{0, 0}, {0, 0}, {0, 0}, 4}}) {
            CalibrationData calib{};
            calib.pointCount = pointCount;
            calib.advPoints.fill({777, 333}); // no other point counts
            calib.advPoints[0] = panel.topLeft;
            calib.advPoints[rowEnd] = panel.topRight;
            calib.advPoints[lastCorner] = panel.bottomRight;
            DetectOrientation(&calib);
            EXPECT_EQ(calib.orientation, panel.orientation) << pointCount << " points";
        }
    }
}

TEST(BuildReferencePoints, TransformsOnlyThePointsInUse)
{
    CalibrationData calib{};
    SetCalibrationRanges(&calib, nullptr, nullptr);
    calib.advPoints.fill({100, 200});
    calib.refPoints.fill({-1, -1});
    calib.pointCount = 4;
    for (const uint32_t orientation : {7U, 9U}) { // an unknown code leaves them
        calib.orientation = orientation;
        EXPECT_TRUE(BuildReferencePoints(&calib));
        EXPECT_EQ(calib.refPoints[3], (Point{3896, 100}));
        EXPECT_EQ(calib.refPoints[4], (Point{-1, -1}));
        calib.advPoints.fill({1, 1});
    }
}

} // namespace
} // namespace korvex
