#include "calibration/point_kernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "calibration/orientation.h"
#include "calibration/wrapping.h"

namespace korvex {
namespace {

constexpr int32_t SMALLEST = std::numeric_limits<int32_t>::min();
constexpr int32_t LARGEST = std::numeric_limits<int32_t>::max();

TEST(WrapDivide, HasAResultForEveryDivisor)
{
    EXPECT_EQ(WrapDivide(7, 0), 0);
    EXPECT_EQ(WrapDivide(SMALLEST, -1), SMALLEST);
    EXPECT_EQ(WrapDivide(7, -1), -7);
    EXPECT_EQ(WrapDivide(-7, 2), -3);
    EXPECT_EQ(WrapAbsolute(SMALLEST), SMALLEST);
}

TEST(InterpolateLinear, FollowsTheLineAndGivesZeroOnEqualNodes)
{
    struct Row {
        int32_t p0, p1, x, result;
    };
    for (const Row& row : {Row{100, 900, 100, 82}, Row{100, 900, 900, 4014}, Row{100, 900, 500, 2048}, Row{100, 900, 0, -409},
             Row{900, 100, 500, 2048}, Row{5, 5, 7, 0}})
        EXPECT_EQ(InterpolateLinear(row.p0, row.p1, TARGET_LOW, TARGET_HIGH, row.x), row.result) << row.x;
}

TEST(InterpolateQuadratic, IsExactToTheUnit)
{
    struct Row {
        int32_t p0, p1, p2, x, result;
    };
    for (const Row& row : {Row{100, 500, 900, 100, 82}, Row{100, 500, 900, 500, 2048}, Row{100, 500, 900, 900, 4014},
             Row{100, 500, 900, 300, 1065}, Row{100, 500, 900, 700, 3031}, Row{100, 500, 900, 0, -410}, Row{100, 500, 900, 1023, 4618},
             Row{156, 441, 985, 50, -815}, Row{93, 441, 855, 408, 1873}, Row{120, 530, 880, 300, 900}, Row{120, 530, 880, 700, 2969},
             Row{900, 500, 100, 100, 4014}, Row{900, 500, 100, 300, 3031}, Row{5, 5, 9, 7, 0}, Row{5, 9, 9, 7, 0}, Row{9, 5, 9, 7, 0}})
        EXPECT_EQ(InterpolateQuadratic(row.p0, row.p1, row.p2, TARGET_LOW, TARGET_MIDDLE, TARGET_HIGH, row.x), row.result)
            << row.p0 << " " << row.x;
}

// Random panels, 10 and 12 bits, in either direction: a wrong term shows as a difference from the real-valued quadratic.
TEST(InterpolateQuadratic, StaysWithinTwoUnitsOfTheRealQuadratic)
{
    std::mt19937 random(20240229);
    const auto number = [&random](int32_t low, int32_t high) { return std::uniform_int_distribution<int32_t>(low, high)(random); };
    for (int i = 0; i < 20000; ++i) {
        const int32_t scale = i % 2 == 0 ? 1 : 4;
        int32_t p0 = scale * number(20, 200);
        const int32_t p1 = scale * number(400, 600);
        int32_t p2 = scale * number(800, 1000);
        if (i % 3 == 0)
            std::swap(p0, p2);
        const int32_t x = scale * number(0, 1023);
        const double real = 82.0 * (x - p1) * (x - p2) / (double(p0 - p1) * (p0 - p2))
            + 2048.0 * (x - p0) * (x - p2) / (double(p1 - p0) * (p1 - p2)) + 4014.0 * (x - p0) * (x - p1) / (double(p2 - p0) * (p2 - p1));
        const int32_t mapped = InterpolateQuadratic(p0, p1, p2, TARGET_LOW, TARGET_MIDDLE, TARGET_HIGH, x);
        ASSERT_NEAR(mapped, real, 2.0) << p0 << " " << p1 << " " << p2 << " at " << x;
    }
}

// Reference points come from a file: with any of them the steps must end, without undefined behaviour (the sanitizers look on).
TEST(Interpolation, SurvivesEveryExtremeValue)
{
    const int32_t values[]{SMALLEST, SMALLEST + 1, -65536, -1, 0, 1, 2, 65536, LARGEST};
    for (const int32_t p0 : values)
        for (const int32_t p1 : values)
            for (const int32_t p2 : values)
                for (const int32_t x : values) {
                    const int32_t quadratic = InterpolateQuadratic(p0, p1, p2, SMALLEST, LARGEST, -1, x);
                    const int32_t linear = InterpolateLinear(p0, p1, p2, SMALLEST, x);
                    ASSERT_TRUE(quadratic == 0 || (p0 != p1 && p1 != p2 && p0 != p2));
                    ASSERT_TRUE(linear == 0 || p0 != p1);
                }
    // The last divisor, 131072 x 65536, wraps to 0, and so does the product of the distances: every term is 0.
    EXPECT_EQ(InterpolateQuadratic(0, 65536, 131072, 10, 10, 10, 65536), 0);
}

CalibrationData Grid(uint32_t pointCount)
{
    CalibrationData calib{};
    calib.pointCount = pointCount;
    const int32_t places[]{100, 500, 900};
    if (pointCount == 4) {
        calib.refPoints[0] = {100, 100};
        calib.refPoints[1] = {900, 100};
        calib.refPoints[2] = {900, 900};
        calib.refPoints[3] = {100, 900};
    } else {
        for (uint32_t i = 0; i < 9; ++i)
            calib.refPoints[i] = {places[i % 3], places[i / 3]};
    }
    return calib;
}

TEST(PointKernels, MapEachTargetOntoItsPlaceOnASkewedPanel)
{
    CalibrationData nine = Grid(9);
    CalibrationData four = Grid(4);
    for (CalibrationData* calib : {&nine, &four})
        for (Point& point : calib->refPoints)
            point = {point.x + point.y / 10, point.y - point.x / 20};
    const int32_t places[]{TARGET_LOW, TARGET_MIDDLE, TARGET_HIGH};
    for (uint32_t i = 0; i < 9; ++i) {
        Point point = nine.refPoints[i];
        EXPECT_TRUE(MapNinePoint(&nine, &point));
        EXPECT_EQ(point.x, places[i % 3]) << i;
        EXPECT_EQ(point.y, places[i / 3]) << i;
    }
    const Point corners[]{{TARGET_LOW, TARGET_LOW}, {TARGET_HIGH, TARGET_LOW}, {TARGET_HIGH, TARGET_HIGH}, {TARGET_LOW, TARGET_HIGH}};
    for (uint32_t i = 0; i < 4; ++i) {
        Point point = four.refPoints[i];
        EXPECT_TRUE(MapFourPoint(&four, &point));
        EXPECT_EQ(point.x, corners[i].x) << i;
        EXPECT_EQ(point.y, corners[i].y) << i;
    }
}

} // namespace
} // namespace korvex
