// The detection that a watcher (watch.h) keeps running, in a process of its own: the library's
// detection with its status window, minimised, which tells the watcher what it drives. Windows
// only.
#pragma once

#include <span>

#include "platform/win32.h"

namespace korvex {

// Detects and drives, in the current folder, until the status window is closed or the watcher has
// ended: the process then ends with 0. Ports that the words of the command line ignore
// (watch_options.h) are left alone. Returns DETECTION_FAILED without a watcher, without memory,
// and if the session has another detection or a panel test.
// On the program's first thread.
int RunWatchedDetection(std::span<const WCHAR* const> words);

} // namespace korvex
