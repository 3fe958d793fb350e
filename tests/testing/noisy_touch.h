// Touches of a noisy panel, sent through the smoothing.
#pragma once

#include <chrono>
#include <cmath>
#include <vector>

#include "emulator/noise.h"
#include "platform/linux/pointer/smoothing.h"

namespace korvex::testing {

// The place on a screen of 1024 x 768 after each report of a touch that begins at (100, 300), rests
// for `rest` reports, moves right at `speed` pixels a second for `moving` reports, and is lifted
// within 5 more, 100 reports a second; and at last that of the release. Without a level as the
// panel reports it.
inline std::vector<emulator::PanelPoint> PlacesOfTouch(const emulator::Noise& noise,
    std::mt19937* random, const platform::SmoothingLevel* level, int rest, int moving, double speed)
{
    platform::SmoothedTouch touch{};
    std::vector<emulator::PanelPoint> places;
    auto now = std::chrono::steady_clock::time_point(std::chrono::hours(1));
    const int lifting = rest + moving;
    for (int i = 0; i <= lifting + emulator::LIFT_REPORTS; ++i) {
        const bool isReleased = i == lifting + emulator::LIFT_REPORTS;
        const double moved = speed * std::min(std::max(i - rest, 0), moving) / 100;
        const emulator::PanelPoint error = NextNoise(&noise, i >= lifting, random);
        MOUSEINPUT input{};
        // as of 10 bits, in both directions
        input.dx = 64 * static_cast<LONG>(std::floor(100 + moved + error.x));
        input.dy = 64 * static_cast<LONG>(std::floor(400 + error.y));
        input.dwFlags = isReleased ? MOUSEEVENTF_LEFTUP
                                   : MOUSEEVENTF_MOVE | (i == 0 ? MOUSEEVENTF_LEFTDOWN : 0);
        now += std::chrono::milliseconds(10);
        if (level == nullptr || SmoothInput(&touch, *level, &input, now))
            places.push_back({input.dx / 64.0, input.dy * 768 / 65536.0});
        else
            places.push_back(places.back());
    }
    return places;
}

} // namespace korvex::testing
