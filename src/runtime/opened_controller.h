// Controllers on ports that are given by their paths, for the commands that need neither bindings
// nor a device tree.
#pragma once

#include <string>
#include <vector>

#include "link/touch_controller.h"
#include "process/options.h"

namespace korvex::command {

// The port's handle; INVALID_HANDLE_VALUE, with the last error set, when it cannot be opened or is
// no serial port.
HANDLE OpenPort(const std::string& path);

// A new record for the controller on an open port, which is closed with it; the shutdown request
// (shutdown.h) stops its exchanges. Null when out of memory; the port is then closed.
TouchController* ControllerOn(HANDLE port);

// Opens the port, by any of its names (port_names.h), and identifies the controller on it, which is
// then the caller's: EXIT_DONE. A failure is reported on standard error, and the result is the
// command's exit code for it. If shutdown was requested: EXIT_DONE without a controller.
// `controller` is null wherever there is none.
int OpenController(const Options* options, const std::string& port, TouchController** controller);

// As OpenController, but where the port is not there, is in use, or nothing on it answers, it is
// asked again, every 2 to 30 seconds, until a controller is found or shutdown is requested. Each
// reason why there is none is reported once.
int AwaitController(const Options* options, const std::string& port, TouchController** controller);

// Starts the session, and says on standard error which controller is driven on that port: from then
// on no touch is lost. EXIT_FAULT after another line there when the system refuses a thread.
int StartDriving(const Options* options, const std::string& port, TouchController* controller);

// Waits until shutdown is requested, then stops the running session: true; or until the session
// has ended by itself: false.
bool WaitForEndOf(TouchController* controller);

// Stops the sessions, frees the controllers and returns `exitCode`. Ends the process with it
// instead when a reader could not be ended, because the memory that the reader uses must stay.
int EndControllers(const std::vector<TouchController*>* controllers, int exitCode);

} // namespace korvex::command
