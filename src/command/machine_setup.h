// The machine that the library sees, set up as the options say. Each part says on standard error what it cannot do; its result is then the
// command's exit code, else EXIT_DONE.
#pragma once

#include <initializer_list>

#include "command/options.h"

namespace korvex::command {

// Sets the parts up in order, up to the first fault.
int SetUpMachine(const Options* options, std::initializer_list<int (*)(const Options*)> parts);

// Diagnostic lines; the quiet form drops them where no file is given for them.
int SetUpTrace(const Options* options);
int SetUpQuietTrace(const Options* options);

// Pointer input.
int SetUpPointer(const Options* options);

// How windows are shown, and SIGINT and SIGTERM, which the caller has blocked, as what closes them.
int SetUpWindows(const Options* options);

// The version of Windows that the machine gives itself.
int SetUpSystem(const Options* options);

// The state folder with what Windows would keep across runs, and the enumerator's service in it.
int SetUpState(const Options* options);

// The same, without a word when it fails.
bool PrepareState(const Options* options);

// The serial ports: those given, else the system's.
int SetUpPorts(const Options* options);

// Both.
int SetUpDevices(const Options* options);

} // namespace korvex::command
