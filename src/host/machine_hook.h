// The first step of every exported function.
#pragma once

namespace korvex {

// Nothing: Windows is there, and a program of ours has set its machine up. libkorvex.so, whose
// callers have set up nothing, brings another definition, which then takes this one's place. From
// any thread.
void PrepareMachine();

} // namespace korvex
