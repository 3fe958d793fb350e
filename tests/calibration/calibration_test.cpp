#include "calibration/calibration.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <string>
#include <thread>

#include "calibration/mapping.h"
#include "calibration/settings_file.h"
#include "platform/posix/machine.h"
#include "support/lock_guard.h"
#include "testing/recorders.h"
#include "testing/temporary_folder.h"
#include "testing/test_line.h"

namespace korvex {
namespace {

using emulator::AnswerFault;
using emulator::AnswerFaultKind;
using testing::ReadTextFile;
using testing::TemporaryFolder;
using testing::TestLine;
using testing::TraceRecorder;
using testing::WriteTextFile;

// A record that needs no line: its model asks the controller nothing.
testing::ControllerPointer Unconnected(uint32_t model = MODEL_5460)
{
    testing::ControllerPointer controller(CreateController());
    controller->model = model;
    controller->reportLength = 6;
    return controller;
}

std::string PointLines(int count, int (*x)(int), int (*y)(int))
{
    std::string lines;
    for (int i = 0; i < count; ++i) {
        const std::string index = (i < 10 ? "0" : "") + std::to_string(i);
        lines.append("ADV_").append(index).append("_X=").append(std::to_string(x(i))).append("\n");
        lines.append("ADV_").append(index).append("_Y=").append(std::to_string(y(i))).append("\n");
    }
    return lines;
}

int ColumnX(int i)
{
    return 900 - 400 * (i % 3); // falls from left to right
}

int RowY(int i)
{
    return 100 + 400 * (i / 3);
}

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
        const TraceRecorder trace;
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

TEST(LoadSettings, MapsEverythingToZeroByCoincidentPoints)
{
    const TemporaryFolder folder;
    WriteTextFile("Korvex.ini", "[Calibration]\nMode=9\n");
    const TraceRecorder trace;
    const auto controller = Unconnected();
    LoadSettings(controller.get());
    EXPECT_EQ(controller->calib.orientation, 4U);
    EXPECT_EQ(controller->calib.refPoints[8].x, 4096);
    Point point{700, 300};
    MapPoint(&controller->calib, &point);
    EXPECT_EQ(point.x, 0);
    EXPECT_EQ(point.y, 0);
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

TEST(LoadSettings, KeepsPlainScalingForAModelWithoutASpan)
{
    const TemporaryFolder folder;
    const TraceRecorder trace;
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
    EXPECT_EQ(ReadTextFile("Korvex.ini"),
        "; by "
        "hand\n[Option]\nTouchReport=1\n[Calibration]\nADV_12_X=77\nPanelOrient=3\nMode=9\nSTD_MIN_X=-5\nSTD_MAX_X=1023\nSTD_MIN_Y=10\nSTD_"
        "MAX_Y=1000\n"
            + PointLines(9, ColumnX, RowY));

    const TraceRecorder trace;
    const auto next = Unconnected();
    EXPECT_TRUE(LoadSettings(next.get()));
    EXPECT_EQ(next->calib.refPoints[0].x, controller->calib.refPoints[0].x) << "the next session maps as this one";
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
