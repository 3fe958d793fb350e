// A driven panel's state: as a runtime sends it and clients show it. The JSON keys are defined only
// here.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "control/json_line.h"
#include "link/touch_controller.h"

namespace korvex::command {

// Counters of a session since it began; they wrap.
struct PanelCounters {
    uint32_t reports;
    uint32_t rejected;
    uint32_t outOfRange; // of the rejected
    uint32_t resynchronisations;
    uint32_t dropped;
    uint32_t inputs;

    bool operator==(const PanelCounters&) const = default;
};

struct PanelCounter {
    const char* key; // in JSON
    uint32_t PanelCounters::* value;
    std::atomic<uint32_t> SessionCounters::* source;
    // of the monitor's table; null: no column
    const char* title;
    size_t width;
    size_t rank;       // the columns of the lowest ranks stay on a narrow terminal
    const char* words; // in a summary, "12 reports"; null: it is not there
};

// All of them, in the order in which they are shown. A new counter is a row here, and its source.
inline constexpr std::array PANEL_COUNTERS{
    PanelCounter{
        "reports", &PanelCounters::reports, &SessionCounters::reports, "REPORTS", 8, 1, "reports"},
    PanelCounter{"rejected", &PanelCounters::rejected, &SessionCounters::rejectedPackets, "BAD", 6,
        0, "rejected packets"},
    PanelCounter{"outOfRange", &PanelCounters::outOfRange, &SessionCounters::outOfRange, nullptr, 0,
        0, nullptr},
    PanelCounter{"resynchronisations", &PanelCounters::resynchronisations,
        &SessionCounters::resynchronisations, "RESYNC", 6, 2, "resynchronisations"},
    PanelCounter{"dropped", &PanelCounters::dropped, &SessionCounters::droppedBytes, "DROPPED", 7,
        3, "bytes dropped"},
    PanelCounter{
        "inputs", &PanelCounters::inputs, &SessionCounters::inputs, nullptr, 0, 0, "inputs"},
};

// Copies them. Any thread.
PanelCounters CountersOf(const TouchController* controller);

// Adds them to a JSON object.
void AddCounters(const PanelCounters& counters, Json* object);

// The latest report of a panel, and its counters.
struct PanelReading {
    bool lost; // its port has failed, and the controller has not answered since
    bool touching;
    Point raw;    // of the last report
    Point mapped; // of it, in output units
    PanelCounters counters;

    bool operator==(const PanelReading&) const = default;
};

// Takes the reading of a session. Any thread.
PanelReading ReadingOf(TouchController* controller);

struct PanelCalibration {
    bool hasPoints;   // they map; else the standard box
    uint32_t points;  // how many there are
    std::string file; // that it was loaded from or stored in; empty: the controller's own memory
    std::chrono::system_clock::time_point changed; // the file's time; the epoch: none
    bool tried;                                    // by a client
    double residual; // of the target that fits worst, percent of the screen; 0: no points
};

struct PanelState {
    std::string panel;      // "left", or the name of its tty
    std::string path;       // of its port, under which it was opened
    std::string tty;        // where the path has led to last
    std::string model;      // "5200"
    std::string firmware;   // "1.2.3"
    std::string controller; // all of it, for people
    uint32_t resolutionBits;
    uint32_t baudRate;
    std::chrono::system_clock::time_point since;     // the session runs
    std::chrono::system_clock::time_point lastTouch; // the epoch: it was never touched
    bool noisy;         // more than 1 % of the last minute's packets were rejected
    std::string smooth; // the runtime's setting: "medium"; empty: unknown
    uint32_t restNoise; // standard deviation of a resting finger's place, output units; 0: unknown
    uint32_t losses;    // of the port, while the runtime has run
    uint32_t returns;   // of it
    PanelReading reading;
    PanelCalibration calibration;
};

// A port whose controller has not answered yet.
struct PendingPanel {
    std::string panel;
    std::string path;
    std::string reason; // for people
};

Json ToJson(const PanelState& state);
Json ToJson(const PendingPanel& panel);

// The state that a runtime has sent, which is not trusted; none where something is missing, or of
// another kind. Firmware, rate, times, noises and file may be missing.
std::optional<PanelState> PanelStateFrom(const Json& json);
std::optional<PendingPanel> PendingPanelFrom(const Json& json);

} // namespace korvex::command
