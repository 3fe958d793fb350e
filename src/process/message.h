// Messages for the operator of a running runtime, and for the person in front of its screen.
#pragma once

#include <string>

#include "platform/win32.h"
#include "process/options.h"

namespace korvex::command {

// Those of syslog(3).
enum class Priority { FAULT = 3, WARNING = 4, NOTICE = 5, INFO = 6 };

// The prefix of a line of that priority: as sd-daemon(3) has it where standard error is the
// journal, else empty.
std::string PriorityPrefix(Priority priority);

// Prints a line, behind its priority as sd-daemon(3) has it where standard error is the journal. A
// reader of standard error that does not take it at once does without: no touch waits for it. Any
// thread; lines do not mix.
void Tell(Priority priority, const std::string& line);

// Prints the text on standard error, with the command's name before it. Where windows are shown,
// shows it in a message box as well and waits until that is dismissed. On the windows' thread.
void TellInBox(const Options* options, const std::string& text, const WCHAR* title);

} // namespace korvex::command
