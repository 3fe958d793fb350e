#include "calibration/orientation.h"

#include <gtest/gtest.h>

#include <limits>

#include "calibration/defaults.h"

namespace korvex {
namespace {

TEST(DetectOrientation, LooksAtTheCornersOfEveryPointCount)
{
    struct Row {
        uint32_t pointCount, rowEnd, lastCorner;
    };
    for (const Row& row : {Row{4, 1, 2}, Row{9, 2, 8}, Row{16, 3, 15}, Row{25, 4, 24}}) {
        struct Case {
            Point topLeft, topRight, bottomRight;
            uint32_t orientation;
        };
        for (const Case& panel : {Case{{100, 100}, {900, 100}, {900, 900}, 1}, Case{{900, 100}, {100, 100}, {100, 900}, 3},
                 Case{{100, 100}, {100, 900}, {900, 900}, 5}, Case{{100, 100}, {500, 500}, {900, 400}, 2}, // a tie runs along raw X
                 Case{{0, 0}, {0, 0}, {0, 0}, 4}}) {
            CalibrationData calib{};
            calib.pointCount = row.pointCount;
            calib.advPoints.fill({777, 333}); // no other point counts
            calib.advPoints[0] = panel.topLeft;
            calib.advPoints[row.rowEnd] = panel.topRight;
            calib.advPoints[row.lastCorner] = panel.bottomRight;
            DetectOrientation(&calib);
            EXPECT_EQ(calib.orientation, panel.orientation) << row.pointCount << " points";
        }
    }
}

TEST(DetectOrientation, WrapsInsteadOfOverflowing)
{
    CalibrationData calib{};
    calib.pointCount = 4;
    calib.advPoints[1] = {std::numeric_limits<int32_t>::min(), 5}; // its absolute value stays negative, and so does its difference
    DetectOrientation(&calib);
    EXPECT_EQ(calib.orientation, 6U);
}

TEST(BuildReferencePoints, TransformsOnlyThePointsInUse)
{
    CalibrationData calib{};
    SetCalibrationRanges(&calib, nullptr, nullptr);
    calib.pointCount = 4;
    calib.orientation = 7;
    calib.advPoints.fill({100, 200});
    calib.refPoints.fill({-1, -1});
    EXPECT_TRUE(BuildReferencePoints(&calib));
    EXPECT_EQ(calib.refPoints[3].x, 3896);
    EXPECT_EQ(calib.refPoints[3].y, 100);
    EXPECT_EQ(calib.refPoints[4].x, -1);
    calib.orientation = 9;
    calib.advPoints.fill({1, 1});
    EXPECT_TRUE(BuildReferencePoints(&calib));
    EXPECT_EQ(calib.refPoints[3].x, 3896) << "an unknown code leaves them";
}

} // namespace
} // namespace korvex
