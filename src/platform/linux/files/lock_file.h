// Locks between processes, as files of their owner's own: who else can read a folder can open its
// files, and could hold a lock on any of those.
#pragma once

#include <string>

namespace korvex::platform {

// Opens and locks the file, which is made, empty and of mode 0600, where it is missing. The lock is
// held until the descriptor is closed. -1 with errno set: EWOULDBLOCK while another process holds
// it, EPERM for a file that others could have locked. The superuser locks other users' files too.
int OpenLockFile(const std::string& path);

// Whether the path is a folder, and no link to one, that nobody but the user can write into. Else
// false with errno set: EPERM for one of somebody else's.
bool IsOwnFolder(const std::string& path);

// The folder for files of the user's session that last no longer than it: XDG_RUNTIME_DIR of the
// XDG Base Directory Specification, else where systemd has it, else one of the user's own in the
// folder for temporary files, which is made. Empty with errno set when none of them can be had.
std::string SessionFolder();

} // namespace korvex::platform
