#include "calibration/point_kernels.h"

#include <limits>

#include "calibration/wrapping.h"
#include "testing/testing.h"

namespace korvex {
namespace {

TEST(WrapDivide, HasAResultForEveryDivisor)
{
    constexpr int32_t SMALLEST = std::numeric_limits<int32_t>::min();
    EXPECT_EQ(WrapDivide(7, 0), 0);
    EXPECT_EQ(WrapDivide(SMALLEST, -1), SMALLEST);
    EXPECT_EQ(WrapDivide(-7, 2), -3);
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
    // The last divisor, 131072 x 65536, wraps to 0, and so does the product of the distances: every term is 0.
    EXPECT_EQ(InterpolateQuadratic(0, 65536, 131072, 10, 10, 10, 65536), 0);
}

} // namespace
} // namespace korvex
