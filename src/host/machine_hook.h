// The first step of every exported function.
#pragma once

namespace korvex {

// Does nothing here: Windows needs no set-up, and the command sets its machine up itself.
// libkorvex.so replaces this definition by one that sets the machine up
// (machine/loaded_library.cpp). Any thread.
void PrepareMachine();

} // namespace korvex
