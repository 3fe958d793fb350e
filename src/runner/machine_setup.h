// The machine that the library sees, set up as the options say. Each part says on standard error what it cannot do; its result is then the
// command's exit code, else EXIT_DONE.
#pragma once

#include "runner/options.h"

namespace korvex::runner {

// Diagnostic lines and pointer input.
int SetUpOutputs(const Options* options);

// How windows are shown, and SIGINT and SIGTERM, which the caller has blocked, as what closes them.
int SetUpWindows(const Options* options);

// The state folder with what Windows would keep across runs, the enumerator's service in it, and the serial ports: those given, else the
// system's.
int SetUpDevices(const Options* options);

} // namespace korvex::runner
