#include "console/rest_noise.h"

#include <algorithm>

#include "input/session.h"

namespace korvex {

namespace {

// The median of |a - 2 b + c| for normally distributed a, b and c is 0.6745 * sqrt(6) times their
// standard deviation: this much, in thousandths.
constexpr uint64_t MEDIAN_PER_DEVIATION = 1652;

uint32_t DifferenceOf(int32_t a, int32_t b, int32_t c)
{
    const int64_t difference = int64_t{a} - 2 * int64_t{b} + c;
    return static_cast<uint32_t>(
        std::min<int64_t>(difference < 0 ? -difference : difference, UINT16_MAX));
}

} // namespace

void AddToRestNoise(RestNoise* noise, bool touching, Point place)
{
    if (!touching) {
        noise->known = 0;
        return;
    }
    if (noise->known == 2) {
        const auto [before, last] = noise->last;
        noise->differences[size_t{2} * noise->count] = DifferenceOf(before.x, last.x, place.x);
        noise->differences[size_t{2} * noise->count + 1] = DifferenceOf(before.y, last.y, place.y);
        ++noise->count;
    }
    noise->known = std::min<uint32_t>(noise->known + 1, 2);
    noise->last = {noise->last[1], place};
    if (noise->count < RestNoise::REPORTS)
        return;
    noise->count = 0;
    auto* const middle = noise->differences.begin() + RestNoise::REPORTS;
    std::nth_element(noise->differences.begin(), middle, noise->differences.end());
    noise->deviation = static_cast<uint32_t>(*middle * uint64_t{1000} / MEDIAN_PER_DEVIATION);
}

void AddTouchToRestNoise(RestNoise* noise, TouchController* controller)
{
    ReportSnapshot report{};
    LiveTouch touch{};
    TakeLiveSnapshot(controller, &report, &touch);
    AddToRestNoise(noise, touch.touching, {report.lastX, report.lastY});
}

} // namespace korvex
