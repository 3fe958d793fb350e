// The command line of a watcher and of its detection: which ports are left out.
#pragma once

#include <span>

#include "platform/win32.h"

namespace korvex {

// Whether the words after an "-ignore", up to the next option, name this port: COM5 is named by
// "COM5", "com5;7" and "5". A port without a number, or whose name cannot be read (empty), may be
// any of them and counts as named. False without "-ignore". Any thread.
bool IgnoresPort(std::span<const WCHAR* const> words, const WCHAR* name);

// The first word after the program that such a command line does not have; null without one. A
// misspelt "-ignore" would otherwise send bytes to what must get none. Any thread.
const WCHAR* FindUnknownWord(std::span<const WCHAR* const> words);

} // namespace korvex
