// The window in which a touch screen is tried: over the whole screen, it shows what the panel
// reports, and changes nothing.
#pragma once

#include <cstdint>

#include "console/panel_source.h"

namespace korvex {

enum class TryEnd : uint8_t { DONE, CALIBRATE };

struct TrySetup {
    PanelSource source;

    // Names the setting that holds a finger still whose place has that standard deviation, a part
    // of the panel; "off": none is needed. Null: there are no such settings.
    const char* (*smoothingFor)(double deviation);
};

// Runs the window and its messages on the calling thread. DONE also if the display is lost, or
// there is no window.
TryEnd RunTry(const TrySetup* setup);

} // namespace korvex
