#include "console/page_layout.h"

#include <algorithm>

namespace korvex {

namespace {

bool IsInside(const RECT& area, POINT place)
{
    return place.x >= area.left && place.x < area.right && place.y >= area.top
        && place.y < area.bottom;
}

} // namespace

int PageUnit(POINT screen)
{
    return std::max<int>(1, std::min(screen.x, screen.y) / 100);
}

POINT PixelOf(POINT screen, Point place)
{
    constexpr int64_t PARTS = 65536;
    return {static_cast<LONG>(place.x * int64_t{screen.x} / PARTS),
        static_cast<LONG>(place.y * int64_t{screen.y} / PARTS)};
}

int RingRadius(POINT screen)
{
    constexpr int RING_UNITS = 11;
    return RING_UNITS * PageUnit(screen);
}

POINT MarkPlace(POINT screen, uint32_t mark)
{
    static constexpr std::array<POINT, MARK_COUNT> PERCENT{
        {{7, 14}, {93, 14}, {50, 50}, {7, 86}, {93, 86}}};
    return {screen.x * PERCENT[mark].x / 100, screen.y * PERCENT[mark].y / 100};
}

RECT ScreenPart(POINT screen, const RECT& percent)
{
    return {screen.x * percent.left / 100, screen.y * percent.top / 100,
        screen.x * percent.right / 100, screen.y * percent.bottom / 100};
}

RECT ButtonArea(POINT screen, PageButton button)
{
    static constexpr std::array<RECT, 6> PERCENT{{{}, {22, 75, 40, 87}, {41, 75, 59, 87},
        {60, 75, 78, 87}, {22, 62, 49, 74}, {51, 62, 78, 74}}}; // by PageButton
    return ScreenPart(screen, PERCENT[static_cast<size_t>(button)]);
}

PageButton ButtonAt(POINT screen, POINT place)
{
    const auto* found = std::find_if(PAGE_BUTTONS.begin(), PAGE_BUTTONS.end(),
        [&](PageButton button) { return IsInside(ButtonArea(screen, button), place); });
    return found == PAGE_BUTTONS.end() ? PageButton::NONE : *found;
}

POINT DotPlace(POINT screen, uint32_t target, uint32_t targetCount)
{
    constexpr int APART = 3; // radii
    const int x = (2 * static_cast<int>(target) + 1 - static_cast<int>(targetCount)) * APART
        * DotRadius(screen) / 2;
    return {screen.x / 2 + x, screen.y * 71 / 100};
}

int DotRadius(POINT screen)
{
    return std::max(2, 2 * PageUnit(screen));
}

} // namespace korvex
