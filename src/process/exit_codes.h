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
inline constexpr int EXIT_LEFT = 7;
inline constexpr int EXIT_PANEL_MISSING = 8;

// Their meanings, in order. Help and man page are made of this table.
inline constexpr std::array EXIT_CODES{
    "done, or ended by its window or a signal",
    "other failure, reported on standard error",
    "wrong option or argument",
    "no such port, or it cannot be opened",
    "no controller answers, or status found no runtime",
    "the display cannot be used",
    "another one runs in this session",
    "a calibration was discarded, or not saved because a cross does not fit the others",
    "status found a panel that is lost or pending",
};

} // namespace korvex::command
