// The monitors of an X display.
#pragma once

#include <string>

struct _XDisplay; // Xlib's Display

namespace korvex::platform {

// A part of the screen, in pixels.
struct MonitorArea {
    int x;
    int y;
    int width;
    int height;
};

// The monitor of an output, "HDMI-1"; with an empty name the primary one, and if none is primary
// the first; the whole screen of a server that knows no monitors. False for an output that has
// none, or when the server does not answer.
bool FindMonitor(_XDisplay* display, const std::string& output, MonitorArea* area);

// Why a display cannot be used for an output: "has no monitor "X"; its outputs: HDMI-1, DP-2".
std::string NoMonitorText(_XDisplay* display, const std::string& output);

// FindMonitor on the display of that name (null: the one in DISPLAY), by a connection of its own;
// false if that cannot be had.
bool MeasureMonitor(const char* display, const std::string& output, MonitorArea* area);

// Stores the state of the machine's own monitor (Screen in machine.h): whether it is there, of
// which the machine's handler is notified when it changes, and then its area. Any thread.
void UpdateScreen(bool present, const MonitorArea& area);

// Notifies the machine's handler that the monitor of an output has gone or is back.
void NotifyMonitorChange(const std::string& output, bool present);

} // namespace korvex::platform
