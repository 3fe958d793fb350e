#include "platform/linux/pointer/smoothing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace korvex::platform {

namespace {

constexpr std::array LEVELS{
    SmoothingLevel{"low", 0.006, 0.010, 3.0, 60.0},
    SmoothingLevel{"medium", 0.012, 0.014, 1.5, 40.0},
    SmoothingLevel{"high", 0.024, 0.028, 0.8, 40.0},
};

constexpr double PANEL_WIDTH = 65536;      // in absolute coordinates
constexpr double SPEED_CUTOFF = 1.0;       // Hz, as the paper recommends
constexpr double REST_SPEED = 0.05;        // panels a second
constexpr double REST_SECONDS = 0.1;       // a finger this long slower than that has come to rest
constexpr double OFFSET_CUTOFF = 6.0;      // Hz, with which the offset of a hold fades
constexpr double HELD_STEPS = 5;           // that a slow finger needs at least to leave its hold
constexpr double QUICK_RADIUS = 2.5;       // hold radii, which a quick one is away in two reports
constexpr double QUICK_COSINE = 0.9;       // of the angle between the two, at least
constexpr uint32_t ANCHOR_REPORTS = 8;     // the first ones, which show where the finger rests
constexpr double LEAST_DEVIATION = 0.0006; // of a noise that is not felt: half a pixel in 1024
constexpr double HELD_DEVIATIONS = 3;      // that a hold radius must have
constexpr double SHORTEST_STEP = 0.001;    // seconds between two reports, for the filters
constexpr double LONGEST_STEP = 0.1;

PanelPlace operator+(PanelPlace a, PanelPlace b)
{
    return {a.x + b.x, a.y + b.y};
}

PanelPlace operator-(PanelPlace a, PanelPlace b)
{
    return {a.x - b.x, a.y - b.y};
}

PanelPlace operator*(PanelPlace place, double factor)
{
    return {place.x * factor, place.y * factor};
}

double Length(PanelPlace place)
{
    return std::sqrt(place.x * place.x + place.y * place.y);
}

LONG CoordinateOf(double place)
{
    return static_cast<LONG>(std::clamp(std::lround(place * PANEL_WIDTH), 0L, 65535L));
}

// The share of a new value in a low-pass filter of that cut-off.
double ShareOf(double cutoff, double seconds)
{
    const double tau = 1 / (2 * std::numbers::pi * cutoff);
    return 1 / (1 + tau / seconds);
}

double MedianOf(double a, double b, double c)
{
    return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

// One step of the 1 euro filter: how far the filtered place moves.
PanelPlace FilterStep(
    SmoothedTouch* touch, const SmoothingLevel& level, PanelPlace raw, double seconds)
{
    const PanelPlace way = raw - touch->filtered;
    touch->speed
        = touch->speed + (way * (1 / seconds) - touch->speed) * ShareOf(SPEED_CUTOFF, seconds);
    return way * ShareOf(level.restCutoff + level.cutoffSlope * Length(touch->speed), seconds);
}

// Two reports in a row that are far off at one place, or one beyond the other: the finger has gone
// there quickly.
bool IsQuick(const SmoothedTouch* touch, double radius, PanelPlace raw)
{
    const PanelPlace before = touch->raw - touch->anchor;
    const PanelPlace now = raw - touch->anchor;
    const double product = Length(before) * Length(now);
    const bool isBeyond = Length(now) > Length(before)
        && before.x * now.x + before.y * now.y > QUICK_COSINE * product;
    return Length(before) > QUICK_RADIUS * radius && Length(now) > QUICK_RADIUS * radius
        && (isBeyond || Length(raw - touch->raw) < radius);
}

// A report confirms the one before it: the finger is there, and as fast as the two say.
void Jump(SmoothedTouch* touch, PanelPlace raw, double seconds)
{
    touch->filtered = (touch->raw + raw) * 0.5;
    touch->speed = (raw - touch->raw) * (1 / seconds);
}

// Of the first three reports one may be far off, the press too: the finger rests at the median.
void Settle(SmoothedTouch* touch, double radius, PanelPlace raw)
{
    touch->anchor = touch->filtered = {MedianOf(touch->centre.x, touch->raw.x, raw.x),
        MedianOf(touch->centre.y, touch->raw.y, raw.y)};
    if (Length(touch->anchor - touch->centre) > radius)
        touch->centre = touch->anchor;
}

// A finger that rests. Single reports far off, and those of a finger that is being lifted, move
// the filtered place by a short step each, so that only a finger that goes somewhere leaves.
void Hold(SmoothedTouch* touch, const SmoothingLevel& level, PanelPlace raw, double seconds)
{
    const double radius = touch->moved ? level.holdRadius / 2 : level.holdRadius;
    const bool isFirst = touch->reports == 2;
    const bool isThird = touch->reports == 3;
    const bool isQuick = !isFirst && IsQuick(touch, radius, raw)
        && (!isThird || Length(raw - touch->raw) > radius);
    if (!isQuick) {
        if (isThird)
            Settle(touch, radius, raw);
        if (touch->reports <= 3)
            return;
        const PanelPlace step = FilterStep(touch, level, raw, seconds);
        const double longest = radius / HELD_STEPS;
        touch->filtered
            = touch->filtered + step * std::min(1.0, longest / std::max(Length(step), longest));
        if (touch->reports <= ANCHOR_REPORTS)
            touch->anchor
                = touch->anchor + (touch->filtered - touch->anchor) * (1.0 / touch->reports);
        if (Length(touch->filtered - touch->anchor) <= radius)
            return;
    }
    touch->held = false;
    touch->moved = true;
    touch->restSeconds = 0;
    Jump(touch, raw, seconds);
    if (!isQuick)
        touch->speed = {};
    touch->offset = touch->centre - touch->filtered;
}

// A finger that moves, until it has been slow for a while. False for a report that is far off: only
// where the next one is there too has the finger gone there.
bool Follow(SmoothedTouch* touch, const SmoothingLevel& level, PanelPlace raw, double seconds)
{
    const PanelPlace expected = touch->filtered + touch->speed * seconds;
    const double way = Length(raw - expected);
    const bool isConfirmed = touch->isRawDropped && Length(raw - touch->raw) <= way;
    touch->isRawDropped
        = !isConfirmed && way > level.outlierDistance + Length(touch->speed) * seconds / 2;
    if (touch->isRawDropped)
        return false;
    if (isConfirmed)
        Jump(touch, raw, seconds);
    else
        touch->filtered = touch->filtered + FilterStep(touch, level, raw, seconds);
    touch->offset = touch->offset * (1 - ShareOf(OFFSET_CUTOFF, seconds));
    touch->restSeconds = Length(touch->speed) < REST_SPEED ? touch->restSeconds + seconds : 0;
    touch->held = touch->restSeconds >= REST_SECONDS;
    if (touch->held)
        touch->anchor = touch->filtered;
    return true;
}

} // namespace

const SmoothingLevel* FindSmoothingLevel(const std::string& name)
{
    const auto* const found = std::find_if(LEVELS.begin(), LEVELS.end(),
        [&name](const SmoothingLevel& level) { return name == level.name; });
    return found == LEVELS.end() ? nullptr : found;
}

std::vector<std::string> SmoothingNames()
{
    std::vector<std::string> names{"off"};
    for (const SmoothingLevel& level : LEVELS)
        names.emplace_back(level.name);
    return names;
}

const char* SmoothingFor(double deviation)
{
    if (deviation < LEAST_DEVIATION)
        return "off";
    const auto* const found
        = std::find_if(LEVELS.begin(), LEVELS.end() - 1, [deviation](const SmoothingLevel& level) {
              return HELD_DEVIATIONS * deviation <= level.holdRadius;
          });
    return found->name;
}

bool SmoothInput(SmoothedTouch* touch, const SmoothingLevel& level, MOUSEINPUT* input,
    std::chrono::steady_clock::time_point now)
{
    const double seconds = std::clamp(
        std::chrono::duration<double>(now - touch->last).count(), SHORTEST_STEP, LONGEST_STEP);
    const PanelPlace raw{input->dx / PANEL_WIDTH, input->dy / PANEL_WIDTH};
    if ((input->dwFlags & MOUSEEVENTF_LEFTDOWN) != 0 || touch->reports == 0) {
        *touch = {};
        touch->last = now;
        touch->reports = 1;
        touch->raw = touch->centre = touch->anchor = raw;
        touch->held = true;
        touch->sent = {input->dx, input->dy};
        return true;
    }
    touch->last = now;
    bool isSent = true;
    if ((input->dwFlags & MOUSEEVENTF_MOVE) != 0) {
        ++touch->reports;
        if (touch->held)
            Hold(touch, level, raw, seconds);
        else
            isSent = Follow(touch, level, raw, seconds);
        touch->raw = raw;
        if (!touch->held)
            touch->centre = touch->filtered + touch->offset;
        if (isSent)
            touch->sent = {CoordinateOf(touch->centre.x), CoordinateOf(touch->centre.y)};
    }
    input->dx = touch->sent.x;
    input->dy = touch->sent.y;
    return isSent;
}

} // namespace korvex::platform
