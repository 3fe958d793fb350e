#include "platform/linux/serial/line_settings.h"

#include <linux/serial.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "platform/linux/core/last_error.h"

namespace korvex::platform {

namespace {

struct BaudRate {
    DWORD rate;
    speed_t speed;
};

constexpr std::array BAUD_RATES{BaudRate{300, B300}, BaudRate{600, B600}, BaudRate{1200, B1200},
    BaudRate{2400, B2400}, BaudRate{4800, B4800}, BaudRate{9600, B9600}, BaudRate{19200, B19200},
    BaudRate{38400, B38400}, BaudRate{57600, B57600}, BaudRate{115200, B115200}};

} // namespace

bool MakeRaw(int descriptor, termios* before)
{
    if (tcgetattr(descriptor, before) != 0)
        return false;
    termios settings = *before;
    cfmakeraw(&settings);
    settings.c_cflag |= CLOCAL | CREAD; // modem lines do not matter
    settings.c_cflag &= ~static_cast<tcflag_t>(CRTSCTS);
    settings.c_iflag &= ~static_cast<tcflag_t>(IXON | IXOFF | IXANY);
    settings.c_cc[VMIN] = 1; // a read of 0 bytes then means that the line hung up
    settings.c_cc[VTIME] = 0;
    tcsetattr(descriptor, TCSANOW, &settings);
    return true;
}

void DescribeLine(const termios* settings, DCB* dcb)
{
    dcb->DCBlength = sizeof(DCB);
    dcb->fBinary = 1;
    dcb->fDtrControl = DTR_CONTROL_ENABLE;
    dcb->fRtsControl = RTS_CONTROL_ENABLE;
    dcb->BaudRate = 9600;
    dcb->ByteSize = 8;
    if (settings == nullptr)
        return;
    const speed_t speed = cfgetospeed(settings);
    const auto* known = std::find_if(BAUD_RATES.begin(), BAUD_RATES.end(),
        [speed](const BaudRate& baud) { return baud.speed == speed; });
    if (known != BAUD_RATES.end())
        dcb->BaudRate = known->rate;
}

bool ApplySettings(int descriptor, const DCB* dcb)
{
    const auto* baud = std::find_if(BAUD_RATES.begin(), BAUD_RATES.end(),
        [dcb](const BaudRate& known) { return known.rate == dcb->BaudRate; });
    constexpr std::array<tcflag_t, 4> SIZES{CS5, CS6, CS7, CS8};
    const bool supported = baud != BAUD_RATES.end() && dcb->ByteSize >= 5 && dcb->ByteSize <= 8
        && dcb->Parity <= EVENPARITY
        && (dcb->StopBits == ONESTOPBIT || dcb->StopBits == TWOSTOPBITS);
    if (!supported)
        return Fail(ERROR_INVALID_PARAMETER) != FALSE;

    termios settings{};
    if (tcgetattr(descriptor, &settings) != 0)
        return FailWithErrno() != FALSE;
    cfsetispeed(&settings, baud->speed);
    cfsetospeed(&settings, baud->speed);
    settings.c_cflag &= ~static_cast<tcflag_t>(CSIZE | PARENB | PARODD | CSTOPB | CRTSCTS);
    settings.c_cflag |= SIZES[dcb->ByteSize - 5];
    settings.c_cflag |= dcb->Parity == NOPARITY ? 0 : PARENB;
    settings.c_cflag |= dcb->Parity == ODDPARITY ? PARODD : 0;
    settings.c_cflag |= dcb->StopBits == TWOSTOPBITS ? CSTOPB : 0;
    if (tcsetattr(descriptor, TCSANOW, &settings) != 0)
        return FailWithErrno() != FALSE;

    const int line = TIOCM_RTS;
    const bool refused
        = ioctl(descriptor, dcb->fRtsControl == RTS_CONTROL_DISABLE ? TIOCMBIC : TIOCMBIS, &line)
        != 0;
    if (refused && errno != ENOTTY && errno != EINVAL) // what lines without modem lines answer
        return FailWithErrno() != FALSE;
    return true;
}

void SetLowLatency(int descriptor)
{
    serial_struct settings{};
    if (ioctl(descriptor, TIOCGSERIAL, &settings) != 0)
        return;
    settings.flags = static_cast<int>(static_cast<unsigned>(settings.flags) | ASYNC_LOW_LATENCY);
    ioctl(descriptor, TIOCSSERIAL, &settings);
}

} // namespace korvex::platform
