#include "calibration/calibration.h"

#include <sys/stat.h>

#include "calibration/defaults.h"
#include "calibration/mapping.h"
#include "calibration/settings_file.h"
#include "platform/linux/machine.h"
#include "support/lock_guard.h"
#include "support/owned.h"
#include "testing/calibration_data.h"
#include "testing/recorders.h"
#include "testing/temporary_folder.h"
#include "testing/test_line.h"
#include "testing/testing.h"

namespace korvex {
namespace {

TEST(LoadSettings, TakesTheBoardsMemoryWhereThereIsNoUsableFileAndElseDefaults)
{
    emulator::EmulatorOptions options;
    options.resolutionBits = 12;
    // the Y box is degenerate
    options.memory = {3, 0, 0, 0, 0x00, 0x10, 0x0F, 0xF0, 0x01, 0x00, 0x01, 0x00};
    enum class Case { NO_FILE, READ_ONLY, USED, SILENT };
    for (const Case row : {Case::NO_FILE, Case::READ_ONLY, Case::USED, Case::SILENT}) {
        const TemporaryFolder folder;
        if (row != Case::NO_FILE && row != Case::SILENT)
            WriteTextFile("Korvex.ini", "[Calibration]\nPanelOrient=7\n");
        if (row == Case::READ_ONLY)
            chmod("Korvex.ini", 0444);
        const TestLine line(options, MODEL_5200);
        if (row == Case::SILENT)
            AddAnswerFault(line.emulator.get(), {emulator::AnswerFaultKind::SILENCE});
        TraceRecorder trace;
        const bool fromFile = row == Case::USED;
        EXPECT_EQ(LoadSettings(line.controller.get()), fromFile);
        EXPECT_EQ(trace.texts,
            fromFile ? Texts{"Load File Settings\n"}
                     : (Texts{"Load File Settings\n", "Load Board Settings\n"}));
        EXPECT_EQ(line.controller->resolutionBits, row == Case::SILENT ? 10U : 12U);
        EXPECT_EQ(TextOf(&line.controller->calib),
            row == Case::SILENT
                ? "mode 1, orientation 1, 0 points, box 85..938 85..938, raw 1024 x 1024"
                : fromFile
                ? "mode 1, orientation 7, 0 points, box 0..1023 0..1023, raw 4096 x 4096"
                : "mode 1, orientation 3, 0 points, box 16..4080 341..3754, raw 4096 x 4096");
    }
}

// Two calibrations whose halves would map to something else when mixed; one thread maps, the other
// imports.
TEST(ImportCalibration, NeverShowsHalfACalibrationToTheMapping)
{
    const TemporaryFolder folder;
    const auto controller = Unconnected();
    CalibrationData boxes[2]{};
    for (int i = 0; i < 2; ++i) {
        boxes[i].stdMinX = boxes[i].stdMinY = i * 100;
        boxes[i].stdMaxX = boxes[i].stdMaxY = i * 100 + 400;
    }
    const Point range{WORK_RANGE, WORK_RANGE};
    SetCalibrationRanges(&controller->calib, &range, &range);
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
    const std::filesystem::path segment(std::string(200, 'd'));
    std::filesystem::create_directories(segment / segment);
    std::filesystem::current_path(segment / segment);
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
    platform::ThisMachine()->folders.system = folder.path.string();
    std::array<WCHAR, TEXT_CAPACITY> path{};
    EXPECT_FALSE(LocateSettingsFile(path.data()));
    EXPECT_TRUE(std::u16string(path.data()).ends_with(u"\\Korvex.ini"))
        << "the path is given all the same";
    WriteTextFile("Korvex.ini", "");
    chmod("Korvex.ini", 0444);
    const OwnedHandle reader(CreateFileW(
        path.data(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    EXPECT_TRUE(LocateSettingsFile(path.data())) << "beside another reader";
    platform::ThisMachine()->folders.system.clear();
    EXPECT_FALSE(LocateSettingsFile(path.data()));
}

} // namespace
} // namespace korvex
