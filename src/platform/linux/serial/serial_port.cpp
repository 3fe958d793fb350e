#include "platform/linux/serial/serial_port.h"

#include <fcntl.h>
#include <linux/serial.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>

#include "platform/linux/core/blocking_io.h"
#include "platform/linux/core/text.h"
#include "platform/linux/files/openers.h"
#include "platform/linux/machine.h"

namespace korvex::platform {

namespace {

using std::chrono::milliseconds;

struct BaudRate {
    DWORD rate;
    speed_t speed;
};

constexpr std::array BAUD_RATES{BaudRate{300, B300}, BaudRate{600, B600}, BaudRate{1200, B1200},
    BaudRate{2400, B2400}, BaudRate{4800, B4800}, BaudRate{9600, B9600}, BaudRate{19200, B19200},
    BaudRate{38400, B38400}, BaudRate{57600, B57600}, BaudRate{115200, B115200}};

// How long a flush may take: the line's longest output queue at 9600 baud is out in less.
constexpr milliseconds FLUSH_LIMIT{500};

void CloseSerial(HandleObject* object)
{
    auto* port = static_cast<SerialPort*>(object);
    if (const auto& told = ThisMachine()->observers.lineClosed; told)
        told(port->line.get());
    RestoreUartTrigger(&port->triggerBefore);
    if (port->terminal)
        tcsetattr(port->descriptor, TCSANOW, &port->settingsBefore);
    if (port->exclusive)
        ioctl(port->descriptor, TIOCNXCL);
    if (port->descriptor >= 0)
        ::close(port->descriptor);
    ::close(port->wakeDescriptor);
    delete port;
}

// Makes the line carry bytes as they are; the settings that it had are kept for its closing.
void MakeRaw(SerialPort* port)
{
    port->terminal = tcgetattr(port->descriptor, &port->settingsBefore) == 0;
    if (!port->terminal)
        return;
    termios settings = port->settingsBefore;
    cfmakeraw(&settings);
    settings.c_cflag |= CLOCAL | CREAD; // modem lines do not matter
    settings.c_cflag &= ~static_cast<tcflag_t>(CRTSCTS);
    settings.c_iflag &= ~static_cast<tcflag_t>(IXON | IXOFF | IXANY);
    settings.c_cc[VMIN] = 1; // a read of 0 bytes then means that the line hung up
    settings.c_cc[VTIME] = 0;
    tcsetattr(port->descriptor, TCSANOW, &settings);
}

// What the DCB shows of a line before anything is set.
void DescribeLine(SerialPort* port)
{
    port->dcb.DCBlength = sizeof(DCB);
    port->dcb.fBinary = 1;
    port->dcb.fDtrControl = DTR_CONTROL_ENABLE;
    port->dcb.fRtsControl = RTS_CONTROL_ENABLE;
    port->dcb.BaudRate = 9600;
    port->dcb.ByteSize = 8;
    const speed_t speed = cfgetospeed(&port->settingsBefore);
    const auto* known = std::find_if(BAUD_RATES.begin(), BAUD_RATES.end(),
        [speed](const BaudRate& baud) { return baud.speed == speed; });
    if (port->terminal && known != BAUD_RATES.end())
        port->dcb.BaudRate = known->rate;
}

// A pseudo-terminal stays open to others: whoever emulates the device behind it opens it too.
bool IsPseudoTerminal(int descriptor)
{
    struct stat status{};
    // The kernel's devices list gives the terminals of pseudo-terminals the major numbers 136 to
    // 143.
    return fstat(descriptor, &status) == 0 && major(status.st_rdev) >= 136
        && major(status.st_rdev) <= 143;
}

// USB adapters otherwise hold received bytes back for up to 16 ms. Drivers without the setting
// refuse, which is no harm.
void SetLowLatency(int descriptor)
{
    serial_struct settings{};
    if (ioctl(descriptor, TIOCGSERIAL, &settings) != 0)
        return;
    settings.flags = static_cast<int>(static_cast<unsigned>(settings.flags) | ASYNC_LOW_LATENCY);
    ioctl(descriptor, TIOCSSERIAL, &settings);
}

// When a read of `count` bytes that has got `received` of them ends by time: the limits of
// COMMTIMEOUTS.
std::optional<Clock::time_point> ReadDeadline(
    const COMMTIMEOUTS* timeouts, DWORD count, DWORD received, Clock::time_point start)
{
    const DWORD constant = timeouts->ReadTotalTimeoutConstant;
    if (timeouts->ReadIntervalTimeout == MAXDWORD) {
        const bool firstByteOnly = timeouts->ReadTotalTimeoutMultiplier == MAXDWORD && constant > 0
            && constant < MAXDWORD;
        return firstByteOnly && received == 0 ? start + milliseconds(constant) : start;
    }
    std::optional<Clock::time_point> deadline;
    if (timeouts->ReadTotalTimeoutMultiplier != 0 || constant != 0)
        deadline = start
            + milliseconds(
                static_cast<int64_t>(timeouts->ReadTotalTimeoutMultiplier) * count + constant);
    if (timeouts->ReadIntervalTimeout != 0 && received > 0) {
        const Clock::time_point interval
            = Clock::now() + milliseconds(timeouts->ReadIntervalTimeout);
        deadline = deadline ? std::min(*deadline, interval) : interval;
    }
    return deadline;
}

// Opens a tty that no one else uses. -1, with the last error set, when that fails.
int OpenExclusively(const char* path)
{
    const int descriptor = open(path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        FailWithErrno();
        return -1;
    }
    if (isatty(descriptor) == 1 && flock(descriptor, LOCK_EX | LOCK_NB) == 0)
        return descriptor;
    Fail(errno == EWOULDBLOCK ? ERROR_SHARING_VIOLATION : ErrorFromErrno(errno));
    ::close(descriptor);
    return -1;
}

void ClaimExclusively(SerialPort* port)
{
    port->pseudoTerminal = IsPseudoTerminal(port->descriptor);
    port->exclusive = !port->pseudoTerminal && ioctl(port->descriptor, TIOCEXCL) == 0;
    SetLowLatency(port->descriptor);
    // A line that has come back has the value that was set here.
    const UartTrigger trigger = LowerUartTrigger(port->descriptor, "/sys");
    if (!trigger.file.empty())
        port->triggerBefore = trigger;
}

// The number of a pseudo-terminal soon belongs to someone else, a shell say, so such a line is
// taken again only through a symbolic link that was made anew.
bool MayReopen(const SerialPort* port)
{
    struct stat status{};
    if (port->line->path.empty() || lstat(port->line->path.c_str(), &status) != 0)
        return false;
    const bool sameEntry = status.st_ino == port->pathStatus.st_ino
        && status.st_ctim.tv_sec == port->pathStatus.st_ctim.tv_sec
        && status.st_ctim.tv_nsec == port->pathStatus.st_ctim.tv_nsec;
    return !port->pseudoTerminal || (S_ISLNK(status.st_mode) && !sameEntry);
}

void ShowBytes(LineDirection direction, const uint8_t* bytes, size_t count)
{
    if (const auto& watcher = ThisMachine()->observers.lineBytes)
        watcher(direction, bytes, count);
}

} // namespace

SerialPort* AdoptSerialDescriptor(int descriptor)
{
    const int wakeDescriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wakeDescriptor < 0) {
        FailWithErrno();
        ::close(descriptor);
        return nullptr;
    }
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
    auto* port = new SerialPort;
    port->type = &SerialPort::TYPE;
    port->descriptor = descriptor;
    port->wakeDescriptor = wakeDescriptor;
    MakeRaw(port);
    DescribeLine(port);
    return port;
}

SerialPort* OpenSerialPort(const char* path)
{
    const int descriptor = OpenExclusively(path);
    if (descriptor < 0)
        return nullptr;
    SerialPort* port = AdoptSerialDescriptor(descriptor);
    if (port == nullptr)
        return nullptr;
    port->line->path = path;
    lstat(path, &port->pathStatus);
    ClaimExclusively(port);
    return port;
}

std::string OpenedPathOf(HANDLE handle)
{
    const auto* port = ObjectAs<SerialPort>(handle);
    return port == nullptr ? "" : port->line->path;
}

bool EnsureConnected(SerialPort* port)
{
    if (port->descriptor >= 0)
        return true;
    const int descriptor = MayReopen(port) ? OpenExclusively(port->line->path.c_str()) : -1;
    if (descriptor < 0)
        return Fail(ERROR_DEVICE_NOT_CONNECTED) != FALSE;
    port->descriptor = descriptor;
    lstat(port->line->path.c_str(), &port->pathStatus);
    MakeRaw(port);
    ClaimExclusively(port);
    if (ApplySettings(port, &port->dcb))
        return true;
    return MarkDisconnected(port);
}

bool MarkDisconnected(SerialPort* port)
{
    port->hangupPending = true;
    if (!port->line->path.empty()) {
        // An open descriptor would keep the adapter's number taken, and it would come back under
        // another one.
        ::close(port->descriptor);
        port->descriptor = -1;
        port->terminal = false;
        port->exclusive = false;
        port->queueStart = port->queueEnd = 0;
    }
    return Fail(ERROR_DEVICE_NOT_CONNECTED) != FALSE;
}

bool ApplySettings(SerialPort* port, const DCB* dcb)
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
    if (tcgetattr(port->descriptor, &settings) != 0)
        return FailWithErrno() != FALSE;
    cfsetispeed(&settings, baud->speed);
    cfsetospeed(&settings, baud->speed);
    settings.c_cflag &= ~static_cast<tcflag_t>(CSIZE | PARENB | PARODD | CSTOPB | CRTSCTS);
    settings.c_cflag |= SIZES[dcb->ByteSize - 5];
    settings.c_cflag |= dcb->Parity == NOPARITY ? 0 : PARENB;
    settings.c_cflag |= dcb->Parity == ODDPARITY ? PARODD : 0;
    settings.c_cflag |= dcb->StopBits == TWOSTOPBITS ? CSTOPB : 0;
    if (tcsetattr(port->descriptor, TCSANOW, &settings) != 0)
        return FailWithErrno() != FALSE;

    const int line = TIOCM_RTS;
    const bool refused = ioctl(port->descriptor,
                             dcb->fRtsControl == RTS_CONTROL_DISABLE ? TIOCMBIC : TIOCMBIS, &line)
        != 0;
    if (refused && errno != ENOTTY && errno != EINVAL) // what lines without modem lines answer
        return FailWithErrno() != FALSE;
    return true;
}

bool IsQueueEmpty(const SerialPort* port)
{
    return port->queueStart == port->queueEnd;
}

bool FetchInput(SerialPort* port)
{
    const ssize_t fetched = read(port->descriptor, port->queue.data(), port->queue.size());
    if (fetched < 0 && (errno == EAGAIN || errno == EINTR))
        return true;
    if (fetched <= 0)
        return MarkDisconnected(port);
    port->queueStart = 0;
    port->queueEnd = static_cast<size_t>(fetched);
    ShowBytes(LineDirection::RECEIVED, port->queue.data(), port->queueEnd);
    return true;
}

namespace {

BOOL ReadSerial(HandleObject* object, void* buffer, DWORD count, DWORD* received)
{
    auto* port = static_cast<SerialPort*>(object);
    *received = 0;
    SetLineOfThread(port->line);
    if (!EnsureConnected(port))
        return FALSE;
    const Clock::time_point start = Clock::now();
    while (*received < count) {
        if (IsQueueEmpty(port)) {
            const IoWait wait = WaitForIo(port->descriptor, POLLIN, -1,
                ReadDeadline(&port->timeouts, count, *received, start));
            if (wait == IoWait::CANCELLED)
                return Fail(ERROR_OPERATION_ABORTED);
            if (wait == IoWait::TIMED_OUT)
                break;
            if (!FetchInput(port))
                return FALSE;
            continue;
        }
        const size_t taken = std::min<size_t>(count - *received, port->queueEnd - port->queueStart);
        memcpy(static_cast<uint8_t*>(buffer) + *received, port->queue.data() + port->queueStart,
            taken);
        port->queueStart += taken;
        *received += static_cast<DWORD>(taken);
    }
    return TRUE;
}

BOOL WriteSerial(HandleObject* object, const void* bytes, DWORD count, DWORD* written)
{
    auto* port = static_cast<SerialPort*>(object);
    *written = 0;
    if (!EnsureConnected(port))
        return FALSE;
    const COMMTIMEOUTS* timeouts = &port->timeouts;
    std::optional<Clock::time_point> deadline;
    if (timeouts->WriteTotalTimeoutMultiplier != 0 || timeouts->WriteTotalTimeoutConstant != 0)
        deadline = Clock::now()
            + milliseconds(static_cast<int64_t>(timeouts->WriteTotalTimeoutMultiplier) * count
                + timeouts->WriteTotalTimeoutConstant);
    while (*written < count) {
        const ssize_t sent = write(
            port->descriptor, static_cast<const uint8_t*>(bytes) + *written, count - *written);
        if (sent >= 0) {
            ShowBytes(LineDirection::SENT, static_cast<const uint8_t*>(bytes) + *written,
                static_cast<size_t>(sent));
            *written += static_cast<DWORD>(sent);
            continue;
        }
        if (errno == EINTR)
            continue;
        if (errno != EAGAIN) {
            MarkDisconnected(port);
            return FALSE;
        }
        const IoWait wait = WaitForIo(port->descriptor, POLLOUT, -1, deadline);
        if (wait == IoWait::CANCELLED)
            return Fail(ERROR_OPERATION_ABORTED);
        if (wait == IoWait::TIMED_OUT)
            break; // a write that runs out of time succeeds with fewer bytes
    }
    return TRUE;
}

BOOL FlushSerial(HandleObject* object)
{
    auto* port = static_cast<SerialPort*>(object);
    if (!EnsureConnected(port))
        return FALSE;
    if (!port->terminal)
        return TRUE;
    // tcdrain alone would wait without limit on a line that does not take its output.
    const Clock::time_point deadline = Clock::now() + FLUSH_LIMIT;
    int unsent = 0;
    while (ioctl(port->descriptor, TIOCOUTQ, &unsent) == 0 && unsent > 0) {
        if (Clock::now() >= deadline)
            return Fail(ERROR_SEM_TIMEOUT);
        const IoWait wait = WaitForIo(-1, 0, -1, Clock::now() + milliseconds(1));
        if (wait == IoWait::CANCELLED)
            return Fail(ERROR_OPERATION_ABORTED);
    }
    while (tcdrain(port->descriptor) != 0) {
        if (errno != EINTR)
            return FailWithErrno();
    }
    return TRUE;
}

// The opener of ttys.
std::optional<HANDLE> OpenTty(const OpenRequest* request)
{
    const std::string path = ToNativePath(request->path);
    struct stat status{};
    if (stat(path.c_str(), &status) != 0 || !S_ISCHR(status.st_mode))
        return std::nullopt;
    if (request->shareMode != 0) {
        Fail(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    SerialPort* port = OpenSerialPort(path.c_str());
    return port == nullptr ? INVALID_HANDLE_VALUE : HandleOf(port);
}

[[maybe_unused]] const bool registered = RegisterOpener(OpenTty);

} // namespace

constexpr HandleType SerialPort::TYPE{CloseSerial, ReadSerial, WriteSerial, FlushSerial};

} // namespace korvex::platform
