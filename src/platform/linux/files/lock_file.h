// Locks between processes. Whoever can open a file or folder can lock it (flock(2)), so each lock
// is a file that only its owner can open.
#pragma once

#include <chrono>
#include <string>

namespace korvex::platform {

// Opens and locks the file, and creates it, empty and of mode 0600, if it is missing. The lock
// is held until the descriptor is closed; its holder may remove the file before. -1 with errno set:
// EWOULDBLOCK while another process holds it and `limit` is over, EPERM for a file that other users
// can open. The superuser locks other users' files too.
int OpenLockFile(const std::string& path, std::chrono::milliseconds limit = {});

// Whether the path is a folder, not a link to one, that belongs to the user and that no other user
// can write into. Else false with errno set: EPERM for another user's.
bool IsOwnFolder(const std::string& path);

// The folder for files that last no longer than the user's session: XDG_RUNTIME_DIR, as the base
// directories of freedesktop.org have it, else systemd's /run/user/UID, else /tmp/korvex-UID, which
// is made. Empty with errno set when none of them is the user's own.
std::string SessionFolder();

} // namespace korvex::platform
