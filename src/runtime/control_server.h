// The control socket: here a runtime says what it drives (control_protocol.h). A thread
// of its own serves it, so that no client costs the touches anything.
#pragma once

#include <string>

namespace korvex::command {

// Listens at "control" in the folder that the service manager has made for the unit
// (RUNTIME_DIRECTORY in systemd.exec(5)), else at "korvex/NAME" in the user's XDG_RUNTIME_DIR, else
// nowhere. The socket of a process that has died is replaced; where another process lives, NAME
// gets a number. Owner and group may connect. Standard error says why there is none; the runtime
// works without, and tries again every 10 s. Once per process.
void StartControl(const std::string& name);

// Ends it and removes the socket. Not on the control thread.
void EndControl();

} // namespace korvex::command
