#include "calibration/calibration.h"

#include <sys/stat.h>

#include "calibration/defaults.h"
#include "calibration/mapping.h"
#include "calibration/settings_file.h"
#include "support/lock_guard.h"
#include "testing/calibration_data.h"
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
    enum Case { NO_FILE, READ_ONLY, USED, SILENT };
    using Row = std::pair<Case, std::string>;
    for (const auto& [file, calibration] :
        {Row{NO_FILE, "orientation 3, 0 points, box 16..4080 341..3754, raw 4096 x 4096"},
            Row{READ_ONLY, "orientation 3, 0 points, box 16..4080 341..3754, raw 4096 x 4096"},
            Row{USED, "orientation 7, 0 points, box 0..1023 0..1023, raw 4096 x 4096"},
            Row{SILENT, "orientation 1, 0 points, box 85..938 85..938, raw 1024 x 1024"}}) {
        const TemporaryFolder folder;
        if (file == READ_ONLY || file == USED)
            WriteTextFile("Korvex.ini", "[Calibration]\nPanelOrient=7\n");
        if (file == READ_ONLY)
            chmod("Korvex.ini", 0444);
        const TestLine line(options, MODEL_5200);
        if (file == SILENT)
            AddAnswerFault(line.emulator.get(), {emulator::AnswerFaultKind::SILENCE});
        const TraceRecorder trace;
        EXPECT_EQ(LoadSettings(line.controller.get()), file == USED);
        Texts told{"Load File Settings\n", "Load Board Settings\n"};
        told.resize(file == USED ? 1 : 2);
        EXPECT_EQ(trace.texts, told);
        EXPECT_EQ(line.controller->resolutionBits, file == SILENT ? 10U : 12U);
        EXPECT_EQ(TextOf(&line.controller->calib), "mode 1, " + calibration);
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
    std::thread importer([&] {
        for (int i = 0; i < 100; ++i)
            ImportCalibration(controller.get(), &boxes[i % 2]);
        done = true;
    });
    while (!done) {
        Point point{200, 200};
        const LockGuard guard(&controller->lock);
        MapPoint(&controller->calib, &point);
        EXPECT_THAT(point, AnyOf(Point{2048, 2048}, Point{1024, 1024}));
    }
    importer.join();
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
    EXPECT_TRUE(SaveCalibrationFile(controller.get()));
    EXPECT_EQ(ReadTextFile("Korvex.ini"), "[Calibration]\nPanelOrient=5\n");
}

} // namespace
} // namespace korvex
