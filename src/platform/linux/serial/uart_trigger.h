// When a real UART hands over what it has received. A 16550A does so once 8 bytes have come or the
// line was silent for four characters, and a touch report has 6 bytes: each would wait 2 ms at
// 19200 baud.
#pragma once

#include <string>

#include "platform/linux/serial/system_roots.h"

namespace korvex::platform {

// A UART's previous setting; `file` is empty if nothing was changed.
struct UartTrigger {
    std::string file;
    std::string before;
};

// Makes the UART of an open tty hand over each byte as it comes. Nothing changes on a tty without
// the setting (adapters, pseudo-terminals) or where this process may not write it: root may, and a
// udev rule can do it instead.
UartTrigger LowerUartTrigger(int descriptor, const SystemRoots& roots = {});

// Puts the setting back.
void RestoreUartTrigger(const UartTrigger* trigger);

} // namespace korvex::platform
