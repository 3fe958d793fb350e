// Smooths the touches of a noisy panel between the mapped input and the pointer back end.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/linux/core/input.h"

namespace korvex::platform {

// A place on the panel; each axis runs from 0 to 1.
struct PanelPlace {
    double x;
    double y;
};

// How strongly to smooth. Distances are parts of the panel.
struct SmoothingLevel {
    const char* name; // "medium"

    // A finger that is put down holds still until it has gone this far; one that has come to rest
    // after a movement, half as far.
    double holdRadius;

    // A single report of a moving finger farther than this from where it should be is dropped.
    double outlierDistance;

    // Of the 1 euro filter (Casiez, Roussel, Vogel, CHI 2012): the cut-off frequency at rest, in
    // hertz, and what it grows by with the speed, in hertz for a panel a second.
    double restCutoff;
    double cutoffSlope;
};

// "low", "medium" or "high"; null for another name, "off" among them.
const SmoothingLevel* FindSmoothingLevel(const std::string& name);

// The names of all, "off" first.
std::vector<std::string> SmoothingNames();

// The name of the weakest level under which a resting finger holds still whose place has that
// standard deviation on each axis, a part of the panel; "off" where it needs none.
const char* SmoothingFor(double deviation);

// A panel's touch as it is smoothed. One thread. Zero: no touch.
struct SmoothedTouch {
    std::chrono::steady_clock::time_point last; // time of the report before
    uint32_t reports;                           // of this touch so far
    PanelPlace raw;                             // the report before
    bool held;                                  // the finger rests: `centre` is sent
    bool moved;                                 // it has left the place where it was put down
    bool isRawDropped;                          // the report before was far off
    PanelPlace centre;
    PanelPlace anchor; // where the resting finger is, as far as the reports so far tell
    PanelPlace filtered;
    PanelPlace speed;   // panels a second
    PanelPlace offset;  // from the filtered place to the one that is sent; fades after a hold
    double restSeconds; // for how long it has been slow
    POINT sent;         // the place that was sent last, in absolute coordinates
};

// Replaces an input's place by the smoothed one: presses keep theirs, and a release is where the
// finger was sent last. False when the input must not be sent. `now` is the time of its report.
bool SmoothInput(SmoothedTouch* touch, const SmoothingLevel& level, MOUSEINPUT* input,
    std::chrono::steady_clock::time_point now);

} // namespace korvex::platform
