// A calibration into the settings file, and back. Runs on Windows too.

#include "calibration/calibration.h"
#include "calibration/defaults.h"
#include "testing/calibration_data.h"
#include "testing/testing.h"

namespace korvex {
namespace {

TEST(LoadSettings, RepairsWhatAFileHoldsWrong)
{
    const std::string nine = PointLines(MirroredTargetsOf(9));
    const std::string plain = "orientation 1, 0 points, box 0..1023 0..1023";
    using Row = std::pair<std::string, std::string>;
    for (const auto& [section, loaded] :
        {Row{"", plain}, Row{"PanelOrient=9\n", plain}, Row{"PanelOrient=0\n", plain},
            Row{"PanelOrient=-2\n", plain},
            Row{"PanelOrient=8\n", "orientation 8, 0 points, box 0..1023 0..1023"},
            Row{"Mode=7\n", plain}, Row{"Mode=-1\n", plain}, Row{"Mode=26\n", plain},
            Row{"Mode=16\n", "orientation 4, 16 points, box 0..1023 0..1023"},
            Row{"PanelOrient=6\nMode=9\nSTD_MIN_X=85\nSTD_MAX_X=938\nSTD_MIN_Y=100\nSTD_MAX_Y=900\n"
                    + nine,
                // detected from the points, whatever was stored
                "orientation 3, 9 points, box 85..938 100..900"},
            Row{"STD_MIN_X=500\nSTD_MAX_X=500\n", "orientation 1, 0 points, box 85..938 0..1023"},
            Row{"STD_MIN_Y=7\nSTD_MAX_Y=7\n", "orientation 1, 0 points, box 0..1023 85..938"},
            Row{"STD_MIN_X=abc\nSTD_MAX_X= -12x\n", "orientation 1, 0 points, box 0..-12 0..1023"},
            Row{"STD_MAX_X=99999999999\n", "orientation 1, 0 points, box 0..2147483647 0..1023"},
            // A value is cut to 31 characters, so the last digit is lost.
            Row{"STD_MAX_X=00000000000000000000000000000077\n",
                "orientation 1, 0 points, box 0..7 0..1023"}}) {
        const TemporaryFolder folder;
        const std::string file = "[Calibration]\n" + section;
        WriteTextFile("Korvex.ini", file);
        const auto controller = Unconnected();
        EXPECT_TRUE(LoadSettings(controller.get()));
        EXPECT_EQ(TextOf(&controller->calib), "mode 1, " + loaded + ", raw 1024 x 1024") << section;
        EXPECT_EQ(ReadTextFile("Korvex.ini"), file) << "reading changes nothing";
    }
}

TEST(ImportCalibration, InstallsAndSavesThePointsInOrder)
{
    for (const uint32_t count : {9U, 25U}) {
        const TemporaryFolder folder;
        const std::string before = "; by hand\n[Option]\nTouchReport=1\n[Calibration]\nMORE=77\n";
        WriteTextFile("Korvex.ini", before);
        const auto controller = Unconnected();
        SetCalibrationRanges(&controller->calib, nullptr, nullptr);
        controller->calib.rawRangeX = controller->calib.rawRangeY = 1024;
        controller->calib.advPoints.fill({55, 66});
        CalibrationData source{};
        source.pointCount = count;
        source.orientation = 8;
        source.stdMinX = -5;
        source.stdMaxX = 1023;
        source.stdMinY = 10;
        source.stdMaxY = 1000;
        source.advPoints.fill({1, 2});
        const std::vector<Point> targets = MirroredTargetsOf(count);
        std::copy(targets.begin(), targets.end(), source.advPoints.begin());
        EXPECT_TRUE(ImportCalibration(controller.get(), &source));
        const CalibrationData* calib = &controller->calib;
        const std::string text = "mode 1, orientation 3, " + std::to_string(count)
            + " points, box -5..1023 10..1000, raw 1024 x 1024";
        EXPECT_EQ(TextOf(calib), text);
        EXPECT_EQ(FirstPoints(&calib->advPoints, count), targets);
        EXPECT_EQ(calib->advPoints[24], count == 25 ? targets[24] : (Point{55, 66}))
            << "points beyond the count are not taken";
        EXPECT_EQ(calib->refPoints[0], (Point{4096 - 900, 100}));
        std::string settings = ReadTextFile("Korvex.ini");
        std::erase(settings, '\r'); // Windows ends lines in its own way
        EXPECT_EQ(settings,
            before + "PanelOrient=3\nMode=" + std::to_string(count)
                + "\nSTD_MIN_X=-5\nSTD_MAX_X=1023\nSTD_MIN_Y=10\nSTD_MAX_Y=1000\n"
                + PointLines(targets));

        const auto next = Unconnected();
        EXPECT_TRUE(LoadSettings(next.get()));
        EXPECT_EQ(TextOf(&next->calib), text) << "the last point decides the orientation";
        EXPECT_EQ(FirstPoints(&next->calib.refPoints, count), FirstPoints(&calib->refPoints, count))
            << "the next session maps as this one";
    }
}

} // namespace
} // namespace korvex
