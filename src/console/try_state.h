// A touch screen while it is tried: strokes, touches of the marks, the rate and the noise of its
// reports, and the areas of the screen that have been touched. It knows no window and no clock. One
// thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "console/page_layout.h"
#include "console/panel_source.h"
#include "console/rest_noise.h"
#include "console/resting_place.h"

namespace korvex {

inline constexpr int TRY_COLUMNS = 16; // areas of the screen
inline constexpr int TRY_ROWS = 10;

// The index of an area, row by row.
constexpr size_t TryArea(int column, int row)
{
    return static_cast<size_t>(row) * TRY_COLUMNS + static_cast<size_t>(column);
}

enum class TryEdge : uint8_t { LEFT, TOP, RIGHT, BOTTOM, COUNT };

struct StrokePoint {
    POINT place;  // in pixels
    bool isFirst; // of its stroke
};

struct TryState {
    POINT screen;
    uint32_t panel;  // that was touched last; NO_PANEL: none yet
    bool isSearched; // the search for panels is over
    std::array<bool, MAX_PANELS> known;
    std::array<PanelLoss, MAX_PANELS> losses;

    // The last report, and the touch that is going on.
    bool touching;
    Point raw;
    Point mapped; // output units, 0 to 65535
    TouchSamples samples;
    PageButton pressed; // where it began

    uint32_t reportsPerSecond; // of the last full second of touches; 0: not known yet
    uint32_t countedReports;
    uint32_t countedSinceMs;
    RestNoise noise;

    // of the last touch of each mark, in pixels; below 0: it was not touched
    std::array<double, MARK_COUNT> distances;
    std::array<bool, static_cast<size_t>(TryEdge::COUNT)> reached; // edges
    std::array<bool, size_t{TRY_COLUMNS} * TRY_ROWS> touched;      // areas (TryArea)

    // The strokes; of very many the first are dropped.
    static constexpr uint32_t MAX_STROKE_POINTS = 8192;
    uint32_t strokeCount;
    std::array<StrokePoint, MAX_STROKE_POINTS> strokes;
};

void StartTry(TryState* state, POINT screen);

// Forgets everything that was touched.
void ClearTry(TryState* state);

// Takes a report. The button that it presses by its end; NONE: none.
PageButton HandleTryReport(
    TryState* state, uint32_t panel, Point raw, Point mapped, bool touching, uint32_t nowMs);

// True when a panel is there.
bool HasPanel(const TryState* state);

} // namespace korvex
