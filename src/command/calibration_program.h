// The separate calibration program, and where the registry has its folder.
#pragma once

#include "platform/win32.h"

namespace korvex::command {

inline constexpr const char* CALIBRATION_PROGRAM = "KxConsole.exe";
inline constexpr const WCHAR* PROGRAM_FOLDER_KEY = u"HKLM\\SOFTWARE\\Korvex";
inline constexpr const WCHAR* PROGRAM_FOLDER_VALUE = u"Path";

} // namespace korvex::command
