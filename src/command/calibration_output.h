// The output of `korvex calibrate`: each state once, as JSON objects on standard output
// or, if there is no window, in words on standard error; and the result. On the window's thread.
// One calibration a process.
#pragma once

#include "console/calibration_page.h"
#include "process/options.h"

namespace korvex::command {

void StartCalibrationOutput(const Options* options);

// Prints what has changed since the last call.
void PrintCalibration(const CalibrationFlow* flow, const PageWords* words);

// The command's exit code, with a line where the display or standard output was lost.
int CalibrationExitCode(bool saved);

} // namespace korvex::command
