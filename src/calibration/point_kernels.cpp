#include "calibration/point_kernels.h"

#include <array>
#include <cstddef>

#include "calibration/wrapping.h"

namespace korvex {

namespace {

struct Division {
    int32_t quotient;
    int32_t remainder; // takes the sign of the dividend
};

Division Divide(int32_t dividend, int32_t divisor)
{
    const int32_t quotient = WrapDivide(dividend, divisor);
    return {quotient, WrapSubtract(dividend, WrapMultiply(quotient, divisor))};
}

} // namespace

int32_t InterpolateLinear(int32_t p0, int32_t p1, int32_t q0, int32_t q1, int32_t x)
{
    if (p0 == p1)
        return 0;
    const int32_t upper = WrapMultiply(WrapSubtract(x, p0), q1);
    const int32_t lower = WrapMultiply(WrapSubtract(p1, x), q0);
    return WrapDivide(WrapAdd(upper, lower), WrapSubtract(p1, p0));
}

// Lagrange's form, q0 a1 a2 / (d10 d20) - q1 a0 a2 / (d10 d21) + q2 a0 a1 / (d20 d21), divided step
// by step so that the products stay small: t and v carry the whole parts of each term, the
// remainders meet in the last division.
int32_t InterpolateQuadratic(
    int32_t p0, int32_t p1, int32_t p2, int32_t q0, int32_t q1, int32_t q2, int32_t x)
{
    if (p0 == p1 || p1 == p2 || p0 == p2)
        return 0;
    const int32_t a0 = WrapSubtract(x, p0);
    const int32_t a1 = WrapSubtract(x, p1);
    const int32_t a2 = WrapSubtract(x, p2);
    const int32_t d10 = WrapSubtract(p1, p0);
    const int32_t d20 = WrapSubtract(p2, p0);
    const int32_t d21 = WrapSubtract(p2, p1);

    const Division a = Divide(WrapMultiply(a2, a1), d10);
    const Division b = Divide(WrapMultiply(a2, a0), d10);
    const Division c = Divide(WrapMultiply(a1, a0), d20);

    const Division t0 = Divide(WrapMultiply(a.quotient, q0), d20);
    const Division t1 = Divide(WrapMultiply(b.quotient, q1), d21);
    const Division t2 = Divide(WrapMultiply(c.quotient, q2), d21);

    const Division u0 = Divide(WrapMultiply(a.remainder, q0), d10);
    const Division u1 = Divide(WrapMultiply(b.remainder, q1), d10);
    const Division u2 = Divide(WrapMultiply(c.remainder, q2), d20);

    const Division v0 = Divide(WrapAdd(u0.quotient, t0.remainder), d20);
    const Division v1 = Divide(WrapAdd(u1.quotient, t1.remainder), d21);
    const Division v2 = Divide(WrapAdd(u2.quotient, t2.remainder), d21);

    const int32_t w = WrapDivide(
        WrapSubtract(WrapMultiply(u0.remainder, d21), WrapMultiply(u1.remainder, d20)), d10);
    // d10, not d20
    int32_t rest = WrapAdd(WrapMultiply(v0.remainder, d21), WrapMultiply(v2.remainder, d10));
    rest = WrapAdd(WrapAdd(rest, u2.remainder), w);
    rest = WrapSubtract(rest, WrapMultiply(v1.remainder, d20));
    const int32_t last = WrapDivide(rest, WrapMultiply(d20, d21));

    const int32_t wholes = WrapAdd(WrapSubtract(t0.quotient, t1.quotient), t2.quotient);
    const int32_t parts = WrapAdd(WrapSubtract(v0.quotient, v1.quotient), v2.quotient);
    return WrapAdd(WrapAdd(wholes, parts), last);
}

bool MapFourPoint(const CalibrationData* calib, Point* point)
{
    const Point topLeft = calib->refPoints[0];
    const Point topRight = calib->refPoints[1];
    const Point bottomRight = calib->refPoints[2];
    const Point bottomLeft = calib->refPoints[3];
    const int32_t x = point->x;
    const int32_t y = point->y;

    // The points of the top and the bottom edge at this X: their work X and their raw Y.
    const int32_t topX = InterpolateLinear(topLeft.x, topRight.x, TARGET_LOW, TARGET_HIGH, x);
    const int32_t bottomX
        = InterpolateLinear(bottomLeft.x, bottomRight.x, TARGET_LOW, TARGET_HIGH, x);
    const int32_t topY = InterpolateLinear(topLeft.x, topRight.x, topLeft.y, topRight.y, x);
    const int32_t bottomY
        = InterpolateLinear(bottomLeft.x, bottomRight.x, bottomLeft.y, bottomRight.y, x);
    // The left and the right edge at this Y.
    const int32_t leftY = InterpolateLinear(topLeft.y, bottomLeft.y, TARGET_LOW, TARGET_HIGH, y);
    const int32_t rightY = InterpolateLinear(topRight.y, bottomRight.y, TARGET_LOW, TARGET_HIGH, y);
    const int32_t leftX = InterpolateLinear(topLeft.y, bottomLeft.y, topLeft.x, bottomLeft.x, y);
    const int32_t rightX
        = InterpolateLinear(topRight.y, bottomRight.y, topRight.x, bottomRight.x, y);

    point->x = InterpolateLinear(topY, bottomY, topX, bottomX, y);
    point->y = InterpolateLinear(leftX, rightX, leftY, rightY, x);
    return true;
}

bool MapNinePoint(const CalibrationData* calib, Point* point)
{
    const auto& ref = calib->refPoints;
    const int32_t x = point->x;
    const int32_t y = point->y;
    std::array<int32_t, 3> rowX{};    // the work X of this raw X in each row
    std::array<int32_t, 3> rowY{};    // the raw Y of each row at this raw X
    std::array<int32_t, 3> columnY{}; // the work Y of this raw Y in each column
    std::array<int32_t, 3> columnX{}; // the raw X of each column at this raw Y
    for (size_t k = 0; k < 3; ++k) {
        const Point left = ref[3 * k];
        const Point middle = ref[3 * k + 1];
        const Point right = ref[3 * k + 2];
        rowX[k] = InterpolateQuadratic(
            left.x, middle.x, right.x, TARGET_LOW, TARGET_MIDDLE, TARGET_HIGH, x);
        rowY[k] = InterpolateQuadratic(left.x, middle.x, right.x, left.y, middle.y, right.y, x);
    }
    for (size_t k = 0; k < 3; ++k) {
        const Point top = ref[k];
        const Point middle = ref[k + 3];
        const Point bottom = ref[k + 6];
        columnY[k] = InterpolateQuadratic(
            top.y, middle.y, bottom.y, TARGET_LOW, TARGET_MIDDLE, TARGET_HIGH, y);
        columnX[k] = InterpolateQuadratic(top.y, middle.y, bottom.y, top.x, middle.x, bottom.x, y);
    }
    point->x = InterpolateQuadratic(rowY[0], rowY[1], rowY[2], rowX[0], rowX[1], rowX[2], y);
    point->y = InterpolateQuadratic(
        columnX[0], columnX[1], columnX[2], columnY[0], columnY[1], columnY[2], x);
    return true;
}

} // namespace korvex
