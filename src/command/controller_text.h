// A controller in words.
#pragma once

#include <string>

#include "link/touch_controller.h"

namespace korvex::command {

// "controller 5200, firmware 1.2.3, 10 bits, 19200 baud". Before its session runs: the link is then
// its reader's.
std::string DescriptionOf(const TouchController* controller);

} // namespace korvex::command
