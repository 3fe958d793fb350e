// Layout of the calibration page, and of the one on which the touch screen is tried, for any screen
// size.
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
    TRY,    // leaves the calibration for the page on which the touch screen is tried
    // of that page
    CLEAR,
    CALIBRATE,
    DONE,
};

// The pixels of so many page units, each one hundredth of the screen's shorter side; at least one
// pixel.
int Units(POINT screen, int count);

// The pixel of a place that is given in 1/65536 of the screen.
POINT PixelOf(POINT screen, Point place);

// How far the ring of a target reaches, and how far from a mark a touch still means it, in pixels.
int RingRadius(POINT screen);

// Whether the ring around a place is cut by the edge of the screen.
bool IsRingCut(POINT screen, POINT place);

// The progress bar in the middle of the screen, which such a target has instead.
RECT ProgressBar(POINT screen);

// Marks to be touched when all targets are taken.
inline constexpr uint32_t MARK_COUNT = 5;
POINT MarkPlace(POINT screen, uint32_t mark);

// Where the distance of the last touch from a mark is written.
RECT DistanceArea(POINT screen, uint32_t mark);

// Where the residual of the target at a place is written.
RECT ResidualArea(POINT screen, POINT place);

inline constexpr std::array PAGE_BUTTONS{
    PageButton::SAVE, PageButton::AGAIN, PageButton::CANCEL, PageButton::RETAKE, PageButton::UNDO};
inline constexpr std::array TRY_BUTTONS{PageButton::CLEAR, PageButton::CALIBRATE, PageButton::DONE};
RECT ButtonArea(POINT screen, PageButton button);

// The button of the calibration's page, or of the other one, at a place; NONE if there is none.
// TRY is where SAVE is.
PageButton ButtonAt(POINT screen, POINT place);
PageButton TryButtonAt(POINT screen, POINT place);

// Areas for words, as wide as targets, marks and their numbers allow: above the middle, with the
// marks or without; above the row of dots that shows how many targets are taken; and below the
// buttons.
RECT HeadArea(POINT screen, bool hasMarks);
RECT CountArea(POINT screen);
RECT FooterArea(POINT screen);

// The middle of one of those dots, and its radius.
POINT DotPlace(POINT screen, uint32_t target, uint32_t targetCount);
int DotRadius(POINT screen);

} // namespace korvex
