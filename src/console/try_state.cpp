#include "console/try_state.h"

#include <algorithm>
#include <cmath>

#include "console/calibration_flow.h"

namespace korvex {

namespace {

constexpr int32_t FULL = 65536;            // output units across the screen
constexpr int32_t EDGE_REACH = FULL / 100; // so near to an edge a touch has reached it
constexpr uint32_t TAP_REPORTS = 3;        // fewer can be noise
constexpr uint32_t SECOND_MS = 1000;

void CountReport(TryState* state, uint32_t nowMs)
{
    if (!state->touching) { // the first of a touch
        state->countedReports = 0;
        state->countedSinceMs = nowMs;
    }
    ++state->countedReports;
    if (nowMs - state->countedSinceMs < SECOND_MS)
        return;
    state->reportsPerSecond
        = (state->countedReports - 1) * SECOND_MS / (nowMs - state->countedSinceMs);
    state->countedReports = 1;
    state->countedSinceMs = nowMs;
}

void MarkPlaces(TryState* state)
{
    const Point place = state->mapped;
    const std::array<bool, static_cast<size_t>(TryEdge::COUNT)> isNear{place.x < EDGE_REACH,
        place.y < EDGE_REACH, place.x >= FULL - EDGE_REACH, place.y >= FULL - EDGE_REACH};
    for (size_t edge = 0; edge < isNear.size(); ++edge)
        state->reached[edge] = state->reached[edge] || isNear[edge];
    const int32_t column = place.x * TRY_COLUMNS / FULL;
    const int32_t row = place.y * TRY_ROWS / FULL;
    state->touched[TryArea(column, row)] = true;
}

void AddToStroke(TryState* state)
{
    if (state->strokeCount == TryState::MAX_STROKE_POINTS) {
        constexpr uint32_t KEPT = TryState::MAX_STROKE_POINTS / 2;
        std::copy(state->strokes.begin() + KEPT, state->strokes.end(), state->strokes.begin());
        state->strokeCount = KEPT;
        state->strokes[0].isFirst = true;
    }
    state->strokes[state->strokeCount++]
        = {PixelOf(state->screen, state->mapped), !state->touching};
}

// The end of a touch that stays at one mark shows how far off the mark it was.
void MeasureMarks(TryState* state)
{
    const Point rest = RestingPlace(&state->samples, 0, state->samples.count, 0);
    for (uint32_t mark = 0; mark < MARK_COUNT; ++mark) {
        const POINT place = MarkPlace(state->screen, mark);
        const double distance = std::hypot(rest.x * double(state->screen.x) / FULL - place.x,
            rest.y * double(state->screen.y) / FULL - place.y);
        if (distance <= RingRadius(state->screen))
            state->distances[mark] = distance;
    }
}

PageButton EndTouch(TryState* state)
{
    if (!state->touching || state->samples.count < TAP_REPORTS)
        return PageButton::NONE;
    const PageButton end = TryButtonAt(state->screen, PixelOf(state->screen, state->mapped));
    if (state->pressed == PageButton::NONE)
        MeasureMarks(state);
    return end == state->pressed ? end : PageButton::NONE;
}

} // namespace

void StartTry(TryState* state, POINT screen)
{
    state->screen = screen;
    state->panel = NO_PANEL;
    ClearTry(state);
}

void ClearTry(TryState* state)
{
    state->distances.fill(-1);
    state->reached.fill(false);
    state->touched.fill(false);
    state->strokeCount = 0;
}

PageButton HandleTryReport(
    TryState* state, uint32_t panel, Point raw, Point mapped, bool touching, uint32_t nowMs)
{
    if (panel >= MAX_PANELS)
        return PageButton::NONE;
    if (touching && panel != state->panel) {
        state->panel = panel;
        state->touching = false;
        state->noise.deviation = 0;
        state->noise.known = state->noise.count = 0;
    }
    if (panel != state->panel)
        return PageButton::NONE;
    PageButton pressed = PageButton::NONE;
    if (touching) {
        CountReport(state, nowMs);
        state->raw = raw;
        state->mapped = {std::clamp(mapped.x, 0, FULL - 1), std::clamp(mapped.y, 0, FULL - 1)};
        if (!state->touching) {
            state->samples.count = 0;
            state->pressed = TryButtonAt(state->screen, PixelOf(state->screen, state->mapped));
        }
        AddSample(&state->samples, state->mapped);
        MarkPlaces(state);
        if (state->pressed == PageButton::NONE)
            AddToStroke(state);
    } else {
        pressed = EndTouch(state);
    }
    state->touching = touching;
    AddToRestNoise(&state->noise, touching, mapped);
    return pressed;
}

bool HasPanel(const TryState* state)
{
    for (uint32_t panel = 0; panel < MAX_PANELS; ++panel) {
        if (state->known[panel] && state->losses[panel] == PanelLoss::NONE)
            return true;
    }
    return false;
}

} // namespace korvex
