#include "emulator/distortion.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace korvex::emulator {

namespace {

constexpr double MIDDLE = 50;

double Between(double start, double end, double part)
{
    return start + (end - start) * part;
}

// The error at a place: bilinear within the quarter of the panel that the place is in, and that of
// the edge beyond the outer targets.
PanelPoint ErrorAt(const Distortion* distortion, PanelPoint touch)
{
    const size_t column = touch.x < MIDDLE ? 0 : 1;
    const size_t row = touch.y < MIDDLE ? 0 : 1;
    const PanelPoint first = TARGETS[row * 3 + column];
    const PanelPoint last = TARGETS[(row + 1) * 3 + column + 1];
    const double partX = std::clamp((touch.x - first.x) / (last.x - first.x), 0.0, 1.0);
    const double partY = std::clamp((touch.y - first.y) / (last.y - first.y), 0.0, 1.0);
    const auto* upper = &distortion->targetErrors[row * 3 + column];
    const auto* lower = upper + 3;
    return {Between(Between(upper[0].x, upper[1].x, partX), Between(lower[0].x, lower[1].x, partX),
                partY),
        Between(
            Between(upper[0].y, upper[1].y, partX), Between(lower[0].y, lower[1].y, partX), partY)};
}

} // namespace

PanelPoint Distort(const Distortion* distortion, PanelPoint touch)
{
    const PanelPoint error = ErrorAt(distortion, touch);
    const double x = (touch.x + error.x - MIDDLE) * distortion->scale.x;
    const double y = (touch.y + error.y - MIDDLE) * distortion->scale.y;
    const double angle = distortion->rotation * std::numbers::pi / 180;
    return {x * std::cos(angle) - y * std::sin(angle) + MIDDLE + distortion->offset.x,
        x * std::sin(angle) + y * std::cos(angle) + MIDDLE + distortion->offset.y};
}

} // namespace korvex::emulator
