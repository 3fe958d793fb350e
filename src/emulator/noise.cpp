#include "emulator/noise.h"

namespace korvex::emulator {

Noise NoiseOf(double deviation, uint32_t seed)
{
    return {deviation, 0.01, 30 * deviation, 8 * deviation, seed};
}

PanelPoint NextNoise(const Noise* noise, bool lifting, std::mt19937* random)
{
    PanelPoint error{0, 0};
    if (noise->deviation > 0) {
        std::normal_distribution<double> normal(0, noise->deviation);
        error = {normal(*random), normal(*random)};
    }
    const auto add = [&](double reach) {
        std::uniform_real_distribution<double> off(-reach, reach);
        error = {error.x + off(*random), error.y + off(*random)};
    };
    if (std::uniform_real_distribution<double>(0, 1)(*random) < noise->outlierShare)
        add(noise->outlierReach);
    if (lifting && noise->liftReach > 0)
        add(noise->liftReach);
    return error;
}

} // namespace korvex::emulator
