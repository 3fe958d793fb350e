#include "input/pointer_injection.h"

#include "calibration/defaults.h"
#include "input/touch_report.h"
#include "link/command_protocol.h"
#include "support/millisecond_clock.h"
#include "testing/recorders.h"
#include "testing/test_line.h"
#include "testing/testing.h"

namespace korvex {
namespace {

TEST(InjectReport, PressesMovesAndReleasesWithTheContactAndRecordsEveryReport)
{
    InputRecorder recorder;
    const ControllerPointer controller = Unconnected(MODEL_7700);
    const Point rawRange{1024, 1024};
    const Point outRange{OUTPUT_RANGE, OUTPUT_RANGE};
    SetCalibrationRanges(&controller->calib, &rawRange, &outRange);
    const uint32_t before = NowMs();
    const auto inject = [&controller](uint8_t status, int x, int y) {
        const auto high = [](int value) { return static_cast<uint8_t>(value / 128); };
        const auto low = [](int value) { return static_cast<uint8_t>(value % 128); };
        const uint8_t report[]{status, high(x), low(x), high(y), low(y)};
        return InjectReport(controller.get(), report);
    };
    EXPECT_FALSE(inject(0xBF, 5, 5)) << "no contact, none before";
    EXPECT_TRUE(inject(0xFF, 512, 256));
    EXPECT_TRUE(inject(0xFF, 516, 256));
    EXPECT_TRUE(inject(0xFF, 2000, 256)) << "a place beyond the screen is sent as it is";
    EXPECT_TRUE(inject(0xBF, 520, 260));
    EXPECT_FALSE(inject(0xBF, 256, 512));
    EXPECT_THAT(recorder.inputs,
        ElementsAre(SentInput{32767, 16383, PRESS}, SentInput{33023, 16383, MOVE}, SentInput{127998, 16383, MOVE},
            SentInput{33279, 16639, RELEASE}));
    EXPECT_EQ(controller->report.lastX, 16383);
    EXPECT_EQ(controller->report.lastY, 32767);
    EXPECT_EQ(controller->report.lastStatus, 0xBFU);
    EXPECT_LE(controller->report.lastReportMs - before, NowMs() - before);
    EXPECT_TRUE(inject(0xFF, 0, 0)) << "the next touch begins anew";
    EXPECT_EQ(recorder.inputs.back(), (SentInput{0, 0, PRESS}));
}

} // namespace
} // namespace korvex
