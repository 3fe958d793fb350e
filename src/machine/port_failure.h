// Why a serial port cannot be opened, for people.
#pragma once

#include <string>

#include "platform/win32.h"

namespace korvex::command {

// The reason that an error of CreateFileW stands for; where another program has the port, with its
// name when that can be seen.
std::string PortFailureText(const std::string& path, DWORD error);

} // namespace korvex::command
