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

// The mean of samples `begin` to `end` - 1, at least one, without the outliers: noise never takes a
// sample as far from the median as they lie. Each axis for itself. A distance of `minOutlier` is
// none yet. On one thread.
Point RestingPlace(const TouchSamples* samples, uint32_t begin, uint32_t end, int32_t minOutlier);

} // namespace korvex
