#include "input/pointer_injection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "calibration/defaults.h"
#include "input/touch_report.h"
#include "link/command_protocol.h"
#include "support/millisecond_clock.h"
#include "testing/recorders.h"
#include "testing/test_line.h"

namespace korvex {
namespace {

using testing::InputRecorder;
using testing::MOVE;
using testing::PRESS;
using testing::RELEASE;
using testing::SentInput;

testing::ControllerPointer PlainController()
{
    testing::ControllerPointer controller = testing::Unconnected(MODEL_7700);
    const Point rawRange{1024, 1024};
    const Point outRange{OUTPUT_RANGE, OUTPUT_RANGE};
    SetCalibrationRanges(&controller->calib, &rawRange, &outRange);
    return controller;
}

bool Inject(TouchController* controller, uint8_t status, uint32_t x, uint32_t y)
{
    const uint8_t report[]{
        status, static_cast<uint8_t>(x / 128), static_cast<uint8_t>(x % 128), static_cast<uint8_t>(y / 128), static_cast<uint8_t>(y % 128)};
    return InjectReport(controller, report);
}

TEST(InjectReport, PressesMovesAndReleasesWithTheContact)
{
    InputRecorder recorder;
    const auto controller = PlainController();
    EXPECT_FALSE(Inject(controller.get(), 0xBF, 5, 5)) << "no contact, none before";
    EXPECT_TRUE(Inject(controller.get(), 0xFF, 512, 256));
    EXPECT_TRUE(Inject(controller.get(), 0xFF, 516, 256));
    EXPECT_TRUE(Inject(controller.get(), 0xFF, 520, 256));
    EXPECT_TRUE(Inject(controller.get(), 0xBF, 520, 260));
    EXPECT_FALSE(Inject(controller.get(), 0xBF, 520, 260));
    EXPECT_TRUE(Inject(controller.get(), 0xFF, 0, 0));
    EXPECT_EQ(recorder.inputs,
        (std::vector<SentInput>{
            {32767, 16383, PRESS}, {33023, 16383, MOVE}, {33279, 16383, MOVE}, {33279, 16639, RELEASE}, {0, 0, PRESS}}));
}

TEST(InjectReport, RecordsEveryReportAlsoWithoutAnInput)
{
    InputRecorder recorder;
    const auto controller = PlainController();
    const uint32_t before = NowMs();
    EXPECT_FALSE(Inject(controller.get(), 0xBF, 512, 256));
    EXPECT_TRUE(recorder.inputs.empty());
    EXPECT_EQ(controller->report.lastX, 32767);
    EXPECT_EQ(controller->report.lastY, 16383);
    EXPECT_EQ(controller->report.lastStatus, 0xBFU);
    EXPECT_LE(controller->report.lastReportMs - before, NowMs() - before);
}

TEST(InjectReport, SendsExtrapolatedPointsUnchanged)
{
    InputRecorder recorder;
    const auto controller = PlainController();
    controller->calib.mapMode = 1;
    controller->calib.pointCount = 9;
    const std::vector<Point> targets = testing::TargetsOf(9);
    std::copy(targets.begin(), targets.end(), controller->calib.refPoints.begin());
    EXPECT_TRUE(Inject(controller.get(), 0xFF, 0, 0));
    EXPECT_EQ(recorder.inputs, (std::vector<SentInput>{{-6543, -6543, PRESS}}));
}

} // namespace
} // namespace korvex
