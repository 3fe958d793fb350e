#include "host/machine_hook.h"

// Linked into the DLL and the programs; libkorvex.so has machine/loaded_library.cpp instead.
namespace korvex {

void PrepareMachine() { }

} // namespace korvex
