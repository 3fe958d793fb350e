// How exact a calibration is that was made on a noisy panel.

#include <cmath>

#include "calibration/mapping.h"
#include "console/calibration_targets.h"
#include "emulator/distortion.h"
#include "emulator/noise.h"
#include "testing/testing.h"

namespace korvex {
namespace {

// Askew by 1.5 degrees, 8 and 6 % too small and off the middle.
const emulator::Distortion ASKEW{{}, {0.92, 0.94}, 1.5, {1.5, -1}};

Point Measured(const emulator::Distortion* distortion, emulator::PanelPoint place,
    emulator::PanelPoint noise = {0, 0})
{
    const emulator::PanelPoint at = emulator::Distort(distortion, place);
    return {static_cast<int32_t>(std::clamp(std::round(at.x / 100 * 1024 + noise.x), 0.0, 1023.0)),
        static_cast<int32_t>(std::clamp(std::round(at.y / 100 * 1024 + noise.y), 0.0, 1023.0))};
}

// Calibrates as a person does, target by target, a second each.
CalibrationData Calibrate(
    const emulator::Distortion* distortion, const emulator::Noise& noise, uint32_t targetCount)
{
    CalibrationTargets targets{};
    std::mt19937 random(noise.seed);
    uint32_t now = 0;
    StartTargets(&targets, targetCount, 10);
    for (int touch = 0;
        touch < 40 && targets.step != TargetStep::REVIEW && targets.step != TargetStep::MISFIT;
        ++touch) {
        const Point target = TargetPlace(&targets, targets.current);
        const emulator::PanelPoint place{target.x * 100 / 65536.0, target.y * 100 / 65536.0};
        constexpr int REPORTS = 100;
        for (int i = 0; i < REPORTS; ++i) {
            now += 10;
            const bool lifting = i + emulator::LIFT_REPORTS >= REPORTS;
            HandleTargetReport(&targets,
                Measured(distortion, place, emulator::NextNoise(&noise, lifting, &random)), true,
                now);
        }
        HandleTargetReport(&targets, Measured(distortion, place), false, now);
    }
    EXPECT_EQ(targets.step, TargetStep::REVIEW) << "seed " << noise.seed;
    return targets.calib;
}

struct Error {
    double mean;
    double worst;
};

// In pixels of 1024 x 768, over 49 places of the screen.
Error ErrorOf(const CalibrationData* calib, const emulator::Distortion* distortion)
{
    Error error{0, 0};
    for (int row = 0; row < 7; ++row) {
        for (int column = 0; column < 7; ++column) {
            const emulator::PanelPoint place{5 + 15.0 * column, 5 + 15.0 * row};
            Point point = Measured(distortion, place);
            MapPoint(calib, &point);
            const double distance = std::hypot(point.x / 65536.0 * 1024 - place.x / 100 * 1024,
                point.y / 65536.0 * 768 - place.y / 100 * 768);
            error.mean += distance / 49;
            error.worst = std::max(error.worst, distance);
        }
    }
    return error;
}

// Averaged over a hundred calibrations, with noise of 3 raw units (standard deviation).
Error AverageError(const emulator::Distortion* distortion, uint32_t targetCount)
{
    Error average{0, 0};
    for (uint32_t seed = 1; seed <= 100; ++seed) {
        const CalibrationData calib
            = Calibrate(distortion, emulator::NoiseOf(3, seed), targetCount);
        const Error error = ErrorOf(&calib, distortion);
        average = {average.mean + error.mean / 100, average.worst + error.worst / 100};
    }
    return average;
}

// The figures that docs/calibration.md states.
TEST(Exactness, IsThatOfThePanelWhateverItsNoise)
{
    emulator::Distortion uneven = ASKEW;
    uneven.targetErrors[1] = {0.3, 0.5};
    uneven.targetErrors[4] = {-0.6, 0.4};
    uneven.targetErrors[6] = {0.4, -0.3};
    using Row = std::tuple<const emulator::Distortion*, uint32_t, Error>;
    for (const auto& [distortion, targetCount, stated] :
        {Row{&ASKEW, 9, {0.6, 1.4}}, Row{&ASKEW, 4, {0.6, 1.4}}, Row{&uneven, 9, {1.5, 3.0}},
            Row{&uneven, 4, {2.7, 7.7}}}) {
        const Error error = AverageError(distortion, targetCount);
        EXPECT_NEAR(error.mean, stated.mean, 0.05) << targetCount;
        EXPECT_NEAR(error.worst, stated.worst, 0.05) << targetCount;
    }
}

} // namespace
} // namespace korvex
