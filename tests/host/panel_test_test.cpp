#include "host/panel_test.h"

#include "calibration/defaults.h"
#include "host/host.h"
#include "input/session.h"
#include "platform/linux/machine.h"
#include "support/millisecond_clock.h"
#include "testing/calibration_data.h"
#include "testing/recorders.h"
#include "testing/test_machine.h"
#include "testing/testing.h"
#include "testing/window_recorder.h"

namespace korvex {
namespace {

constexpr COLORREF WHITE = 0xFFFFFF;
constexpr COLORREF GRAY = 0x808080;
constexpr COLORREF RED = 0x0000FF;
constexpr COLORREF GREEN = 0x00FF00;
constexpr COLORREF BLUE = 0xFF0000;

// A panel test whose detection the test itself plays: two controllers without sessions, and ticks
// when it says.
struct RunningTest {
    TestMachine machine;
    WindowRecorder windows;
    PanelTestContext* context;
    std::array<TouchController*, 2> controllers{};

    explicit RunningTest(uint32_t resolutionBits = 10, int width = 1024, int height = 768)
    {
        platform::ThisMachine()->screen.width = width;
        platform::ThisMachine()->screen.height = height;
        platform::ThisMachine()->pointer.position
            = [](POINT* position) { return *position = {100, 200}, true; };
        StartHost(0);
        StartPanelTest();
        context = FindPanelTestContext(GetModuleHandleW(nullptr));
        for (TouchController*& controller : controllers) {
            controller = CreateController();
            controller->resolutionBits = resolutionBits;
            controller->calib.mapMode = 1;
            AppendToList(
                &FindHostContext(GetModuleHandleW(nullptr))->controllers, &controller->links);
        }
        Touch(0, 0, 0);
        SendMessageW(context->window, WM_DETECT_DONE, 1, 0);
    }
    ~RunningTest()
    {
        DestroyPanelTest();
        EXPECT_EQ(FindHostContext(GetModuleHandleW(nullptr)), nullptr)
            << "the sessions end with the test";
    }

    // The controller reports now, the other one long ago.
    void Touch(size_t which, int32_t x, int32_t y) const
    {
        controllers[which]->report = {x, y, 0, 1, {}, NowMs(), {}};
        controllers[1 - which]->report.lastReportMs = NowMs() - 10000;
    }

    // What the timer does, which must be running.
    void Tick() const
    {
        EXPECT_TRUE(KillTimer(context->window, 0));
        SetTimer(context->window, 0, TARGET_TIME_MS, nullptr);
        SendMessageW(context->window, WM_TIMER, 0, 0);
    }

    std::vector<Figure> Repaint()
    {
        RedrawWindow(context->window, nullptr, nullptr, RDW_UPDATENOW);
        return windows.TakeFigures();
    }
};

TEST(PanelTest, PlacesTheTargetsOnEveryScreen)
{
    using Row = std::tuple<int, int, std::array<int, 3>, std::array<int, 3>>;
    for (const auto& [width, height, columns, rows] :
        {Row{1024, 768, {20, 512, 1003}, {15, 384, 752}},
            Row{1920, 1080, {38, 960, 1881}, {21, 540, 1058}},
            Row{800, 600, {16, 400, 784}, {12, 300, 588}}}) {
        RunningTest test(10, width, height);
        for (uint32_t index = 0; index < TARGET_COUNT; ++index) {
            EXPECT_EQ(TargetPosition(index).x, columns[index % 3]) << width;
            EXPECT_EQ(TargetPosition(index).y, rows[index / 3]) << height;
        }
    }
}

TEST(PanelTest, SamplesThePanelTouchedLastAndStoresItsCalibrationAtTheNinthTick)
{
    const TraceRecorder trace;
    RunningTest test;
    EXPECT_EQ(test.controllers[0]->calib.mapMode, 0)
        << "the samples of the one touched last are raw positions";
    EXPECT_EQ(test.controllers[1]->calib.mapMode, 1);
    EXPECT_EQ(test.context->calib.rawRangeX, 1024);
    std::array<Point, TARGET_COUNT> samples{};
    bool storedBeforeDrawn = false;
    test.windows.onDraw
        = [&storedBeforeDrawn] { storedBeforeDrawn = std::filesystem::exists("Korvex.ini"); };
    for (uint32_t target = 0; target < TARGET_COUNT; ++target) {
        EXPECT_EQ(test.context->targetIndex, target);
        EXPECT_FALSE(std::filesystem::exists("Korvex.ini")) << "nothing is stored yet";
        const auto column = static_cast<int32_t>(target % 3);
        const auto line = static_cast<int32_t>(target / 3);
        // The last one comes from the other panel, which then gets the calibration.
        test.Touch(target == 8 ? 1 : 0, 1310 + column * 31455, 1310 + line * 31455);
        samples[target]
            = {1024 * (1310 + column * 31455) / 65535, 1024 * (1310 + line * 31455) / 65535};
        test.Tick();
        EXPECT_EQ(test.context->calib.advPoints[target], samples[target]);
    }
    EXPECT_TRUE(std::filesystem::exists("Korvex.ini"));
    EXPECT_FALSE(storedBeforeDrawn) << "the dots are shown first";
    const CalibrationData* stored = &test.controllers[1]->calib;
    EXPECT_EQ(TextOf(stored), "mode 1, orientation 1, 9 points, box 0..0 0..0, raw 0 x 0")
        << "the box comes with the check";
    EXPECT_EQ(stored->advPoints[8], samples[8]);
    EXPECT_EQ(test.controllers[0]->calib.pointCount, 0U);
    EXPECT_TRUE(trace.texts.empty());

    test.Touch(1, 32768, 16384);
    test.Tick();
    EXPECT_EQ(test.context->markerX, 512);
    EXPECT_EQ(test.context->markerY, 192);
    EXPECT_EQ(test.context->calib.stdMinX, 20);
    EXPECT_EQ(test.context->calib.stdMaxX, 1003);
    EXPECT_EQ(trace.texts, Texts{"Panel Quality : 99"});
    EXPECT_FALSE(KillTimer(test.context->window, 0)) << "there is no eleventh tick";
}

TEST(PanelTest, DrawsEveryState)
{
    const TraceRecorder trace;
    RunningTest test;
    const Figure white{'R', 512, 384, 512, WHITE};
    const Figure dot{'E', 100, 200, 3, RED};
    EXPECT_EQ(test.Repaint().at(0), white);
    for (uint32_t target = 0; target < TARGET_COUNT; ++target)
        test.Tick();
    // What the last two ticks drew: the ninth target over eight dots, then nine dots.
    std::vector<Figure> drawn = test.windows.TakeFigures();
    std::vector<Figure> expected{white};
    expected.insert(expected.end(), 8, dot);
    expected.push_back({'E', 1003, 752, 3, GRAY});
    expected.push_back(white);
    expected.insert(expected.end(), 9, dot);
    EXPECT_EQ(
        std::vector<Figure>(drawn.end() - static_cast<ptrdiff_t>(expected.size()), drawn.end()),
        expected);

    test.Touch(0, 65535, 65535);
    test.Tick();
    EXPECT_TRUE(test.windows.figures.empty()) << "the result is painted when its message comes";
    expected = {{'R', 512, 384, 512, RED}};
    expected.insert(expected.end(), 9, dot);
    expected.push_back({'E', 1024, 768, 12, GRAY});
    expected.push_back({'E', 1024, 768, 10, WHITE});
    expected.push_back({'E', 1024, 768, 3, BLUE});
    EXPECT_EQ(test.Repaint(), expected);
}

TEST(PanelTest, ColorsTheScreenByTheQualityUpToItsLimits)
{
    struct Row {
        uint32_t bits;
        int32_t extent; // raw units between the outer samples, on both axes
        uint32_t quality;
        COLORREF color;
    };
    for (const Row& row : {Row{10, 0, 0, RED}, Row{10, 688, 69, RED}, Row{10, 689, 70, 0x004DEA},
             Row{10, 786, 79, 0x004DEA}, Row{10, 787, 80, 0x00FFFF}, Row{10, 884, 89, 0x00FFFF},
             Row{10, 885, 90, GREEN}, Row{10, 1023, 104, GREEN}, Row{12, 3932, 99, GREEN},
             Row{12, 2750, 69, RED}}) {
        const TraceRecorder trace;
        RunningTest test(row.bits);
        const int32_t range = 1 << row.bits;
        EXPECT_EQ(test.context->calib.rawRangeY, range);
        for (uint32_t target = 0; target <= TARGET_COUNT; ++target) {
            // The smallest output position that gives the raw one.
            const int32_t far = (row.extent * OUTPUT_RANGE + range - 1) / range;
            test.Touch(0, target == 4 ? far : 0, target == 2 ? far : 0);
            test.Tick();
        }
        EXPECT_EQ(trace.texts, Texts{"Panel Quality : " + std::to_string(row.quality)})
            << row.extent;
        test.windows.figures.clear();
        EXPECT_EQ(test.Repaint().at(0).fill, row.color) << row.quality;
    }
    // Both axes count, each cut to a whole number first.
    CalibrationData calib{};
    calib.rawRangeX = calib.rawRangeY = 1024;
    calib.stdMaxX = 983; // 99
    calib.stdMaxY = 492; // 50
    EXPECT_EQ(PanelQuality(&calib), 74U);
}

TEST(PanelTest, IgnoresOtherResultsAndKeys)
{
    RunningTest test;
    test.windows.figures.clear();
    SendMessageW(test.context->window, WM_DETECT_DONE, 2, 0);
    SendMessageW(test.context->window, WM_KEYUP, 'Q', 0);
    EXPECT_EQ(test.context->targetIndex, 0U);
    EXPECT_TRUE(test.windows.figures.empty());
}

} // namespace
} // namespace korvex
