#include "host/panel_test.h"

#include "calibration/defaults.h"
#include "host/host.h"
#include "input/session.h"
#include "platform/linux/machine.h"
#include "support/millisecond_clock.h"
#include "testing/calibration_data.h"
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

    explicit RunningTest(uint32_t resolutionBits = 10)
    {
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

    // A tick of the timer, which must be running.
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

TEST(PanelTest, SamplesThePanelTouchedLastAndStoresItsCalibrationAtTheNinthTick)
{
    const TraceRecorder trace;
    RunningTest test;
    EXPECT_EQ(test.controllers[0]->calib.mapMode, 0)
        << "the samples of the one touched last are raw positions";
    EXPECT_EQ(test.controllers[1]->calib.mapMode, 1);
    std::array<Point, TARGET_COUNT> samples{};
    bool storedBeforeDrawn = false;
    test.windows.onDraw
        = [&storedBeforeDrawn] { storedBeforeDrawn = std::filesystem::exists("Korvex.ini"); };
    for (uint32_t target = 0; target < TARGET_COUNT; ++target) {
        EXPECT_FALSE(std::filesystem::exists("Korvex.ini")) << "nothing is stored yet";
        const auto column = static_cast<int32_t>(target % 3);
        const auto line = static_cast<int32_t>(target / 3);
        // The last one comes from the other panel, which then gets the calibration.
        test.Touch(target == 8 ? 1 : 0, 1310 + column * 31455, 1310 + line * 31455);
        samples[target]
            = {1024 * (1310 + column * 31455) / 65535, 1024 * (1310 + line * 31455) / 65535};
        test.Tick();
    }
    EXPECT_TRUE(std::filesystem::exists("Korvex.ini"));
    EXPECT_FALSE(storedBeforeDrawn) << "the dots are shown first";
    const CalibrationData* stored = &test.controllers[1]->calib;
    EXPECT_EQ(TextOf(stored), "mode 1, orientation 1, 9 points, box 0..0 0..0, raw 0 x 0")
        << "the box comes with the check";
    EXPECT_EQ(FirstPoints(&stored->advPoints, 9), std::vector(samples.begin(), samples.end()));
    EXPECT_EQ(test.controllers[0]->calib.pointCount, 0U);

    test.Touch(1, 32768, 16384);
    test.Tick();
    EXPECT_EQ(TextOf(&test.context->calib),
        "mode 1, orientation 0, 9 points, box 20..1003 20..1003, raw 1024 x 1024");
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
    // The figures of the last two ticks: the ninth target over eight dots, then nine dots.
    const std::vector<Figure> drawn = test.windows.TakeFigures();
    std::vector<Figure> expected{white};
    expected.insert(expected.end(), 8, dot);
    expected.push_back({'E', 1003, 752, 3, GRAY});
    expected.push_back(white);
    expected.insert(expected.end(), 9, dot);
    EXPECT_EQ(
        std::vector<Figure>(drawn.end() - static_cast<ptrdiff_t>(expected.size()), drawn.end()),
        expected);

    test.Touch(0, 32768, 16384);
    test.Tick();
    EXPECT_TRUE(test.windows.figures.empty()) << "the result is painted when its message comes";
    expected = {{'R', 512, 384, 512, RED}};
    expected.insert(expected.end(), 9, dot);
    for (const auto& [radius, color] : {std::pair{12, GRAY}, {10, WHITE}, {3, BLUE}})
        expected.push_back({'E', 512, 192, radius, color});
    EXPECT_EQ(test.Repaint(), expected);
}

TEST(PanelTest, ColorsTheScreenByTheQualityUpToItsLimits)
{
    // Bits, the raw units between the outer samples on both axes, the quality and its colour.
    using Row = std::tuple<uint32_t, int32_t, uint32_t, COLORREF>;
    for (const auto& [bits, extent, quality, color] :
        {Row{10, 0, 0, RED}, Row{10, 688, 69, RED}, Row{10, 689, 70, 0x004DEA},
            Row{10, 786, 79, 0x004DEA}, Row{10, 787, 80, 0x00FFFF}, Row{10, 884, 89, 0x00FFFF},
            Row{10, 885, 90, GREEN}, Row{10, 1023, 104, GREEN}, Row{12, 3932, 99, GREEN}}) {
        const TraceRecorder trace;
        RunningTest test(bits);
        const int32_t range = 1 << bits;
        for (uint32_t target = 0; target <= TARGET_COUNT; ++target) {
            // The smallest output position that maps to the raw one.
            const int32_t far = (extent * OUTPUT_RANGE + range - 1) / range;
            test.Touch(0, target == 4 ? far : 0, target == 2 ? far : 0);
            test.Tick();
        }
        EXPECT_EQ(trace.texts, Texts{"Panel Quality : " + std::to_string(quality)}) << extent;
        test.windows.figures.clear();
        EXPECT_EQ(test.Repaint().at(0).fill, color) << quality;
    }
    // Both axes count, each cut to a whole number first.
    CalibrationData calib{};
    calib.rawRangeX = calib.rawRangeY = 1024;
    calib.stdMaxX = 983; // 99
    calib.stdMaxY = 492; // 50
    EXPECT_EQ(PanelQuality(&calib), 74U);
}

} // namespace
} // namespace korvex
