// Why a serial port cannot be opened, for people.
#pragma once

#include "platform/win32.h"

namespace korvex::runner {

// The reason that an error of CreateFileW stands for.
const char* PortFailureText(DWORD error);

} // namespace korvex::runner
