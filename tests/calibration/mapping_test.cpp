// The way of a point through spans, box, orientation and kernels. Runs on Windows too.

#include "calibration/mapping.h"

#include <limits>

#include "calibration/defaults.h"
#include "calibration/orientation.h"
#include "calibration/wrapping.h"
#include "testing/calibration_data.h"
#include "testing/testing.h"

namespace korvex {
namespace {

CalibrationData Spans(uint8_t mapMode, Point rawRange = {1024, 1024})
{
    CalibrationData calib{};
    calib.mapMode = mapMode;
    const Point outRange{OUTPUT_RANGE, OUTPUT_RANGE};
    SetCalibrationRanges(&calib, &rawRange, &outRange);
    return calib;
}

CalibrationData Box(Point minimum, Point maximum, uint32_t pointCount = 0)
{
    CalibrationData calib = Spans(1);
    calib.pointCount = pointCount;
    calib.orientation = 8; // a box has no transform
    calib.stdMinX = minimum.x;
    calib.stdMinY = minimum.y;
    calib.stdMaxX = maximum.x;
    calib.stdMaxY = maximum.y;
    return calib;
}

CalibrationData Measured(const std::vector<Point>& points, uint8_t mapMode = 1)
{
    CalibrationData calib = Spans(mapMode);
    calib.pointCount = static_cast<uint32_t>(points.size());
    calib.orientation = 1;
    std::copy(points.begin(), points.end(), calib.advPoints.begin());
    BuildReferencePoints(&calib);
    return calib;
}

TEST(MapPoint, IsExactToTheUnitInEveryStage)
{
    const std::vector<Point> nine = TargetsOf(9);
    const std::vector<Point> four = TargetsOf(4);
    const std::vector<Point> slanted{{500, 100}, {510, 100}, {510, 900}, {500, 900}};
    using Row = std::tuple<const char*, CalibrationData, Point, Point>;
    for (const auto& [what, calib, raw, mapped] :
        {
            Row{"plain", Spans(0), {0, 512}, {0, 32767}},
            Row{"plain, whatever was measured", Measured(nine, 255), {512, 0}, {32767, 0}},
            Row{"plain, a span of 0", Spans(0, {0, 1024}), {512, 512}, {0, 32767}},
            Row{"box", Box({85, 85}, {938, 938}), {511, 938}, {32719, 65535}},
            Row{"box of 25 points, mirrored", Box({938, 85}, {85, 938}, 25), {500, 85}, {33647, 0}},
            Row{"box without height", Box({85, 85}, {938, 85}), {1000, 2500}, {15999, 39999}},
            Row{"box without width: clamped alone", Box({85, 85}, {85, 938}), {5000, -3},
                {65535, 0}},
            Row{"a product beyond 32 bits", Box({-2000000, -2000000}, {3000000, 3000000}),
                {500, 500}, {0, 0}},
            Row{"nine points, the middle", Measured(nine), {500, 500}, {32767, 32767}},
            Row{"nine points, between", Measured(nine), {300, 700}, {17023, 48495}},
            Row{"nine points, beyond", Measured(nine), {0, 0}, {-6543, -6543}},
            Row{"nine points in one place", Measured(std::vector<Point>(9)), {700, 300}, {0, 0}},
            Row{"four points, between", Measured(four), {300, 700}, {17039, 48495}},
            Row{"four points close together", Measured(slanted), {1023, 500}, {145821, 32767}},
        }) {
        Point point = raw;
        EXPECT_TRUE(MapPoint(&calib, &point)) << what;
        EXPECT_EQ(point, mapped) << what;
    }
    Point point{-5, 7};
    CalibrationData negative = Box({0, 0}, {0, 0});
    negative.workRangeX = -3;
    EXPECT_FALSE(MapStandardBox(&negative, &point));
    EXPECT_EQ(point, (Point{-3, 7})) << "raised to 0, then lowered to the span";
    constexpr int32_t SMALLEST = std::numeric_limits<int32_t>::min();
    EXPECT_EQ(WrapDivide(SMALLEST, -1), SMALLEST);
}

TEST(DetectOrientation, LooksAtThreeCorners)
{
    using Panel = std::tuple<Point, Point, Point, uint32_t>;
    for (const auto& [topLeft, topRight, bottomRight, orientation] :
        {Panel{{900, 100}, {100, 100}, {100, 900}, 3}, Panel{{0, 0}, {0, 0}, {0, 0}, 4},
            Panel{{100, 100}, {500, 500}, {900, 400}, 2}, // a tie runs along raw X
            Panel{{100, 100}, {100, 900}, {900, 900}, 5}}) {
        CalibrationData calib = Measured(std::vector<Point>(9, {777, 333}));
        calib.advPoints[0] = topLeft;
        calib.advPoints[2] = topRight;
        calib.advPoints[8] = bottomRight;
        DetectOrientation(&calib);
        EXPECT_EQ(calib.orientation, orientation);
    }
}

// Calibration values come from a file that anyone can edit: with whatever numbers, extremes among
// them, the steps end as an independent calculation of the same rules does, which produced the
// number below.
TEST(MapPoint, AgreesWithAnIndependentCalculationForAnyCalibration)
{
    constexpr int32_t SMALLEST = std::numeric_limits<int32_t>::min();
    constexpr int32_t LARGEST = std::numeric_limits<int32_t>::max();
    static constexpr int32_t EXTREMES[]{SMALLEST, SMALLEST + 1, -65536, -1, 0, 1, 65536, LARGEST};
    uint32_t state = 1;
    const auto number = [&state] {
        state = state * 1664525 + 1013904223;
        return state >> 28 == 0 ? EXTREMES[(state >> 16) & 7]
                                : static_cast<int32_t>((state >> 8) % 4096);
    };
    uint32_t digest = 0;
    for (int i = 0; i < 20000; ++i) {
        CalibrationData calib{};
        SetCalibrationRanges(&calib, nullptr, nullptr);
        calib.mapMode = i % 7 == 0 ? 0 : 1;
        calib.pointCount = std::array{0U, 4U, 9U, 16U, 25U}[static_cast<size_t>(i % 5)];
        for (int32_t* value : {&calib.rawRangeX, &calib.rawRangeY, &calib.outRangeX,
                 &calib.outRangeY, &calib.stdMinX, &calib.stdMinY, &calib.stdMaxX, &calib.stdMaxY})
            *value = number();
        for (Point& point : calib.advPoints) {
            point.x = number();
            point.y = number();
        }
        DetectOrientation(&calib);
        BuildReferencePoints(&calib);
        Point point{};
        point.x = number();
        point.y = number();
        EXPECT_TRUE(MapPoint(&calib, &point));
        digest
            = (digest * 31 + static_cast<uint32_t>(point.x)) * 31 + static_cast<uint32_t>(point.y);
    }
    EXPECT_EQ(digest, 0x2045DB0BU);
}

} // namespace
} // namespace korvex
