// Names of serial ports: the administrator's panel name, COM33, ttyUSB0, or a path (for example a
// link of udev's).
#pragma once

#include <string>
#include <vector>

#include "process/message.h"
#include "process/options.h"

namespace korvex::command {

// Has the links that udev makes for panels, named after them.
inline constexpr const char* PANEL_FOLDER = "/dev/korvex/";

// The path to open for a port that is called so, by the names that were given (--port) and those
// that the system knows; the text itself if nothing has that name. It is best a link that udev
// makes for the adapter, which leads to it also when it has come back under another number.
std::string PathOfPort(const std::vector<GivenPort>& given, const std::string& port);

// Whether two paths lead to one tty.
bool IsSamePort(const std::string& path, const std::string& other);

// The panel on a port: "left", or without a name that of the tty, "ttyUSB0".
std::string PanelNameOf(const std::string& path);

// A panel and its port for people: "left (/dev/ttyUSB0)"; the path alone where nothing else is
// known.
std::string PanelTitle(const std::string& path);

// The subject of a line about the panel on a port.
PanelSubject PanelSubjectOf(const std::string& path, Happening happening);

// Whether a panel may be called so: at most 64 letters, digits, "-" and "_", as 72-korvex.rules has
// it.
bool IsPanelName(const std::string& name);

// The folder with a named panel's calibration, "/var/lib/korvex/left".
inline constexpr const char* STATE_FOLDER = "/var/lib/korvex"; // has them
std::string FolderOfPanel(const std::string& name);

// The tty that a path leads to now, with links resolved; the path itself if it leads nowhere.
std::string TtyOf(const std::string& path);

// The tty itself that a link of udev's leads to, "/dev/ttyUSB0"; any other path unchanged.
std::string ShownPath(const std::string& path);

} // namespace korvex::command
