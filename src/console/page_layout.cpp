#include "console/page_layout.h"

#include <algorithm>

namespace korvex {

namespace {

// Page units.
constexpr int RING_UNITS = 11;
constexpr int HALF_NUMBER_UNITS = 9; // of the width of a distance or a residual
constexpr int LINE_UNITS = 4;        // of the height of a distance
constexpr int GAP_UNITS = 1;

// Percent of the screen.
constexpr int MARK_LEFT = 7;
constexpr int MARK_TOP = 14;
constexpr int LOWER_ROW = 75; // of buttons
constexpr int UPPER_ROW = 62;
constexpr int ROW_HEIGHT = 12;
constexpr int DOT_ROW = 71;

bool IsInside(const RECT& area, POINT place)
{
    return place.x >= area.left && place.x < area.right && place.y >= area.top
        && place.y < area.bottom;
}

int Part(LONG size, int percent)
{
    return static_cast<int>(size * percent / 100);
}

// How far the marks at the sides, with their numbers, reach into the screen.
int SideWidth(POINT screen)
{
    return std::max(
               Part(screen.x, MARK_LEFT) + RingRadius(screen), 2 * Units(screen, HALF_NUMBER_UNITS))
        + Units(screen, GAP_UNITS);
}

// An area of that size around a place, moved onto the screen.
RECT AreaAround(POINT screen, POINT middle, int halfWidth, int halfHeight)
{
    const LONG x = std::clamp<LONG>(middle.x, halfWidth, screen.x - halfWidth);
    const LONG y = std::clamp<LONG>(middle.y, halfHeight, screen.y - halfHeight);
    return {x - halfWidth, y - halfHeight, x + halfWidth, y + halfHeight};
}

template <typename Buttons>
PageButton FindButton(const Buttons& buttons, POINT screen, POINT place)
{
    const auto* found = std::find_if(buttons.begin(), buttons.end(),
        [&](PageButton button) { return IsInside(ButtonArea(screen, button), place); });
    return found == buttons.end() ? PageButton::NONE : *found;
}

} // namespace

int Units(POINT screen, int count)
{
    const LONG shorter = std::min(screen.x, screen.y);
    return std::max(1, static_cast<int>((shorter * count + 99) / 100));
}

POINT PixelOf(POINT screen, Point place)
{
    constexpr int64_t PARTS = 65536;
    return {static_cast<LONG>(place.x * int64_t{screen.x} / PARTS),
        static_cast<LONG>(place.y * int64_t{screen.y} / PARTS)};
}

int RingRadius(POINT screen)
{
    return Units(screen, RING_UNITS);
}

bool IsRingCut(POINT screen, POINT place)
{
    const int radius = RingRadius(screen);
    return std::min({place.x, place.y, screen.x - place.x, screen.y - place.y}) < radius;
}

RECT ProgressBar(POINT screen)
{
    return AreaAround(
        screen, {screen.x / 2, screen.y / 2}, Units(screen, 30), Units(screen, 4) / 2);
}

POINT MarkPlace(POINT screen, uint32_t mark)
{
    static constexpr std::array<POINT, MARK_COUNT> PERCENT{
        {{MARK_LEFT, MARK_TOP}, {100 - MARK_LEFT, MARK_TOP}, {50, 50}, {MARK_LEFT, 100 - MARK_TOP},
            {100 - MARK_LEFT, 100 - MARK_TOP}}};
    return {Part(screen.x, PERCENT[mark].x), Part(screen.y, PERCENT[mark].y)};
}

RECT DistanceArea(POINT screen, uint32_t mark)
{
    const POINT place = MarkPlace(screen, mark);
    const int off = Units(screen, 8); // below it, or above where the screen ends
    const LONG y = place.y + (place.y > screen.y / 2 ? -off : off);
    return AreaAround(
        screen, {place.x, y}, Units(screen, HALF_NUMBER_UNITS), Units(screen, LINE_UNITS) / 2);
}

RECT ResidualArea(POINT screen, POINT place)
{
    constexpr int HALF_HEIGHT = 2;
    const bool isMiddle = !IsRingCut(screen, place); // where a mark is
    const LONG y = isMiddle ? place.y - Units(screen, 7) : place.y;
    return AreaAround(
        screen, {place.x, y}, Units(screen, HALF_NUMBER_UNITS), Units(screen, HALF_HEIGHT));
}

RECT ButtonArea(POINT screen, PageButton button)
{
    struct Place {
        int row;
        int column;
        int columns;
    };
    // by PageButton
    static constexpr std::array<Place, 10> PLACES{{{}, {LOWER_ROW, 0, 3}, {LOWER_ROW, 1, 3},
        {LOWER_ROW, 2, 3}, {UPPER_ROW, 0, 2}, {UPPER_ROW, 1, 2}, {LOWER_ROW, 0, 3},
        {LOWER_ROW, 0, 3}, {LOWER_ROW, 1, 3}, {LOWER_ROW, 2, 3}}};
    const Place place = PLACES[static_cast<size_t>(button)];
    // between the marks, and not wider than a hand has to reach
    const int width = std::min<int>(screen.x - 2 * SideWidth(screen), Units(screen, 140));
    const int left = (screen.x - width) / 2;
    const int gap = place.columns == 0 ? 0 : Units(screen, 2);
    const int columns = std::max(place.columns, 1);
    const int each = (width + gap) / columns;
    return {left + each * place.column, Part(screen.y, place.row),
        left + each * (place.column + 1) - gap, Part(screen.y, place.row + ROW_HEIGHT)};
}

PageButton ButtonAt(POINT screen, POINT place)
{
    return FindButton(PAGE_BUTTONS, screen, place);
}

PageButton TryButtonAt(POINT screen, POINT place)
{
    return FindButton(TRY_BUTTONS, screen, place);
}

RECT HeadArea(POINT screen, bool hasMarks)
{
    // Where the screen is high, below the marks; else between them. Never on the cross or the
    // residual at the top, or the ring in the middle.
    constexpr int LEAST_UNITS = 34;
    const LONG belowMarks = Part(screen.y, MARK_TOP) + Units(screen, 8 + LINE_UNITS);
    const LONG bottom = screen.y / 2 - Units(screen, RING_UNITS + GAP_UNITS);
    const bool isHigh = bottom - belowMarks >= Units(screen, LEAST_UNITS);
    const LONG left = isHigh || !hasMarks ? Units(screen, 4) : SideWidth(screen);
    return {left, isHigh ? belowMarks : Units(screen, 9), screen.x - left, bottom};
}

RECT CountArea(POINT screen)
{
    return {SideWidth(screen), Part(screen.y, UPPER_ROW), screen.x - SideWidth(screen),
        Part(screen.y, UPPER_ROW) + Units(screen, 6)};
}

RECT FooterArea(POINT screen)
{
    return {SideWidth(screen), Part(screen.y, LOWER_ROW + ROW_HEIGHT) + Units(screen, GAP_UNITS),
        screen.x - SideWidth(screen), screen.y - Units(screen, 4)};
}

POINT DotPlace(POINT screen, uint32_t target, uint32_t targetCount)
{
    constexpr int APART = 3; // radii
    const int x = (2 * static_cast<int>(target) + 1 - static_cast<int>(targetCount)) * APART
        * DotRadius(screen) / 2;
    return {screen.x / 2 + x, Part(screen.y, DOT_ROW)};
}

int DotRadius(POINT screen)
{
    return Units(screen, 2);
}

} // namespace korvex
