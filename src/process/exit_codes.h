// Exit codes of the command `korvex`.
#pragma once

#include <array>

namespace korvex::command {

inline constexpr int EXIT_DONE = 0;
inline constexpr int EXIT_FAULT = 1;
inline constexpr int EXIT_USAGE_ERROR = 2;
inline constexpr int EXIT_NO_PORT = 3;
inline constexpr int EXIT_NO_CONTROLLER = 4;
inline constexpr int EXIT_NO_DISPLAY = 5;
inline constexpr int EXIT_ALREADY_RUNNING = 6;
inline constexpr int EXIT_NOT_SAVED = 7;
inline constexpr int EXIT_PANEL_MISSING = 8;

// Their meanings, in order. Help and man page are made of this table.
inline constexpr std::array EXIT_CODES{
    "done, or ended by its window or a signal (calibrate: 7)",
    "other failure, reported on standard error",
    "wrong option or argument",
    "no such port, or it cannot be opened",
    "no controller answers, or status found no panel",
    "the display cannot be used",
    "another enum or paneltest runs in this login session",
    "a calibration was discarded, or not saved because a cross does not fit "
    "the others or the file has another panel's",
    "status found a panel that is lost or pending",
};

} // namespace korvex::command
