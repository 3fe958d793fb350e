// Pointer input as text.
#pragma once

namespace korvex::platform {

// Whether an input could not be written whole; nothing more is written then, so that no half line
// spoils the next.
bool IsPointerLogBroken();

// Has the machine's input go to a file descriptor as one JSON object a line,
// {"dx":32767,"dy":32767,"flags":32771}, each in one write. The pointer is where the last input
// that moves has put it.
void UseLoggedPointer(int descriptor);

} // namespace korvex::platform
