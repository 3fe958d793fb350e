// The measuring noise of a resistive panel.
#pragma once

#include <cstdint>
#include <random>

#include "emulator/distortion.h"

namespace korvex::emulator {

// reports a second of a finger that is pressed onto the panel
inline constexpr int PRESS_RATE = 100;
inline constexpr int LIFT_REPORTS = 5; // before the finger is off: they wander

struct Noise {
    double deviation = 0;    // standard deviation of each axis, raw units
    double outlierShare = 0; // of the reports, 0 to 1
    double outlierReach = 0; // raw units that these are off by at most, each way
    // raw units that the reports of a lifting finger are off by at most, each way
    double liftReach = 0;
    uint32_t seed = 0;
};

// Noise of that strength, with the outliers of real panels: one report in a hundred.
Noise NoiseOf(double deviation, uint32_t seed);

// The error of the next measurement, in raw units.
PanelPoint NextNoise(const Noise* noise, bool lifting, std::mt19937* random);

} // namespace korvex::emulator
