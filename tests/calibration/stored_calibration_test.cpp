// What the settings file makes of a calibration. Runs on Windows too.

#include <gtest/gtest.h>

#include <string>

#include "calibration/calibration.h"
#include "calibration/mapping.h"
#include "testing/calibration_data.h"
#include "testing/temporary_folder.h"

namespace korvex {
namespace {

using testing::ColumnX;
using testing::PointLines;
using testing::ReadTextFile;
using testing::RowY;
using testing::TemporaryFolder;
using testing::Unconnected;
using testing::WriteTextFile;

TEST(LoadSettings, RepairsWhatAFileHoldsWrong)
{
    struct Row {
        const char* section;
        uint32_t orientation, pointCount;
        int32_t minX, maxX, minY, maxY;
    };
    for (const Row& row : {Row{"", 1, 0, 0, 1023, 0, 1023}, Row{"PanelOrient=9\n", 1, 0, 0, 1023, 0, 1023},
             Row{"PanelOrient=0\n", 1, 0, 0, 1023, 0, 1023}, Row{"PanelOrient=-2\n", 1, 0, 0, 1023, 0, 1023},
             Row{"PanelOrient=8\n", 8, 0, 0, 1023, 0, 1023}, Row{"Mode=7\n", 1, 0, 0, 1023, 0, 1023},
             Row{"Mode=-1\n", 1, 0, 0, 1023, 0, 1023}, Row{"Mode=26\n", 1, 0, 0, 1023, 0, 1023}, Row{"Mode=25\n", 4, 25, 0, 1023, 0, 1023},
             Row{"STD_MIN_X=500\nSTD_MAX_X=500\n", 1, 0, 85, 938, 0, 1023}, Row{"STD_MIN_Y=7\nSTD_MAX_Y=7\n", 1, 0, 0, 1023, 85, 938},
             Row{"STD_MIN_X=abc\nSTD_MAX_X= -12x\n", 1, 0, 0, -12, 0, 1023}, Row{"STD_MAX_X=99999999999\n", 1, 0, 0, INT32_MAX, 0, 1023},
             // A value is cut to 31 characters, so the last digit is lost.
             Row{"STD_MAX_X=00000000000000000000000000000077\n", 1, 0, 0, 7, 0, 1023}}) {
        const TemporaryFolder folder;
        WriteTextFile("Korvex.ini", std::string("[Calibration]\n") + row.section);
        const auto controller = Unconnected();
        EXPECT_TRUE(LoadSettings(controller.get()));
        const CalibrationData& calib = controller->calib;
        EXPECT_EQ(calib.orientation, row.orientation) << row.section;
        EXPECT_EQ(calib.pointCount, row.pointCount) << row.section;
        EXPECT_EQ(calib.stdMinX, row.minX) << row.section;
        EXPECT_EQ(calib.stdMaxX, row.maxX) << row.section;
        EXPECT_EQ(calib.stdMinY, row.minY) << row.section;
        EXPECT_EQ(calib.stdMaxY, row.maxY) << row.section;
        EXPECT_EQ(ReadTextFile("Korvex.ini"), std::string("[Calibration]\n") + row.section) << "reading changes nothing";
    }
}

TEST(LoadSettings, MapsEverythingToZeroByCoincidentPoints)
{
    const TemporaryFolder folder;
    WriteTextFile("Korvex.ini", "[Calibration]\nMode=9\n");
    const auto controller = Unconnected();
    LoadSettings(controller.get());
    EXPECT_EQ(controller->calib.orientation, 4U);
    EXPECT_EQ(controller->calib.refPoints[8].x, 4096);
    Point point{700, 300};
    MapPoint(&controller->calib, &point);
    EXPECT_EQ(point.x, 0);
    EXPECT_EQ(point.y, 0);
}

TEST(LoadSettings, KeepsPlainScalingForAModelWithoutASpan)
{
    const TemporaryFolder folder;
    for (const uint32_t model : {MODEL_2400, MODEL_4400}) {
        const auto controller = Unconnected(model);
        LoadSettings(controller.get());
        EXPECT_EQ(controller->calib.mapMode, 0);
        EXPECT_EQ(controller->calib.rawRangeX, 0);
        EXPECT_EQ(controller->calib.outRangeX, 65535);
    }
}

TEST(ImportCalibration, InstallsAndSavesThePointsInOrder)
{
    const TemporaryFolder folder;
    WriteTextFile("Korvex.ini", "; by hand\n[Option]\nTouchReport=1\n[Calibration]\nADV_12_X=77\n");
    const auto controller = Unconnected();
    controller->calib.workRangeX = controller->calib.workRangeY = 4096;
    controller->calib.rawRangeX = 1234;
    controller->calib.advPoints[9] = {55, 66};
    CalibrationData source{};
    source.pointCount = 9;
    source.orientation = 8;
    source.stdMinX = -5;
    source.stdMaxX = 1023;
    source.stdMinY = 10;
    source.stdMaxY = 1000;
    for (int i = 0; i < 9; ++i)
        source.advPoints[static_cast<size_t>(i)] = {ColumnX(i), RowY(i)};
    source.advPoints[9] = {1, 2};
    EXPECT_TRUE(ImportCalibration(controller.get(), &source));
    EXPECT_EQ(controller->calib.mapMode, 1);
    EXPECT_EQ(controller->calib.orientation, 3U);
    EXPECT_EQ(controller->calib.rawRangeX, 1234);
    EXPECT_EQ(controller->calib.advPoints[9].x, 55) << "points beyond the count are not taken";
    EXPECT_EQ(controller->calib.refPoints[0].x, 4096 - 900);
    std::string settings = ReadTextFile("Korvex.ini");
    std::erase(settings, '\r'); // Windows ends lines in its own way
    EXPECT_EQ(settings,
        "; by "
        "hand\n[Option]\nTouchReport=1\n[Calibration]\nADV_12_X=77\nPanelOrient=3\nMode=9\nSTD_MIN_X=-5\nSTD_MAX_X=1023\nSTD_MIN_Y=10\nSTD_"
        "MAX_Y=1000\n"
            + PointLines(9, ColumnX, RowY));

    const auto next = Unconnected();
    EXPECT_TRUE(LoadSettings(next.get()));
    EXPECT_EQ(next->calib.refPoints[0].x, controller->calib.refPoints[0].x) << "the next session maps as this one";
}

} // namespace
} // namespace korvex
