// The sessions of this process as the calibration's source of touches.
#pragma once

#include "console/panel_source.h"

namespace korvex {

// Sets the program's handlers (HostHandlers): watches the sessions, and keeps their touches from
// the pointer. `workerRefused` is called where a detection has no thread; null: nothing is.
void WatchOwnPanels(void (*workerRefused)());

// The source that they are. `end` leaves the sessions running; whoever started them stops them.
PanelSource OwnPanels();

// The source of panels that a host's detection finds (StartHost, HOST_PANEL_TEST), with
// WM_SEARCH_DONE at its end.
PanelSource SearchedPanels();

// A panel's record; null when its session is ending.
TouchController* OwnPanel(uint32_t panel);

// The calibration that a panel uses, or used before a result was tried. On the window's thread.
CalibrationData UsedCalibration(uint32_t panel);

} // namespace korvex
