#include "platform/linux/pointer/smoothing.h"

#include "console/rest_noise.h"
#include "platform/linux/pointer/right_hold.h"
#include "testing/noisy_touch.h"
#include "testing/testing.h"

namespace korvex {
namespace {

using emulator::PanelPoint;
using std::chrono::milliseconds;

// Whether all places of a resting finger, but for the first reports and the lift, are the same.
bool HoldsStill(const std::vector<PanelPoint>& places, size_t rest)
{
    for (size_t i = 3; i < rest; ++i) {
        if (places[i].x != places[3].x || places[i].y != places[3].y)
            return false;
    }
    return true;
}

TEST(Smoothing, HoldsARestingFingerWhereItWasPressed)
{
    for (const auto& [level, deviation] : {std::pair{"medium", 3.0}, std::pair{"high", 6.0}}) {
        std::mt19937 random(1);
        int moved = 0, elsewhere = 0;
        for (int i = 0; i < 300; ++i) {
            const auto places = PlacesOfTouch(emulator::NoiseOf(deviation, 0), &random,
                platform::FindSmoothingLevel(level), 100, 0, 0);
            moved += HoldsStill(places, 100) ? 0 : 1;
            const PanelPoint end = places.back();
            elsewhere += end.x == places[0].x && end.y == places[0].y ? 0 : 1;
        }
        EXPECT_EQ(moved, 0) << level;
        EXPECT_LE(elsewhere, 300 / 20) << level << ": the presses that are outliers, and few lifts";
    }
}

TEST(Smoothing, FollowsAMovingFinger)
{
    for (const auto& [name, limit] : {std::pair{"medium", 8}, std::pair{"high", 12}}) {
        const platform::SmoothingLevel* level = platform::FindSmoothingLevel(name);
        for (const int rest : {0, 1, 2, 3, 50}) {
            std::mt19937 random(1);
            std::vector<double> lag(120);
            for (int i = 0; i < 100; ++i) {
                const auto places
                    = PlacesOfTouch(emulator::NoiseOf(3, 0), &random, level, rest, 120, 500);
                for (size_t j = 0; j < lag.size(); ++j)
                    lag[j] += (100 + 5 * static_cast<double>(j)
                                  - places[static_cast<size_t>(rest) + j].x)
                        / 100;
            }
            for (size_t j = 20; j < lag.size(); ++j)
                EXPECT_LE(lag[j], limit) << name << ", " << rest << " reports of rest, " << j;
            // a flick of half the screen within 60 ms
            const auto flick = PlacesOfTouch({}, &random, level, rest, 6, 8000);
            EXPECT_GT(flick.back().x, 400) << name << ", " << rest;
        }
    }
    EXPECT_EQ(platform::FindSmoothingLevel("off"), nullptr);
}

TEST(Smoothing, IsAdvisedByTheNoiseThatIsMeasured)
{
    for (const auto& [deviation, advised] : {std::pair{0.3, "off"}, std::pair{1.5, "low"},
             std::pair{3.0, "medium"}, std::pair{6.0, "high"}, std::pair{20.0, "high"}}) {
        std::mt19937 random(1);
        RestNoise noise{};
        // A movement adds nothing, and is taken for none by its first reports.
        for (const PanelPoint& place :
            PlacesOfTouch(emulator::NoiseOf(deviation, 0), &random, nullptr, 40, 60, 700))
            AddToRestNoise(&noise, true,
                {static_cast<int32_t>(place.x * 64), static_cast<int32_t>(place.y * 65536 / 768)});
        EXPECT_STREQ(platform::SmoothingFor(noise.deviation / 65536.0), advised)
            << deviation << ": " << noise.deviation / 64.0;
    }
}

// The inputs that a finger's reports become on a screen of 1000 x 500 where 300 ms are a right
// click: 2 % are 10 pixels, 655 units across and 1310 down.
std::vector<std::array<LONG, 3>> Held(const std::vector<std::array<LONG, 4>>& reports)
{
    platform::HeldPress held{};
    std::vector<std::array<LONG, 3>> sent;
    for (const auto& [time, x, y, flags] : reports) {
        const MOUSEINPUT input{x, y, 0, static_cast<DWORD>(flags), 0, 0};
        platform::HeldInputs inputs{};
        const size_t count = HoldForRight(&held, {milliseconds(300), 1000, 500}, input,
            std::chrono::steady_clock::time_point(milliseconds(1000 + time)), &inputs);
        for (size_t i = 0; i < count; ++i)
            sent.push_back(
                {inputs[i].dx, inputs[i].dy, static_cast<LONG>(inputs[i].dwFlags & 0x7FFF)});
    }
    return sent;
}

TEST(RightHold, TellsARightClickFromAClickAndADrag)
{
    using Sent = std::vector<std::array<LONG, 3>>;
    constexpr LONG DOWN = 0x8003, MOVED = 0x8001, UP = 0x8004;
    EXPECT_EQ(Held({{0, 9, 9, DOWN}, {299, 600, 9, MOVED}, {299, 600, 9, UP}}),
        (Sent{{9, 9, 1}, {600, 9, 1}, {9, 9, 3}, {9, 9, 4}}))
        << "a click where it was pressed";
    EXPECT_EQ(Held({{0, 9, 9, DOWN}, {300, 9, 1300, MOVED}, {310, 9000, 9, MOVED},
                  {900, 9000, 9, UP}, {1000, 5, 5, DOWN}, {1001, 5, 5, UP}}),
        (Sent{{9, 9, 1}, {9, 9, 9}, {9, 9, 16}, {5, 5, 1}, {5, 5, 3}, {5, 5, 4}}))
        << "one right click, and nothing else of that touch";
    EXPECT_EQ(Held({{0, 9, 9, DOWN}, {200, 700, 9, MOVED}, {400, 9, 9, MOVED}, {500, 9, 9, UP}}),
        (Sent{{9, 9, 1}, {9, 9, 3}, {700, 9, 1}, {9, 9, 1}, {9, 9, 4}}))
        << "a drag from where it was pressed";
    EXPECT_EQ(Held({{0, 9, 9, DOWN}, {350, 700, 9, MOVED}, {360, 9, 9, UP}}),
        (Sent{{9, 9, 1}, {9, 9, 3}, {700, 9, 1}, {9, 9, 4}}))
        << "it has gone on before the time was noticed";
}

} // namespace
} // namespace korvex
