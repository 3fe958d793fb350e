// How a panel measures a touch elsewhere than where it is: what a calibration puts right.
#pragma once

#include <array>
#include <cstddef>

namespace korvex::emulator {

// A place on the panel, in percent of its width and height from the top left.
struct PanelPoint {
    double x;
    double y;
};

inline constexpr size_t PANEL_TARGET_COUNT = 9;

// The places that the panel test asks for, row by row from the top left.
inline constexpr std::array<PanelPoint, PANEL_TARGET_COUNT> TARGETS{
    {{2, 2}, {50, 2}, {98, 2}, {2, 50}, {50, 50}, {98, 50}, {2, 98}, {50, 98}, {98, 98}}};

// Applied in this order.
struct Distortion {
    // what is added at each target; in between, what lies between
    std::array<PanelPoint, PANEL_TARGET_COUNT> targetErrors{};
    PanelPoint scale{1, 1}; // about the panel's middle
    // of the axes about the middle, in degrees clockwise
    double rotation = 0;
    PanelPoint offset{0, 0};
};

// The place at which the panel measures a touch.
PanelPoint Distort(const Distortion* distortion, PanelPoint touch);

} // namespace korvex::emulator
