// Connections to X servers.
#pragma once

#include <string>

struct _XDisplay; // Xlib's Display

namespace korvex::platform {

// Opens the X display of that name (null: the one in DISPLAY), which the caller closes; null, with
// a reason, when it cannot be opened. Neither a request that the server refuses nor the server's
// end ends the process: `broken`, false from here on, becomes true when the server has gone away,
// and must live as long as the connection.
_XDisplay* OpenDisplay(const char* name, bool* broken, std::string* reason);

// "the X display \":0\"", for a reason.
std::string DisplayText(const char* name);

} // namespace korvex::platform
