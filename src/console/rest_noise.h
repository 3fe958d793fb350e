// How far the reported place of a resting finger wanders.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "link/touch_controller.h"

namespace korvex {

// Of one panel, from all of its touches. AddToRestNoise is called on one thread; `deviation` may be
// read on any. Zero: nothing is known.
struct RestNoise {
    // The standard deviation on each axis in output units (65536 across the screen), from the last
    // 64 reports; 0: unknown.
    std::atomic<uint32_t> deviation;

    // AddToRestNoise's own: the last two places of the touch, and what the reports so far differ by
    // from the movement before them.
    static constexpr uint32_t REPORTS = 64;
    uint32_t known; // of the last two
    std::array<Point, 2> last;
    uint32_t count;
    std::array<uint32_t, size_t{2} * REPORTS> differences;
};

// Adds a report: its place in output units. A finger need not rest: an even movement adds nothing,
// and single reports that are far off add little.
void AddToRestNoise(RestNoise* noise, bool touching, Point place);

// Adds a session's latest report. On its reader thread.
void AddTouchToRestNoise(RestNoise* noise, TouchController* controller);

} // namespace korvex
