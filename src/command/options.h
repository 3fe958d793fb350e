// The options of the subcommands.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace korvex::command {

struct GivenPort {
    std::string name; // COM3
    std::string path; // of the tty
};

struct Options {
    std::string command;           // "korvex enum", how messages begin
    std::vector<GivenPort> ports;  // --port; none: those of the system
    std::string stateFolder;       // --state
    std::string pointer;           // --pointer: "x11", "log" or "none"
    std::string windows;           // --windows: "x11" or "none"
    std::string traceFile;         // --trace; empty: standard error
    std::optional<double> seconds; // --seconds
    bool fullSpeed = false;        // --speed full
    std::string instance;          // --instance
    unsigned osMajor = 0;          // --os; 0: not given
    unsigned osMinor = 0;
    bool server = false;   // --server
    bool tabletPc = false; // --tablet-pc
    bool single = false;   // --single
    bool json = false;     // --json
    std::vector<std::string> arguments;
};

struct ArgumentCount {
    size_t least;
    size_t most;
};

// True when an X display is named in the environment.
bool HasDisplay();

// Sets what an option that is missing means, where that depends on the user's environment and is not set yet.
void SetDefaults(Options* options);

// Reads a subcommand's options and arguments; argv[0] is its name, `accepted` names the options that it takes ("port", "state", …), and it
// takes that many arguments. What `options` says of the pointer before is what an option that is missing means. False after one line on
// standard error that names what is wrong.
bool ParseOptions(int argc, char** argv, const std::vector<std::string>& accepted, ArgumentCount arguments, Options* options);

} // namespace korvex::command
