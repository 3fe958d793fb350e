// Every word on the page of the calibration.
#pragma once

#include "platform/win32.h"

namespace korvex {

inline constexpr const WCHAR* TEXT_TITLE = TEXT("Korvex Calibration"); // of the window

inline constexpr const WCHAR* TEXT_SEARCHING = TEXT("Looking for touch screens");
inline constexpr const WCHAR* TEXT_SEARCHING_MORE
    = TEXT("This takes a few seconds for each serial port.");
inline constexpr const WCHAR* TEXT_NOBODY = TEXT("No touch screen was found");
inline constexpr const WCHAR* TEXT_NOBODY_MORE
    = TEXT("Connect it, see that it has power, and start the calibration again.");
inline constexpr const WCHAR* TEXT_GONE = TEXT("The touch screen is gone");
inline constexpr const WCHAR* TEXT_GONE_MORE = TEXT("Plug it in again, and go on.");

inline constexpr const WCHAR* TEXT_TOUCH = TEXT("Touch the cross");
inline constexpr const WCHAR* TEXT_TOUCH_FIRST
    = TEXT("Rest your finger on the middle of the cross until the ring is full.");
inline constexpr const WCHAR* TEXT_HOLD = TEXT("Hold still");
inline constexpr const WCHAR* TEXT_TAKEN = TEXT("Good");
inline constexpr const WCHAR* TEXT_TAKEN_MORE = TEXT("Lift your finger.");
inline constexpr const WCHAR* TEXT_LIFT = TEXT("Lift your finger");
inline constexpr const WCHAR* TEXT_AGAIN = TEXT("Touch this cross again");

inline constexpr const WCHAR* TEXT_LIFTED_EARLY
    = TEXT("The finger was lifted before the ring was full.");
inline constexpr const WCHAR* TEXT_SLID
    = TEXT("The finger has moved, or something else touches the screen.");
inline constexpr const WCHAR* TEXT_ELSEWHERE = TEXT("That was not where this cross is.");
inline constexpr const WCHAR* TEXT_START_OVER
    = TEXT("One of the crosses before was touched in a wrong place. It starts anew.");
inline constexpr const WCHAR* TEXT_UNEVEN = TEXT("It does not fit the others.");

inline constexpr const WCHAR* TEXT_MISFIT = TEXT("This cannot be right");
inline constexpr const WCHAR* TEXT_MISFIT_SAME
    = TEXT("Two crosses were touched at the same place.");
inline constexpr const WCHAR* TEXT_MISFIT_ORDER
    = TEXT("The crosses were not touched where they are.");
inline constexpr const WCHAR* TEXT_MISFIT_RANGE
    = TEXT("All crosses were touched close to each other.");
inline constexpr const WCHAR* TEXT_MISFIT_UNEVEN = TEXT("One cross does not fit the others.");
inline constexpr const WCHAR* TEXT_MISFIT_MORE = TEXT("%s\nTouch the screen to start again.");

inline constexpr const WCHAR* TEXT_TRY = TEXT("Try it, then save");
inline constexpr const WCHAR* TEXT_TRY_MORE
    = TEXT("Touch the marks: each shows how far it was missed. The crosses fit within %s pixels.");
inline constexpr const WCHAR* TEXT_NOT_SAVED = TEXT("It was not saved");
inline constexpr const WCHAR* TEXT_SAVED = TEXT("Saved");
inline constexpr const WCHAR* TEXT_LEFT = TEXT("Nothing was changed");

inline constexpr const WCHAR* TEXT_COUNT = TEXT("%u of %u");
inline constexpr const WCHAR* TEXT_PIXELS = TEXT("%s px");
inline constexpr const WCHAR* TEXT_FILE = TEXT("Save writes %s");
inline constexpr const WCHAR* TEXT_FILE_SAVED = TEXT("%s");
inline constexpr const WCHAR* TEXT_ESCAPE
    = TEXT("Esc leaves everything as it was; so does a minute without a touch.");
inline constexpr const WCHAR* TEXT_LEAVES
    = TEXT("Nothing is changed, and this ends in %u s, unless the screen is touched.");

inline constexpr const WCHAR* TEXT_SAVE_BUTTON = TEXT("Save");
inline constexpr const WCHAR* TEXT_SAVE_KEY = TEXT("Enter");
inline constexpr const WCHAR* TEXT_AGAIN_BUTTON = TEXT("Again");
inline constexpr const WCHAR* TEXT_AGAIN_KEY = TEXT("A");
inline constexpr const WCHAR* TEXT_CANCEL_BUTTON = TEXT("Cancel");
inline constexpr const WCHAR* TEXT_CANCEL_KEY = TEXT("Esc");

// On Windows, where a detection window has the ports.
inline constexpr const WCHAR* TEXT_DETECTION
    = TEXT("Touch detection is running and has the touch screen.\n\nIt is closed for the "
           "calibration, and started again afterwards.");
inline constexpr const WCHAR* TEXT_DETECTION_STAYS
    = TEXT("The touch detection does not end. Close its window, then this one.");

} // namespace korvex
