// Exit codes of the command `korvex`.
#pragma once

namespace korvex::command {

inline constexpr int EXIT_DONE = 0; // or ended by its window or a signal
// the system refused something that is said on standard error
inline constexpr int EXIT_FAULT = 1;
inline constexpr int EXIT_USAGE_ERROR = 2;     // a wrong option or argument
inline constexpr int EXIT_NO_PORT = 3;         // the port cannot be opened
inline constexpr int EXIT_NO_CONTROLLER = 4;   // nothing that can be driven answers on the port
inline constexpr int EXIT_NO_DISPLAY = 5;      // the display cannot be used
inline constexpr int EXIT_ALREADY_RUNNING = 6; // another one is running in this session
inline constexpr int EXIT_LEFT = 7;            // a calibration was left, or does not fit
inline constexpr int EXIT_PANEL_MISSING = 8;   // a panel is gone, or its controller is awaited

} // namespace korvex::command
