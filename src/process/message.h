// What who looks after panels wants to know of a running runtime: a line on standard error for each
// event.
#pragma once

#include <string>

#include "platform/win32.h"
#include "process/options.h"

namespace korvex::command {

// Those of syslog(3).
enum class Priority { FAULT = 3, WARNING = 4, NOTICE = 5, INFO = 6 };

// Prints a line, behind its priority as sd-daemon(3) has it where standard error is the journal. A
// reader of standard error that does not take it at once does without: no touch waits for it. Any
// thread; lines do not mix.
void Tell(Priority priority, const std::string& line);

// Says the text on standard error, behind the command, and where windows are shown in a box as
// well, until it is dismissed.
void TellInBox(const Options* options, const std::string& text, const WCHAR* title);

} // namespace korvex::command
