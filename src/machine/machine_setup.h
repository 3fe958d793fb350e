// The machine that the library sees, set up as the options say. Each part says on standard error
// what it cannot do; its result is then the command's exit code, else EXIT_DONE.
#pragma once

#include <string>
#include <vector>

#include "process/options.h"

namespace korvex::command {

// Sets the parts up in order, up to the first fault.
int SetUpMachine(const Options* options, const std::vector<int (*)(const Options*)>& parts);

// Where diagnostic lines go: to the file that is given, else to standard error, or nowhere in the
// quiet form. Lines that a pipe or terminal does not take at once are lost, so that its reader
// cannot hold up a touch.
int SetUpTrace(const Options* options);
int SetUpQuietTrace(const Options* options);

// Says on standard error that printed input was lost, once; true when some was.
bool WasInputLost(const Options* options);

// Pointer input, and changes to touches before it.
int SetUpPointer(const Options* options);

// How windows are shown, and that a shutdown request (shutdown.h) closes them.
int SetUpWindows(const Options* options);

// The version of Windows that the machine reports.
int SetUpSystem(const Options* options);

// The state folder with what Windows would keep across runs, and the enumerator's service in it.
int SetUpState(const Options* options);

// As SetUpState, but without a word: empty, or why the state folder cannot be used.
std::string PrepareState(const Options* options);

// True when a settings or state file could not be written since SetUpState; that was then said on
// standard error, once a file.
bool WasWriteRefused();

// The serial ports: those given (--port), else the system's.
int SetUpPorts(const Options* options);

// SetUpState and SetUpPorts, without the ports that are not to be asked: those that udev has
// ID_KORVEX_IGNORE for.
int SetUpDevicesToAsk(const Options* options);

// After SetUpDevicesToAsk: adds the ports that have come since.
void AddNewDevicesToAsk(const Options* options);

// As SetUpDevicesToAsk, but only to look at the ports: changes nothing on the disk.
int SetUpKnownDevices(const Options* options);

} // namespace korvex::command
