#include "process/terminal.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cctype>

namespace korvex::command {

namespace {

termios terminalBefore{};
std::atomic<bool> terminalChanged{false};

} // namespace

size_t TerminalColumns()
{
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

SingleKeys::SingleKeys(bool wanted)
{
    // In the background a change of the terminal would stop the process.
    if (!wanted || tcgetpgrp(STDIN_FILENO) != getpgrp()
        || tcgetattr(STDIN_FILENO, &terminalBefore) != 0)
        return;
    termios single = terminalBefore;
    single.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    single.c_cc[VMIN] = 0;
    single.c_cc[VTIME] = 0;
    changed = tcsetattr(STDIN_FILENO, TCSANOW, &single) == 0;
    terminalChanged = changed;
}

SingleKeys::~SingleKeys()
{
    RestoreTerminal();
}

void RestoreTerminal()
{
    if (terminalChanged.exchange(false) && tcgetpgrp(STDIN_FILENO) == getpgrp())
        tcsetattr(STDIN_FILENO, TCSANOW, &terminalBefore);
}

bool WasKeyPressed(const SingleKeys* keys, char key)
{
    pollfd input{STDIN_FILENO, POLLIN, 0};
    char pressed = 0;
    while (keys->changed && tcgetpgrp(STDIN_FILENO) == getpgrp() && poll(&input, 1, 0) > 0
        && read(STDIN_FILENO, &pressed, 1) == 1) {
        if (tolower(static_cast<unsigned char>(pressed)) == key)
            return true;
    }
    return false;
}

} // namespace korvex::command
