// The settings of a tty.
#pragma once

#include <termios.h>

#include "platform/linux/serial/serial_types.h"

namespace korvex::platform {

// Makes the line carry bytes unchanged, and returns its previous settings, to be put back. False
// for anything but a terminal.
bool MakeRaw(int descriptor, termios* before);

// The DCB of a line before anything is set; null settings: no terminal.
void DescribeLine(const termios* settings, DCB* dcb);

// Gives the line the settings of a DCB. False, with the last error set, when it does not take them.
bool ApplySettings(int descriptor, const DCB* dcb);

// Has received bytes handed over at once: USB adapters otherwise hold them back for up to 16 ms.
// Drivers without the setting refuse, which is no harm.
void SetLowLatency(int descriptor);

} // namespace korvex::platform
