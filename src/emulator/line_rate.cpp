#include "emulator/line_rate.h"

// The kernel's own records, which cannot stand beside those of <termios.h>: these carry the rate as
// a number, however it was set. Wine 10 sets it as one (BOTHER), which tcgetattr does not return.
#include <asm/termbits.h>
#include <sys/ioctl.h>

namespace korvex::emulator {

uint32_t LineRate(int terminal)
{
    termios2 settings{};
    if (ioctl(terminal, TCGETS2, &settings) == 0)
        return settings.c_ospeed;
    // qemu-user of Debian 12 and 13 passes the older request alone.
    termios older{};
    if (ioctl(terminal, TCGETS, &older) != 0)
        return 0;
    switch (older.c_cflag & CBAUD) {
    case B9600:
        return 9600;
    case B19200:
        return 19200;
    default:
        return 1; // some other rate
    }
}

} // namespace korvex::emulator
