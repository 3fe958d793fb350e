// The terminal that a command runs in: its size, and keys that need no Enter.
#pragma once

#include <cstddef>

namespace korvex::command {

// The columns of standard output; 0 if it is no terminal, or has no size.
size_t TerminalColumns();

// While it lives, keys come one by one, unseen, where that is wanted and standard input is the
// terminal of a command in the foreground.
struct SingleKeys {
    bool changed = false;

    explicit SingleKeys(bool wanted);
    ~SingleKeys();
    SingleKeys(const SingleKeys&) = delete;
    SingleKeys& operator=(const SingleKeys&) = delete;
};

// Gives the terminal back what SingleKeys has changed, for a process that ends without coming to
// its end. Any thread.
void RestoreTerminal();

// Whether the key has been pressed, in either case; the keys until then are lost. Does not wait.
bool WasKeyPressed(const SingleKeys* keys, char key);

} // namespace korvex::command
