// Which measured points can be a panel's. Runs on Windows too.

#include "console/plausibility.h"

#include <cmath>

#include "calibration/calibration.h"
#include "calibration/defaults.h"
#include "calibration/orientation.h"
#include "testing/calibration_data.h"
#include "testing/testing.h"

namespace korvex {
namespace {

// The points of a panel that is turned, askew by 1.5 degrees, too small and uneven, as measured.
CalibrationData MeasuredPanel(uint32_t count, uint32_t orientation, double unevenness = 1)
{
    // In percent of the screen, whose middle 96 the targets span; a drawing's nine errors.
    constexpr std::array<Point, 9> ERRORS{
        {{1, -1}, {0, 1}, {-1, 1}, {1, 0}, {-1, -1}, {0, 1}, {1, -1}, {0, -1}, {-1, 0}}};
    CalibrationData calib{};
    SetCalibrationRanges(&calib, nullptr, nullptr);
    calib.orientation = orientation;
    calib.pointCount = count;
    const std::vector<Point> plain = TargetsOf(count);
    for (uint32_t i = 0; i < count; ++i) {
        const double x = plain[i].x - 500 + unevenness * 800 / 96 * ERRORS[i % 9].x;
        const double y = plain[i].y - 500 + unevenness * 800 / 96 * ERRORS[i % 9].y;
        const Point askew{static_cast<int32_t>(500 + 0.92 * (x - 0.026 * y)),
            static_cast<int32_t>(510 + 0.94 * (y + 0.026 * x))};
        CalibrationData turn = calib;
        turn.workRangeX = turn.workRangeY = 1024;
        calib.advPoints[i] = TransformPoint(&turn, askew);
    }
    RepairCalibration(&calib, 10);
    return calib;
}

PointsJudgement Judge(CalibrationData calib)
{
    RepairCalibration(&calib, 10);
    return JudgePoints(&calib, 10);
}

TEST(JudgePoints, FindsNothingInARealPanelHoweverItIsTurned)
{
    for (const uint32_t count : {4U, 9U, 16U, 25U}) {
        for (uint32_t orientation = 1; orientation <= MAX_ORIENTATION; ++orientation) {
            const CalibrationData calib = MeasuredPanel(count, orientation);
            const PointsJudgement judgement = JudgePoints(&calib, 10);
            EXPECT_EQ(judgement.fault, PointsFault::NONE)
                << count << " points, orientation " << orientation;
            EXPECT_TRUE(std::all_of(judgement.residuals.begin(), judgement.residuals.end(),
                [](const Residual& residual) { return residual.x < 2.7 && residual.y < 2.7; }));
        }
    }
    CalibrationData none{};
    none.pointCount = 0;
    EXPECT_EQ(JudgePoints(&none, 10).fault, PointsFault::NONE);
}

TEST(JudgePoints, NamesTheTargetThatWasMeasuredWrongly)
{
    for (const uint32_t orientation : {1U, 6U}) {
        for (uint32_t target = 0; target < 9; ++target) {
            for (const Point error : {Point{60, 0}, Point{-90, 90}}) {
                CalibrationData calib = MeasuredPanel(9, orientation, 0.5);
                calib.advPoints[target].x += error.x;
                calib.advPoints[target].y += error.y;
                const PointsJudgement judgement = Judge(calib);
                EXPECT_EQ(judgement.fault, PointsFault::UNEVEN) << target << ": " << error;
                EXPECT_EQ(judgement.target, target) << error;
                const Residual residual = judgement.residuals[target]; // on the screen's axes
                EXPECT_TRUE(error.y != 0 || (residual.x > residual.y) == (orientation == 1));
            }
        }
    }
    using Row = std::tuple<PointsFault, uint32_t, uint32_t>;
    for (const auto& [fault, target, other] :
        {Row{PointsFault::SAME_PLACE, 3, 7}, Row{PointsFault::ORDER, 4, 5},
            Row{PointsFault::ORDER, 1, 4}, Row{PointsFault::RANGE, NO_TARGET, NO_TARGET}}) {
        CalibrationData calib = MeasuredPanel(9, 1);
        if (fault == PointsFault::SAME_PLACE)
            calib.advPoints[other] = calib.advPoints[target];
        else if (fault == PointsFault::ORDER)
            std::swap(calib.advPoints[target], calib.advPoints[other]);
        for (Point& point : calib.advPoints)
            point.x /= fault == PointsFault::RANGE ? 8 : 1;
        const PointsJudgement judgement = Judge(calib);
        EXPECT_EQ(judgement.fault, fault);
        EXPECT_EQ(judgement.target, target);
        EXPECT_EQ(judgement.other, other);
    }
    CalibrationData folded = MeasuredPanel(4, 1);
    folded.advPoints[2] = {300, 300};
    EXPECT_EQ(Judge(folded).fault, PointsFault::FOLD);
}

} // namespace
} // namespace korvex
