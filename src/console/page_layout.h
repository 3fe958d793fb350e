// Layout of the calibration page for any screen size.
#pragma once

#include <array>
#include <cstdint>

#include "link/touch_controller.h"
#include "platform/win32.h"

namespace korvex {

enum class PageButton : uint8_t {
    NONE,
    SAVE,
    AGAIN, // all targets
    CANCEL,
    RETAKE, // the worst target alone
    UNDO,   // the last save
};

// One hundredth of the screen's shorter side, at least one pixel.
int PageUnit(POINT screen);

// The pixel of a place that is given in 1/65536 of the screen.
POINT PixelOf(POINT screen, Point place);

// How far the ring of a target reaches, and how far from a mark a touch still means it, in pixels.
int RingRadius(POINT screen);

// Marks to be touched when all targets are taken.
inline constexpr uint32_t MARK_COUNT = 5;
POINT MarkPlace(POINT screen, uint32_t mark);

inline constexpr std::array PAGE_BUTTONS{
    PageButton::SAVE, PageButton::AGAIN, PageButton::CANCEL, PageButton::RETAKE, PageButton::UNDO};
RECT ButtonArea(POINT screen, PageButton button);

// The button at a place; NONE if there is none.
PageButton ButtonAt(POINT screen, POINT place);

// Areas for words: in the upper half, above the row of dots that shows how many targets are taken,
// and at the bottom.
inline constexpr RECT HEAD_PERCENT{17, 14, 83, 39};
inline constexpr RECT COUNT_PERCENT{15, 62, 85, 68};
inline constexpr RECT FOOTER_PERCENT{18, 88, 82, 99};

// An area in percent of the screen.
RECT ScreenPart(POINT screen, const RECT& percent);

// The middle of one of those dots, and its radius.
POINT DotPlace(POINT screen, uint32_t target, uint32_t targetCount);
int DotRadius(POINT screen);

} // namespace korvex
