// Texts of the calibration page and its buttons.
#pragma once

#include <array>

#include "platform/win32.h"

namespace korvex {

inline constexpr const WCHAR* TEXT_TITLE = TEXT("Korvex Calibration"); // of the window

inline constexpr const WCHAR* TEXT_SEARCHING = TEXT("Looking for touch screens");
inline constexpr const WCHAR* TEXT_SEARCHING_MORE
    = TEXT("This takes a few seconds for each serial port.");
inline constexpr const WCHAR* TEXT_NONE_FOUND = TEXT("No touch screen was found");
inline constexpr const WCHAR* TEXT_NONE_FOUND_MORE
    = TEXT("Check its cable and power. This continues when one is found.\n%s");
inline constexpr const WCHAR* TEXT_GONE = TEXT("Touch screen disconnected");
inline constexpr const WCHAR* TEXT_GONE_MORE = TEXT("Reconnect it to continue.");
inline constexpr const WCHAR* TEXT_NO_RUNTIME = TEXT("Touch input has stopped");
inline constexpr const WCHAR* TEXT_NO_RUNTIME_MORE = TEXT(
    "The program that drives the touch screen has ended. This continues when it runs again.");

inline constexpr const WCHAR* TEXT_TOUCH = TEXT("Touch the cross");
inline constexpr const WCHAR* TEXT_TOUCH_FIRST
    = TEXT("Rest your finger on the middle of the cross until the bar is full.");
inline constexpr const WCHAR* TEXT_HOLD = TEXT("Hold still");
inline constexpr const WCHAR* TEXT_TAKEN = TEXT("Good");
inline constexpr const WCHAR* TEXT_TAKEN_MORE = TEXT("Lift your finger.");
inline constexpr const WCHAR* TEXT_LIFT = TEXT("Lift your finger");
inline constexpr const WCHAR* TEXT_AGAIN = TEXT("Touch this cross again");

// Why a target is asked for again, by RetakeReason.
inline constexpr std::array<const WCHAR*, 5> REASON_TEXTS{TEXT(""),
    TEXT("The finger was lifted too early."),
    TEXT("The finger moved, or something else touches the screen."),
    TEXT("Another cross was touched there."),
    TEXT("Touch it once more, to compare it with the others.")};

inline constexpr const WCHAR* TEXT_MISFIT = TEXT("This cannot be right");
// By PointsFault.
inline constexpr std::array<const WCHAR*, 6> FAULT_TEXTS{TEXT(""),
    TEXT("Two crosses were touched at the same place."),
    TEXT("The crosses were not touched where they are."),
    TEXT("The crosses were not touched where they are."),
    TEXT("All crosses were touched close to each other."), TEXT("")};
inline constexpr const WCHAR* TEXT_MISFIT_MORE = TEXT("%s\nTouch the screen to start again.");

// By Accuracy.
inline constexpr std::array<const WCHAR*, 4> ACCURACY_TEXTS{
    TEXT("very good"), TEXT("good"), TEXT("fair"), TEXT("poor")};
inline constexpr const WCHAR* TEXT_TRY = TEXT("Accuracy: %s");
inline constexpr const WCHAR* TEXT_TRY_FIT
    = TEXT("The crosses fit within %s pixels.\nTouch the + marks to check.");
inline constexpr const WCHAR* TEXT_TRY_MARKS = TEXT("Touches land within %s pixels.");
inline constexpr const WCHAR* TEXT_DOUBTFUL = TEXT("Cross %u does not fit the others");
inline constexpr const WCHAR* TEXT_DOUBTFUL_ONE = TEXT("One cross does not fit the others");
inline constexpr const WCHAR* TEXT_DOUBTFUL_MORE
    = TEXT("It is %s pixels off. Touch it again, or save anyway.");
inline constexpr const WCHAR* TEXT_DOUBTFUL_ONE_MORE
    = TEXT("It is %s pixels off. Start again, or save anyway.");
inline constexpr const WCHAR* TEXT_ASK = TEXT("Replace another calibration?");
inline constexpr const WCHAR* TEXT_ASK_MORE
    = TEXT("The file has the calibration of %s. Save again to replace it.");
inline constexpr const WCHAR* TEXT_NOT_SAVED = TEXT("It was not saved");
inline constexpr const WCHAR* TEXT_NOT_UNDONE = TEXT("It was not undone");
inline constexpr const WCHAR* TEXT_SAVED = TEXT("Saved");
inline constexpr const WCHAR* TEXT_SAVED_MORE = TEXT("The touch screen is ready.");
inline constexpr const WCHAR* TEXT_UNDONE = TEXT("The last save is undone");
inline constexpr const WCHAR* TEXT_UNDONE_MORE = TEXT("The calibration before it is back.");
inline constexpr const WCHAR* TEXT_LEFT = TEXT("Nothing was changed");

inline constexpr const WCHAR* TEXT_COUNT = TEXT("%u of %u");
inline constexpr const WCHAR* TEXT_PIXELS = TEXT("%s px");
inline constexpr const WCHAR* TEXT_FILE = TEXT("Save writes %s");
inline constexpr const WCHAR* TEXT_CLOSING
    = TEXT("Closing in %u s without saving. Touch to continue.");

inline constexpr const WCHAR* TEXT_SAVE_BUTTON = TEXT("Save");
inline constexpr const WCHAR* TEXT_REPLACE_BUTTON = TEXT("Replace");
inline constexpr const WCHAR* TEXT_SAVE_KEY = TEXT("Enter");
inline constexpr const WCHAR* TEXT_AGAIN_BUTTON = TEXT("Again");
inline constexpr const WCHAR* TEXT_AGAIN_KEY = TEXT("A");
inline constexpr const WCHAR* TEXT_CANCEL_BUTTON = TEXT("Cancel");
inline constexpr const WCHAR* TEXT_CANCEL_KEY = TEXT("Esc");
inline constexpr const WCHAR* TEXT_RETAKE_BUTTON = TEXT("Cross %u again");
inline constexpr const WCHAR* TEXT_RETAKE_KEY = TEXT("W");
inline constexpr const WCHAR* TEXT_UNDO_BUTTON = TEXT("Undo last save");
inline constexpr const WCHAR* TEXT_UNDO_KEY = TEXT("U");

inline constexpr const WCHAR* TEXT_TRY_BUTTON = TEXT("Try it");
inline constexpr const WCHAR* TEXT_TRY_KEY = TEXT("T");

// Of the page on which the touch screen is tried.
inline constexpr const WCHAR* TEXT_TRY_TITLE = TEXT("Touch and draw");
inline constexpr const WCHAR* TEXT_TRY_PLACE = TEXT("raw %d, %d: at %u.%u %%, %u.%u %%");
inline constexpr const WCHAR* TEXT_TRY_RATE = TEXT("%u reports per second");
inline constexpr const WCHAR* TEXT_TRY_NOISE = TEXT("rest noise: %u.%u px");
inline constexpr const WCHAR* TEXT_TRY_NOISE_ADVICE
    = TEXT("rest noise: %u.%u px; --smooth %s holds a resting finger still");
inline constexpr const WCHAR* TEXT_TRY_OFF = TEXT("%u.%u px");
inline constexpr const WCHAR* TEXT_CLEAR_BUTTON = TEXT("Clear");
inline constexpr const WCHAR* TEXT_CALIBRATE_BUTTON = TEXT("Calibrate");
inline constexpr const WCHAR* TEXT_DONE_BUTTON = TEXT("Done");

// On Windows, where a detection window has the ports.
inline constexpr const WCHAR* TEXT_DETECTION
    = TEXT("Touch detection is running and has the touch screen.\n\nIt is closed for the "
           "calibration, and started again afterwards.");
inline constexpr const WCHAR* TEXT_DETECTION_STAYS
    = TEXT("Touch detection is still running. Close its window, then this one.");
inline constexpr const WCHAR* TEXT_PANEL_TEST
    = TEXT("The panel test is running and has the touch screen. End it with Escape, then start the "
           "calibration again.");
inline constexpr const WCHAR* TEXT_UNKNOWN_WORD
    = TEXT("Touch detection has not been started: \"%s\" is no option of -watch.");

} // namespace korvex
