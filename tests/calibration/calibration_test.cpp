#include "calibration/calibration.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <string>
#include <thread>

#include "calibration/mapping.h"
#include "calibration/settings_file.h"
#include "platform/linux/machine.h"
#include "support/lock_guard.h"
#include "testing/calibration_data.h"
#include "testing/recorders.h"
#include "testing/temporary_folder.h"
#include "testing/test_line.h"

namespace korvex {
namespace {

using emulator::AnswerFault;
using emulator::AnswerFaultKind;
using testing::ColumnX;
using testing::PointLines;
using testing::ReadTextFile;
using testing::RowY;
using testing::TemporaryFolder;
using testing::TestLine;
using testing::TraceRecorder;
using testing::Unconnected;
using testing::WriteTextFile;

TEST(LoadSettings, TakesTheFileAndTracesIt)
{
    const TemporaryFolder folder;
    WriteTextFile("Korvex.ini",
        "[Calibration]\nPanelOrient=6\nMode=9\nSTD_MIN_X=85\nSTD_MAX_X=938\nSTD_MIN_Y=100\nSTD_MAX_Y=900\n" + PointLines(9, ColumnX, RowY));
    TraceRecorder trace;
    const auto controller = Unconnected();
    EXPECT_TRUE(LoadSettings(controller.get()));
    EXPECT_EQ(trace.texts, (std::vector<std::string>{"Load File Settings\n"}));
    const CalibrationData& calib = controller->calib;
    EXPECT_EQ(calib.mapMode, 1);
    EXPECT_EQ(calib.orientation, 3U) << "detected from the points, whatever was stored";
    EXPECT_EQ(calib.pointCount, 9U);
    EXPECT_EQ(calib.stdMinX, 85);
    EXPECT_EQ(calib.stdMaxX, 938);
    EXPECT_EQ(calib.stdMinY, 100);
    EXPECT_EQ(calib.stdMaxY, 900);
    EXPECT_EQ(calib.advPoints[8].x, 100);
    EXPECT_EQ(calib.advPoints[8].y, 900);
    EXPECT_EQ(calib.refPoints[8].x, 3996);
    EXPECT_EQ(calib.rawRangeX, 1024);
    EXPECT_EQ(calib.outRangeY, 65535);
    EXPECT_EQ(calib.workRangeX, 4096);
}

TEST(LoadSettings, TakesAFileCutAtAnyLength)
{
    const std::string whole = "[Calibration]\nPanelOrient=2\nMode=4\nSTD_MAX_X=938\n" + PointLines(4, ColumnX, RowY);
    for (size_t length = 0; length <= whole.size(); ++length) {
        const TemporaryFolder folder;
        WriteTextFile("Korvex.ini", whole.substr(0, length));
        const TraceRecorder trace;
        const auto controller = Unconnected();
        EXPECT_TRUE(LoadSettings(controller.get()));
        EXPECT_EQ(controller->calib.pointCount, length < whole.find("4\nSTD") + 1 ? 0U : 4U) << length;
        EXPECT_NE(controller->calib.stdMinX, controller->calib.stdMaxX) << length;
        Point point{500, 500};
        EXPECT_TRUE(MapPoint(&controller->calib, &point));
    }
}

TEST(LoadSettings, TakesTheBoardsMemoryWhereThereIsNoUsableFile)
{
    const TemporaryFolder folder;
    emulator::EmulatorOptions options;
    options.resolutionBits = 12;
    options.memory = {3, 0, 0, 0, 0x00, 0x10, 0x0F, 0xF0, 0x01, 0x00, 0x01, 0x00}; // the Y box is degenerate
    for (const bool readOnly : {false, true}) {
        if (readOnly) {
            WriteTextFile("Korvex.ini", "[Calibration]\nMode=9\n");
            chmod("Korvex.ini", 0444);
        }
        const TestLine line(options);
        line.Know(MODEL_5200);
        TraceRecorder trace;
        EXPECT_FALSE(LoadSettings(line.controller.get()));
        EXPECT_EQ(trace.texts, (std::vector<std::string>{"Load File Settings\n", "Load Board Settings\n"}));
        EXPECT_EQ(line.controller->resolutionBits, 12U);
        const CalibrationData& calib = line.controller->calib;
        EXPECT_EQ(calib.rawRangeX, 4096);
        EXPECT_EQ(calib.orientation, 3U);
        EXPECT_EQ(calib.stdMinX, 0x10);
        EXPECT_EQ(calib.stdMaxX, 0xFF0);
        EXPECT_EQ(calib.stdMinY, 341);
        EXPECT_EQ(calib.stdMaxY, 3754);
    }
}

TEST(LoadSettings, GoesOnWithDefaultsWhenTheControllerAnswersNothing)
{
    const TemporaryFolder folder;
    const TraceRecorder trace;
    const TestLine line;
    line.Know(MODEL_5200, 12);
    AddAnswerFault(line.emulator.get(), AnswerFault{AnswerFaultKind::SILENCE});
    EXPECT_FALSE(LoadSettings(line.controller.get()));
    EXPECT_EQ(line.controller->resolutionBits, 10U);
    EXPECT_EQ(line.controller->calib.mapMode, 1);
    EXPECT_EQ(line.controller->calib.rawRangeX, 1024);
    EXPECT_EQ(line.controller->calib.orientation, 1U);
    EXPECT_EQ(line.controller->calib.stdMinX, 85);
}

// Two calibrations whose halves would map to something else when mixed; one thread maps, the other imports.
TEST(ImportCalibration, NeverShowsHalfACalibrationToTheMapping)
{
    const TemporaryFolder folder;
    const auto controller = Unconnected();
    CalibrationData boxes[2]{};
    for (int i = 0; i < 2; ++i) {
        boxes[i].stdMinX = boxes[i].stdMinY = i * 100;
        boxes[i].stdMaxX = boxes[i].stdMaxY = i * 100 + 400;
    }
    controller->calib.workRangeX = controller->calib.workRangeY = controller->calib.outRangeX = controller->calib.outRangeY = 4096;
    ImportCalibration(controller.get(), &boxes[0]);
    std::atomic<bool> done{false};
    std::atomic<int> mixed{0};
    std::thread mapper([&] {
        while (!done) {
            Point point{200, 200};
            const LockGuard guard(&controller->lock);
            MapPoint(&controller->calib, &point);
            if (point.x != point.y || (point.x != 2048 && point.x != 1024))
                ++mixed;
        }
    });
    for (int i = 0; i < 100; ++i)
        ImportCalibration(controller.get(), &boxes[i % 2]);
    done = true;
    mapper.join();
    EXPECT_EQ(mixed, 0);
}

TEST(SettingsFile, IsNeitherReadNorWrittenWhereThePathIsTooLong)
{
    const TemporaryFolder folder;
    const std::string segment(200, 'd');
    std::filesystem::create_directories(segment + "/" + segment);
    std::filesystem::current_path(segment + "/" + segment);
    WriteTextFile("Korvex.ini", "[Calibration]\nPanelOrient=5\n");
    const auto controller = Unconnected();
    EXPECT_FALSE(LoadCalibrationFile(controller.get()));
    EXPECT_EQ(controller->calib.orientation, 0U);
    EXPECT_TRUE(SaveCalibrationFile(controller.get()));
    EXPECT_EQ(ReadTextFile("Korvex.ini"), "[Calibration]\nPanelOrient=5\n");
}

TEST(LocateSettingsFile, LooksInTheSystemFolder)
{
    const TemporaryFolder folder;
    platform::ThisMachine()->systemFolder = folder.path.string();
    std::array<WCHAR, TEXT_CAPACITY> path{};
    EXPECT_FALSE(LocateSettingsFile(path.data()));
    EXPECT_TRUE(std::u16string(path.data()).ends_with(u"\\Korvex.ini")) << "the path is given all the same";
    WriteTextFile("Korvex.ini", "");
    chmod("Korvex.ini", 0444);
    EXPECT_TRUE(LocateSettingsFile(path.data()));
    platform::ThisMachine()->systemFolder.clear();
    EXPECT_FALSE(LocateSettingsFile(path.data()));
}

} // namespace
} // namespace korvex
