// Pointer input, and where the pointer is. Where input goes is set in the machine (machine.h).
#pragma once

#include "platform/linux/core/input.h"
#include "platform/linux/core/types.h"

// Sends `count` records of absolute mouse input (0 to 65535 across the screen, clamped) in order
// and returns how many were sent. A record without MOUSEEVENTF_MOVE does not move the pointer.
// Records that the machine's TouchSettings hold back count as sent. Any thread; for those settings
// each has one touch.
UINT SendInput(UINT count, INPUT* inputs, int size);

namespace korvex::platform {

// The calling thread's touch ends without being lifted, and its release is about to be sent: a
// press that is kept back is dropped.
void AbandonTouch();

} // namespace korvex::platform

// The pointer in pixels; fails when the display cannot be asked.
BOOL GetCursorPos(POINT* point);
