// Which ports a watched detection leaves out: words of a command line.
#pragma once

#include <span>

#include "platform/win32.h"

namespace korvex {

// Whether the words after an "-ignore", up to the next option, name this port: COM5 is named by
// "COM5", "com5;7" and "5". A port without a number, or whose name cannot be read (empty), may be
// any of them and counts as named. False without "-ignore". Any thread.
bool IgnoresPort(std::span<const WCHAR* const> words, const WCHAR* name);

} // namespace korvex
