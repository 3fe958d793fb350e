#include "host/preparation.h"

// A file of its own, so that a linker that has found the routine elsewhere leaves it in the
// archive.
namespace korvex {

void PrepareMachine() { }

} // namespace korvex
