// Messages for the operator: one line each on standard error, or in the journal, with fields, if
// standard error goes there; any thread, lines do not mix. And the output of commands.
#pragma once

#include <string>
#include <string_view>

#include "platform/win32.h"
#include "process/options.h"

namespace korvex::command {

// What a line about a panel tells. The journal has a MESSAGE_ID for each (docs/fleet.md).
enum class Happening {
    DRIVEN,     // a session has started
    PENDING,    // no controller answers on its port
    LOST,       // its port has gone
    RETURNED,   // and is back
    REPLACED,   // another controller answers
    NOISY,      // too many packets are rejected
    QUIET,      // no longer
    CALIBRATED, // its calibration has changed
    SETTINGS,   // its settings or its calibration file are wrong
};

// The subject of a line.
struct PanelSubject {
    Happening happening;
    std::string panel; // "left"; the journal's field KORVEX_PANEL
    std::string title; // "left (/dev/ttyUSB0)"
};

// The subject of lines that have none of their own: "korvex enum". Once, before there are threads.
void SetMessagePrefix(const std::string& command);

// Why the command, or a part of it, fails. Waits until it is written.
void Error(const std::string& text);
void Error(const PanelSubject& subject, const std::string& text);

// Faults that the command survives, and events. The line is lost where the reader of standard error
// does not take it at once: no touch waits for it. The subject replaces the command's name.
void Warning(const std::string& text);
void Warning(const PanelSubject& subject, const std::string& text);
void Notice(const std::string& text);
void Notice(const PanelSubject& subject, const std::string& text);

// Writes all of the text to standard output, waiting for its reader no longer than until a signal
// requests shutdown (shutdown.h). False when that came first, or it cannot be written.
bool WriteOutput(std::string_view text);

// Says that standard output takes nothing; the exit code for that.
int OutputFailed();

// An error that is shown in a message box as well where windows are shown, which waits until that
// is dismissed. On the windows' thread.
void ShowErrorBox(const Options* options, const std::string& text, const WCHAR* title);

} // namespace korvex::command
