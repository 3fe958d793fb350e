// Diagnostic lines on the debugger output.
#pragma once

#include "platform/win32.h"

namespace korvex {

// Writes one text to the debugger output, in one call, so that texts of different threads never
// mix. In `format` (at most 255 units, else the text is empty) "%s" takes a UTF-16 string, "%d" a
// signed and "%X" an unsigned 32-bit integer; "%" with any other character writes nothing and takes
// no argument. Cut to 259 units. Adds no line end. Any thread.
void DebugTrace(const WCHAR* format, ...);

} // namespace korvex
