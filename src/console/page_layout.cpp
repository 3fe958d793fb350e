#include "console/page_layout.h"

#include <algorithm>

namespace korvex {

namespace {

// An area in percent of the screen.
RECT Area(POINT screen, int left, int top, int right, int bottom)
{
    return {screen.x * left / 100, screen.y * top / 100, screen.x * right / 100,
        screen.y * bottom / 100};
}

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

POINT PixelOf(POINT screen, POINT place)
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

int MarkReach(POINT screen)
{
    return RingRadius(screen);
}

RECT ButtonArea(POINT screen, PageButton button)
{
    switch (button) {
    case PageButton::SAVE:
        return Area(screen, 22, 75, 40, 87);
    case PageButton::AGAIN:
        return Area(screen, 41, 75, 59, 87);
    case PageButton::CANCEL:
        return Area(screen, 60, 75, 78, 87);
    case PageButton::RETAKE:
        return Area(screen, 22, 62, 49, 74);
    case PageButton::UNDO:
        return Area(screen, 51, 62, 78, 74);
    default:
        return {};
    }
}

PageButton ButtonAt(POINT screen, POINT place)
{
    const auto* found = std::find_if(PAGE_BUTTONS.begin(), PAGE_BUTTONS.end(),
        [&](PageButton button) { return IsInside(ButtonArea(screen, button), place); });
    return found == PAGE_BUTTONS.end() ? PageButton::NONE : *found;
}

RECT HeadArea(POINT screen)
{
    return Area(screen, 17, 14, 83, 39);
}

RECT CountArea(POINT screen)
{
    return Area(screen, 15, 62, 85, 68);
}

RECT FooterArea(POINT screen)
{
    return Area(screen, 18, 88, 82, 99);
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
