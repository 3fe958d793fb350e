// What the smoothing does to a resting and to a moving finger on a noisy panel of 1024 x 768, and
// its time per report.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "testing/noisy_touch.h"

namespace korvex {
namespace {

constexpr std::array LEVELS{"off", "low", "medium", "high"};
constexpr int TOUCHES = 1000;
constexpr size_t REST = 95;        // reports before the lift
constexpr size_t FIRST = 3;        // that are not judged
constexpr size_t LAST = 6;         // of the touch, neither
constexpr int MOVING = 120;        // reports of a drag of 500 pixels a second
constexpr size_t JUDGED_FROM = 20; // 200 ms after its start

double MedianOf(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Places of resting fingers against the median of each touch, and how far a moving one is ahead of
// what is sent: the mean of many touches, so that the noise is left out, at its worst moment.
void BM_Smoothing(benchmark::State& state)
{
    const emulator::Noise noise = emulator::NoiseOf(static_cast<double>(state.range(0)), 0);
    const platform::SmoothingLevel* level
        = platform::FindSmoothingLevel(LEVELS[static_cast<size_t>(state.range(1))]);
    std::mt19937 random(1);
    double squares = 0;
    double worst = 0;
    double wandering = 0;
    for (int touch = 0; touch < TOUCHES; ++touch) {
        const auto places
            = testing::PlacesOfTouch(noise, &random, level, static_cast<int>(REST), 0, 0);
        std::vector<double> x;
        std::vector<double> y;
        for (size_t i = FIRST; i < REST + emulator::LIFT_REPORTS - LAST; ++i) {
            x.push_back(places[i].x);
            y.push_back(places[i].y);
        }
        const double middleX = MedianOf(x);
        const double middleY = MedianOf(y);
        double farthest = 0;
        for (size_t i = 0; i < x.size(); ++i) {
            const double off = std::hypot(x[i] - middleX, y[i] - middleY);
            squares += off * off / static_cast<double>(x.size());
            farthest = std::max(farthest, off);
        }
        worst = std::max(worst, farthest);
        wandering += farthest > 4 ? 1 : 0;
    }
    std::vector<double> lag(static_cast<size_t>(MOVING));
    for (int touch = 0; touch < TOUCHES; ++touch) {
        const auto places = testing::PlacesOfTouch(noise, &random, level, touch % 40, MOVING, 500);
        for (size_t i = 0; i < lag.size(); ++i)
            lag[i] += (100 + 5 * static_cast<double>(i)
                          - places[static_cast<size_t>(touch % 40) + i].x)
                / TOUCHES;
    }
    state.counters["rest_deviation_px"] = std::sqrt(squares / TOUCHES);
    state.counters["rest_worst_px"] = worst;
    state.counters["touches_over_4px"] = wandering;
    state.counters["drag_lag_px"]
        = *std::max_element(lag.begin() + static_cast<std::ptrdiff_t>(JUDGED_FROM), lag.end());

    platform::SmoothedTouch touch{};
    auto now = std::chrono::steady_clock::time_point(std::chrono::hours(1));
    LONG x = 0;
    for (auto _ : state) {
        x = (x + 7919) & 0x3FFF;
        MOUSEINPUT input{};
        input.dx = 20000 + x;
        input.dy = 30000 - x;
        input.dwFlags = MOUSEEVENTF_MOVE;
        now += std::chrono::milliseconds(10);
        if (level != nullptr)
            benchmark::DoNotOptimize(SmoothInput(&touch, *level, &input, now));
        benchmark::DoNotOptimize(input);
    }
}

BENCHMARK(BM_Smoothing)->ArgNames({"noise", "level"})->ArgsProduct({{3, 6}, {0, 1, 2, 3}});

} // namespace
} // namespace korvex
