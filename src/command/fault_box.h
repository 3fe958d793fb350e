// What a person in front of the screen must read, who may not see standard error.
#pragma once

#include <string>

#include "command/options.h"
#include "platform/win32.h"

namespace korvex::command {

// Says the text on standard error, behind the command, and where windows are shown in a box as
// well, until it is dismissed.
void TellInBox(const Options* options, const std::string& text, const WCHAR* title);

} // namespace korvex::command
