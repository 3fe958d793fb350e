// The place of a resting finger, from the noisy positions that a panel reports.
#pragma once

#include <array>
#include <cstdint>

#include "link/touch_controller.h"

namespace korvex {

// Of one touch, in the order in which they came. Of a long touch those in the middle are dropped.
struct TouchSamples {
    static constexpr uint32_t CAPACITY = 1024;
    std::array<Point, CAPACITY> places; // not negative
    uint32_t count;
};

void AddSample(TouchSamples* samples, Point place);

// The mean of samples `begin` to `end` - 1 (at least one), without outliers: samples farther from
// the median than noise reaches, and farther than `minOutlier`. Each axis is computed separately.
// One thread.
Point RestingPlace(const TouchSamples* samples, uint32_t begin, uint32_t end, int32_t minOutlier);

} // namespace korvex
