// The calibration program's window: over the whole screen, from its start until all is saved or
// left.
#pragma once

#include <cstdint>

#include "console/calibration_page.h"

namespace korvex {

struct CalibrationSetup {
    const PanelSource* source;
    uint32_t targetCount; // 4 or 9; any other number means 9
    bool savesUnasked;    // nobody can press a button

    // Is told after each change, on the window's thread; null: nobody is.
    void (*observer)(const CalibrationCourse* course, const PageWords* words);
};

// Runs the calibration on the calling thread, and its messages: true when the result is saved,
// false when everything is as it was, also when the display is lost or there is no window. Once per
// process.
bool RunCalibration(const CalibrationSetup* setup);

} // namespace korvex
