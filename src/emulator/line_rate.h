// The rate of a terminal.
#pragma once

#include <cstdint>

namespace korvex::emulator {

// Bits per second; 0 when the terminal cannot be asked.
uint32_t LineRate(int terminal);

} // namespace korvex::emulator
