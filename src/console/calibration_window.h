// The calibration program's window: over the whole screen, from its start until the result is saved
// or discarded.
#pragma once

#include <cstdint>

#include "console/calibration_page.h"

namespace korvex {

inline constexpr const WCHAR* CALIBRATION_CLASS = TEXT("kxCalibration"); // of the window
// which the program holds as long as it may need the ports, on Windows
inline constexpr const WCHAR* CALIBRATION_MUTEX = TEXT("KorvexCalibration");

struct CalibrationSetup {
    PanelSource source;
    uint32_t targetCount; // 4 or 9; any other number means 9
    bool savesUnasked;    // there are no buttons
    bool accepts;     // also saves a result that does not fit, or over another panel's calibration
    bool hasKeyboard; // whose keys are shown

    // Called after each change, on the window's thread; may be null.
    void (*changed)(const CalibrationFlow* flow, const PageWords* words);
};

enum class CalibrationEnd : uint8_t {
    UNCHANGED,
    SAVED, // or the last save is undone
    TRY,   // everything is unchanged, and the touch screen should be tried (try_window.h)
};

// Runs the calibration and its messages on the calling thread. UNCHANGED also if the display is
// lost, or there is no window.
CalibrationEnd RunCalibration(const CalibrationSetup* setup);

} // namespace korvex
