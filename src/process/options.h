// The options of a subcommand.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace korvex::command {

struct GivenPort {
    std::string name; // COM3
    std::string path; // of the tty
};

struct PortMonitor {
    std::string port;   // any of its names
    std::string output; // HDMI-1
};

struct Options {
    std::vector<GivenPort> givenPorts;      // --port NAME=PATH; none: those of the system
    std::vector<std::string> selectedPorts; // --port PORT, any of its names; none: all
    std::string stateFolder;                // --state
    std::string pointer;                    // --pointer: "x11", "uinput", "log" or "none"
    std::string monitor;                    // --monitor OUTPUT; empty: the primary one
    std::vector<PortMonitor> portMonitors;  // --monitor PORT=OUTPUT
    std::string smooth;                     // --smooth: "off" or empty, "low", "medium", "high"
    unsigned holdRightMs = 0;               // --hold-right; 0: not given
    std::string windows;                    // --windows: "x11" or "none"
    std::string traceFile;                  // --trace; empty: not given
    std::optional<double> seconds;          // --seconds
    unsigned points = 9;                    // --points
    bool accept = false;                    // --accept
    bool undo = false;                      // --undo
    bool fullSpeed = false;                 // --speed full
    std::string instance;                   // --instance
    unsigned osMajor = 0;                   // --os; 0: not given
    unsigned osMinor = 0;
    bool server = false;     // --server
    bool tabletPc = false;   // --tablet-pc
    bool single = false;     // --single
    bool wait = false;       // --wait
    bool probe = false;      // --probe
    bool json = false;       // --json
    bool yes = false;        // --yes
    bool metrics = false;    // --metrics
    bool showConfig = false; // --show-config
    std::vector<std::string> arguments;
};

// A variable of the environment; empty if it is not set.
std::string EnvironmentText(const char* name);

// True when an X display is named in the environment, and the program can use one.
bool HasDisplay();

// True in a Wayland session, where an X display reaches X programs only.
bool IsWaylandSession();

// The state folder of a user who names none: as freedesktop.org has it for state of a user's
// programs.
std::string DefaultStateFolder();

// Sets what missing options mean to a command that sends pointer input and shows windows, by the
// user's environment.
void SetDefaults(Options* options);

} // namespace korvex::command
