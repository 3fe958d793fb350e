// MapPoint in each of its modes, beside the same integer steps written without care for zero
// divisors and overflow.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "calibration/defaults.h"
#include "calibration/mapping.h"
#include "calibration/orientation.h"
#include "calibration/point_kernels.h"

namespace korvex {
namespace {

enum class Mode { PLAIN, BOX, FOUR_POINTS, NINE_POINTS };

CalibrationData CalibrationFor(Mode mode)
{
    CalibrationData calib{};
    const Point rawRange{1024, 1024};
    const Point outRange{OUTPUT_RANGE, OUTPUT_RANGE};
    SetCalibrationRanges(&calib, &rawRange, &outRange);
    calib.mapMode = mode == Mode::PLAIN ? 0 : 1;
    calib.stdMinX = calib.stdMinY = 85;
    calib.stdMaxX = calib.stdMaxY = 938;
    calib.pointCount = mode == Mode::FOUR_POINTS ? 4 : mode == Mode::NINE_POINTS ? 9 : 0;
    for (uint32_t i = 0; i < 9; ++i)
        calib.advPoints[i] = {static_cast<int32_t>(110 + 395 * (i % 3) + 7 * (i / 3)),
            static_cast<int32_t>(95 + 401 * (i / 3) + 5 * (i % 3))};
    if (mode == Mode::FOUR_POINTS)
        calib.advPoints = {Point{110, 95}, Point{900, 105}, Point{914, 907}, Point{124, 897}};
    if (calib.pointCount != 0)
        DetectOrientation(&calib);
    BuildReferencePoints(&calib);
    return calib;
}

int32_t BareLinear(int32_t p0, int32_t p1, int32_t q0, int32_t q1, int32_t x)
{
    return p0 == p1 ? 0 : ((x - p0) * q1 + (p1 - x) * q0) / (p1 - p0);
}

int32_t BareQuadratic(
    int32_t p0, int32_t p1, int32_t p2, int32_t q0, int32_t q1, int32_t q2, int32_t x)
{
    if (p0 == p1 || p1 == p2 || p0 == p2)
        return 0;
    const int32_t a0 = x - p0;
    const int32_t a1 = x - p1;
    const int32_t a2 = x - p2;
    const int32_t d10 = p1 - p0;
    const int32_t d20 = p2 - p0;
    const int32_t d21 = p2 - p1;
    const int32_t a = a2 * a1;
    const int32_t b = a2 * a0;
    const int32_t c = a1 * a0;
    const int32_t t0 = a / d10 * q0;
    const int32_t t1 = b / d10 * q1;
    const int32_t t2 = c / d20 * q2;
    const int32_t u0 = a % d10 * q0;
    const int32_t u1 = b % d10 * q1;
    const int32_t u2 = c % d20 * q2;
    const int32_t v0 = u0 / d10 + t0 % d20;
    const int32_t v1 = u1 / d10 + t1 % d21;
    const int32_t v2 = u2 / d20 + t2 % d21;
    const int32_t w = (u0 % d10 * d21 - u1 % d10 * d20) / d10;
    const int32_t rest = v0 % d20 * d21 + v2 % d21 * d10 + u2 % d20 + w - v1 % d21 * d20;
    return t0 / d20 - t1 / d21 + t2 / d21 + v0 / d20 - v1 / d21 + v2 / d21 + rest / (d20 * d21);
}

Point BareFour(const std::array<Point, MAX_CALIBRATION_POINTS>& r, Point p)
{
    const int32_t topX = BareLinear(r[0].x, r[1].x, TARGET_LOW, TARGET_HIGH, p.x);
    const int32_t bottomX = BareLinear(r[3].x, r[2].x, TARGET_LOW, TARGET_HIGH, p.x);
    const int32_t topY = BareLinear(r[0].x, r[1].x, r[0].y, r[1].y, p.x);
    const int32_t bottomY = BareLinear(r[3].x, r[2].x, r[3].y, r[2].y, p.x);
    const int32_t leftY = BareLinear(r[0].y, r[3].y, TARGET_LOW, TARGET_HIGH, p.y);
    const int32_t rightY = BareLinear(r[1].y, r[2].y, TARGET_LOW, TARGET_HIGH, p.y);
    const int32_t leftX = BareLinear(r[0].y, r[3].y, r[0].x, r[3].x, p.y);
    const int32_t rightX = BareLinear(r[1].y, r[2].y, r[1].x, r[2].x, p.y);
    return {BareLinear(topY, bottomY, topX, bottomX, p.y),
        BareLinear(leftX, rightX, leftY, rightY, p.x)};
}

Point BareNine(const std::array<Point, MAX_CALIBRATION_POINTS>& r, Point p)
{
    std::array<int32_t, 3> x{};
    std::array<int32_t, 3> y{};
    std::array<int32_t, 3> columnY{};
    std::array<int32_t, 3> columnX{};
    for (size_t k = 0; k < 3; ++k) {
        x[k] = BareQuadratic(r[3 * k].x, r[3 * k + 1].x, r[3 * k + 2].x, TARGET_LOW, TARGET_MIDDLE,
            TARGET_HIGH, p.x);
        y[k] = BareQuadratic(r[3 * k].x, r[3 * k + 1].x, r[3 * k + 2].x, r[3 * k].y, r[3 * k + 1].y,
            r[3 * k + 2].y, p.x);
        columnY[k] = BareQuadratic(
            r[k].y, r[k + 3].y, r[k + 6].y, TARGET_LOW, TARGET_MIDDLE, TARGET_HIGH, p.y);
        columnX[k]
            = BareQuadratic(r[k].y, r[k + 3].y, r[k + 6].y, r[k].x, r[k + 3].x, r[k + 6].x, p.y);
    }
    return {BareQuadratic(y[0], y[1], y[2], x[0], x[1], x[2], p.y),
        BareQuadratic(columnX[0], columnX[1], columnX[2], columnY[0], columnY[1], columnY[2], p.x)};
}

void BareMap(const CalibrationData* calib, Point* p)
{
    if (calib->mapMode != 1) {
        *p = {calib->workRangeX * p->x / calib->rawRangeX,
            calib->workRangeY * p->y / calib->rawRangeY};
    } else if (calib->pointCount == 0) {
        const int32_t x
            = (p->x - calib->stdMinX) * calib->workRangeX / (calib->stdMaxX - calib->stdMinX);
        const int32_t y
            = (p->y - calib->stdMinY) * calib->workRangeY / (calib->stdMaxY - calib->stdMinY);
        p->x = x < 0 ? 0 : std::min(x, calib->workRangeX);
        p->y = y < 0 ? 0 : std::min(y, calib->workRangeY);
    } else {
        ApplyOrientation(calib, p);
        *p = calib->pointCount == 4 ? BareFour(calib->refPoints, *p)
                                    : BareNine(calib->refPoints, *p);
    }
    *p = {calib->outRangeX * p->x / calib->workRangeX, calib->outRangeY * p->y / calib->workRangeY};
}

// Both are called through a pointer that the compiler knows nothing of, as the library's code calls
// MapPoint.
template <typename Routine>
void Measure(benchmark::State* state, Routine* map)
{
    const CalibrationData calib = CalibrationFor(static_cast<Mode>(state->range(0)));
    benchmark::DoNotOptimize(map);
    int32_t raw = 0;
    for (auto _ : *state) {
        raw = (raw + 37) & 1023;
        Point point{raw, 1023 - raw};
        map(&calib, &point);
        benchmark::DoNotOptimize(point);
    }
}

void BM_MapPoint(benchmark::State& state)
{
    Measure(&state, MapPoint);
}

void BM_BareSteps(benchmark::State& state)
{
    Measure(&state, BareMap);
}

// 0 plain scaling, 1 standard box, 2 four points, 3 nine points.
BENCHMARK(BM_MapPoint)->ArgName("mode")->DenseRange(0, 3);
BENCHMARK(BM_BareSteps)->ArgName("mode")->DenseRange(0, 3);

} // namespace
} // namespace korvex
